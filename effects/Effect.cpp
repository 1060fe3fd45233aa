#include "effects/Effect.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <optional>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "effects/Displacement.h"
#include "effects/Frames.h"
#include "effects/MorphMotion.h"
#include "effects/RowThreads.h"
#include "platform/CopyBits.h"

namespace tumblewash::effects {

namespace {

using imagelib::LineBand;

using View = PixRectWrap<ARGBVal>;

// Pictures may begin at any byte.
static_assert(sizeof(ARGBVal) == 4 && alignof(ARGBVal) == 1);

View viewOf(std::uint8_t* pixels, int width, int height) {
    return View(reinterpret_cast<ARGBVal*>(pixels), width, height, SIAllLines);
}

bool fits(const Picture& picture, int width, int height) {
    const std::ptrdiff_t row = std::ptrdiff_t{width} * 4;
    const std::ptrdiff_t farthest = std::numeric_limits<std::ptrdiff_t>::max() / height;
    return picture.pixels != nullptr && picture.width == width && picture.height == height &&
           ((picture.stride >= row && picture.stride <= farthest) ||
            (picture.stride <= -row && picture.stride >= -farthest));
}

bool countable(int width, int height) {
    return width > 0 && height > 0 &&
           static_cast<std::int64_t>(width) * height <= std::numeric_limits<std::int32_t>::max();
}

constexpr std::ptrdiff_t pitchOf(int width) {
    return std::ptrdiff_t{width} * 4;
}

/// The bytes of the lines of a band, in frames without gaps.
struct BandBytes {
    std::size_t first;
    std::size_t end;
    BandBytes(int width, int height, const LineBand& band)
        : first(frameBytes(width, band.first)), end(frameBytes(width, band.endIn(height))) {}
};

/// The alpha of a frame as an opaque grey one.
Frame matteOf(const std::uint8_t* frame, int width, int height, const RowThreads& threads) {
    Frame matte = newFrame(width, height);
    threads.eachBand(width, height, [&](const LineBand& band) {
        const BandBytes bytes(width, height, band);
        for (std::size_t i = bytes.first; i < bytes.end; i += 4) {
            matte[i] = 255;
            std::memset(&matte[i + 1], frame[i], 3);
        }
    });
    return matte;
}

/// What a displacement field makes of opaque alpha: a read at a whole position, see ContImage.
constexpr std::uint8_t kDisplacedOpaque = (255 + 4 * 255) % 256;

/// An opaque single clip under a displacement field: its pixels arrive whole or not at all.
void coverWhereDisplaced(std::uint8_t* frame, const BandBytes& bytes) {
    constexpr auto alpha = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{255, 0, 0, 0});
    constexpr auto displaced =
        std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{kDisplacedOpaque, 0, 0, 0});
    for (std::size_t i = bytes.first; i < bytes.end; i += 4) {
        std::uint32_t pixel;
        std::memcpy(&pixel, frame + i, 4);
        pixel = (pixel & alpha) == displaced ? pixel | alpha : 0;
        std::memcpy(frame + i, &pixel, 4);
    }
}

/// Puts a rendered matte into the rendered picture's alpha. Where the plug-in interpolates, four truncated
/// contributions may lose up to three from a full 255: such values count as full.
void applyMatte(const std::uint8_t* matte, bool interpolated, std::uint8_t* frame, const BandBytes& bytes) {
    const unsigned full = interpolated ? 252 : 255;
    for (std::size_t i = bytes.first; i < bytes.end; i += 4) {
        const std::uint8_t alpha = matte[i + 1] >= full ? std::uint8_t{255} : matte[i + 1];
        frame[i] = alpha;
        for (std::size_t c = 1; c < 4; ++c) frame[i + c] = frame[i + c] < alpha ? frame[i + c] : alpha;
    }
}

plugin::DeepMotion motionOf(std::uint8_t* first, std::uint8_t* last, int width, int height,
                            const RowThreads& threads) {
    plugin::DeepMotion motion;
    threads.eachPart(2, width, height, [&](int part) {
        View from = viewOf(first, width, height), to = viewOf(last, width, height);
        if (part == 0)
            motion.forward.reset(MakeFlowField(from, to, from));
        else
            motion.backward.reset(MakeFlowField(to, from, from));
    });
    return motion;
}

}  // namespace

