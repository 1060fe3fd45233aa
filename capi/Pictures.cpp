// The catalogue and one picture: tumblewash.h over effects/.
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capi/LastError.h"
#include "capi/PixelFormat.h"
#include "capi/tumblewash.h"
#include "edit/Nearest.h"
#include "effects/Effect.h"
#include "media/Quoting.h"
#include "memory/FrameMemory.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::capi {

namespace {

using effects::Alpha;
using effects::Effect;
using effects::EffectKnobs;
using effects::Outcome;
using effects::Picture;
using effects::Target;
using imagelib::LineBand;
using plugin::effectCatalogue;
using plugin::EffectRecord;
using plugin::findEffectRecord;

using Bytes = std::vector<std::uint8_t, memory::FrameAllocator<std::uint8_t>>;

/// The record of an id; null after the error was kept.
const EffectRecord* recordOf(const char* id) {
    if (id == nullptr) {
        failed(TW_BAD_ARGUMENT, "no effect is named; pass an id such as wash-away");
        return nullptr;
    }
    const EffectRecord* record = findEffectRecord(id);
    if (record != nullptr) return record;
    std::vector<std::string> ids;
    for (const EffectRecord& effect : effectCatalogue()) ids.emplace_back(effect.id);
    const std::string sentence = "unknown effect '" + media::printable(id) + "'" + edit::didYouMean(id, ids) +
                                 "; tw_effect_at lists them all";
    failed(TW_BAD_ARGUMENT, sentence.c_str());
    return nullptr;
}

void describe(const EffectRecord& record, tw_effect_info& info) {
    info.id = record.id;
    info.name = record.name;
    info.sentence = record.sentence;
    info.index = record.index;
    info.clips = effects::joinsTwoClips(record) ? 2 : 1;
    info.arrives = effects::pictureArrives(record) ? 1 : 0;
    info.has_knobs = effects::hasKnobs(record) ? 1 : 0;
    info.reveals = record.overnext && record.reveal ? 1 : 0;
}

/// False for numbers that are no direction.
bool knobsOf(const tw_knobs* knobs, EffectKnobs& made) {
    if (knobs == nullptr) return true;
    made.seed = knobs->seed;
    switch (knobs->direction) {
        case TW_RIGHT:
            made.direction = kPluginDirectionRight;
            return true;
        case TW_LEFT:
            made.direction = kPluginDirectionLeft;
            return true;
        case TW_UP:
            made.direction = kPluginDirectionUp;
            return true;
        case TW_DOWN:
            made.direction = kPluginDirectionDown;
            return true;
    }
    return false;
}

/// The effect of an id and its knobs; none after the error was kept.
std::optional<Effect> effectOf(const char* id, const tw_knobs* knobs) {
    const EffectRecord* record = recordOf(id);
    if (record == nullptr) return std::nullopt;
    EffectKnobs chosen;
    if (!knobsOf(knobs, chosen)) {
        failed(TW_BAD_ARGUMENT, "unknown direction; use one of tw_direction");
        return std::nullopt;
    }
    return Effect(*record, chosen);
}

Alpha alphaOf(tw_format format, tw_alpha alpha) {
    if (!hasAlpha(format) || alpha == TW_OPAQUE) return Alpha::opaque;
    return alpha == TW_PREMULTIPLIED ? Alpha::premultiplied : Alpha::straight;
}

bool sound(const void* pixels, std::ptrdiff_t stride, int width, int height, tw_format format,
           tw_alpha alpha) {
    if (pixels == nullptr || width <= 0 || height <= 0 || pixelBytes(format) == 0 ||
        static_cast<unsigned>(alpha) > TW_OPAQUE ||
        std::int64_t{width} * height > std::numeric_limits<std::int32_t>::max())
        return false;
    const std::ptrdiff_t row = std::ptrdiff_t{width} * pixelBytes(format);
    const std::ptrdiff_t farthest = std::numeric_limits<std::ptrdiff_t>::max() / height;
    return (stride >= row && stride <= farthest) || (stride <= -row && stride >= -farthest);
}

/// A caller's picture as effects take it: itself, or a copy with its bytes in order.
class Source {
  public:
    Source(const tw_picture* picture, const Effect& effect) {
        if (picture == nullptr) return;
        const tw_picture& p = *picture;
        made_ = {p.pixels, p.stride, p.width, p.height, alphaOf(p.format, p.alpha)};
        if (p.format == TW_ARGB) return;
        const std::ptrdiff_t pitch = std::ptrdiff_t{p.width} * 4;
        bytes_.resize(static_cast<std::size_t>(pitch) * static_cast<std::size_t>(p.height));
        effect.eachBand(p.width, p.height, [&](const LineBand& band) {
            for (int y = band.first; y < band.endIn(p.height); ++y)
                toArgb(p.format, p.pixels + y * p.stride, p.width, bytes_.data() + y * pitch);
        });
        made_.pixels = bytes_.data();
        made_.stride = pitch;
    }
    const Picture& picture() const { return made_; }

