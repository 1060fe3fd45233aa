// Projection: the fill of both fields of an interlaced frame through one projection.
// The same bytes as two calls of `ProjWith`, which does the single fills; positions and weights that the
// fields share are formed once.
#pragma once

#include <cstddef>

#include "ImageLib/kernels/DeepBilinearRow.h"
#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRows.h"
#include "ImageLib/source/PlanarProj.h"

namespace tumblewash::plugin {

/// `ProjWith(even, toEven, pp)` and `ProjWith(odd, toOdd, pp)`. The sources and the destinations must not
/// share pixels.
void projectFields(ContImageRef<ARGBVal>& even, ContImageRef<ARGBVal>& odd, PixRectRW<ARGBVal>& toEven,
                   PixRectRW<ARGBVal>& toOdd, PlanarProj& pp);

/// A field of deep pixels to read, and the one to fill.
struct DeepFill {
    kernels::DeepField from;  ///< what is read
    unsigned char* to;        ///< the first pixel of what is filled
    std::ptrdiff_t toPitch;   ///< bytes there from row to row
};

/// Fills `box` of one or two fields of deep pixels through `pp`: the pixels that `ProjWith` fills, from the
/// same positions, read bilinearly or, with `nearest`, at the truncated position. Two fields have the same
/// shape. `box` lies inside of what is filled.
void projectDeep(const DeepFill* fields, int fieldCount, const imagelib::Region& box, const PlanarProj& pp,
                 bool nearest);

}  // namespace tumblewash::plugin
