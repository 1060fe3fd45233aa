#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "ImageLib/source/PixRectC.h"
#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"

namespace {

using tumblewash::reference::Bytes;
using tumblewash::reference::bytesOf;
using tumblewash::reference::fillNoise;
using tumblewash::reference::pick;
using tumblewash::reference::TraceCatcher;

class PixRectCTest : public tumblewash::reference::RectTest {
  protected:
    PixRectRW<ARGBVal> noise(int lx, int ly, int hx, int hy) {
        PixRectRW<ARGBVal> r(lx, ly, hx, hy);
        fillNoise(r, rng);
        return r;
    }
    std::mt19937 rng{4};
};

TEST_F(PixRectCTest, TablesHaveOneSpareRowAndColumn) {
    auto a = noise(0, 0, 99, 49), b = noise(0, 0, 127, 63);
    const PixRectC<ARGBVal> ca(a), cb(&b);
    EXPECT_EQ(2, ca._ncols);
    EXPECT_EQ(1, ca._nrows);
    EXPECT_EQ(3, cb._ncols);
    EXPECT_EQ(2, cb._nrows);
    EXPECT_EQ(64, ca._tilew);
    EXPECT_EQ(64, ca._tileh);
    EXPECT_EQ(65536, ca._cachelimit);
    EXPECT_EQ(65536, PixRectC<ARGBVal>::defaultcachesize);
}

TEST_F(PixRectCTest, FirstReadMakesTheTileClippedToTheSource) {
    auto a = noise(0, 0, 99, 49);
    const PixRectC<ARGBVal> c(a);
    EXPECT_EQ(0, c.cachesize());
    EXPECT_EQ(bytesOf(a.pix(70, 10)), bytesOf(c.pix(70, 10)));
    EXPECT_EQ(4096, c.cachesize());
    ASSERT_NE(nullptr, c._tiles[0][1]);
    EXPECT_EQ(nullptr, c._tiles[0][0]);
    const PixRectRW<ARGBVal>* tile = c.cachetile(70, 10);
    EXPECT_EQ(c._tiles[0][1].get(), tile);
    EXPECT_EQ(64, tile->lx());
    EXPECT_EQ(0, tile->ly());
    EXPECT_EQ(99, tile->hx());
    EXPECT_EQ(49, tile->hy());
}

TEST_F(PixRectCTest, InnerTilesHaveExactlyTheTileSize) {
    auto a = noise(-10, 20, 189, 219);
    const PixRectC<ARGBVal> c(a);
    const PixRectRW<ARGBVal>* first = c.cachetile(-10, 20);
    const PixRectRW<ARGBVal>* inner = c.cachetile(54 + 63, 84);
    EXPECT_EQ(-10, first->lx());
    EXPECT_EQ(53, first->hx());
    EXPECT_EQ(83, first->hy());
    EXPECT_EQ(54, inner->lx());
    EXPECT_EQ(117, inner->hx());
    EXPECT_EQ(84, inner->ly());
    EXPECT_EQ(147, inner->hy());
    EXPECT_EQ(c._tiles[1][1].get(), inner);
}

TEST_F(PixRectCTest, ReadingTwiceMakesOneTile) {
    auto a = noise(0, 0, 99, 49);
    const PixRectC<ARGBVal> c(a);
    c.pix(3, 3);
    c.pixNB(3, 3);
    c.pixdd(3.9, 3.9);
    EXPECT_EQ(1, c._ntiles);
    EXPECT_EQ(1, c._clock);
}

TEST_F(PixRectCTest, TheOldestMadeGoesFirstHoweverOftenItWasRead) {
    auto a = noise(0, 0, 99, 49);
    PixRectC<ARGBVal> c(a);
    c.pix(0, 0);
    c.pix(70, 0);
    c.pix(0, 0);
    EXPECT_EQ(0, c._ages[0][0]);
    EXPECT_EQ(1, c._ages[0][1]);
    c.clearoldest();
    EXPECT_EQ(nullptr, c._tiles[0][0]);
    EXPECT_NE(nullptr, c._tiles[0][1]);
    EXPECT_EQ(1, c._ntiles);
    c.pix(0, 0);
    EXPECT_EQ(2, c._ages[0][0]);
    c.clearoldest();
    EXPECT_EQ(nullptr, c._tiles[0][1]);
    EXPECT_EQ(0, c._ages[0][1]);
    c.clearoldest();
    c.clearoldest();
    EXPECT_EQ(0, c._ntiles);
}

TEST_F(PixRectCTest, EqualStampsGoToTheTileScannedLast) {
    auto a = noise(0, 0, 99, 99);
    PixRectC<ARGBVal> c(a);
    c.pix(0, 0);
    c.pix(70, 0);
    c.pix(0, 70);
    c._ages[0][0] = c._ages[0][1] = c._ages[1][0] = 1;
    c.clearoldest();
    EXPECT_EQ(nullptr, c._tiles[1][0]);
    EXPECT_NE(nullptr, c._tiles[0][0]);
    // A tile whose stamp equals the clock is never the oldest: the scan ends where it began.
    c._ages[0][0] = c._ages[0][1] = c._clock;
    c.clearoldest();
    EXPECT_EQ(2, c._ntiles);
}

TEST_F(PixRectCTest, PercusedMultipliesByTheRows) {
    auto a = noise(0, 0, 99, 49), b = noise(0, 0, 99, 99), wide = noise(0, 0, 199, 99);
    const PixRectC<ARGBVal> one(a), two(b), six(wide);
    one.pix(0, 0);
    two.pix(0, 0);
    six.pix(0, 0);
    six.pix(70, 0);
    EXPECT_EQ(50, one.percused());
    EXPECT_EQ(100, two.percused());
    EXPECT_EQ(100, six.percused());  // 2 x 100 / 4 columns x 2 rows
    PixRectC<ARGBVal> three(b);
    three.initcache(34, 34);  // 3 x 3 tiles
    three.pix(0, 0);
    EXPECT_EQ(99, three.percused());  // 33 x 3, divided before it is multiplied
}

TEST_F(PixRectCTest, OutsideItsBoundsItAnswersBlackAndMakesNoTile) {
    auto a = noise(10, 20, 40, 50);
    const PixRectC<ARGBVal> c(a);
    const Bytes zero{0, 0, 0, 0};
    for (const auto& [x, y] : {std::pair{9, 20}, {41, 20}, {10, 19}, {10, 51}, {-1000000, 2000000000}}) {
        EXPECT_EQ(zero, bytesOf(c.pix(x, y)));
        EXPECT_EQ(zero, bytesOf(c.pixNB(x, y)));
        EXPECT_EQ(zero, bytesOf(c.pixdd(x, y)));
        EXPECT_EQ(nullptr, c.cachetile(x, y));
        EXPECT_EQ(&PixRectBase<ARGBVal>::blackpixel, &c.cacheref(x, y));
    }
    const double inf = std::numeric_limits<double>::infinity(),
                 nan = std::numeric_limits<double>::quiet_NaN();
    for (const double v : {inf, -inf, nan, 1e300, -1e300}) {
        EXPECT_EQ(zero, bytesOf(c.pixdd(v, 25.0)));
        EXPECT_EQ(zero, bytesOf(c.pixdd(15.0, v)));
    }
    EXPECT_EQ(0, c._ntiles);
}

TEST_F(PixRectCTest, DoublesTruncateTowardZero) {
    auto a = noise(-3, -3, 3, 3);
    const PixRectC<ARGBVal> c(a);
    EXPECT_EQ(bytesOf(a.pix(2, 1)), bytesOf(c.pixdd(2.9, 1.9)));
    EXPECT_EQ(bytesOf(a.pix(0, -1)), bytesOf(c.pixdd(-0.9, -1.9)));
}

TEST_F(PixRectCTest, WithoutASourceItIsEmptyAndSafe) {
    PixRectC<ARGBVal> none, stated{DBGState(DBGCache)}, null(static_cast<PixRect<ARGBVal>*>(nullptr));
    EXPECT_TRUE(stated.debugchk(DBGCache));
    for (auto* c : {&none, &stated, &null}) {
        EXPECT_EQ(nullptr, c->src());
        EXPECT_EQ((Bytes{0, 0, 0, 0}), bytesOf(c->pix(0, 0)));
        EXPECT_EQ((Bytes{0, 0, 0, 0}), bytesOf(c->pixNB(0, 0)));
        EXPECT_EQ(0, c->percused());
        EXPECT_EQ(0, c->cachesize());
        c->deletetile(0, 0);
        c->clearoldest();
        c->clearcache();
        c->deletecache();
        c->init();
    }
    EXPECT_TRUE(none.initcache(8, 8));
    EXPECT_EQ((Bytes{0, 0, 0, 0}), bytesOf(none.pix(0, 0)));
    EXPECT_EQ(0, none._ntiles);
}

TEST_F(PixRectCTest, ClearingStartsTheStampsAgainAndKeepsTheTables) {
    auto a = noise(0, 0, 199, 199);
    PixRectC<ARGBVal> c(a);
    c.pix(0, 0);
    c.pix(199, 199);
    c.deletetile(3, 3);
    EXPECT_EQ(1, c._ntiles);
    c.deletetile(3, 3);
    c.deletetile(-1, 0);
    c.deletetile(0, 99);
    EXPECT_EQ(1, c._ntiles);
    c.clearcache();
    EXPECT_EQ(0, c._ntiles);
    EXPECT_EQ(0, c._clock);
    EXPECT_EQ(4, c._ncols);
    c.pix(5, 5);
    EXPECT_EQ(0, c._ages[0][0]);
    EXPECT_EQ(1, c._ntiles);
    c.deletecache();
    EXPECT_EQ((Bytes{0, 0, 0, 0}), bytesOf(c.pix(5, 5)));
}

TEST_F(PixRectCTest, TilesKeepWhatTheSourceShowedWhenTheyWereMade) {
    auto a = noise(0, 0, 9, 9);
    PixRectC<ARGBVal> c(a);
    const Bytes before = bytesOf(c.pix(4, 4));
    a.pixrefNB(4, 4).set(1, 2, 3, 4);
    EXPECT_EQ(before, bytesOf(c.pix(4, 4)));
    c.deletetile(0, 0);
    EXPECT_EQ((Bytes{1, 2, 3, 4}), bytesOf(c.pix(4, 4)));
}

TEST_F(PixRectCTest, NothingIsEvictedByItself) {
    auto a = noise(0, 0, 599, 599);
    const PixRectC<ARGBVal> c(a);
    for (int y = 0; y < 600; y += 64)
        for (int x = 0; x < 600; x += 64) c.pix(x, y);
    EXPECT_EQ(100, c._ntiles);
    EXPECT_GT(c.cachesize(), c._cachelimit);
}

TEST_F(PixRectCTest, ABadTileSizeCountsAsOnePixel) {
    auto a = noise(0, 0, 3, 2);
    PixRectC<ARGBVal> c(a);
    EXPECT_TRUE(c.initcache(0, -5));
    EXPECT_EQ(5, c._ncols);
    EXPECT_EQ(4, c._nrows);
    EXPECT_EQ(bytesOf(a.pix(3, 2)), bytesOf(c.pix(3, 2)));
}

TEST_F(PixRectCTest, MovingBoundsUnderACacheNeverLeavesItsMemory) {
    auto a = noise(0, 0, 99, 99);
    PixRectC<ARGBVal> c(a);
    c.pix(10, 10);
    c.shiftorigin(40, 40);
    for (int y = 30; y < 150; y += 3)
        for (int x = 30; x < 150; x += 3) c.pix(x, y);
    c.setbounds(-500, -500, 500, 500);
    for (int y = -510; y < 510; y += 37)
        for (int x = -510; x < 510; x += 37) c.pixNB(x, y);
    EXPECT_LE(c._ntiles, c._ncols * c._nrows);
}

TEST_F(PixRectCTest, CarriesScaleAndDebugStateOfItsSource) {
    auto a = noise(0, 0, 3, 3);
    a.setscale(2.0, 3.0);
    a.dbg = DBGState(DBGCache);
    const PixRectC<ARGBVal> c(a);
    EXPECT_EQ(2.0, c.xs());
    EXPECT_EQ(3.0, c.ys());
    EXPECT_EQ(DBGCache, c.dbgstate().value());
    EXPECT_EQ(&a, c.src());
    TraceCatcher trace;
    c.printInfo();
    EXPECT_EQ(0u, trace.text().find("PixRectC:PixRect:PixRectBase lx(0)"));
}

template <class T>
class PixRectCTyped : public tumblewash::reference::RectTest {};
using CachedTypes = ::testing::Types<ARGBVal, GreyPixel<unsigned char>>;
TYPED_TEST_SUITE(PixRectCTyped, CachedTypes);

TYPED_TEST(PixRectCTyped, ShowsItsSourceAtEveryPlaceAndTileSize) {
    std::mt19937 rng(9);
    for (int i = 0; i < 25; ++i) {
        const int lx = pick(rng, -40, 40), ly = pick(rng, -40, 40);
        PixRectRW<TypeParam> a(lx, ly, lx + pick(rng, 0, 60), ly + pick(rng, 0, 60));
        for (int y = a.ly(); y <= a.hy(); ++y)
            for (int x = a.lx(); x <= a.hx(); ++x)
                a.pixrefNB(x, y).setgrey(static_cast<unsigned char>(rng()));
        PixRectC<TypeParam> c(a);
        c.initcache(pick(rng, 1, 20), pick(rng, 1, 20));
        for (int n = 0; n < 300; ++n) {
            const int x = pick(rng, a.lx() - 2, a.hx() + 2), y = pick(rng, a.ly() - 2, a.hy() + 2);
            EXPECT_EQ(a.pix(x, y).getgrey(), c.pix(x, y).getgrey());
            if (n % 40 == 0) c.clearoldest();
        }
    }
}

}  // namespace
