// BilinearQuick: bilinear mixing with 16-bit weights, on one instruction set, and where it cannot be trusted.
// Each product is formed with the weight rounded down, to 8 bits behind the point; unless all of these are
// set its byte is proved (docs/numerics.md, section 11), elsewhere the pixel is reported. Not a row of its
// own: BilinearRowVector.cpp decides what is read here.

#if defined(TUMBLEWASH_BILINEAR_QUICK) == defined(HWY_TARGET_TOGGLE)
#ifdef TUMBLEWASH_BILINEAR_QUICK
#undef TUMBLEWASH_BILINEAR_QUICK
#else
#define TUMBLEWASH_BILINEAR_QUICK
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/BilinearExact-inl.h"
#include "ImageLib/kernels/BilinearRow.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using F = hn::ScalableTag<float>;
using I = hn::RebindToSigned<F>;
using P = hn::RebindToUnsigned<F>;  // one pixel to a lane
using H = hn::Repartition<std::uint16_t, P>;
using B = hn::Repartition<std::uint8_t, P>;
using Floats = hn::Vec<F>;
using Ints = hn::Vec<I>;
using Pixels = hn::Vec<P>;
using Halves = hn::Vec<H>;

/// The whole part of positions that fit an int.
HWY_INLINE Ints wholePart(Floats v) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    return Ints{_mm512_cvttps_epi32(v.raw)};
#elif HWY_TARGET == HWY_AVX2
    return Ints{_mm256_cvttps_epi32(v.raw)};
#elif HWY_ARCH_X86
    return Ints{_mm_cvttps_epi32(v.raw)};
#else
    return hn::ConvertTo(I(), v);
#endif
}

/// A vector of positions taken apart.
struct Cells {
    Ints x, y;                 ///< floors
    Floats fx, fy;             ///< fractions
    Pixels dx, dy;             ///< the same in 2^-32
    hn::Mask<P> right, below;  ///< where the ceiling is the next pixel
};

/// Positions are at least 1, so that fractions are multiples of 2^-23: added to 1 they fill its mantissa.
HWY_INLINE Cells cellsAt(Floats x, Floats y) {
    const F f;
    const P p;
    const auto one = hn::Set(f, 1.0F);
    const auto words = [&](Floats v) HWY_ATTR { return hn::ShiftLeft<9>(hn::BitCast(p, hn::Add(v, one))); };
    const Ints ix = wholePart(x), iy = wholePart(y);
    const Floats fx = hn::Sub(x, hn::ConvertTo(f, ix)), fy = hn::Sub(y, hn::ConvertTo(f, iy));
    const Pixels dx = words(fx), dy = words(fy);
    return {ix, iy, fx, fy, dx, dy, hn::Ne(dx, hn::Zero(p)), hn::Ne(dy, hn::Zero(p))};
}

/// Weights as two equal 16-bit numbers to a pixel, in the order of the rule, rounded down.
struct QuickWeights {
    Halves weight[4];
    hn::Mask<P> whole;  ///< where the position is whole and the weights mean nothing

    QuickWeights() = default;
    HWY_INLINE explicit QuickWeights(const Cells& c);
};

/// The upper 16 bits of each lane, twice.
HWY_INLINE Halves upperTwice(Pixels v) {
    const B b;
    alignas(16) static constexpr std::uint8_t pattern[16] = {2,  3,  2,  3,  6,  7,  6,  7,
                                                             10, 11, 10, 11, 14, 15, 14, 15};
    return hn::BitCast(H(), hn::TableLookupBytes(hn::BitCast(b, v), hn::LoadDup128(b, pattern)));
}

/// The lower 16 bits of each lane, twice.
HWY_INLINE Halves lowerTwice(Pixels v) {
    const B b;
    alignas(16) static constexpr std::uint8_t pattern[16] = {0, 1, 0, 1, 4,  5,  4,  5,
                                                             8, 9, 8, 9, 12, 13, 12, 13};
    return hn::BitCast(H(), hn::TableLookupBytes(hn::BitCast(b, v), hn::LoadDup128(b, pattern)));
}

