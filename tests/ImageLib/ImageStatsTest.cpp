#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/source/ImageStats.h"
#include "ImageLib/source/PixRectWrap.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"

namespace {

using tumblewash::reference::TraceCatcher;
using Grey = GreyPixel<float>;

class ImageStatsTest : public tumblewash::reference::RectTest {};

PixRectRW<Grey> surface(float v) {
    PixRectRW<Grey> r(-2, -2, 2, 2);
    for (int y = -2; y <= 2; ++y)
        for (int x = -2; x <= 2; ++x) r.pixrefNB(x, y).setgrey(v);
    return r;
}

TEST_F(ImageStatsTest, EqualValuesReportTheFirstCell) {
    auto r = surface(7.0f);
    const ImageStats<Grey> stats(r);
    EXPECT_EQ(7.0f, stats.min._grey);
    EXPECT_EQ(7.0f, stats.max._grey);
    EXPECT_EQ(-2, stats.minx);
    EXPECT_EQ(-2, stats.miny);
    EXPECT_EQ(-2, stats.maxx);
    EXPECT_EQ(-2, stats.maxy);
}

TEST_F(ImageStatsTest, FindsTheLowestAndTheHighest) {
    auto r = surface(7.0f);
    r.pixrefNB(1, 0).setgrey(1.0f);
    r.pixrefNB(-1, 1).setgrey(9.0f);
    const ImageStats<Grey> stats(r);
    EXPECT_EQ(1.0f, stats.min._grey);
    EXPECT_EQ(1, stats.minx);
    EXPECT_EQ(0, stats.miny);
    EXPECT_EQ(9.0f, stats.max._grey);
    EXPECT_EQ(-1, stats.maxx);
    EXPECT_EQ(1, stats.maxy);
}

TEST_F(ImageStatsTest, TiesKeepTheEarlierRow) {
    auto r = surface(7.0f);
    r.pixrefNB(2, -2).setgrey(3.0f);
    r.pixrefNB(-2, -1).setgrey(3.0f);
    r.pixrefNB(2, 1).setgrey(8.0f);
    r.pixrefNB(-2, 2).setgrey(8.0f);
    const ImageStats<Grey> stats(r);
    EXPECT_EQ(2, stats.minx);
    EXPECT_EQ(-2, stats.miny);
    EXPECT_EQ(2, stats.maxx);
    EXPECT_EQ(1, stats.maxy);
}

TEST_F(ImageStatsTest, EqualLuminanceKeepsTheFirstColourAlphaIncluded) {
    PixRectRW<ARGBVal> r(3, 1);
    r.pixrefNB(0, 0).set(255, 200, 200, 200);
    r.pixrefNB(1, 0).set(17, 10, 10, 10);  // luminance 10
    r.pixrefNB(2, 0).set(99, 34, 0, 0);    // luminance 10
    const ImageStats<ARGBVal> stats(r);
    EXPECT_EQ(1, stats.minx);
    EXPECT_EQ(17, stats.min._alpha);
    EXPECT_EQ(10, stats.min._red);
    EXPECT_EQ(10, stats.min._green);
    EXPECT_EQ(0, stats.maxx);
}

TEST_F(ImageStatsTest, WhiteNeverBeatsTheStartingMinimum) {
    PixRectRW<ARGBVal> r(5, 6, 8, 9);
    r.fillWith(ARGBVal(3, 255, 255, 255));
    const ImageStats<ARGBVal> stats(r);
    EXPECT_EQ(255, stats.min._red);
    EXPECT_EQ(255, stats.min._alpha);
    EXPECT_EQ(5, stats.minx);
    EXPECT_EQ(6, stats.miny);
    EXPECT_EQ(3, stats.max._alpha);
}

TEST_F(ImageStatsTest, BlackNeverBeatsTheStartingMaximum) {
    PixRectRW<GreyPixel<unsigned char>> r(5, 6, 8, 9);
    const ImageStats<GreyPixel<unsigned char>> stats(r);
    EXPECT_EQ(0, stats.max._grey);
    EXPECT_EQ(0, stats.min._grey);
    EXPECT_EQ(5, stats.maxx);
    EXPECT_EQ(6, stats.maxy);
    auto negative = surface(-4.0f);
    negative.pixrefNB(1, 1).setgrey(0.0f);
    const ImageStats<Grey> floats(negative);
    EXPECT_EQ(0.0f, floats.max._grey);
    EXPECT_EQ(-2, floats.maxx);
    EXPECT_EQ(-4.0f, floats.min._grey);
}

TEST_F(ImageStatsTest, RecomputingKeepsPositionsThatNothingBeats) {
    auto r = surface(7.0f);
    r.pixrefNB(1, 2).setgrey(9.0f);
    ImageStats<Grey> stats(r);
    EXPECT_EQ(1, stats.maxx);
    for (int y = -2; y <= 2; ++y)
        for (int x = -2; x <= 2; ++x) r.pixrefNB(x, y).setgrey(-1.0f);
    stats.calc();
    EXPECT_EQ(0.0f, stats.max._grey);
    EXPECT_EQ(1, stats.maxx);
    EXPECT_EQ(2, stats.maxy);
    EXPECT_EQ(-1.0f, stats.min._grey);
}

TEST_F(ImageStatsTest, ANumberlessScoreIsNeverAnExtreme) {
    auto r = surface(std::numeric_limits<float>::quiet_NaN());
    r.pixrefNB(0, 0).setgrey(5.0f);
    const ImageStats<Grey> stats(r);
    EXPECT_EQ(5.0f, stats.min._grey);
    EXPECT_EQ(5.0f, stats.max._grey);
    EXPECT_EQ(0, stats.minx);
}

TEST_F(ImageStatsTest, ViewsAndFieldsAreWalkedLikeStorage) {
    std::mt19937 rng(5);
    for (int i = 0; i < 40; ++i) {
        const int w = tumblewash::reference::pick(rng, 2, 20), h = tumblewash::reference::pick(rng, 2, 20);
        PixRectRW<ARGBVal> frame(w, h);
        tumblewash::reference::fillNoise(frame, rng);
        PixRectWrap<ARGBVal> odd(&frame.pixrefNB(0, 0), w, h, SIOddLines);
        PixRectRW<ARGBVal> copy(odd);
        PixRectRef<ARGBVal> readable(odd);
        PixRectRWRef<ARGBVal> writable(odd, 0, 0, odd.hx(), odd.hy());
        const ImageStats<ARGBVal> want(copy), a(odd), b(readable), c(writable);
        for (const auto* got : {&a, &b, &c}) {
            EXPECT_EQ(want.minx, got->minx);
            EXPECT_EQ(want.miny, got->miny);
            EXPECT_EQ(want.maxx, got->maxx);
            EXPECT_EQ(want.maxy, got->maxy);
        }
    }
}

TEST_F(ImageStatsTest, ItIsAViewOnItsSource) {
    auto r = surface(2.0f);
    r.pixrefNB(1, 1).setgrey(4.0f);
    const ImageStats<Grey> stats(r);
    EXPECT_EQ(&r, stats.src());
    EXPECT_EQ(-2, stats.lx());
    EXPECT_EQ(2, stats.hy());
    EXPECT_EQ(4.0f, stats.pix(1, 1)._grey);
}

TEST_F(ImageStatsTest, EmptyAndStoragelessRectanglesAreHarmless) {
    const ImageStats<Grey> none;
    EXPECT_EQ(nullptr, none.src());
    const ImageStats<Grey> stated{DBGState(DBGMatch)};
    EXPECT_TRUE(stated.debugchk(DBGMatch));
    PixRectRW<Grey> nothing(0, 0);
    const ImageStats<Grey> empty(nothing);
    EXPECT_EQ(4294967296.0f, empty.min._grey);
    EXPECT_EQ(0.0f, empty.max._grey);
    PixRectRW<Grey> bare;
    bare.setbounds(0, 0, 30, 30);
    const ImageStats<Grey> black(bare);
    EXPECT_EQ(0.0f, black.min._grey);
    EXPECT_EQ(0, black.minx);
    PixRectRW<Grey> small(3, 3);
    PixRectRWRef<Grey> away(small, 50, 50, 60, 60);
    const ImageStats<Grey> missed(away);
    EXPECT_EQ(0.0f, missed.min._grey);
}

TEST_F(ImageStatsTest, PrintsPositionsThenBothPixels) {
    auto r = surface(2.0f);
    const ImageStats<Grey> stats(r);
    TraceCatcher trace;
    stats.printInfo();
    EXPECT_EQ(
        "ImageStats of:min at -2 -2 max at -2 -2 Vals follow..\nGreyPixel< 2.000000 >\nGreyPixel< 2.000000 "
        ">\n",
        trace.text());
}

}  // namespace
