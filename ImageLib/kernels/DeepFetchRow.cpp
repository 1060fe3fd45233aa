#include "ImageLib/kernels/DeepFetchRow.h"

namespace tumblewash::kernels {

namespace {

/// Pixels that are fetched at once where they lie side by side.
constexpr int kBlock = 8;

/// True when the block's indices are neighbours in ascending order, all with a pixel below.
inline bool sideBySide(const std::int32_t* index, std::int32_t firstWithoutOdd) {
    std::int32_t broken = index[0] < 0 ? 1 : 0;
    for (int i = 1; i < kBlock; ++i) broken |= index[i] - index[0] - i;
    return broken == 0 && index[kBlock - 1] < firstWithoutOdd;
}

inline void fetchOne(const WarpShape& shape, const DeepSource& source, std::int32_t index,
                     std::int32_t firstWithoutOdd, const DeepPixel& nothing, unsigned char* even,
                     unsigned char* odd) {
    if (index >= 0) {
        const std::ptrdiff_t gap = source.pitch - shape.stride * kDeepPixelBytes;
        const std::ptrdiff_t skipped = gap == 0 ? 0 : index / shape.stride * gap;
        const unsigned char* at = source.first + index * kDeepPixelBytes + skipped;
        storeDeep(even, loadDeep(at));
        storeDeep(odd, index < firstWithoutOdd ? loadDeep(at + source.pitch) : nothing);
    } else if (index == kZeroPixel) {
        storeDeep(even, nothing);
        storeDeep(odd, nothing);
    }
}

}  // namespace

// Moving eight bytes is what the machine does best one by one; what pays is to see that pixels stay together.
void deepFetchRow(const WarpShape& shape, const DeepSource& source, const std::int32_t* index, int count,
                  const DeepPixel& nothing, unsigned char* even, unsigned char* odd) {
    const std::int32_t firstWithoutOdd = (shape.height - 1) * shape.stride;
    const bool compact = source.pitch == shape.stride * kDeepPixelBytes;
    int x = 0;
    while (x < count) {
        const std::ptrdiff_t to = x * kDeepPixelBytes;
        if (compact && x + kBlock <= count && sideBySide(index + x, firstWithoutOdd)) {
            const unsigned char* at = source.first + index[x] * kDeepPixelBytes;
            std::memcpy(even + to, at, kBlock * kDeepPixelBytes);
            std::memcpy(odd + to, at + source.pitch, kBlock * kDeepPixelBytes);
            x += kBlock;
            continue;
        }
        const int end = x + kBlock < count ? x + kBlock : count;
        for (; x < end; ++x) {
            const std::ptrdiff_t out = x * kDeepPixelBytes;
            fetchOne(shape, source, index[x], firstWithoutOdd, nothing, even + out, odd + out);
        }
    }
}

}  // namespace tumblewash::kernels
