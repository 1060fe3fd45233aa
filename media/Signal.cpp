#include "media/Signal.h"

#include <algorithm>
#include <cmath>

namespace tumblewash::media {

namespace {

// BT.2100-2, table 5.
constexpr double kA = 0.17883277, kB = 0.28466892, kC = 0.55991073;
constexpr double kSystemGamma = 1.2;
// BT.2100-2, table 4.
constexpr double kM1 = 2610.0 / 16384, kM2 = 2523.0 / 4096 * 128;
constexpr double kC1 = 3424.0 / 4096, kC2 = 2413.0 / 4096 * 32, kC3 = 2392.0 / 4096 * 32;
constexpr double kDisplayGamma = 2.4;
constexpr double kSdrPeak = 100;  // of BT.2446's target display

constexpr Triple kLuma2020{0.2627, 0.6780, 0.0593};

double luminance(const Triple& c) {
    return kLuma2020[0] * c[0] + kLuma2020[1] * c[1] + kLuma2020[2] * c[2];
}

template <typename Change>
Triple each(const Triple& c, Change change) {
    return {change(c[0]), change(c[1]), change(c[2])};
}

struct Chromaticities {
    double redX, redY, greenX, greenY, blueX, blueY;
};

Chromaticities chromaticitiesOf(Primaries primaries) {
    switch (primaries) {
        case Primaries::displayP3:
        case Primaries::dciP3:
            return {0.680, 0.320, 0.265, 0.690, 0.150, 0.060};
        case Primaries::bt2020:
            return {0.708, 0.292, 0.170, 0.797, 0.131, 0.046};
        default:
            return {0.640, 0.330, 0.300, 0.600, 0.150, 0.060};
    }
}

Matrix3 inverse(const Matrix3& m) {
    Matrix3 out;
    const auto minor = [&](size_t r, size_t c) {
        const size_t r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
        return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
    };
    const double determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c) out[c][r] = minor(r, c) / determinant;
    return out;
}

/// SMPTE RP 177: linear RGB to XYZ with a white of D65.
Matrix3 toXyz(Primaries primaries) {
    const Chromaticities p = chromaticitiesOf(primaries);
    const Matrix3 shape{{{p.redX / p.redY, p.greenX / p.greenY, p.blueX / p.blueY},
                         {1, 1, 1},
                         {(1 - p.redX - p.redY) / p.redY, (1 - p.greenX - p.greenY) / p.greenY,
                          (1 - p.blueX - p.blueY) / p.blueY}}};
    constexpr double whiteX = 0.3127, whiteY = 0.3290;
    const Triple scale = inverse(shape) * Triple{whiteX / whiteY, 1, (1 - whiteX - whiteY) / whiteY};
    Matrix3 out = shape;
    for (Triple& row : out)
        for (size_t c = 0; c < 3; ++c) row[c] *= scale[c];
    return out;
}

Matrix3 between(Primaries from, Primaries to) {
    if (from == to) return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const Matrix3 back = inverse(toXyz(to));
    const Matrix3 there = toXyz(from);
    Matrix3 out{};
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c)
            for (size_t k = 0; k < 3; ++k) out[r][c] += back[r][k] * there[k][c];
    return out;
}

double rhoOf(double peak) {
    return 1 + 32 * std::pow(peak / 10000, 1 / kDisplayGamma);
}

/// The signal's light in nits (HDR) or relative to white (SDR), in the signal's own primaries.
Triple toLight(const Triple& signal, const SignalConversion& c) {
    if (c.fromTransfer == Transfer::hlg) return hlgToNits(signal);
    return each(signal, c.fromTransfer == Transfer::pq ? pqToNits : gammaToLight);
}

}  // namespace

double hlgToScene(double signal) noexcept {
    if (signal <= 0) return 0;
    return signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - kC) / kA) + kB) / 12;
}

double sceneToHlg(double scene) noexcept {
    if (scene <= 0) return 0;
    return scene <= 1.0 / 12 ? std::sqrt(3 * scene) : kA * std::log(12 * scene - kB) + kC;
}

double pqToNits(double signal) noexcept {
    const double root = std::pow(std::clamp(signal, 0.0, 1.0), 1 / kM2);
    return 10000 * std::pow(std::max(root - kC1, 0.0) / (kC2 - kC3 * root), 1 / kM1);
}

double nitsToPq(double nits) noexcept {
    const double power = std::pow(std::clamp(nits / 10000, 0.0, 1.0), kM1);
    return std::pow((kC1 + kC2 * power) / (1 + kC3 * power), kM2);
}

double gammaToLight(double signal) noexcept {
    return signal <= 0 ? 0 : std::pow(signal, kDisplayGamma);
}

double lightToGamma(double light) noexcept {
    return light <= 0 ? 0 : std::pow(light, 1 / kDisplayGamma);
}

Triple hlgToNits(const Triple& signal) noexcept {
    const Triple scene = each(signal, hlgToScene);
    const double y = luminance(scene);
    const double factor = y <= 0 ? 0 : kHlgPeak * std::pow(y, kSystemGamma - 1);
    return each(scene, [&](double v) { return factor * v; });
}

