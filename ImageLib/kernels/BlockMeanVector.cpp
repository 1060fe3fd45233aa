#include "ImageLib/kernels/BlockMean.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void sumColumns(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns,
                InstructionSet) {
    sumColumnsScalar(rows, rowCount, bytes, columns);
}

void addBlockRuns(const std::uint16_t* columns, const BlockRun* runs, int runCount, std::uint32_t* sums,
                  InstructionSet) {
    addBlockRunsScalar(columns, runs, runCount, sums);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/BlockMeanVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

/// Rows that are read side by side: no more than a machine's prefetcher follows.
constexpr int kRowsAbreast = 8;

/// Sums whole vectors of a few rows, onto what `columns` holds where `Onto` says so; returns the first byte
/// that is left.
template <bool Onto>
HWY_INLINE int sumAbreast(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns) {
    const hn::ScalableTag<std::uint16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> narrow;
    const int lanes = static_cast<int>(hn::Lanes(d));
    int i = 0;
    for (; i + 2 * lanes <= bytes; i += 2 * lanes) {
        auto low = Onto ? hn::LoadU(d, columns + i) : hn::Zero(d);
        auto high = Onto ? hn::LoadU(d, columns + i + lanes) : hn::Zero(d);
        for (int row = 0; row < rowCount; ++row) {
            low = hn::Add(low, hn::PromoteTo(d, hn::LoadU(narrow, rows[row] + i)));
            high = hn::Add(high, hn::PromoteTo(d, hn::LoadU(narrow, rows[row] + i + lanes)));
        }
        hn::StoreU(low, d, columns + i);
        hn::StoreU(high, d, columns + i + lanes);
    }
    return i;
}

#endif

HWY_ATTR void sumColumns(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns) {
    int i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    i = sumAbreast<false>(rows, rowCount < kRowsAbreast ? rowCount : kRowsAbreast, bytes, columns);
    for (int row = kRowsAbreast; row < rowCount; row += kRowsAbreast) {
        const int some = rowCount - row < kRowsAbreast ? rowCount - row : kRowsAbreast;
        sumAbreast<true>(rows + row, some, bytes, columns);
    }
#endif
    for (; i < bytes; ++i) {
        unsigned sum = 0;
        for (int row = 0; row < rowCount; ++row) sum += rows[row][i];
        columns[i] = static_cast<std::uint16_t>(sum);
    }
}

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

/// Sums of neighbouring columns: the lower halves of the words that four sums fill are alpha and green, the
/// upper ones red and blue.
template <class D>
struct ColumnPairs {
    using V = hn::Vec<D>;
    V greens, others;

    HWY_INLINE explicit ColumnPairs(D d) : greens(hn::Zero(d)), others(hn::Zero(d)) {}
    HWY_INLINE void add(D d, const std::uint16_t* at) {
        const hn::Repartition<std::uint16_t, D> halves;
        const V words = hn::BitCast(d, hn::LoadU(halves, at));
        greens = hn::Add(greens, hn::And(words, hn::Set(d, 0xFFFFU)));
        others = hn::Add(others, hn::ShiftRight<16>(words));
    }
};

HWY_ATTR void addBlockRuns(const std::uint16_t* columns, const BlockRun* runs, int runCount,
                           std::uint32_t* sums) {
    const hn::CappedTag<std::uint32_t, 8> d;
    const hn::FixedTag<std::uint32_t, 4> two;
    const int abreast = static_cast<int>(hn::Lanes(d)) / 2;
    for (int r = 0; r < runCount; ++r) {
        const std::uint16_t* at = columns + std::ptrdiff_t{runs[r].first} * 4;
        ColumnPairs<decltype(d)> wide(d);
        int left = runs[r].count;
        for (; left >= abreast; left -= abreast, at += std::ptrdiff_t{abreast} * 4) wide.add(d, at);
        ColumnPairs<decltype(two)> pair(two);
        for (; left >= 2; left -= 2, at += 8) pair.add(two, at);
        HWY_ALIGN std::uint32_t green[8], other[8];
        hn::Store(wide.greens, d, green);
        hn::Store(wide.others, d, other);
        for (int i = 4; i < 2 * abreast; i += 4) {
            pair.greens = hn::Add(pair.greens, hn::Load(two, green + i));
            pair.others = hn::Add(pair.others, hn::Load(two, other + i));
        }
        hn::Store(hn::Add(pair.greens, hn::Load(two, green)), two, green);
        hn::Store(hn::Add(pair.others, hn::Load(two, other)), two, other);
        std::uint32_t* sum = sums + std::ptrdiff_t{runs[r].block} * 3;
        sum[0] += other[0] + other[2];
        sum[1] += green[1] + green[3];
        sum[2] += other[1] + other[3];
        if (left != 0) {
            sum[0] += at[1];
            sum[1] += at[2];
            sum[2] += at[3];
        }
    }
}

#else

HWY_ATTR void addBlockRuns(const std::uint16_t* columns, const BlockRun* runs, int runCount,
                           std::uint32_t* sums) {
    addBlockRunsScalar(columns, runs, runCount, sums);
}

#endif

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(sumColumns);
HWY_EXPORT(addBlockRuns);

void sumColumns(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns,
                InstructionSet set) {
    TUMBLEWASH_VERSION(sumColumns, set)(rows, rowCount, bytes, columns);
}

void addBlockRuns(const std::uint16_t* columns, const BlockRun* runs, int runCount, std::uint32_t* sums,
                  InstructionSet set) {
    TUMBLEWASH_VERSION(addBlockRuns, set)(columns, runs, runCount, sums);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
