#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "pluginDistort/v1/DistortProcess.h"
#include "tests/pluginDistort/TraceCapture.h"
#include "tests/whole/Frames.h"
#include "tests/whole/reference/Tumble.h"

namespace {

using tumblewash::test::Frame;
using tumblewash::test::TraceCapture;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class TumbleTest : public testing::Test {
  protected:
    void TearDown() override {
        const ARGBVal black = PixRectBase<ARGBVal>::blackpixel;
        EXPECT_EQ(black._alpha + black._red + black._green + black._blue, 0);
    }
};

void expectSameFrame(std::mt19937& random, int stride, int width, int height, float factor, bool proxy) {
    Frame source(stride, height), dest(stride, height);
    source.randomise(random);
    dest.randomise(random);
    Frame plainSource = source, plainDest = dest;
    TumbleAway(nullptr, source.data(), dest.data(), stride, width, height, factor, proxy);
    tumblewash::reference::TumbleAway(plainSource.data(), plainDest.data(), stride, width, height, factor,
                                      proxy);
    ASSERT_TRUE(dest == plainDest) << stride << " " << width << "x" << height << " at " << factor << " proxy "
                                   << proxy;
    ASSERT_TRUE(source == plainSource) << stride << " " << width << "x" << height << " at " << factor;
    ASSERT_TRUE(dest.guardsIntact() && source.guardsIntact());
}

TEST_F(TumbleTest, EveryFrameIsThatOfTheViews) {
    std::mt19937 random(1);
    const float factors[] = {0.0f,  0.01f, 0.1f,  1.0f / 6, 0.25f,  1.0f / 3, 0.5f, 0.61f,
                             0.75f, 0.9f,  0.97f, 0.99f,    0.999f, 0.99999f, 1.0f};
    const int sizes[][2] = {{64, 48}, {33, 21}, {16, 16}, {17, 31}, {100, 37}, {45, 60}};
    for (const auto& size : sizes)
        for (const int padding : {0, 1, 6})
            for (const bool proxy : {false, true})
                for (const float factor : factors)
                    expectSameFrame(random, size[0] + padding, size[0], size[1], factor, proxy);
}

TEST_F(TumbleTest, SmallFramesNeverHangNorWriteOutside) {
    std::mt19937 random(2);
    for (int width = 1; width <= 19; ++width)
        for (int height = 1; height <= 19; ++height)
            for (const bool proxy : {false, true})
                for (const float factor : {0.0f, 0.3f, 0.5f, 0.98f, 1.0f})
                    expectSameFrame(random, width, width, height, factor, proxy);
}

TEST_F(TumbleTest, WildProgressDrawsWhatItMayAndNothingElse) {
    std::mt19937 random(3);
    for (const float factor : {kNaN, kInfinity, -kInfinity, -0.5f, -3.0f, 1.5f, 2.2f, 7.3f, 100.0f, 1e6f,
                               1e9f, -1e9f, 1e20f, 3e38f})
        for (const bool proxy : {false, true})
            for (const int height : {2, 3, 16, 33}) expectSameFrame(random, 40, 37, height, factor, proxy);
}

TEST_F(TumbleTest, AtZeroThePlateFillsTheProgressiveFrame) {
    std::mt19937 random(4);
    Frame source(720, 480), dest(720, 480);
    source.randomise(random);
    dest.fill(0);
    TraceCapture trace;
    TumbleAway(nullptr, source.data(), dest.data(), 720, 720, 480, 0.0f, true);
    EXPECT_EQ(trace.text(),
              "DistortUsingProj 720 480 fac=0.000000\n\r"
              "Tumble corners   0,0  720,0  720,480  0,480\n\r"
              "Tumble corners R 0,0  720,0  720,480  0,480\n\r");
    // The solved projection is the identity up to rounding, which may truncate to the neighbour above or to
    // the left; away from such steps every pixel is the source's own.
    std::size_t same = 0, neighbours = 0;
    for (int y = 1; y < 480; ++y) {
        for (int x = 1; x < 720; ++x) {
            const std::uint32_t drawn = dest.at(720, x, y);
            if (drawn == source.at(720, x, y))
                ++same;
            else
                neighbours += drawn == source.at(720, x - 1, y) || drawn == source.at(720, x, y - 1) ||
                              drawn == source.at(720, x - 1, y - 1);
        }
    }
    EXPECT_EQ(same + neighbours, 719u * 479u);
    EXPECT_EQ(dest.at(720, 0, 0), source.at(720, 0, 0));
}

TEST_F(TumbleTest, AtZeroTheInterlacedCornersAreAFieldsCorners) {
    Frame source(720, 480), dest(720, 480);
    TraceCapture trace;
    TumbleAway(nullptr, source.data(), dest.data(), 720, 720, 480, 0.0f, false);
    EXPECT_TRUE(trace.says("Tumble corners   0,0  720,0  720,240  0,240\n\r"));
    EXPECT_TRUE(trace.says("Tumble corners R 0,0  720,0  720,240  0,240\n\r"));
}

TEST_F(TumbleTest, SpinTruncatesAtSomeSizes) {
    Frame source(640, 480), dest(640, 480);
    TraceCapture trace;
    TumbleAway(nullptr, source.data(), dest.data(), 640, 640, 480, 0.0f, true);
    EXPECT_TRUE(trace.says("Tumble corners R 1,0  640,1  640,479  1,480\n\r")) << trace.text();
}

/// The eight numbers of a corner line.
std::vector<int> corners(const std::string& text, const std::string& line) {
    std::vector<int> n(8);
    const std::size_t at = text.find(line);
    if (at == std::string::npos) return {};
    std::sscanf(text.c_str() + at + line.size(), "%d,%d  %d,%d  %d,%d  %d,%d", &n[0], &n[1], &n[2], &n[3],
                &n[4], &n[5], &n[6], &n[7]);
    return n;
}

TEST_F(TumbleTest, HalfWayThePlateIsUpsideDownAndHalfTheSize) {
    Frame source(720, 480), dest(720, 480);
    TraceCapture trace;
    TumbleAway(nullptr, source.data(), dest.data(), 720, 720, 480, 0.5f, false);
    const std::vector<int> flat = corners(trace.text(), "Tumble corners   ");
    ASSERT_EQ(flat.size(), 8u);
    EXPECT_NEAR(flat[0], 180, 1);
    EXPECT_NEAR(flat[1], 180, 1);  // ytop lies below ybot
    EXPECT_NEAR(flat[2], 540, 1);
    EXPECT_NEAR(flat[5], 60, 1);
    EXPECT_NEAR(flat[6], 180, 1);
    const std::vector<int> spun = corners(trace.text(), "Tumble corners R ");  // half a turn
    EXPECT_NEAR(spun[0], 540, 2);
    EXPECT_NEAR(spun[1], 60, 2);
}

TEST_F(TumbleTest, ThePlateNeverCollapsesToALine) {
    std::mt19937 random(5);
    Frame source(128, 96), dest(128, 96);
    int guarded = 0;
    for (const bool proxy : {false, true}) {
        for (int i = 0; i <= 400; ++i) {
            TraceCapture trace;
            TumbleAway(nullptr, source.data(), dest.data(), 128, 128, 96, static_cast<float>(i) / 400, proxy);
            const std::vector<int> flat = corners(trace.text(), "Tumble corners   ");
            ASSERT_EQ(flat.size(), 8u);
            EXPECT_EQ(flat[1], flat[3]);
            EXPECT_EQ(flat[5], flat[7]);
            EXPECT_NE(flat[1], flat[5]);
            if (std::abs(flat[5] - flat[1]) == 1) {
                EXPECT_EQ(flat[5], flat[1] + 1);
                ++guarded;
            }
        }
    }
    EXPECT_GT(guarded, 2);
}

TEST_F(TumbleTest, ThePlateIsCentredOnTheStrideAndSpunAboutTheVisibleWidth) {
    Frame source(200, 64), dest(200, 64);
    TraceCapture trace;
    TumbleAway(nullptr, source.data(), dest.data(), 200, 120, 64, 0.0f, true);
    EXPECT_TRUE(trace.says("Tumble corners   0,0  200,0  200,64  0,64\n\r"));
    const std::vector<int> spun = corners(trace.text(), "Tumble corners R ");
    EXPECT_NEAR(spun[0], 0, 1);
    EXPECT_NEAR(spun[2], 200, 1);
    TraceCapture half;
    TumbleAway(nullptr, source.data(), dest.data(), 200, 120, 64, 0.5f, true);
    const std::vector<int> turned = corners(half.text(), "Tumble corners R ");
    EXPECT_NEAR(turned[0] + turned[4], 2 * 20, 4);  // column 100, turned about column 60, is column 20
}

TEST_F(TumbleTest, TheRimIsTheAverageOfTheLattice) {
    std::mt19937 random(6);
    for (const int stride : {16, 31, 40, 100}) {
        for (const int height : {16, 23, 64}) {
            for (const bool proxy : {false, true}) {
                Frame source(stride, height), dest(stride, height);
                source.randomise(random);
                const Frame before = source;
                float sum[3] = {};
                int count = 0;
                for (int x = 0; x < stride; x += stride / 16)
                    for (int y = 0; y < height; y += height / 16, ++count)
                        for (int c = 0; c < 3; ++c)
                            sum[c] +=
                                before
                                    .data()[(static_cast<std::size_t>(y) * static_cast<std::size_t>(stride) +
                                             static_cast<std::size_t>(x)) *
                                                4 +
                                            static_cast<std::size_t>(c) + 1];
                TumbleAway(nullptr, source.data(), dest.data(), stride, stride, height, 0.4f, proxy);
                const unsigned char* corner = source.data();
                EXPECT_EQ(corner[0], 255);
                for (int c = 0; c < 3; ++c)
                    EXPECT_EQ(corner[c + 1], static_cast<int>(static_cast<double>(sum[c]) * (1.0 / count)));
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < stride; ++x) {
                        const bool rim = x < 2 || y < 2 || x >= stride - 2 || y >= height - 2;
                        ASSERT_EQ(source.at(stride, x, y),
                                  rim ? source.at(stride, 0, 0) : before.at(stride, x, y));
                    }
                }
            }
        }
    }
}

