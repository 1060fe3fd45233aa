#include "ImageLib/kernels/PixelWord.h"
#include "ImageLib/kernels/WarpRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash {

void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first, int end,
                  std::int32_t* index) {
    warpIndexRowScalar(shape, red, green, y, first, end, index);
}

void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index, int count,
                  unsigned char* even, unsigned char* odd) {
    warpFetchRowScalar(shape, frame, index, count, even, odd);
}

}  // namespace tumblewash

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/WarpRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef TUMBLEWASH_WARP_ROW_ONCE
#define TUMBLEWASH_WARP_ROW_ONCE
namespace tumblewash {

/// Columns are exact in float, and indices of pixels fit 32 bits.
inline bool smallEnough(const WarpShape& shape) {
    return shape.stride < (1 << 24) &&
           static_cast<std::int64_t>(shape.stride) * shape.height < (std::int64_t{1} << 29);
}

}  // namespace tumblewash
#endif

HWY_BEFORE_NAMESPACE();
namespace tumblewash::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

HWY_ATTR void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first,
                           int end, std::int32_t* index) {
    int x = first;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const auto across = hn::Set(d, static_cast<float>(shape.stride));
    const auto down = hn::Set(d, static_cast<float>(shape.fieldRows));
    const auto limitX = hn::Set(d, static_cast<float>(shape.width));
    const auto strength = hn::Set(d, shape.strength);
    const auto row = hn::Set(d, static_cast<float>(y));
    const auto zero = hn::Zero(d);
    const auto steps = hn::Iota(d, 0.0F);
    const auto linePair = hn::Set(di, 2 * shape.stride);
    const auto stride = hn::Set(di, shape.stride);
    const int whole = smallEnough(shape) ? end : first;
    for (; x + lanes <= whole; x += lanes) {
        const auto column = hn::Add(steps, hn::Set(d, static_cast<float>(x)));
        const auto sx = red == nullptr
                            ? column
                            : hn::Add(hn::Mul(strength, hn::Mul(across, hn::LoadU(d, red + x))), column);
        const auto sy =
            green == nullptr ? row : hn::Add(hn::Mul(strength, hn::Mul(down, hn::LoadU(d, green + x))), row);
        const auto inside = hn::And(hn::And(hn::Ge(sx, zero), hn::Ge(sy, zero)),
                                    hn::And(hn::Lt(sx, limitX), hn::Lt(sy, down)));
        const auto ix = hn::ConvertTo(di, hn::IfThenElseZero(inside, sx));
        const auto iy = hn::ConvertTo(di, hn::IfThenElseZero(inside, sy));
        const auto at =
            hn::IfThenElse(hn::Lt(ix, stride), hn::Add(hn::Mul(iy, linePair), ix), hn::Set(di, zeroPixel));
        hn::StoreU(hn::IfThenElse(hn::RebindMask(di, inside), at, hn::Set(di, leavePixel)), di, index + x);
    }
#endif
    warpIndexRowScalar(shape, red, green, y, x, end, index);
}

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

/// What a row of fetches needs to know about its frame.
struct Fetch {
    const unsigned char* even;  ///< the frame's first pixel
    const unsigned char* odd;   ///< the pixel below it
    std::int32_t pastOdd;       ///< the first index without a pixel below
};

template <class D, class V = hn::Vec<D> >
HWY_INLINE V mapAlpha(D d, V pixels) {
    const auto alpha = hn::Set(d, 255U);
    const auto mapped = hn::And(alpha, hn::Add(hn::ShiftLeft<2>(pixels), alpha));
    return hn::Or(hn::AndNot(alpha, pixels), mapped);
}

#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86

constexpr bool permutes = true;

/// A block whose indices lie within 32 neighbours is picked from two vectors of each field; false otherwise.
HWY_INLINE bool fetchNeighbours(const Fetch& from, const std::int32_t* index, unsigned char* even,
                                unsigned char* odd) {
    const hn::ScalableTag<std::int32_t> di;
    const hn::RebindToUnsigned<decltype(di)> d;
    const std::int32_t lowest = index[0] < index[15] ? index[0] : index[15];
    const auto picks = hn::BitCast(d, hn::Sub(hn::LoadU(di, index), hn::Set(di, lowest)));
    if (lowest + 32 > from.pastOdd || !hn::AllTrue(d, hn::Lt(picks, hn::Set(d, 32U)))) return false;
    const auto pick = [&](const unsigned char* field) HWY_ATTR {
        const auto* first = reinterpret_cast<const std::uint32_t*>(field + std::ptrdiff_t{lowest} * 4);
        const auto low = hn::LoadU(d, first);
        const auto high = hn::LoadU(d, first + 16);
        return mapAlpha(d, hn::Vec<decltype(d)>{_mm512_permutex2var_epi32(low.raw, picks.raw, high.raw)});
    };
    hn::StoreU(pick(from.even), d, reinterpret_cast<std::uint32_t*>(even));
    hn::StoreU(pick(from.odd), d, reinterpret_cast<std::uint32_t*>(odd));
    return true;
}

