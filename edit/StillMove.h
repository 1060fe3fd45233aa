// A still that moves slowly while it is shown: which way it goes, and its pictures at any moment of the way.
// The library's planar projection reads an enlarged copy of the still between its pixels, so that edges glide
// instead of stepping from pixel to pixel. It opens no files and counts no frames.
#pragma once

#include <cstddef>
#include <cstdint>

#include "edit/Edit.h"
#include "media/Picture.h"

namespace tumblewash::edit {

/// Where a still stands: enlarged by `scale` (1 and up) about its middle, then moved by parts of the
/// picture's width and height.
struct StillPlace {
    double scale = 1;
    double x = 0;  ///< to the right
    double y = 0;  ///< down
    bool operator==(const StillPlace&) const = default;
};

/// A way of a still, from its first picture to its last. Between them every part of the picture moves by the
/// same step from frame to frame.
struct StillMove {
    StillPlace from;
    StillPlace to;
    /// The place after `part` of the way, 0 to 1.
    StillPlace at(double part) const noexcept;
    /// The largest scale on the way.
    double largest() const noexcept;
    bool operator==(const StillMove&) const = default;
};

/// The way of the still that is clip `index` of an edit, drawn from the seed: a zoom goes in or out, a pan
/// goes to one of the four sides. Longer stills go further, up to 15 % of the picture, so that all move alike
/// slowly. The picture fills the frame all the way.
StillMove drawMove(StillMotion motion, std::uint32_t seed, std::size_t index, double seconds);

/// The size at which a still of this move is read: `size`, enlarged by what the move asks for at most.
PixelSize readSizeOf(PixelSize size, const StillMove& move);

/// The pictures of a move.
class MovingStill {
  public:
    /// `still` is deep and of `readSizeOf(size, move)`; it is not kept. `alpha`: it has transparency, not
    /// multiplied in. Throws std::bad_alloc, MediaError.
    MovingStill(const media::PictureRef& still, PixelSize size, const StillMove& move, bool alpha);

    /// The picture after `part` of the way, deep. Throws std::bad_alloc, MediaError.
    media::PictureRef at(double part) const;

  private:
    media::PictureRef large_;  // its colours carry alpha already
    PixelSize size_;
    StillMove move_;
    bool alpha_;
};

}  // namespace tumblewash::edit
