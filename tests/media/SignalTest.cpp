// The formulas of signals and light against the standards' own numbers and a second writing of them, and the
// tables made from them.
#include <cmath>
#include <random>

#include "media/Signal.h"
#include "media/detail/ColourTable.h"
#include "tests/media/Charts.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::ClipColour;
using media::ColourTable;
using media::convertSignal;
using media::gammaToLight;
using media::gamutMatrix;
using media::hlgToNits;
using media::hlgToScene;
using media::LightLevel;
using media::lightToGamma;
using media::nitsToHlg;
using media::nitsToPq;
using media::operator*;
using media::peakOf;
using media::pqToNits;
using media::Primaries;
using media::sceneToHlg;
using media::SignalConversion;
using media::ToneMap;
using media::Transfer;
using media::Triple;

namespace {

void expectNear(const Triple& got, const Colour3& wanted, double by) {
    for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(got[c], wanted[c], by);
}

SignalConversion toSdr(Transfer from, ToneMap map, double peak = 1000) {
    SignalConversion out;
    out.fromTransfer = from;
    out.fromPrimaries = Primaries::bt2020;
    out.fromPeak = peak;
    out.toneMap = map;
    return out;
}

SignalConversion fromSdr(Transfer to) {
    SignalConversion out;
    out.toTransfer = to;
    out.toPrimaries = Primaries::bt2020;
    return out;
}

Colour3 reference(const Colour3& signal, const SignalConversion& c) {
    const Colour3 nits = c.fromTransfer == Transfer::hlg
                             ? hlgDisplay(signal)
                             : Colour3{pqLight(signal[0]), pqLight(signal[1]), pqLight(signal[2])};
    return c.toneMap == ToneMap::natural ? naturalSdr(nits, c.fromPeak) : whiteSdr(nits, c.fromPeak);
}

struct Figures {
    double meanCode = 0, worstCode = 0, meanDelta = 0, worstDelta = 0;
};

/// Table against reference over some signals, in 8-bit codes.
Figures compare(const SignalConversion& conversion, const std::vector<Colour3>& signals) {
    const auto table = ColourTable::of(conversion);
    Figures out;
    for (const Colour3& signal : signals) {
        uint16_t words[3];
        Colour3 exact, got;
        for (size_t c = 0; c < 3; ++c) {
            words[c] = static_cast<uint16_t>(std::lround(4096 + 56064 * signal[c]));
            exact[c] = (words[c] - 4096.0) / 56064;
        }
        const Colour3 wanted = reference(exact, conversion);
        table->convertRow(words, words + 1, words + 2, 1);
        for (size_t c = 0; c < 3; ++c) {
            got[c] = (words[c] - 4096.0) / 56064;
            const double off = 255 * std::abs(got[c] - wanted[c]);
            out.meanCode += off / (3.0 * static_cast<double>(signals.size()));
            out.worstCode = std::max(out.worstCode, off);
        }
        const double delta = deltaE(got, wanted);
        out.meanDelta += delta / static_cast<double>(signals.size());
        out.worstDelta = std::max(out.worstDelta, delta);
    }
    return out;
}

std::vector<Colour3> greys() {
    std::vector<Colour3> out;
    for (int code = 64; code <= 940; ++code) {
        const double v = (code - 64) / 876.0;
        out.push_back({v, v, v});
    }
    return out;
}

std::vector<Colour3> bars(double level, Transfer as) {
    std::vector<Colour3> out;
    for (int i = 0; i < 8; ++i) {
        const Colour3 bar{i & 1 ? level : 0, i & 2 ? level : 0, i & 4 ? level : 0};
        out.push_back(as == Transfer::hlg ? sdrAsHlg(bar) : sdrAsPq(bar));
    }
    return out;
}

}  // namespace

TEST(SignalTest, TransfersHaveTheirStandardsNumbers) {
    EXPECT_NEAR(nitsToPq(100), 0.5081, 0.0001);
    EXPECT_NEAR(nitsToPq(203), 0.5807, 0.0001);
    EXPECT_NEAR(nitsToPq(1000), 0.7518, 0.0001);
    EXPECT_NEAR(nitsToPq(10000), 1, 1e-9);
    EXPECT_NEAR(sceneToHlg(1.0 / 12), 0.5, 1e-9);
    EXPECT_NEAR(sceneToHlg(1), 1, 1e-6);
    EXPECT_NEAR(nitsToHlg({203, 203, 203})[1], 0.75, 0.001);
    EXPECT_NEAR(hlgToNits({0.75, 0.75, 0.75})[0], 203, 1);
    for (double v = 0; v <= 1; v += 0.01) {
        EXPECT_NEAR(sceneToHlg(hlgToScene(v)), v, 1e-6);
        EXPECT_NEAR(nitsToPq(pqToNits(v)), v, 1e-5);
        EXPECT_NEAR(lightToGamma(gammaToLight(v)), v, 1e-12);
        EXPECT_NEAR(hlgToScene(v), hlgLight(v), 1e-7);
        EXPECT_NEAR(pqToNits(v), pqLight(v), 1e-6);
    }
    EXPECT_EQ(hlgToScene(-1), 0);
    EXPECT_EQ(pqToNits(-1), 0);
    EXPECT_GT(hlgToScene(1.09), 1.2);
}

TEST(SignalTest, GamutsKeepWhiteAndHaveTheirStandardsMatrix) {
    for (const Primaries from : {Primaries::bt709, Primaries::displayP3, Primaries::bt2020})
        for (const Primaries to : {Primaries::bt709, Primaries::displayP3, Primaries::bt2020})
            expectNear(gamutMatrix(from, to) * Triple{1, 1, 1}, {1, 1, 1}, 1e-9);
    expectNear(gamutMatrix(Primaries::bt709, Primaries::bt2020) * Triple{1, 0, 0}, {0.6274, 0.0691, 0.0164},
               0.0001);
    expectNear(gamutMatrix(Primaries::bt2020, Primaries::bt709) * Triple{0, 1, 0}, {-0.5876, 1.1329, -0.1006},
               0.0001);
}