/// dx * dy, rounded down to 2^-32.
HWY_INLINE Pixels productOf(Pixels dx, Pixels dy) {
    const P p;
    const hn::Repartition<std::uint64_t, P> wide;
    const auto odd = [&](Pixels v)
                         HWY_ATTR { return hn::BitCast(p, hn::ShiftRight<32>(hn::BitCast(wide, v))); };
    return hn::OddEven(hn::BitCast(p, hn::MulEven(odd(dx), odd(dy))),
                       odd(hn::BitCast(p, hn::MulEven(dx, dy))));
}

HWY_INLINE QuickWeights::QuickWeights(const Cells& c) : whole(hn::Eq(hn::Or(c.dx, c.dy), hn::Zero(P()))) {
    const P p;
    const H h;
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    // An exact product that is added to 2^23 and rounded toward zero leaves its whole part in the low bits.
    const F f;
    const Floats dx = hn::Mul(c.fx, hn::Set(f, 65536.0F)), nx = hn::Sub(hn::Set(f, 65536.0F), dx);
    const Floats ny = hn::Sub(hn::Set(f, 1.0F), c.fy);
    const auto product = [&](Floats a, Floats b) HWY_ATTR {
        constexpr int down = _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC;
        return lowerTwice(
            hn::BitCast(p, Floats{_mm512_fmadd_round_ps(a.raw, b.raw, _mm512_set1_ps(8388608.0F), down)}));
    };
    weight[0] = product(nx, ny);
    weight[1] = product(dx, ny);
    weight[2] = product(dx, c.fy);
    weight[3] = product(nx, c.fy);
#else
    // dx dy lies in [both, above), and the other products are what is left of dx, dy and 1. A fraction of 0
    // leaves nothing, which the difference with `above` would miss by one.
    const Pixels both = productOf(c.dx, c.dy);
    const Pixels above = hn::Add(both, hn::Set(p, 1U));
    const Pixels onlyX = hn::Min(hn::Sub(c.dx, above), c.dx);
    const Pixels onlyY = hn::Min(hn::Sub(c.dy, above), c.dy);
    const Pixels neither = hn::Sub(both, hn::Add(c.dx, c.dy));
    weight[0] = upperTwice(neither);
    weight[1] = upperTwice(onlyX);
    weight[2] = upperTwice(both);
    weight[3] = upperTwice(onlyY);
#endif
    // A byte c weighed by 255/256 or more, but less than 1, is c - 1, or 0. This is the largest weight whose
    // products say so and leave no doubt.
    const auto most = hn::Set(h, std::uint16_t{65279});
    for (Halves& w : weight) w = hn::Min(w, most);
}

/// Mixed pixels, and where a truncation is in doubt.
struct Mixed {
    Pixels pixels;
    hn::Mask<P> doubtful;
};

/// The colours of neighbours as 16-bit lanes: green in one vector, red and blue in the other.
struct Colours {
    Halves one, two;

    HWY_INLINE explicit Colours(Pixels pixels)
        : one(hn::BitCast(H(), hn::And(pixels, hn::Set(P(), 0x00FF0000U)))),
          two(hn::ShiftRight<8>(hn::BitCast(H(), pixels))) {}
};

/// Sums of colours and of alphas as pixels. `n` are the neighbours in the order of the weights; a whole
/// coordinate's ceiling is its floor.
HWY_INLINE Pixels joined(const Pixels (&n)[4], hn::Mask<P> whole, const Colours& sums) {
    const P p;
    const auto colours = hn::BitCast(p, hn::Or(sums.one, hn::ShiftLeft<8>(sums.two)));
    const auto alpha = hn::Set(p, 255U);
    const auto alphas = hn::Add(hn::Add(hn::Add(n[0], n[1]), hn::Add(n[2], n[3])), alpha);
    return hn::IfVecThenElse(alpha, alphas, hn::IfThenElse(whole, n[0], colours));
}

/// The products of 16-bit lanes that hold a byte in their upper half and their weights: whole parts above, 8
/// bits behind the point below.
HWY_INLINE Halves weighed(Halves colours, Halves weights) {
    return hn::MulHigh(colours, weights);
}

/// The same for green; the alphas, which are the other lanes, stay as they are.
HWY_INLINE Halves weighedGreen(Halves colours, Halves weights) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    return Halves{_mm512_mask_mulhi_epu16(colours.raw, 0xAAAAAAAAU, colours.raw, weights.raw)};
#else
    return hn::OddEven(hn::MulHigh(colours, weights), colours);
