#include "effects/Effect.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "effects/Displacement.h"
#include "effects/Frames.h"
#include "effects/MorphMotion.h"
#include "platform/CopyBits.h"

namespace tumblewash::effects {

namespace {

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

/// The alpha of a frame as an opaque grey one.
Frame matteOf(const std::uint8_t* frame, int width, int height) {
    Frame matte = newFrame(width, height);
    const std::size_t bytes = frameBytes(width, height);
    for (std::size_t i = 0; i < bytes; i += 4) {
        matte[i] = 255;
        std::memset(&matte[i + 1], frame[i], 3);
    }
    return matte;
}

/// What a displacement field makes of opaque alpha: a read at a whole position, see ContImage.
constexpr std::uint8_t kDisplacedOpaque = (255 + 4 * 255) % 256;

/// An opaque single clip under a displacement field: its pixels arrive whole or not at all.
void coverWhereDisplaced(std::uint8_t* frame, int width, int height) {
    constexpr auto alpha = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{255, 0, 0, 0});
    constexpr auto displaced =
        std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{kDisplacedOpaque, 0, 0, 0});
    const std::size_t bytes = frameBytes(width, height);
    for (std::size_t i = 0; i < bytes; i += 4) {
        std::uint32_t pixel;
        std::memcpy(&pixel, frame + i, 4);
        pixel = (pixel & alpha) == displaced ? pixel | alpha : 0;
        std::memcpy(frame + i, &pixel, 4);
    }
}

/// Puts a rendered matte into the rendered picture's alpha. Where the plug-in interpolates, four truncated
/// contributions may lose up to three from a full 255: such values count as full.
void applyMatte(const std::uint8_t* matte, bool interpolated, std::uint8_t* frame, int width, int height) {
    const unsigned full = interpolated ? 252 : 255;
    const std::size_t bytes = frameBytes(width, height);
    for (std::size_t i = 0; i < bytes; i += 4) {
        const std::uint8_t alpha = matte[i + 1] >= full ? std::uint8_t{255} : matte[i + 1];
        frame[i] = alpha;
        for (std::size_t c = 1; c < 4; ++c) frame[i + c] = frame[i + c] < alpha ? frame[i + c] : alpha;
    }
}

