#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

#include "edit/Limiter.h"

namespace tumblewash::edit {
namespace {

constexpr int kRate = 48000;

std::vector<float> sine(double amplitude, double hertz, std::size_t frames, int channels = 2) {
    std::vector<float> out;
    for (std::size_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            out.push_back(static_cast<float>(
                amplitude * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / kRate + 0.3)));
    return out;
}

std::vector<float> limited(Limiter& limiter, const std::vector<float>& in, std::size_t piece) {
    std::vector<float> out;
    for (std::size_t at = 0; at < in.size(); at += piece)
        limiter.pass(std::span(in).subspan(at, std::min(piece, in.size() - at)), out);
    limiter.flush(out);
    return out;
}

/// The highest value in dB of full scale, 8 times oversampled by sincs of 64 samples: another meter than the
/// limiter's own.
double truePeakDb(const std::vector<float>& sound, int channels = 2) {
    constexpr int kReach = 32;
    const auto width = static_cast<std::size_t>(channels);
    const auto frames = static_cast<int>(sound.size() / width);
    double peak = 0;
    for (int phase = 0; phase < 8; ++phase) {
        double taps[2 * kReach];
        for (int n = 0; n < 2 * kReach; ++n) {
            const double x = std::numbers::pi * (n - kReach + 1 - phase / 8.0);
            const double window = 0.5 + 0.5 * std::cos(x / (kReach + 1));
            taps[n] = x == 0 ? 1 : std::sin(x) / x * window;
        }
        // Steady tones: every seventh sample is enough to meet each phase of them.
        for (int i = kReach; i + kReach < frames; i += 7) {
            double sum = 0;
            for (int n = 0; n < 2 * kReach; ++n)
                sum += taps[n] *
                       static_cast<double>(sound[static_cast<std::size_t>(i + n - kReach + 1) * width]);
            peak = std::max(peak, std::abs(sum));
        }
    }
    return 20 * std::log10(peak);
}

TEST(LimiterTest, QuietSoundPassesBitByBitAndWhole) {
    for (const int channels : {1, 2, 6}) {
        Limiter limiter(channels, kRate, true);
        const std::vector<float> in = sine(0.88, 997, 20011, channels);
        EXPECT_EQ(limited(limiter, in, 1602 * static_cast<std::size_t>(channels)), in);
        EXPECT_EQ(limiter.told().limited, 0);
        EXPECT_EQ(limiter.told().gain, 1.0);
        EXPECT_NEAR(limiter.told().truePeak, 0.88, 0.002);
    }
}

TEST(LimiterTest, NoTruePeakIsAboveMinusOneDecibel) {
    // A peak between two samples of a tone at a quarter of the rate is 3 dB above them.
    for (const double hertz : {50.0, 440.0, 997.0, 5000.0, 12000.0, 17000.0})
        for (const double amplitude : {1.0, 1.4, 1.96, 8.0}) {
            Limiter limiter(2, kRate, true);
            const std::vector<float> out = limited(limiter, sine(amplitude, hertz, 24000), 3204);
            EXPECT_EQ(out.size(), 48000U);
            EXPECT_LE(truePeakDb(out), -1.0) << hertz << " Hz, " << amplitude;
            EXPECT_GT(truePeakDb(out), -1.9) << hertz << " Hz, " << amplitude;
            // A tone that begins from nothing overshoots.
            EXPECT_GT(limiter.told().truePeak, 0.99 * amplitude);
            EXPECT_LT(limiter.told().truePeak, 1.06 * amplitude);
            EXPECT_NEAR(limiter.told().gain, std::pow(10, -1.1 / 20) / limiter.told().truePeak, 0.001);
        }
}

TEST(LimiterTest, ALoudStretchInQuietSoundLeavesNoStep) {
    std::vector<float> in = sine(0.2, 300, 96000, 1);
    const std::vector<float> loud = sine(1.69, 300, 48000, 1);
    std::copy(loud.begin() + 20000, loud.begin() + 24000, in.begin() + 20000);
    Limiter limiter(1, kRate, true);
    const std::vector<float> out = limited(limiter, in, 1920);
    double steepest = 0;
    for (std::size_t i = 1; i < in.size(); ++i) {
        if (i == 20000 || i == 24000) continue;  // the stretch's own edges
        steepest = std::max(steepest, static_cast<double>(std::abs(out[i] - out[i - 1])));
    }
    // The tone at the ceiling, and the gain's fall by 6 dB within 5 ms.
    EXPECT_LE(steepest, 0.89 * 2 * std::numbers::pi * 300 / kRate + 0.5 / 240);
    // Untouched more than 5 ms before, and again once everything is given back.
    for (std::size_t i = 0; i < 19700; ++i) ASSERT_EQ(out[i], in[i]) << i;
    EXPECT_EQ(out.back(), in.back());
}

TEST(LimiterTest, ThePiecesInWhichSoundComesDoNotMatter) {
    std::vector<float> in = sine(0.5, 440, 30000);
    for (std::size_t i = 20000; i < 21000; ++i) in[i] *= 3;
    Limiter first(2, kRate, true);
    const std::vector<float> whole = limited(first, in, in.size());
    for (const std::size_t piece : {2U, 254U, 3204U}) {
        Limiter again(2, kRate, true);
        EXPECT_EQ(limited(again, in, piece), whole) << piece;
        EXPECT_EQ(again.told().limited, first.told().limited);
    }
}

TEST(LimiterTest, SwitchedOffItOnlyMeasures) {
    Limiter limiter(2, kRate, false);
    const std::vector<float> in = sine(1.4, 440, 4800);
    EXPECT_EQ(limited(limiter, in, 1920), in);
    EXPECT_NEAR(limiter.told().truePeak, 1.4, 0.01);
    EXPECT_GT(limiter.told().over, 1000);
    EXPECT_EQ(limiter.told().limited, 0);
}

TEST(LimiterTest, BothChannelsAreTurnedDownAlike) {
    std::vector<float> in = sine(1.5, 440, 9600);
    for (std::size_t i = 1; i < in.size(); i += 2) in[i] = 0.1F;
    Limiter limiter(2, kRate, true);
    const std::vector<float> out = limited(limiter, in, 1920);
    EXPECT_LT(out[9601], 0.07F);
}

TEST(LimiterTest, WhatIsNoNumberIsSilenceAndWildSamplesEnd) {
    std::vector<float> in(9600, 0.1F);
    in[100] = std::numeric_limits<float>::quiet_NaN();
    in[200] = std::numeric_limits<float>::infinity();
    in[300] = 1e30F;
    Limiter limiter(1, kRate, true);
    const std::vector<float> out = limited(limiter, in, 960);
    ASSERT_EQ(out.size(), in.size());
    for (const float sample : out) ASSERT_LE(std::abs(sample), 0.9F);
    EXPECT_EQ(out[100], 0.0F);
    EXPECT_NEAR(limiter.told().truePeak, 64, 10);
}

TEST(LimiterTest, AFewSamplesComeOutToo) {
    for (const std::size_t frames : {0U, 1U, 5U, 300U}) {
        Limiter limiter(1, kRate, true);
        EXPECT_EQ(limited(limiter, std::vector<float>(frames, 0.5F), 100).size(), frames);
    }
}

}  // namespace
}  // namespace tumblewash::edit
