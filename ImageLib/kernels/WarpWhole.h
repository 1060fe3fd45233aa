// WarpWhole: the number that makes a float addition round to a whole number, shared by the kernels of the
// warp.
#pragma once

namespace tumblewash::kernels {

/// Added to a float of less than 2^21 in magnitude, it leaves the nearest whole number in the low bits of the
/// sum.
constexpr float kRoundToWhole = 12582912.0F;

}  // namespace tumblewash::kernels
