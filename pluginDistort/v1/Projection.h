// Projection: the fill of both fields of an interlaced frame through one projection.
// The same bytes as two calls of `ProjWith`, which does the single fills; positions and weights that the
// fields share are formed once.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PlanarProj.h"

namespace tumblewash::plugin {

/// `ProjWith(even, toEven, pp)` and `ProjWith(odd, toOdd, pp)`. The sources and the destinations must not
/// share pixels.
void projectFields(ContImageRef<ARGBVal>& even, ContImageRef<ARGBVal>& odd, PixRectRW<ARGBVal>& toEven,
                   PixRectRW<ARGBVal>& toOdd, PlanarProj& pp);

}  // namespace tumblewash::plugin
