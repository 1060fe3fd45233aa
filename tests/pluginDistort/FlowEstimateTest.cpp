#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ImageLib/source/Correlator.h"
#include "ImageLib/source/PixRectRef.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/process_init.h"
#include "tests/pluginDistort/TraceCapture.h"
#include "tests/whole/Frames.h"
#include "tests/whole/reference/FlowEstimate.h"

namespace {

using tumblewash::test::Frame;
using Field = std::unique_ptr<PixRectRW<RGBPixel<float>>>;

Field estimated(Frame& from, Frame& to, int width, int height) {
    PixRectWrap<ARGBVal> f(reinterpret_cast<ARGBVal*>(from.data()), width, height, SIAllLines);
    PixRectWrap<ARGBVal> t(reinterpret_cast<ARGBVal*>(to.data()), width, height, SIAllLines);
    return Field(MakeFlowField(f, t, t));
}

/// A colour for a block of the picture, as good as random.
unsigned char noise(int u, int v, int channel) {
    std::uint32_t n = static_cast<std::uint32_t>(u * 7919 + v * 104729 + channel * 1299709 + 12345);
    n = (n ^ (n >> 13)) * 2654435761u;
    return static_cast<unsigned char>((n ^ (n >> 15)) & 0xFF);
}

/// A picture of coloured blocks, one block per thumbnail pixel of a width x height frame, moved by whole
/// blocks.
void paintBlocks(Frame& frame, int width, int height, int movedx, int movedy) {
    const int bw = width / 40, bh = height / 40;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                frame.data()[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                              static_cast<std::size_t>(x)) *
                                 4 +
                             static_cast<std::size_t>(c)] =
                    noise(x / bw - movedx + 100, y / bh - movedy + 100, c);
}

void expectEqualToReference(std::mt19937& random, int width, int height, bool smooth) {
    Frame from(width, height), to(width, height);
    from.randomise(random);
    to.randomise(random);
    if (smooth) {
        for (std::size_t i = 0; i < to.size(); ++i) {
            const auto x = static_cast<double>(i / 4 % static_cast<std::size_t>(width));
            const auto y = static_cast<double>(i / 4 / static_cast<std::size_t>(width));
            const double c = static_cast<double>(i % 4);
            to.data()[i] = static_cast<unsigned char>(128 + 120 * std::sin(x * 9 / width + c) *
                                                                std::cos(y * 7 / height));
            from.data()[i] = static_cast<unsigned char>(128 + 120 * std::sin((x - 3) * 9 / width + c) *
                                                                  std::cos((y + 2) * 7 / height));
        }
    }
    const Field field = estimated(from, to, width, height);
    const tumblewash::reference::MotionField plain =
        tumblewash::reference::MakeFlowField(from.data(), to.data(), width, height);
    ASSERT_EQ(field->width(), 40);
    ASSERT_EQ(field->height(), 40);
    for (int v = 0; v < 40; ++v) {
        for (int u = 0; u < 40; ++u) {
            const auto cell = static_cast<std::size_t>(v * 40 + u);
            ASSERT_EQ(field->pix(u, v)._red, plain.red[cell])
                << width << "x" << height << " cell " << u << "," << v;
            ASSERT_EQ(field->pix(u, v)._green, plain.green[cell])
                << width << "x" << height << " cell " << u << "," << v;
            ASSERT_EQ(field->pix(u, v)._blue, 0.0f);
        }
    }
    EXPECT_TRUE(from.guardsIntact() && to.guardsIntact());
}

TEST(FlowEstimateTest, FieldsAreThoseOfThePlainWriting) {
    std::mt19937 random(1);
    for (const bool smooth : {false, true})
        for (const auto& [width, height] : std::vector<std::pair<int, int>>{
                 {720, 480}, {320, 241}, {81, 79},  {80, 160}, {79, 159}, {79, 161}, {40, 80},
                 {40, 81},   {41, 83},   {120, 80}, {30, 200}, {200, 30}, {64, 48},  {33, 21},
                 {16, 16},   {17, 5},    {5, 17},   {3, 7},    {2, 5},    {4, 4},    {3, 3},
                 {2, 3},     {1, 3},     {3, 2},    {1, 2},    {2, 2}})
            expectEqualToReference(random, width, height, smooth);
}