bool joinsTwoClips(const plugin::EffectRecord& effect) noexcept {
    return effect.type == kPluginTransitionBetweenType;
}

bool pictureArrives(const plugin::EffectRecord& effect) noexcept {
    return effect.type == kPluginTransitionBeforeType;
}

bool hasKnobs(const plugin::EffectRecord& effect) noexcept {
    return effect.field == plugin::FieldMaker::washAway;
}

/// One call: frames without gaps, and the geometry over them, band by band.
class Effect::Road {
  public:
    Road(const Effect& effect, double position, int width, int height) noexcept
        : effect_(effect), position_(position), width_(width), height_(height) {}

    /// What a moment at an end shows.
    void renderEnd(bool last, const Pictures& pictures, const Target& target) const {
        const bool joins = joinsTwoClips(record());
        const Picture* shown = joins && last ? &pictures.last : &pictures.first;
        if (!joins && last != pictureArrives(record())) shown = nullptr;
        eachBand([&](const LineBand& band) {
            if (shown != nullptr)
                copyPicture(linesOf(*shown, band), linesOf(target, band));
            else
                clearPicture(linesOf(target, band));
        });
    }

    /// The plug-in's frame, bytes as they are.
    void renderFrame(const Pictures& frames, const Target& target, const MorphMotion* motion) const {
        Source first(frames.first, threads());
        std::optional<Source> last;
        if (joinsTwoClips(record())) last.emplace(frames.last, threads());
        plugin::DeepMotion own;
        through(
            target, prepared(first, last, motionFor(motion, first, last, own)),
            [](std::uint8_t*, const LineBand&) {}, [](const LineBand&) {});
    }

    /// Renders between the ends; true when the result is opaque, whatever its alpha bytes are. With
    /// `settleOpaque` they are settled then, too.
    bool renderBetween(const Pictures& pictures, const Target& target, const MorphMotion* motion,
                       bool settleOpaque) const {
        const bool two = joinsTwoClips(record());
        const bool plain = isOpaque(pictures.first, threads()) &&
                           (!two || isOpaque(pictures.last, threads())) &&
                           (two || record().driver == plugin::EffectDriver::distort);
        const bool opaque = plain && two;
        const auto sourceOf = [&](const Picture& picture) {
            return opaque ? Source(picture, threads()) : Source::weighed(picture, threads());
        };
        Source first = sourceOf(pictures.first);
        std::optional<Source> last;
        if (two) last = sourceOf(pictures.last);
        const auto settle = [&](const LineBand& band) {
            if (!opaque || settleOpaque) settleAlpha(linesOf(target, band), opaque);
        };
        plugin::DeepMotion own;
        const plugin::DeepMotion* const used = motionFor(motion, first, last, own);
        if (!plain) {
            renderWithMattes(first, last, target, used, settle);
            return false;
        }
        through(
            target, prepared(first, last, used),
            [&](std::uint8_t* out, const LineBand& band) {
                if (!two) coverWhereDisplaced(out, BandBytes(width_, height_, band));
            },
            settle);
        return opaque;
    }

  private:
    /// What a frame is drawn from.
    struct Sources {
        std::uint8_t* first;
        std::uint8_t* last;                ///< null for effects on one clip
        const plugin::DeepMotion* motion;  ///< of a morph
    };
    using Bands = std::function<void(const LineBand&)>;

    const RowThreads& threads() const { return *effect_.threads_; }
    void eachBand(const Bands& work) const { threads().eachBand(width_, height_, work); }
    const plugin::EffectRecord& record() const { return *effect_.record_; }
    float strength() const {
        return static_cast<float>(plugin::effectFractionAt(record().fraction, position_));
    }
    bool movesLast() const { return record().overnext && record().reveal; }

    /// The motion that a morph follows: the one it is given, or what `own` becomes.
    const plugin::DeepMotion* motionFor(const MorphMotion* given, const Source& first,
                                        const std::optional<Source>& last, plugin::DeepMotion& own) const {
        if (record().driver != plugin::EffectDriver::morph) return nullptr;
        if (given != nullptr) return &given->fields;
        own = motionOf(first.pixels(), last->pixels(), width_, height_, threads());
        return &own;
    }