Triple nitsToHlg(const Triple& nits) noexcept {
    const Triple display = each(nits, [](double v) { return std::clamp(v / kHlgPeak, 0.0, 1.0); });
    const double y = luminance(display);
    const double factor = y <= 0 ? 0 : std::pow(y, (1 - kSystemGamma) / kSystemGamma);
    return each(display, [&](double v) { return sceneToHlg(factor * v); });
}

Matrix3 gamutMatrix(Primaries from, Primaries to) noexcept {
    // Tables ask for each of their nodes.
    static const auto all = [] {
        constexpr std::array primaries{Primaries::bt709, Primaries::displayP3, Primaries::dciP3,
                                       Primaries::bt2020};
        std::array<std::array<Matrix3, primaries.size()>, primaries.size()> out;
        for (const Primaries a : primaries)
            for (const Primaries b : primaries)
                out[static_cast<size_t>(a)][static_cast<size_t>(b)] = between(a, b);
        return out;
    }();
    return all[static_cast<size_t>(from)][static_cast<size_t>(to)];
}

Triple operator*(const Matrix3& matrix, const Triple& colour) noexcept {
    Triple out;
    for (size_t r = 0; r < 3; ++r)
        out[r] = matrix[r][0] * colour[0] + matrix[r][1] * colour[1] + matrix[r][2] * colour[2];
    return out;
}

Triple toneMapNatural(const Triple& nits, double peak) noexcept {
    const Triple hdr =
        each(nits, [&](double v) { return std::pow(std::clamp(v / peak, 0.0, 1.0), 1 / kDisplayGamma); });
    const double y = luminance(hdr);
    if (y <= 0) return {0, 0, 0};
    const double rhoHdr = rhoOf(peak), rhoSdr = rhoOf(kSdrPeak);
    const double perceived = std::log(1 + (rhoHdr - 1) * y) / std::log(rhoHdr);
    const double bent = perceived <= 0.7399   ? 1.0770 * perceived
                        : perceived <= 0.9909 ? -1.1510 * perceived * perceived + 2.7811 * perceived - 0.6302
                                              : 0.5 * perceived + 0.5;
    const double sdr = (std::pow(rhoSdr, bent) - 1) / (rhoSdr - 1);
    const double scale = sdr / (1.1 * y);
    const double cb = scale * (hdr[2] - y) / 1.8814;
    const double cr = scale * (hdr[0] - y) / 1.4746;
    const double luma = sdr - std::max(0.1 * cr, 0.0);
    const double red = luma + 1.4746 * cr;
    const double blue = luma + 1.8814 * cb;
    const double green = (luma - kLuma2020[0] * red - kLuma2020[2] * blue) / kLuma2020[1];
    return each({red, green, blue}, gammaToLight);
}

Triple toneMapWhite(const Triple& nits, double peak) noexcept {
    const double most = std::min(std::max({nits[0], nits[1], nits[2]}), peak);
    if (most <= 0) return {0, 0, 0};
    const double pqPeak = nitsToPq(peak);
    const double e1 = nitsToPq(most) / pqPeak;
    const double maxLum = nitsToPq(kReferenceWhite) / pqPeak;
    const double knee = 1.5 * maxLum - 0.5;
    double e2 = e1;
    if (e1 > knee) {
        const double t = (e1 - knee) / (1 - knee);
        const double t2 = t * t, t3 = t2 * t;
        e2 = (2 * t3 - 3 * t2 + 1) * knee + (t3 - 2 * t2 + t) * (1 - knee) + (3 * t2 - 2 * t3) * maxLum;
    }
    const double factor = pqToNits(e2 * pqPeak) / (most * kReferenceWhite);
    return each(nits, [&](double v) { return std::clamp(v, 0.0, peak) * factor; });
}

Triple lightForSdr(const Triple& signal, const SignalConversion& c) noexcept {
    const Triple light = toLight(signal, c);
    if (c.fromTransfer == Transfer::sdr) return gamutMatrix(c.fromPrimaries, c.toPrimaries) * light;
    const double peak = c.fromTransfer == Transfer::hlg ? kHlgPeak : c.fromPeak;
    const Triple wide = gamutMatrix(c.fromPrimaries, Primaries::bt2020) * light;
    const Triple toned =
        c.toneMap == ToneMap::natural ? toneMapNatural(wide, peak) : toneMapWhite(wide, peak);
    return gamutMatrix(Primaries::bt2020, c.toPrimaries) * toned;
}

double sdrSignal(double light, bool fromHdr) noexcept {
    return lightToGamma(fromHdr ? std::min(light, 1.0) : light);
}

Triple convertSignal(const Triple& signal, const SignalConversion& c) noexcept {
    if (c.none()) return signal;
    if (c.toTransfer == Transfer::sdr)
        return each(lightForSdr(signal, c),
                    [&](double v) { return sdrSignal(v, c.fromTransfer != Transfer::sdr); });
    const Triple light = toLight(signal, c);
    const double white = c.fromTransfer == Transfer::sdr ? kReferenceWhite : 1;
    const Triple nits = each(gamutMatrix(c.fromPrimaries, c.toPrimaries) * light,
                             [&](double v) { return std::max(0.0, v * white); });
    return c.toTransfer == Transfer::hlg ? nitsToHlg(nits) : each(nits, nitsToPq);
}

}  // namespace tumblewash::media