#endif
}

/// What four neighbours and their weights come to.
struct QuickSums {
    hn::Vec<B> greens;  ///< sums of alphas in the first bytes of 16-bit lanes, of greens in the others
    hn::Vec<B> others;  ///< the same of reds and blues, whole parts in upper bytes
    hn::Vec<B> last;    ///< in lower bytes, the greatest of what is behind the points of the products

    // Whole parts and what is behind the point are added and compared byte by byte, neither reaching the
    // other.
    HWY_INLINE QuickSums(const Halves (&weight)[4], const Pixels (&n)[4]) {
        const B b;
        for (int i = 0; i < 4; ++i) {
            const auto green =
                hn::BitCast(b, weighedGreen(hn::ShiftLeft<8>(hn::BitCast(H(), n[i])), weight[i]));
            const auto other = hn::BitCast(
                b, weighed(hn::BitCast(H(), hn::And(n[i], hn::Set(P(), kRedAndBlue))), weight[i]));
            greens = i == 0 ? green : hn::Add(greens, green);
            others = i == 0 ? other : hn::Add(others, other);
            last = i == 0 ? hn::Max(green, other) : hn::Max(last, hn::Max(green, other));
        }
    }

    /// The sums as pixels, whose alphas are not yet 255 more.
    HWY_INLINE Pixels pixels() const {
        const P p;
        return hn::IfVecThenElse(hn::Set(p, kRedAndBlue), hn::BitCast(p, others),
                                 hn::BitCast(p, hn::ShiftRight<8>(hn::BitCast(H(), greens))));
    }
    /// Where all 8 bits behind the point of some product are set, so that it may reach the next whole number.
    HWY_INLINE hn::Mask<P> doubtful() const {
        const P p;
        const auto behind = hn::And(hn::BitCast(p, last), hn::Set(p, 0x00FF00FFU));
        const auto carried = hn::And(hn::Add(behind, hn::Set(p, 0x00010001U)), hn::Set(p, 0x01000100U));
        return hn::Ne(carried, hn::Zero(p));
    }

    static constexpr std::uint32_t kRedAndBlue = 0xFF00FF00U;
};

/// Adds 255 to the sum of alphas, modulo 256.
HWY_INLINE Pixels withAlpha(Pixels sums) {
    const B b;
    return hn::BitCast(P(), hn::Add(hn::BitCast(b, sums), hn::BitCast(b, hn::Set(P(), 255U))));
}

HWY_INLINE Mixed mixWith(const QuickWeights& w, const Pixels (&n)[4]) {
    const QuickSums sums(w.weight, n);
    const Pixels mixed = sums.pixels();
    const auto alpha = hn::Set(P(), 255U);
    return {withAlpha(hn::IfThenElse(w.whole, hn::IfVecThenElse(alpha, mixed, n[0]), mixed)),
            sums.doubtful()};
}

/// Weights in 2^-32, rounded down: exact where the fractions have 32 bits together, as those of positions
/// beyond 256 have. As two equal 16-bit numbers to a pixel: the upper and the lower half.
struct FineWeights {
    Halves upper[4], lower[4];
    hn::Mask<P> whole;  ///< where the position is whole and the weights mean nothing

    FineWeights() = default;
    HWY_INLINE explicit FineWeights(const Cells& c) : whole(hn::Eq(hn::Or(c.dx, c.dy), hn::Zero(P()))) {
        const P p;
        const hn::Repartition<std::uint64_t, P> wide;
        const auto odd = [&](Pixels v)
                             HWY_ATTR { return hn::BitCast(p, hn::ShiftRight<32>(hn::BitCast(wide, v))); };
        const auto ofOdd = hn::MulEven(odd(c.dx), odd(c.dy)), ofEven = hn::MulEven(c.dx, c.dy);
        const Pixels both = hn::OddEven(hn::BitCast(p, ofOdd), odd(hn::BitCast(p, ofEven)));
        const Pixels lost = hn::OddEven(hn::BitCast(p, hn::ShiftLeft<32>(ofOdd)), hn::BitCast(p, ofEven));
        // dx dy lies in [both, above], and the other products are what is left of dx, dy and 1.
        const Pixels above = hn::Add(both, hn::IfThenElseZero(hn::Ne(lost, hn::Zero(p)), hn::Set(p, 1U)));
        const Pixels weights[4] = {hn::Sub(both, hn::Add(c.dx, c.dy)), hn::Sub(c.dx, above), both,
                                   hn::Sub(c.dy, above)};
        for (int i = 0; i < 4; ++i) {
            upper[i] = upperTwice(weights[i]);
            lower[i] = lowerTwice(weights[i]);
        }
    }
};

