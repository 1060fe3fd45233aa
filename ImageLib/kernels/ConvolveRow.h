// ConvolveRow: rows of packed pixels filtered by a 5 x 5 kernel whose weighed bytes are truncated toward zero
// and keep their low eight bits BEFORE they are summed. Plain memory, four bytes a pixel, any alignment.
// It knows no borders and no rectangles: the caller hands over rows that reach far enough.
#pragma once

#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// One weight k of the kernel, applied to the pixel `column` places right of the neighbourhood's left edge in
/// row `row`. What k makes of a byte is stored twice: as a table, which always holds, and as three numbers:
///     (whole * c + ((fraction * c) >> 16)), negated where `negative`, its low byte
/// which equal the table for every byte c when `exact`.
struct ConvolveTap {
    int row;
    int column;
    std::uint8_t weighed[256];
    std::uint16_t fraction;
    std::uint8_t whole;
    bool negative;
    bool exact;
};

/// Makes the tap of one weight: any float, also one that is no number.
ConvolveTap makeConvolveTap(int row, int column, float weight);

/// The taps of a kernel whose weight is not zero, and the factor of their sum.
struct ConvolveWeights {
    /// kernel[column][row] with weights that sum to something; `normal` is one over that sum.
    ConvolveWeights(const float (&kernel)[5][5], float normal);

    ConvolveTap taps[25];
    int count = 0;
    float normal;
    /// Every tap is exact and the factor is finite: no table is needed.
    bool multiplies;
};

/// Filters `pixels` pixels. rows[j] + 4 * i begins row j of pixel i's neighbourhood, five pixels wide. Three
/// bytes of each output pixel are colours, each the sum of its weighed bytes times the factor, held to 0..255
/// and truncated; byte number `other` (0 or 3) becomes 255. `out` overlaps no row.
void convolveRowScalar(const ConvolveWeights& weights, const unsigned char* const (&rows)[5], int pixels,
                       int other, unsigned char* out);

/// The version in use: the same bytes, with the vectors of the machine it runs on.
void convolveRow(const ConvolveWeights& weights, const unsigned char* const (&rows)[5], int pixels, int other,
                 unsigned char* out, InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
