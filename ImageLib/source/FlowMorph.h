// FlowMorph: one frame moved a fraction of the way along a motion field, field by field of an interlaced
// frame. A morph calls it once for each of its two pictures; every pixel is interpolated between its
// neighbours. It does not estimate the motion, and only its siblings for whole morph frames blend the two
// pictures.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/DeepPicture.h"
#include "ImageLib/source/LineBand.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/RGBPixel.h"

/// Moves the pixels of `source` the fraction `t` of the way along `flow` into `dest`.
///
/// The three wrappers show whole frames; `dest` has the size of `source`, and their memories must not
/// overlap. `flow` is enlarged bilinearly to one source field; its red is a displacement in frame columns,
/// its green in field rows. Position (x, y) of each field becomes the bilinear reading
/// (`ContImageRef<ARGBVal>`) of the same source field at (x + t red, y + t green), formed in float and not
/// truncated. Every position of the rows that both fields have is written, with the zero pixel where the
/// fetch point lies outside; the last row of an odd frame keeps its contents. `other` is not read. Steps are
/// reported through `tumblewash::imagelib::logLine`, the last row through the debug state of `dest` at
/// `DBGProblem`. No state is kept; allocation failure throws `std::bad_alloc`.
void MorphBetween(PixRectWrap<ARGBVal>& source, PixRectWrap<ARGBVal>& other, PixRectWrap<ARGBVal>& dest,
                  PixRectRW<RGBPixel<float>>* flow, float t);

namespace tumblewash::imagelib {

/// Two frames of four-byte pixels without gaps on their way into each other, and the motion between them.
struct FrameMorph {
    const unsigned char* first;            ///< where the morph begins
    const unsigned char* last;             ///< where it ends
    int width;                             ///< pixels of both
    int height;                            ///< lines of both
    PixRectRW<RGBPixel<float>>* forward;   ///< how the first one moves
    PixRectRW<RGBPixel<float>>* backward;  ///< how the last one moves
    /// Mixes `bytes` bytes of `in` into `out`, `level` being the share of `in` in 255ths.
    void (*blend)(unsigned char* out, const unsigned char* in, int bytes, unsigned level);
};

/// A whole morph frame: what `MorphBetween` makes of the first picture at `forward`, and mixed into it what
/// it makes of the last one at `back`; the last line of an odd height is zero pixels. Of `dest`, a frame of
/// the same size that overlaps neither, the lines of `band` are written. No state, no log; allocation failure
/// throws `std::bad_alloc`.
void morphFrame(const FrameMorph& morph, unsigned char* dest, float forward, float back, unsigned level,
                const LineBand& band = {});

/// Two pictures on their way into each other, and the motion between them.
struct DeepMorph {
    DeepView first;                        ///< where the morph begins
    DeepView last;                         ///< where it ends; of the same size
    PixRectRW<RGBPixel<float>>* forward;   ///< how the first one moves
    PixRectRW<RGBPixel<float>>* backward;  ///< how the last one moves
};

/// A whole morph frame of deep pixels: the first picture moved the fraction `forward` of its way, over it the
/// last picture moved the fraction `back` of its way, blended by level / 255 (`deepBlendRow`). Positions as
/// in `MorphBetween`, readings as in `deepBilinearRow`, with `nothing` outside and in the last row of an odd
/// height. `dest` has the pictures' size and overlaps neither; the lines of `band` are written. No state, no
/// log; allocation failure throws `std::bad_alloc`.
void morphDeep(const DeepMorph& morph, const DeepTarget& dest, float forward, float back, int level,
               const kernels::DeepPixel& nothing, const LineBand& band = {});

}  // namespace tumblewash::imagelib
