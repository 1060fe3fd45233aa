#include <gtest/gtest.h>

#include "edit/Timecode.h"

namespace tumblewash::edit {
namespace {

using media::FrameRate;
constexpr FrameRate k2997{30000, 1001};
constexpr FrameRate k5994{60000, 1001};

TEST(TimeCodeTest, DroppedNumbersAreThoseOfTelevision) {
    const auto expectBoth = [](FrameRate rate, const char* text, std::int64_t frame) {
        EXPECT_EQ(timeCodeOf(frame, rate, true), text);
        EXPECT_EQ(frameOf(*parseTimeCode(text), rate, true), frame) << text;
    };
    expectBoth(k2997, "00:00:59;29", 1799);
    expectBoth(k2997, "00:01:00;02", 1800);
    expectBoth(k2997, "00:09:59;29", 17981);
    expectBoth(k2997, "00:10:00;00", 17982);
    expectBoth(k2997, "01:00:00;00", 107892);
    expectBoth(k2997, "23:59:59;29", 2589407);
    expectBoth(k5994, "00:00:59;59", 3599);
    expectBoth(k5994, "00:01:00;04", 3600);
    expectBoth(k5994, "00:09:59;59", 35963);
    expectBoth(k5994, "00:10:00;00", 35964);
    expectBoth(k5994, "01:00:00;00", 215784);
    expectBoth(k5994, "23:59:59;59", 5178815);
}

TEST(TimeCodeTest, EveryFrameOfAnHourGoesBothWays) {
    for (const FrameRate rate : {k2997, k5994, FrameRate{25, 1}, FrameRate{24000, 1001}})
        for (std::int64_t frame = 0; frame < 3600 * nominalRate(rate); ++frame) {
            const auto code = parseTimeCode(timeCodeOf(frame, rate, true));
            ASSERT_TRUE(code);
            ASSERT_EQ(frameOf(*code, rate, code->drop), frame);
        }
}

TEST(TimeCodeTest, NumbersThatDoNotExistNameNoFrame) {
    EXPECT_FALSE(frameOf({0, 1, 0, 0, true}, k2997, true));
    EXPECT_FALSE(frameOf({0, 1, 0, 1, true}, k2997, true));
    EXPECT_TRUE(frameOf({0, 1, 0, 2, true}, k2997, true));
    EXPECT_TRUE(frameOf({0, 10, 0, 0, true}, k2997, true));
    EXPECT_FALSE(frameOf({0, 1, 0, 3, true}, k5994, true));
    EXPECT_FALSE(frameOf({0, 0, 0, 25, false}, {25, 1}, false));
    EXPECT_EQ(frameOf({0, 1, 0, 0, false}, k2997, false), 1800);
}

TEST(TimeCodeTest, SeparatorsTellDropFrames) {
    EXPECT_FALSE(parseTimeCode("01:02:03:04")->drop);
    EXPECT_TRUE(parseTimeCode("01:02:03;04")->drop);
    EXPECT_TRUE(parseTimeCode("01:02:03,04")->drop);
    EXPECT_FALSE(parseTimeCode("01:02:03.04")->drop);
    for (const char* text :
         {"", "1:02:03:04", "01:60:03:04", "01:02:60:04", "01:02:03-04", "0a:02:03:04", "01:02:03:004"})
        EXPECT_FALSE(parseTimeCode(text)) << text;
}

}  // namespace
}  // namespace tumblewash::edit
