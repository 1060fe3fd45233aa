#include "ImageLib/kernels/PixelWord.h"
#include "ImageLib/kernels/WarpRow.h"
#include "ImageLib/kernels/WarpWhole.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first, int end,
                  std::int32_t* index, InstructionSet) {
    warpIndexRowScalar(shape, red, green, y, first, end, index);
}

int estimateIndexRow(const WarpShape& shape, const WarpEstimate& red, const WarpEstimate& green, float nearY,
                     float farY, int y, int first, int end, std::int32_t* index, int* undecided,
                     InstructionSet) {
    return estimateIndexRowScalar(shape, red, green, nearY, farY, y, first, end, index, undecided);
}

void warpFetchRowSingly(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd, InstructionSet) {
    warpFetchRowScalar(shape, frame, index, count, even, odd);
}

void warpFetchRowGathering(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                           int count, unsigned char* even, unsigned char* odd, InstructionSet) {
    warpFetchRowScalar(shape, frame, index, count, even, odd);
}

void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index, int count,
                  unsigned char* even, unsigned char* odd, InstructionSet) {
    warpFetchRowScalar(shape, frame, index, count, even, odd);
}

}  // namespace tumblewash::kernels

#else

#include <bit>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/WarpRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"
#include "ImageLib/kernels/GatherChoice.h"

#ifndef TUMBLEWASH_WARP_ROW_ONCE
#define TUMBLEWASH_WARP_ROW_ONCE
namespace tumblewash::kernels {

/// Columns are exact in float, and indices of pixels fit 32 bits.
inline bool smallEnough(const WarpShape& shape) {
    return shape.stride < (1 << 24) &&
           static_cast<std::int64_t>(shape.stride) * shape.height < (std::int64_t{1} << 29);
}

}  // namespace tumblewash::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using Floats = hn::Vec<hn::ScalableTag<float> >;
using Indices = hn::Vec<hn::ScalableTag<std::int32_t> >;

/// How a row's coordinates are found: estimated, exact with one displacement, or exactly the columns.
enum class Way { estimated, moved, still };

/// The whole numbers below one coordinate of the fetch points of a row, and where they are certain.
template <Way way>
class Wholes {
  public:
    HWY_INLINE Wholes(const WarpEstimate& channel, float nearY, float farY)
        : upper_(channel.upper),
          lower_(channel.lower),
          near_(hn::Set(d_, nearY)),
          far_(hn::Set(d_, farY)),
          fixed_(hn::Set(d_, channel.fixed)),
          limit_(hn::Set(d_, 0.5F - channel.bound)),
          round_(hn::Set(d_, kRoundToWhole)) {}

    /// The numbers of columns x ...; `own` is the columns or the row.
    HWY_INLINE Indices below(int x, Indices own, Floats& fromMiddle) const {
        if constexpr (way == Way::still) return own;
        const auto ownFloat = hn::ConvertTo(d_, own);
        if constexpr (way == Way::moved) {
            const auto point = hn::Add(fixed_, ownFloat);
            const auto small = hn::And(hn::Ge(point, hn::Zero(d_)),
                                       hn::Lt(point, hn::Set(d_, static_cast<float>(kFarthestEstimate))));
            return hn::IfThenElse(hn::RebindMask(i_, small),
                                  hn::ConvertTo(i_, hn::IfThenElseZero(small, point)), hn::Set(i_, -1));
        }
        const auto moved =
            hn::Add(hn::Mul(near_, hn::LoadU(d_, upper_ + x)), hn::Mul(far_, hn::LoadU(d_, lower_ + x)));
        const auto centred = hn::Add(moved, hn::Sub(ownFloat, hn::Set(d_, 0.5F)));
        const auto shifted = hn::Add(centred, round_);
        fromMiddle = hn::Abs(hn::Sub(centred, hn::Sub(shifted, round_)));
        return hn::Sub(hn::BitCast(i_, shifted), hn::BitCast(i_, round_));
    }
    HWY_INLINE auto decided(Floats fromMiddle) const { return hn::Lt(fromMiddle, limit_); }

  private:
    hn::ScalableTag<float> d_;
    hn::ScalableTag<std::int32_t> i_;
    const float* upper_;
    const float* lower_;
    Floats near_, far_, fixed_, limit_, round_;
};

