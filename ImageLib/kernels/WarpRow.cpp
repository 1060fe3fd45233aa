#include "ImageLib/kernels/WarpRow.h"

#include "ImageLib/kernels/PixelWord.h"

namespace tumblewash {

void warpIndexRowScalar(const WarpShape& shape, const float* red, const float* green, int y, int count,
                        std::int32_t* index) {
    const float across = static_cast<float>(shape.stride);
    const float down = static_cast<float>(shape.fieldRows);
    const float limitX = static_cast<float>(shape.width);
    const float strength = shape.strength;
    const float row = static_cast<float>(y);
    for (int x = 0; x < count; ++x) {
        const float sx = strength * (across * red[x]) + static_cast<float>(x);
        const float sy = strength * (down * green[x]) + row;
        // Written so that a NaN fails: such a fetch point leaves the pixel alone.
        if (!(sx >= 0.0F && sy >= 0.0F && sx < limitX && sy < down)) {
            index[x] = leavePixel;
            continue;
        }
        const auto ix = static_cast<std::int32_t>(sx);
        index[x] = ix < shape.stride ? static_cast<std::int32_t>(sy) * 2 * shape.stride + ix : zeroPixel;
    }
}

void warpFetchRowScalar(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd) {
    const std::int32_t firstWithoutOdd = (shape.height - 1) * shape.stride;
    const auto pitch = static_cast<std::ptrdiff_t>(shape.stride) * 4;
    for (int x = 0; x < count; ++x) {
        const std::int32_t i = index[x];
        if (i == leavePixel) {
            continue;
        }
        std::uint32_t evenWord = 0;
        std::uint32_t oddWord = 0;
        if (i != zeroPixel) {
            const unsigned char* at = frame + static_cast<std::ptrdiff_t>(i) * 4;
            evenWord = wholePositionAlpha(loadPixel(at));
            oddWord = i < firstWithoutOdd ? wholePositionAlpha(loadPixel(at + pitch)) : 0;
        }
        storePixel(even + static_cast<std::ptrdiff_t>(x) * 4, evenWord);
        storePixel(odd + static_cast<std::ptrdiff_t>(x) * 4, oddWord);
    }
}

}  // namespace tumblewash
