// The effects of two clips as transitions of OBS Studio, over libobs. Scenes come from the graphics card in
// one frame, are read and rendered in the next and shown in the one after: the thread that draws the stream
// waits for nothing. libobs is licensed GPL-2+, and so is what this file becomes when it is built; nothing
// else of the project includes it.

#include <obs-module.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "adapters/obs/LiveTransition.h"

// NOLINTBEGIN: the macros declare what every module exports.
OBS_DECLARE_MODULE()
OBS_MODULE_AUTHOR("the tumblewash developers")
// NOLINTEND

namespace {

using tumblewash::plugin::effectCatalogue;
using tumblewash::plugin::EffectRecord;
using namespace tumblewash::adapters;

constexpr const char* kDirection = "direction";
constexpr const char* kSeed = "seed";
constexpr const char* kRight = "right";
struct DirectionName {
    const char* value;
    const char* label;
    HYPluginDirection direction;
};
constexpr std::array<DirectionName, 4> kDirections{{{"up", "Up", kPluginDirectionUp},
                                                    {"down", "Down", kPluginDirectionDown},
                                                    {"left", "Left", kPluginDirectionLeft},
                                                    {kRight, "Right", kPluginDirectionRight}}};

// What libobs is told of one effect. Ids are written into users' scene collections and never change.
struct Kind {
    const EffectRecord* record;
    std::string id, name;
};

std::vector<Kind>& kinds() {
    static std::vector<Kind> all = [] {
        std::vector<Kind> made;
        for (const EffectRecord& record : effectCatalogue()) {
            if (record.driver == tumblewash::plugin::EffectDriver::none || !joinsTwoClips(record)) continue;
            std::string id = std::string("tumblewash_") + record.id;
            std::replace(id.begin(), id.end(), '-', '_');
            made.push_back({&record, std::move(id), std::string("tumblewash ") + record.name});
        }
        return made;
    }();
    return all;
}

// Graphics objects belong to the graphics thread; they are destroyed inside obs_enter_graphics.
struct Textures {
    gs_stagesurf_t* from = nullptr;
    gs_stagesurf_t* to = nullptr;
    gs_texture_t* result = nullptr;
    int width = 0;
    int height = 0;

    void release() {
        gs_stagesurface_destroy(from);
        gs_stagesurface_destroy(to);
        gs_texture_destroy(result);
        *this = {};
    }
    // False when the card has no room for them.
    bool fit(int w, int h) {
        if (w == width && h == height) return result != nullptr;
        release();
        width = w;
        height = h;
        const auto cx = static_cast<std::uint32_t>(w);
        const auto cy = static_cast<std::uint32_t>(h);
        from = gs_stagesurface_create(cx, cy, GS_RGBA);
        to = gs_stagesurface_create(cx, cy, GS_RGBA);
        if (from != nullptr && to != nullptr)
            result = gs_texture_create(cx, cy, GS_RGBA, 1, nullptr, GS_DYNAMIC);
        return result != nullptr;
    }
};

/// A scene in the card's memory on its way to ours.
class Mapped {
  public:
    Mapped(gs_stagesurf_t* surface, bool wanted) {
        std::uint8_t* pixels = nullptr;
        std::uint32_t stride = 0;
        if (wanted && gs_stagesurface_map(surface, &pixels, &stride)) {
            surface_ = surface;
            picture_ = {pixels, stride};
        }
    }
    ~Mapped() {
        if (surface_ != nullptr) gs_stagesurface_unmap(surface_);
    }
    Mapped(const Mapped&) = delete;
    Mapped& operator=(const Mapped&) = delete;
    [[nodiscard]] const LivePicture& picture() const { return picture_; }

  private:
    gs_stagesurf_t* surface_ = nullptr;
    LivePicture picture_;
};

class Transition {
  public:
    Transition(obs_source_t* source, const EffectRecord& record)
        : source_(source), record_(record), live_(record) {}
    ~Transition() {
        obs_enter_graphics();
        textures_.release();
        obs_leave_graphics();
    }
    Transition(const Transition&) = delete;
    Transition& operator=(const Transition&) = delete;

