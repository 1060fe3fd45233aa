#include "ImageLib/kernels/DeepYuvRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void deepRowFromYuv(const DeepMatrix& matrix, const std::uint8_t* y, const std::uint8_t* cb,
                    const std::uint8_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, InstructionSet) {
    deepRowFromYuvScalar(matrix, y, cb, cr, halved, 0, pixels, red, green, blue);
}
void deepRowFromYuv(const DeepMatrix& matrix, const std::uint16_t* y, const std::uint16_t* cb,
                    const std::uint16_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, InstructionSet) {
    deepRowFromYuvScalar(matrix, y, cb, cr, halved, 0, pixels, red, green, blue);
}
void lumaRowFromDeep(const DeepMatrix& matrix, const DeepRow& from, std::size_t pixels, unsigned line,
                     bool dither, std::uint8_t* out, InstructionSet) {
    lumaRowFromDeepScalar(matrix, from, 0, pixels, line, dither, out);
}
void lumaRowFromDeep(const DeepMatrix& matrix, const DeepRow& from, std::size_t pixels, unsigned line,
                     bool dither, std::uint16_t* out, InstructionSet) {
    lumaRowFromDeepScalar(matrix, from, 0, pixels, line, dither, out);
}
void chromaRowFromDeep(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                       std::size_t pixels, unsigned line, bool dither, std::uint8_t* cb, std::uint8_t* cr,
                       InstructionSet) {
    chromaRowFromDeepScalar(matrix, above, below, 0, pixels, line, dither, cb, cr);
}
void chromaRowFromDeep(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                       std::size_t pixels, unsigned line, bool dither, std::uint16_t* cb, std::uint16_t* cr,
                       InstructionSet) {
    chromaRowFromDeepScalar(matrix, above, below, 0, pixels, line, dither, cb, cr);
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/DeepYuvRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Numbers of 32 bits throughout: sums of words by their weights fill them.
using Ints = hn::CappedTag<std::int32_t, 16>;
using IntVec = hn::Vec<Ints>;
constexpr std::size_t kMost = 16;

/// Samples as 10-bit codes, as many as `d` has lanes.
template <class D>
HWY_INLINE hn::Vec<D> codes(D d, const std::uint8_t* from) {
    return hn::ShiftLeft<2>(hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, D>(), from)));
}
template <class D>
HWY_INLINE hn::Vec<D> codes(D d, const std::uint16_t* from) {
    const hn::Rebind<std::uint16_t, D> small;
    return hn::PromoteTo(d, hn::Min(hn::LoadU(small, from), hn::Set(small, 1023)));
}

HWY_INLINE IntVec words(const std::uint16_t* from) {
    return hn::PromoteTo(Ints(), hn::LoadU(hn::Rebind<std::uint16_t, Ints>(), from));
}

HWY_INLINE void storeCodes(IntVec v, std::uint8_t* to) {
    const hn::Rebind<std::uint8_t, Ints> bytes;
    hn::StoreU(hn::DemoteTo(bytes, v), bytes, to);
}
HWY_INLINE void storeCodes(IntVec v, std::uint16_t* to) {
    const hn::Rebind<std::uint16_t, Ints> out;
    hn::StoreU(hn::DemoteTo(out, v), out, to);
}

/// What chroma samples add to the grey of their pixels.
struct Chroma {
    IntVec red, green, blue;
};
template <typename Sample>
HWY_INLINE Chroma chromaOf(const DeepMatrix& c, const Sample* cb, const Sample* cr) {
    const Ints d;
    const auto middle = hn::Set(d, 512), half = hn::Set(d, 1 << (kToDeepBits - 1));
    const auto u = hn::Sub(codes(d, cb), middle), v = hn::Sub(codes(d, cr), middle);
    const auto by = [&](int weight, IntVec of) HWY_ATTR { return hn::Mul(of, hn::Set(d, weight)); };
    return {hn::ShiftRight<kToDeepBits>(hn::Add(by(c.redCr, v), half)),
            hn::ShiftRight<kToDeepBits>(hn::Add(hn::Add(by(c.greenCb, u), by(c.greenCr, v)), half)),
            hn::ShiftRight<kToDeepBits>(hn::Add(by(c.blueCb, u), half))};
}

