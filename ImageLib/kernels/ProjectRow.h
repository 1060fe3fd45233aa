// ProjectRow: a row of source positions under a planar projection, and which of them lie inside the source.
// The single projection of PlanarProj::proj for a whole row at once, the same operations in the same order.
// It reads no pixels and finds no runs; its callers do.
#pragma once

#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// The open interval of positions in each direction that count as inside; not-a-number never does.
struct OpenBounds {
    float afterX, beforeX;
    float afterY, beforeY;
};

/// Columns that share one word of bits.
constexpr int kColumnsInWord = 64;

/// Projects the columns first ... first + count - 1 of row y with the eight coefficients of a PlanarProj:
/// atX[i] = ((column h0 + y h1) + h2) / ((column h6 + y h7) + 1), atY[i] alike with h3, h4 and h5, all in
/// single precision. Bit i % 64 of inside[i / 64] tells whether position i lies within the bounds; the bits
/// behind the last column are 0.
void projectRowScalar(const float* h, int y, int first, int count, const OpenBounds& bounds, float* atX,
                      float* atY, std::uint64_t* inside);

/// The version in use: the same positions and bits, with the vectors of the machine it runs on.
void projectRow(const float* h, int y, int first, int count, const OpenBounds& bounds, float* atX, float* atY,
                std::uint64_t* inside, InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
