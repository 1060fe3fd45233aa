#include "ImageLib/kernels/GatherChoice.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

bool gathersPay() {
    return false;
}

}  // namespace tumblewash::kernels

#else

#include <algorithm>
#include <chrono>
#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/GatherChoiceVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/BilinearExact-inl.h"
#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86

/// Nanoseconds for fetching a few hundred vectors from memory that the nearest cache holds.
template <Fetch fetch>
HWY_ATTR std::int64_t timeOf(const unsigned char* memory, const std::int32_t* offsets, int vectors,
                             std::uint64_t* result) {
    const auto start = std::chrono::steady_clock::now();
    Words all = hn::Zero(W());
    for (int i = 0; i < vectors; ++i)
        all = hn::Xor(all, fetchPairs<fetch>(memory, offsets + i * 8));
    hn::StoreU(all, W(), result);
    const std::chrono::nanoseconds taken = std::chrono::steady_clock::now() - start;
    return taken.count();
}

#endif

HWY_ATTR bool measureGathers() {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    constexpr int vectors = 128;
    unsigned char memory[4096];
    std::int32_t offsets[vectors * 8];
    std::uint64_t results[2][8];
    for (int i = 0; i < 4096; ++i) memory[i] = static_cast<unsigned char>(i * 7);
    for (int i = 0; i < vectors * 8; ++i) offsets[i] = i * 2654 % 4088;
    // The least of several: whatever else the machine does only adds.
    std::int64_t byGathers = INT64_MAX, byLoads = INT64_MAX;
    for (int round = 0; round < 9; ++round) {
        byGathers = std::min(byGathers, timeOf<Fetch::gathers>(memory, offsets, vectors, results[0]));
        byLoads = std::min(byLoads, timeOf<Fetch::loads>(memory, offsets, vectors, results[1]));
    }
    return std::equal(results[0], results[0] + 8, results[1]) && byGathers < byLoads;
#else
    return false;
#endif
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(measureGathers);

bool gathersPay() {
    static const bool pay = TUMBLEWASH_VERSION(measureGathers, InstructionSet::best)();
    return pay;
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