plugin::DeepMotion motionOf(std::uint8_t* first, std::uint8_t* last, int width, int height) {
    View from = viewOf(first, width, height), to = viewOf(last, width, height);
    plugin::DeepMotion motion;
    motion.forward.reset(MakeFlowField(from, to, from));
    motion.backward.reset(MakeFlowField(to, from, from));
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

/// One call: frames without gaps, and the geometry over them.
struct Effect::Road {
    const Effect& effect;
    int width;
    int height;

    std::ptrdiff_t pitch() const { return std::ptrdiff_t{width} * 4; }
    std::size_t bytes() const { return frameBytes(width, height); }
    const plugin::EffectRecord& record() const { return *effect.record_; }
    bool morphs() const { return record().driver == plugin::EffectDriver::morph; }

    /// Renders into `target`, through a frame of its own where that has gaps: draw(frame).
    template <class Draw>
    void through(const Target& target, Draw draw) const {
        if (target.stride == pitch()) return draw(target.pixels);
        const Frame frame = newFrame(width, height);
        draw(frame.get());
        for (int y = 0; y < height; ++y)
            std::memcpy(target.pixels + y * target.stride, frame.get() + y * pitch(),
                        static_cast<std::size_t>(pitch()));
    }

    /// The plug-in's frame. `last` is null for effects on one clip.
    void draw(double position, Source& first, Source* last, std::uint8_t* out,
              const plugin::DeepMotion* motion) const {
        if (morphs()) return morph(position, first.pixels(), last->pixels(), out, *motion);
        Source& moving = record().overnext && record().reveal ? *last : first;
        const Source* lying = record().reveal ? &first : last;
        if (record().overnext)
            std::memcpy(out, lying->pixels(), bytes());
        else
            std::memset(out, 0, bytes());
        const auto factor = static_cast<float>(plugin::effectFractionAt(record().fraction, position));
        // The tumble paints the rim of what it is given.
        if (record().driver == plugin::EffectDriver::distort)
            DistortUsingFlow(moving.pixels(), out, width, width, height, effect.field_.get(), factor);
        else
            TumbleAway(nullptr, moving.scratch(), out, width, width, height, factor, effect.knobs_.preview);
    }

    /// The first picture on its way, and over it the last one on its own. The row that no pair of fields has
    /// is transparent black.
    void morph(double position, std::uint8_t* first, std::uint8_t* last, std::uint8_t* out,
               const plugin::DeepMotion& motion) const {
        const Frame over = newFrame(width, height);
        for (std::uint8_t* frame : {out, over.get()})
            if (height % 2 != 0)
                std::memset(frame + (height - 1) * pitch(), 0, static_cast<std::size_t>(pitch()));
        View from = viewOf(first, width, height), to = viewOf(last, width, height);
        View forward = viewOf(out, width, height), backward = viewOf(over.get(), width, height);
        MorphBetween(from, to, forward, motion.forward.get(), static_cast<float>(position));
        MorphBetween(to, from, backward, motion.backward.get(), static_cast<float>(1 - position));
        const auto level = static_cast<unsigned>((position > 0 ? std::min(position, 1.0) : 0.0) * 255);
        for (int y = 0; y < height; ++y)
            platform::BlendBytes(out + y * pitch(), over.get() + y * pitch(), static_cast<int>(pitch()),
                                 level);
    }

    /// Colours and alpha apart, along one motion.
    void drawWithMattes(double position, Source& first, Source* last, std::uint8_t* out,
                        const plugin::DeepMotion* motion) const {
        Frame firstMatte = matteOf(first.pixels(), width, height);
        Frame lastMatte = last != nullptr ? matteOf(last->pixels(), width, height) : nullptr;
        draw(position, first, last, out, motion);
        Source away = sourceOver(firstMatte), towards = sourceOver(lastMatte);
        const Frame matte = newFrame(width, height);
        draw(position, away, last != nullptr ? &towards : nullptr, matte.get(), motion);
        applyMatte(matte.get(), record().driver != plugin::EffectDriver::distort, out, width, height);
    }

    Source sourceOver(const Frame& frame) const {
        return Source(Picture{frame.get(), pitch(), width, height, Alpha::opaque});
    }

    /// What a moment at an end shows.
    static void renderEnd(const plugin::EffectRecord& effect, bool last, const Pictures& pictures,
                          const Target& target) {
        if (joinsTwoClips(effect)) return copyPicture(last ? pictures.last : pictures.first, target);
        if (last == pictureArrives(effect)) return copyPicture(pictures.first, target);
        clearPicture(target);
    }

    /// Renders between the ends; true when the result is opaque, whatever its alpha bytes are.
    bool renderBetween(double position, const Pictures& pictures, const Target& target,
                       const MorphMotion* motion) const {
        const bool two = joinsTwoClips(record());
        const bool plain = isOpaque(pictures.first) && (!two || isOpaque(pictures.last)) &&
                           (two || record().driver == plugin::EffectDriver::distort);
        Source first = plain && two ? Source(pictures.first) : Source::weighed(pictures.first);
        std::unique_ptr<Source> last;
        if (two)
            last = std::make_unique<Source>(plain ? Source(pictures.last) : Source::weighed(pictures.last));
        plugin::DeepMotion own;
        const plugin::DeepMotion* used = motion != nullptr ? &motion->fields : &own;
        if (morphs() && motion == nullptr) own = motionOf(first.pixels(), last->pixels(), width, height);
        through(target, [&](std::uint8_t* out) {
            if (!plain) return drawWithMattes(position, first, last.get(), out, used);
            draw(position, first, last.get(), out, used);
            if (!two) coverWhereDisplaced(out, width, height);
        });
        return plain && two;
    }
};

Effect::Effect(const plugin::EffectRecord& effect, const EffectKnobs& knobs) noexcept
    : record_(&effect), knobs_(knobs) {
    try {
        field_ = displacementOf(effect, knobs);
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
        const bool cut = record_->driver == plugin::EffectDriver::none;
        if (cut || !(position > 0) || position >= 1) {
            Road::renderEnd(*record_, cut ? position >= 0.5 : position >= 1, pictures, target);
            if (opaque != nullptr) *opaque = false;
            return Outcome::ok;
        }
        const Road road{*this, target.width, target.height};
        const bool full = road.renderBetween(position, pictures, target, motion);
        if (opaque != nullptr) *opaque = full;
        if (!full || opaque == nullptr) settleAlpha(target, full);
        return Outcome::ok;
    } catch (...) {
        return Outcome::noMemory;
    }
}

Outcome Effect::renderFrame(double position, const Pictures& frames, const Target& target,
                            const MorphMotion* motion) const noexcept {
    if (const Outcome refused = check(frames, target); refused != Outcome::ok) return refused;
    try {
        const Road road{*this, target.width, target.height};
        Pictures plain = frames;
        plain.first.alpha = plain.last.alpha = Alpha::straight;
        if (record_->driver == plugin::EffectDriver::none) {
            Target same = target;
            same.alpha = Alpha::straight;
            Road::renderEnd(*record_, position >= 0.5, plain, same);
            return Outcome::ok;
        }
        Source first(plain.first);
        std::unique_ptr<Source> last;
        if (joinsTwoClips(*record_)) last = std::make_unique<Source>(plain.last);
        plugin::DeepMotion own;
        if (road.morphs() && motion == nullptr)
            own = motionOf(first.pixels(), last->pixels(), target.width, target.height);
        road.through(target, [&](std::uint8_t* out) {
            road.draw(position, first, last.get(), out, motion != nullptr ? &motion->fields : &own);
        });
        return Outcome::ok;
    } catch (...) {
        return Outcome::noMemory;
    }
}

std::shared_ptr<const MorphMotion> Effect::motionBetween(const Pictures& pictures) const noexcept {
    const int width = pictures.first.width, height = pictures.first.height;
    if (!countable(width, height) || !fits(pictures.first, width, height) ||
        !fits(pictures.last, width, height))
        return nullptr;
    try {
        const Source first = Source::weighed(pictures.first), last = Source::weighed(pictures.last);
        return std::make_shared<const MorphMotion>(motionOf(first.pixels(), last.pixels(), width, height));
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

}  // namespace tumblewash::effects
