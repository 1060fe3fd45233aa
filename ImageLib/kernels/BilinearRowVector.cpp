#include "ImageLib/kernels/BilinearRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

int bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY, int count,
                InstructionSet) {
    bilinearRowScalar(fields, fieldCount, atX, atY, count);
    return 0;
}

int bilinearRowSingly(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                      int count, InstructionSet) {
    bilinearRowScalar(fields, fieldCount, atX, atY, count);
    return 0;
}

int bilinearRowGathering(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                         int count, InstructionSet) {
    bilinearRowScalar(fields, fieldCount, atX, atY, count);
    return 0;
}

int bilinearMovedRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                     int count, RepeatedFractions&, bool, InstructionSet) {
    bilinearRowScalar(fields, fieldCount, atX, atY, count);
    return 0;
}

}  // namespace tumblewash::kernels

#else

#include <bit>
#include <cstdint>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/BilinearRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/BilinearExact-inl.h"
#include "ImageLib/kernels/BilinearQuick-inl.h"
#include "ImageLib/kernels/BilinearSteady-inl.h"
#include "ImageLib/kernels/Dispatch.h"
#include "ImageLib/kernels/GatherChoice.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Pixels first ... first + count - 1 on the scalar path.
HWY_INLINE void readScalar(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                           int first, int count) {
    FieldReading rest[2] = {fields[0], fields[fieldCount - 1]};
    for (FieldReading& field : rest) field.out += std::ptrdiff_t{first} * 4;
    bilinearRowScalar(rest, fieldCount, atX + first, atY + first, count);
}

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

/// Positions whose doubtful pixels are collected before they are read exactly.
constexpr int kBatchSize = 512;
constexpr int lanes = static_cast<int>(hn::MaxLanes(F()));

/// The pixels of one field that wait for the exact path. Indices are stored a vector at a time, and the last
/// vector may overlap the one before it.
using Waiting = std::uint32_t[kBatchSize + 2 * lanes];

/// Puts down the indices at + lane of some lanes; returns their number.
HWY_INLINE int addWaiting(int at, hn::Mask<P> some, std::uint32_t* end) {
    const P p;
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    const auto indices = hn::Add(hn::Iota(p, 0), hn::Set(p, static_cast<std::uint32_t>(at)));
    hn::StoreU(hn::Compress(indices, some), p, end);
    return static_cast<int>(hn::CountTrue(p, some));
#else
    // Few vectors have any; without an instruction for it, packing indices costs more than this branch.
    if (HWY_LIKELY(hn::AllFalse(p, some))) return 0;
    std::uint8_t bytes[8] = {};
    hn::StoreMaskBits(p, some, bytes);
    int count = 0;
    for (unsigned left = bytes[0]; left != 0; left &= left - 1) {
        end[count++] = static_cast<std::uint32_t>(at + std::countr_zero(left));
    }
    return count;
#endif
}

/// Mixes one vector of one field; returns the number of doubtful pixels, put down at `end`.
template <class Weights>
HWY_INLINE int mixInto(const FieldReading& field, const Pixels (&neighbours)[4], const Weights& weights,
                       int at, std::uint32_t* end) {
    const P p;
    const Mixed mixed = mixWith(weights, neighbours);
    hn::StoreU(mixed.pixels, p, reinterpret_cast<std::uint32_t*>(field.out + std::ptrdiff_t{at} * 4));
    return addWaiting(at, mixed.doubtful, end);
}

/// A line of memory holds so many pixels.
constexpr int kAnnouncedColumns = 16;

/// Asks for the pixels that the rows after this one will need around an inside position, a few lines of the
/// field below and above: no machine foresees them where rows of positions slant across the field.
template <int fieldCount>
HWY_INLINE void announce(const FieldReading (&fields)[2], float x, float y) {
    constexpr int further = 4;
    const FieldPixels& smallest = fields[fieldCount - 1].from;
    const int row = static_cast<int>(y);
    const int below = row + further < smallest.rows ? row + further : row;
    const int above = row >= further ? row - further : row;
    const auto column = std::ptrdiff_t{static_cast<int>(x)} * 4;
    for (int n = 0; n < fieldCount; ++n) {
        const unsigned char* first = fields[n].from.first + column;
        __builtin_prefetch(first + below * smallest.pitch, 0, 3);
        __builtin_prefetch(first + above * smallest.pitch, 0, 3);
    }
}