template <typename Sample>
HWY_INLINE void rowFromYuv(const DeepMatrix& c, const Sample* y, const Sample* cb, const Sample* cr,
                           bool halved, std::size_t pixels, std::uint16_t* red, std::uint16_t* green,
                           std::uint16_t* blue) {
    const Ints d;
    const std::size_t lanes = hn::Lanes(d);
    const auto put = [&](std::size_t at, IntVec more, std::uint16_t* to) HWY_ATTR {
        // Demoting holds to 0 ... 65535.
        storeCodes(hn::Add(hn::ShiftLeft<6>(codes(d, y + at)), more), to + at);
    };
    static_assert(kDeepStep == 1 << 6);
    std::size_t x = 0;
    if (halved) {
        alignas(64) std::int32_t two[2 * kMost];
        for (; x + 2 * lanes <= pixels; x += 2 * lanes) {
            const Chroma chroma = chromaOf(c, cb + x / 2, cr + x / 2);
            const auto both = [&](IntVec more, std::uint16_t* to) HWY_ATTR {
                hn::StoreInterleaved2(more, more, d, two);
                put(x, hn::Load(d, two), to);
                put(x + lanes, hn::Load(d, two + lanes), to);
            };
            both(chroma.red, red);
            both(chroma.green, green);
            both(chroma.blue, blue);
        }
    } else {
        for (; x + lanes <= pixels; x += lanes) {
            const Chroma chroma = chromaOf(c, cb + x, cr + x);
            put(x, chroma.red, red);
            put(x, chroma.green, green);
            put(x, chroma.blue, blue);
        }
    }
    deepRowFromYuvScalar(c, y, cb, cr, halved, x, pixels, red, green, blue);
}

/// The shares of a line from its first place on, vector by vector; half a step where none are wanted.
class Shares {
  public:
    Shares(unsigned line, bool dither) : dither_(dither) {
        const Ints d;
        at_ = hn::Add(hn::Mul(hn::Iota(d, 0), hn::Set(d, 193)), hn::Set(d, ditherShare(0, line)));
        step_ = hn::Set(d, static_cast<std::int32_t>(193 * hn::Lanes(d) % 256));
    }
    IntVec next() {
        const Ints d;
        const auto low = hn::Set(d, 255);
        const auto now = dither_ ? hn::And(at_, low) : hn::Set(d, 128);
        at_ = hn::And(hn::Add(at_, step_), low);
        return now;
    }

  private:
    bool dither_;
    IntVec at_, step_;
};

HWY_INLINE void putLuma(IntVec sum, IntVec share, std::uint8_t* out) {
    storeCodes(hn::ShiftRight<8>(hn::Add(hn::ShiftRight<kLumaBits>(sum), share)), out);
}
HWY_INLINE void putLuma(IntVec sum, IntVec, std::uint16_t* out) {
    const Ints d;
    constexpr int shift = kLumaBits + 6;
    storeCodes(hn::Min(hn::ShiftRight<shift>(hn::Add(sum, hn::Set(d, 1 << (shift - 1)))), hn::Set(d, 1023)),
               out);
}
HWY_INLINE void putChroma(IntVec sum, IntVec share, std::uint8_t* out) {
    const Ints d;
    storeCodes(
        hn::Add(hn::ShiftRight<8>(hn::Add(hn::ShiftRight<kChromaBits - 4>(sum), share)), hn::Set(d, 128)),
        out);
}
HWY_INLINE void putChroma(IntVec sum, IntVec, std::uint16_t* out) {
    const Ints d;
    constexpr int shift = kChromaBits + 2;
    const auto code =
        hn::Add(hn::ShiftRight<shift>(hn::Add(sum, hn::Set(d, 1 << (shift - 1)))), hn::Set(d, 512));
    storeCodes(hn::Min(code, hn::Set(d, 1023)), out);
}

