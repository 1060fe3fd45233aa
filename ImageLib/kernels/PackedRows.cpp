#include "ImageLib/kernels/PackedRows.h"

#include <algorithm>
#include <cstring>

namespace tumblewash::kernels {

void addBytesRowScalar(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) dst[i] = static_cast<std::uint8_t>(dst[i] + src[i]);
}

void subtractBytesRowScalar(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) dst[i] = static_cast<std::uint8_t>(dst[i] - src[i]);
}

void addPixelRowScalar(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4]) {
    for (; pixels > 0; --pixels, dst += 4)
        for (int c = 0; c < 4; ++c) dst[c] = static_cast<std::uint8_t>(dst[c] + value[c]);
}

void fillPixelRowScalar(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4]) {
    for (; pixels > 0; --pixels, dst += 4) std::memcpy(dst, value, 4);
}

namespace {

std::uint32_t luminance(const std::uint8_t* pixel) {
    return (30U * pixel[1] + 59U * pixel[2] + 11U * pixel[3]) / 100U;
}

}  // namespace

std::uint64_t sumLuminanceRowScalar(const std::uint8_t* row, std::size_t pixels) {
    std::uint64_t total = 0;
    for (; pixels > 0; --pixels, row += 4) total += luminance(row);
    return total;
}

void luminanceDifferencesRowScalar(const std::uint8_t* a, const std::uint8_t* b, std::size_t pixels,
                                   LuminanceDifferences& sum) {
    for (; pixels > 0; --pixels, a += 4, b += 4) {
        const std::uint32_t one = luminance(a), other = luminance(b);
        const std::uint32_t d = one < other ? other - one : one - other;
        sum.smallest = std::min(sum.smallest, d);
        sum.largest = std::max(sum.largest, d);
        sum.squares += std::uint64_t{d} * d;
    }
}

}  // namespace tumblewash::kernels
