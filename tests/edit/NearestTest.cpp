#include <gtest/gtest.h>

#include "edit/Effects.h"
#include "edit/Nearest.h"

namespace tumblewash::edit {
namespace {

TEST(NearestTest, DistanceCountsEditsAndSwaps) {
    EXPECT_EQ(editDistance("", ""), 0U);
    EXPECT_EQ(editDistance("", "abc"), 3U);
    EXPECT_EQ(editDistance("wash", "wash"), 0U);
    EXPECT_EQ(editDistance("wahs", "wash"), 1U);
    EXPECT_EQ(editDistance("kitten", "sitting"), 3U);
}

TEST(NearestTest, AMistypedIdFindsItsEffect) {
    const std::vector<std::string> ids = effectIds();
    EXPECT_EQ(nearestWord("wash-awya", ids), "wash-away");
    EXPECT_EQ(nearestWord("washaway", ids), "wash-away");
    EXPECT_EQ(nearestWord("tumble-revel", ids), "tumble-reveal");
    EXPECT_EQ(nearestWord("morf", ids), "morph");
}

TEST(NearestTest, WhatIsFarFromEverythingFindsNothing) {
    EXPECT_EQ(nearestWord("kaleidoscope", effectIds()), "");
    EXPECT_EQ(nearestWord(std::string(100000, 'a'), effectIds()), "");
    EXPECT_EQ(didYouMean("zzzzzz", effectIds()), "");
    EXPECT_EQ(didYouMean("tilt-ni", effectIds()), " (did you mean tilt-in?)");
}

}  // namespace
}  // namespace tumblewash::edit
