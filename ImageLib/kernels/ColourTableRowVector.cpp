#include <cstring>

#include "ImageLib/kernels/ColourTableRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void colourTableRow(const std::int16_t* table, std::uint16_t* red, std::uint16_t* green, std::uint16_t* blue,
                    std::size_t pixels) {
    colourTableRowScalar(table, red, green, blue, pixels);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/ColourTableRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Eight pixels at most are sorted into their tetrahedra side by side; then each takes its four nodes, a
// vector of four numbers each.
using Ints = hn::CappedTag<std::int32_t, 8>;
constexpr std::size_t kMost = 8;

/// Where the nodes of some pixels lie, in words of the table, and how much each counts.
struct Corners {
    alignas(64) std::int32_t at[4][kMost];
    // The first two corners' in the halves of a number, and the last two's.
    alignas(64) std::int32_t weights[2][kMost];
};

HWY_INLINE void sortPixels(const std::uint16_t* red, const std::uint16_t* green, const std::uint16_t* blue,
                           Corners& out) {
    const Ints d;
    const hn::Rebind<std::uint16_t, Ints> words;
    const auto r = hn::PromoteTo(d, hn::LoadU(words, red));
    const auto g = hn::PromoteTo(d, hn::LoadU(words, green));
    const auto b = hn::PromoteTo(d, hn::LoadU(words, blue));
    const auto part = hn::Set(d, 1023);
    const auto fr = hn::And(r, part), fg = hn::And(g, part), fb = hn::And(b, part);
    constexpr int side = kColourTableSide;
    const auto stepR = hn::Set(d, 4 * side * side), stepG = hn::Set(d, 4 * side), stepB = hn::Set(d, 4);
    const auto low =
        hn::Add(hn::Add(hn::Mul(hn::ShiftRight<10>(r), stepR), hn::Mul(hn::ShiftRight<10>(g), stepG)),
                hn::ShiftLeft<2>(hn::ShiftRight<10>(b)));
    const auto high = hn::Add(low, hn::Set(d, 4 * (side * side + side + 1)));
    const auto most = hn::Max(hn::Max(fr, fg), fb);
    const auto least = hn::Min(hn::Min(fr, fg), fb);
    const auto middle = hn::Sub(hn::Sub(hn::Add(hn::Add(fr, fg), fb), most), least);
    const auto up = hn::IfThenElse(hn::Eq(fr, most), stepR, hn::IfThenElse(hn::Eq(fg, most), stepG, stepB));
    const auto down =
        hn::IfThenElse(hn::Eq(fb, least), stepB, hn::IfThenElse(hn::Eq(fg, least), stepG, stepR));
    hn::Store(low, d, out.at[0]);
    hn::Store(hn::Add(low, up), d, out.at[1]);
    hn::Store(hn::Sub(high, down), d, out.at[2]);
    hn::Store(high, d, out.at[3]);
    const auto two = [](auto first, auto second)
                         HWY_ATTR { return hn::Or(first, hn::ShiftLeft<16>(second)); };
    hn::Store(two(hn::Sub(hn::Set(d, 1024), most), hn::Sub(most, middle)), d, out.weights[0]);
    hn::Store(two(hn::Sub(middle, least), least), d, out.weights[1]);
}

#if HWY_ARCH_X86

/// The sums of pixel `k` of `corners`, over 1024 and less 32768, two corners at a time: neighbouring products
/// are added by the instruction that makes them.
HWY_INLINE hn::Vec128<std::int32_t> mixNodes(const std::int16_t* table, const Corners& corners,
                                             std::size_t k) {
    const hn::FixedTag<std::int32_t, 4> d;
    const hn::FixedTag<std::int16_t, 8> words;
    const auto node = [&](std::size_t corner) HWY_ATTR {
        std::int64_t four = 0;
        std::memcpy(&four, table + corners.at[corner][k], sizeof four);
        return hn::BitCast(words, hn::Set(hn::FixedTag<std::int64_t, 2>(), four));
    };
    auto sum = hn::Set(d, 512), none = hn::Zero(d);
    for (std::size_t pair = 0; pair < 2; ++pair)
        sum = hn::ReorderWidenMulAccumulate(d, hn::InterleaveLower(words, node(2 * pair), node(2 * pair + 1)),
                                            hn::BitCast(words, hn::Set(d, corners.weights[pair][k])), sum,
                                            none);
    return hn::ShiftRight<10>(sum);
}

/// The four words of pixels `k` and `k + 1` to `out`.
HWY_INLINE void mixTwo(const std::int16_t* table, const Corners& corners, std::size_t k, std::uint16_t* out) {
    const hn::FixedTag<std::int16_t, 4> half;
    const hn::FixedTag<std::uint16_t, 8> words;
    const auto low = hn::DemoteTo(half, mixNodes(table, corners, k));
    const auto high = hn::DemoteTo(half, mixNodes(table, corners, k + 1));
    const auto both = hn::BitCast(words, hn::Combine(hn::FixedTag<std::int16_t, 8>(), high, low));
    hn::StoreU(hn::Xor(both, hn::Set(words, 0x8000)), words, out);
}

#else

/// The four words of pixels `k` and `k + 1` to `out`.
HWY_INLINE void mixTwo(const std::int16_t* table, const Corners& corners, std::size_t k, std::uint16_t* out) {
    const hn::FixedTag<std::int32_t, 4> d;
    const hn::FixedTag<std::int16_t, 4> node;
    const hn::FixedTag<std::uint16_t, 4> words;
    for (const std::size_t pixel : {k, k + 1}) {
        const auto part = [&](std::size_t corner) HWY_ATTR {
            const std::int32_t weight = corners.weights[corner / 2][pixel] >> (16 * (corner % 2)) & 0xFFFF;
            return hn::Mul(hn::PromoteTo(d, hn::LoadU(node, table + corners.at[corner][pixel])),
                           hn::Set(d, weight));
        };
        const auto sum = hn::Add(hn::Add(part(0), part(1)), hn::Add(part(2), part(3)));
        const auto mixed = hn::Add(hn::ShiftRight<10>(hn::Add(sum, hn::Set(d, 512))), hn::Set(d, 32768));
        hn::StoreU(hn::DemoteTo(words, mixed), words, out + 4 * (pixel - k));
    }
}

#endif

#endif

HWY_ATTR void colourTableRow(const std::int16_t* table, std::uint16_t* red, std::uint16_t* green,
                             std::uint16_t* blue, std::size_t pixels) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const hn::Rebind<std::uint16_t, Ints> words;
    const std::size_t lanes = hn::Lanes(Ints());
    Corners corners;
    alignas(64) std::uint16_t packed[4 * kMost];
    for (; i + lanes <= pixels; i += lanes) {
        sortPixels(red + i, green + i, blue + i, corners);
        for (std::size_t k = 0; k < lanes; k += 2) mixTwo(table, corners, k, packed + 4 * k);
        auto r = hn::Zero(words), g = r, b = r, rest = r;
        hn::LoadInterleaved4(words, packed, r, g, b, rest);
        hn::StoreU(r, words, red + i);
        hn::StoreU(g, words, green + i);
        hn::StoreU(b, words, blue + i);
    }
#endif
    colourTableRowScalar(table, red + i, green + i, blue + i, pixels - i);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(colourTableRow);

void colourTableRow(const std::int16_t* table, std::uint16_t* red, std::uint16_t* green, std::uint16_t* blue,
                    std::size_t pixels) {
    HWY_DYNAMIC_DISPATCH(colourTableRow)(table, red, green, blue, pixels);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
