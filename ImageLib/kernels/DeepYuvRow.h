// DeepYuvRow: rows of Y'CbCr codes of 8 or 10 bits into deep words of red, green and blue, a plane for each,
// and back into codes, by a matrix of whole numbers. Every machine gives the same words and codes. It chooses
// neither the matrix nor which lines share their chroma.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

constexpr int kToDeepBits = 12;
constexpr int kLumaBits = 14;
constexpr int kChromaBits = 19;
/// 16 bits of limited range are 64 steps to one of 10 bits.
constexpr int kDeepStep = 64;

/// A matrix between 10-bit Y'CbCr codes and deep words, both ways.
struct DeepMatrix {
    int redCr, greenCb, greenCr, blueCb;  ///< to R'G'B', kToDeepBits
    int yRed, yGreen, yBlue;              ///< to Y', kLumaBits; their sum is exactly 1
    int cbRed, cbBlue;                    ///< to Cb from differences to green, kChromaBits
    int crRed, crBlue;
};

/// A sample of a plane as a 10-bit code, whatever its depth. Words beyond ten bits, which uncompressed video
/// may hold, count as the greatest code.
template <typename Sample>
constexpr int code10(Sample sample) noexcept {
    if (sizeof(Sample) == 1) return sample * 4;
    return sample < 1024 ? sample : 1023;
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

constexpr std::uint16_t deepWordOf(int value) noexcept {
    return static_cast<std::uint16_t>(value < 0 ? 0 : value > 65535 ? 65535 : value);
}

/// The share of place (x, y) in 256ths of what one step of the result is worth, 0..255: added before bits are
/// dropped. A lattice rather than a matrix of thresholds: each column and each row by itself runs through all
/// shares evenly.
constexpr std::uint8_t ditherShare(unsigned x, unsigned y) noexcept {
    return static_cast<std::uint8_t>(193 * x + 147 * y);
}

/// The scalar siblings work on the pixels from `first`, which is even, to before `pixels`.

/// A row of `pixels` from luma and chroma samples of 8 bits, or of 10 in words. `halved`: two pixels share a
/// chroma sample.
template <typename Sample>
void deepRowFromYuvScalar(const DeepMatrix& matrix, const Sample* y, const Sample* cb, const Sample* cr,
                          bool halved, std::size_t first, std::size_t pixels, std::uint16_t* red,
                          std::uint16_t* green, std::uint16_t* blue);

/// A row of deep words, a plane for each colour.
struct DeepRow {
    const std::uint16_t *red, *green, *blue;
};

/// The luma codes of line `line` of a picture: of 8 bits, rounded or with the shares of `ditherShare`, or of
/// 10 bits, rounded.
template <typename Sample>
void lumaRowFromDeepScalar(const DeepMatrix& matrix, const DeepRow& from, std::size_t first,
                           std::size_t pixels, unsigned line, bool dither, Sample* out);

/// The chroma codes of line `line` of the chroma planes, which two lines of `pixels` share, in the same
/// depths.
template <typename Sample>
void chromaRowFromDeepScalar(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                             std::size_t first, std::size_t pixels, unsigned line, bool dither, Sample* cb,
                             Sample* cr);

/// The versions in use: the same words and codes, with the vectors of the machine they run on.
void deepRowFromYuv(const DeepMatrix& matrix, const std::uint8_t* y, const std::uint8_t* cb,
                    const std::uint8_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, InstructionSet set = InstructionSet::best);
void deepRowFromYuv(const DeepMatrix& matrix, const std::uint16_t* y, const std::uint16_t* cb,
                    const std::uint16_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, InstructionSet set = InstructionSet::best);
void lumaRowFromDeep(const DeepMatrix& matrix, const DeepRow& from, std::size_t pixels, unsigned line,
                     bool dither, std::uint8_t* out, InstructionSet set = InstructionSet::best);
void lumaRowFromDeep(const DeepMatrix& matrix, const DeepRow& from, std::size_t pixels, unsigned line,
                     bool dither, std::uint16_t* out, InstructionSet set = InstructionSet::best);
void chromaRowFromDeep(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                       std::size_t pixels, unsigned line, bool dither, std::uint8_t* cb, std::uint8_t* cr,
                       InstructionSet set = InstructionSet::best);
void chromaRowFromDeep(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                       std::size_t pixels, unsigned line, bool dither, std::uint16_t* cb, std::uint16_t* cr,
                       InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
