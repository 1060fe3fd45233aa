#include "ImageLib/kernels/DeepBilinearRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void deepBilinearRow(const DeepReading* fields, int fieldCount, const float* atX, const float* atY, int count,
                     InstructionSet) {
    deepBilinearRowScalar(fields, fieldCount, atX, atY, count);
}

void deepBlendRow(unsigned char* out, const unsigned char* over, int count, int level, InstructionSet) {
    deepBlendRowScalar(out, over, count, level);
}

}  // namespace tumblewash::kernels

#else

#include <cstdint>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/DeepBilinearRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Pixels first ... first + count - 1 on the scalar path.
HWY_INLINE void readDeepScalar(const DeepReading* fields, int fieldCount, const float* atX, const float* atY,
                               int first, int count) {
    if (count <= 0) return;
    DeepReading rest[2] = {fields[0], fields[fieldCount - 1]};
    for (DeepReading& field : rest) field.out += first * kDeepPixelBytes;
    deepBilinearRowScalar(rest, fieldCount, atX + first, atY + first, count);
}

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using F = hn::CappedTag<float, 16>;  // one position to a lane
using I = hn::RebindToSigned<F>;
constexpr int positions = static_cast<int>(hn::MaxLanes(F()));

using F4 = hn::FixedTag<float, 4>;  // one pixel to a vector
using I4 = hn::RebindToSigned<F4>;
using U4 = hn::Rebind<std::uint16_t, F4>;
using U8 = hn::FixedTag<std::uint16_t, 8>;

/// Positions whose four neighbours all lie inside the field and none in its rim.
struct Interior {
    float lowX, lowY, highX, highY;

    explicit Interior(const DeepField& field)
        : lowX(static_cast<float>(field.rim.columns)),
          lowY(static_cast<float>(field.rim.rows)),
          highX(static_cast<float>(field.columns - 1 - field.rim.columns)),
          highY(static_cast<float>(field.rows - 1 - field.rim.rows)) {}

    HWY_INLINE bool holds(hn::Vec<F> x, hn::Vec<F> y) const {
        const F f;
        const auto after = hn::And(hn::Ge(x, hn::Set(f, lowX)), hn::Ge(y, hn::Set(f, lowY)));
        const auto before = hn::And(hn::Lt(x, hn::Set(f, highX)), hn::Lt(y, hn::Set(f, highY)));
        return hn::AllTrue(f, hn::And(after, before));
    }
};

/// A vector of positions: where the neighbours begin, and the weights of upper left, upper right, lower left,
/// lower right, position after position.
struct DeepCells {
    HWY_ALIGN std::int32_t offset[positions];
    HWY_ALIGN float weight[4 * positions];

    HWY_INLINE DeepCells(hn::Vec<F> x, hn::Vec<F> y, std::int32_t pitch) {
        const F f;
        const I i;
        const auto ix = hn::ConvertTo(i, x), iy = hn::ConvertTo(i, y);
        hn::Store(hn::Add(hn::Mul(iy, hn::Set(i, pitch)), hn::ShiftLeft<3>(ix)), i, offset);
        const auto one = hn::Set(f, 1.0F);
        const auto dx = hn::Sub(x, hn::ConvertTo(f, ix)), dy = hn::Sub(y, hn::ConvertTo(f, iy));
        const auto nx = hn::Sub(one, dx), ny = hn::Sub(one, dy);
        hn::StoreInterleaved4(hn::Mul(nx, ny), hn::Mul(dx, ny), hn::Mul(nx, dy), hn::Mul(dx, dy), f, weight);
    }
};

/// Two pixels side by side.
HWY_INLINE hn::Vec<U8> loadTwo(const unsigned char* at) {
    return hn::LoadU(U8(), reinterpret_cast<const std::uint16_t*>(at));
}

#if HWY_TARGET <= HWY_AVX2 && HWY_ARCH_X86

using F8 = hn::FixedTag<float, 8>;  // two pixels to a vector
using I8 = hn::RebindToSigned<F8>;

/// The weighed sums of one column of neighbours in each half: left, then right.
HWY_INLINE hn::Vec<F8> columnSums(const unsigned char* upper, std::ptrdiff_t pitch, hn::Vec<F4> weights) {
    const F8 f;
    const I8 i;
    const auto pixels = [&](const unsigned char* at)
                            HWY_ATTR { return hn::ConvertTo(f, hn::PromoteTo(i, loadTwo(at))); };
    const auto all = hn::Combine(f, weights, weights);
    const hn::Vec<F8> up{_mm256_permutevar8x32_ps(all.raw, _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1))};
    const hn::Vec<F8> low{_mm256_permutevar8x32_ps(all.raw, _mm256_setr_epi32(2, 2, 2, 2, 3, 3, 3, 3))};
    return hn::Add(hn::Mul(pixels(upper), up), hn::Mul(pixels(upper + pitch), low));
}

