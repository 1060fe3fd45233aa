// The bundle: the catalogue as plug-ins of the general context and of the one that fits: transition for two
// clips, filter for one. Each action is one function. Only OfxGetNumberOfPlugins, OfxGetPlugin and OfxSetHost
// leave it.

#include <algorithm>
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
#include "effects/DeepEffect.h"

namespace tumblewash::ofx {

using plugin::effectCatalogue;
using plugin::EffectRecord;
using plugin::effectRecord;

namespace {

using adapters::Canvas;
using adapters::Knobs;
using adapters::Phase;
using adapters::TransitionRenderer;

constexpr int kCount = plugin::kEffectCount;
// What hosts keep of a plug-in's version: the major number says that projects are understood as before, and
// stays whatever release this is.
constexpr unsigned kInterfaceMajor = 1;
constexpr unsigned kInterfaceMinor = 0;
constexpr const char* kPage = "Controls";
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
    explicit Instance(bool driven) : hostDrives(driven) {}

    // Proxy renders come at other sizes; the last size stays at hand.
    std::shared_ptr<TransitionRenderer> renderer(const EffectRecord& effect, int width, int height) {
        const std::lock_guard lock(mutex);
        if (current == nullptr || current->width() != width || current->height() != height)
            current = std::make_shared<TransitionRenderer>(effect, width, height);
        return current;
    }

