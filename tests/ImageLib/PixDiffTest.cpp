#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "ImageLib/source/PixDiff.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "tests/ImageLib/Plain.h"
#include "tests/ImageLib/reference/Metrics.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"

namespace {

using tumblewash::reference::fillNoise;
using tumblewash::reference::pick;
using tumblewash::reference::TraceCatcher;
using tumblewash::test::plain;
namespace reference = tumblewash::reference;

class PixDiffTest : public tumblewash::reference::RectTest {};

TEST_F(PixDiffTest, IdenticalRectanglesGiveZeroEverywhere) {
    std::mt19937 rng(1);
    PixRectRW<ARGBVal> a(33, 20);
    fillNoise(a, rng);
    PixRectRW<ARGBVal> b(a);
    double result = 9;
    EXPECT_EQ(IMAGE_OK, sumdiff(a, b, result));
    EXPECT_EQ(0.0, result);
    result = 9;
    EXPECT_EQ(IMAGE_OK, sumdiffn(a, b, result));
    EXPECT_EQ(0.0, result);
    result = 9;
    EXPECT_EQ(IMAGE_OK, sumdiffx(a, b, result));
    EXPECT_EQ(0.0, result);
    unsigned char smallest = 7, largest = 7;
    result = 9;
    EXPECT_EQ(IMAGE_OK, sumdiffrms(a, b, result, smallest, largest));
    EXPECT_EQ(0.0, result);
    EXPECT_EQ(0, smallest);
    EXPECT_EQ(0, largest);
    PixRectRW<GreyPixel<unsigned char>> g(5, 4), k(5, 4);
    g.pixrefNB(2, 2).setgrey(99);
    k.pixrefNB(2, 2).setgrey(99);
    result = 9;
    EXPECT_EQ(IMAGE_OK, sumdiff(g, k, result));
    EXPECT_EQ(0.0, result);
}

TEST_F(PixDiffTest, OneChannelFromBlackToWhiteIsAThirdOfFullScale) {
    double result = 0;
    sumdiff(plain(9, 7, ARGBVal(255, 0, 0, 0)), plain(9, 7, ARGBVal(255, 0, 255, 0)), result);
    EXPECT_EQ(85.0, result);
}

TEST_F(PixDiffTest, AlphaNeverTakesPart) {
    const auto a = plain(32, 16, ARGBVal(0, 10, 20, 30)), b = plain(32, 16, ARGBVal(255, 10, 20, 30));
    double d = 1, n = 1, x = 1, rms = 1;
    unsigned char smallest, largest;
    sumdiff(a, b, d);
    sumdiffn(a, b, n);
    sumdiffx(a, b, x);
    sumdiffrms(a, b, rms, smallest, largest);
    EXPECT_EQ(0.0, d + n + x + rms);
}

TEST_F(PixDiffTest, SizeMismatchLeavesTheResultAndReturnsZero) {
    const PixRectRW<ARGBVal> a(20, 20), narrower(19, 20), lower(20, 19);
    for (const auto* b : {&narrower, &lower}) {
        double d = 1.5, n = 2.5, rms = 3.5;
        unsigned char smallest = 3, largest = 4;
        EXPECT_EQ(0, sumdiff(a, *b, d));
        EXPECT_EQ(0, sumdiffn(a, *b, n));
        EXPECT_EQ(0, sumdiffrms(a, *b, rms, smallest, largest));
        EXPECT_EQ(1.5, d);
        EXPECT_EQ(2.5, n);
        EXPECT_EQ(3.5, rms);
        EXPECT_EQ(255, smallest);
        EXPECT_EQ(0, largest);
    }
}

TEST_F(PixDiffTest, MismatchIsToldAtDbgRectByTheFirstOnly) {
    PixRectRW<ARGBVal> a(3, 4), b(5, 6);
    TraceCatcher trace;
    double result = 1;
    b.dbg = DBGState(DBGRect);
    sumdiff(a, b, result);
    EXPECT_EQ("", trace.text());
    a.dbg = DBGState(DBGRect);
    sumdiff(a, b, result);
    EXPECT_EQ("sumdiff: sizes don't match 3 != 5 or 4 != 6\n", trace.text());
    unsigned char smallest, largest;
    sumdiffn(a, b, result);
    sumdiffrms(a, b, result, smallest, largest);
    EXPECT_EQ("sumdiff: sizes don't match 3 != 5 or 4 != 6\n", trace.text());
}

TEST_F(PixDiffTest, ResultIsToldAtDbgMatch) {
    auto a = plain(3, 4, ARGBVal(255, 3, 0, 0));
    const auto b = plain(3, 4, ARGBVal(255, 0, 0, 0));
    a.dbg = DBGState(DBGMatch);
    TraceCatcher trace;
    double result = 0;
    sumdiff(a, b, result);
    EXPECT_EQ("sumdiff:sumdiff=1.000000\n", trace.text());
}

TEST_F(PixDiffTest, EmptyRectanglesCountAsAMismatch) {
    PixRectRW<ARGBVal> nowidth(0, 5), noheight(5, 0), inverted(4, 4, -9, -9);
    for (auto* r : {&nowidth, &noheight, &inverted}) {
        r->dbg = DBGState(DBGRect);
        TraceCatcher trace;
        double result = 4.25;
        EXPECT_EQ(0, sumdiff(*r, *r, result));
        EXPECT_EQ(4.25, result);
        EXPECT_EQ(0u, trace.text().find("sumdiff: sizes don't match "));
    }
}

TEST_F(PixDiffTest, SparseLatticeVisitsMultiplesOfTheStep) {
    PixRectRW<ARGBVal> a(32, 32), b(32, 32);
    a.fillWith(ARGBVal(255, 0, 0, 0));
    b.fillWith(ARGBVal(255, 0, 0, 0));
    // Everything off the lattice differs; nothing on it does.
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            if (x % 2 != 0 || y % 2 != 0) b.pixrefNB(x, y).setred(255);
    double result = 5;
    sumdiffn(a, b, result);
    EXPECT_EQ(0.0, result);
    // One lattice pixel of the 256 differs by 255 in one channel.
    b.pixrefNB(30, 30).setgreen(255);
    sumdiffn(a, b, result);
    EXPECT_EQ(255.0 / 256.0 / 3.0, result);
}

TEST_F(PixDiffTest, BelowSixteenColumnsTheLatticeHasNoStep) {
    const auto a = plain(15, 40, ARGBVal(1)), b = plain(15, 40, ARGBVal(200));
    double result = 6.5;
    EXPECT_EQ(0, sumdiffn(a, b, result));
    EXPECT_EQ(6.5, result);
    const auto c = plain(16, 3, ARGBVal(1)), d = plain(16, 3, ARGBVal(200));
    EXPECT_EQ(0, sumdiffn(c, d, result));
    EXPECT_EQ(199.0, result);
}

TEST_F(PixDiffTest, CrossVisitsTheCentreTwiceAndSkipsTheLastColumnAndRow) {
    const auto black = plain(3, 3, ARGBVal(255, 0, 0, 0));
    const double expected[3][3] = {{0, 1, 0}, {1, 2, 0}, {0, 0, 0}};  // visits by [y][x], four in all
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) {
            auto lit = black;
            lit.pixrefNB(x, y).set(255, 60, 60, 60);
            double result = -1;
            sumdiffx(black, lit, result);
            EXPECT_EQ(expected[y][x] * 180 / 4 / 3.0, result) << x << "," << y;
        }
    }
}