/// Two positions at a time.
HWY_INLINE void mixCells(const DeepField& field, const DeepCells& cells, unsigned char* out) {
    const F4 f4;
    const F8 f;
    const hn::Rebind<std::uint16_t, F8> narrow;
    const auto half = hn::Set(f, 0.5F);
    for (int p = 0; p < positions; p += 2) {
        const auto first =
            columnSums(field.first + cells.offset[p], field.pitch, hn::Load(f4, cells.weight + 4 * p));
        const auto second = columnSums(field.first + cells.offset[p + 1], field.pitch,
                                       hn::Load(f4, cells.weight + 4 * p + 4));
        const auto sum =
            hn::Add(hn::ConcatLowerLower(f, second, first), hn::ConcatUpperUpper(f, second, first));
        const auto whole = hn::ConvertTo(I8(), hn::Add(sum, half));
        hn::StoreU(hn::DemoteTo(narrow, whole), narrow,
                   reinterpret_cast<std::uint16_t*>(out + p * kDeepPixelBytes));
    }
}

#else

/// One position at a time.
HWY_INLINE void mixCells(const DeepField& field, const DeepCells& cells, unsigned char* out) {
    const F4 f;
    const I4 i;
    const U4 narrow;
    const auto half = hn::Set(f, 0.5F);
    for (int p = 0; p < positions; ++p) {
        const unsigned char* at = field.first + cells.offset[p];
        const float* w = cells.weight + 4 * p;
        const auto upper = loadTwo(at), lower = loadTwo(at + field.pitch);
        const auto left = [&](hn::Vec<U8> two, float weight) HWY_ATTR {
            return hn::Mul(hn::ConvertTo(f, hn::PromoteTo(i, hn::LowerHalf(narrow, two))),
                           hn::Set(f, weight));
        };
        const auto right = [&](hn::Vec<U8> two, float weight) HWY_ATTR {
            return hn::Mul(hn::ConvertTo(f, hn::PromoteTo(i, hn::UpperHalf(narrow, two))),
                           hn::Set(f, weight));
        };
        const auto sum = hn::Add(hn::Add(left(upper, w[0]), left(lower, w[2])),
                                 hn::Add(right(upper, w[1]), right(lower, w[3])));
        const auto whole = hn::ConvertTo(i, hn::Add(sum, half));
        hn::StoreU(hn::DemoteTo(narrow, whole), narrow,
                   reinterpret_cast<std::uint16_t*>(out + p * kDeepPixelBytes));
    }
}

#endif

HWY_INLINE bool offsetsFit(const DeepField& field) {
    return field.pitch > 0 &&
           (field.rows + std::int64_t{1}) * field.pitch < std::numeric_limits<std::int32_t>::max();
}

#endif

HWY_ATTR void deepBilinearRow(const DeepReading* fields, int fieldCount, const float* atX, const float* atY,
                              int count) {
    if (fieldCount <= 0) return;
    int done = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const F f;
    const DeepField& smallest = fields[fieldCount - 1].from;
    const Interior interior(smallest);
    const int vectors = offsetsFit(smallest) ? count : 0;
    for (; done + positions <= vectors; done += positions) {
        const auto x = hn::LoadU(f, atX + done), y = hn::LoadU(f, atY + done);
        if (HWY_UNLIKELY(!interior.holds(x, y))) {
            readDeepScalar(fields, fieldCount, atX, atY, done, positions);
            continue;
        }
        const DeepCells cells(x, y, static_cast<std::int32_t>(smallest.pitch));
        for (int n = 0; n < fieldCount; ++n)
            mixCells(fields[n].from, cells, fields[n].out + done * kDeepPixelBytes);
    }
#endif
    readDeepScalar(fields, fieldCount, atX, atY, done, count - done);
}

HWY_ATTR void deepBlendRow(unsigned char* out, const unsigned char* over, int count, int level) {
    std::ptrdiff_t done = 0;
    const std::ptrdiff_t bytes = count * kDeepPixelBytes;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const hn::ScalableTag<float> f;
    const hn::RebindToSigned<decltype(f)> i;
    const hn::Rebind<std::uint16_t, decltype(f)> narrow;
    // Four lanes and more: whole pixels.
    const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(f)) * 2;
    const auto weight = hn::Set(f, static_cast<float>(level));
    const auto rest = hn::Set(f, static_cast<float>(255 - level));
    const auto share = hn::Set(f, 1.0F / 255.0F), half = hn::Set(f, 0.5F);
    const auto read = [&](const unsigned char* at) HWY_ATTR {
        return hn::ConvertTo(f,
                             hn::PromoteTo(i, hn::LoadU(narrow, reinterpret_cast<const std::uint16_t*>(at))));
    };
    for (; done + step <= bytes; done += step) {
        const auto sum = hn::Add(hn::Mul(read(over + done), weight), hn::Mul(read(out + done), rest));
        const auto whole = hn::ConvertTo(i, hn::Add(hn::Mul(sum, share), half));
        hn::StoreU(hn::DemoteTo(narrow, whole), narrow, reinterpret_cast<std::uint16_t*>(out + done));
    }
#endif
    deepBlendRowScalar(out + done, over + done, static_cast<int>((bytes - done) / kDeepPixelBytes), level);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(deepBilinearRow);
HWY_EXPORT(deepBlendRow);

void deepBilinearRow(const DeepReading* fields, int fieldCount, const float* atX, const float* atY, int count,
                     InstructionSet set) {
    TUMBLEWASH_VERSION(deepBilinearRow, set)(fields, fieldCount, atX, atY, count);
}

void deepBlendRow(unsigned char* out, const unsigned char* over, int count, int level, InstructionSet set) {
    TUMBLEWASH_VERSION(deepBlendRow, set)(out, over, count, level);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
