#include "ImageLib/kernels/ConvolveRow.h"

#include <cmath>
#include <initializer_list>
#include <limits>

#include "ImageLib/kernels/PixelBytes.h"

namespace tumblewash::kernels {
namespace {

/// A product truncated toward zero and held to the range of int; 0 when it is no number.
int truncated(double product) {
    if (product != product) return 0;
    if (product <= static_cast<double>(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    if (product >= static_cast<double>(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    return static_cast<int>(product);
}

bool fits(const ConvolveTap& tap, unsigned fraction) {
    bool same = true;
    for (unsigned c = 0; c < 256; ++c) {
        const unsigned product = tap.whole * c + ((fraction * c) >> 16);
        same &= static_cast<std::uint8_t>(tap.negative ? 0U - product : product) == tap.weighed[c];
    }
    return same;
}

}  // namespace

ConvolveTap makeConvolveTap(int row, int column, float weight) {
    ConvolveTap tap{};
    tap.row = row;
    tap.column = column;
    for (int c = 0; c < 256; ++c) {
        const double product = static_cast<double>(c) * static_cast<double>(weight);
        tap.weighed[c] = static_cast<std::uint8_t>(truncated(product));
    }
    const double size = std::fabs(static_cast<double>(weight));
    if (!(size < 8388608.0)) return tap;  // products beyond int are held to its range
    const double whole = std::floor(size);
    const auto below = static_cast<unsigned>((size - whole) * 65536.0);
    tap.whole = static_cast<std::uint8_t>(static_cast<unsigned>(whole));
    tap.negative = weight < 0.0F;
    for (const unsigned fraction : {below, below + 1}) {
        if (tap.exact || fraction > 65535) continue;
        tap.fraction = static_cast<std::uint16_t>(fraction);
        tap.exact = fits(tap, fraction);
    }
    return tap;
}

ConvolveWeights::ConvolveWeights(const float (&kernel)[5][5], float factor)
    : normal(factor), multiplies(std::isfinite(factor)) {
    for (int column = 0; column < 5; ++column) {
        for (int row = 0; row < 5; ++row) {
            if (kernel[column][row] == 0.0F) continue;
            const ConvolveTap& tap = taps[count++] = makeConvolveTap(row, column, kernel[column][row]);
            multiplies = multiplies && tap.exact;
        }
    }
}

void convolveRowScalar(const ConvolveWeights& weights, const unsigned char* const (&rows)[5], int pixels,
                       int other, unsigned char* out) {
    const int firstColour = other == 0 ? 1 : 0;
    for (int i = 0; i < pixels; ++i, out += 4) {
        int sum[3] = {0, 0, 0};
        for (int t = 0; t < weights.count; ++t) {
            const ConvolveTap& tap = weights.taps[t];
            const unsigned char* p = rows[tap.row] + 4 * (i + tap.column) + firstColour;
            for (int c = 0; c < 3; ++c) sum[c] += tap.weighed[p[c]];
        }
        for (int c = 0; c < 3; ++c)
            out[firstColour + c] = heldToByte(static_cast<float>(sum[c]) * weights.normal);
        out[other] = 255;
    }
}

}  // namespace tumblewash::kernels
