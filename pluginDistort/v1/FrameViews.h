// The three views of one interlaced frame in memory: all lines, the odd ones, the even ones.
// Views only: the memory stays its owner's and must outlive them.
#pragma once

#include <initializer_list>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/SICommon.h"

namespace tumblewash::plugin {

/// Views over `height` rows of `dwidth` pixels, row after row, each with its lower bounds at 0.
struct FrameViews {
    /// Views over `pixels`, which is not owned: `height` rows of `dwidth` pixels.
    FrameViews(unsigned char* pixels, int dwidth, int height)
        : all(reinterpret_cast<ARGBVal*>(pixels), dwidth, height, SIAllLines),
          odd(reinterpret_cast<ARGBVal*>(pixels), dwidth, height, SIOddLines),
          even(reinterpret_cast<ARGBVal*>(pixels), dwidth, height, SIEvenLines) {
        for (PixRectWrap<ARGBVal>* view : {&all, &odd, &even}) view->shiftorigin(-view->lx(), -view->ly());
    }

    PixRectWrap<ARGBVal> all;   ///< every line
    PixRectWrap<ARGBVal> odd;   ///< lines 1, 3, 5, ...
    PixRectWrap<ARGBVal> even;  ///< lines 0, 2, 4, ...; one more than the odd ones when the height is odd
};

}  // namespace tumblewash::plugin