    void update(obs_data_t* settings) {
        Knobs knobs;
        if (hasKnobs(record_)) {
            const std::string_view name = obs_data_get_string(settings, kDirection);
            for (const DirectionName& known : kDirections)
                if (name == known.value) knobs.direction = known.direction;
            knobs.seed = static_cast<std::uint32_t>(
                std::clamp<long long>(obs_data_get_int(settings, kSeed), 1, INT32_MAX));
        }
        const std::lock_guard lock(mutex_);
        knobs_ = knobs;
    }

    void start() { live_.restart(); }

    // One line for each transition that was not quick enough, so that a stream's log tells it.
    void stop() const {
        const LiveCounts counts = live_.counts();
        if (counts.late > 0)
            blog(LOG_WARNING,
                 "[tumblewash] %s: %d of %d pictures were not ready in time and earlier ones were shown; use "
                 "a smaller "
                 "canvas, fewer frames a second or another transition",
                 record_.name, counts.late, counts.frames);
        if (counts.failed > 0)
            blog(LOG_WARNING, "[tumblewash] %s: memory ran out for %d pictures; scenes were shown instead",
                 record_.name, counts.failed);
    }

    void render() { obs_transition_video_render(source_, &Transition::draw); }

    bool mix(std::uint64_t* time, obs_source_audio_mix* audio, std::uint32_t mixers, std::size_t channels,
             std::size_t rate) {
        return obs_transition_audio_render(
            source_, time, audio, mixers, channels, rate,
            [](void* data, float t) { return liveLevels(static_cast<Transition*>(data)->record_, t).from; },
            [](void* data, float t) { return liveLevels(static_cast<Transition*>(data)->record_, t).to; });
    }

  private:
    static void draw(void* data, gs_texture_t* a, gs_texture_t* b, float t, std::uint32_t cx,
                     std::uint32_t cy) {
        static_cast<Transition*>(data)->drawFrame(a, b, t, cx, cy);
    }

    void drawFrame(gs_texture_t* a, gs_texture_t* b, double t, std::uint32_t cx, std::uint32_t cy) {
        const LiveMoment moment = live_.frame(t);
        const auto width = static_cast<int>(cx);
        const auto height = static_cast<int>(cy);
        if (std::exchange(run_, moment.run) != moment.run || width != textures_.width ||
            height != textures_.height)
            staged_ = shown_ = false;
        if (width > 0 && height > 0 && textures_.fit(width, height)) {
            if (const Canvas* picture = live_.take();
                picture != nullptr && picture->width() == width && picture->height() == height) {
                gs_texture_set_image(textures_.result, picture->row(0), 4 * cx, false);
                shown_ = true;
            }
            passOn();
            stage(a, b, moment);
        }
        gs_texture_t* scene = t < 0.5 ? a : b;
        sprite(shown_ ? textures_.result : scene, cx, cy);
    }

    // The scenes of the frame before have arrived by now; asking for them earlier would wait for the card.
    void passOn() {
        if (!std::exchange(staged_, false)) return;
        Knobs knobs;
        {
            const std::lock_guard lock(mutex_);
            knobs = knobs_;
        }
        const Mapped from(textures_.from, hasFrom_);
        const Mapped to(textures_.to, hasTo_);
        try {
            live_.submit(stagedMoment_, knobs, textures_.width, textures_.height, from.picture(),
                         to.picture());
        } catch (const std::exception& error) {
            // No exception may reach the host; the picture before stays.
            if (!std::exchange(failureSaid_, true))
                blog(LOG_WARNING, "[tumblewash] %s: %s", record_.name, error.what());
        }
    }

    void stage(gs_texture_t* a, gs_texture_t* b, const LiveMoment& moment) {
        hasFrom_ = fits(a);
        hasTo_ = fits(b);
        if (hasFrom_) gs_stage_texture(textures_.from, a);
        if (hasTo_) gs_stage_texture(textures_.to, b);
        stagedMoment_ = moment;
        staged_ = true;
    }

    // A scene that is not there comes as a small transparent texture.
    [[nodiscard]] bool fits(gs_texture_t* texture) const {
        return texture != nullptr && gs_texture_get_color_format(texture) == GS_RGBA &&
               std::cmp_equal(gs_texture_get_width(texture), textures_.width) &&
               std::cmp_equal(gs_texture_get_height(texture), textures_.height);
    }

