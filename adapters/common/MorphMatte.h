// The morph of two mattes along the motion of the pictures that they belong to. The plug-in's own morph finds
// motion in what it is given, so mattes handed to it would move along a motion of their own.
#pragma once

#include "adapters/common/Canvas.h"

namespace tumblewash::adapters {

/// Renders into `out` what the morph at `fraction` (0 to 1) makes of `fromMatte` and `toMatte`, moved by the
/// motion between `from` and `to`. All five have one size, at least 16 x 16; none of the inputs is changed.
/// Throws std::bad_alloc.
void morphMatte(Canvas& from, Canvas& to, Canvas& fromMatte, Canvas& toMatte, double fraction, Canvas& out);

}  // namespace tumblewash::adapters