    const bool hostDrives;  ///< the position is the host's own parameter
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
    /// A host that does not say whether the clip is connected has connected it.
    [[nodiscard]] bool connected(const char* name) const {
        OfxPropertySetHandle set = nullptr;
        OfxImageClipHandle found = clip(name);
        if (found == nullptr || suites.effect->clipGetPropertySet(found, &set) != kOK || set == nullptr)
            return false;
        return Properties(suites, set).integer(kPropClipConnected, 1) != 0;
    }
};

/// The clips that an effect takes pictures from; the second is null for one clip.
std::array<const char*, 2> sourcesOf(const EffectRecord& effect) {
    if (adapters::joinsTwoClips(effect)) return {kClipFrom, kClipTo};
    return {kClipSource, nullptr};
}

/// The context besides the general one.
const char* contextOf(const EffectRecord& effect) {
    return adapters::joinsTwoClips(effect) ? kContextTransition : kContextFilter;
}

/// The plain cut is called what editors call it.
std::string labelOf(const EffectRecord& effect) {
    return effect.driver == plugin::EffectDriver::none ? "Cut" : effect.name;
}

OfxStatus describe(const Action& action) {
    const Properties properties = action.properties();
    const std::string label = labelOf(action.effect);
    properties.setString(kPropLabel, label);
    properties.setString(kPropShortLabel, label.substr(0, 13));
    properties.setString(kPropLongLabel, "tumblewash " + label);
    properties.setString(kPropGrouping, "tumblewash");
    properties.setString(kPropPluginDescription, action.effect.sentence);
    properties.setString(kPropSupportedContexts, contextOf(action.effect), 0);
    properties.setString(kPropSupportedContexts, kContextGeneral, 1);
    properties.setString(kPropSupportedPixelDepths, kDepthByte, 0);
    properties.setString(kPropSupportedPixelDepths, kDepthShort, 1);
    properties.setString(kPropSupportedPixelDepths, kDepthFloat, 2);
    properties.setInt(kPropSingleInstance, 0);
    properties.setInt(kPropHostFrameThreading, 0);
    properties.setInt(kPropSupportsTiles, 0);
    properties.setInt(kPropMultiResolution, 1);
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

/// What shows the parameters, in this order; a host without pages lists them itself.
void definePage(const Action& action, bool driven) {
    const Properties page = defineParameter(action, kParamTypePage, kPage);
    int shown = 0;
    if (!driven) page.setString(kParamPageChild, kParamMix, shown++);
    if (!adapters::hasKnobs(action.effect)) return;
    for (const char* name : {kParamDirection, kParamSeed}) page.setString(kParamPageChild, name, shown++);
}

void defineMix(const Action& action) {
    const Properties mix = defineParameter(action, kParamTypeDouble, kParamMix);
    mix.setString(kPropLabel, "Mix");
    mix.setString(kParamHint, adapters::joinsTwoClips(action.effect)
                                  ? "How far the transition is: 0 shows the first picture, 1 the second"
                                  : "How far the effect is: 0 is its start, 1 its end");
    mix.setDouble(kParamDefault, adapters::pictureArrives(action.effect) ? 1 : 0);
    for (const char* low : {kParamMin, kParamDisplayMin}) mix.setDouble(low, 0);
    for (const char* high : {kParamMax, kParamDisplayMax}) mix.setDouble(high, 1);
    mix.setDouble(kParamIncrement, 0.01);
    mix.setInt(kParamDigits, 2);
}

OfxStatus describeInContext(const Action& action) {
    const std::string context = Properties(action.suites, action.in).string(kPropContext);
    const bool general = context == kContextGeneral;
    if (!general && context != contextOf(action.effect)) return kErrUnsupported;
    const bool driven = context == kContextTransition;
    const bool two = adapters::joinsTwoClips(action.effect);
    for (const char* clip : sourcesOf(action.effect))
        if (clip != nullptr) defineClip(action, clip, general && two);
    defineClip(action, kClipOutput, false);
    if (driven)
        // The host drives it and draws its own knob: nothing about it may be set.
        defineParameter(action, kParamTypeDouble, kParamTransition);
    else
        defineMix(action);
    definePage(action, driven);
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
    auto made = std::make_unique<Instance>(properties.string(kPropContext) == kContextTransition);
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
    return parameterAt(action, action.instance().hostDrives ? kParamTransition : kParamMix, time, 0.0);
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
    return (phase == Phase::last) == adapters::pictureArrives(effect) ? kClipSource : nullptr;
}

// The plain cut shows one of its pictures at every position.
Phase phaseFor(const EffectRecord& effect, double position) {
    if (effect.driver != plugin::EffectDriver::none) return adapters::phaseOf(position);
    return position >= 0.5 ? Phase::last : Phase::first;
}

OfxStatus isIdentity(const Action& action) {
    const OfxTime time = Properties(action.suites, action.in).number(kPropTime, 0);
    const Phase phase = phaseFor(action.effect, positionAt(action, time));
    const char* clip = phase == Phase::between ? nullptr : clipAtEnd(action.effect, phase);
    if (clip == nullptr || !action.connected(clip)) return kReplyDefault;
    const Properties answer(action.suites, action.out);
    answer.setString(kPropName, clip);
    answer.setDouble(kPropTime, time);
    return kOK;
}

// Pixels are where one of the clips has some; a host would otherwise take the whole project's window.
OfxStatus regionOfDefinition(const Action& action) {
    const OfxTime time = Properties(action.suites, action.in).number(kPropTime, 0);
    OfxRectD whole{};
    bool some = false;
    for (const char* name : sourcesOf(action.effect)) {
        OfxRectD part{};
        if (name == nullptr || !action.connected(name) ||
            action.suites.effect->clipGetRegionOfDefinition(action.clip(name), time, &part) != kOK)
            continue;
        whole = some ? OfxRectD{std::min(whole.x1, part.x1), std::min(whole.y1, part.y1),
                                std::max(whole.x2, part.x2), std::max(whole.y2, part.y2)}
                     : part;
        some = true;
    }
    if (!some) return kReplyDefault;
    const Properties answer(action.suites, action.out);
    const double corners[] = {whole.x1, whole.y1, whole.x2, whole.y2};
    for (int i = 0; i < 4; ++i) answer.setDouble(kPropRegionOfDefinition, corners[i], i);
    return kOK;
}

// What one clip leaves uncovered is transparent, also where the clip itself is opaque.
OfxStatus clipPreferences(const Action& action) {
    OfxPropertySetHandle set = nullptr;
    OfxImageClipHandle source = action.clip(kClipSource);
    if (adapters::joinsTwoClips(action.effect) || source == nullptr ||
        action.suites.effect->clipGetPropertySet(source, &set) != kOK || set == nullptr)
        return kReplyDefault;
    if (Properties(action.suites, set).string(kPropPreMultiplication) != kImageOpaque) return kReplyDefault;
    Properties(action.suites, action.out).setString(kPropPreMultiplication, kImagePreMultiplied);
    return kOK;
}

void sayNote(const Action& action, Instance& instance, const std::string& note) {
    if (note.empty() || instance.noteSaid.test_and_set()) return;
    if (action.suites.message != nullptr)
        action.suites.message->message(action.handle, kMessageLog, "tumblewash.size", "%s", note.c_str());
    else
        std::fprintf(stderr, "%s\n", note.c_str());
}

void renderBytes(TransitionRenderer& renderer, double position, const Knobs& knobs, const Image& first,
                 const Image* second, Image& output, const OfxRectI& window) {
    const OfxRectI region = output.bounds();
    Canvas from, to, result;
    first.read(region, from);
    if (second != nullptr) second->read(region, to);
    renderer.render(position, knobs, from, second != nullptr ? &to : nullptr, result);
    output.write(result, region, window);
}

// Pictures of 16 bits and float, over deep pixels.
void renderDeep(const EffectRecord& effect, double position, const Knobs& knobs, const Image& first,
                const Image* second, Image& output, const OfxRectI& window) {
    const OfxRectI region = output.bounds();
    const DeepCanvas from = first.readDeep(region, output.range());
    const DeepCanvas to = second != nullptr ? second->readDeep(region, output.range()) : DeepCanvas();
    DeepCanvas result(region);
    const effects::DeepEffect deep(effect, result.width, result.height, knobs, output.range());
    deep.render(position, {from.view(), to.view(), false}, result.target());
    output.writeDeep(result, region, window);
}

OfxStatus render(const Action& action) {
    const Properties in(action.suites, action.in);
    const OfxTime time = in.number(kPropTime, 0);
    const OfxRectI window = in.rectangle(kPropRenderWindow);
    Instance& instance = action.instance();
    const double position = positionAt(action, time);
    const Phase phase = phaseFor(action.effect, position);

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

    const auto sources = sourcesOf(action.effect);
    const Image first(action.suites, action.clip(sources[0]), time);
    const Image second(action.suites, sources[1] != nullptr ? action.clip(sources[1]) : nullptr, time);
    if (action.suites.effect->abort(action.handle) != 0) return kOK;
    const Knobs knobs = knobsAt(action, time);
    const OfxRectI region = output.bounds();
    const auto renderer = instance.renderer(action.effect, region.x2 - region.x1, region.y2 - region.y1);
    sayNote(action, instance, renderer->note());
    const Image* other = sources[1] != nullptr ? &second : nullptr;
    if (output.depth() != Depth::byte && renderer->note().empty())
        renderDeep(action.effect, position, knobs, first, other, output, window);
    else
        renderBytes(*renderer, position, knobs, first, other, output, window);
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
    constexpr std::array<std::pair<const char*, OfxStatus (*)(const Action&)>, 8> actions{
        {{kActionDescribe, describe},
         {kActionDescribeInContext, describeInContext},
         {kActionCreateInstance, createInstance},
         {kActionDestroyInstance, destroyInstance},
         {kActionIsIdentity, isIdentity},
         {kActionRegionOfDefinition, regionOfDefinition},
         {kActionClipPreferences, clipPreferences},
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
    return {OfxPlugin{kImageEffectApi, kImageEffectApiVersion, identifiers()[index].c_str(), kInterfaceMajor,
                      kInterfaceMinor, setHost<index>, mainEntry<index>}...};
}

}  // namespace

}  // namespace tumblewash::ofx

#ifdef TUMBLEWASH_OFX_STATIC
// The C++ library inside the bundle keeps memory for exceptions in need, which goes with the bundle.
namespace __gnu_cxx {
void __freeres() noexcept;
}
namespace {
[[gnu::destructor]] void giveMemoryBack() {
    __gnu_cxx::__freeres();
}
}  // namespace
#endif

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
