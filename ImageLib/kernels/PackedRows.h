// Row functions over packed four-byte pixels (alpha, red, green, blue): byte arithmetic and differences.
// They see plain memory, one row at a time, and have no error path; callers clip before they call.
// Not here: anything that knows rectangles, views or pixel classes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// dst[i] += src[i] modulo 256 for `bytes` bytes, in ascending order: where src lies in dst's own memory, it
/// shows what has been written before its turn.
void addBytesRowScalar(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes);

/// dst[i] -= src[i] modulo 256 for `bytes` bytes, in the same order.
void subtractBytesRowScalar(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes);

/// Adds the same four bytes to each of `pixels` pixels, every byte modulo 256.
void addPixelRowScalar(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4]);

/// Writes the same four bytes to each of `pixels` pixels.
void fillPixelRowScalar(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4]);

/// Sum of the pixels' luminances, each (30 red + 59 green + 11 blue) / 100 in whole numbers.
std::uint64_t sumLuminanceRowScalar(const std::uint8_t* row, std::size_t pixels);

/// How far the luminances of pixel pairs lie apart: d = |a - b|.
struct LuminanceDifferences {
    std::uint64_t squares = 0;     ///< sum of d d
    std::uint32_t smallest = 255;  ///< the smallest d, 255 of none
    std::uint32_t largest = 0;     ///< the largest d
};

/// Takes `pixels` pixel pairs into `sum`.
void luminanceDifferencesRowScalar(const std::uint8_t* a, const std::uint8_t* b, std::size_t pixels,
                                   LuminanceDifferences& sum);

/// The versions in use: the same bytes and sums, with the vectors of the machine they run on.
void addBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes,
                 InstructionSet set = InstructionSet::best);
void subtractBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes,
                      InstructionSet set = InstructionSet::best);
void addPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4],
                 InstructionSet set = InstructionSet::best);
void fillPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4],
                  InstructionSet set = InstructionSet::best);
std::uint64_t sumLuminanceRow(const std::uint8_t* row, std::size_t pixels,
                              InstructionSet set = InstructionSet::best);
void luminanceDifferencesRow(const std::uint8_t* a, const std::uint8_t* b, std::size_t pixels,
                             LuminanceDifferences& sum, InstructionSet set = InstructionSet::best);

/// Replaces the red, green and blue byte of each of `pixels` pixels by table[byte]; alpha stays.
inline void mapColoursRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t table[256]) {
    for (std::size_t i = 0; i < pixels; ++i, dst += 4) {
        dst[1] = table[dst[1]];
        dst[2] = table[dst[2]];
        dst[3] = table[dst[3]];
    }
}

/// Sum of |a - b| over the red, green and blue bytes of `pixels` pixel pairs; alpha takes no part.
inline std::uint64_t sumColourDifferencesRow(const std::uint8_t* a, const std::uint8_t* b,
                                             std::size_t pixels) {
    constexpr std::size_t chunk = std::size_t{1} << 20;  // 765 x chunk stays inside 32 bits
    std::uint64_t total = 0;
    while (pixels > 0) {
        const std::size_t n = pixels < chunk ? pixels : chunk;
        std::uint32_t sum = 0;
        for (std::size_t i = 0; i < n; ++i, a += 4, b += 4) {
            sum += static_cast<std::uint32_t>(std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]) +
                                              std::abs(a[3] - b[3]));
        }
        total += sum;
        pixels -= n;
    }
    return total;
}

}  // namespace tumblewash::kernels
