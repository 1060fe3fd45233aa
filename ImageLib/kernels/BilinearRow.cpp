#include "ImageLib/kernels/BilinearRow.h"

#include "ImageLib/kernels/BilinearPixel.h"
#include "ImageLib/kernels/PixelWord.h"

namespace tumblewash::kernels {

void bilinearRowScalar(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                       int count) {
    if (fieldCount <= 0) return;
    const FieldPixels& smallest = fields[fieldCount - 1].from;
    const float lastX = static_cast<float>(smallest.columns - 1);
    const float lastY = static_cast<float>(smallest.rows - 1);
    for (int i = 0; i < count; ++i) {
        const auto x = static_cast<double>(atX[i]);
        const auto y = static_cast<double>(atY[i]);
        const auto at = static_cast<std::ptrdiff_t>(i) * 4;
        if (!(atX[i] >= 0.0F && atY[i] >= 0.0F && atX[i] <= lastX && atY[i] <= lastY)) {
            for (int f = 0; f < fieldCount; ++f) bilinearAnywhere(fields[f].from, x, y, fields[f].out + at);
            continue;
        }
        // Inside every field all four neighbours exist: no tests, and the weights serve them all.
        const BilinearCell cell = bilinearCell(x, y);
        for (int f = 0; f < fieldCount; ++f) bilinearInside(fields[f].from, cell, fields[f].out + at);
    }
}

// Plain enough for every compiler to make vectors of.
void bilinearStillRow(const FieldReading* fields, int fieldCount, int column, int row, int count) {
    for (int f = 0; f < fieldCount; ++f) {
        const unsigned char* from =
            fields[f].from.first + row * fields[f].from.pitch + std::ptrdiff_t{column} * 4;
        unsigned char* out = fields[f].out;
        for (std::ptrdiff_t i = 0; i < count; ++i)
            storePixel(out + i * 4, wholePositionAlpha(loadPixel(from + i * 4)));
    }
}

}  // namespace tumblewash::kernels
