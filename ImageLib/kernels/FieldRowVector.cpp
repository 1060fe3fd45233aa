#include "ImageLib/kernels/FieldRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void enlargeFieldRow(const FieldRun* runs, int runCount, const FieldColumns& columns, double nearY,
                     double farY, const FieldChannel* channels, int channelCount, int limit, InstructionSet) {
    enlargeFieldRowScalar(runs, runCount, columns, nearY, farY, channels, channelCount, limit);
}

void enlargeCellRow(const FieldRun* runs, int runCount, const FieldColumns& columns, const float* cells,
                    float* out, int limit, InstructionSet) {
    enlargeCellRowScalar(runs, runCount, columns, cells, out, limit);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/FieldRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using Doubles = hn::Vec<hn::ScalableTag<double> >;

/// The four cells around a run.
struct Corners {
    Doubles upperLeft, upperRight, lowerRight, lowerLeft;
};

HWY_INLINE Corners cornersOf(const FieldChannel& channel, const FieldRun& run) {
    const hn::ScalableTag<double> d;
    return {hn::Set(d, static_cast<double>(channel.upper[run.left])),
            hn::Set(d, static_cast<double>(channel.upper[run.right])),
            hn::Set(d, static_cast<double>(channel.lower[run.right])),
            hn::Set(d, static_cast<double>(channel.lower[run.left]))};
}

/// Enlarges `Channels` channels over one run and returns the first column that is left to do. The last vector
/// may reach behind the run: what it writes there is written again by the next one.
template <int Channels>
HWY_INLINE int enlargeRun(const FieldRun& run, const FieldColumns& columns, double nearY, double farY,
                          const FieldChannel* channels, int limit) {
    const hn::ScalableTag<double> d;
    const hn::Rebind<float, decltype(d)> narrow;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const Doubles above = hn::Set(d, nearY);
    const Doubles below = hn::Set(d, farY);
    const Corners first = cornersOf(channels[0], run);
    const Corners second = cornersOf(channels[Channels - 1], run);
    const double* nearWeights = columns.near;
    const double* farWeights = columns.far;
    float* const out[2] = {channels[0].out, channels[Channels - 1].out};
    const int last = limit - lanes < run.end - 1 ? limit - lanes : run.end - 1;
    int x = run.first;
    for (; x <= last; x += lanes) {
        const Doubles near = hn::LoadU(d, nearWeights + x);
        const Doubles far = hn::LoadU(d, farWeights + x);
        const Doubles w0 = hn::Mul(near, above);
        const Doubles w1 = hn::Mul(far, above);
        const Doubles w2 = hn::Mul(far, below);
        const Doubles w3 = hn::Mul(near, below);
        for (int c = 0; c < Channels; ++c) {
            const Corners& cell = c == 0 ? first : second;
            Doubles sum = hn::Add(hn::Zero(d), hn::Mul(w0, cell.upperLeft));
            sum = hn::Add(sum, hn::Mul(w1, cell.upperRight));
            sum = hn::Add(sum, hn::Mul(w2, cell.lowerRight));
            sum = hn::Add(sum, hn::Mul(w3, cell.lowerLeft));
            hn::StoreU(hn::DemoteTo(narrow, sum), narrow, out[c] + x);
        }
    }
    return x;
}

#endif

HWY_ATTR void enlargeFieldRow(const FieldRun* runs, int runCount, const FieldColumns& columns, double nearY,
                              double farY, const FieldChannel* channels, int channelCount, int limit) {
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    enlargeFieldRowScalar(runs, runCount, columns, nearY, farY, channels, channelCount, limit);
#else
    for (int r = 0; r < runCount; ++r) {
        FieldRun rest = runs[r];
        rest.first = channelCount == 2 ? enlargeRun<2>(rest, columns, nearY, farY, channels, limit)
                                       : enlargeRun<1>(rest, columns, nearY, farY, channels, limit);
        if (rest.first < rest.end) {
            enlargeFieldRowScalar(&rest, 1, columns, nearY, farY, channels, channelCount, limit);
        }
    }
#endif
}

HWY_ATTR void enlargeCellRow(const FieldRun* runs, int runCount, const FieldColumns& columns,
                             const float* cells, float* out, int limit) {
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    enlargeCellRowScalar(runs, runCount, columns, cells, out, limit);
#else
    const hn::ScalableTag<double> d;
    const hn::Rebind<float, decltype(d)> narrow;
    const int lanes = static_cast<int>(hn::Lanes(d));
    for (int r = 0; r < runCount; ++r) {
        FieldRun rest = runs[r];
        const auto left = hn::Set(d, static_cast<double>(cells[rest.left]));
        const auto right = hn::Set(d, static_cast<double>(cells[rest.right]));
        for (; rest.first < rest.end && rest.first + lanes <= limit; rest.first += lanes) {
            const auto near = hn::Mul(hn::LoadU(d, columns.near + rest.first), left);
            const auto far = hn::Mul(hn::LoadU(d, columns.far + rest.first), right);
            hn::StoreU(hn::DemoteTo(narrow, hn::Add(near, far)), narrow, out + rest.first);
        }
        if (rest.first < rest.end) enlargeCellRowScalar(&rest, 1, columns, cells, out, limit);
    }
#endif
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(enlargeFieldRow);
HWY_EXPORT(enlargeCellRow);

void enlargeFieldRow(const FieldRun* runs, int runCount, const FieldColumns& columns, double nearY,
                     double farY, const FieldChannel* channels, int channelCount, int limit,
                     InstructionSet set) {
    TUMBLEWASH_VERSION(enlargeFieldRow, set)
    (runs, runCount, columns, nearY, farY, channels, channelCount, limit);
}

void enlargeCellRow(const FieldRun* runs, int runCount, const FieldColumns& columns, const float* cells,
                    float* out, int limit, InstructionSet set) {
    TUMBLEWASH_VERSION(enlargeCellRow, set)(runs, runCount, columns, cells, out, limit);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
