// BilinearExact: bilinear readings in double precision at listed positions of a row, on one instruction set.
// The rule itself, product by product; the path of every reading that 16-bit weights cannot settle.
// Not a row of its own: BilinearRowVector.cpp lists the positions.

#if defined(TUMBLEWASH_BILINEAR_EXACT) == defined(HWY_TARGET_TOGGLE)
#ifdef TUMBLEWASH_BILINEAR_EXACT
#undef TUMBLEWASH_BILINEAR_EXACT
#else
#define TUMBLEWASH_BILINEAR_EXACT
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/PixelWord.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using D = hn::ScalableTag<double>;
using W = hn::RebindToUnsigned<D>;
using HalfF = hn::Rebind<float, D>;
using HalfI = hn::Rebind<std::int32_t, D>;
using Doubles = hn::Vec<D>;
using Words = hn::Vec<W>;  // 64-bit lanes, one to a position

// Doubles from 2^52 on are whole numbers one apart: a byte in the low bits of this one adds itself.
constexpr double kTwoTo52 = 4503599627370496.0;

/// A byte of each lane as a number.
template <int Shift>
HWY_INLINE Doubles channel(Words pixels) {
    const D d;
    const hn::Repartition<std::uint8_t, W> b;
    constexpr std::uint8_t byte = Shift / 8, none = 0x80;
    alignas(16) static constexpr std::uint8_t pattern[16] = {
        byte, none, none, none, none, none, none, none, byte + 8, none, none, none, none, none, none, none};
    const auto value =
        hn::BitCast(W(), hn::TableLookupBytesOr0(hn::BitCast(b, pixels), hn::LoadDup128(b, pattern)));
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    return hn::ConvertTo(d, value);
#else
    return hn::Sub(hn::BitCast(d, hn::Or(value, hn::BitCast(W(), hn::Set(d, kTwoTo52)))),
                   hn::Set(d, kTwoTo52));
#endif
}

/// sum + trunc(weight * value), for a product that is not negative. `sum` carries `kTwoTo52`.
HWY_INLINE Doubles addTruncated(Doubles sum, Doubles weight, Doubles value) {
    const Doubles product = hn::Mul(weight, value);
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    // Next to `kTwoTo52` a sum rounded toward zero is the sum of whole parts.
    return Doubles{_mm512_add_round_pd(sum.raw, product.raw, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC)};
#else
    return hn::Add(sum, hn::Floor(product));
#endif
}

/// What one vector of positions weighs its neighbours with.
struct ExactWeights {
    hn::Mask<W> right;  ///< where the ceiling is the next column
    Doubles weight[4];  ///< in the order (floor, floor), (ceil, floor), (ceil, ceil), (floor, ceil)
};

/// The four neighbours of each position: two pixels in each lane, the left one in the low half.
struct Neighbours {
    Words upper, lower;
};

template <int Byte>
HWY_INLINE Words mixChannel(const Neighbours& n, const Doubles (&weight)[4]) {
    const D d;
    const W w;
    Doubles sum = hn::Set(d, kTwoTo52);
    sum = addTruncated(sum, weight[0], channel<Byte>(n.upper));
    sum = addTruncated(sum, weight[1], channel<Byte + 32>(n.upper));
    sum = addTruncated(sum, weight[2], channel<Byte + 32>(n.lower));
    sum = addTruncated(sum, weight[3], channel<Byte>(n.lower));
    return hn::ShiftLeft<Byte>(hn::And(hn::BitCast(w, sum), hn::Set(w, std::uint64_t{255})));
}

/// 255 plus the four alphas, modulo 256. A whole column is its own right neighbour.
HWY_INLINE Words mixAlpha(const Neighbours& n, hn::Mask<W> right) {
    const W w;
    const auto both = [&](Words row) HWY_ATTR {
        return hn::Add(row, hn::IfThenElse(right, hn::ShiftRight<32>(row), row));
    };
    const auto sum = hn::Add(hn::Add(both(n.upper), both(n.lower)), hn::Set(w, std::uint64_t{255}));
    return hn::And(sum, hn::Set(w, std::uint64_t{255}));
}

HWY_INLINE ExactWeights exactWeights(hn::Vec<HalfF> x, hn::Vec<HalfF> y) {
    const D d;
    const W w;
    const HalfI whole;
    const Doubles dx = hn::Sub(hn::PromoteTo(d, x), hn::PromoteTo(d, hn::ConvertTo(whole, x)));
    const Doubles dy = hn::Sub(hn::PromoteTo(d, y), hn::PromoteTo(d, hn::ConvertTo(whole, y)));
    const Doubles nx = hn::Sub(hn::Set(d, 1.0), dx);
    const Doubles ny = hn::Sub(hn::Set(d, 1.0), dy);
    return {hn::RebindMask(w, hn::Gt(dx, hn::Zero(d))),
            {hn::Mul(nx, ny), hn::Mul(dx, ny), hn::Mul(dx, dy), hn::Mul(nx, dy)}};
}

/// Where the neighbours of positions lie, in bytes from the field's first pixel.
template <class DF>
struct Offsets {
    hn::Vec<hn::RebindToSigned<DF>> upper;  ///< of (floor, floor)
    hn::Vec<hn::RebindToSigned<DF>> lower;  ///< of (floor, ceil)
};