/// Estimates whole vectors of columns; returns the first column that is left to do.
template <Way redWay, Way greenWay>
HWY_INLINE int estimateVectors(const WarpShape& shape, const Wholes<redWay>& red,
                               const Wholes<greenWay>& green, int y, int first, int end, std::int32_t* index,
                               int* undecided, int& undecidedCount) {
    constexpr bool redEstimated = redWay == Way::estimated, greenEstimated = greenWay == Way::estimated;
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::RebindToUnsigned<decltype(d)> du;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const auto width = hn::Set(du, static_cast<std::uint32_t>(shape.width));
    const auto rows = hn::Set(du, static_cast<std::uint32_t>(shape.fieldRows));
    const auto linePair = hn::Set(di, 2 * shape.stride);
    const auto leave = hn::Set(di, kLeavePixel);
    const auto row = hn::Set(di, y);
    Floats fromMiddleX = hn::Zero(d), fromMiddleY = hn::Zero(d);
    auto iy = green.below(first, row, fromMiddleY);
    auto rowStart = hn::Mul(iy, linePair);
    auto columns = hn::Iota(di, first);
    const auto step = hn::Set(di, lanes);
    int x = first;
    for (; x + lanes <= end; x += lanes, columns = hn::Add(columns, step)) {
        const auto ix = red.below(x, columns, fromMiddleX);
        if constexpr (greenEstimated) {
            iy = green.below(x, row, fromMiddleY);
            rowStart = hn::Mul(iy, linePair);
        }
        const auto inside = hn::And(hn::Lt(hn::BitCast(du, ix), width), hn::Lt(hn::BitCast(du, iy), rows));
        hn::StoreU(hn::IfThenElse(hn::RebindMask(di, inside), hn::Add(rowStart, ix), leave), di, index + x);
        if constexpr (!redEstimated && !greenEstimated) continue;
        auto decided = redEstimated ? red.decided(fromMiddleX) : green.decided(fromMiddleY);
        if constexpr (redEstimated && greenEstimated) decided = hn::And(decided, green.decided(fromMiddleY));
        if (hn::AllTrue(d, decided)) continue;
        std::uint64_t bits = 0;
        hn::StoreMaskBits(d, hn::Not(decided), reinterpret_cast<std::uint8_t*>(&bits));
        if constexpr (std::endian::native == std::endian::big) bits = __builtin_bswap64(bits);
        for (; bits != 0; bits &= bits - 1) undecided[undecidedCount++] = x + std::countr_zero(bits);
    }
    return x;
}

#endif

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
            hn::IfThenElse(hn::Lt(ix, stride), hn::Add(hn::Mul(iy, linePair), ix), hn::Set(di, kZeroPixel));
        hn::StoreU(hn::IfThenElse(hn::RebindMask(di, inside), at, hn::Set(di, kLeavePixel)), di, index + x);
    }
#endif
    warpIndexRowScalar(shape, red, green, y, x, end, index);
}

HWY_ATTR int estimateIndexRow(const WarpShape& shape, const WarpEstimate& red, const WarpEstimate& green,
                              float nearY, float farY, int y, int first, int end, std::int32_t* index,
                              int* undecided) {
    int x = first;
    int count = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Wholes<Way::estimated> reds(red, nearY, farY), greens(green, nearY, farY);
    const Wholes<Way::moved> oneRed(red, nearY, farY), oneGreen(green, nearY, farY);
    const Wholes<Way::still> noRed(red, nearY, farY);
    if (red.upper != nullptr && green.upper != nullptr) {
        x = estimateVectors(shape, reds, greens, y, first, end, index, undecided, count);
    } else if (red.upper != nullptr) {
        x = estimateVectors(shape, reds, oneGreen, y, first, end, index, undecided, count);
    } else if (green.upper != nullptr && red.fixed == 0.0F) {
        x = estimateVectors(shape, noRed, greens, y, first, end, index, undecided, count);
    } else if (green.upper != nullptr) {
        x = estimateVectors(shape, oneRed, greens, y, first, end, index, undecided, count);
    } else {
        x = estimateVectors(shape, oneRed, oneGreen, y, first, end, index, undecided, count);
    }
#endif
    return count +
           estimateIndexRowScalar(shape, red, green, nearY, farY, y, x, end, index, undecided + count);
}

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

/// The pixels that are fetched together: a vector where its length is known when compiling.
#if HWY_HAVE_SCALABLE
using Block = hn::FixedTag<std::uint32_t, 4>;
#else
using Block = hn::ScalableTag<std::uint32_t>;
#endif

