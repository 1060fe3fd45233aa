// WarpRow: one row of the flow-driven warp, as two steps over plain memory.
// First the fetch point of every column becomes the index of a pixel, exactly or by an estimate that says
// where it does not suffice; then both fields fetch through those indices. Pixels are four bytes in memory,
// alpha first; memory needs no alignment.
#pragma once

#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// An index that leaves its destination pixels alone.
constexpr std::int32_t kLeavePixel = -1;
/// An index that fetches the zero pixel.
constexpr std::int32_t kZeroPixel = -2;

/// The shape of a warped frame and the strength of the warp.
struct WarpShape {
    int stride;      ///< pixels per row in memory
    int width;       ///< visible columns: the horizontal limit of fetch points
    int height;      ///< rows of the frame, both fields together
    int fieldRows;   ///< rows of the even field: the vertical limit and scale
    float strength;  ///< factor of every displacement
};

/// Row y of either field: index[x], for x in [first, end), becomes the index in the frame of the even-line
/// pixel that column x fetches. With sx = strength * (stride * red[x]) + x and sy = strength * (fieldRows *
/// green[x]) + y, each operation rounded to float, it is trunc(sy) * 2 * stride + trunc(sx); `kLeavePixel`
/// where sx or sy is negative, not below the limit, or no number; `kZeroPixel` where a visible column lies
/// beyond the stride. A null `red` or `green` is a channel without displacement.
void warpIndexRowScalar(const WarpShape& shape, const float* red, const float* green, int y, int first,
                        int end, std::int32_t* index);

/// One coordinate of a row's fetch points, in pixels: estimated displacements between the cells above and
/// those below, or one exact displacement for every column.
struct WarpEstimate {
    const float* upper;  ///< displacement of each column at the cells above; null where all columns have one
    const float* lower;  ///< displacement of each column at the cells below
    float fixed;         ///< the displacement of every column where `upper` is null
    float bound;  ///< the estimate and the exact fetch point differ by no more than this, less than 0.5
};

/// Estimates are less than this in magnitude, and so are the columns and rows of a frame that has them.
constexpr int kFarthestEstimate = 1 << 20;

/// What `warpIndexRowScalar` does, from an estimate: index[x] becomes what an estimated coordinate
/// (nearY * upper[x] + farY * lower[x]) + x, or the exact one fixed + x, and likewise with y, leads to, each
/// operation rounded to float. Where an estimated one lies within its bound of a whole number, x joins
/// `undecided`, ascending, and index[x] is of no use. Returns how many are undecided; `undecided` has room
/// for end - first + 16 columns. No visible column may lie beyond the stride.
int estimateIndexRowScalar(const WarpShape& shape, const WarpEstimate& red, const WarpEstimate& green,
                           float nearY, float farY, int y, int first, int end, std::int32_t* index,
                           int* undecided);

/// Fetches `count` pixels of row y of both fields: `even` gets frame[index], `odd` the pixel one frame row
/// below it, or the zero pixel where that row is past the frame's last. Colours are copied and alpha a
/// becomes (255 + 4a) mod 256.
void warpFetchRowScalar(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd);

/// The version in use: the same indices, with the vectors of the machine it runs on.
void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first, int end,
                  std::int32_t* index, InstructionSet set = InstructionSet::best);

/// The version in use: the same indices and the same undecided columns.
int estimateIndexRow(const WarpShape& shape, const WarpEstimate& red, const WarpEstimate& green, float nearY,
                     float farY, int y, int first, int end, std::int32_t* index, int* undecided,
                     InstructionSet set = InstructionSet::best);

/// The version in use: the same bytes, with the vectors of the machine it runs on; one of the two below.
void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index, int count,
                  unsigned char* even, unsigned char* odd, InstructionSet set = InstructionSet::best);

/// The same bytes by vector gathers, where the instruction set has such as pay at all.
void warpFetchRowGathering(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                           int count, unsigned char* even, unsigned char* odd,
                           InstructionSet set = InstructionSet::best);

/// The same bytes without vector gathers, which some machines are slow at; `GatherChoice` finds out which.
void warpFetchRowSingly(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd,
                        InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