TEST_F(PixDiffTest, CrossOverOnePixelIsNotANumber) {
    double result = 1;
    EXPECT_EQ(0, sumdiffx(plain(1, 1, ARGBVal(3)), plain(1, 1, ARGBVal(9)), result));
    EXPECT_TRUE(std::isnan(result));
}

TEST_F(PixDiffTest, CrossWalksEachRectangleByItsOwnBounds) {
    std::mt19937 rng(8);
    for (int i = 0; i < 60; ++i) {
        const int lx = pick(rng, -9, 9), ly = pick(rng, -9, 9);
        PixRectRW<ARGBVal> a(lx, ly, lx + pick(rng, 1, 12), ly + pick(rng, 1, 12));
        PixRectRW<ARGBVal> b(pick(rng, 1, 13) + 1, pick(rng, 1, 13) + 1);
        fillNoise(a, rng);
        fillNoise(b, rng);
        double result = -1;
        sumdiffx(a, b, result);
        EXPECT_EQ(reference::sumdiffx(a, b), result);
    }
}

TEST_F(PixDiffTest, RmsIsTheRootMeanSquareOfLuminanceDifferences) {
    PixRectRW<ARGBVal> a(2, 1), b(2, 1);
    a.pixrefNB(0, 0).set(255, 10, 10, 10);
    a.pixrefNB(1, 0).set(255, 50, 50, 50);
    b.pixrefNB(0, 0).set(255, 13, 13, 13);
    b.pixrefNB(1, 0).set(255, 46, 46, 46);
    double result = 0;
    unsigned char smallest = 0, largest = 0;
    sumdiffrms(a, b, result, smallest, largest);
    EXPECT_EQ(std::sqrt(12.5), result);
    EXPECT_EQ(3, smallest);
    EXPECT_EQ(4, largest);
}

