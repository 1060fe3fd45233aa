#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "edit/NaturalOrder.h"

namespace tumblewash::edit {
namespace {

TEST(NaturalOrderTest, NumbersCountAsNumbersAndLettersRegardlessOfCase) {
    const std::vector<std::string> wanted{"",       "1",      "a1b9",    "a1b10", "img_1", "IMG_2",
                                          "IMG_02", "IMG_10", "Img_100", "img_x", "z",     "~"};
    std::vector<std::string> shuffled = wanted;
    do {
        std::rotate(shuffled.begin(), shuffled.begin() + 5, shuffled.end());
        std::vector<std::string> sorted = shuffled;
        std::sort(sorted.begin(), sorted.end(), comesBefore);
        ASSERT_EQ(sorted, wanted);
    } while (shuffled != wanted);
}

TEST(NaturalOrderTest, NumbersOfAnyLengthAreCompared) {
    EXPECT_TRUE(comesBefore("9", "123456789012345678901234567890"));
    EXPECT_TRUE(comesBefore("123456789012345678901234567889", "123456789012345678901234567890"));
    EXPECT_FALSE(comesBefore("a", "a"));
}

TEST(NaturalOrderTest, ItIsAStrictOrder) {
    const std::vector<std::string> names{"0", "00", "a0", "A00", "a00b", "A0b",
                                         "a", "A",  "0a", "00A", "1",    "01"};
    for (const std::string& a : names)
        for (const std::string& b : names) {
            EXPECT_FALSE(comesBefore(a, b) && comesBefore(b, a)) << a << " " << b;
            EXPECT_TRUE(a == b || comesBefore(a, b) || comesBefore(b, a)) << a << " " << b;
            for (const std::string& c : names)
                EXPECT_TRUE(comesBefore(a, c) || !comesBefore(a, b) || !comesBefore(b, c)) << a << b << c;
        }
}

}  // namespace
}  // namespace tumblewash::edit