    // The bytes as they are: no conversion to linear light and back.
    static void sprite(gs_texture_t* texture, std::uint32_t cx, std::uint32_t cy) {
        if (texture == nullptr) return;
        gs_effect_t* effect = obs_get_base_effect(OBS_EFFECT_DEFAULT);
        const bool linear = gs_framebuffer_srgb_enabled();
        gs_enable_framebuffer_srgb(false);
        gs_blend_state_push();
        gs_blend_function(GS_BLEND_ONE, GS_BLEND_INVSRCALPHA);
        gs_effect_set_texture(gs_effect_get_param_by_name(effect, "image"), texture);
        while (gs_effect_loop(effect, "Draw")) gs_draw_sprite(texture, 0, cx, cy);
        gs_blend_state_pop();
        gs_enable_framebuffer_srgb(linear);
    }

    obs_source_t* source_;
    const EffectRecord& record_;
    std::mutex mutex_;  // of the knobs, which another thread sets
    Knobs knobs_;
    // Of the graphics thread.
    Textures textures_;
    std::uint64_t run_ = 0;
    bool staged_ = false, hasFrom_ = false, hasTo_ = false;
    LiveMoment stagedMoment_;
    bool shown_ = false;
    bool failureSaid_ = false;
    LiveTransition live_;  // last: its thread ends first
};

const Kind& kindOf(void* data) {
    return *static_cast<const Kind*>(data);
}
Transition& transitionOf(void* data) {
    return *static_cast<Transition*>(data);
}

void* create(obs_data_t* settings, obs_source_t* source) {
    const std::string_view id = obs_source_get_id(source);
    for (const Kind& kind : kinds()) {
        if (kind.id != id) continue;
        try {
            auto made = std::make_unique<Transition>(source, *kind.record);
            made->update(settings);
            return made.release();
        } catch (const std::exception& error) {
            blog(LOG_ERROR, "[tumblewash] %s: %s", kind.record->name, error.what());
        }
    }
    return nullptr;
}

obs_properties_t* properties(void*, void* kind) {
    obs_properties_t* page = obs_properties_create();
    if (!hasKnobs(*kindOf(kind).record)) return page;
    obs_property_t* list =
        obs_properties_add_list(page, kDirection, "Direction", OBS_COMBO_TYPE_LIST, OBS_COMBO_FORMAT_STRING);
    for (const DirectionName& direction : kDirections)
        obs_property_list_add_string(list, direction.label, direction.value);
    obs_property_set_long_description(list, "The edge towards which the picture leaves");
    obs_property_set_long_description(obs_properties_add_int(page, kSeed, "Seed", 1, INT32_MAX, 1),
                                      "Which random field: the same number is the same field");
    return page;
}

obs_source_info infoOf(Kind& kind) {
    obs_source_info info = {};
    info.id = kind.id.c_str();
    info.type = OBS_SOURCE_TYPE_TRANSITION;
    info.type_data = &kind;
    info.get_name = [](void* data) { return kindOf(data).name.c_str(); };
    info.create = create;
    info.destroy = [](void* data) { delete &transitionOf(data); };
    info.update = [](void* data, obs_data_t* settings) { transitionOf(data).update(settings); };
    info.get_defaults2 = [](void* data, obs_data_t* settings) {
        if (!hasKnobs(*kindOf(data).record)) return;
        obs_data_set_default_string(settings, kDirection, kRight);
        obs_data_set_default_int(settings, kSeed, 1);
    };
    info.get_properties2 = properties;
    info.video_render = [](void* data, gs_effect_t*) { transitionOf(data).render(); };
    info.audio_render = [](void* data, std::uint64_t* time, obs_source_audio_mix* audio, std::uint32_t mixers,
                           std::size_t channels, std::size_t rate) {
        return transitionOf(data).mix(time, audio, mixers, channels, rate);
    };
    info.transition_start = [](void* data) { transitionOf(data).start(); };
    info.transition_stop = [](void* data) { transitionOf(data).stop(); };
    return info;
}

}  // namespace

MODULE_EXPORT const char* obs_module_name() {
    return "tumblewash";
}

MODULE_EXPORT const char* obs_module_description() {
    return "Classic video transitions between scenes";
}

bool obs_module_load() {
    try {
        for (Kind& kind : kinds()) {
            const obs_source_info info = infoOf(kind);
            obs_register_source(&info);
        }
        return true;
    } catch (const std::exception& error) {
        blog(LOG_ERROR, "[tumblewash] %s", error.what());
        return false;
    }
}
