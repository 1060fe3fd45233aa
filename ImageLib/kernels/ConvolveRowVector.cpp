#include <cstddef>

#include "ImageLib/kernels/ConvolveRow.h"
#include "ImageLib/kernels/PixelWord.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void convolveRow(const ConvolveWeights& weights, const unsigned char* const (&rows)[5], int pixels, int other,
                 unsigned char* out, InstructionSet) {
    convolveRowScalar(weights, rows, pixels, other, out);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/ConvolveRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

#ifndef TUMBLEWASH_CONVOLVE_ROW_ONCE
#define TUMBLEWASH_CONVOLVE_ROW_ONCE
namespace tumblewash::kernels {

/// A tap over a certain row; 16-bit numbers stand twice in a word, which is the cheaper broadcast.
struct RowTap {
    const unsigned char* from;
    std::uint32_t fraction;
    std::uint32_t whole;
    std::uint32_t sign;  ///< all ones where the product is negated
};

/// The taps of a row. The first `plain` weights lie in 0..1: their products are bytes as they come.
struct RowTaps {
    RowTap taps[25];
    int plain = 0;
    int count = 0;

    RowTaps(const ConvolveWeights& weights, const unsigned char* const (&rows)[5]) {
        for (const bool wanted : {true, false}) {
            for (int t = 0; t < weights.count; ++t) {
                const ConvolveTap& tap = weights.taps[t];
                if ((tap.whole == 0 && !tap.negative) != wanted) continue;
                taps[count++] = {rows[tap.row] + 4 * tap.column, tap.fraction * 0x10001U,
                                 tap.whole * 0x10001U, tap.negative ? 0xFFFFFFFFU : 0U};
            }
            if (wanted) plain = count;
        }
    }
};

}  // namespace tumblewash::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using Sums = hn::ScalableTag<std::uint16_t>;
using Words = hn::Repartition<std::uint32_t, Sums>;
using Bytes = hn::Rebind<std::uint8_t, Sums>;

HWY_INLINE hn::Vec<Sums> broadcast(std::uint32_t twice) {
    return hn::BitCast(Sums(), hn::Set(Words(), twice));
}

HWY_INLINE hn::Vec<Sums> bytesAt(const unsigned char* p) {
    return hn::PromoteTo(Sums(), hn::LoadU(Bytes(), p));
}

using Floats = hn::RebindToFloat<Words>;

/// The factor of the sums, and the byte of each pixel that is no colour set to 255.
struct Settling {
    hn::Vec<Floats> normal;
    std::uint32_t other;
};

/// Times the factor, held to a byte, truncated.
template <class V>
HWY_INLINE void settle(V sums, const Settling& how, unsigned char* out) {
    const Floats df;
    const hn::RebindToSigned<Floats> di;
    const hn::Rebind<std::uint8_t, Floats> narrow;
    const auto value = hn::Mul(hn::ConvertTo(df, hn::PromoteTo(di, sums)), how.normal);
    const auto held = hn::Min(hn::Max(value, hn::Zero(df)), hn::Set(df, 255.0F));
    const auto bytes = hn::DemoteTo(narrow, hn::ConvertTo(di, held));
    const auto other = hn::Set(hn::Repartition<std::uint32_t, decltype(narrow)>(), how.other);
    hn::StoreU(hn::Or(bytes, hn::BitCast(narrow, other)), narrow, out);
}

/// Filters `vectors` times as many bytes as a vector has sums.
template <int vectors>
HWY_INLINE void filterBlock(const RowTaps& row, std::ptrdiff_t at, const Settling& how, unsigned char* out) {
    const Sums d;
    const std::ptrdiff_t lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
    hn::Vec<Sums> sums[vectors];
    for (int v = 0; v < vectors; ++v) sums[v] = hn::Zero(d);
    for (int t = 0; t < row.plain; ++t) {
        const auto fraction = broadcast(row.taps[t].fraction);
        const unsigned char* from = row.taps[t].from + at;
        for (int v = 0; v < vectors; ++v)
            sums[v] = hn::Add(sums[v], hn::MulHigh(bytesAt(from + v * lanes), fraction));
    }
    for (int t = row.plain; t < row.count; ++t) {
        const RowTap& tap = row.taps[t];
        const auto fraction = broadcast(tap.fraction), whole = broadcast(tap.whole),
                   sign = broadcast(tap.sign);
        for (int v = 0; v < vectors; ++v) {
            const auto c = bytesAt(tap.from + at + v * lanes);
            const auto product = hn::Add(hn::Mul(c, whole), hn::MulHigh(c, fraction));
            const auto low = hn::And(hn::Sub(hn::Xor(product, sign), sign), hn::Set(d, std::uint16_t{255}));
            sums[v] = hn::Add(sums[v], low);
        }
    }
    for (int v = 0; v < vectors; ++v) {
        unsigned char* to = out + at + v * lanes;
        settle(hn::LowerHalf(sums[v]), how, to);
        settle(hn::UpperHalf(hn::Half<Sums>(), sums[v]), how, to + lanes / 2);
    }
}

#endif

HWY_ATTR void convolveRow(const ConvolveWeights& weights, const unsigned char* const (&rows)[5], int pixels,
                          int other, unsigned char* out) {
    int done = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    if (weights.multiplies) {
        const RowTaps row(weights, rows);
        unsigned char mark[4] = {0, 0, 0, 0};
        mark[other] = 255;
        const Settling how = {hn::Set(Floats(), weights.normal), loadPixel(mark)};
        const int lanes = static_cast<int>(hn::Lanes(Sums())) / 4;  // pixels in a vector
        for (; done + 4 * lanes <= pixels; done += 4 * lanes)
            filterBlock<4>(row, std::ptrdiff_t{done} * 4, how, out);
        for (; done + lanes <= pixels; done += lanes) filterBlock<1>(row, std::ptrdiff_t{done} * 4, how, out);
    }
#endif
    const std::ptrdiff_t rest = std::ptrdiff_t{done} * 4;
    convolveRowScalar(weights,
                      {rows[0] + rest, rows[1] + rest, rows[2] + rest, rows[3] + rest, rows[4] + rest},
                      pixels - done, other, out + rest);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(convolveRow);

void convolveRow(const ConvolveWeights& weights, const unsigned char* const (&rows)[5], int pixels, int other,
                 unsigned char* out, InstructionSet set) {
    TUMBLEWASH_VERSION(convolveRow, set)(weights, rows, pixels, other, out);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
