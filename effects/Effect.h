// One effect of the catalogue over pictures of four bytes a pixel: this effect, at this position, of these
// one or two pictures, into that memory. No host, no session, no file: nothing is kept between two calls, no
// exception leaves one, and no generator, locale or environment of the process is looked at. Deep pictures
// are DeepEffect's.
//
// A pixel is the bytes alpha, red, green, blue. Rows lie `stride` bytes apart, which may be negative for
// pictures kept from the bottom up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "ImageLib/source/LineBand.h"
#include "effects/Alpha.h"
#include "effects/EffectKnobs.h"
#include "effects/Threads.h"
#include "pluginDistort/v1/Catalogue.h"
#include "pluginDistort/v1/DistortProcess.h"

namespace tumblewash::effects {

/// The result of a call.
enum class Outcome : std::uint8_t {
    ok,          ///< all is written
    badPicture,  ///< a picture is missing, or its size or stride does not fit
    noMemory     ///< memory ran out
};

/// A picture to read. The memory stays the caller's.
struct Picture {
    const std::uint8_t* pixels = nullptr;  ///< the first pixel of the top row
    std::ptrdiff_t stride = 0;             ///< bytes from one row to the one below
    int width = 0;                         ///< pixels, 1 and up
    int height = 0;                        ///< rows, 1 and up; 2^31 - 1 pixels at most
    Alpha alpha = Alpha::opaque;           ///< what its alpha means
};

/// A picture to write, of the same layout.
struct Target {
    std::uint8_t* pixels = nullptr;  ///< the first pixel of the top row
    std::ptrdiff_t stride = 0;       ///< bytes from one row to the one below
    int width = 0;                   ///< as the sources
    int height = 0;                  ///< as the sources
    Alpha alpha = Alpha::straight;   ///< what its alpha shall mean; opaque sets every byte to 255
};

/// The one or two pictures of a moment. A morph is given its two key pictures, whatever the moment; effects
/// on one clip take `first` only.
struct Pictures {
    Picture first;  ///< the outgoing or only picture
    Picture last;   ///< the incoming picture
};

/// The motion between two pictures, see `Effect::motionBetween`.
class MorphMotion;

/// What `Threads` asked for.
class RowThreads;

/// One place of a displacement or motion field, in pixels of a picture: what is shown at (x, y) comes from
/// (x + dx, y + dy) at full strength.
struct FieldVector {
    double x = 0;   ///< the middle of the cell
    double y = 0;   ///< the middle of the cell
    double dx = 0;  ///< columns
    double dy = 0;  ///< rows
};

/// A field, row by row.
struct VectorField {
    int columns = 0;                 ///< cells in a row; 0 for effects without a field
    int rows = 0;                    ///< rows of cells
    std::vector<FieldVector> cells;  ///< columns x rows of them
};

/// True when the effect joins two clips; false when it works on one.
[[nodiscard]] bool joinsTwoClips(const plugin::EffectRecord& effect) noexcept;

/// True for effects on one clip whose picture arrives: position 0 shows nothing, 1 the picture.
[[nodiscard]] bool pictureArrives(const plugin::EffectRecord& effect) noexcept;

/// True when direction and seed change the picture.
[[nodiscard]] bool hasKnobs(const plugin::EffectRecord& effect) noexcept;

/// An effect with its knobs, prepared: the field it moves pictures along, for every size. Keep it or make it
/// anew for each picture; the bytes are the same. Any number of threads may render with one at once.
class Effect {
  public:
    /// `effect` is a record of the catalogue; `threads` share the lines of every large picture. Without
    /// memory for the field, every call says so.
    explicit Effect(const plugin::EffectRecord& effect, const EffectKnobs& knobs = {},
                    const Threads& threads = {}) noexcept;
    ~Effect();
    /// What was moved from only takes an assignment or its end.
    Effect(Effect&&) noexcept;
    /// As above.
    Effect& operator=(Effect&&) noexcept;

    /// The effect's row in the catalogue.
    [[nodiscard]] const plugin::EffectRecord& record() const noexcept { return *record_; }
    /// What it was prepared with.
    [[nodiscard]] const EffectKnobs& knobs() const noexcept { return knobs_; }

    /// Renders `position`, 0 to 1. At 0 and below the result is the first picture, at 1 and above the last
    /// one, byte for byte where both have the same kind of alpha; the end of an effect on one clip that has
    /// no picture is transparent black; a position that is no number is 0. In between, colours are what the
    /// plug-in makes of frame n position of n (of a morph: the frame before), and alpha moves with them:
    /// opaque pictures of two clips stay opaque, what one clip uncovers is transparent black, and the effect
    /// is applied to colours that carry alpha. Pictures and target have one size; the target overlaps no
    /// picture, and all of it is written. `motion` saves a morph the estimate.
    /// `opaque`: where given, it is told whether every pixel is opaque, and alpha bytes of a result that is
    /// are then left as they come.
    [[nodiscard]] Outcome render(double position, const Pictures& pictures, const Target& target,
                                 const MorphMotion* motion = nullptr, bool* opaque = nullptr) const noexcept;

    /// The plug-in's own frame, all four bytes of it, of frames as a host lends them: whatever the kinds of
    /// alpha say, and without the rule for the ends. The plain cut changes pictures in the middle.
    [[nodiscard]] Outcome renderFrame(double position, const Pictures& frames, const Target& target,
                                      const MorphMotion* motion = nullptr) const noexcept;

    /// The motion that a morph between these pictures follows; it may be kept for all moments of the two.
    /// Null when the pictures do not fit or memory ran out.
    [[nodiscard]] std::shared_ptr<const MorphMotion> motionBetween(const Pictures& pictures) const noexcept;

    /// The field in pixels of a picture of this size: a wash's or a tilt's own, or how a morph moves its
    /// first picture, from `motion`. Effects without a field give none. Throws std::bad_alloc.
    [[nodiscard]] VectorField field(int width, int height, const MorphMotion* motion = nullptr) const;

    /// The corners of a tumbling plate in a whole picture of this size at `position`. Other effects have
    /// no plate, and their answer means nothing.
    [[nodiscard]] plugin::Plate plateAt(double position, int width, int height) const noexcept;

    /// Calls `work` with bands that make up the lines of a picture of this size, in the effect's threads
    /// where it is large enough, and returns when all are done: for what callers do to their own pictures
    /// before and after. What `work` throws, the first of it, is thrown here.
    void eachBand(int width, int height, const std::function<void(const imagelib::LineBand&)>& work) const;

  private:
    class Road;
    [[nodiscard]] Outcome check(const Pictures& pictures, const Target& target) const noexcept;

    const plugin::EffectRecord* record_;
    EffectKnobs knobs_;
    std::unique_ptr<PixRectRW<RGBPixel<float>>> field_;
    std::unique_ptr<RowThreads> threads_;
    bool complete_ = false;
};

}  // namespace tumblewash::effects