TEST(SignalTest, ToneMapsAreTheStandardsFormulas) {
    std::mt19937 random(11);
    for (const Transfer from : {Transfer::hlg, Transfer::pq})
        for (const ToneMap map : {ToneMap::natural, ToneMap::white})
            for (const double peak : {1000.0, 2500.0, 4000.0}) {
                if (from == Transfer::hlg && peak != 1000) continue;
                const SignalConversion conversion = toSdr(from, map, peak);
                for (int i = 0; i < 500; ++i) {
                    Colour3 signal;
                    for (double& v : signal) v = static_cast<double>(random() % 1001) / 1000.0;
                    // The printed matrices have four digits: near black the gamma makes much of that.
                    const Triple got = convertSignal(signal, conversion);
                    EXPECT_LT(deltaE(got, reference(signal, conversion)), 0.5);
                }
            }
}

TEST(SignalTest, ReferenceWhiteIsWhiteForWhiteAndHighForNatural) {
    const double hlg = nitsToHlg({203, 203, 203})[0], pq = nitsToPq(203);
    for (const auto& [transfer, signal] : {std::pair{Transfer::hlg, hlg}, std::pair{Transfer::pq, pq}}) {
        const double natural = convertSignal({signal, signal, signal}, toSdr(transfer, ToneMap::natural))[0];
        EXPECT_NEAR(natural, naturalSdr({203, 203, 203}, 1000)[0], 0.002);
        EXPECT_NEAR(convertSignal({signal, signal, signal}, toSdr(transfer, ToneMap::white))[0],
                    whiteSdr({203, 203, 203}, 1000)[0], 0.002);
        EXPECT_NEAR(convertSignal({1, 1, 1}, toSdr(transfer, ToneMap::white))[0], 1, 0.001);
    }
}

TEST(SignalTest, SdrWhiteLandsOnItsHdrCodes) {
    const Triple hlg = convertSignal({1, 1, 1}, fromSdr(Transfer::hlg));
    const Triple pq = convertSignal({1, 1, 1}, fromSdr(Transfer::pq));
    for (size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(64 + 876 * hlg[c], 721, 1);
        EXPECT_NEAR(64 + 876 * pq[c], 573, 1);
    }
    for (const Colour3& sdr : {Colour3{1, 0, 0}, Colour3{0.2, 0.7, 0.4}, Colour3{0, 0, 0}}) {
        expectNear(convertSignal(sdr, fromSdr(Transfer::hlg)), sdrAsHlg(sdr), 0.001);
        expectNear(convertSignal(sdr, fromSdr(Transfer::pq)), sdrAsPq(sdr), 0.001);
    }
}

TEST(SignalTest, PqAndHlgMeetAsDisplayLight) {
    SignalConversion across;
    across.fromTransfer = Transfer::pq;
    across.fromPrimaries = across.toPrimaries = Primaries::bt2020;
    across.toTransfer = Transfer::hlg;
    const double signal = nitsToPq(500);
    expectNear(hlgToNits(convertSignal({signal, signal, signal}, across)), {500, 500, 500}, 0.1);
    EXPECT_NEAR(convertSignal({1, 1, 1}, across)[0], 1, 1e-6);
    std::swap(across.fromTransfer, across.toTransfer);
    EXPECT_NEAR(pqToNits(convertSignal({1, 1, 1}, across)[0]), 1000, 0.5);
}

TEST(SignalTest, PeaksAreKeptToWhatDisplaysShow) {
    ClipColour colour;
    EXPECT_EQ(peakOf(colour), 1000);
    colour.mastering.emplace().maxNits = 2000;
    EXPECT_EQ(peakOf(colour), 2000);
    for (const auto& [content, peak] : {std::pair{0, 2000.0}, std::pair{1500, 1500.0}, std::pair{50, 1000.0},
                                        std::pair{1'000'000, 4000.0}}) {
        colour.light = LightLevel{content, 0};
        EXPECT_EQ(peakOf(colour), peak);
    }
}

TEST(ColourTableTest, TablesFollowTheFormulas) {
    for (const Transfer from : {Transfer::hlg, Transfer::pq})
        for (const ToneMap map : {ToneMap::natural, ToneMap::white}) {
            for (const double peak : {1000.0, 4000.0}) {
                if (from == Transfer::hlg && peak != 1000) continue;
                const SignalConversion conversion = toSdr(from, map, peak);
                const Figures grey = compare(conversion, greys());
                EXPECT_LE(grey.meanCode, 0.1);
                EXPECT_LE(grey.worstCode, 2) << "a first step above black";
                EXPECT_LE(grey.worstDelta, 0.5);
                for (const double level : {0.5, 0.75, 1.0}) {
                    const Figures bar = compare(conversion, bars(level, from));
                    EXPECT_LE(bar.meanCode, 2);
                    EXPECT_LE(bar.worstDelta, 0.6);
                }
            }
        }
}

TEST(ColourTableTest, EqualConversionsShareATable) {
    EXPECT_EQ(ColourTable::of(fromSdr(Transfer::hlg)), ColourTable::of(fromSdr(Transfer::hlg)));
    EXPECT_NE(ColourTable::of(fromSdr(Transfer::hlg)), ColourTable::of(fromSdr(Transfer::pq)));
}

}  // namespace tumblewash::test
