// The bundle: fourteen plug-ins of the transition context (and of the general one), described from the
// catalogue, each action in one function. Only OfxGetNumberOfPlugins, OfxGetPlugin and OfxSetHost leave it.

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "adapters/common/TransitionRenderer.h"
#include "adapters/openfx/Images.h"
#include "adapters/openfx/Suites.h"
#include "host/HostError.h"

namespace tumblewash::ofx {

using plugin::effectCatalogue;
using plugin::EffectRecord;
using plugin::effectRecord;

namespace {

using adapters::Canvas;
using adapters::Knobs;
using adapters::Phase;
using adapters::TransitionRenderer;

constexpr int kCount = 14;
constexpr const char* kParamMix = "mix";
constexpr const char* kParamDirection = "direction";
constexpr const char* kParamSeed = "seed";
constexpr std::array<std::pair<const char*, HYPluginDirection>, 4> kDirections{
    {{"Up", kPluginDirectionUp},
     {"Down", kPluginDirectionDown},
     {"Left", kPluginDirectionLeft},
     {"Right", kPluginDirectionRight}}};
constexpr int kDefaultDirection = 3;

std::array<OfxHost*, kCount> hosts{};
std::array<Suites, kCount> allSuites{};

// One plug-in of one host's timeline or tree.
struct Instance {
    explicit Instance(bool generalContext) : general(generalContext) {}

    // Proxy renders come at other sizes; the last size stays at hand.
    std::shared_ptr<TransitionRenderer> renderer(const EffectRecord& effect, int width, int height) {
        const std::lock_guard lock(mutex);
        if (current == nullptr || current->width() != width || current->height() != height)
            current = std::make_shared<TransitionRenderer>(effect, width, height);
        return current;
    }

    const bool general;
    std::mutex mutex;
    std::shared_ptr<TransitionRenderer> current;
    std::atomic_flag noteSaid;
};

struct Action {
    const EffectRecord& effect;
    const Suites& suites;
    OfxImageEffectHandle handle;
    OfxPropertySetHandle in;
    OfxPropertySetHandle out;

