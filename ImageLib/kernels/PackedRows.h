// Row functions over packed four-byte pixels (alpha, red, green, blue): byte arithmetic and differences.
// They see plain memory, one row at a time, and have no error path; callers clip before they call.
// Not here: anything that knows rectangles, views or pixel classes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace tumblewash::kernels {

/// dst[i] += src[i] modulo 256 for `bytes` bytes. dst and src may be the same row.
inline void addBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) dst[i] = static_cast<std::uint8_t>(dst[i] + src[i]);
}

/// dst[i] -= src[i] modulo 256 for `bytes` bytes. dst and src may be the same row.
inline void subtractBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) dst[i] = static_cast<std::uint8_t>(dst[i] - src[i]);
}

/// Adds the same four bytes to each of `pixels` pixels, every byte modulo 256.
inline void addPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4]) {
    const std::uint8_t v0 = value[0], v1 = value[1], v2 = value[2], v3 = value[3];
    for (std::size_t i = 0; i < pixels; ++i, dst += 4) {
        dst[0] = static_cast<std::uint8_t>(dst[0] + v0);
        dst[1] = static_cast<std::uint8_t>(dst[1] + v1);
        dst[2] = static_cast<std::uint8_t>(dst[2] + v2);
        dst[3] = static_cast<std::uint8_t>(dst[3] + v3);
    }
}

/// Replaces the red, green and blue byte of each of `pixels` pixels by table[byte]; alpha stays.
inline void mapColoursRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t table[256]) {
    for (std::size_t i = 0; i < pixels; ++i, dst += 4) {
        dst[1] = table[dst[1]];
        dst[2] = table[dst[2]];
        dst[3] = table[dst[3]];
    }
}

/// Sum of the pixels' luminances, each (30 red + 59 green + 11 blue) / 100 in whole numbers.
inline std::uint64_t sumLuminanceRow(const std::uint8_t* row, std::size_t pixels) {
    constexpr std::size_t chunk = std::size_t{1} << 20;  // 255 x chunk stays inside 32 bits
    std::uint64_t total = 0;
    while (pixels > 0) {
        const std::size_t n = pixels < chunk ? pixels : chunk;
        std::uint32_t sum = 0;
        for (std::size_t i = 0; i < n; ++i, row += 4) {
            sum += (30U * row[1] + 59U * row[2] + 11U * row[3]) / 100U;
        }
        total += sum;
        pixels -= n;
    }
    return total;
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
