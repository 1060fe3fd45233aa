// BlockMatch: how much a small block of packed pixels differs from each place around it.
// The inner work of the block matcher for the one size that the motion estimate uses, over plain memory. It
// neither scales the sums nor judges them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// Side of the block that is matched, in pixels.
constexpr int kMatchSide = 3;
/// Pixels that it is moved in each direction.
constexpr int kMatchRange = 2;
/// Places tried along one axis.
constexpr int kMatchPlaces = 2 * kMatchRange + 1;

/// sums[dy * kMatchPlaces + dx] becomes the sum of |a - b| over red, green and blue of the block whose first
/// pixel is `block` and of the block dx columns right of and dy rows below `around`; alpha, the first byte of
/// a pixel, takes no part. Rows of both pictures are `pitch` bytes apart, and the pixel behind each row that
/// is looked at must be readable.
void matchSumsScalar(const unsigned char* block, const unsigned char* around, std::ptrdiff_t pitch,
                     std::uint32_t* sums);

/// The version in use: the same sums, with the vectors of the machine it runs on.
void matchSums(const unsigned char* block, const unsigned char* around, std::ptrdiff_t pitch,
               std::uint32_t* sums, InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