TEST_F(TumbleTest, TooFewRowsOrColumnsDrawNothingAfterTheLogLine) {
    for (const auto& [stride, height] :
         std::vector<std::pair<int, int>>{{1, 1}, {1, 20}, {20, 1}, {0, 5}, {5, 0}}) {
        Frame source(std::max(stride, 1), std::max(height, 1)),
            dest(std::max(stride, 1), std::max(height, 1));
        source.fill(3);
        dest.fill(4);
        const Frame beforeSource = source, beforeDest = dest;
        TraceCapture trace;
        TumbleAway(nullptr, source.data(), dest.data(), stride, stride, height, 0.2f, true);
        EXPECT_TRUE(source == beforeSource);
        EXPECT_TRUE(dest == beforeDest);
        char line[80];
        std::snprintf(line, sizeof line, "DistortUsingProj %d %d fac=0.200000\n\r", stride, height);
        EXPECT_EQ(trace.text(), line);
    }
}

TEST_F(TumbleTest, FieldsDoNotMix) {
    Frame source(64, 64), dest(64, 64);
    for (int y = 0; y < 64; ++y)
        std::fill_n(source.data() + static_cast<std::size_t>(y) * 256, 256,
                    static_cast<unsigned char>(y % 2 ? 40 : 200));
    dest.fill(0);
    TumbleAway(nullptr, source.data(), dest.data(), 64, 64, 64, 0.02f, false);
    // Inside the rim an even line holds even lines only, an odd one odd lines only.
    EXPECT_NEAR(dest.data()[(32 * 64 + 32) * 4 + 1], 200, 3);
    EXPECT_NEAR(dest.data()[(33 * 64 + 32) * 4 + 1], 40, 3);
}

TEST_F(TumbleTest, OutsideThePlateTheBackgroundStays) {
    Frame source(96, 96), dest(96, 96);
    source.fill(250);
    dest.fill(7);
    TumbleAway(nullptr, source.data(), dest.data(), 96, 96, 96, 0.6f, true);
    EXPECT_EQ(dest.data()[1], 7);
    EXPECT_EQ(dest.data()[dest.size() - 1], 7);
    EXPECT_GT(std::count(dest.data(), dest.data() + dest.size(), 250), 100);
}

}  // namespace