/// Products of colours and weights in 2^-32: their whole parts, and the first 16 bits behind the point.
struct FineProducts {
    Halves whole, behind;

    HWY_INLINE FineProducts(Halves colour, Halves upper, Halves lower) {
        const H h;
        const Halves coarse = hn::Mul(colour, upper);
        behind = hn::Add(coarse, hn::MulHigh(colour, lower));
        whole = hn::Sub(hn::MulHigh(colour, upper), hn::VecFromMask(h, hn::Lt(behind, coarse)));
    }
};

/// The same with finer weights: in doubt is what lies less than 2^-16 below a whole number.
HWY_INLINE Mixed mixWith(const FineWeights& w, const Pixels (&n)[4]) {
    const P p;
    const H h;
    Colours sums(hn::Zero(p));
    Halves last = hn::Zero(h);
    for (int i = 0; i < 4; ++i) {
        const Colours colours(n[i]);
        const FineProducts one(colours.one, w.upper[i], w.lower[i]), two(colours.two, w.upper[i], w.lower[i]);
        sums.one = hn::Add(sums.one, one.whole);
        sums.two = hn::Add(sums.two, two.whole);
        last = hn::Max(last, hn::Max(one.behind, two.behind));
    }
    const auto near = hn::VecFromMask(h, hn::Eq(last, hn::Set(h, std::uint16_t{0xFFFF})));
    return {joined(n, w.whole, sums), hn::AndNot(w.whole, hn::Ne(hn::BitCast(p, near), hn::Zero(p)))};
}

/// The neighbours of a vector of cells, fetched two by two wherever they lie.
template <Fetch fetch>
HWY_INLINE void fetchPairwise(const unsigned char* first, const std::int32_t* upper,
                              const std::int32_t* lower, hn::Mask<P> right, Pixels (&n)[4]) {
    const P p;
    const auto pairs = [&](const std::int32_t* at, Pixels& left, Pixels& next) HWY_ATTR {
        const auto low = hn::BitCast(p, fetchPairs<fetch>(first, at));
        const auto high = hn::BitCast(p, fetchPairs<fetch>(first, at + hn::MaxLanes(HalfI())));
        left = hn::ConcatEven(p, high, low);
        next = hn::IfThenElse(right, hn::ConcatOdd(p, high, low), left);
    };
    pairs(upper, n[0], n[1]);
    pairs(lower, n[3], n[2]);
}

/// How the neighbours of a vector of cells lie: in two rows and near each other, in three such rows, or
/// apart.
enum class Layout { twoRows, threeRows, apart };

#if HWY_TARGET <= HWY_AVX2 && HWY_ARCH_X86

/// A window of three rows of a field in which all neighbours of a vector of cells lie.
struct Window {
    std::ptrdiff_t row[3];               ///< the rows' first pixels, in bytes from the field's first pixel
    Ints left;                           ///< the floors' columns inside the window
    Ints next;                           ///< the ceilings' columns
    hn::Mask<P> second;                  ///< where the floor is the second row
    hn::Mask<P> lowerFirst, lowerThird;  ///< where the ceiling is the first, the third row
};

#if HWY_TARGET <= HWY_AVX3
constexpr int kWindowColumns = 32;
#else
constexpr int kWindowColumns = 8;
#endif

