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

/// Positions whose offsets are formed before the first of them is read, so that loads never wait for them.
constexpr int batchSize = 64;

/// Where the neighbours of a batch of positions lie, in bytes from the field's first pixel.
struct Offsets {
    std::int32_t upper[batchSize];  ///< of (floor, floor)
    std::int32_t lower[batchSize];  ///< of (floor, ceil)
};

/// What one vector of positions weighs its neighbours with.
struct Weights {
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

HWY_INLINE void offsetsAt(hn::Vec<HalfF> x, hn::Vec<HalfF> y, std::int32_t pitch, std::int32_t* upper,
                          std::int32_t* lower) {
    const HalfI whole;
    const auto iy = hn::ConvertTo(whole, y);
    const auto above = hn::Add(hn::Mul(iy, hn::Set(whole, pitch)), hn::ShiftLeft<2>(hn::ConvertTo(whole, x)));
    const auto between = hn::RebindMask(whole, hn::Gt(y, hn::ConvertTo(HalfF(), iy)));
    hn::StoreU(above, whole, upper);
    hn::StoreU(hn::Add(above, hn::IfThenElseZero(between, hn::Set(whole, pitch))), whole, lower);
}

HWY_INLINE Weights weightsAt(hn::Vec<HalfF> x, hn::Vec<HalfF> y) {
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

/// Two pixels to each lane. Loads put together cost less than a vector gather.
template <class DWords>
HWY_INLINE hn::Vec<DWords> fetch(DWords w, const unsigned char* first, const std::int32_t* offsets) {
    if constexpr (hn::MaxLanes(DWords()) == 1) {
        return hn::LoadU(w, reinterpret_cast<const std::uint64_t*>(first + offsets[0]));
    } else {
        const hn::Half<DWords> half;
        const auto low = fetch(half, first, offsets);
        return hn::Combine(w, fetch(half, first, offsets + hn::MaxLanes(DWords()) / 2), low);
    }
}

HWY_INLINE void readBlock(const FieldReading& field, const std::int32_t* upper, const std::int32_t* lower,
                          const Weights& weights, std::ptrdiff_t to) {
    const hn::Rebind<std::uint32_t, D> narrow;
    const unsigned char* first = field.from.first;
    const Neighbours n = {fetch(W(), first, upper), fetch(W(), first, lower)};
    const Words colours = hn::Or(hn::Or(mixChannel<8>(n, weights.weight), mixChannel<16>(n, weights.weight)),
                                 mixChannel<24>(n, weights.weight));
    const Words pixels = hn::Or(colours, mixAlpha(n, weights.right));
    hn::StoreU(hn::TruncateTo(narrow, pixels), narrow, reinterpret_cast<std::uint32_t*>(field.out + to));
}

#endif

/// Pixels first ... first + count - 1 on the scalar road.
HWY_INLINE void readScalar(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                           int first, int count) {
    FieldReading rest[2] = {fields[0], fields[fieldCount - 1]};
    for (FieldReading& field : rest) field.out += std::ptrdiff_t{first} * 4;
    bilinearRowScalar(rest, fieldCount, atX + first, atY + first, count);
}

HWY_ATTR void bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                          int count) {
    if (fieldCount <= 0) return;
    int done = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const HalfF f;
    const int lanes = static_cast<int>(hn::Lanes(f));
    const FieldPixels& smallest = fields[fieldCount - 1].from;
    const bool offsetsFit = smallest.pitch > 0 && (smallest.rows + std::int64_t{1}) * smallest.pitch <
                                                      std::numeric_limits<std::int32_t>::max();
    const int whole = offsetsFit ? count - count % lanes : 0;
    const auto pitch = static_cast<std::int32_t>(offsetsFit ? smallest.pitch : 0);
    const auto zero = hn::Zero(f);
    // Two pixels are read at once, so the last column belongs to the scalar road.
    const auto lastX = hn::Set(f, static_cast<float>(smallest.columns - 1));
    const auto lastY = hn::Set(f, static_cast<float>(smallest.rows - 1));
    Offsets offsets;
    for (; done < whole; done += batchSize) {
        const int end = whole - done < batchSize ? whole - done : batchSize;
        std::uint64_t inside = 0;  // one bit for each first position of a vector
        for (int i = 0; i < end; i += lanes) {
            const auto x = hn::LoadU(f, atX + done + i);
            const auto y = hn::LoadU(f, atY + done + i);
            const auto within = hn::And(hn::And(hn::Ge(x, zero), hn::Ge(y, zero)),
                                        hn::And(hn::Lt(x, lastX), hn::Le(y, lastY)));
            if (hn::AllTrue(f, within)) {
                offsetsAt(x, y, pitch, offsets.upper + i, offsets.lower + i);
                inside |= std::uint64_t{1} << i;
            } else {
                readScalar(fields, fieldCount, atX, atY, done + i, lanes);
            }
        }
        for (int i = 0; i < end; i += lanes) {
            if ((inside >> i & 1) == 0) continue;
            const Weights weights = weightsAt(hn::LoadU(f, atX + done + i), hn::LoadU(f, atY + done + i));
            for (int field = 0; field < fieldCount; ++field) {
                readBlock(fields[field], offsets.upper + i, offsets.lower + i, weights,
                          std::ptrdiff_t{done + i} * 4);
            }
        }
    }
    done = whole;
#endif
    readScalar(fields, fieldCount, atX, atY, done, count - done);
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
