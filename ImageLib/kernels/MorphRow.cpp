#include "ImageLib/kernels/MorphRow.h"

namespace tumblewash::kernels {

// Plain enough for every compiler to make vectors of.
void morphPositionRow(const float* red, const float* green, float t, int y, int first, int end, float* outX,
                      float* outY) {
    const float row = static_cast<float>(y);
    for (int x = first; x < end; ++x) {
        outX[x] = t * red[x] + static_cast<float>(x);
        outY[x] = t * green[x] + row;
    }
}

}  // namespace tumblewash::kernels