    [[nodiscard]] Properties properties() const {
        OfxPropertySetHandle set = nullptr;
        if (handle == nullptr || suites.effect->getPropertySet(handle, &set) != kOK)
            throw StatusError{kErrBadHandle};
        return {suites, set};
    }
    [[nodiscard]] OfxParamSetHandle parameters() const {
        OfxParamSetHandle set = nullptr;
        if (handle == nullptr || suites.effect->getParamSet(handle, &set) != kOK || set == nullptr)
            throw StatusError{kErrBadHandle};
        return set;
    }
    [[nodiscard]] Instance& instance() const {
        auto* found = static_cast<Instance*>(properties().pointer(kPropInstanceData));
        if (found == nullptr) throw StatusError{kErrBadHandle};
        return *found;
    }
    [[nodiscard]] OfxImageClipHandle clip(const char* name) const {
        OfxImageClipHandle found = nullptr;
        OfxPropertySetHandle ignored = nullptr;
        return suites.effect->clipGetHandle(handle, name, &found, &ignored) == kOK ? found : nullptr;
    }
};

OfxStatus describe(const Action& action) {
    const Properties properties = action.properties();
    const std::string label = action.effect.name;
    properties.setString(kPropLabel, label);
    properties.setString(kPropShortLabel, label.substr(0, 13));
    properties.setString(kPropLongLabel, "tumblewash " + label);
    properties.setString(kPropGrouping, "tumblewash");
    properties.setString(
        kPropPluginDescription,
        std::string(action.effect.sentence) + " Pictures of 16 bits or float are rendered through 8 bits.");
    properties.setString(kPropSupportedContexts, kContextTransition, 0);
    properties.setString(kPropSupportedContexts, kContextGeneral, 1);
    properties.setString(kPropSupportedPixelDepths, kDepthByte, 0);
    properties.setString(kPropSupportedPixelDepths, kDepthShort, 1);
    properties.setString(kPropSupportedPixelDepths, kDepthFloat, 2);
    properties.setInt(kPropSingleInstance, 0);
    properties.setInt(kPropHostFrameThreading, 0);
    properties.setInt(kPropSupportsTiles, 0);
    properties.setInt(kPropMultiResolution, 0);
    properties.setInt(kPropTemporalClipAccess, 0);
    properties.setString(kPropRenderThreadSafety, kRenderFullySafe);
    return kOK;
}

void defineClip(const Action& action, const char* name, bool optional) {
    OfxPropertySetHandle set = nullptr;
    if (action.suites.effect->clipDefine(action.handle, name, &set) != kOK) throw StatusError{kFailed};
    const Properties clip(action.suites, set);
    clip.setString(kPropSupportedComponents, kComponentRGBA);
    if (optional) clip.setInt(kPropClipOptional, 1);
}

Properties defineParameter(const Action& action, const char* type, const char* name) {
    OfxPropertySetHandle set = nullptr;
    if (action.suites.parameter->paramDefine(action.parameters(), type, name, &set) != kOK)
        throw StatusError{kFailed};
    return {action.suites, set};
}

OfxStatus describeInContext(const Action& action) {
    const bool general = Properties(action.suites, action.in).string(kPropContext) == kContextGeneral;
    defineClip(action, kClipFrom, general);
    defineClip(action, kClipTo, general);
    defineClip(action, kClipOutput, false);
    if (general) {
        const Properties mix = defineParameter(action, kParamTypeDouble, kParamMix);
        mix.setString(kPropLabel, "Mix");
        mix.setString(kParamHint, "How far the transition is: 0 shows the first picture, 1 the second");
        mix.setDouble(kParamDefault, 0);
        for (const char* low : {kParamMin, kParamDisplayMin}) mix.setDouble(low, 0);
        for (const char* high : {kParamMax, kParamDisplayMax}) mix.setDouble(high, 1);
    } else {
        // The host drives it and draws its own knob: nothing about it may be set.
        defineParameter(action, kParamTypeDouble, kParamTransition);
    }
    if (!adapters::hasKnobs(action.effect)) return kOK;

    const Properties direction = defineParameter(action, kParamTypeChoice, kParamDirection);
    direction.setString(kPropLabel, "Direction");
    direction.setString(kParamHint, "The edge by which the picture leaves");
    for (std::size_t i = 0; i < kDirections.size(); ++i)
        direction.setString(kParamChoiceOption, kDirections[i].first, static_cast<int>(i));
    direction.setInt(kParamDefault, kDefaultDirection);
    direction.setInt(kParamAnimates, 0);
    const Properties seed = defineParameter(action, kParamTypeInteger, kParamSeed);
    seed.setString(kPropLabel, "Seed");
    seed.setString(kParamHint, "Which random field: the same number gives the same picture");
    seed.setInt(kParamDefault, 1);
    for (const char* low : {kParamMin, kParamDisplayMin}) seed.setInt(low, 1);
    seed.setInt(kParamMax, 1000000);
    seed.setInt(kParamDisplayMax, 1000);
    seed.setInt(kParamAnimates, 0);
    return kOK;
}

OfxStatus createInstance(const Action& action) {
    const Properties properties = action.properties();
    auto made = std::make_unique<Instance>(properties.string(kPropContext) == kContextGeneral);
    properties.setPointer(kPropInstanceData, made.get());
    static_cast<void>(made.release());  // the host keeps it until destroyInstance
    return kOK;
}

OfxStatus destroyInstance(const Action& action) {
    const Properties properties = action.properties();
    delete static_cast<Instance*>(properties.pointer(kPropInstanceData));
    properties.setPointer(kPropInstanceData, nullptr);
    return kOK;
}

template <class T>
T parameterAt(const Action& action, const char* name, OfxTime time, T fallback) {
    OfxParamHandle parameter = nullptr;
    OfxPropertySetHandle ignored = nullptr;
    if (action.suites.parameter->paramGetHandle(action.parameters(), name, &parameter, &ignored) != kOK)
        return fallback;
    T value = fallback;
    return action.suites.parameter->paramGetValueAtTime(parameter, time, &value) == kOK ? value : fallback;
}

double positionAt(const Action& action, OfxTime time) {
    return parameterAt(action, action.instance().general ? kParamMix : kParamTransition, time, 0.0);
}

Knobs knobsAt(const Action& action, OfxTime time) {
    Knobs knobs;
    if (!adapters::hasKnobs(action.effect)) return knobs;
    const int direction = parameterAt(action, kParamDirection, time, kDefaultDirection);
    if (direction >= 0 && direction < static_cast<int>(kDirections.size()))
        knobs.direction = kDirections[static_cast<std::size_t>(direction)].second;
    knobs.seed = static_cast<unsigned>(parameterAt(action, kParamSeed, time, 1));
    return knobs;
}

// The clip that stands alone at an end of the transition; null where a single clip's picture has left.
const char* clipAtEnd(const EffectRecord& effect, Phase phase) {
    if (adapters::joinsTwoClips(effect)) return phase == Phase::first ? kClipFrom : kClipTo;
    if (adapters::pictureArrives(effect)) return phase == Phase::last ? kClipTo : nullptr;
    return phase == Phase::first ? kClipFrom : nullptr;
}

OfxStatus isIdentity(const Action& action) {
    const OfxTime time = Properties(action.suites, action.in).number(kPropTime, 0);
    const Phase phase = adapters::phaseOf(positionAt(action, time));
    const char* clip = phase == Phase::between ? nullptr : clipAtEnd(action.effect, phase);
    if (clip == nullptr) return kReplyDefault;
    const Properties answer(action.suites, action.out);
    answer.setString(kPropName, clip);
    answer.setDouble(kPropTime, time);
    return kOK;
}

void sayNote(const Action& action, Instance& instance, const std::string& note) {
    if (note.empty() || instance.noteSaid.test_and_set()) return;
    if (action.suites.message != nullptr)
        action.suites.message->message(action.handle, kMessageLog, "tumblewash.size", "%s", note.c_str());
    else
        std::fprintf(stderr, "%s\n", note.c_str());
}

OfxStatus render(const Action& action) {
    const Properties in(action.suites, action.in);
    const OfxTime time = in.number(kPropTime, 0);
    const OfxRectI window = in.rectangle(kPropRenderWindow);
    Instance& instance = action.instance();
    const double position = positionAt(action, time);
    const Phase phase = adapters::phaseOf(position);

    Image output(action.suites, action.clip(kClipOutput), time);
    if (output.empty()) return kFailed;
    if (phase != Phase::between) {
        const char* clip = clipAtEnd(action.effect, phase);
        if (clip == nullptr)
            output.clear(window);
        else
            output.copyFrom(Image(action.suites, action.clip(clip), time), window);
        return kOK;
    }

    const bool two = adapters::joinsTwoClips(action.effect);
    const bool arrives = adapters::pictureArrives(action.effect);
    const Image first(action.suites, action.clip(arrives ? kClipTo : kClipFrom), time);
    const Image second(action.suites, two ? action.clip(kClipTo) : nullptr, time);
    if (action.suites.effect->abort(action.handle) != 0) return kOK;

    const OfxRectI region = output.bounds();
    Canvas from, to, result;
    first.read(region, from);
    if (two) second.read(region, to);
    const auto renderer = instance.renderer(action.effect, from.width(), from.height());
    sayNote(action, instance, renderer->note());
    renderer->render(position, knobsAt(action, time), from, two ? &to : nullptr, result);
    output.write(result, region, window);
    return kOK;
}

OfxStatus dispatch(int index, const char* name, const void* handle, OfxPropertySetHandle in,
                   OfxPropertySetHandle out) {
    const auto slot = static_cast<std::size_t>(index);
    if (std::strcmp(name, kActionLoad) == 0) {
        allSuites[slot] = Suites::fetch(hosts[slot]);
        return kOK;
    }
    if (std::strcmp(name, kActionUnload) == 0) {
        allSuites[slot] = {};
        return kOK;
    }
    constexpr std::array<std::pair<const char*, OfxStatus (*)(const Action&)>, 6> actions{
        {{kActionDescribe, describe},
         {kActionDescribeInContext, describeInContext},
         {kActionCreateInstance, createInstance},
         {kActionDestroyInstance, destroyInstance},
         {kActionIsIdentity, isIdentity},
         {kActionRender, render}}};
    for (const auto& [known, run] : actions) {
        if (std::strcmp(name, known) != 0) continue;
        if (!allSuites[slot].complete()) return kErrMissingHostFeature;  // nothing was loaded
        // The interface hands objects over as const void*; they are effect handles for these actions.
        auto* effect = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
        return run({effectRecord(static_cast<short>(index)), allSuites[slot], effect, in, out});
    }
    return kReplyDefault;
}

template <int index>
OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in,
                    OfxPropertySetHandle out) {
    try {
        return action == nullptr ? kErrUnsupported : dispatch(index, action, handle, in, out);
    } catch (const StatusError& error) {
        return error.status;
    } catch (const std::bad_alloc&) {
        return kErrMemory;
    } catch (...) {
        return kFailed;
    }
}

template <int index>
void setHost(OfxHost* host) {
    hosts[index] = host;
}

// Identifiers stay as they are for ever: projects name them.
const std::array<std::string, kCount>& identifiers() {
    static const auto made = [] {
        std::array<std::string, kCount> all;
        for (const EffectRecord& effect : effectCatalogue())
            all[static_cast<std::size_t>(effect.index)] = std::string("net.tumblewash.") + effect.id;
        return all;
    }();
    return made;
}

template <int... index>
std::array<OfxPlugin, kCount> makePlugins(std::integer_sequence<int, index...>) {
    return {OfxPlugin{kImageEffectApi, kImageEffectApiVersion, identifiers()[index].c_str(),
                      TUMBLEWASH_VERSION_MAJOR, TUMBLEWASH_VERSION_MINOR, setHost<index>,
                      mainEntry<index>}...};
}

}  // namespace

}  // namespace tumblewash::ofx

#define TUMBLEWASH_OFX_EXPORT __attribute__((visibility("default")))

extern "C" {
TUMBLEWASH_OFX_EXPORT int OfxGetNumberOfPlugins() {
    return tumblewash::ofx::kCount;
}

TUMBLEWASH_OFX_EXPORT OfxPlugin* OfxGetPlugin(int nth) {
    using namespace tumblewash::ofx;
    static auto plugins = makePlugins(std::make_integer_sequence<int, kCount>{});
    return nth >= 0 && nth < kCount ? &plugins[static_cast<std::size_t>(nth)] : nullptr;
}

TUMBLEWASH_OFX_EXPORT OfxStatus OfxSetHost(const OfxHost*) {
    return tumblewash::ofx::kOK;
}
}
