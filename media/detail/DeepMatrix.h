// The matrices between 10-bit Y'CbCr codes and deep words, and which lines share their chroma.
// Shared by those who convert whole pictures and those who convert line by line; rows of them are the
// kernels'.
#pragma once

#include <cstdint>

#include "ImageLib/kernels/DeepYuvRow.h"
#include "media/Picture.h"

namespace tumblewash::media {

using kernels::code10;
using kernels::DeepChroma;
using kernels::deepChroma;
using kernels::DeepMatrix;
using kernels::deepWordOf;
using kernels::kChromaBits;
using kernels::kDeepStep;
using kernels::kLumaBits;
using kernels::kToDeepBits;

const DeepMatrix& deepMatrixOf(ColourMatrix matrix) noexcept;

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
