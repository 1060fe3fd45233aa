// RealPosition: real-valued coordinates turned into whole ones without ever leaving the range of int.
// Positions that are no number or beyond int have no whole coordinate; callers treat them as outside every
// rectangle. It is not a clamp: nothing is moved to an edge here.
#pragma once

#include <cmath>

#include "ImageLib/source/PixRect.h"

namespace tumblewash::imagelib {

/// Truncates `v` toward zero into `whole`. False, with `whole` untouched, when the result is no int.
inline bool wholePart(double v, int& whole) {
    if (!withinint(v, v)) {
        return false;
    }
    whole = static_cast<int>(v);
    return true;
}

/// Rounds `v` to the nearest whole number, ties to even, into `whole`. False, with `whole` untouched, when
/// the result is no int.
inline bool nearestWhole(double v, int& whole) {
    return wholePart(std::nearbyint(v), whole);
}

}  // namespace tumblewash::imagelib
