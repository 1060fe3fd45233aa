#include "ImageLib/kernels/WarpRow.h"

#include "ImageLib/kernels/PixelWord.h"

namespace tumblewash {

void warpIndexRowScalar(const WarpShape& shape, const float* red, const float* green, int y, int first,
                        int end, std::int32_t* index) {
    const float across = static_cast<float>(shape.stride);
    const float down = static_cast<float>(shape.fieldRows);
    const float limitX = static_cast<float>(shape.width);
    const float strength = shape.strength;
    const float row = static_cast<float>(y);
    const std::int32_t linePair = 2 * shape.stride;
    for (int x = first; x < end; ++x) {
        const float sx = (red == nullptr ? 0.0F : strength * (across * red[x])) + static_cast<float>(x);
        const float sy = (green == nullptr ? 0.0F : strength * (down * green[x])) + row;
        // A NaN fails every comparison. Selections in place of branches: compilers make vectors of them.
        const bool inside = (sx >= 0.0F) & (sy >= 0.0F) & (sx < limitX) & (sy < down);
        const auto ix = static_cast<std::int32_t>(inside ? sx : 0.0F);
        const auto iy = static_cast<std::int32_t>(inside ? sy : 0.0F);
        const std::int32_t fetched = ix < shape.stride ? iy * linePair + ix : zeroPixel;
        index[x] = inside ? fetched : leavePixel;
    }
}

void warpFetchRowScalar(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd) {
    const std::int32_t firstWithoutOdd = (shape.height - 1) * shape.stride;
    const auto pitch = static_cast<std::ptrdiff_t>(shape.stride) * 4;
    for (int x = 0; x < count; ++x) {
        const std::int32_t i = index[x];
        const auto to = static_cast<std::ptrdiff_t>(x) * 4;
        if (i >= 0) {
            const unsigned char* at = frame + static_cast<std::ptrdiff_t>(i) * 4;
            storePixel(even + to, wholePositionAlpha(loadPixel(at)));
            storePixel(odd + to, i < firstWithoutOdd ? wholePositionAlpha(loadPixel(at + pitch)) : 0);
        } else if (i == zeroPixel) {
            storePixel(even + to, 0);
            storePixel(odd + to, 0);
        }
    }
}

}  // namespace tumblewash
