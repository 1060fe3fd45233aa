// MorphRow: the positions at which one row of the morph reads.
// It reads no pixels; BilinearRow does.
#pragma once

namespace tumblewash::kernels {

/// The fetch positions of columns first ... end - 1 of row y: outX[x] = t * red[x] + x and outY[x] = t *
/// green[x] + y, each operation rounded to float. All four arrays begin with column 0.
void morphPositionRow(const float* red, const float* green, float t, int y, int first, int end, float* outX,
                      float* outY);

}  // namespace tumblewash::kernels