  private:
    Bytes bytes_;
    Picture made_;
};

tw_status render(const Effect& effect, double position, const tw_picture* first, const tw_picture* second,
                 const tw_target* target) {
    const bool two = effects::joinsTwoClips(effect.record());
    const auto refused = [](const char* sentence) { return failed(TW_BAD_ARGUMENT, sentence); };
    if (first == nullptr || target == nullptr || (two && second == nullptr))
        return refused(two ? "the effect takes two pictures and a target; one of them is missing"
                           : "the effect takes a picture and a target; one of them is missing");
    const auto good = [](const auto& p) {
        return sound(p.pixels, p.stride, p.width, p.height, p.format, p.alpha);
    };
    const auto same = [&](const tw_picture& p) {
        return p.width == target->width && p.height == target->height;
    };
    if (!good(*target) || !good(*first) || (two && !good(*second)))
        return refused("a picture has no pixels, no size, an unknown format, or rows longer than its stride");
    if (!same(*first) || (two && !same(*second)))
        return refused("the pictures and the target differ in size; scale them first");
    const Source a(first, effect), b(two ? second : nullptr, effect);
    const effects::Pictures pictures{a.picture(), b.picture()};
    Target out{target->pixels, target->stride, target->width, target->height,
               alphaOf(target->format, target->alpha)};
    Bytes bytes;
    if (target->format != TW_ARGB) {
        out.stride = std::ptrdiff_t{target->width} * 4;
        bytes.resize(static_cast<std::size_t>(out.stride) * static_cast<std::size_t>(out.height));
        out.pixels = bytes.data();
    }
    switch (effect.render(position, pictures, out)) {
        case Outcome::ok:
            break;
        case Outcome::badPicture:
            return refused("a picture does not fit the effect");
        case Outcome::noMemory:
            throw std::bad_alloc();
    }
    if (target->format == TW_ARGB) return TW_OK;
    effect.eachBand(target->width, target->height, [&](const LineBand& band) {
        for (int y = band.first; y < band.endIn(target->height); ++y)
            fromArgb(target->format, out.pixels + y * out.stride, target->width,
                     target->pixels + y * target->stride);
    });
    return TW_OK;
}

/// Runs what may throw: only memory can run out in here.
template <class Work>
auto guarded(Work work, decltype(work()) otherwise) noexcept -> decltype(work()) {
    try {
        return work();
    } catch (...) {
        failed(TW_NO_MEMORY, "memory ran out; use smaller pictures or free some");
        return otherwise;
    }
}

}  // namespace

}  // namespace tumblewash::capi

using namespace tumblewash;
using namespace tumblewash::capi;

/// What a program keeps.
struct tw_effect {
    effects::Effect effect;
};

extern "C" {

uint32_t tw_version(void) {
    return TW_VERSION;
}

const char* tw_version_string(void) {
    return TUMBLEWASH_VERSION;
}

const char* tw_last_error(void) {
    return lastError();
}

int tw_effect_count(void) {
    return plugin::kEffectCount;
}

tw_status tw_effect_at(int index, tw_effect_info* info) {
    if (info == nullptr || index < 0 || index >= plugin::kEffectCount)
        return failed(TW_BAD_ARGUMENT, "no effect has this index; they run from 0 to tw_effect_count() - 1");
    describe(plugin::effectRecord(static_cast<short>(index)), *info);
    return TW_OK;
}

tw_status tw_effect_find(const char* id, tw_effect_info* info) {
    return guarded(
        [&] {
            if (info == nullptr) return failed(TW_BAD_ARGUMENT, "the record to fill is null");
            const plugin::EffectRecord* record = recordOf(id);
            if (record == nullptr) return TW_BAD_ARGUMENT;
            describe(*record, *info);
            return TW_OK;
        },
        TW_NO_MEMORY);
}

tw_status tw_render(const char* effect, double position, const tw_picture* first, const tw_picture* second,
                    const tw_knobs* knobs, const tw_target* target) {
    return guarded(
        [&] {
            const auto made = effectOf(effect, knobs);
            return made ? capi::render(*made, position, first, second, target) : TW_BAD_ARGUMENT;
        },
        TW_NO_MEMORY);
}

tw_effect* tw_effect_new(const char* effect, const tw_knobs* knobs) {
    return guarded(
        [&]() -> tw_effect* {
            auto made = effectOf(effect, knobs);
            return made ? new tw_effect{std::move(*made)} : nullptr;
        },
        nullptr);
}

tw_status tw_effect_render(const tw_effect* effect, double position, const tw_picture* first,
                           const tw_picture* second, const tw_target* target) {
    return guarded(
        [&] {
            if (effect == nullptr)
                return failed(TW_BAD_ARGUMENT, "the effect is null; make one with tw_effect_new");
            return capi::render(effect->effect, position, first, second, target);
        },
        TW_NO_MEMORY);
}

tw_status tw_effect_set_threads(tw_effect* effect, int threads) {
    static_assert(TW_MOST_THREADS == effects::kMostThreads);
    return guarded(
        [&] {
            if (effect == nullptr)
                return failed(TW_BAD_ARGUMENT, "the effect is null; make one with tw_effect_new");
            if (threads < 1 || threads > TW_MOST_THREADS)
                return failed(TW_BAD_ARGUMENT, "the number of threads must be between 1 and 64");
            effect->effect = effects::Effect(effect->effect.record(), effect->effect.knobs(), {threads});
            return TW_OK;
        },
        TW_NO_MEMORY);
}

void tw_effect_free(tw_effect* effect) {
    delete effect;
}
}
