#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "edit/Decibels.h"
#include "edit/Errors.h"
#include "edit/Music.h"

namespace tumblewash::edit {
namespace {

constexpr int kRate = 48000;

TEST(DecibelsTest, LevelsAndLoudnessAreReadAsPeopleWriteThem) {
    EXPECT_DOUBLE_EQ(parseDecibels("-6dB"), -6);
    EXPECT_DOUBLE_EQ(parseDecibels("+3.5 DB"), 3.5);
    EXPECT_DOUBLE_EQ(parseDecibels("12"), 12);
    EXPECT_DOUBLE_EQ(parseLoudness("-16LUFS"), -16);
    EXPECT_DOUBLE_EQ(parseLoudness("-23.5 lufs"), -23.5);
    for (const char* wrong : {"", "dB", "--6dB", "6 dBFS", "25dB", "-97dB", "nan", "1e1", "-6LUFS"})
        EXPECT_THROW(static_cast<void>(parseDecibels(wrong)), Refusal) << wrong;
    for (const char* wrong : {"", "16", "-16dB", "-4", "-51LUFS", "0"})
        EXPECT_THROW(static_cast<void>(parseLoudness(wrong)), Refusal) << wrong;
    EXPECT_EQ(decibelWords(-6), "-6dB");
    EXPECT_EQ(decibelWords(2.5), "2.5dB");
    EXPECT_EQ(loudnessWords(-16), "-16LUFS");
    EXPECT_NEAR(linearOf(-6), 0.501187, 1e-6);
    EXPECT_NEAR(decibelsOf(linearOf(-7.25)), -7.25, 1e-12);
}

TEST(MusicLevelTest, ItIsDownWhenAClipBeginsAndUpAfterItsEnd) {
    MusicLevel level({{10 * kRate, 12 * kRate}}, 60 * kRate, kRate, 12);
    const auto db = [&](double seconds) { return decibelsOf(level.at(std::llround(seconds * kRate))); };
    EXPECT_NEAR(db(9.69), 0, 1e-9);
    EXPECT_NEAR(db(9.85), -6, 0.01);
    EXPECT_NEAR(db(10), -12, 1e-6);
    EXPECT_NEAR(db(11), -12, 1e-6);
    EXPECT_NEAR(db(12), -12, 1e-6);
    EXPECT_NEAR(db(12.4), -6, 0.01);
    EXPECT_NEAR(db(12.81), 0, 1e-9);
}

TEST(MusicLevelTest, NoSampleStepsByMoreThanTheCosineAsks) {
    MusicLevel level({{5 * kRate, 6 * kRate}, {8 * kRate, 9 * kRate}}, 20 * kRate, kRate, 12);
    double before = decibelsOf(level.at(2 * kRate));
    for (std::int64_t at = 2 * kRate + 1; at < 17 * kRate; ++at) {
        const double now = decibelsOf(level.at(at));
        ASSERT_LE(std::abs(now - before), 12 * std::numbers::pi / 2 / (0.3 * kRate) * 1.001) << at;
        before = now;
    }
}

TEST(MusicLevelTest, ItFadesInForASecondAndOutForTwoOrAThirdOfTheLength) {
    MusicLevel level({}, 30 * kRate, kRate, 12);
    EXPECT_EQ(level.at(0), 0);
    EXPECT_NEAR(level.at(kRate / 2), 0.5, 1e-4);
    EXPECT_EQ(level.at(kRate), 1);
    EXPECT_EQ(level.at(15 * kRate), 1);
    EXPECT_NEAR(level.at(29 * kRate), 0.5, 1e-4);
    EXPECT_EQ(level.at(30 * kRate - 1), 0);
    MusicLevel brief({}, 3000, kRate, 12);
    EXPECT_EQ(brief.at(1000), 1);
    EXPECT_EQ(brief.at(1998), 1);
    EXPECT_NEAR(brief.at(2499), 0.5, 1e-3);
}

TEST(MusicLevelTest, WithoutDuckingClipsDoNotMatter) {
    MusicLevel level({{5 * kRate, 6 * kRate}}, 20 * kRate, kRate, 0);
    EXPECT_EQ(level.at(5 * kRate + 100), 1);
}

}  // namespace
}  // namespace tumblewash::edit
