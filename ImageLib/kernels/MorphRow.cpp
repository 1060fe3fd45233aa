#include "ImageLib/kernels/MorphRow.h"

#include "ImageLib/kernels/BilinearPixel.h"

namespace tumblewash {

void morphPositionRowScalar(const float* red, const float* green, float t, int y, int count, float* outX,
                            float* outY) {
    const float row = static_cast<float>(y);
    for (int x = 0; x < count; ++x) {
        outX[x] = t * red[x] + static_cast<float>(x);
        outY[x] = t * green[x] + row;
    }
}

void morphFetchRowScalar(const FieldPixels& even, const FieldPixels& odd, const float* atX, const float* atY,
                         int count, unsigned char* evenOut, unsigned char* oddOut) {
    const float lastX = static_cast<float>(odd.columns - 1);
    const float lastY = static_cast<float>(odd.rows - 1);
    for (int i = 0; i < count; ++i) {
        const float x = atX[i];
        const float y = atY[i];
        const auto at = static_cast<std::ptrdiff_t>(i) * 4;
        if (!(x >= 0.0F && y >= 0.0F && x <= lastX && y <= lastY)) {
            bilinearAnywhere(even, static_cast<double>(x), static_cast<double>(y), evenOut + at);
            bilinearAnywhere(odd, static_cast<double>(x), static_cast<double>(y), oddOut + at);
            continue;
        }
        // Inside both fields all four neighbours exist: no tests, and the weights serve both.
        const BilinearCell cell = bilinearCell(static_cast<double>(x), static_cast<double>(y));
        bilinearInside(even, cell, evenOut + at);
        bilinearInside(odd, cell, oddOut + at);
    }
}

}  // namespace tumblewash
