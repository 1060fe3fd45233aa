// One effect of the catalogue over deep pixels: this effect, at this position, of these one or two pictures,
// into that memory. Prepared once for a size, it holds nothing that changes: any number of threads may render
// with it, in any order, and pictures are only read. It is no host: no frames are lent, no sound is mixed,
// and the effect's frames of four bytes are the plug-in's alone.
#pragma once

#include <memory>

#include "ImageLib/source/DeepPicture.h"
#include "effects/EffectKnobs.h"
#include "effects/Threads.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::effects {

/// The pictures of one moment. They have the effect's size. A morph is given its two key pictures, whatever
/// the moment; effects on one clip take `first` only.
struct DeepPictures {
    imagelib::DeepView first;  ///< the outgoing or only picture
    imagelib::DeepView last;   ///< the incoming picture
    bool opaque = false;       ///< known to be opaque everywhere; otherwise they are searched for it
};

/// How the pictures of a morph move, see `DeepEffect::motionBetween`.
class MorphMotion;

/// An effect of one size.
class DeepEffect {
  public:
    /// Sizes from 1 x 1 up to 2^31 - 1 pixels; `threads` share the lines of a large picture. Throws
    /// std::invalid_argument for others and for a white that is not above black, std::bad_alloc.
    DeepEffect(const plugin::EffectRecord& effect, int width, int height, const EffectKnobs& knobs = {},
               const kernels::DeepRange& range = {}, const Threads& threads = {});
    ~DeepEffect();
    /// What was moved from only takes an assignment or its end.
    DeepEffect(DeepEffect&&) noexcept;
    /// As above.
    DeepEffect& operator=(DeepEffect&&) noexcept;

    /// The motion that a morph between these pictures follows, as the plug-in estimates it. It may be kept
    /// for all moments of the same two pictures. Throws std::bad_alloc.
    [[nodiscard]] std::shared_ptr<const MorphMotion> motionBetween(const DeepPictures& pictures) const;

    /// Renders `position`, 0 to 1. At 0 and below, the result is the first picture itself, at 1 and above the
    /// last one; of effects on one clip the end without a picture is transparent black. In between it is what
    /// the plug-in makes of frame n position of n (of a morph: the frame before). Pixels of `out` are all
    /// written; it overlaps no picture, unless it is the whole one that `lyingBelow` names. What lies outside
    /// of a picture is transparent black; between two opaque pictures it is opaque black, so that the result
    /// is opaque too. `motion` saves a morph the estimate. Throws std::invalid_argument when a picture's size
    /// or stride does not fit, std::bad_alloc.
    void render(double position, const DeepPictures& pictures, const imagelib::DeepTarget& out,
                const MorphMotion* motion = nullptr) const;

    /// The same without the rule for the ends: at 0 and 1, too, what the plug-in makes of them.
    void renderFrame(double position, const DeepPictures& pictures, const imagelib::DeepTarget& out,
                     const MorphMotion* motion = nullptr) const;

    /// The picture over which the other one moves; null for effects that move both, or that have one only.
    /// Its memory may be the result's.
    [[nodiscard]] const imagelib::DeepView* lyingBelow(const DeepPictures& pictures) const noexcept;

    const plugin::EffectRecord& record() const noexcept;  ///< the effect
    const kernels::DeepRange& range() const noexcept;     ///< the codes of its pictures

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::effects