template <typename Sample>
HWY_INLINE void lumaRow(const DeepMatrix& c, const DeepRow& from, std::size_t pixels, unsigned line,
                        bool dither, Sample* out) {
    const Ints d;
    const auto red = hn::Set(d, c.yRed), green = hn::Set(d, c.yGreen), blue = hn::Set(d, c.yBlue);
    Shares shares(line, dither);
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= pixels; x += hn::Lanes(d)) {
        const auto sum =
            hn::Add(hn::Add(hn::Mul(words(from.red + x), red), hn::Mul(words(from.green + x), green)),
                    hn::Mul(words(from.blue + x), blue));
        putLuma(sum, shares.next(), out + x);
    }
    lumaRowFromDeepScalar(c, from, x, pixels, line, dither, out);
}

/// The sums of four words, two of each line, side by side.
HWY_INLINE IntVec ofFour(const std::uint16_t* above, const std::uint16_t* below) {
    const hn::Repartition<std::uint16_t, Ints> d;
    const hn::Repartition<std::uint32_t, Ints> wide;
    const auto low = hn::Set(wide, 0xFFFF);
    const auto pair = [&](const std::uint16_t* from) HWY_ATTR {
        const auto two = hn::BitCast(wide, hn::LoadU(d, from));
        return hn::Add(hn::And(two, low), hn::ShiftRight<16>(two));
    };
    return hn::BitCast(Ints(), hn::Add(pair(above), pair(below)));
}

template <typename Sample>
HWY_INLINE void chromaRow(const DeepMatrix& c, const DeepRow& above, const DeepRow& below, std::size_t pixels,
                          unsigned line, bool dither, Sample* cb, Sample* cr) {
    const Ints d;
    Shares shares(line, dither);
    std::size_t x = 0;
    for (; 2 * (x + hn::Lanes(d)) <= pixels; x += hn::Lanes(d)) {
        const auto green = ofFour(above.green + 2 * x, below.green + 2 * x);
        const auto red = hn::Sub(ofFour(above.red + 2 * x, below.red + 2 * x), green);
        const auto blue = hn::Sub(ofFour(above.blue + 2 * x, below.blue + 2 * x), green);
        const auto sum = [&](int ofRed, int ofBlue) HWY_ATTR {
            return hn::Add(hn::Mul(red, hn::Set(d, ofRed)), hn::Mul(blue, hn::Set(d, ofBlue)));
        };
        const auto share = shares.next();
        putChroma(sum(c.cbRed, c.cbBlue), share, cb + x);
        putChroma(sum(c.crRed, c.crBlue), share, cr + x);
    }
    chromaRowFromDeepScalar(c, above, below, 2 * x, pixels, line, dither, cb, cr);
}

#else

template <typename Sample>
HWY_INLINE void rowFromYuv(const DeepMatrix& c, const Sample* y, const Sample* cb, const Sample* cr,
                           bool halved, std::size_t pixels, std::uint16_t* red, std::uint16_t* green,
                           std::uint16_t* blue) {
    deepRowFromYuvScalar(c, y, cb, cr, halved, 0, pixels, red, green, blue);
}
template <typename Sample>
HWY_INLINE void lumaRow(const DeepMatrix& c, const DeepRow& from, std::size_t pixels, unsigned line,
                        bool dither, Sample* out) {
    lumaRowFromDeepScalar(c, from, 0, pixels, line, dither, out);
}
template <typename Sample>
HWY_INLINE void chromaRow(const DeepMatrix& c, const DeepRow& above, const DeepRow& below, std::size_t pixels,
                          unsigned line, bool dither, Sample* cb, Sample* cr) {
    chromaRowFromDeepScalar(c, above, below, 0, pixels, line, dither, cb, cr);
}

