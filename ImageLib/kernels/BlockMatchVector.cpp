#include "ImageLib/kernels/BlockMatch.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void matchSums(const unsigned char* block, const unsigned char* around, std::ptrdiff_t pitch,
               std::uint32_t* sums, InstructionSet) {
    matchSumsScalar(block, around, pitch, sums);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/BlockMatchVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Three pixels and a fourth that does not count fill a vector of 16 bytes.
HWY_ATTR void matchSums(const unsigned char* block, const unsigned char* around, std::ptrdiff_t pitch,
                        std::uint32_t* sums) {
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    matchSumsScalar(block, around, pitch, sums);
#else
    const hn::FixedTag<std::uint8_t, 16> d;
    const hn::Repartition<std::uint64_t, decltype(d)> wide;
    HWY_ALIGN static constexpr std::uint8_t colours[16] = {0, 255, 255, 255, 0, 255, 255, 255,
                                                           0, 255, 255, 255, 0, 0,   0,   0};
    const auto mask = hn::Load(d, colours);
    const hn::Vec<decltype(d)> rows[kMatchSide] = {hn::And(mask, hn::LoadU(d, block)),
                                                   hn::And(mask, hn::LoadU(d, block + pitch)),
                                                   hn::And(mask, hn::LoadU(d, block + 2 * pitch))};
    for (int dx = 0; dx < kMatchPlaces; ++dx) {
        hn::Vec<decltype(d)> places[kMatchPlaces + kMatchSide - 1];
        for (int row = 0; row < kMatchPlaces + kMatchSide - 1; ++row) {
            places[row] = hn::And(mask, hn::LoadU(d, around + row * pitch + std::ptrdiff_t{dx} * 4));
        }
        for (int dy = 0; dy < kMatchPlaces; ++dy) {
            auto sum = hn::Zero(wide);
            for (int row = 0; row < kMatchSide; ++row) {
                const auto a = rows[row], b = places[dy + row];
                const auto difference = hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));
                sum = hn::Add(sum, hn::SumsOf8(difference));
            }
            HWY_ALIGN std::uint64_t halves[2];
            hn::Store(sum, wide, halves);
            sums[dy * kMatchPlaces + dx] = static_cast<std::uint32_t>(halves[0] + halves[1]);
        }
    }
#endif
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(matchSums);

void matchSums(const unsigned char* block, const unsigned char* around, std::ptrdiff_t pitch,
               std::uint32_t* sums, InstructionSet set) {
    TUMBLEWASH_VERSION(matchSums, set)(block, around, pitch, sums);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
