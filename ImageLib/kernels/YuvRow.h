// YuvRow: rows between 8-bit Y'CbCr of limited range and packed pixels (alpha, red, green, blue) in memory,
// in 16.16 integers with rounding: the same bytes on every machine. Two pixels share a chroma sample across,
// two rows down. It knows no pictures, no fields and no standards: the matrix comes from the caller.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// Bits behind the point of a YuvMatrix.
constexpr int kYuvMatrixBits = 16;

/// A matrix both ways, with the limited ranges 219 and 224 in it; every number times 2^16.
struct YuvMatrix {
    int luma, redCr, greenCb, greenCr, blueCb;  ///< to R'G'B'
    int yRed, yGreen, yBlue;                    ///< to Y'; their sum is exactly 219 / 255
    int cbRed, cbGreen, cbBlue;                 ///< to Cb; sum 0, so that grey stays grey
    int crRed, crGreen, crBlue;                 ///< to Cr; sum 0
};

/// What the chroma of a row adds to each of its pixels, a half for rounding included; each as long as the
/// row.
struct ChromaTerms {
    int* red;
    int* green;
    int* blue;
};

/// The terms of a row of `pixels` pixels from its (pixels + 1) / 2 chroma samples.
void chromaTermsRowScalar(const YuvMatrix& matrix, const std::uint8_t* cb, const std::uint8_t* cr,
                          std::size_t pixels, const ChromaTerms& terms);
/// Opaque pixels from luma codes and the terms of their row: ((y - 16) luma + term) / 2^16 rounded down, held
/// to 0..255.
void argbRowFromYuvScalar(const YuvMatrix& matrix, const std::uint8_t* y, const ChromaTerms& terms,
                          std::size_t pixels, std::uint8_t* argb);
/// The luma codes of a row; alpha takes no part.
void lumaRowFromArgbScalar(const YuvMatrix& matrix, const std::uint8_t* argb, std::size_t pixels,
                           std::uint8_t* y);
/// `samples` chroma codes, each from two pixels of either row.
void chromaRowFromArgbScalar(const YuvMatrix& matrix, const std::uint8_t* above, const std::uint8_t* below,
                             std::size_t samples, std::uint8_t* cb, std::uint8_t* cr);

/// The versions in use: the same numbers and codes, with the vectors of the machine they run on.
void chromaTermsRow(const YuvMatrix& matrix, const std::uint8_t* cb, const std::uint8_t* cr,
                    std::size_t pixels, const ChromaTerms& terms, InstructionSet set = InstructionSet::best);
void argbRowFromYuv(const YuvMatrix& matrix, const std::uint8_t* y, const ChromaTerms& terms,
                    std::size_t pixels, std::uint8_t* argb, InstructionSet set = InstructionSet::best);
void lumaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* argb, std::size_t pixels, std::uint8_t* y,
                     InstructionSet set = InstructionSet::best);
void chromaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* above, const std::uint8_t* below,
                       std::size_t samples, std::uint8_t* cb, std::uint8_t* cr,
                       InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
