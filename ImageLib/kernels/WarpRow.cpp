#include "ImageLib/kernels/WarpRow.h"

#include <bit>
#include <cmath>

#include "ImageLib/kernels/PixelWord.h"
#include "ImageLib/kernels/WarpWhole.h"

namespace tumblewash::kernels {

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
        const std::int32_t fetched = ix < shape.stride ? iy * linePair + ix : kZeroPixel;
        index[x] = inside ? fetched : kLeavePixel;
    }
}

namespace {

/// The whole number below one coordinate of a fetch point, and whether it is certain.
struct Whole {
    std::int32_t below;
    bool decided;
};

Whole wholeOf(const WarpEstimate& channel, float nearY, float farY, int x, int own) {
    if (channel.upper == nullptr) {
        const float point = channel.fixed + static_cast<float>(own);
        const bool small = point >= 0.0F && point < static_cast<float>(kFarthestEstimate);
        return {small ? static_cast<std::int32_t>(point) : -1, true};
    }
    const float moved = nearY * channel.upper[x] + farY * channel.lower[x];
    const float centred = moved + (static_cast<float>(own) - 0.5F);
    const float shifted = centred + kRoundToWhole;
    const float fromMiddle = std::fabs(centred - (shifted - kRoundToWhole));
    return {std::bit_cast<std::int32_t>(shifted) - std::bit_cast<std::int32_t>(kRoundToWhole),
            fromMiddle < 0.5F - channel.bound};
}

}  // namespace

int estimateIndexRowScalar(const WarpShape& shape, const WarpEstimate& red, const WarpEstimate& green,
                           float nearY, float farY, int y, int first, int end, std::int32_t* index,
                           int* undecided) {
    const std::int32_t linePair = 2 * shape.stride;
    int count = 0;
    for (int x = first; x < end; ++x) {
        const Whole across = wholeOf(red, nearY, farY, x, x);
        const Whole down = wholeOf(green, nearY, farY, x, y);
        const bool inside = across.below >= 0 && across.below < shape.width && down.below >= 0 &&
                            down.below < shape.fieldRows;
        index[x] = inside ? down.below * linePair + across.below : kLeavePixel;
        if (!across.decided || !down.decided) undecided[count++] = x;
    }
    return count;
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
        } else if (i == kZeroPixel) {
            storePixel(even + to, 0);
            storePixel(odd + to, 0);
        }
    }
}

}  // namespace tumblewash::kernels
