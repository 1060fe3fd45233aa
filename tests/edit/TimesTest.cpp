#include <gtest/gtest.h>

#include "edit/Errors.h"
#include "edit/Times.h"

namespace tumblewash::edit {

using media::FrameRate;

namespace {

constexpr FrameRate kNtsc{30000, 1001};

TimeSpan micros(std::int64_t count) {
    return {TimeSpan::Unit::Microseconds, count};
}

TEST(TimesTest, EveryFormOfATimeIsRead) {
    EXPECT_EQ(parseTime("1.5s"), micros(1500000));
    EXPECT_EQ(parseTime("500ms"), micros(500000));
    EXPECT_EQ(parseTime("1.5ms"), micros(1500));
    EXPECT_EQ(parseTime("45f"), (TimeSpan{TimeSpan::Unit::Frames, 45}));
    EXPECT_EQ(parseTime(".5"), micros(500000));
    EXPECT_EQ(parseTime("2"), micros(2000000));
    EXPECT_EQ(parseTime("2."), micros(2000000));
    EXPECT_EQ(parseTime("01:02.5"), micros(62500000));
    EXPECT_EQ(parseTime("1:02:03"), micros(3723000000));
    EXPECT_EQ(parseTime("90:00"), micros(5400000000));
    EXPECT_EQ(parseTime("0s"), micros(0));
}

TEST(TimesTest, WhatIsNoTimeIsRefused) {
    for (const char* text :
         {"",     "s",       "f",   "ms", ".",  "1.5f", "-1s",   "+1s",     "1e3s",        "1 s",
          "1:60", "1:2:3:4", ":30", "1:", "1h", "abc",  "1.2.3", "1:61:00", "9999999999s", "0x10s"})
        EXPECT_THROW(parseTime(text), Refusal) << text;
}

TEST(TimesTest, ATimeLongerThanAHundredHoursIsRefused) {
    EXPECT_EQ(parseTime("360000s"), micros(360000000000));
    EXPECT_THROW(parseTime("360001s"), Refusal);
}

TEST(TimesTest, TimesBecomeFramesToTheNearest) {
    EXPECT_EQ(parseTime("1s").frames({25, 1}), 25);
    EXPECT_EQ(parseTime("1s").frames(kNtsc), 30);
    EXPECT_EQ(parseTime("500ms").frames({25, 1}), 13);
    EXPECT_EQ(parseTime("59ms").frames({25, 1}), 1);
    EXPECT_EQ(parseTime("19ms").frames({25, 1}), 0);
    EXPECT_EQ(parseTime("45f").frames(kNtsc), 45);
    EXPECT_EQ(parseTime("1:00:00").frames(kNtsc), 107892);
}

TEST(TimesTest, RatesAreExactFractions) {
    EXPECT_EQ(parseRate("25"), (FrameRate{25, 1}));
    EXPECT_EQ(parseRate("30000/1001"), kNtsc);
    EXPECT_EQ(parseRate("29.97"), kNtsc);
    EXPECT_EQ(parseRate("23.976"), (FrameRate{24000, 1001}));
    EXPECT_EQ(parseRate("23.98"), (FrameRate{24000, 1001}));
    EXPECT_EQ(parseRate("59.94"), (FrameRate{60000, 1001}));
    EXPECT_EQ(parseRate("12.5"), (FrameRate{25, 2}));
    EXPECT_EQ(parseRate("50/2").num, 25);
    EXPECT_EQ(parseRate("50/2").den, 1);
}

TEST(TimesTest, WhatIsNoRateIsRefused) {
    for (const char* text :
         {"", "0", "0.5", "241", "25/0", "/1001", "25/", "-25", "1e2", "fast", "30000/1001/2"})
        EXPECT_THROW(parseRate(text), Refusal) << text;
    EXPECT_EQ(parseRate("1"), (FrameRate{1, 1}));
    EXPECT_EQ(parseRate("240"), (FrameRate{240, 1}));
}

TEST(TimesTest, SizesAreTwoWholeNumbers) {
    EXPECT_EQ(parseSize("1280x720"), (PixelSize{1280, 720}));
    EXPECT_EQ(parseSize("16X16"), (PixelSize{16, 16}));
    for (const char* text : {"", "x", "1280", "1280x", "x720", "1280x720x3", "-1x5", "12.5x4", "1280 x 720"})
        EXPECT_THROW(parseSize(text), Refusal) << text;
}

TEST(TimesTest, OddEdgesGoUpToEvenOnes) {
    EXPECT_EQ(evenSize({853, 480}), (PixelSize{854, 480}));
    EXPECT_EQ(evenSize({451, 301}), (PixelSize{452, 302}));
    EXPECT_EQ(evenSize({16, 16}), (PixelSize{16, 16}));
}

TEST(TimesTest, RatesAndSizesAreToldShortly) {
    EXPECT_EQ(describe(kNtsc), "29.97");
    EXPECT_EQ(describe(FrameRate{25, 1}), "25");
    EXPECT_EQ(describe(FrameRate{24000, 1001}), "23.976");
    EXPECT_EQ(describe(PixelSize{720, 480}), "720x480");
}

TEST(TimesTest, MicrosecondsOfLongFilmsDoNotOverflow) {
    EXPECT_EQ(microsecondsOf(30, {30, 1}), 1000000);
    EXPECT_EQ(microsecondsOf(10000000, kNtsc), 333666666666);
}

}  // namespace
}  // namespace tumblewash::edit
