// The pattern by which bits are dropped: at each place a fixed share is added before the surplus is cut off,
// so that the mean over a few pixels is the value that no longer fits. The same on every machine and in every
// frame: what stands still stays still.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ImageLib/kernels/DeepYuvRow.h"

namespace tumblewash::media {

using kernels::ditherShare;

/// Drops `bits` (1..8) low bits of `count` samples of line `y`; the results stay below 256.
template <typename Sample>
void ditherRow(const Sample* in, size_t count, unsigned y, int bits, uint8_t* out) noexcept {
    for (size_t x = 0; x < count; ++x) {
        const int sum = (in[x] + (ditherShare(static_cast<unsigned>(x), y) >> (8 - bits))) >> bits;
        out[x] = static_cast<uint8_t>(sum > 255 ? 255 : sum);
    }
}

}  // namespace tumblewash::media