TEST(FlowEstimateTest, FramesWithoutAColumnOrTwoRowsGiveTheZeroField) {
    std::mt19937 random(2);
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{{1, 1}, {50, 1}, {0, 10}, {10, 0}}) {
        Frame a(std::max(1, width), std::max(1, height)), b(std::max(1, width), std::max(1, height));
        a.randomise(random);
        b.randomise(random);
        const Field field = estimated(a, b, width, height);
        ASSERT_EQ(field->width(), 40);
        ASSERT_EQ(field->height(), 40);
        for (int v = 0; v < 40; ++v)
            for (int u = 0; u < 40; ++u) ASSERT_EQ(field->pix(u, v)._red + field->pix(u, v)._green, 0.0f);
    }
}

TEST(FlowEstimateTest, IdenticalTexturedFramesStandStill) {
    Frame a(720, 480), b(720, 480);
    paintBlocks(a, 720, 480, 0, 0);
    paintBlocks(b, 720, 480, 0, 0);
    const Field field = estimated(a, b, 720, 480);
    for (int v = 0; v < 40; ++v)
        for (int u = 0; u < 40; ++u) EXPECT_EQ(field->pix(u, v)._red + field->pix(u, v)._green, 0.0f);
}

TEST(FlowEstimateTest, OffsetsAreFoundInFrameColumnsAndFieldRows) {
    for (const auto& [dx, dy] :
         std::vector<std::pair<int, int>>{{2, 0}, {1, -2}, {-2, 2}, {0, 1}, {-1, -1}}) {
        Frame from(720, 480), to(720, 480);
        paintBlocks(from, 720, 480, dx, dy);
        paintBlocks(to, 720, 480, 0, 0);
        const Field field = estimated(from, to, 720, 480);
        for (int v = 2; v < 38; ++v) {
            for (int u = 2; u < 38; ++u) {
                EXPECT_EQ(field->pix(u, v)._red, 18.0f * static_cast<float>(dx));
                EXPECT_EQ(field->pix(u, v)._green, 6.0f * static_cast<float>(dy));
            }
        }
    }
}

TEST(FlowEstimateTest, BorderCellsHoldTheDefaultPixel) {
    Frame from(720, 480), to(720, 480);
    paintBlocks(from, 720, 480, 2, 2);
    paintBlocks(to, 720, 480, 0, 0);
    const Field field = estimated(from, to, 720, 480);
    for (int i = 0; i < 40; ++i) {
        for (const int edge : {0, 1, 38, 39}) {
            EXPECT_EQ(field->pix(i, edge)._red, 0.0f);
            EXPECT_EQ(field->pix(i, edge)._green, 0.0f);
            EXPECT_EQ(field->pix(edge, i)._red, 0.0f);
        }
    }
    EXPECT_NE(field->pix(2, 2)._red, 0.0f);
    EXPECT_NE(field->pix(37, 37)._red, 0.0f);
}

TEST(FlowEstimateTest, LatticeValuesAreRepeatedOverThreeByThreeCells) {
    std::mt19937 random(9);
    Frame from(400, 400), to(400, 400);
    from.randomise(random);
    to.randomise(random);
    paintBlocks(from, 400, 400, 1, 1);
    const Field field = estimated(from, to, 400, 400);
    std::set<float> values;
    for (int v = 2; v < 38; ++v) {
        for (int u = 2; u < 38; ++u) {
            EXPECT_EQ(field->pix(u, v)._red, field->pix(2 + (u - 2) / 3 * 3, 2 + (v - 2) / 3 * 3)._red);
            values.insert(field->pix(u, v)._red);
        }
    }
    EXPECT_GT(values.size(), 1u);
}

TEST(FlowEstimateTest, LargerMotionsAreReportedWithinTwo) {
    Frame from(720, 480), to(720, 480);
    paintBlocks(from, 720, 480, 5, 4);
    paintBlocks(to, 720, 480, 0, 0);
    const Field field = estimated(from, to, 720, 480);
    for (int v = 0; v < 40; ++v) {
        for (int u = 0; u < 40; ++u) {
            EXPECT_LE(std::fabs(field->pix(u, v)._red), 36.0f);
            EXPECT_LE(std::fabs(field->pix(u, v)._green), 12.0f);
        }
    }
}