template <class DF>
HWY_INLINE Offsets<DF> offsetsAt(DF f, hn::Vec<DF> x, hn::Vec<DF> y, std::int32_t pitch) {
    const hn::RebindToSigned<DF> whole;
    const auto iy = hn::ConvertTo(whole, y);
    const auto above = hn::Add(hn::Mul(iy, hn::Set(whole, pitch)), hn::ShiftLeft<2>(hn::ConvertTo(whole, x)));
    const auto between = hn::RebindMask(whole, hn::Gt(y, hn::ConvertTo(f, iy)));
    return {above, hn::Add(above, hn::IfThenElseZero(between, hn::Set(whole, pitch)))};
}

/// Two pixels to each lane, by loads put together.
template <class DWords>
HWY_INLINE hn::Vec<DWords> loadPairs(DWords w, const unsigned char* first, const std::int32_t* offsets) {
    if constexpr (hn::MaxLanes(DWords()) == 1) {
        return hn::LoadU(w, reinterpret_cast<const std::uint64_t*>(first + offsets[0]));
    } else {
        const hn::Half<DWords> half;
        const auto low = loadPairs(half, first, offsets);
        return hn::Combine(w, loadPairs(half, first, offsets + hn::MaxLanes(DWords()) / 2), low);
    }
}

/// How values that lie anywhere are brought into a vector: by the machine's gathers, which are worth trying
/// for vectors of eight pairs only, or by loads put together.
enum class Fetch { gathers, loads };

/// Two pixels to each lane.
template <Fetch fetch>
HWY_INLINE Words fetchPairs(const unsigned char* first, const std::int32_t* offsets) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    if constexpr (fetch == Fetch::gathers)
        return Words{_mm512_i32gather_epi64(hn::LoadU(HalfI(), offsets).raw, first, 1)};
#endif
    return loadPairs(W(), first, offsets);
}

/// The positions that are listed at `at`, loaded one by one and joined two by two: a vector put together in
/// memory would wait for its stores.
template <class DF>
HWY_INLINE hn::Vec<DF> listed(DF f, const float* positions, const std::uint32_t* at) {
    if constexpr (hn::MaxLanes(DF()) == 1) {
        return hn::LoadU(f, positions + *at);
    } else {
        const hn::Half<DF> half;
        const auto low = listed(half, positions, at);
        return hn::Combine(f, listed(half, positions, at + hn::MaxLanes(half)), low);
    }
}

/// A vector of listed positions, and where their neighbours lie.
struct Listed {
    static constexpr int kLanes = static_cast<int>(hn::MaxLanes(D()));
    hn::Vec<HalfF> x, y;
    std::int32_t upper[kLanes], lower[kLanes];

    Listed() = default;
    HWY_INLINE Listed(const FieldPixels& field, const float* atX, const float* atY, const std::uint32_t* at)
        : x(listed(HalfF(), atX, at)), y(listed(HalfF(), atY, at)) {
        const auto offsets = offsetsAt(HalfF(), x, y, static_cast<std::int32_t>(field.pitch));
        hn::StoreU(offsets.upper, HalfI(), upper);
        hn::StoreU(offsets.lower, HalfI(), lower);
    }
};

/// Listed vectors whose positions are found before the first of them is read: finding them and reading are
/// long chains of steps, and a processor fills the waits of one with the next only if these are near.
constexpr int kListedTogether = 4;

/// Reads the pixels listed in `at` (`count` of them, each inside the field and left of its last column),
/// which has room for a vector more.
template <Fetch fetch>
HWY_INLINE void readExactly(const FieldReading& field, const float* atX, const float* atY, std::uint32_t* at,
                            int count) {
    if (count == 0) return;
    constexpr int lanes = Listed::kLanes;
    const hn::Rebind<std::uint32_t, D> narrow;
    // A last vector that is not full reads its last position again.
    for (int i = 0; i < lanes; ++i) at[count + i] = at[count - 1];
    const int vectors = (count + lanes - 1) / lanes;
    for (int start = 0; start < vectors; start += kListedTogether) {
        const int some = vectors - start < kListedTogether ? vectors - start : kListedTogether;
        Listed all[kListedTogether];
        for (int i = 0; i < some; ++i) all[i] = Listed(field.from, atX, atY, at + (start + i) * lanes);
        for (int i = 0; i < some; ++i) {
            const Neighbours n = {fetchPairs<fetch>(field.from.first, all[i].upper),
                                  fetchPairs<fetch>(field.from.first, all[i].lower)};
            const ExactWeights weights = exactWeights(all[i].x, all[i].y);
            const Words colours =
                hn::Or(hn::Or(mixChannel<8>(n, weights.weight), mixChannel<16>(n, weights.weight)),
                       mixChannel<24>(n, weights.weight));
            std::uint32_t pixels[lanes];
            hn::StoreU(hn::TruncateTo(narrow, hn::Or(colours, mixAlpha(n, weights.right))), narrow, pixels);
            const std::uint32_t* column = at + (start + i) * lanes;
            for (int lane = 0; lane < lanes; ++lane)
                storePixel(field.out + std::ptrdiff_t{column[lane]} * 4, pixels[lane]);
        }
    }
}

#endif

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
