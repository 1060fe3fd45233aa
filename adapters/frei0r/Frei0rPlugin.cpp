// One variant of the catalogue as a frei0r plug-in: a mixer for two clips, a filter for one. Which one is
// what the loadable files differ in, and comes from Variant.cpp. frei0r.h is licensed GPL-2+, and so is what
// this file becomes when it is built; nothing else of the project includes it.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "adapters/common/Rgba.h"
#include "adapters/common/TransitionRenderer.h"
#include "adapters/frei0r/Variant.h"

// The header is C and does not say so to C++; its functions are what the file exports.
#pragma GCC visibility push(default)
extern "C" {
#include <frei0r.h>
}
#pragma GCC visibility pop

namespace {

using tumblewash::plugin::EffectRecord;
using tumblewash::plugin::effectRecord;
using namespace tumblewash::adapters;

const EffectRecord& effect() {
    return effectRecord(tumblewash::adapters::kVariant);
}

enum Parameter { kPosition, kDirection, kSeed };
constexpr std::array<const char*, 4> kDirections{"up", "down", "left", "right"};
constexpr double kSeedSteps = 1000;

int parameterCount() {
    return hasKnobs(effect()) ? 3 : 1;
}

struct Instance {
    Instance(unsigned width, unsigned height)
        : renderer(effect(), static_cast<int>(width), static_cast<int>(height)) {}

    [[nodiscard]] Knobs knobs() const {
        Knobs made;
        const auto* found = std::find(kDirections.begin(), kDirections.end(), direction);
        if (found != kDirections.end())
            made.direction =
                static_cast<HYPluginDirection>(kPluginDirectionUp + (found - kDirections.begin()));
        made.seed = 1U + static_cast<unsigned>(std::lround(seed * kSeedSteps));
        return made;
    }

    // Hosts call once a frame: each sentence is said once for an instance.
    void sayNote() {
        if (!std::exchange(noteSaid, true) && !renderer.note().empty())
            std::fprintf(stderr, "%s\n", renderer.note().c_str());
    }
    void sayFailure(const char* words) {
        if (!std::exchange(failureSaid, true))
            std::fprintf(stderr, "tumblewash: %s: %s\n", effect().id, words);
    }

    double position = 0;
    std::string direction = "right";
    double seed = 0;
    bool noteSaid = false;
    bool failureSaid = false;
    TransitionRenderer renderer;
    Canvas from, to;
};

double unitRange(double value) {
    return value >= 0 ? std::min(value, 1.0) : 0.0;
}

void read(const std::uint8_t* rgba, const TransitionRenderer& size, Canvas& canvas) {
    canvas.resize(size.width(), size.height());
    const std::size_t rowBytes = static_cast<std::size_t>(size.width()) * 4;
    bool opaque = true;
    for (int y = 0; y < size.height(); ++y)
        opaque &= rowFromRgba(rgba + rowBytes * static_cast<std::size_t>(y), size.width(),
                              AlphaKind::straight, canvas.row(y));
    canvas.setOpaque(opaque);
}

// What stands at an end of the transition, or in for a frame that could not be rendered: one picture bit for
// bit, or nothing where a single clip's picture has left.
void handThrough(const Instance& instance, Phase phase, const void* a, const void* b, void* out) {
    const std::size_t bytes = static_cast<std::size_t>(instance.renderer.width()) *
                              static_cast<std::size_t>(instance.renderer.height()) * 4;
    const void* shown = phase == Phase::last ? b : a;
    if (!joinsTwoClips(effect())) shown = (phase == Phase::last) == pictureArrives(effect()) ? a : nullptr;
    if (shown != nullptr)
        std::memmove(out, shown, bytes);
    else
        std::memset(out, 0, bytes);
}

void update(f0r_instance_t handle, const void* a, const void* b, void* out) {
    if (handle == nullptr || out == nullptr) return;
    auto& instance = *static_cast<Instance*>(handle);
    const bool complete = a != nullptr && (!joinsTwoClips(effect()) || b != nullptr);
    Phase phase = phaseOf(instance.position);
    if (complete && phase == Phase::between) {
        try {
            const auto& renderer = instance.renderer;
            instance.sayNote();
            read(static_cast<const std::uint8_t*>(a), renderer, instance.from);
            Canvas* to = nullptr;
            if (joinsTwoClips(effect())) {
                read(static_cast<const std::uint8_t*>(b), renderer, instance.to);
                to = &instance.to;
            }
            // The result is made in the host's memory and turned into its pixels there.
            Canvas result;
            result.layOver(static_cast<std::uint8_t*>(out), renderer.width(), renderer.height());
            instance.renderer.render(instance.position, instance.knobs(), instance.from, to, result);
            for (int y = 0; y < result.height(); ++y)
                rowToRgbaInPlace(result.row(y), result.width(), kindFor(result, AlphaKind::straight));
            return;
        } catch (const std::exception& error) {
            // No exception may reach the host; the nearer picture stands in.
            instance.sayFailure(error.what());
        }
    }
    if (phase == Phase::between) phase = instance.position < 0.5 ? Phase::first : Phase::last;
    handThrough(instance, phase, a, b, out);
}

}  // namespace