TEST_F(PixDiffTest, GreyPairsCountAllThreeGettersUntilEitherEnds) {
    PixRectRW<GreyPixel<unsigned char>> a(2, 2), b(3, 1);
    const int va[4] = {10, 20, 30, 40}, vb[3] = {13, 26, 39};
    for (int i = 0; i < 4; ++i) a.pixrefNB(i % 2, i / 2).setgrey(static_cast<unsigned char>(va[i]));
    for (int i = 0; i < 3; ++i) b.pixrefNB(i, 0).setgrey(static_cast<unsigned char>(vb[i]));
    double result = 0;
    EXPECT_EQ(0, sumdiff(a, b, result));
    EXPECT_EQ((3 + 6 + 9) * 3 / 3.0 / 3.0, result);
    EXPECT_EQ(0, sumdiff<GreyPixel<unsigned char>>(PixRectRW<GreyPixel<unsigned char>>(0, 4), b, result));
    EXPECT_TRUE(std::isnan(result));
}

TEST_F(PixDiffTest, RectanglesWithoutStorageReadAsZeroPixels) {
    const PixRectRW<ARGBVal> none;
    const auto one = plain(1, 1, ARGBVal(255, 30, 60, 90));
    double result = -1;
    sumdiff(none, one, result);
    EXPECT_EQ(60.0, result);
    const PixRectRW<GreyPixel<unsigned char>> nogrey;
    sumdiff(nogrey, nogrey, result);
    EXPECT_EQ(0.0, result);
}

TEST_F(PixDiffTest, AViewThatMissesItsSourceReadsAsZeroPixels) {
    auto small = plain(4, 4, ARGBVal(255, 90, 90, 90));
    PixRectRWRef<ARGBVal> away(small, 20, 20, 30, 30);  // collapses to one place that the source lacks
    const auto one = plain(1, 1, ARGBVal(255, 30, 30, 30));
    double result = -1;
    sumdiff(away, one, result);
    EXPECT_EQ(30.0, result);
    unsigned char smallest, largest;
    sumdiffrms(away, one, result, smallest, largest);
    EXPECT_EQ(30, largest);
}

TEST_F(PixDiffTest, EqualsThePlainTellingOverSizesOriginsViewsAndFields) {
    std::mt19937 rng(77);
    for (int i = 0; i < 120; ++i) {
        const int w = pick(rng, 16, 67), h = pick(rng, 1, 30);
        std::vector<ARGBVal> frame(static_cast<std::size_t>(w) * static_cast<std::size_t>(2 * h + 1));
        for (ARGBVal& p : frame)
            p = ARGBVal(static_cast<unsigned char>(rng()), static_cast<unsigned char>(rng()),
                        static_cast<unsigned char>(rng()), static_cast<unsigned char>(rng()));
        PixRectWrap<ARGBVal> odd(frame.data(), w, 2 * h + 1, SIOddLines);
        const int lx = pick(rng, -50, 50), ly = pick(rng, -50, 50);
        PixRectRW<ARGBVal> stored(lx, ly, lx + w + 4, ly + h + 3);
        fillNoise(stored, rng);
        PixRectRWRef<ARGBVal> view(stored, lx + 2, ly + 1, lx + w + 1, ly + h);
        view.shiftorigin(pick(rng, -9, 9), pick(rng, -9, 9));
        double result = -1;
        sumdiff(odd, view, result);
        EXPECT_EQ(reference::sumdiff(odd, view), result);
        sumdiffn(view, odd, result);
        EXPECT_EQ(reference::sumdiffn(view, odd), result);
        sumdiffx(odd, view, result);
        EXPECT_EQ(reference::sumdiffx(odd, view), result);  // w is 16 or more: never empty
        unsigned char smallest, largest;
        sumdiffrms(odd, view, result, smallest, largest);
        const auto rms = reference::sumdiffrms(odd, view);
        EXPECT_EQ(rms.result, result);
        EXPECT_EQ(rms.smallest, smallest);
        EXPECT_EQ(rms.largest, largest);
    }
}

}  // namespace
