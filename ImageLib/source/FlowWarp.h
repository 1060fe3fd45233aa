// FlowWarp: one frame of a distortion transition, the pixels of a frame moved along a displacement field.
// A backward mapping, field by field of an interlaced frame, that leaves alone what it fetches from outside.
// It does not make fields (the plug-in's surface builders do) and it does not interpolate between pixels.
#pragma once

#include "ImageLib/source/DeepPicture.h"
#include "ImageLib/source/LineBand.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

/// Moves the pixels of `src` into `dest` along `flow`.
///
/// Both frames are `height` rows of `dwidth` pixels in memory (4 bytes each: alpha, red, green, blue), of
/// which the first `width` columns are visible; they must not overlap. `flow` is enlarged bilinearly to one
/// source field; its red is a displacement in fractions of `dwidth`, its green in fractions of the even
/// field's rows H. Position (x, y) of each field fetches (x + fac red dwidth, y + fac green H) of the same
/// field, formed in float and truncated to a whole pixel. A fetch point that is negative, at or past `width`,
/// at or past H, or no number leaves the destination as it is; otherwise the colours are copied and alpha a
/// becomes (255 + 4a) mod 256. The loop covers every column of the stride and the rows that both fields have:
/// the last row of an odd frame is never written, and where only the odd field lacks the fetched row its
/// destination gets the zero pixel.
///
/// `fac` is the strength, 0 leaving every fetch point on its own pixel. Nothing is returned and no state is
/// kept; allocation failure throws `std::bad_alloc`. Steps are reported through
/// `tumblewash::imagelib::logLine`.
void DistortUsingFlow(unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                      PixRectRW<RGBPixel<float>>* flow, float fac);

namespace tumblewash::imagelib {

/// The same for the lines of `band`, in frames of `width` x `height` pixels without gaps and without the log.
void warpFrame(const unsigned char* src, unsigned char* dest, int width, int height,
               PixRectRW<RGBPixel<float>>& flow, float fac, const LineBand& band);

/// The same for deep pixels: every pixel of `dest`, in the lines of `band`, that `DistortUsingFlow` would
/// write in a frame of this size without gaps gets the deep pixel of `src` from the same place, all four
/// channels as they are, and `nothing` in place of the zero pixel; the others stay. The pictures have one
/// size and do not overlap. No state, no log; allocation failure throws `std::bad_alloc`.
void warpDeep(const DeepView& src, const DeepTarget& dest, PixRectRW<RGBPixel<float>>& flow, float fac,
              const kernels::DeepPixel& nothing, const LineBand& band = {});

}  // namespace tumblewash::imagelib