/// A vector of positions whose neighbours are yet to be fetched and mixed.
template <class Weights>
struct Planned {
    int at;
    hn::Mask<P> right;
    Weights weights;
    Window window;
    std::int32_t upper[lanes], lower[lanes];  ///< offsets, of neighbours that lie apart
};

/// Vectors that are planned before the first of them is mixed. Planning is one long chain of steps that wait
/// for each other; a processor looks too few of them ahead to fill its time with the next vector's.
constexpr int kPlanned = 8;

/// Plans, by how their neighbours lie: a loop for each way foresees all its branches.
template <class Weights>
struct Plans {
    Planned<Weights> all[kPlanned];
    int counts[3] = {};
    int which[3][kPlanned];

    HWY_INLINE void add(Layout layout, int number) {
        const auto kind = static_cast<std::size_t>(layout);
        which[kind][counts[kind]++] = number;
    }
};

template <Layout layout, int fieldCount, Fetch fetch, class Weights>
HWY_INLINE void mixPlanned(const FieldReading (&fields)[2], const Plans<Weights>& plans,
                           Waiting (&waiting)[fieldCount], int (&waitingCount)[fieldCount]) {
    constexpr auto kind = static_cast<std::size_t>(layout);
    for (int i = 0; i < plans.counts[kind]; ++i) {
        const Planned<Weights>& plan = plans.all[plans.which[kind][i]];
        for (int n = 0; n < fieldCount; ++n) {
            Pixels neighbours[4];
            if constexpr (layout == Layout::apart) {
                fetchPairwise<fetch>(fields[n].from.first, plan.upper, plan.lower, plan.right, neighbours);
            } else {
                fetchWindow<layout>(fields[n].from.first, plan.window, plan.right, neighbours);
            }
            waitingCount[n] +=
                mixInto(fields[n], neighbours, plan.weights, plan.at, waiting[n] + waitingCount[n]);
        }
    }
}

/// The first positions of vectors, in the order in which they are planned.
using Order = int[kBatchSize / lanes + 1];

/// Reads what is steady of a row and lists the vectors that are left; returns their number.
template <int fieldCount>
HWY_INLINE int readSteady(const FieldReading (&fields)[2], const float* atX, const float* atY, int count,
                          RepeatedFractions& repeated, Order& left) {
    Order likely;
    int likelyCount = 0, leftCount = 0;
    for (int next = 0; next < count; next += lanes) {
        const int at = next < count - lanes ? next : count - lanes;
        const bool steady = alike(atX + at, atY + at);
        likely[likelyCount] = left[leftCount] = at;
        likelyCount += static_cast<int>(steady);
        leftCount += static_cast<int>(!steady);
    }
    for (int i = 0; i < likelyCount; ++i) {
        const int at = likely[i];
        Steady steady;
        const RepeatedFractions::Entry* known = steady.take(fields[fieldCount - 1].from, atX[at], atY[at])
                                                    ? multipliersOf(steady, repeated)
                                                    : nullptr;
        if (known == nullptr) {
            left[leftCount++] = at;
            continue;
        }
        if (i * lanes % kAnnouncedColumns == 0) announce<fieldCount>(fields, atX[at + lanes / 2], atY[at]);
        for (int n = 0; n < fieldCount; ++n)
            hn::StoreU(mixSteady(fields[n].from.first, steady, known->multipliers), P(),
                       reinterpret_cast<std::uint32_t*>(fields[n].out + std::ptrdiff_t{at} * 4));
    }
    return leftCount;
}

