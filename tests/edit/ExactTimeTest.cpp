#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "edit/ExactTime.h"

namespace tumblewash::edit {
namespace {

using media::FrameRate;

TEST(ExactTimeTest, RatesOfFilesAreTheFractionsThatTheyMean) {
    EXPECT_EQ(rateOf(23.976), (FrameRate{24000, 1001}));
    EXPECT_EQ(rateOf(23.98), (FrameRate{24000, 1001}));
    EXPECT_EQ(rateOf(23.976023976023978), (FrameRate{24000, 1001}));
    EXPECT_EQ(rateOf(29.97), (FrameRate{30000, 1001}));
    EXPECT_EQ(rateOf(47.952), (FrameRate{48000, 1001}));
    EXPECT_EQ(rateOf(59.94), (FrameRate{60000, 1001}));
    EXPECT_EQ(rateOf(119.88), (FrameRate{120000, 1001}));
    EXPECT_EQ(rateOf(24.0), (FrameRate{24, 1}));
    EXPECT_EQ(rateOf(25.0000001), (FrameRate{25, 1}));
    EXPECT_EQ(rateOf(12.5), (FrameRate{25, 2}));
    EXPECT_FALSE(rateOf(0));
    EXPECT_FALSE(rateOf(-25));
    EXPECT_FALSE(rateOf(1000));
    EXPECT_FALSE(rateOf(std::numeric_limits<double>::quiet_NaN()));
}

TEST(ExactTimeTest, PositionsAreRoundedOnceAndDoNotDrift) {
    const FrameRate ntsc{30000, 1001};
    Moment position;
    for (int i = 0; i < 100000; ++i) position = position + Moment::ofFrames(1.0, FrameRate{24000, 1001});
    EXPECT_EQ(position.frame(ntsc), 125000);
    EXPECT_EQ(Moment::ofFrames(50.0, {15, 1}).frame({30, 1}), 100);
    EXPECT_EQ(Moment::ofFrames(12.5, {25, 1}).frame({25, 1}), 13);
    EXPECT_EQ((Moment() - Moment::ofFrames(12.5, {25, 1})).frame({25, 1}), -12);
}

TEST(ExactTimeTest, FramesBecomeMicrosecondsAndFramesAgain) {
    for (const FrameRate rate :
         {FrameRate{24000, 1001}, FrameRate{30000, 1001}, FrameRate{60000, 1001}, FrameRate{240, 1}})
        for (std::int64_t frame = 0; frame < 20000; frame += 7) {
            const std::int64_t micros = frame * 1000000 * rate.den / rate.num;
            ASSERT_EQ(Moment::ofMicroseconds(micros).frame(rate), frame);
        }
}

TEST(ExactTimeTest, AbsurdTimesAreRefused) {
    EXPECT_THROW(Moment::ofFrames(1e300, {25, 1}), std::out_of_range);
    EXPECT_THROW(Moment::ofFrames(std::numeric_limits<double>::quiet_NaN(), {25, 1}), std::out_of_range);
    EXPECT_EQ(Moment::ofFrames(1e9, {60000, 1001}).frame({60000, 1001}), 1000000000);
}

}  // namespace
}  // namespace tumblewash::edit
