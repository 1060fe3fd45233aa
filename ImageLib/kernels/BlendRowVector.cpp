#include "ImageLib/kernels/BlendRow.h"
#include "ImageLib/kernels/Overlap.h"
#include "ImageLib/kernels/PixelWord.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void blendInProportionRow(unsigned char* dst, const unsigned char* src, std::size_t pixels, float p,
                          InstructionSet) {
    blendInProportionRowScalar(dst, src, pixels, p);
}

void blendByAlphaRow(unsigned char* dst, const unsigned char* src, std::size_t pixels, InstructionSet) {
    blendByAlphaRowScalar(dst, src, pixels);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/BlendRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using Words = hn::CappedTag<std::uint32_t, 16>;
using Ints = hn::RebindToSigned<Words>;
using Floats = hn::RebindToFloat<Words>;
using Pixels = hn::Vec<Words>;
using Levels = hn::Vec<Floats>;

/// a / b. On some machines one division of sixteen numbers takes more time than two of eight, on none less.
HWY_INLINE Levels quotient(Levels a, Levels b) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    const Floats d;
    const hn::Half<Floats> half;
    return hn::Combine(d, hn::Div(hn::UpperHalf(half, a), hn::UpperHalf(half, b)),
                       hn::Div(hn::LowerHalf(half, a), hn::LowerHalf(half, b)));
#else
    return hn::Div(a, b);
#endif
}

/// Where the lowest colour stands in a pixel's word; the two others follow by bytes.
constexpr int kColourShift = kAlphaShift == 0 ? 8 : 0;

HWY_INLINE Pixels loadPixels(const unsigned char* at) {
    return hn::BitCast(Words(), hn::LoadU(hn::Repartition<std::uint8_t, Words>(), at));
}

HWY_INLINE void storePixels(Pixels pixels, unsigned char* at) {
    const hn::Repartition<std::uint8_t, Words> d;
    hn::StoreU(hn::BitCast(d, pixels), d, at);
}

/// The byte that stands `shift` bits up.
template <int shift>
HWY_INLINE Levels levels(Pixels pixels) {
    const auto bytes = shift == 24 ? hn::ShiftRight<24>(pixels)
                                   : hn::And(hn::ShiftRight<shift>(pixels), hn::Set(Words(), 255U));
    return hn::ConvertTo(Floats(), hn::BitCast(Ints(), bytes));
}

/// Numbers inside 0..255, truncated and put `shift` bits up.
template <int shift>
HWY_INLINE Pixels bytes(Levels v) {
    return hn::ShiftLeft<shift>(hn::BitCast(Words(), hn::ConvertTo(Ints(), v)));
}

/// The pixels of `mine` with each colour c of theirs replaced by mix(c, the source's).
template <class Mix>
HWY_INLINE Pixels mixColours(Pixels mine, Pixels from, Mix mix) {
    constexpr int s = kColourShift;
    const auto first = bytes<s>(mix(levels<s>(mine), levels<s>(from)));
    const auto second = bytes<s + 8>(mix(levels<s + 8>(mine), levels<s + 8>(from)));
    const auto third = bytes<s + 16>(mix(levels<s + 16>(mine), levels<s + 16>(from)));
    const auto alpha = hn::And(mine, hn::Set(Words(), 255U << kAlphaShift));
    return hn::Or(hn::Or(alpha, first), hn::Or(second, third));
}

#endif

HWY_ATTR void blendInProportionRow(unsigned char* dst, const unsigned char* src, std::size_t pixels,
                                   float p) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const auto weight = hn::Set(d, p), divisor = hn::Set(d, p + 1.0F);
    const auto zero = hn::Zero(d), most = hn::Set(d, 255.0F);
    const auto mix = [&](Levels c, Levels s) HWY_ATTR {
        const auto v = quotient(hn::Add(hn::Mul(c, weight), s), divisor);
        return hn::Min(hn::IfThenElseZero(hn::Gt(v, zero), v), most);  // no number is not above zero
    };
    for (; i + lanes <= pixels; i += lanes)
        storePixels(mixColours(loadPixels(dst + 4 * i), loadPixels(src + 4 * i), mix), dst + 4 * i);
#endif
    blendInProportionRowScalar(dst + 4 * i, src + 4 * i, pixels - i, p);
}

HWY_ATTR void blendByAlphaRow(unsigned char* dst, const unsigned char* src, std::size_t pixels) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const auto scale = hn::Set(d, 256.0F), base = hn::Set(d, 255.0F);
    // A little above 1, so that a whole quotient never comes out below itself.
    const auto one = hn::Set(d, 1.0F + 0x1p-20F);
    for (; i + lanes <= pixels; i += lanes) {
        const auto mine = loadPixels(dst + 4 * i), from = loadPixels(src + 4 * i);
        const auto alpha = levels<kAlphaShift>(from);
        const auto share = quotient(one, hn::Add(alpha, base));
        const auto mixed = mixColours(mine, from, [&](Levels c, Levels s) HWY_ATTR {
            return hn::Mul(hn::Add(hn::Mul(c, scale), hn::Mul(s, alpha)), share);
        });
        const auto seen = hn::RebindMask(Words(), hn::Gt(alpha, hn::Zero(d)));
        storePixels(hn::IfThenElse(seen, mixed, mine), dst + 4 * i);
    }
#endif
    blendByAlphaRowScalar(dst + 4 * i, src + 4 * i, pixels - i);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(blendInProportionRow);
HWY_EXPORT(blendByAlphaRow);

void blendInProportionRow(unsigned char* dst, const unsigned char* src, std::size_t pixels, float p,
                          InstructionSet set) {
    if (trails(src, dst, 4 * pixels)) return blendInProportionRowScalar(dst, src, pixels, p);
    TUMBLEWASH_VERSION(blendInProportionRow, set)(dst, src, pixels, p);
}

void blendByAlphaRow(unsigned char* dst, const unsigned char* src, std::size_t pixels, InstructionSet set) {
    if (trails(src, dst, 4 * pixels)) return blendByAlphaRowScalar(dst, src, pixels);
    TUMBLEWASH_VERSION(blendByAlphaRow, set)(dst, src, pixels);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
