#include <gtest/gtest.h>

#include "studio/BoundedCache.h"

namespace tumblewash::studio {
namespace {

TEST(BoundedCacheTest, TheLeastRecentlyUsedGoesFirst) {
    BoundedCache<int> cache(100);
    cache.keep("a", 1, 40);
    cache.keep("b", 2, 40);
    EXPECT_EQ(cache.find("a"), 1);
    cache.keep("c", 3, 40);
    EXPECT_EQ(cache.find("b"), std::nullopt);
    EXPECT_EQ(cache.find("a"), 1);
    EXPECT_EQ(cache.find("c"), 3);
    EXPECT_EQ(cache.bytes(), 80U);
    cache.keep("a", 4, 10);
    EXPECT_EQ(cache.find("a"), 4);
    EXPECT_EQ(cache.bytes(), 50U);
    cache.keep("d", 5, 101);
    EXPECT_EQ(cache.find("d"), std::nullopt);
}

TEST(BoundedCacheTest, WhatIsSetAsideCountsAgainstTheBoundAsLongAsItLives) {
    BoundedCache<int> cache(100);
    cache.keep("a", 1, 40);
    cache.keep("b", 2, 40);
    {
        const std::shared_ptr<void> aside = cache.setAside(30);
        EXPECT_EQ(cache.room(), 70U);
        EXPECT_EQ(cache.find("a"), std::nullopt);
        EXPECT_EQ(cache.find("b"), 2);
        // Half of it stays.
        const std::shared_ptr<void> more = cache.setAside(1000);
        EXPECT_EQ(cache.room(), 50U);
        EXPECT_EQ(cache.find("b"), 2);
        cache.keep("c", 3, 60);
        EXPECT_EQ(cache.find("c"), std::nullopt);
    }
    EXPECT_EQ(cache.room(), 100U);
    cache.keep("c", 3, 60);
    EXPECT_EQ(cache.find("c"), 3);
    EXPECT_EQ(cache.find("b"), 2);
}

}  // namespace
}  // namespace tumblewash::studio