    /// The sources as the geometry takes them. The tumble paints the rim of what it moves.
    Sources prepared(Source& first, std::optional<Source>& last, const plugin::DeepMotion* motion) const {
        if (record().driver == plugin::EffectDriver::tumble) {
            Source& moving = movesLast() ? *last : first;
            plugin::prepareTumble(moving.scratch(threads()), width_, width_, height_, strength(),
                                  effect_.knobs_.preview);
        }
        return {first.pixels(), last ? last->pixels() : nullptr, motion};
    }

    /// Draws into `target`, band by band, through a frame of its own where that has gaps: finish(frame, band)
    /// ends a band of the frame, settle(band) one of the target.
    void through(const Target& target, const Sources& from,
                 const std::function<void(std::uint8_t*, const LineBand&)>& finish,
                 const Bands& settle) const {
        const bool gaps = target.stride != pitchOf(width_);
        const Frame frame = gaps ? newFrame(width_, height_) : nullptr;
        std::uint8_t* const out = gaps ? frame.get() : target.pixels;
        eachBand([&](const LineBand& band) {
            draw(from, out, band);
            finish(out, band);
            for (int y = band.first; gaps && y < band.endIn(height_); ++y)
                std::memcpy(target.pixels + y * target.stride, out + y * pitchOf(width_),
                            static_cast<std::size_t>(pitchOf(width_)));
            settle(band);
        });
    }

    /// Lines of the plug-in's frame.
    void draw(const Sources& from, std::uint8_t* out, const LineBand& band) const {
        if (record().driver == plugin::EffectDriver::morph) return morph(from, out, band);
        std::uint8_t* const moving = movesLast() ? from.last : from.first;
        const std::uint8_t* const lying = record().reveal ? from.first : from.last;
        const BandBytes bytes(width_, height_, band);
        if (record().overnext)
            std::memcpy(out + bytes.first, lying + bytes.first, bytes.end - bytes.first);
        else
            std::memset(out + bytes.first, 0, bytes.end - bytes.first);
        if (record().driver == plugin::EffectDriver::distort)
            imagelib::warpFrame(moving, out, width_, height_, *effect_.field_, strength(), band);
        else
            plugin::tumbleBand(moving, out, width_, width_, height_, strength(), effect_.knobs_.preview,
                               band);
    }

    /// The first picture on its way, and over it the last one on its own.
    void morph(const Sources& from, std::uint8_t* out, const LineBand& band) const {
        const imagelib::FrameMorph both = {from.first,
                                           from.last,
                                           width_,
                                           height_,
                                           from.motion->forward.get(),
                                           from.motion->backward.get(),
                                           platform::BlendBytes};
        const auto level = static_cast<unsigned>((position_ > 0 ? std::min(position_, 1.0) : 0.0) * 255);
        imagelib::morphFrame(both, out, static_cast<float>(position_), static_cast<float>(1 - position_),
                             level, band);
    }

    /// Colours and alpha apart, along one motion.
    void renderWithMattes(Source& first, std::optional<Source>& last, const Target& target,
                          const plugin::DeepMotion* motion, const Bands& settle) const {
        const auto matteFrom = [&](const Source& source) {
            return Source(matteOf(source.pixels(), width_, height_, threads()), width_, height_);
        };
        Source away = matteFrom(first);
        std::optional<Source> towards;
        if (last) towards = matteFrom(*last);
        const Sources colours = prepared(first, last, motion), mattes = prepared(away, towards, motion);
        const Frame matte = newFrame(width_, height_);
        const bool interpolated = record().driver != plugin::EffectDriver::distort;
        through(
            target, colours,
            [&](std::uint8_t* out, const LineBand& band) {
                draw(mattes, matte.get(), band);
                applyMatte(matte.get(), interpolated, out, BandBytes(width_, height_, band));
            },
            settle);
    }

    const Effect& effect_;
    double position_;
    int width_;
    int height_;
};

Effect::Effect(const plugin::EffectRecord& effect, const EffectKnobs& knobs, const Threads& threads) noexcept
    : record_(&effect), knobs_(knobs) {
    try {
        field_ = displacementOf(effect, knobs);
        threads_ = std::make_unique<RowThreads>(threads);
        complete_ = true;
    } catch (...) {
        complete_ = false;
    }
}

