// The matrices between 10-bit Y'CbCr codes and deep words, both ways, as integers.
// Shared by those who convert whole pictures and those who convert line by line.
#pragma once

#include <cstdint>

#include "media/Picture.h"

namespace tumblewash::media {

constexpr int kToDeepBits = 12;
constexpr int kLumaBits = 14;
constexpr int kChromaBits = 19;
// 16 bits of limited range are 64 steps to one of 10 bits.
constexpr int kDeepStep = 64;

struct DeepMatrix {
    int redCr, greenCb, greenCr, blueCb;  ///< to R'G'B', kToDeepBits
    int yRed, yGreen, yBlue;              ///< to Y', kLumaBits; their sum is exactly 1
    int cbRed, cbBlue;                    ///< to Cb from differences to green, kChromaBits
    int crRed, crBlue;
};

const DeepMatrix& deepMatrixOf(ColourMatrix matrix) noexcept;

/// A sample of a plane as a 10-bit code, whatever its depth.
template <typename Sample>
constexpr int code10(Sample sample) noexcept {
    return sizeof(Sample) == 1 ? sample * 4 : sample;
}

/// What a pixel's colour differences, less their middle of 512, add to its grey.
struct DeepChroma {
    int red, green, blue;
};
constexpr DeepChroma deepChroma(const DeepMatrix& c, int cb, int cr) noexcept {
    constexpr int half = 1 << (kToDeepBits - 1);
    return {(c.redCr * cr + half) >> kToDeepBits, (c.greenCb * cb + c.greenCr * cr + half) >> kToDeepBits,
            (c.blueCb * cb + half) >> kToDeepBits};
}

constexpr uint16_t deepWordOf(int value) noexcept {
    return static_cast<uint16_t>(value < 0 ? 0 : value > 65535 ? 65535 : value);
}

/// The chroma line that luma line `y` shares: within its own field when fields are kept apart.
constexpr int sharedChromaLine(int y, bool fields) noexcept {
    return fields ? (y / 4) * 2 + (y & 1) : y / 2;
}

/// The two luma lines that chroma line `row` of `height` is the mean of. A height of 4 n + 2 leaves the last
/// two lines without partners in their fields; they share one sample.
struct LinePair {
    int above, below;
};
constexpr LinePair lumaLines(int row, int height, bool fields) noexcept {
    const bool paired = fields && 4 * (row / 2) + 3 < height;
    const int above = paired ? 4 * (row / 2) + (row & 1) : 2 * row;
    return {above, paired ? above + 2 : above + 1};
}

}  // namespace tumblewash::media