extern "C" {

int f0r_init() {
    return 1;
}
void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    if (info == nullptr) return;
    // Nothing may be thrown into the host, so nothing is allocated here.
    static const auto name = [] {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "tumblewash %s", effect().name);
        return text;
    }();
    info->name = name.data();
    info->author = "the tumblewash developers";
    info->plugin_type = joinsTwoClips(effect()) ? F0R_PLUGIN_TYPE_MIXER2 : F0R_PLUGIN_TYPE_FILTER;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = TUMBLEWASH_VERSION_MAJOR;
    info->minor_version = TUMBLEWASH_VERSION_MINOR;
    info->num_params = parameterCount();
    info->explanation = effect().sentence;
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
    if (info == nullptr || index < 0 || index >= parameterCount()) return;
    switch (index) {
        case kPosition:
            *info = {"position", F0R_PARAM_DOUBLE, "how far the transition is, 0 to 1"};
            break;
        case kDirection:
            *info = {"direction", F0R_PARAM_STRING, "where the picture leaves to: up, down, left or right"};
            break;
        default:
            *info = {"seed", F0R_PARAM_DOUBLE, "which random field: 0 is the first, each 0.001 the next"};
    }
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    if (width < 1 || height < 1 || width > 65535 || height > 65535) return nullptr;
    try {
        return new Instance(width, height);
    } catch (const std::exception&) {
        return nullptr;
    }
}

void f0r_destruct(f0r_instance_t handle) {
    delete static_cast<Instance*>(handle);
}

void f0r_set_param_value(f0r_instance_t handle, f0r_param_t value, int index) {
    if (handle == nullptr || value == nullptr || index >= parameterCount()) return;
    auto& instance = *static_cast<Instance*>(handle);
    if (index == kPosition) instance.position = unitRange(*static_cast<double*>(value));
    if (index == kSeed) instance.seed = unitRange(*static_cast<double*>(value));
    if (index == kDirection) {
        const char* text = *static_cast<char**>(value);
        try {
            if (text != nullptr) instance.direction = text;
        } catch (const std::exception&) {
            return;  // memory is short: the direction stays
        }
    }
}

void f0r_get_param_value(f0r_instance_t handle, f0r_param_t value, int index) {
    if (handle == nullptr || value == nullptr || index >= parameterCount()) return;
    auto& instance = *static_cast<Instance*>(handle);
    if (index == kPosition) *static_cast<double*>(value) = instance.position;
    if (index == kSeed) *static_cast<double*>(value) = instance.seed;
    if (index == kDirection) *static_cast<char**>(value) = instance.direction.data();
}

// Hosts drive filters through the first form and mixers through the second.
void f0r_update(f0r_instance_t handle, double, const uint32_t* in, uint32_t* out) {
    update(handle, in, nullptr, out);
}

void f0r_update2(f0r_instance_t handle, double, const uint32_t* a, const uint32_t* b, const uint32_t*,
                 uint32_t* out) {
    update(handle, a, b, out);
}
}