/// Places a window over the cells, inside the field, and tells how many of its rows they need.
HWY_INLINE Layout windowOver(const FieldPixels& field, const Cells& c, const float* atX, const float* atY,
                             Window& window) {
    constexpr int last = static_cast<int>(hn::MaxLanes(F())) - 1;
    constexpr int most = kWindowColumns == 8 ? 9 : kWindowColumns;
    const I i;
    const P p;
    const int rightmost = field.columns - most;
    if (rightmost < 0) return Layout::apart;
    int x = (static_cast<int>(atX[0]) + static_cast<int>(atX[last])) / 2 - kWindowColumns / 2;
    x = x < 0 ? 0 : x;
    x = x > rightmost ? rightmost : x;
    const int top = static_cast<int>(atY[0]), bottom = static_cast<int>(atY[last]);
    const int y = top < bottom ? top : bottom;
    const auto left = hn::BitCast(p, hn::Sub(c.x, hn::Set(i, x)));
    const auto up = hn::BitCast(p, hn::Sub(c.y, hn::Set(i, y)));
    const auto columns = hn::Set(p, static_cast<unsigned>(most - 1));
    if (!hn::AllTrue(p, hn::And(hn::Lt(left, columns), hn::Lt(up, hn::Set(p, 2U))))) return Layout::apart;
    // Rows below the field are never picked.
    const int under = y + 1 < field.rows ? y + 1 : y;
    const auto column = std::ptrdiff_t{x} * 4;
    window.row[0] = y * field.pitch + column;
    window.row[1] = under * field.pitch + column;
    const auto one = hn::Set(p, 1U);
    const auto lower = hn::Add(up, hn::IfThenElseZero(c.below, one));
    window.left = hn::BitCast(i, left);
    window.next = hn::BitCast(i, hn::Add(left, hn::IfThenElseZero(c.right, one)));
    window.second = hn::Eq(up, one);
    window.lowerFirst = hn::Eq(lower, hn::Zero(p));
    window.lowerThird = hn::Eq(lower, hn::Set(p, 2U));
    if (hn::AllFalse(p, window.second)) {
        if (hn::AllTrue(p, c.below)) return Layout::twoRows;
        if (hn::AllFalse(p, c.below)) {
            window.row[1] = window.row[0];
            return Layout::twoRows;
        }
    }
    // A third row that nobody needs would be one more line of memory to wait for.
    const int third = under + static_cast<int>(!hn::AllFalse(p, window.lowerThird));
    window.row[2] = third * field.pitch + column;
    return Layout::threeRows;
}

/// The floors and ceilings of a vector of cells in one row of their window.
struct RowPixels {
    Pixels left, next;

    HWY_INLINE RowPixels(const unsigned char* row, const Window& window, hn::Mask<P> right) {
        const P p;
        const auto* from = reinterpret_cast<const std::uint32_t*>(row);
#if HWY_TARGET <= HWY_AVX3
        const auto low = hn::LoadU(p, from), high = hn::LoadU(p, from + 16);
        left = Pixels{_mm512_permutex2var_epi32(low.raw, window.left.raw, high.raw)};
        next = Pixels{_mm512_permutex2var_epi32(low.raw, window.next.raw, high.raw)};
        (void)right;
#else
        left = Pixels{_mm256_permutevar8x32_epi32(hn::LoadU(p, from).raw, window.left.raw)};
        next = hn::IfThenElse(
            right, Pixels{_mm256_permutevar8x32_epi32(hn::LoadU(p, from + 1).raw, window.left.raw)}, left);
#endif
    }
};

template <Layout layout>
HWY_INLINE void fetchWindow(const unsigned char* first, const Window& window, hn::Mask<P> right,
                            Pixels (&n)[4]) {
    const RowPixels one(first + window.row[0], window, right), two(first + window.row[1], window, right);
    if constexpr (layout == Layout::twoRows) {
        n[0] = one.left;
        n[1] = one.next;
        n[2] = two.next;
        n[3] = two.left;
        return;
    }
    const RowPixels three(first + window.row[2], window, right);
    const auto lower = [&](Pixels a, Pixels b, Pixels c) HWY_ATTR {
        return hn::IfThenElse(window.lowerThird, c, hn::IfThenElse(window.lowerFirst, a, b));
    };
    n[0] = hn::IfThenElse(window.second, two.left, one.left);
    n[1] = hn::IfThenElse(window.second, two.next, one.next);
    n[2] = lower(one.next, two.next, three.next);
    n[3] = lower(one.left, two.left, three.left);
}

#else

struct Window {};

HWY_INLINE Layout windowOver(const FieldPixels&, const Cells&, const float*, const float*, Window&) {
    return Layout::apart;
}
template <Layout layout>
HWY_INLINE void fetchWindow(const unsigned char*, const Window&, hn::Mask<P>, Pixels (&)[4]) {}

#endif

#endif

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