/// What a row of fetches needs to know about its frame.
struct Fetch {
    const unsigned char* even;  ///< the frame's first pixel
    const unsigned char* odd;   ///< the pixel below it
    std::int32_t pastOdd;       ///< the first index without a pixel below
};

HWY_INLINE Fetch fetchOf(const WarpShape& shape, const unsigned char* frame) {
    return {frame, frame + std::ptrdiff_t{shape.stride} * 4, (shape.height - 1) * shape.stride};
}

template <class D, class V = hn::Vec<D> >
HWY_INLINE V mapAlpha(D d, V pixels) {
    const auto alpha = hn::Set(d, 255U);
    const auto mapped = hn::And(alpha, hn::Add(hn::ShiftLeft<2>(pixels), alpha));
    return hn::Or(hn::AndNot(alpha, pixels), mapped);
}

#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86

/// A block whose indices lie within 32 neighbours is picked from two vectors of each field; false otherwise.
HWY_INLINE bool fetchNeighbours(const Fetch& from, const std::int32_t* index, unsigned char* even,
                                unsigned char* odd) {
    const hn::ScalableTag<std::int32_t> di;
    const hn::RebindToUnsigned<decltype(di)> d;
    const std::int32_t lowest = index[0] < index[15] ? index[0] : index[15];
    const auto picks = hn::BitCast(d, hn::Sub(hn::LoadU(di, index), hn::Set(di, lowest)));
    // Lanes that are left alone are no neighbours of any pixel.
    if (lowest < 0 || lowest + 32 > from.pastOdd || !hn::AllTrue(d, hn::Lt(picks, hn::Set(d, 32U))))
        return false;
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

/// Fetches a block of any indices, the zero pixel and those that are left alone among them.
HWY_INLINE void gatherBlock(const Fetch& from, const std::int32_t* index, unsigned char* even,
                            unsigned char* odd) {
    const hn::ScalableTag<std::int32_t> di;
    const hn::RebindToUnsigned<decltype(di)> d;
    const auto at = hn::LoadU(di, index);
    const __mmask16 written = _mm512_cmpneq_epi32_mask(at.raw, _mm512_set1_epi32(kLeavePixel));
    const __mmask16 read = _mm512_cmpge_epi32_mask(at.raw, _mm512_setzero_si512());
    const auto gather = [&](const unsigned char* field, __mmask16 lanes, unsigned char* to) HWY_ATTR {
        const hn::Vec<decltype(d)> pixels{
            _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), lanes, at.raw, field, 4)};
        _mm512_mask_storeu_epi32(to, written, _mm512_maskz_mov_epi32(lanes, mapAlpha(d, pixels).raw));
    };
    gather(from.even, read, even);
    gather(from.odd, read & _mm512_cmplt_epi32_mask(at.raw, _mm512_set1_epi32(from.pastOdd)), odd);
}

#else

HWY_INLINE bool fetchNeighbours(const Fetch&, const std::int32_t*, unsigned char*, unsigned char*) {
    return false;
}

#endif

/// Pixels of both fields.
template <class D>
struct Fetched {
    hn::Vec<D> even, odd;
};

/// The pixels at the first lanes(d) indices, none of which is negative: loaded one by one and joined two by
/// two. Nothing waits for a store, as pixels put together in memory would.
template <class D>
HWY_INLINE Fetched<D> fetchLanes(D d, const unsigned char* even, const unsigned char* odd,
                                 const std::int32_t* index) {
    if constexpr (hn::MaxLanes(d) == 1) {
        const auto at = std::ptrdiff_t{*index} * 4;
        return {hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(even + at)),
                hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(odd + at))};
    } else {
        const hn::Half<D> half;
        const auto low = fetchLanes(half, even, odd, index);
        const auto high = fetchLanes(half, even, odd, index + hn::MaxLanes(half));
        return {hn::Combine(d, high.even, low.even), hn::Combine(d, high.odd, low.odd)};
    }
}