#endif

// One name each, as Highway's tables of functions want them.
HWY_ATTR void fromYuv8(const DeepMatrix& c, const std::uint8_t* y, const std::uint8_t* cb,
                       const std::uint8_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                       std::uint16_t* green, std::uint16_t* blue) {
    rowFromYuv(c, y, cb, cr, halved, pixels, red, green, blue);
}
HWY_ATTR void luma8(const DeepMatrix& c, const DeepRow& from, std::size_t pixels, unsigned line, bool dither,
                    std::uint8_t* out) {
    lumaRow(c, from, pixels, line, dither, out);
}
HWY_ATTR void chroma8(const DeepMatrix& c, const DeepRow& above, const DeepRow& below, std::size_t pixels,
                      unsigned line, bool dither, std::uint8_t* cb, std::uint8_t* cr) {
    chromaRow(c, above, below, pixels, line, dither, cb, cr);
}
HWY_ATTR void fromYuv10(const DeepMatrix& c, const std::uint16_t* y, const std::uint16_t* cb,
                        const std::uint16_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                        std::uint16_t* green, std::uint16_t* blue) {
    rowFromYuv(c, y, cb, cr, halved, pixels, red, green, blue);
}
HWY_ATTR void luma10(const DeepMatrix& c, const DeepRow& from, std::size_t pixels, unsigned line, bool dither,
                     std::uint16_t* out) {
    lumaRow(c, from, pixels, line, dither, out);
}
HWY_ATTR void chroma10(const DeepMatrix& c, const DeepRow& above, const DeepRow& below, std::size_t pixels,
                       unsigned line, bool dither, std::uint16_t* cb, std::uint16_t* cr) {
    chromaRow(c, above, below, pixels, line, dither, cb, cr);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(fromYuv8);
HWY_EXPORT(luma8);
HWY_EXPORT(chroma8);
HWY_EXPORT(fromYuv10);
HWY_EXPORT(luma10);
HWY_EXPORT(chroma10);

void deepRowFromYuv(const DeepMatrix& matrix, const std::uint8_t* y, const std::uint8_t* cb,
                    const std::uint8_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, InstructionSet set) {
    TUMBLEWASH_VERSION(fromYuv8, set)(matrix, y, cb, cr, halved, pixels, red, green, blue);
}
void lumaRowFromDeep(const DeepMatrix& matrix, const DeepRow& from, std::size_t pixels, unsigned line,
                     bool dither, std::uint8_t* out, InstructionSet set) {
    TUMBLEWASH_VERSION(luma8, set)(matrix, from, pixels, line, dither, out);
}
void chromaRowFromDeep(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                       std::size_t pixels, unsigned line, bool dither, std::uint8_t* cb, std::uint8_t* cr,
                       InstructionSet set) {
    TUMBLEWASH_VERSION(chroma8, set)(matrix, above, below, pixels, line, dither, cb, cr);
}
void deepRowFromYuv(const DeepMatrix& matrix, const std::uint16_t* y, const std::uint16_t* cb,
                    const std::uint16_t* cr, bool halved, std::size_t pixels, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, InstructionSet set) {
    TUMBLEWASH_VERSION(fromYuv10, set)(matrix, y, cb, cr, halved, pixels, red, green, blue);
}
void lumaRowFromDeep(const DeepMatrix& matrix, const DeepRow& from, std::size_t pixels, unsigned line,
                     bool dither, std::uint16_t* out, InstructionSet set) {
    TUMBLEWASH_VERSION(luma10, set)(matrix, from, pixels, line, dither, out);
}
void chromaRowFromDeep(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                       std::size_t pixels, unsigned line, bool dither, std::uint16_t* cb, std::uint16_t* cr,
                       InstructionSet set) {
    TUMBLEWASH_VERSION(chroma10, set)(matrix, above, below, pixels, line, dither, cb, cr);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