/// lanes ... kBatchSize positions. A last vector that would not be full begins earlier and reads some again.
/// Returns how many pixels were read exactly. Steady ones are looked up in `repeated`, where there is such.
template <int fieldCount, Fetch fetch, class Weights>
HWY_INLINE int readBatch(const FieldReading (&fields)[2], const float* atX, const float* atY, int count,
                         RepeatedFractions* repeated) {
    const F f;
    const I i;
    const P p;
    const FieldPixels& smallest = fields[fieldCount - 1].from;
    const auto zero = hn::Zero(f);
    const auto one = hn::Set(f, 1.0F);
    // Two pixels are read at once, so the last column belongs to the scalar path.
    const auto lastX = hn::Set(f, static_cast<float>(smallest.columns - 1));
    const auto lastY = hn::Set(f, static_cast<float>(smallest.rows - 1));
    Waiting waiting[fieldCount];
    int waitingCount[fieldCount] = {};
    Order order;
    int vectors = 0;
    if (repeated != nullptr) {
        vectors = readSteady<fieldCount>(fields, atX, atY, count, *repeated, order);
    } else {
        for (int next = 0; next < count; next += lanes)
            order[vectors++] = next < count - lanes ? next : count - lanes;
    }
    for (int start = 0; start < vectors; start += kPlanned) {
        Plans<Weights> plans;
        int planned = 0;
        const int end = start + kPlanned < vectors ? start + kPlanned : vectors;
        for (int v = start; v < end; ++v) {
            const int at = order[v];
            const auto x = hn::LoadU(f, atX + at);
            const auto y = hn::LoadU(f, atY + at);
            const auto before = hn::And(hn::Lt(x, lastX), hn::Le(y, lastY));
            if (HWY_UNLIKELY(!hn::AllTrue(f, hn::And(hn::And(hn::Ge(x, one), hn::Ge(y, one)), before)))) {
                const auto inside = hn::And(hn::And(hn::Ge(x, zero), hn::Ge(y, zero)), before);
                for (int n = 0; n < fieldCount; ++n) {
                    waitingCount[n] +=
                        addWaiting(at, hn::RebindMask(p, inside), waiting[n] + waitingCount[n]);
                }
                std::int32_t isInside[lanes];
                hn::StoreU(hn::VecFromMask(i, hn::RebindMask(i, inside)), i, isInside);
                for (int lane = 0; lane < lanes; ++lane) {
                    if (isInside[lane] == 0) readScalar(fields, fieldCount, atX, atY, at + lane, 1);
                }
                continue;
            }
            const Cells cells = cellsAt(x, y);
            if (v * lanes % kAnnouncedColumns == 0)
                announce<fieldCount>(fields, atX[at + lanes / 2], atY[at + lanes / 2]);
            Planned<Weights>& plan = plans.all[planned];
            plan.at = at;
            plan.right = cells.right;
            plan.weights = Weights(cells);
            const Layout layout = windowOver(smallest, cells, atX + at, atY + at, plan.window);
            plans.add(layout, planned++);
            if (layout != Layout::apart) continue;
            const auto offsets = offsetsAt(f, x, y, static_cast<std::int32_t>(smallest.pitch));
            hn::StoreU(offsets.upper, I(), plan.upper);
            hn::StoreU(offsets.lower, I(), plan.lower);
        }
        mixPlanned<Layout::twoRows, fieldCount, fetch>(fields, plans, waiting, waitingCount);
        mixPlanned<Layout::threeRows, fieldCount, fetch>(fields, plans, waiting, waitingCount);
        mixPlanned<Layout::apart, fieldCount, fetch>(fields, plans, waiting, waitingCount);
    }
    int all = 0;
    for (int n = 0; n < fieldCount; ++n) {
        readExactly<fetch>(fields[n], atX, atY, waiting[n], waitingCount[n]);
        all += waitingCount[n];
    }
    return all;
}

