#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "edit/Effects.h"
#include "edit/Shuffle.h"

namespace tumblewash::edit {
namespace {

TEST(ShuffleTest, TheGeneratorGivesItsPublishedNumbers) {
    SplitMix generator(1);
    EXPECT_EQ(generator.next(), 0x910a2dec89025cc1U);
    EXPECT_EQ(generator.next(), 0xbeeb8da1658eec67U);
    EXPECT_EQ(generator.next(), 0xf893a2eefb32555eU);
}

TEST(ShuffleTest, SeedOneDrawsTheseEffects) {
    const std::vector<std::string> pool = shuffledEffectIds();
    ASSERT_THAT(pool, testing::ElementsAre("morph", "wash-away", "wash-reveal", "tilt-away", "tilt-reveal",
                                           "tumble-away", "tumble-reveal"));
    std::vector<std::string> drawn;
    for (const int i : drawShuffled(1, 7, 8)) drawn.push_back(pool[static_cast<std::size_t>(i)]);
    EXPECT_THAT(drawn, testing::ElementsAre("wash-reveal", "wash-away", "morph", "tumble-reveal", "tilt-away",
                                            "wash-reveal", "tilt-reveal", "tilt-away"));
}

TEST(ShuffleTest, NothingIsDrawnTwiceInARowAndEverythingIsDrawn) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        const std::vector<int> drawn = drawShuffled(seed, 7, 200);
        std::vector<int> times(7);
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            ++times[static_cast<std::size_t>(drawn[i])];
            EXPECT_TRUE(i == 0 || drawn[i] != drawn[i - 1]);
        }
        EXPECT_THAT(times, testing::Each(testing::Gt(5)));
    }
}

}  // namespace
}  // namespace tumblewash::edit