TEST(FlowEstimateTest, UniformSearchRegionsAreFlatWhateverTheFeature) {
    Frame from(720, 480), to(720, 480);
    from.fill(30);
    paintBlocks(to, 720, 480, 0, 0);
    const Field field = estimated(from, to, 720, 480);
    for (int v = 0; v < 40; ++v)
        for (int u = 0; u < 40; ++u) EXPECT_EQ(field->pix(u, v)._red + field->pix(u, v)._green, 0.0f);
}

/// A frame whose odd field is its own thumbnail, all black but for one grey pixel.
Frame spotted(int u, int v, unsigned char grey) {
    Frame frame(40, 80);
    frame.fill(0);
    unsigned char* p =
        frame.data() + (static_cast<std::size_t>(2 * v + 1) * 40 + static_cast<std::size_t>(u)) * 4;
    p[1] = p[2] = p[3] = grey;
    return frame;
}

TEST(FlowEstimateTest, FlatMeansStrictlyBelowTheThreshold) {
    Frame to(40, 80);
    to.fill(0);
    // A block that holds the spot scores 3 x grey / 27; the others 0. The first of those is the top left
    // offset.
    Frame exactly = spotted(5, 5, 225);
    const Field trusted = estimated(exactly, to, 40, 80);
    EXPECT_EQ(trusted->pix(2, 2)._red, -2.0f);
    EXPECT_EQ(trusted->pix(2, 2)._green, -2.0f);
    Frame below = spotted(5, 5, 224);
    const Field flat = estimated(below, to, 40, 80);
    EXPECT_EQ(flat->pix(2, 2)._red, 0.0f);
    EXPECT_EQ(flat->pix(2, 2)._green, 0.0f);
}

TEST(FlowEstimateTest, TheFirstOfEqualMinimaWinsEvenForIdenticalFrames) {
    Frame a(40, 80);
    a.fill(0);
    for (int row = 0; row < 80; ++row)
        for (std::size_t c = 0; c < 4; ++c)
            a.data()[(static_cast<std::size_t>(row) * 40 + 3) * 4 + c] = 255;  // a column
    Frame b = a;
    const Field field = estimated(a, b, 40, 80);
    EXPECT_EQ(field->pix(2, 2)._red, 0.0f);     // across the edge the minimum is unique
    EXPECT_EQ(field->pix(2, 2)._green, -2.0f);  // along it every row matches: the first is taken
}

TEST(FlowEstimateTest, OnlyTheOddLinesCount) {
    std::mt19937 random(3);
    Frame from(160, 120), to(160, 120);
    from.randomise(random);
    to.randomise(random);
    const Field before = estimated(from, to, 160, 120);
    for (int row = 0; row < 120; row += 2) {
        std::fill_n(from.data() + static_cast<std::size_t>(row) * 640, 640,
                    static_cast<unsigned char>(random()));
        std::fill_n(to.data() + static_cast<std::size_t>(row) * 640, 640,
                    static_cast<unsigned char>(random()));
    }
    const Field after = estimated(from, to, 160, 120);
    for (int v = 0; v < 40; ++v)
        for (int u = 0; u < 40; ++u) {
            EXPECT_EQ(before->pix(u, v)._red, after->pix(u, v)._red);
            EXPECT_EQ(before->pix(u, v)._green, after->pix(u, v)._green);
        }
}

/// The offset of the feature around (x, y), told by the library's own correlator.
std::pair<int, int> correlated(PixRectRW<ARGBVal>& from, PixRectRW<ARGBVal>& to, int x, int y) {
    PixRectRWRef<ARGBVal> feature(to, x - 1, y - 1, x + 1, y + 1), searched(from, x - 3, y - 3, x + 3, y + 3);
    Correlator<ARGBVal> correlator(2, feature.width(), feature.height(), ComparePixDiff);
    const std::unique_ptr<PixRectRW<GreyPixel<float>>> surface(correlator.makesurface(feature, searched));
    std::pair<int, int> best;
    GreyPixel<float> least, most;
    correlator.getminmax(surface.get(), best.first, best.second, least, most);
    if (std::fabs(most.getgrey() - least.getgrey()) < 25.0f) return {0, 0};
    return best;
}

