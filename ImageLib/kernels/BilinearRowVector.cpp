#include "ImageLib/kernels/BilinearRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash {

void bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY, int count) {
    bilinearRowScalar(fields, fieldCount, atX, atY, count);
}

}  // namespace tumblewash

#else

#include <cstdint>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/BilinearRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tumblewash::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using D = hn::ScalableTag<double>;
using W = hn::RebindToUnsigned<D>;
using HalfF = hn::Rebind<float, D>;
using HalfI = hn::Rebind<std::int32_t, D>;
using Doubles = hn::Vec<D>;
using Words = hn::Vec<W>;  // 64-bit lanes, one to a position

// Doubles from 2^52 on are whole numbers one apart: a byte in the low bits of this one adds itself.
constexpr double big = 4503599627370496.0;

/// A byte of each lane as a number.
template <int Shift>
HWY_INLINE Doubles channel(Words pixels) {
    const D d;
    const W w;
    const auto byte = hn::And(hn::ShiftRight<Shift>(pixels), hn::Set(w, std::uint64_t{255}));
    return hn::Sub(hn::BitCast(d, hn::Or(byte, hn::BitCast(w, hn::Set(d, big)))), hn::Set(d, big));
}

/// sum + trunc(weight * value), for a product that is not negative. `sum` carries `big`.
HWY_INLINE Doubles addTruncated(Doubles sum, Doubles weight, Doubles value) {
    const Doubles product = hn::Mul(weight, value);
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    // Next to `big` a sum rounded toward zero is the sum of whole parts.
    return Doubles{_mm512_add_round_pd(sum.raw, product.raw, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC)};
#else
    return hn::Add(sum, hn::Floor(product));
#endif
}

/// Weights in the order (floor, floor), (ceil, floor), (ceil, ceil), (floor, ceil).
struct Cells {
    Words offset;       ///< bytes from the field's first pixel to (floor, floor)
    Words below;        ///< bytes from there to the row of the ceiling
    hn::Mask<W> right;  ///< where the ceiling is the next column
    Doubles weight[4];
};

/// The four neighbours of each position: two pixels in each lane, the left one in the low half.
struct Neighbours {
    Words upper, lower;
};

template <int Byte>
HWY_INLINE Words mixChannel(const Neighbours& n, const Doubles (&weight)[4]) {
    const D d;
    const W w;
    Doubles sum = hn::Set(d, big);
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

HWY_INLINE Cells cellsAt(hn::Vec<HalfF> x, hn::Vec<HalfF> y, std::int32_t pitch) {
    const D d;
    const W w;
    const HalfI whole;
    const hn::RebindToSigned<D> wide;
    const auto ix = hn::ConvertTo(whole, x);
    const auto iy = hn::ConvertTo(whole, y);
    const Doubles dx = hn::Sub(hn::PromoteTo(d, x), hn::PromoteTo(d, ix));
    const Doubles dy = hn::Sub(hn::PromoteTo(d, y), hn::PromoteTo(d, iy));
    const Doubles nx = hn::Sub(hn::Set(d, 1.0), dx);
    const Doubles ny = hn::Sub(hn::Set(d, 1.0), dy);
    const auto offset = hn::Add(hn::Mul(iy, hn::Set(whole, pitch)), hn::ShiftLeft<2>(ix));
    const auto zero = hn::Zero(d);
    const auto down = hn::RebindMask(w, hn::Gt(dy, zero));
    return {hn::BitCast(w, hn::PromoteTo(wide, offset)),
            hn::IfThenElseZero(down, hn::Set(w, static_cast<std::uint64_t>(pitch))),
            hn::RebindMask(w, hn::Gt(dx, zero)),
            {hn::Mul(nx, ny), hn::Mul(dx, ny), hn::Mul(dx, dy), hn::Mul(nx, dy)}};
}

HWY_INLINE Neighbours fetch(const unsigned char* first, const Cells& cells) {
    const W w;
    const hn::RebindToSigned<D> wide;
    const auto* base = reinterpret_cast<const std::uint64_t*>(first);
    return {hn::GatherOffset(w, base, hn::BitCast(wide, cells.offset)),
            hn::GatherOffset(w, base, hn::BitCast(wide, hn::Add(cells.offset, cells.below)))};
}

HWY_INLINE void readBlock(const FieldReading* fields, int fieldCount, const Cells& cells, std::ptrdiff_t to) {
    const hn::Rebind<std::uint32_t, D> narrow;
    for (int f = 0; f < fieldCount; ++f) {
        const Neighbours n = fetch(fields[f].from.first, cells);
        const Words colours = hn::Or(hn::Or(mixChannel<8>(n, cells.weight), mixChannel<16>(n, cells.weight)),
                                     mixChannel<24>(n, cells.weight));
        const Words pixels = hn::Or(colours, mixAlpha(n, cells.right));
        hn::StoreU(hn::TruncateTo(narrow, pixels), narrow,
                   reinterpret_cast<std::uint32_t*>(fields[f].out + to));
    }
}

#endif

HWY_ATTR void bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                          int count) {
    int i = 0;
    const auto scalarBlock = [&](int first, int n) {
        FieldReading rest[2] = {fields[0], fields[fieldCount - 1]};
        for (FieldReading& field : rest) field.out += static_cast<std::ptrdiff_t>(first) * 4;
        bilinearRowScalar(rest, fieldCount, atX + first, atY + first, n);
    };
    if (fieldCount <= 0) return;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const HalfF f;
    const int lanes = static_cast<int>(hn::Lanes(f));
    const FieldPixels& smallest = fields[fieldCount - 1].from;
    const bool offsetsFit =
        smallest.pitch > 0 && (smallest.rows + 1) * static_cast<std::int64_t>(smallest.pitch) <
                                  std::numeric_limits<std::int32_t>::max();
    const int whole = offsetsFit ? count : 0;
    const auto zero = hn::Zero(f);
    // Two pixels are read at once, so the last column belongs to the scalar road.
    const auto lastX = hn::Set(f, static_cast<float>(smallest.columns - 1));
    const auto lastY = hn::Set(f, static_cast<float>(smallest.rows - 1));
    for (; i + lanes <= whole; i += lanes) {
        const auto x = hn::LoadU(f, atX + i);
        const auto y = hn::LoadU(f, atY + i);
        const auto inside =
            hn::And(hn::And(hn::Ge(x, zero), hn::Ge(y, zero)), hn::And(hn::Lt(x, lastX), hn::Le(y, lastY)));
        if (hn::AllTrue(f, inside)) {
            readBlock(fields, fieldCount, cellsAt(x, y, static_cast<std::int32_t>(smallest.pitch)),
                      static_cast<std::ptrdiff_t>(i) * 4);
        } else {
            scalarBlock(i, lanes);
        }
    }
#endif
    scalarBlock(i, count - i);
}

}  // namespace tumblewash::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash {

HWY_EXPORT(bilinearRow);

void bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY, int count) {
    HWY_DYNAMIC_DISPATCH(bilinearRow)(fields, fieldCount, atX, atY, count);
}

}  // namespace tumblewash
#endif  // HWY_ONCE

#endif
