#include "ImageLib/kernels/BlockMean.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash {

void addToColumns(const unsigned char* row, int bytes, std::uint16_t* columns) {
    addToColumnsScalar(row, bytes, columns);
}

}  // namespace tumblewash

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/BlockMeanVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tumblewash::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

HWY_ATTR void addToColumns(const unsigned char* row, int bytes, std::uint16_t* columns) {
    int i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const hn::ScalableTag<std::uint16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> narrow;
    const int lanes = static_cast<int>(hn::Lanes(d));
    for (; i + lanes <= bytes; i += lanes) {
        const auto value = hn::PromoteTo(d, hn::LoadU(narrow, row + i));
        hn::StoreU(hn::Add(hn::LoadU(d, columns + i), value), d, columns + i);
    }
#endif
    addToColumnsScalar(row + i, bytes - i, columns + i);
}

}  // namespace tumblewash::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash {

HWY_EXPORT(addToColumns);

void addToColumns(const unsigned char* row, int bytes, std::uint16_t* columns) {
    HWY_DYNAMIC_DISPATCH(addToColumns)(row, bytes, columns);
}

}  // namespace tumblewash
#endif  // HWY_ONCE

#endif
