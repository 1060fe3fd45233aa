#include <gtest/gtest.h>

#include <cmath>

#include "app/sound.h"

namespace tumblewash {
namespace {

// A steady tone at full scale, so that the output is the level itself.
FrameSound steady(std::size_t pairs) {
    return {std::vector<float>(pairs * 2, 1.0F), std::vector<float>(pairs * 2, 0.0F)};
}

TEST(SoundRampTest, AFrameRunsFromItsOwnLevelToTheNext) {
    SoundRamp ramp;
    EXPECT_TRUE(ramp.push({256, 0}, steady(4)).empty());
    const std::vector<float> first = ramp.push({128, 0}, steady(4));
    ASSERT_EQ(first.size(), 8U);
    EXPECT_FLOAT_EQ(first[0], 0.875F);
    EXPECT_FLOAT_EQ(first[7], 0.5F);
    const std::vector<float> last = ramp.finish({0, 256});
    ASSERT_EQ(last.size(), 8U);
    EXPECT_FLOAT_EQ(last[0], 0.375F);
    EXPECT_FLOAT_EQ(last[7], 0.0F);
    EXPECT_TRUE(ramp.finish({0, 0}).empty());
}

TEST(SoundRampTest, NoStepIsLargerThanTheRampAsks) {
    SoundRamp ramp;
    std::vector<float> all;
    constexpr int kFrames = 10;
    constexpr std::size_t kPairs = 160;
    const auto add = [&](const std::vector<float>& part) { all.insert(all.end(), part.begin(), part.end()); };
    for (int k = 0; k < kFrames; ++k)
        add(ramp.push({256 - 256 * k / kFrames, 256 * k / kFrames}, steady(kPairs)));
    add(ramp.finish({0, 256}));
    ASSERT_EQ(all.size(), kFrames * kPairs * 2);
    float before = 1.0F;
    for (std::size_t i = 0; i < all.size(); i += 2) {
        EXPECT_LE(std::abs(all[i] - before), 27.0F / 256 / kPairs + 1e-6F);
        before = all[i];
    }
    EXPECT_FLOAT_EQ(before, 0.0F);
}

TEST(SoundRampTest, MixedSoundStaysWithinFullScale) {
    SoundRamp ramp;
    FrameSound loud{std::vector<float>(8, 1.0F), std::vector<float>(8, 1.0F)};
    ramp.push({256, 256}, loud);
    for (const float sample : ramp.finish({256, 256})) EXPECT_LE(sample, 1.0F);
}

TEST(SoundRampTest, ASilentClipLeavesTheOtherAlone) {
    SoundRamp ramp;
    ramp.push({256, 256}, {std::vector<float>(8, 0.25F), {}});
    const std::vector<float> out = ramp.finish({256, 256});
    ASSERT_EQ(out.size(), 8U);
    for (const float sample : out) EXPECT_FLOAT_EQ(sample, 0.25F);
}

}  // namespace
}  // namespace tumblewash
