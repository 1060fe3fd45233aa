// WarpRow: one row of the flow-driven warp, as two steps over plain memory.
// First the fetch point of every column becomes the index of a pixel, then both fields fetch through those
// indices. Pixels are four bytes in memory, alpha first; memory needs no alignment.
#pragma once

#include <cstdint>

namespace tumblewash {

/// An index that leaves its destination pixels alone.
constexpr std::int32_t leavePixel = -1;
/// An index that fetches the zero pixel.
constexpr std::int32_t zeroPixel = -2;

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
/// green[x]) + y, each operation rounded to float, it is trunc(sy) * 2 * stride + trunc(sx); `leavePixel`
/// where sx or sy is negative, not below the limit, or no number; `zeroPixel` where a visible column lies
/// beyond the stride. A null `red` or `green` is a channel without displacement.
void warpIndexRowScalar(const WarpShape& shape, const float* red, const float* green, int y, int first,
                        int end, std::int32_t* index);

/// Fetches `count` pixels of row y of both fields: `even` gets frame[index], `odd` the pixel one frame row
/// below it, or the zero pixel where that row is past the frame's last. Colours are copied and alpha a
/// becomes (255 + 4a) mod 256.
void warpFetchRowScalar(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd);

/// The version in use: the same indices, with the vectors of the machine it runs on.
void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first, int end,
                  std::int32_t* index);

/// The version in use: the same bytes, with the vectors of the machine it runs on.
void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index, int count,
                  unsigned char* even, unsigned char* odd);

}  // namespace tumblewash
