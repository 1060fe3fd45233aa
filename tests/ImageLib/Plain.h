// Plain: a rectangle that holds one value everywhere.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/PixRect.h"

namespace tumblewash::test {

inline PixRectRW<ARGBVal> plain(int w, int h, const ARGBVal& v) {
    PixRectRW<ARGBVal> r(w, h);
    r.fillWith(v);
    return r;
}

}  // namespace tumblewash::test