/// All whole vectors of a row; returns how many positions are done. `exact` becomes the number of pixels that
/// were read exactly.
template <Fetch fetch, class Weights>
HWY_INLINE int readVectors(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                           int count, RepeatedFractions* repeated, int& exact) {
    const FieldPixels& smallest = fields[fieldCount - 1].from;
    const bool offsetsFit = smallest.pitch > 0 && (smallest.rows + std::int64_t{1}) * smallest.pitch <
                                                      std::numeric_limits<std::int32_t>::max();
    FieldReading batch[2] = {fields[0], fields[fieldCount - 1]};
    int done = 0;
    while (offsetsFit && count - done >= lanes) {
        const int size = count - done < kBatchSize ? count - done : kBatchSize;
        if (fieldCount == 1) {
            exact += readBatch<1, fetch, Weights>(batch, atX + done, atY + done, size, repeated);
        } else {
            exact += readBatch<2, fetch, Weights>(batch, atX + done, atY + done, size, repeated);
        }
        for (FieldReading& field : batch) field.out += std::ptrdiff_t{size} * 4;
        done += size;
    }
    return done;
}

/// A whole row; returns how many pixels of whole vectors were read exactly.
template <Fetch fetch, class Weights>
HWY_INLINE int readRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                       int count, RepeatedFractions* repeated) {
    if (fieldCount <= 0) return 0;
    int exact = 0;
    const int done = readVectors<fetch, Weights>(fields, fieldCount, atX, atY, count, repeated, exact);
    readScalar(fields, fieldCount, atX, atY, done, count - done);
    return exact;
}

HWY_ATTR int bilinearRowSingly(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                               int count) {
    return readRow<Fetch::loads, QuickWeights>(fields, fieldCount, atX, atY, count, nullptr);
}

HWY_ATTR int bilinearRowGathering(const FieldReading* fields, int fieldCount, const float* atX,
                                  const float* atY, int count) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    return readRow<Fetch::gathers, QuickWeights>(fields, fieldCount, atX, atY, count, nullptr);
#else
    return HWY_NAMESPACE::bilinearRowSingly(fields, fieldCount, atX, atY, count);
#endif
}

HWY_ATTR int bilinearMovedRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                              int count, RepeatedFractions& repeated, bool finely) {
    if (finely) return readRow<Fetch::loads, FineWeights>(fields, fieldCount, atX, atY, count, &repeated);
    return readRow<Fetch::loads, QuickWeights>(fields, fieldCount, atX, atY, count, &repeated);
}

#else

HWY_ATTR int bilinearRowSingly(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                               int count) {
    if (fieldCount > 0) readScalar(fields, fieldCount, atX, atY, 0, count);
    return 0;
}

HWY_ATTR int bilinearRowGathering(const FieldReading* fields, int fieldCount, const float* atX,
                                  const float* atY, int count) {
    return HWY_NAMESPACE::bilinearRowSingly(fields, fieldCount, atX, atY, count);
}

HWY_ATTR int bilinearMovedRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                              int count, RepeatedFractions&, bool) {
    return HWY_NAMESPACE::bilinearRowSingly(fields, fieldCount, atX, atY, count);
}

#endif

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(bilinearRowSingly);
HWY_EXPORT(bilinearRowGathering);
HWY_EXPORT(bilinearMovedRow);

int bilinearRowSingly(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                      int count, InstructionSet set) {
    return TUMBLEWASH_VERSION(bilinearRowSingly, set)(fields, fieldCount, atX, atY, count);
}

int bilinearRowGathering(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                         int count, InstructionSet set) {
    return TUMBLEWASH_VERSION(bilinearRowGathering, set)(fields, fieldCount, atX, atY, count);
}

int bilinearMovedRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                     int count, RepeatedFractions& repeated, bool finely, InstructionSet set) {
    return TUMBLEWASH_VERSION(bilinearMovedRow, set)(fields, fieldCount, atX, atY, count, repeated, finely);
}

int bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY, int count,
                InstructionSet set) {
    if (gathersPay()) return bilinearRowGathering(fields, fieldCount, atX, atY, count, set);
    return bilinearRowSingly(fields, fieldCount, atX, atY, count, set);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