Effect::~Effect() = default;
Effect::Effect(Effect&&) noexcept = default;
Effect& Effect::operator=(Effect&&) noexcept = default;

Outcome Effect::check(const Pictures& pictures, const Target& target) const noexcept {
    const Picture result{target.pixels, target.stride, target.width, target.height, target.alpha};
    const int width = target.width, height = target.height;
    const bool good = countable(width, height) && fits(result, width, height) &&
                      fits(pictures.first, width, height) &&
                      (!joinsTwoClips(*record_) || fits(pictures.last, width, height));
    if (!good) return Outcome::badPicture;
    return complete_ ? Outcome::ok : Outcome::noMemory;
}

Outcome Effect::render(double position, const Pictures& pictures, const Target& target,
                       const MorphMotion* motion, bool* opaque) const noexcept {
    if (const Outcome refused = check(pictures, target); refused != Outcome::ok) return refused;
    try {
        const Road road(*this, position, target.width, target.height);
        const bool cut = record_->driver == plugin::EffectDriver::none;
        bool full = false;
        if (cut || !(position > 0) || position >= 1)
            road.renderEnd(cut ? position >= 0.5 : position >= 1, pictures, target);
        else
            full = road.renderBetween(pictures, target, motion, opaque == nullptr);
        if (opaque != nullptr) *opaque = full;
        return Outcome::ok;
    } catch (...) {
        return Outcome::noMemory;
    }
}

Outcome Effect::renderFrame(double position, const Pictures& frames, const Target& target,
                            const MorphMotion* motion) const noexcept {
    if (const Outcome refused = check(frames, target); refused != Outcome::ok) return refused;
    try {
        const Road road(*this, position, target.width, target.height);
        Pictures plain = frames;
        plain.first.alpha = plain.last.alpha = Alpha::straight;
        if (record_->driver != plugin::EffectDriver::none) {
            road.renderFrame(plain, target, motion);
            return Outcome::ok;
        }
        Target same = target;
        same.alpha = Alpha::straight;
        road.renderEnd(position >= 0.5, plain, same);
        return Outcome::ok;
    } catch (...) {
        return Outcome::noMemory;
    }
}

std::shared_ptr<const MorphMotion> Effect::motionBetween(const Pictures& pictures) const noexcept {
    const int width = pictures.first.width, height = pictures.first.height;
    if (!complete_ || !countable(width, height) || !fits(pictures.first, width, height) ||
        !fits(pictures.last, width, height))
        return nullptr;
    try {
        const Source first = Source::weighed(pictures.first, *threads_);
        const Source last = Source::weighed(pictures.last, *threads_);
        return std::make_shared<const MorphMotion>(
            motionOf(first.pixels(), last.pixels(), width, height, *threads_));
    } catch (...) {
        return nullptr;
    }
}

VectorField Effect::field(int width, int height, const MorphMotion* motion) const {
    const bool moves = record_->driver == plugin::EffectDriver::morph;
    const DisplacementField* field = field_.get();
    if (moves && motion != nullptr) field = motion->fields.forward.get();
    VectorField made;
    if (field == nullptr) return made;
    made.columns = field->width();
    made.rows = field->height();
    for (int v = 0; v < made.rows; ++v)
        for (int u = 0; u < made.columns; ++u) {
            const RGBPixel<float>& cell = field->pixref(u, v);
            // Displacements are fractions of the picture; motion is in columns and in rows of one field.
            made.cells.push_back({(u + 0.5) * width / made.columns, (v + 0.5) * height / made.rows,
                                  cell._red * (moves ? 1.0 : width), cell._green * (moves ? 2.0 : height)});
        }
    return made;
}

plugin::Plate Effect::plateAt(double position, int width, int height) const noexcept {
    const auto factor = static_cast<float>(plugin::effectFractionAt(record_->fraction, position));
    return plugin::tumblePlate(width, height, factor, false);
}

void Effect::eachBand(int width, int height, const std::function<void(const LineBand&)>& work) const {
    if (threads_ == nullptr) return work({0, height});
    threads_->eachBand(width, height, work);
}

}  // namespace tumblewash::effects
