#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "host/AudioMix.h"

namespace tumblewash::host {
namespace {

// a * b * c / divisor, cut off, with a product of up to 128 bits in 32-bit digits: long multiplication and
// long division, which every compiler has the integers for.
std::uint64_t productOver(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t divisor) {
    std::array<std::uint32_t, 4> digits{a, 0, 0, 0};  // least significant first
    for (const std::uint32_t factor : {b, c}) {
        std::uint64_t carry = 0;
        for (std::uint32_t& digit : digits) {
            carry += static_cast<std::uint64_t>(digit) * factor;
            digit = static_cast<std::uint32_t>(carry);
            carry >>= 32;
        }
        EXPECT_EQ(carry, 0U);
    }
    std::uint64_t rest = 0;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        rest = rest << 32 | *digit;
        *digit = static_cast<std::uint32_t>(rest / divisor);
        rest %= divisor;
    }
    EXPECT_EQ(digits[2] | digits[3], 0U) << "the quotient has more than 64 bits";
    return static_cast<std::uint64_t>(digits[1]) << 32 | digits[0];
}

AudioCircumstances overlapAt(double fraction, int effect = 3) {
    return {.effect = effect, .fraction = fraction, .hasIncoming = true};
}

TEST(AudioPolicyTest, NamesGoBothWays) {
    for (const AudioPolicy policy :
         {AudioPolicy::natural, AudioPolicy::plugin, AudioPolicy::equalPower, AudioPolicy::none}) {
        EXPECT_EQ(audioPolicyFromName(audioPolicyName(policy)), policy);
    }
    EXPECT_EQ(audioPolicyName(AudioPolicy::equalPower), "equal-power");
    EXPECT_FALSE(audioPolicyFromName("Natural"));
    EXPECT_FALSE(audioPolicyFromName(""));
}

TEST(AudioPolicyTest, NaturalExchangesExactlyTheRevealVariantsOverAClip) {
    for (int effect = 0; effect < 14; ++effect) {
        AudioCircumstances now = overlapAt(0.25, effect);
        now.asked = AudioLevels{64, 191};
        const bool reveals = effect == 5 || effect == 9 || effect == 13;
        const AudioLevels expected = reveals ? AudioLevels{191, 64} : AudioLevels{64, 191};
        EXPECT_EQ(decideLevels(AudioPolicy::natural, now), expected) << effect;
        EXPECT_EQ(decideLevels(AudioPolicy::plugin, now), (AudioLevels{64, 191})) << effect;
    }
}

TEST(AudioPolicyTest, ExchangedLevelsKeepEachClipsVolume) {
    AudioCircumstances now = overlapAt(0.25, 5);
    now.outgoingVolume = 100;
    now.incomingVolume = 255;
    now.asked = AudioLevels{25, 191};  // a quarter of 100, three quarters of 255
    EXPECT_EQ(decideLevels(AudioPolicy::natural, now), (AudioLevels{75, 65}));
}

TEST(AudioPolicyTest, LevelsStayWithinUnity) {
    AudioCircumstances now = overlapAt(0.5);
    now.asked = AudioLevels{-5, 3000};
    EXPECT_EQ(decideLevels(AudioPolicy::plugin, now), (AudioLevels{0, 256}));
    EXPECT_EQ(decideLevels(AudioPolicy::natural, now), (AudioLevels{0, 256}));
}

TEST(AudioPolicyTest, PreviewSilenceBecomesAStraightFadeOnlyWhenNatural) {
    EXPECT_EQ(decideLevels(AudioPolicy::natural, overlapAt(0.25)), (AudioLevels{192, 64}));
    EXPECT_EQ(decideLevels(AudioPolicy::plugin, overlapAt(0.25)), (AudioLevels{0, 0}));
    AudioCircumstances arriving{.effect = 4, .fraction = 0.25, .arriving = true};
    EXPECT_EQ(decideLevels(AudioPolicy::natural, arriving), (AudioLevels{64, 0}));
    AudioCircumstances leaving{.effect = 2, .fraction = 0.25};
    EXPECT_EQ(decideLevels(AudioPolicy::natural, leaving), (AudioLevels{192, 0}));
    AudioCircumstances morph{.effect = 1, .fraction = 0.25, .steady = true};
    EXPECT_EQ(decideLevels(AudioPolicy::natural, morph), (AudioLevels{256, 0}));
}

TEST(AudioPolicyTest, EqualPowerKeepsTheSumOfSquares) {
    for (int k = 0; k <= 30; ++k) {
        AudioCircumstances now = overlapAt(k / 30.0);
        now.asked = AudioLevels{1, 2};
        const AudioLevels levels = decideLevels(AudioPolicy::equalPower, now);
        const double power = levels.outgoing * levels.outgoing + levels.incoming * levels.incoming;
        EXPECT_NEAR(std::sqrt(power), 256.0, 0.75) << k;
    }
    EXPECT_EQ(decideLevels(AudioPolicy::equalPower, overlapAt(0)), (AudioLevels{256, 0}));
    EXPECT_EQ(decideLevels(AudioPolicy::equalPower, overlapAt(0.5)), (AudioLevels{181, 181}));
    AudioCircumstances quiet = overlapAt(0.5);
    quiet.outgoingVolume = 100;
    EXPECT_EQ(decideLevels(AudioPolicy::equalPower, quiet), (AudioLevels{71, 181}));
}

TEST(AudioPolicyTest, EqualPowerOfOneClipRisesOrFalls) {
    AudioCircumstances now{.effect = 4, .fraction = 0.5, .arriving = true};
    EXPECT_EQ(decideLevels(AudioPolicy::equalPower, now).outgoing, 181);
    now.fraction = 0;
    EXPECT_EQ(decideLevels(AudioPolicy::equalPower, now), (AudioLevels{0, 0}));
    AudioCircumstances steady{.effect = 1, .fraction = 0.5, .steady = true};
    EXPECT_EQ(decideLevels(AudioPolicy::equalPower, steady), (AudioLevels{256, 0}));
}

TEST(AudioPolicyTest, NoneIsSilence) {
    AudioCircumstances now = overlapAt(0.5);
    now.asked = AudioLevels{256, 256};
    EXPECT_EQ(decideLevels(AudioPolicy::none, now), (AudioLevels{0, 0}));
}

TEST(SampleCountTest, RoundingNeverPilesUp) {
    EXPECT_EQ(samplesBefore(0, 48000, 30000, 1001), 0);
    EXPECT_EQ(samplesBefore(1, 48000, 30000, 1001), 1601);
    EXPECT_EQ(samplesBefore(5, 48000, 30000, 1001), 8008);
    EXPECT_EQ(samplesBefore(30000, 48000, 30000, 1001), 48000LL * 1001);
    EXPECT_EQ(samplesBefore(25, 44100, 25, 1), 44100);
    EXPECT_EQ(samplesBefore(-3, 48000, 25, 1), 0);
    EXPECT_EQ(samplesBefore(9, 0, 25, 1), 0);
    for (std::uint32_t frame = 0; frame < 2000; ++frame) {
        const std::uint64_t exact = productOver(frame, 44100, 1001, 24000);
        ASSERT_EQ(samplesBefore(frame, 44100, 24000, 1001), static_cast<std::int64_t>(exact)) << frame;
    }
}

TEST(SampleCountTest, LongFilmsAndOddRatesDoNotOverflow) {
    const std::int64_t frame = std::numeric_limits<std::int32_t>::max();
    const int numerator = 2147483629;
    const int denominator = 71582787;
    const std::uint64_t exact =
        productOver(static_cast<std::uint32_t>(frame), 192000, denominator, numerator);
    EXPECT_EQ(exact, 13743895219199U);  // of a product with 75 bits
    EXPECT_EQ(samplesBefore(frame, 192000, numerator, denominator), static_cast<std::int64_t>(exact));
}

TEST(RampTest, RunsFromTheOldLevelAndEndsAtTheNewOne) {
    std::vector<float> out(8, 0.0F);
    const std::vector<float> in(8, 1.0F);
    addRamped(out, in, 2, 1, 0);
    const std::vector<float> expected{0.75F, 0.75F, 0.5F, 0.5F, 0.25F, 0.25F, 0.0F, 0.0F};
    EXPECT_EQ(out, expected);
}

TEST(RampTest, UnityLeavesSamplesAndAddsThem) {
    std::vector<float> out{0.25F, -0.5F, 0.125F};
    addRamped(out, std::vector<float>{0.5F, 0.5F, -0.25F}, 1, 1, 1);
    EXPECT_EQ(out, (std::vector<float>{0.75F, 0.0F, -0.125F}));
}

TEST(RampTest, ShortInputIsSilenceWithoutChangingTheSlope) {
    std::vector<float> out(4, 0.0F);
    addRamped(out, std::vector<float>{1.0F, 1.0F}, 1, 0, 1);
    EXPECT_EQ(out, (std::vector<float>{0.25F, 0.5F, 0.0F, 0.0F}));
    std::vector<float> none;
    addRamped(none, std::vector<float>{1.0F}, 1, 0, 1);
    EXPECT_TRUE(none.empty());
    addRamped(out, std::vector<float>{1.0F}, 0, 0, 1);
    EXPECT_EQ(out[0], 0.25F);
}

TEST(RampTest, LongInputIsCut) {
    std::vector<float> out(2, 0.0F);
    addRamped(out, std::vector<float>(9, 1.0F), 1, 0.5, 0.5);
    EXPECT_EQ(out, (std::vector<float>{0.5F, 0.5F}));
}

TEST(RampTest, NeighbouringBlocksMeetWithoutAStep) {
    constexpr int kFrames = 12;
    constexpr std::size_t kLength = 1601;
    std::vector<float> whole;
    int before = 256;
    for (int k = 0; k < kFrames; ++k) {
        const int level = 256 - 256 * k / kFrames;
        std::vector<float> block(kLength, 0.0F);
        addRamped(block, std::vector<float>(kLength, 1.0F), 1, before / 256.0, level / 256.0);
        whole.insert(whole.end(), block.begin(), block.end());
        before = level;
    }
    const float steepest = 22.0F / 256.0F / static_cast<float>(kLength);
    for (std::size_t i = 1; i < whole.size(); ++i) {
        ASSERT_LE(std::abs(whole[i] - whole[i - 1]), steepest * 1.01F) << i;
    }
}

TEST(RampTest, AQuarterSineKeepsThePowerOfTwoSoundsAtEverySample) {
    // Two frames are the shortest transition: a straight line between their levels would lose 0.69 dB.
    constexpr std::size_t kLength = 1920;
    for (const double at : {0.0, 0.5}) {
        std::vector<float> leaving(kLength, 0.0F);
        std::vector<float> coming(kLength, 0.0F);
        addRamped(leaving, std::vector<float>(kLength, 1.0F), 1, 1 - at, 0.5 - at, RampShape::quarterSine);
        addRamped(coming, std::vector<float>(kLength, 1.0F), 1, at, at + 0.5, RampShape::quarterSine);
        for (std::size_t i = 0; i < kLength; ++i) {
            const double power = static_cast<double>(leaving[i]) * static_cast<double>(leaving[i]) +
                                 static_cast<double>(coming[i]) * static_cast<double>(coming[i]);
            ASSERT_NEAR(power, 1.0, 1e-6) << i;
        }
    }
}

TEST(MomentTest, LevelsAreTheGainsOfAStraightRampAndPlacesOnAQuarterSine) {
    const MixMoment straight = momentOf(AudioPolicy::natural, {64, 300});
    EXPECT_EQ(straight, (MixMoment{0.25, 1.0}));
    const MixMoment sine = momentOf(AudioPolicy::equalPower, {256, 128});
    EXPECT_DOUBLE_EQ(sine.outgoing, 1.0);
    EXPECT_NEAR(sine.incoming, 1.0 / 3, 1e-12);  // the sine of 30 degrees
    EXPECT_EQ(momentOf(AudioPolicy::equalPower, {-1, 0}), MixMoment());
}

TEST(MomentTest, EqualPowerIsNotRoundedAndKeepsAClipsVolume) {
    AudioCircumstances now;
    now.fraction = 1.0 / 3;
    now.hasIncoming = true;
    now.incomingVolume = 128;
    const MixMoment moment = mixMoment(AudioPolicy::equalPower, now);
    EXPECT_DOUBLE_EQ(moment.outgoing, 1 - 1.0 / 3);
    EXPECT_NEAR(std::sin(std::numbers::pi / 2 * moment.incoming), 0.5 * std::sin(std::numbers::pi / 6),
                1e-12);
    now.steady = true;
    EXPECT_EQ(mixMoment(AudioPolicy::equalPower, now).outgoing, 1.0);
    EXPECT_EQ(rampShape(AudioPolicy::equalPower), RampShape::quarterSine);
    EXPECT_EQ(rampShape(AudioPolicy::natural), RampShape::straight);
}

TEST(HealTest, WhatIsNoNumberBecomesSilenceAndLoudSoundStays) {
    std::vector<float> samples{-3.0F, 0.25F, 7.0F, std::numeric_limits<float>::quiet_NaN(),
                               std::numeric_limits<float>::infinity()};
    heal(samples);
    EXPECT_EQ(samples, (std::vector<float>{-3.0F, 0.25F, 7.0F, 0.0F, 0.0F}));
}

}  // namespace
}  // namespace tumblewash::host
