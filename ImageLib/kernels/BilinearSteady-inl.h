// BilinearSteady: bilinear mixing of stretches with one displacement, on one instruction set.
// All their pixels have the same four weights, for which multipliers of 16 bits are found that truncate every
// byte as the rule does (docs/numerics.md, section 11): nothing is in doubt and nothing is picked from
// windows. Not a row of its own: BilinearRowVector.cpp looks for such stretches.

#if defined(TUMBLEWASH_BILINEAR_STEADY) == defined(HWY_TARGET_TOGGLE)
#ifdef TUMBLEWASH_BILINEAR_STEADY
#undef TUMBLEWASH_BILINEAR_STEADY
#else
#define TUMBLEWASH_BILINEAR_STEADY
#endif

#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/BilinearQuick-inl.h"
#include "ImageLib/kernels/BilinearRow.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

/// A vector of positions one pixel apart, all with the same two fractions, not both 0: as wherever equal
/// cells of a motion field move a stretch of pixels by one displacement.
struct Steady {
    std::ptrdiff_t first;  ///< the first floor, in bytes from the field's first pixel
    std::ptrdiff_t right;  ///< bytes to a ceiling in the same row
    std::ptrdiff_t down;   ///< bytes to a ceiling in the same column
    float dx, dy;

    /// Takes the place of positions that are alike and begin at (x, y); false if one of them is below 1 or in
    /// the last column or row of `field`, or all of them are whole.
    HWY_INLINE bool take(const FieldPixels& field, float x, float y) {
        // Wild positions fail here before they would be converted.
        if (!(x >= 1.0F && y >= 1.0F && x < 16777216.0F && y < 16777216.0F)) return false;
        const int column = static_cast<int>(x), row = static_cast<int>(y);
        dx = x - static_cast<float>(column);
        dy = y - static_cast<float>(row);
        first = row * field.pitch + std::ptrdiff_t{column} * 4;
        right = dx > 0.0F ? 4 : 0;
        down = dy > 0.0F ? field.pitch : 0;
        return column + static_cast<int>(hn::MaxLanes(F())) < field.columns && row + 1 < field.rows &&
               (dx != 0.0F || dy != 0.0F);
    }
};

/// True where the positions at atX and atY lie one pixel apart and have the same fractions, wild ones aside.
HWY_INLINE bool alike(const float* atX, const float* atY) {
    const F f;
    const auto x = hn::Set(f, *atX), column = hn::Floor(x);
    // From 1 on, what is left of a position is exact if it is that fraction.
    const auto left = hn::Sub(hn::LoadU(f, atX), hn::Add(column, hn::Iota(f, 0.0F)));
    return hn::AllTrue(
        f, hn::And(hn::Eq(left, hn::Sub(x, column)), hn::Eq(hn::LoadU(f, atY), hn::Set(f, *atY))));
}

/// Mixes steady pixels of a field with multipliers that give the rule's byte for every colour.
HWY_INLINE Pixels mixSteady(const unsigned char* field, const Steady& steady,
                            const std::uint16_t (&multipliers)[4]) {
    const P p;
    const H h;
    const auto load = [&](std::ptrdiff_t at) HWY_ATTR {
        return hn::LoadU(p, reinterpret_cast<const std::uint32_t*>(field + steady.first + at));
    };
    const Pixels n[4] = {load(0), load(steady.right), load(steady.right + steady.down), load(steady.down)};
    const Halves weight[4] = {hn::Set(h, multipliers[0]), hn::Set(h, multipliers[1]),
                              hn::Set(h, multipliers[2]), hn::Set(h, multipliers[3])};
    return withAlpha(QuickSums(weight, n).pixels());
}

/// True where (multiplier c) / 2^16, rounded down, is trunc(weight * c) for every byte c, by the rule itself.
HWY_INLINE bool isMultiplier(double weight, std::uint32_t multiplier) {
    bool exact = true;
    for (std::uint32_t c = 0; c < 256; ++c)
        exact &= (multiplier * c >> 16) == static_cast<std::uint32_t>(weight * static_cast<double>(c));
    return exact;
}

/// Finds a multiplier for a weight below 1: the weight in 2^-16, rounded down or one more. False where
/// neither is one.
HWY_INLINE bool findMultiplier(double weight, std::uint16_t& multiplier) {
    const H h;
    const auto words = static_cast<std::uint32_t>(weight * 4294967296.0);
    const auto least = static_cast<std::uint16_t>(words >> 16);
    const auto upper = hn::Set(h, least), lower = hn::Set(h, static_cast<std::uint16_t>(words & 0xFFFFU)),
               more = hn::Set(h, static_cast<std::uint16_t>(least + 1));
    Halves tooLow = hn::Zero(h), tooHigh = tooLow, last = tooLow;
    for (std::size_t c = 0; c < 256; c += hn::MaxLanes(H())) {
        const Halves colours = hn::Iota(h, static_cast<std::uint16_t>(c));
        const FineProducts fine(colours, upper, lower);
        tooLow = hn::Or(tooLow, hn::Xor(hn::MulHigh(colours, upper), fine.whole));
        tooHigh = hn::Or(tooHigh, hn::Xor(hn::MulHigh(colours, more), fine.whole));
        last = hn::Max(last, fine.behind);
    }
    const auto none = [&](Halves v) HWY_ATTR { return hn::AllTrue(h, hn::Eq(v, hn::Zero(h))); };
    multiplier = static_cast<std::uint16_t>(none(tooLow) ? least : least + 1);
    const bool proved = hn::AllTrue(h, hn::Lt(last, hn::Set(h, std::uint16_t{0xFFFF})));
    if (HWY_LIKELY(proved && (none(tooLow) || (least < 65535 && none(tooHigh))))) return true;
    for (std::uint32_t m = least; m < 65536 && m <= least + 1U; ++m) {
        multiplier = static_cast<std::uint16_t>(m);
        if (isMultiplier(weight, m)) return true;
    }
    return false;
}

/// The multipliers of steady positions, found once for each pair of fractions that was met before: finding
/// them takes as long as mixing a few vectors. Null where there are none.
HWY_INLINE const RepeatedFractions::Entry* multipliersOf(const Steady& steady, RepeatedFractions& repeated) {
    constexpr int often = 2;
    const auto hash = std::bit_cast<std::uint32_t>(steady.dx) * 0x9E3779B1U +
                      std::bit_cast<std::uint32_t>(steady.dy) * 0x85EBCA6BU;
    RepeatedFractions::Entry& entry = repeated.entries[hash >> 26];
    if (entry.dx != steady.dx || entry.dy != steady.dy) {
        entry = {};
        entry.dx = steady.dx;
        entry.dy = steady.dy;
    }
    if (entry.met < often && ++entry.met == often) {
        const double dx = static_cast<double>(steady.dx), dy = static_cast<double>(steady.dy);
        const double weights[4] = {(1.0 - dx) * (1.0 - dy), dx * (1.0 - dy), dx * dy, (1.0 - dx) * dy};
        entry.found = true;
        for (int i = 0; i < 4; ++i)
            entry.found = findMultiplier(weights[i], entry.multipliers[i]) && entry.found;
    }
    return entry.found ? &entry : nullptr;
}

#endif

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