/// Fetches a block of any indices by loads, the zero pixel and those that are left alone among them.
template <class D>
HWY_INLINE void loadBlock(D d, const Fetch& from, const std::int32_t* index, unsigned char* even,
                          unsigned char* odd) {
    const hn::RebindToSigned<D> di;
    const auto to = [](unsigned char* row) HWY_ATTR { return reinterpret_cast<std::uint32_t*>(row); };
    const auto at = hn::LoadU(di, index);
    const auto read = hn::Gt(at, hn::Set(di, kLeavePixel));
    const auto readOdd = hn::And(read, hn::Lt(at, hn::Set(di, from.pastOdd)));
    if (HWY_LIKELY(hn::AllTrue(di, readOdd))) {
        const auto pixels = fetchLanes(d, from.even, from.odd, index);
        hn::StoreU(mapAlpha(d, pixels.even), d, to(even));
        hn::StoreU(mapAlpha(d, pixels.odd), d, to(odd));
        return;
    }
    const auto written = hn::Ne(at, hn::Set(di, kLeavePixel));
    if (hn::AllFalse(di, written)) return;
    const auto fetch = [&](const unsigned char* field, auto lanes, unsigned char* row) HWY_ATTR {
        // The first pixel stands in for those that are not read.
        HWY_ALIGN std::int32_t readable[hn::MaxLanes(di)];
        hn::Store(hn::IfThenElseZero(lanes, at), di, readable);
        const auto pixels = mapAlpha(d, fetchLanes(d, field, field, readable).even);
        hn::BlendedStore(hn::IfThenElseZero(hn::RebindMask(d, lanes), pixels), hn::RebindMask(d, written), d,
                         to(row));
    };
    fetch(from.even, read, even);
    fetch(from.odd, readOdd, odd);
}

#endif

HWY_ATTR void warpFetchRowSingly(const WarpShape& shape, const unsigned char* frame,
                                 const std::int32_t* index, int count, unsigned char* even,
                                 unsigned char* odd) {
    int x = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Block d;
    const Fetch from = fetchOf(shape, frame);
    constexpr int lanes = static_cast<int>(hn::MaxLanes(Block()));
    for (; x + lanes <= count; x += lanes) {
        const auto to = std::ptrdiff_t{x} * 4;
        if (!fetchNeighbours(from, index + x, even + to, odd + to))
            loadBlock(d, from, index + x, even + to, odd + to);
    }
#endif
    const auto done = std::ptrdiff_t{x} * 4;
    warpFetchRowScalar(shape, frame, index + x, count - x, even + done, odd + done);
}

HWY_ATTR void warpFetchRowGathering(const WarpShape& shape, const unsigned char* frame,
                                    const std::int32_t* index, int count, unsigned char* even,
                                    unsigned char* odd) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    const Fetch from = fetchOf(shape, frame);
    int x = 0;
    for (; x + 16 <= count; x += 16) {
        const auto to = std::ptrdiff_t{x} * 4;
        if (!fetchNeighbours(from, index + x, even + to, odd + to)) {
            gatherBlock(from, index + x, even + to, odd + to);
        }
    }
    const auto done = std::ptrdiff_t{x} * 4;
    warpFetchRowScalar(shape, frame, index + x, count - x, even + done, odd + done);
#else
    HWY_NAMESPACE::warpFetchRowSingly(shape, frame, index, count, even, odd);
#endif
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(warpIndexRow);
HWY_EXPORT(estimateIndexRow);
HWY_EXPORT(warpFetchRowGathering);
HWY_EXPORT(warpFetchRowSingly);

void warpIndexRow(const WarpShape& shape, const float* red, const float* green, int y, int first, int end,
                  std::int32_t* index, InstructionSet set) {
    TUMBLEWASH_VERSION(warpIndexRow, set)(shape, red, green, y, first, end, index);
}

int estimateIndexRow(const WarpShape& shape, const WarpEstimate& red, const WarpEstimate& green, float nearY,
                     float farY, int y, int first, int end, std::int32_t* index, int* undecided,
                     InstructionSet set) {
    return TUMBLEWASH_VERSION(estimateIndexRow, set)(shape, red, green, nearY, farY, y, first, end, index,
                                                     undecided);
}

void warpFetchRowSingly(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                        int count, unsigned char* even, unsigned char* odd, InstructionSet set) {
    TUMBLEWASH_VERSION(warpFetchRowSingly, set)(shape, frame, index, count, even, odd);
}

void warpFetchRowGathering(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index,
                           int count, unsigned char* even, unsigned char* odd, InstructionSet set) {
    TUMBLEWASH_VERSION(warpFetchRowGathering, set)(shape, frame, index, count, even, odd);
}

void warpFetchRow(const WarpShape& shape, const unsigned char* frame, const std::int32_t* index, int count,
                  unsigned char* even, unsigned char* odd, InstructionSet set) {
    if (!gathersPay()) return warpFetchRowSingly(shape, frame, index, count, even, odd, set);
    warpFetchRowGathering(shape, frame, index, count, even, odd, set);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
