#include <algorithm>

#include "ImageLib/kernels/ColourTableRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void colourTableRow(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, std::size_t pixels, InstructionSet) {
    colourTableRowScalar(table, last, red, green, blue, pixels);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/ColourTableRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// So many pixels are sorted into their tetrahedra side by side; then each takes its nodes.
using Words = hn::CappedTag<std::uint16_t, 32>;
constexpr std::size_t kMost = 32;
// Vectors interleave their lower and upper halves in blocks of eight words, four pixels from each.
constexpr std::size_t kGroup = 4;

/// The path from the low corner of a cell to the high one goes through three columns of two nodes, which lie
/// along the axis of blue and so side by side in the table: the low one, the one a step of red or green away,
/// whichever remainder is greater, and the one both steps away. Two of the six nodes weigh nothing.
/// Numbers stand in the order in which vectors interleave, see `firstPixel`.
struct Batch {
    alignas(64) std::uint32_t low[kMost];         // nodes before the low column
    alignas(64) std::uint32_t middle[kMost];      // and before the one in the middle
    alignas(64) std::uint32_t weights[3][kMost];  // of a column's nodes, one in each half of a number
    alignas(64) std::uint16_t mixed[4 * kMost];   // results, four words to a pixel, in the order of pixels
};
constexpr std::size_t kHighColumn = std::size_t{kColourTableSide} * kColourTableSide + kColourTableSide;

/// The pixel that number `group * kGroup` of a batch of `lanes` belongs to; its neighbours follow.
HWY_INLINE std::size_t firstPixel(std::size_t group, std::size_t lanes) {
    const std::size_t blocks = lanes / 8;
    return group < blocks ? 8 * group : 8 * (group - blocks) + kGroup;
}

HWY_INLINE void sortPixels(const std::uint16_t* red, const std::uint16_t* green, const std::uint16_t* blue,
                           Batch& out) {
    const Words d;
    const hn::Repartition<std::uint32_t, Words> wide;
    const auto r = hn::LoadU(d, red), g = hn::LoadU(d, green), b = hn::LoadU(d, blue);
    const auto part = hn::Set(d, 1023), one = hn::Set(d, 1024);
    const auto fr = hn::And(r, part), fg = hn::And(g, part), fb = hn::And(b, part);
    const auto more = hn::Max(fr, fg), less = hn::Min(fr, fg);
    const auto most = hn::Max(more, fb), least = hn::Min(less, fb);
    const auto between = hn::Max(hn::Min(more, fb), less);
    const auto pairs = [&](auto first, auto second, std::uint32_t* to, auto change) HWY_ATTR {
        const auto front = hn::BitCast(wide, hn::InterleaveLower(d, first, second));
        const auto back = hn::BitCast(wide, hn::InterleaveUpper(d, first, second));
        hn::Store(change(front), wide, to);
        hn::Store(change(back), wide, to + hn::Lanes(wide));
    };
    const auto same = [](auto pair) HWY_ATTR { return pair; };
    pairs(hn::Sub(one, most), hn::Sub(most, more), out.weights[0], same);
    pairs(hn::Sub(more, between), hn::Sub(between, less), out.weights[1], same);
    pairs(hn::Sub(less, least), least, out.weights[2], same);
    const auto square = hn::Set(wide, kColourTableSide * kColourTableSide), lower = hn::Set(wide, 0xFFFF);
    const auto node = [&](auto pair) HWY_ATTR {
        return hn::Add(hn::Mul(hn::And(pair, lower), square), hn::ShiftRight<16>(pair));
    };
    const auto side = hn::Set(d, kColourTableSide);
    const auto slow = hn::ShiftRight<10>(r);
    const auto quick = hn::Add(hn::Mul(hn::ShiftRight<10>(g), side), hn::ShiftRight<10>(b));
    const auto redFirst = hn::VecFromMask(d, hn::Eq(fr, more));
    pairs(slow, quick, out.low, node);
    // What is true is all ones, which is one less than nothing.
    pairs(hn::Sub(slow, redFirst), hn::Add(quick, hn::AndNot(redFirst, side)), out.middle, node);
}

#if HWY_ARCH_X86

using Nodes = hn::CappedTag<std::int16_t, 32>;

/// The columns of as many pixels as a vector has blocks, one in each.
template <class D>
HWY_INLINE hn::Vec<D> loadColumns(D d, const std::int16_t* table, const std::uint32_t* at) {
    constexpr std::size_t blocks = hn::MaxLanes(D()) / 8;
    if constexpr (blocks == 1) {
        return hn::LoadU(d, table + std::size_t{4} * *at);
    } else {
        const hn::Half<D> half;
        return hn::Combine(d, loadColumns(half, table, at + blocks / 2), loadColumns(half, table, at));
    }
}

// Number k of four in all of block k.
alignas(64) constexpr std::uint8_t kSpread[64] = {
    0,  1,  2,  3,  0,  1,  2,  3,  0,  1,  2,  3,  0,  1,  2,  3,   //
    4,  5,  6,  7,  4,  5,  6,  7,  4,  5,  6,  7,  4,  5,  6,  7,   //
    8,  9,  10, 11, 8,  9,  10, 11, 8,  9,  10, 11, 8,  9,  10, 11,  //
    12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15};
// A column's two nodes word by word, as pairwise products want them.
alignas(16) constexpr std::uint8_t kPaired[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};

