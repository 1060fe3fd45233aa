// BilinearPixel: one byte pixel read bilinearly from a field of plain frame memory.
// The rule of ContImageRef<ARGBVal>: four contributions truncated on their own, alpha 255 plus the four
// alphas, modulo 256. It is not a general resampler; positions keep the double precision that the truncations
// depend on.
#pragma once

#include <cmath>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/PixelWord.h"

namespace tumblewash::kernels {

/// A cell of four neighbours that lie inside the field, and their weights in the order
/// (floor, floor), (ceil, floor), (ceil, ceil), (floor, ceil).
struct BilinearCell {
    int x, y;
    int right, below;  ///< 1 where the ceiling is the next pixel, 0 where the position is whole
    double weight[4];
};

/// The cell of a position that is not negative and whose ceilings lie inside the field.
inline BilinearCell bilinearCell(double x, double y) {
    const int ix = static_cast<int>(x);
    const int iy = static_cast<int>(y);
    const double dx = x - ix;
    const double dy = y - iy;
    return {ix,
            iy,
            dx > 0.0 ? 1 : 0,
            dy > 0.0 ? 1 : 0,
            {(1.0 - dx) * (1.0 - dy), dx * (1.0 - dy), dx * dy, (1.0 - dx) * dy}};
}

/// Weighs four neighbours, each of four bytes, into `out`.
inline void bilinearMix(const unsigned char* const (&n)[4], const double (&weight)[4], unsigned char* out) {
    // Alpha runs along in the sums, unused: four equal lanes are what compilers make vectors of.
    int sum[4] = {0, 0, 0, 0};
    for (int i = 0; i < 4; ++i) {
        for (int c = 0; c < 4; ++c) {
            sum[c] += static_cast<int>(weight[i] * n[i][c]);
        }
    }
    out[0] = static_cast<unsigned char>(255 + n[0][0] + n[1][0] + n[2][0] + n[3][0]);
    for (int c = 1; c < 4; ++c) {
        out[c] = static_cast<unsigned char>(sum[c]);
    }
}

/// Reads a cell that lies inside the field.
inline void bilinearInside(const FieldPixels& field, const BilinearCell& cell, unsigned char* out) {
    const unsigned char* upper = field.first + cell.y * field.pitch + static_cast<std::ptrdiff_t>(cell.x) * 4;
    if ((cell.right | cell.below) == 0) {
        storePixel(out, wholePositionAlpha(loadPixel(upper)));
        return;
    }
    const unsigned char* lower = upper + cell.below * field.pitch;
    const std::ptrdiff_t right = cell.right * 4;
    bilinearMix({upper, upper + right, lower + right, lower}, cell.weight, out);
}

/// Reads any position: the zero pixel where its truncation lies outside, the pixel itself where a ceiling
/// does, and a zero neighbour to the left of column 0 and above row 0.
inline void bilinearAnywhere(const FieldPixels& field, double x, double y, unsigned char* out) {
    if (!(x > -1.0 && y > -1.0 && x < field.columns && y < field.rows)) {
        storePixel(out, 0);
        return;
    }
    const int fx = static_cast<int>(std::floor(x));
    const int fy = static_cast<int>(std::floor(y));
    const int cx = static_cast<int>(std::ceil(x));
    const int cy = static_cast<int>(std::ceil(y));
    static constexpr unsigned char zero[4] = {0, 0, 0, 0};
    const auto pixel = [&field](int px, int py) {
        return px < 0 || py < 0 ? zero : field.first + py * field.pitch + static_cast<std::ptrdiff_t>(px) * 4;
    };
    if (cx >= field.columns || cy >= field.rows) {
        storePixel(out, loadPixel(pixel(static_cast<int>(x), static_cast<int>(y))));
        return;
    }
    const double dx = x - fx;
    const double dy = y - fy;
    bilinearMix({pixel(fx, fy), pixel(cx, fy), pixel(cx, cy), pixel(fx, cy)},
                {(1.0 - dx) * (1.0 - dy), dx * (1.0 - dy), dx * dy, (1.0 - dx) * dy}, out);
}

}  // namespace tumblewash::kernels
