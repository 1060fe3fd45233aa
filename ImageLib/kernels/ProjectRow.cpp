#include "ImageLib/kernels/ProjectRow.h"

namespace tumblewash::kernels {

void projectRowScalar(const float* h, int y, int first, int count, const OpenBounds& bounds, float* atX,
                      float* atY, std::uint64_t* inside) {
    const auto row = static_cast<float>(y);
    const float rowX = row * h[1], rowY = row * h[4], rowFactor = row * h[7];
    for (int i = 0; i < count; ++i) {
        const auto column = static_cast<float>(first + i);
        const float factor = (column * h[6] + rowFactor) + 1.0F;
        atX[i] = ((column * h[0] + rowX) + h[2]) / factor;
        atY[i] = ((column * h[3] + rowY) + h[5]) / factor;
        const bool within = atX[i] > bounds.afterX && atX[i] < bounds.beforeX && atY[i] > bounds.afterY &&
                            atY[i] < bounds.beforeY;
        std::uint64_t& word = inside[i / kColumnsInWord];
        if (i % kColumnsInWord == 0) word = 0;
        word |= std::uint64_t{within} << (i % kColumnsInWord);
    }
}

}  // namespace tumblewash::kernels
