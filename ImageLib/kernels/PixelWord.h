// PixelWord: the four bytes of a frame pixel as one word of the machine, whatever its byte order.
// Loads and stores need no alignment; the alpha byte is the first in memory.
// It is not a pixel type: colours are not told apart here.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tumblewash::kernels {

/// How far the alpha byte stands from the word's low end.
constexpr int kAlphaShift = std::endian::native == std::endian::little ? 0 : 24;

inline std::uint32_t loadPixel(const unsigned char* at) {
    std::uint32_t word = 0;
    std::memcpy(&word, at, sizeof word);
    return word;
}

inline void storePixel(unsigned char* at, std::uint32_t word) {
    std::memcpy(at, &word, sizeof word);
}

/// What the bilinear reading at a whole position makes of a pixel: the same colours, alpha a -> (255 + 4a)
/// mod 256.
inline std::uint32_t wholePositionAlpha(std::uint32_t word) {
    constexpr std::uint32_t mask = std::uint32_t{255} << kAlphaShift;
    const std::uint32_t alpha = (255U + 4U * ((word >> kAlphaShift) & 255U)) & 255U;
    return (word & ~mask) | (alpha << kAlphaShift);
}

}  // namespace tumblewash::kernels
