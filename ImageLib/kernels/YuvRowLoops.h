// YuvRowLoops: the loops of YuvRow, written so that a compiler makes vectors of them: the scalar sibling and
// the version of each instruction set are these loops, compiled for it. Inlined always, so that each has the
// vectors of its caller.
#pragma once

#include <algorithm>
#include <cstring>

#include "ImageLib/kernels/PixelWord.h"
#include "ImageLib/kernels/YuvRow.h"

namespace tumblewash::kernels::yuvloops {

/// How far the colours stand from the low end of a pixel's word.
constexpr bool kLittleEndian = kAlphaShift == 0;
constexpr int kRedShift = kLittleEndian ? 8 : 16, kGreenShift = kLittleEndian ? 16 : 8,
              kBlueShift = kLittleEndian ? 24 : 0;

[[gnu::always_inline]] inline std::uint32_t byteAt(std::uint32_t word, int shift) {
    return word >> shift & 255U;
}

[[gnu::always_inline]] inline std::uint32_t heldByte(int value) {
    return static_cast<std::uint32_t>(std::clamp(value >> kYuvMatrixBits, 0, 255));
}

[[gnu::always_inline]] inline void chromaTerms(const YuvMatrix& m, const std::uint8_t* cb,
                                               const std::uint8_t* cr, std::size_t pixels,
                                               const ChromaTerms& terms) {
    constexpr int half = 1 << (kYuvMatrixBits - 1);
    int* __restrict red = terms.red, * __restrict green = terms.green, * __restrict blue = terms.blue;
    const std::size_t pairs = pixels / 2;
    for (std::size_t i = 0; i < pairs; ++i) {
        const int u = cb[i] - 128, v = cr[i] - 128;
        red[2 * i] = red[2 * i + 1] = m.redCr * v + half;
        green[2 * i] = green[2 * i + 1] = m.greenCb * u + m.greenCr * v + half;
        blue[2 * i] = blue[2 * i + 1] = m.blueCb * u + half;
    }
    if (pixels % 2 == 0) return;
    const int u = cb[pairs] - 128, v = cr[pairs] - 128;
    red[2 * pairs] = m.redCr * v + half;
    green[2 * pairs] = m.greenCb * u + m.greenCr * v + half;
    blue[2 * pairs] = m.blueCb * u + half;
}

[[gnu::always_inline]] inline void argbFromYuv(const YuvMatrix& m, const std::uint8_t* y,
                                               const ChromaTerms& terms, std::size_t pixels,
                                               std::uint8_t* __restrict argb) {
    const int *red = terms.red, *green = terms.green, *blue = terms.blue;
    for (std::size_t x = 0; x < pixels; ++x) {
        const int grey = (y[x] - 16) * m.luma;
        storePixel(argb + 4 * x, 255U << kAlphaShift | heldByte(grey + red[x]) << kRedShift |
                                     heldByte(grey + green[x]) << kGreenShift |
                                     heldByte(grey + blue[x]) << kBlueShift);
    }
}

[[gnu::always_inline]] inline void lumaFromArgb(const YuvMatrix& m, const std::uint8_t* argb,
                                                std::size_t pixels, std::uint8_t* __restrict y) {
    constexpr int half = 1 << (kYuvMatrixBits - 1);
    for (std::size_t x = 0; x < pixels; ++x) {
        const std::uint32_t word = loadPixel(argb + 4 * x);
        const int red = static_cast<int>(byteAt(word, kRedShift)),
                  green = static_cast<int>(byteAt(word, kGreenShift)),
                  blue = static_cast<int>(byteAt(word, kBlueShift));
        y[x] = static_cast<std::uint8_t>(
            16 + ((m.yRed * red + m.yGreen * green + m.yBlue * blue + half) >> kYuvMatrixBits));
    }
}

/// The sum of one channel of the two pixels of each word.
[[gnu::always_inline]] inline int sumOfFour(std::uint64_t above, std::uint64_t below, int shift) {
    return static_cast<int>((above >> shift & 255U) + (above >> (shift + 32) & 255U) +
                            (below >> shift & 255U) + (below >> (shift + 32) & 255U));
}

[[gnu::always_inline]] inline void chromaFromArgb(const YuvMatrix& m, const std::uint8_t* above,
                                                  const std::uint8_t* below, std::size_t samples,
                                                  std::uint8_t* __restrict cb, std::uint8_t* __restrict cr) {
    constexpr int half = 1 << (kYuvMatrixBits + 1);
    for (std::size_t x = 0; x < samples; ++x) {
        std::uint64_t a = 0, b = 0;
        std::memcpy(&a, above + 8 * x, sizeof a);
        std::memcpy(&b, below + 8 * x, sizeof b);
        const int red = sumOfFour(a, b, kRedShift), green = sumOfFour(a, b, kGreenShift),
                  blue = sumOfFour(a, b, kBlueShift);
        const int u = (m.cbRed * red + m.cbGreen * green + m.cbBlue * blue + half) >> (kYuvMatrixBits + 2);
        const int v = (m.crRed * red + m.crGreen * green + m.crBlue * blue + half) >> (kYuvMatrixBits + 2);
        cb[x] = static_cast<std::uint8_t>(128 + u);
        cr[x] = static_cast<std::uint8_t>(128 + v);
    }
}

}  // namespace tumblewash::kernels::yuvloops