// A frame of 40 x 80 pixels is its own thumbnail, field by field.
TEST(FlowEstimateTest, OffsetsAreTheCorrelatorsOwn) {
    std::mt19937 random(9);
    int found = 0;
    for (const bool moved : {true, false}) {
        Frame from(40, 80), to(40, 80);
        to.randomise(random);
        from.randomise(random);
        if (moved)
            for (std::size_t i = 0; i + 4 < to.size(); ++i) from.data()[i] = to.data()[i + 4];
        const auto oddLines = [](Frame& frame) {
            auto lines = std::make_unique<PixRectRW<ARGBVal>>(40, 40);
            for (int y = 0; y < 40; ++y)
                for (int x = 0; x < 40; ++x)
                    std::memcpy(&lines->pixrefNB(x, y), frame.data() + ((2 * y + 1) * 40 + x) * 4, 4);
            return lines;
        };
        const auto fromLines = oddLines(from), toLines = oddLines(to);
        const Field field = estimated(from, to, 40, 80);
        for (int gy = 0; gy < 12; ++gy) {
            for (int gx = 0; gx < 12; ++gx) {
                const auto [dx, dy] = correlated(*fromLines, *toLines, 3 * gx + 3, 3 * gy + 3);
                ASSERT_EQ(field->pix(3 * gx + 2, 3 * gy + 2)._red, static_cast<float>(dx)) << gx << ',' << gy;
                ASSERT_EQ(field->pix(3 * gx + 2, 3 * gy + 2)._green, static_cast<float>(dy))
                    << gx << ',' << gy;
                found += dx != 0 || dy != 0;
            }
        }
    }
    EXPECT_GT(found, 100);
}

TEST(FlowEstimateTest, ATracedEstimateFindsTheSameMotion) {
    std::mt19937 random(4);
    for (int round = 0; round < 4; ++round) {
        Frame from(200, 160), to(200, 160);
        paintBlocks(from, 200, 160, round - 1, 2 - round);
        paintBlocks(to, 200, 160, 0, 0);
        for (int i = 0; i < 2000; ++i)
            from.data()[random() % from.size()] = static_cast<unsigned char>(random());
        const Field silent = estimated(from, to, 200, 160);
        tumblewash::test::TraceCapture trace;
        const Field traced = estimated(from, to, 200, 160);
        EXPECT_NE(trace.text().find("Source and dest are"), std::string::npos);
        for (int v = 0; v < 40; ++v) {
            for (int u = 0; u < 40; ++u) {
                ASSERT_EQ(silent->pix(u, v)._red, traced->pix(u, v)._red) << u << ',' << v;
                ASSERT_EQ(silent->pix(u, v)._green, traced->pix(u, v)._green) << u << ',' << v;
            }
        }
    }
}

std::vector<std::string> told;

TEST(FlowEstimateTest, TextsNameEveryLatticePoint) {
    Frame from(720, 480), to(720, 480);
    paintBlocks(from, 720, 480, 1, -2);
    paintBlocks(to, 720, 480, 0, 0);
    told.clear();
    const auto previous =
        tumblewash::plugin::setLogObserver([](const char* text) { told.emplace_back(text); });
    {
        tumblewash::test::TraceCapture trace;
        const Field field = estimated(from, to, 720, 480);
        EXPECT_EQ(trace.text().find("Source and dest are 40x40 and 40x40\n\r"), 0u);
    }
    tumblewash::plugin::setLogObserver(previous);
    ASSERT_EQ(told.size(), 144u);
    EXPECT_EQ(told[0], "Flow at 3 3 is 1 -2\n\r");
    EXPECT_EQ(told[1], "Flow at 6 3 is 1 -2\n\r");
    EXPECT_EQ(told[12], "Flow at 3 6 is 1 -2\n\r");
    EXPECT_EQ(told[143], "Flow at 36 36 is 1 -2\n\r");
}

}  // namespace