/// The results of the pixels of one group.
HWY_INLINE void mixGroup(const std::int16_t* table, const Batch& batch, std::size_t group,
                         std::uint16_t* out) {
    const Nodes d;
    const hn::Repartition<std::int32_t, Nodes> sums;
    const hn::Repartition<std::uint32_t, Nodes> numbers;
    const hn::Repartition<std::uint8_t, Nodes> bytes;
    const hn::Half<Nodes> half;
    const hn::Rebind<std::uint16_t, hn::Half<Nodes> > words;
    constexpr std::size_t blocks = hn::MaxLanes(Nodes()) / 8;
    const auto paired = hn::LoadDup128(bytes, kPaired);
    for (std::size_t k = 0; k < kGroup; k += blocks) {
        const std::size_t at = group * kGroup + k;
        const auto spread = hn::Load(bytes, kSpread + 16 * k);
        auto sum = hn::Set(sums, 512), none = hn::Zero(sums);
        const auto add = [&](const std::int16_t* nodes, const std::uint32_t* columns,
                             const std::uint32_t* weights) HWY_ATTR {
            const auto both =
                hn::TableLookupBytes(hn::BitCast(bytes, loadColumns(d, nodes, columns + at)), paired);
            const auto weight = hn::TableLookupBytes(
                hn::BitCast(bytes, hn::LoadDup128(numbers, weights + group * kGroup)), spread);
            sum =
                hn::ReorderWidenMulAccumulate(sums, hn::BitCast(d, both), hn::BitCast(d, weight), sum, none);
        };
        add(table, batch.low, batch.weights[0]);
        add(table, batch.middle, batch.weights[1]);
        add(table + 4 * kHighColumn, batch.low, batch.weights[2]);
        const auto mixed = hn::BitCast(words, hn::DemoteTo(half, hn::ShiftRight<10>(sum)));
        hn::StoreU(hn::Xor(mixed, hn::Set(words, 0x8000)), words, out + 4 * k);
    }
}

#else

HWY_INLINE void mixGroup(const std::int16_t* table, const Batch& batch, std::size_t group,
                         std::uint16_t* out) {
    const hn::FixedTag<std::int32_t, 4> d;
    const hn::FixedTag<std::int16_t, 4> node;
    const hn::FixedTag<std::uint16_t, 4> words;
    for (std::size_t at = group * kGroup; at < (group + 1) * kGroup; ++at, out += 4) {
        auto sum = hn::Set(d, 512);
        const auto add = [&](const std::int16_t* column, std::uint32_t weights) HWY_ATTR {
            for (const std::uint32_t weight : {weights & 0xFFFF, weights >> 16}) {
                sum = hn::Add(sum, hn::Mul(hn::PromoteTo(d, hn::LoadU(node, column)),
                                           hn::Set(d, static_cast<std::int32_t>(weight))));
                column += 4;
            }
        };
        add(table + std::size_t{4} * batch.low[at], batch.weights[0][at]);
        add(table + std::size_t{4} * batch.middle[at], batch.weights[1][at]);
        add(table + 4 * (batch.low[at] + kHighColumn), batch.weights[2][at]);
        hn::StoreU(hn::DemoteTo(words, hn::Add(hn::ShiftRight<10>(sum), hn::Set(d, 32768))), words, out);
    }
}

#endif

HWY_INLINE void convertBatch(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                             std::uint16_t* green, std::uint16_t* blue, Batch& batch) {
    const std::size_t lanes = hn::Lanes(Words());
    sortPixels(red, green, blue, batch);
    for (std::size_t group = 0; group < lanes / kGroup; ++group)
        mixGroup(table, batch, group, batch.mixed + 4 * firstPixel(group, lanes));
    const std::uint16_t* mixed = batch.mixed;
    if (last != nullptr) {
        for (std::size_t k = 0; k < lanes; ++k, mixed += 4) {
            red[k] = last[mixed[0]];
            green[k] = last[mixed[1]];
            blue[k] = last[mixed[2]];
        }
        return;
    }
    const hn::CappedTag<std::uint16_t, 8> eight;
    for (std::size_t k = 0; k < lanes; k += hn::Lanes(eight)) {
        auto r = hn::Zero(eight), g = r, b = r, rest = r;
        hn::LoadInterleaved4(eight, mixed + 4 * k, r, g, b, rest);
        hn::StoreU(r, eight, red + k);
        hn::StoreU(g, eight, green + k);
        hn::StoreU(b, eight, blue + k);
    }
}

#endif

HWY_ATTR void colourTableRow(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                             std::uint16_t* green, std::uint16_t* blue, std::size_t pixels) {
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const std::size_t lanes = hn::Lanes(Words());
    Batch batch;
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) convertBatch(table, last, red + i, green + i, blue + i, batch);
    if (i == pixels) return;
    // The last pixels of the row as a batch that repeats black.
    std::uint16_t rest[3][kMost] = {};
    std::uint16_t* const planes[3] = {red + i, green + i, blue + i};
    for (std::size_t c = 0; c < 3; ++c) std::copy_n(planes[c], pixels - i, rest[c]);
    convertBatch(table, last, rest[0], rest[1], rest[2], batch);
    for (std::size_t c = 0; c < 3; ++c) std::copy_n(rest[c], pixels - i, planes[c]);
#else
    colourTableRowScalar(table, last, red, green, blue, pixels);
#endif
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(colourTableRow);

void colourTableRow(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, std::size_t pixels, InstructionSet set) {
    TUMBLEWASH_VERSION(colourTableRow, set)(table, last, red, green, blue, pixels);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
