#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "edit/Sound.h"

namespace tumblewash::edit {
namespace {

// A steady tone at full scale, so that the output is the level itself.
FrameSound steady(std::size_t pairs) {
    return {std::vector<float>(pairs * 2, 1.0F), std::vector<float>(pairs * 2, 0.0F)};
}

TEST(SoundRampTest, AFrameRunsFromItsOwnLevelToTheNext) {
    SoundRamp ramp({1, 0}, host::RampShape::straight, 2);
    EXPECT_TRUE(ramp.push({1.0, 0.0}, steady(4)).empty());
    const std::vector<float> first = ramp.push({0.5, 0.0}, steady(4));
    ASSERT_EQ(first.size(), 8U);
    EXPECT_FLOAT_EQ(first[0], 0.875F);
    EXPECT_FLOAT_EQ(first[7], 0.5F);
    const std::vector<float> last = ramp.finish({0.0, 1.0});
    ASSERT_EQ(last.size(), 8U);
    EXPECT_FLOAT_EQ(last[0], 0.375F);
    EXPECT_FLOAT_EQ(last[7], 0.0F);
    EXPECT_TRUE(ramp.finish({0.0, 0.0}).empty());
}

TEST(SoundRampTest, NoStepIsLargerThanTheRampAsks) {
    SoundRamp ramp({1, 0}, host::RampShape::straight, 2);
    std::vector<float> all;
    constexpr int kFrames = 10;
    constexpr std::size_t kPairs = 160;
    const auto add = [&](const std::vector<float>& part) { all.insert(all.end(), part.begin(), part.end()); };
    for (int k = 0; k < kFrames; ++k)
        add(ramp.push({1 - static_cast<double>(k) / kFrames, static_cast<double>(k) / kFrames},
                      steady(kPairs)));
    add(ramp.finish({0.0, 1.0}));
    ASSERT_EQ(all.size(), kFrames * kPairs * 2);
    float before = 1.0F;
    for (std::size_t i = 0; i < all.size(); i += 2) {
        EXPECT_LE(std::abs(all[i] - before), 27.0F / 256 / kPairs + 1e-6F);
        before = all[i];
    }
    EXPECT_FLOAT_EQ(before, 0.0F);
}

TEST(SoundRampTest, TheFirstFrameStartsFromWhatWasBefore) {
    SoundRamp ramp({1, 0}, host::RampShape::straight, 2);
    FrameSound both{std::vector<float>(8, 1.0F), {}};
    ramp.push({0.0, 0.99609375}, both);
    const std::vector<float> first = ramp.push({0.25, 0.75}, both);
    ASSERT_EQ(first.size(), 8U);
    EXPECT_FLOAT_EQ(first[0], 1.0F - 0.75F / 4);
    EXPECT_FLOAT_EQ(first[7], 0.25F);
    const std::vector<float> second = ramp.finish({0.0, 1.0});
    EXPECT_FLOAT_EQ(second[0], 0.1875F);
}

TEST(SoundEndTest, AHeadRisesFromSilenceAndATailFallsToIt) {
    constexpr int kRate = 2000;
    std::vector<float> head(40, 1.0F);
    fadeEnd(head, 2, kRate, SoundEnd::Head, kMorphFadeSeconds);
    std::vector<float> tail(40, 1.0F);
    fadeEnd(tail, 2, kRate, SoundEnd::Tail, kMorphFadeSeconds);
    for (std::size_t pair = 0; pair < 20; ++pair)
        for (std::size_t c = 0; c < 2; ++c) {
            EXPECT_FLOAT_EQ(head[pair * 2 + c], pair < 10 ? static_cast<float>(pair) / 10 : 1.0F);
            EXPECT_FLOAT_EQ(tail[pair * 2 + c], pair < 10 ? 1.0F : static_cast<float>(19 - pair) / 10);
        }
}

TEST(SoundEndTest, AShortFrameFadesAllTheWayAndAnEmptyOneStaysEmpty) {
    std::vector<float> two(4, 1.0F);
    fadeEnd(two, 2, 48000, SoundEnd::Tail, kMorphFadeSeconds);
    EXPECT_EQ(two, (std::vector<float>{0.5F, 0.5F, 0.0F, 0.0F}));
    std::vector<float> none;
    fadeEnd(none, 2, 48000, SoundEnd::Head, kMorphFadeSeconds);
    EXPECT_TRUE(none.empty());
}

TEST(SoundRampTest, MixedSoundIsNotClampedFrameByFrame) {
    SoundRamp ramp({1, 1}, host::RampShape::straight, 2);
    FrameSound loud{std::vector<float>(8, 1.0F), std::vector<float>(8, 1.0F)};
    ramp.push({1.0, 1.0}, loud);
    for (const float sample : ramp.finish({1.0, 1.0})) EXPECT_EQ(sample, 2.0F);
}

TEST(SoundRampTest, ASilentClipLeavesTheOtherAlone) {
    SoundRamp ramp({1, 1}, host::RampShape::straight, 2);
    ramp.push({1.0, 1.0}, {std::vector<float>(8, 0.25F), {}});
    const std::vector<float> out = ramp.finish({1.0, 1.0});
    ASSERT_EQ(out.size(), 8U);
    for (const float sample : out) EXPECT_FLOAT_EQ(sample, 0.25F);
}

TEST(SoundRampTest, EqualPowerKeepsThePowerOfTwoSoundsAtEverySample) {
    // Two frames are the shortest transition: a straight line between their levels would lose 0.69 dB.
    constexpr std::size_t kPairs = 1920;
    constexpr int kFrames = 2;
    SoundRamp leaving({1, 0}, host::RampShape::quarterSine, 1);
    SoundRamp coming({1, 0}, host::RampShape::quarterSine, 1);
    std::vector<float> a, b;
    const auto add = [](std::vector<float>& all, const std::vector<float>& part) {
        all.insert(all.end(), part.begin(), part.end());
    };
    for (int k = 0; k < kFrames; ++k) {
        host::AudioCircumstances now;
        now.fraction = static_cast<double>(k) / kFrames;
        now.hasIncoming = true;
        const host::MixMoment moment = host::mixMoment(host::AudioPolicy::equalPower, now);
        add(a, leaving.push(moment, {std::vector<float>(kPairs, 1.0F), {}}));
        add(b, coming.push(moment, {{}, std::vector<float>(kPairs, 1.0F)}));
    }
    add(a, leaving.finish({0, 1}));
    add(b, coming.finish({0, 1}));
    ASSERT_EQ(a.size(), kFrames * kPairs);
    for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(std::hypot(a[i], b[i]), 1.0, 1e-6) << i;
    EXPECT_EQ(host::rampShape(host::AudioPolicy::natural), host::RampShape::straight);
}

TEST(SoundRampTest, WhatIsNoNumberBecomesSilence) {
    SoundRamp ramp({1, 1}, host::RampShape::straight, 1);
    ramp.push({1, 1}, {{0.5F, std::numeric_limits<float>::quiet_NaN()},
                       {std::numeric_limits<float>::infinity(), 0.25F}});
    EXPECT_EQ(ramp.finish({1, 1}), (std::vector<float>{0, 0}));
}

}  // namespace
}  // namespace tumblewash::edit
