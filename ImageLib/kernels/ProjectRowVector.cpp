#include "ImageLib/kernels/ProjectRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void projectRow(const float* h, int y, int first, int count, const OpenBounds& bounds, float* atX, float* atY,
                std::uint64_t* inside, InstructionSet) {
    projectRowScalar(h, y, first, count, bounds, atX, atY, inside);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/ProjectRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

HWY_ATTR void projectRow(const float* h, int y, int first, int count, const OpenBounds& bounds, float* atX,
                         float* atY, std::uint64_t* inside) {
    int done = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    constexpr int lanes = static_cast<int>(hn::MaxLanes(d));
    const auto row = static_cast<float>(y);
    const auto rowX = hn::Set(d, row * h[1]), rowY = hn::Set(d, row * h[4]),
               rowFactor = hn::Set(d, row * h[7]);
    const auto h0 = hn::Set(d, h[0]), h2 = hn::Set(d, h[2]), h3 = hn::Set(d, h[3]), h5 = hn::Set(d, h[5]);
    const auto h6 = hn::Set(d, h[6]), one = hn::Set(d, 1.0F);
    const auto afterX = hn::Set(d, bounds.afterX), beforeX = hn::Set(d, bounds.beforeX);
    const auto afterY = hn::Set(d, bounds.afterY), beforeY = hn::Set(d, bounds.beforeY);
    const auto steps = hn::Iota(di, 0);
    for (; done + kColumnsInWord <= count; done += kColumnsInWord) {
        std::uint64_t word = 0;
        for (int i = 0; i < kColumnsInWord; i += lanes) {
            const auto column = hn::ConvertTo(d, hn::Add(steps, hn::Set(di, first + done + i)));
            const auto factor = hn::Add(hn::Add(hn::Mul(column, h6), rowFactor), one);
            const auto x = hn::Div(hn::Add(hn::Add(hn::Mul(column, h0), rowX), h2), factor);
            const auto yy = hn::Div(hn::Add(hn::Add(hn::Mul(column, h3), rowY), h5), factor);
            hn::StoreU(x, d, atX + done + i);
            hn::StoreU(yy, d, atY + done + i);
            const auto within = hn::And(hn::And(hn::Gt(x, afterX), hn::Lt(x, beforeX)),
                                        hn::And(hn::Gt(yy, afterY), hn::Lt(yy, beforeY)));
            std::uint8_t bits[8] = {};
            hn::StoreMaskBits(d, within, bits);
            word |= (std::uint64_t{bits[0]} | std::uint64_t{bits[1]} << 8) << i;
        }
        inside[done / kColumnsInWord] = word;
    }
#endif
    projectRowScalar(h, y, first + done, count - done, bounds, atX + done, atY + done,
                     inside + done / kColumnsInWord);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(projectRow);

void projectRow(const float* h, int y, int first, int count, const OpenBounds& bounds, float* atX, float* atY,
                std::uint64_t* inside, InstructionSet set) {
    TUMBLEWASH_VERSION(projectRow, set)(h, y, first, count, bounds, atX, atY, inside);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