#else

constexpr bool permutes = false;

HWY_INLINE bool fetchNeighbours(const Fetch&, const std::int32_t*, unsigned char*, unsigned char*) {
    return false;
}

#endif

/// Fetches `count` (even) pixels of both fields as they are, two to a store.
HWY_INLINE void fetchSingly(const Fetch& from, const std::int32_t* index, int count, unsigned char* even,
                            unsigned char* odd) {
    for (int i = 0; i < count; i += 2) {
        const auto first = std::ptrdiff_t{index[i]} * 4;
        const auto second = std::ptrdiff_t{index[i + 1]} * 4;
        const auto to = std::ptrdiff_t{i} * 4;
        const std::uint64_t upper =
            loadPixel(from.even + first) | std::uint64_t{loadPixel(from.even + second)} << 32;
        const std::uint64_t lower = loadPixel(from.odd + first) | std::uint64_t{loadPixel(from.odd + second)}
                                                                      << 32;
        std::memcpy(even + to, &upper, sizeof upper);
        std::memcpy(odd + to, &lower, sizeof lower);
    }
}

/// Maps the alpha of the blocks of a row that begin at the given columns.
HWY_INLINE void mapBlocks(const int* blocks, int count, unsigned char* row) {
    const hn::ScalableTag<std::uint32_t> d;
    for (int b = 0; b < count; ++b) {
        auto* words = reinterpret_cast<std::uint32_t*>(row + std::ptrdiff_t{blocks[b]} * 4);
        hn::StoreU(mapAlpha(d, hn::LoadU(d, words)), d, words);
    }
}

#endif

// Vector gathers cost more than plain loads here. Blocks that cannot be picked from neighbours are fetched
// pixel by pixel, and their alpha is mapped by vectors later, when the stores have reached the cache. Blocks
// in which some column is left alone or lacks its odd row are few and go the scalar road.
HWY_ATTR void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                           int count, unsigned char* even, unsigned char* odd) {
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    warpFetchRowScalar(shape, frame, index, count, even, odd);
#else
    const hn::ScalableTag<std::int32_t> di;
    const int lanes = static_cast<int>(hn::Lanes(di));
    const auto leave = hn::Set(di, leavePixel);
    const Fetch from = {frame, frame + std::ptrdiff_t{shape.stride} * 4, (shape.height - 1) * shape.stride};
    const auto pastOdd = hn::Set(di, from.pastOdd);
    int waiting[64];
    int waitingCount = 0;
    int x = 0;
    for (; x + lanes <= count; x += lanes) {
        const auto to = std::ptrdiff_t{x} * 4;
        const auto i = hn::LoadU(di, index + x);
        if (!hn::AllTrue(di, hn::And(hn::Gt(i, leave), hn::Lt(i, pastOdd)))) {
            if (!hn::AllTrue(di, hn::Eq(i, leave))) {
                warpFetchRowScalar(shape, frame, index + x, lanes, even + to, odd + to);
            }
            continue;
        }
        if (permutes && fetchNeighbours(from, index + x, even + to, odd + to)) continue;
        fetchSingly(from, index + x, lanes, even + to, odd + to);
        waiting[waitingCount++] = x;
        if (waitingCount == 64) {
            mapBlocks(waiting, waitingCount, even);
            mapBlocks(waiting, waitingCount, odd);
            waitingCount = 0;
        }
    }
    mapBlocks(waiting, waitingCount, even);
    mapBlocks(waiting, waitingCount, odd);
    const auto done = std::ptrdiff_t{x} * 4;
    warpFetchRowScalar(shape, frame, index + x, count - x, even + done, odd + done);
#endif
}

}  // namespace tumblewash::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash {

HWY_EXPORT(warpIndexRow);
HWY_EXPORT(warpFetchRow);

void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first, int end,
                  std::int32_t* index) {
    HWY_DYNAMIC_DISPATCH(warpIndexRow)(shape, red, green, y, first, end, index);
}

void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index, int count,
                  unsigned char* even, unsigned char* odd) {
    HWY_DYNAMIC_DISPATCH(warpFetchRow)(shape, frame, index, count, even, odd);
}

}  // namespace tumblewash
#endif  // HWY_ONCE

#endif
