// DeepFetchRow: the second step of the flow-driven warp over deep pixels: both fields fetch through the
// indices that WarpRow.h forms. It forms no indices.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/DeepPixel.h"
#include "ImageLib/kernels/WarpRow.h"

namespace tumblewash::kernels {

/// A picture to fetch from: rows of shape.stride pixels, `pitch` bytes from one to the next.
struct DeepSource {
    const unsigned char* first;
    std::ptrdiff_t pitch;
};

/// Fetches `count` pixels of a row of both fields. An index counts pixels of a picture without gaps between
/// its rows, whatever the source's pitch: `even` gets that pixel, `odd` the one a frame row below it, or
/// `nothing` where that row is past the last; all channels as they are. `kLeavePixel` leaves both alone,
/// `kZeroPixel` makes both `nothing`.
void deepFetchRow(const WarpShape& shape, const DeepSource& source, const std::int32_t* index, int count,
                  const DeepPixel& nothing, unsigned char* even, unsigned char* odd);

}  // namespace tumblewash::kernels
