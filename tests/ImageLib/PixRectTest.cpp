#include <gtest/gtest.h>

#include <limits>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/Capture.h"
#include "tests/ImageLib/Pictures.h"

using namespace tumblewash;
using namespace tumblewash::imagelib;

TEST(PixRectTest, SizeConstructorsSetBoundsAndFreshAlphaIsOpaque) {
    const PixRectRW<ARGBVal> r(4, 3);
    EXPECT_TRUE(hasBounds(r, 0, 0, 3, 2));
    EXPECT_EQ(r.width(), 4);
    EXPECT_EQ(r.height(), 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(r.pix(x, y)._alpha, 255);
    const PixRectRW<ARGBVal> s(-3, 5, 2, 6);
    EXPECT_TRUE(hasBounds(s, -3, 5, 2, 6));
    EXPECT_EQ(s.width(), 6);
    EXPECT_EQ(s.height(), 2);
    EXPECT_EQ(s.xs(), 1.0);
    EXPECT_EQ(s.ys(), 1.0);
    EXPECT_EQ(s.dbgstate().value(), 0);
}

TEST(PixRectTest, ReadsOutsideGiveTheZeroPixel) {
    PixRectRW<ARGBVal> r(4, 3);
    paint(r);
    EXPECT_TRUE(same(r.pix(3, 2), placePixel(3, 2)));
    for (const auto& [x, y] :
         {std::pair{4, 0}, {0, 3}, {-1, 0}, {0, -1}, {2147483647, 0}, {0, -2147483647 - 1}}) {
        EXPECT_TRUE(isBlack(r.pix(x, y)));
        EXPECT_EQ(&r.pixref(x, y), &PixRectBase<ARGBVal>::blackpixel);
    }
}

TEST(PixRectTest, CentresAreHalfTheSizeFromTheLowCorner) {
    const PixRectRW<ARGBVal> r(10, 20, 14, 23);
    EXPECT_EQ(r.cx(), 12);
    EXPECT_EQ(r.cy(), 22);
    const PixRectRW<ARGBVal> s(-5, -5, -5, -5);
    EXPECT_EQ(s.cx(), -5);
}

TEST(PixRectTest, RealPositionsTruncateTowardZero) {
    PixRectRW<ARGBVal> r(4, 3);
    paint(r);
    EXPECT_TRUE(same(r.pixdd(2.9, 1.9), r.pix(2, 1)));
    EXPECT_TRUE(same(r.pixdd(-0.5, 0), r.pix(0, 0)));
    EXPECT_TRUE(same(r.pixdd(-0.999, -0.999), r.pix(0, 0)));
    EXPECT_TRUE(isBlack(r.pixdd(-1.0, 0)));
    EXPECT_TRUE(isBlack(r.pixdd(4.0, 0)));
    const double inf = std::numeric_limits<double>::infinity();
    for (double wild :
         {inf, -inf, std::numeric_limits<double>::quiet_NaN(), 1e300, 2147483648.0, -2147483649.0}) {
        EXPECT_TRUE(isBlack(r.pixdd(wild, 0)));
        EXPECT_TRUE(isBlack(r.pixdd(0, wild)));
    }
}

TEST(PixRectTest, BoundsTests) {
    PixRectRW<ARGBVal> r(2, 3, 5, 7);
    EXPECT_TRUE(r.withinbounds(2, 3) && r.withinbounds(5, 7));
    EXPECT_FALSE(r.withinbounds(1, 3) || r.withinbounds(2, 2) || r.withinbounds(6, 7) ||
                 r.withinbounds(5, 8));
    EXPECT_TRUE(r.validatebounds(2, 3, 5, 7));
    EXPECT_FALSE(r.validatebounds(2, 3, 6, 7));
    EXPECT_FALSE(r.validatebounds(1, 3, 5, 7));
    r.setwidth(2);
    EXPECT_TRUE(hasBounds(r, 2, 3, 3, 7));
    r.setscale(0.5, 2.0);
    EXPECT_EQ(r.xs(), 0.5);
    EXPECT_EQ(r.ys(), 2.0);
}

TEST(PixRectTest, BoundsAreTakenFromRectanglesOfAnyType) {
    const PixRectRW<GreyPixel<int>> g(-1, -2, 3, 4);
    PixRectRW<ARGBVal> r;
    r.PixRectBase<ARGBVal>::setbounds(g);
    EXPECT_TRUE(hasBounds(r, -1, -2, 3, 4));
    r.setbounds(0, 0, 0, 0);
    r.setbounds(&static_cast<const PixRectBase<GreyPixel<int>>&>(g));
    EXPECT_TRUE(hasBounds(r, -1, -2, 3, 4));
}

TEST(PixRectTest, IntersectShrinksAndAnEmptyOneCollapsesAtTheNewCorner) {
    PixRectRW<ARGBVal> far(20, 20, 30, 30), over(5, -3, 30, 4);
    PixRectRW<ARGBVal> a(0, 0, 9, 9), b(0, 0, 9, 9);
    a.intersect(&far);
    EXPECT_TRUE(hasBounds(a, 20, 20, 20, 20));
    b.intersect(&over);
    EXPECT_TRUE(hasBounds(b, 5, 0, 9, 4));
    PixRectRW<ARGBVal> c(0, 0, 9, 9), left(-9, 3, -4, 5);
    c.intersect(&left);
    EXPECT_TRUE(hasBounds(c, 0, 3, 0, 5));
}

TEST(PixRectTest, EqualboundsComparesTheOthersTopWithTheLeft) {
    const auto equal = [](int lx, int ly, int hx, int hy) {
        const PixRect<ARGBVal>&& r = PixRectRW<ARGBVal>(lx, ly, hx, hy);
        return r.equalbounds(r, r);
    };
    EXPECT_TRUE(equal(0, 0, 9, 9));
    EXPECT_TRUE(equal(5, 5, 9, 9));
    EXPECT_FALSE(equal(1, 2, 9, 9));
    const PixRectRW<ARGBVal> a(3, 8, 9, 9), b(3, 3, 9, 9), c(3, 3, 8, 9), d(3, 3, 9, 8), e(4, 3, 9, 9);
    EXPECT_TRUE(a.equalbounds(a, b));  // a's top is never looked at
    EXPECT_FALSE(a.equalbounds(b, c));
    EXPECT_FALSE(a.equalbounds(b, d));
    EXPECT_FALSE(a.equalbounds(b, e));
    EXPECT_TRUE(a.equalsize(PixRectRW<ARGBVal>(2, 3), PixRectRW<ARGBVal>(5, 5, 6, 7)));
    EXPECT_FALSE(a.equalsize(PixRectRW<ARGBVal>(2, 3), PixRectRW<ARGBVal>(3, 3)));
    EXPECT_FALSE(a.equalsize(PixRectRW<ARGBVal>(2, 3), PixRectRW<ARGBVal>(2, 4)));
}

TEST(PixRectTest, WildBoundsAreDefinedAndHoldNothing) {
    const int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    PixRectRW<ARGBVal> r;
    r.setbounds(least, least, most, most);
    EXPECT_LE(r.width(), 0);
    r.shiftorigin(most, most);
    r.zeroorigin();
    r.centreorigin();
    r.setwidth(least);
    EXPECT_TRUE(isBlack(r.pix(0, 0)));
    const PixRectRW<ARGBVal> negative(-4, 3), zero(0, 0), reversed(5, 5, 4, 9);
    EXPECT_EQ(negative.rasters(), nullptr);
    EXPECT_EQ(zero.rasters(), nullptr);
    EXPECT_EQ(reversed.rasters(), nullptr);
}

template <class T>
class Rects : public ::testing::Test {};
TYPED_TEST_SUITE(Rects, RectPixels);

TYPED_TEST(Rects, StorageIsOneBlockOfRowsWithoutPadding) {
    PixRectRW<TypeParam> r(-3, 5, 2, 9);
    paint(r);
    for (int y = 5; y <= 9; ++y)
        for (int x = -3; x <= 2; ++x) {
            EXPECT_EQ(&r.rasters()[y][x], r._firstpixel + (y - 5) * 6 + (x + 3));
            EXPECT_EQ(&r.pixref(x, y), &r.rasters()[y][x]);
            EXPECT_EQ(&r.pixrefNB(x, y), &r.rasters()[y][x]);
            EXPECT_TRUE(same(r.pix(x, y), pixelAt<TypeParam>(x, y)));
            EXPECT_TRUE(same(r.pixNB(x, y), pixelAt<TypeParam>(x, y)));
            EXPECT_TRUE(same(r.pixdd(x, y), pixelAt<TypeParam>(x, y)));
        }
    EXPECT_EQ(r._firstrast - 5, r.rasters());
}

TYPED_TEST(Rects, ShiftoriginMovesCoordinatesAndNoPixel) {
    PixRectRW<TypeParam> r(4, 3);
    paint(r);
    const TypeParam* const block = r._firstpixel;
    EXPECT_EQ(r.shiftorigin(10, 20), IMAGE_OK);
    EXPECT_TRUE(hasBounds(r, 10, 20, 13, 22));
    EXPECT_TRUE(same(r.pix(10, 20), pixelAt<TypeParam>(0, 0)));
    EXPECT_TRUE(same(r.pix(13, 22), pixelAt<TypeParam>(3, 2)));
    EXPECT_TRUE(isBlack(r.pix(0, 0)));
    EXPECT_EQ(r._firstpixel, block);
    EXPECT_EQ(r.zeroorigin(), IMAGE_OK);
    EXPECT_TRUE(hasBounds(r, 0, 0, 3, 2));
    EXPECT_TRUE(same(r.pix(3, 2), pixelAt<TypeParam>(3, 2)));
}

TYPED_TEST(Rects, CentreoriginPutsHalfTheSizeBeforeZero) {
    for (int w = 1; w <= 7; ++w)
        for (int h = 1; h <= 6; ++h) {
            PixRectRW<TypeParam> r(3, -4, 3 + w - 1, -4 + h - 1);
            paint(r);
            EXPECT_EQ(r.centreorigin(), IMAGE_OK);
            EXPECT_TRUE(hasBounds(r, -(w / 2), -(h / 2), w - 1 - w / 2, h - 1 - h / 2));
            EXPECT_TRUE(same(r.pix(r.lx(), r.ly()), pixelAt<TypeParam>(3, -4)));
            EXPECT_TRUE(same(r.pix(r.hx(), r.hy()), pixelAt<TypeParam>(3 + w - 1, -4 + h - 1)));
        }
    PixRectRW<TypeParam> r(5, 4);
    r.centreorigin();
    EXPECT_TRUE(hasBounds(r, -2, -2, 2, 1));
}

TYPED_TEST(Rects, WithoutStorageEverythingReadsZeroAndNothingIsWritten) {
    PixRectRW<TypeParam> r;
    EXPECT_TRUE(hasBounds(r, 0, 0, 0, 0));
    EXPECT_TRUE(r.withinbounds(0, 0));
    EXPECT_TRUE(isBlack(r.pix(0, 0)) && isBlack(r.pixNB(5, 5)) && isBlack(r.pixdd(0.0, 0.0)));
    EXPECT_EQ(&r.pixref(0, 0), &PixRectBase<TypeParam>::blackpixel);
    EXPECT_EQ(&r.pixrefNB(0, 0), &PixRectBase<TypeParam>::blackpixel);
    const TypeParam v = pixelAt<TypeParam>(1, 1);
    EXPECT_EQ(r.set(0, 0, v), IMAGE_NODATA);
    EXPECT_EQ(r.set(1, 0, v), IMAGE_OOB_COORD);
    PixRectRW<TypeParam> src(2, 2);
    paint(src);
    EXPECT_EQ(r.copyfrom(src), IMAGE_NODATA);
    EXPECT_EQ(r.shiftorigin(3, 4), IMAGE_NODATA);
    EXPECT_TRUE(hasBounds(r, 3, 4, 3, 4));
    EXPECT_EQ(r.zeroorigin(), IMAGE_NODATA);
    EXPECT_EQ(r.rasters(), nullptr);
    EXPECT_EQ(r.totalLum(), 0.0);
    EXPECT_EQ(r.averageHue(), 0.0f);
    EXPECT_TRUE(isBlack(PixRectBase<TypeParam>::blackpixel));
}

TYPED_TEST(Rects, SetStoresInsideOnly) {
    PixRectRW<TypeParam> r(3, 3);
    paint(r);
    const TypeParam v = pixelAt<TypeParam>(50, 60);
    EXPECT_EQ(r.set(3, 0, v), IMAGE_OOB_COORD);
    EXPECT_EQ(r.set(0, -1, v), IMAGE_OOB_COORD);
    EXPECT_EQ(r.set(2, 2, v), IMAGE_OK);
    EXPECT_TRUE(same(r.pix(2, 2), v));
    EXPECT_EQ(r.set(1, 1, r.pixref(1, 1)), IMAGE_OK);
    EXPECT_TRUE(same(r.pix(1, 1), pixelAt<TypeParam>(1, 1)));
    EXPECT_EQ(r.set(0, 0, ARGBVal(1, 90, 90, 90)), IMAGE_OK);
    TypeParam grey;
    SIConvert(grey, ARGBVal(1, 90, 90, 90));
    EXPECT_TRUE(same(r.pix(0, 0), grey));
}

TYPED_TEST(Rects, RepeatedInitAndFreestoreAfterNewBoundsNeitherLeakNorFreeWrongly) {
    PixRectRW<TypeParam> r(4, 3);
    r.init();
    r.init(2, 2, 9, 5);
    EXPECT_TRUE(hasBounds(r, 2, 2, 9, 5));
    paint(r);
    EXPECT_TRUE(same(r.pix(9, 5), pixelAt<TypeParam>(9, 5)));
    r.setbounds(0, 0, -1, -1);
    r.init();  // empty: keeps what it has
    EXPECT_NE(r.rasters(), nullptr);
    r.freestore();
    EXPECT_EQ(r.rasters(), nullptr);
    EXPECT_EQ(r._firstpixel, nullptr);
    EXPECT_EQ(r._firstrast, nullptr);
    r.freestore();
    r.init(0, 0, 1, 1);
    paint(r);
    r.setbounds(100, 100, 90, 90);  // the destructor must free what was allocated
}

TYPED_TEST(Rects, CopiesAreDeepAndCarryBoundsScaleAndDebugState) {
    PixRectRW<TypeParam> r(-2, 3, 4, 6);
    paint(r);
    r.setscale(0.25, 4.0);
    r.debugon(DBGRect);
    PixRectRW<TypeParam> copy(r);
    EXPECT_TRUE(hasBounds(copy, -2, 3, 4, 6));
    EXPECT_EQ(copy.xs(), 0.25);
    EXPECT_EQ(copy.ys(), 4.0);
    EXPECT_EQ(copy.dbg.value(), DBGRect);
    r.set(0, 4, pixelAt<TypeParam>(70, 80));
    for (int y = 3; y <= 6; ++y)
        for (int x = -2; x <= 4; ++x) EXPECT_TRUE(same(copy.pix(x, y), pixelAt<TypeParam>(x, y)));

    const std::unique_ptr<PixRectBase<TypeParam>> twin(copy.duplicate());
    EXPECT_TRUE(hasBounds(*twin, -2, 3, 4, 6));
    EXPECT_EQ(twin->xs(), 0.25);
    EXPECT_EQ(twin->dbg.value(), DBGRect);
    copy.set(0, 4, pixelAt<TypeParam>(70, 80));
    for (int y = 3; y <= 6; ++y)
        for (int x = -2; x <= 4; ++x) EXPECT_TRUE(same(twin->pix(x, y), pixelAt<TypeParam>(x, y)));
}

TYPED_TEST(Rects, AssignmentCopiesTheCommonPixelsAndKeepsBounds) {
    PixRectRW<TypeParam> a(0, 0, 5, 5), b(3, 2, 9, 9);
    paint(a, 1);
    paint(b, 2);
    a = b;
    EXPECT_TRUE(hasBounds(a, 0, 0, 5, 5));
    for (int y = 0; y <= 5; ++y)
        for (int x = 0; x <= 5; ++x)
            EXPECT_TRUE(same(a.pix(x, y), pixelAt<TypeParam>(x, y, x >= 3 && y >= 2 ? 2 : 1)));
    PixRectRW<TypeParam>& self = a;
    a = self;
    a = static_cast<const PixRect<TypeParam>&>(b);
    EXPECT_TRUE(same(a.pix(0, 0), pixelAt<TypeParam>(0, 0, 1)));
    EXPECT_TRUE(same(a.pix(5, 5), pixelAt<TypeParam>(5, 5, 2)));
}

TYPED_TEST(Rects, CopyfromReadsViewsAndStorageAlikeOverTheIntersection) {
    PixRectRW<TypeParam> image(12, 9);
    paint(image, 3);
    PixRectRef<TypeParam> view(image, 2, 1, 9, 7);
    view.shiftorigin(1, -1);
    for (int lx = -4; lx <= 14; lx += 3)
        for (int ly = -3; ly <= 10; ly += 2) {
            PixRectRW<TypeParam> direct(lx, ly, lx + 4, ly + 3), viaview(lx, ly, lx + 4, ly + 3);
            paint(direct, 1);
            paint(viaview, 1);
            EXPECT_EQ(direct.copyfrom(image), IMAGE_OK);
            EXPECT_EQ(viaview.copyfrom(view), IMAGE_OK);
            for (int y = ly; y <= ly + 3; ++y)
                for (int x = lx; x <= lx + 4; ++x) {
                    EXPECT_TRUE(
                        same(direct.pix(x, y), pixelAt<TypeParam>(x, y, image.withinbounds(x, y) ? 3 : 1)));
                    const TypeParam wanted = view.withinbounds(x, y) ? pixelAt<TypeParam>(x - 1, y + 1, 3)
                                                                     : pixelAt<TypeParam>(x, y, 1);
                    EXPECT_TRUE(same(viaview.pix(x, y), wanted));
                }
        }
}

TYPED_TEST(Rects, MeasuresSumLuminanceAndAverageHueInWalkOrder) {
    PixRectRW<TypeParam> r(-2, 1, 8, 7);
    paint(r);
    double lum = 0.0;
    float hue = 0.0f;
    for (int y = 1; y <= 7; ++y)
        for (int x = -2; x <= 8; ++x) {
            const TypeParam p = r.pix(x, y);
            lum += static_cast<double>(SILuminanceOfPixel(p));
            HSVPixel<float> hsv;
            hsv << p;
            hue += hsv._hue;
        }
    EXPECT_EQ(r.totalLum(), lum);
    EXPECT_EQ(r.averageHue(), hue / 11.0f / 7.0f);
    PixRectRef<TypeParam> view(r, -2, 1, 8, 7);
    EXPECT_EQ(view.totalLum(), lum);
    EXPECT_EQ(view.averageHue(), hue / 11.0f / 7.0f);
    EXPECT_EQ(PixRectRW<TypeParam>(0, 0).averageHue(), 0.0f);
}

TEST(PixRectTest, TotalLumOfFourWhitePixelsIs1020) {
    PixRectRW<ARGBVal> r(2, 2);
    r.fillWith(ARGBVal(0, 255, 255, 255));
    EXPECT_EQ(r.totalLum(), 1020.0);
    r.fillWith(ARGBVal(0, 0, 0, 255));
    EXPECT_EQ(r.averageHue(), 170.0f);
    r.set(0, 0, ARGBVal(0, 255, 0, 0));
    EXPECT_EQ(r.averageHue(), 127.5f);  // a plain mean, hue does not wrap around
}

// Every pair of pixel types converts, through the converting constructor.
template <class T, class U>
void convertsFrom() {
    PixRectRW<U> src(1, 2, 5, 4);
    paint(src, 9);
    src.setscale(3.0, 2.0);
    src.debugon(DBGMatch);
    const PixRectRW<T> r(static_cast<const PixRect<U>&>(src));
    EXPECT_TRUE(hasBounds(r, 1, 2, 5, 4));
    EXPECT_EQ(r.xs(), 3.0);
    EXPECT_EQ(r.ys(), 2.0);
    EXPECT_EQ(r.dbg.value(), DBGMatch);
    for (int y = 2; y <= 4; ++y)
        for (int x = 1; x <= 5; ++x) {
            T wanted;
            SIConvert(wanted, src.pix(x, y));
            EXPECT_TRUE(same(r.pix(x, y), wanted));
        }
}

TYPED_TEST(Rects, ConvertingConstructorsTakeEveryPixelType) {
#define CONVERTS_FROM(U) convertsFrom<TypeParam, U>();
    SI_FOR_EACH_RECT_PIXEL(CONVERTS_FROM)
#undef CONVERTS_FROM
}

TEST(PixRectTest, FramePixelsCopyAllFourBytesAndGreysComeOutOpaque) {
    PixRectRW<ARGBVal> a(2, 1), b(2, 1);
    b.fillWith(ARGBVal(1, 2, 3, 4));
    a.copyfrom(b);
    EXPECT_TRUE(same(a.pix(1, 0), ARGBVal(1, 2, 3, 4)));
    PixRectRW<GreyPixel<float>> g(2, 1);
    g.set(0, 0, GreyPixel<float>(99.9f));
    g.set(1, 0, GreyPixel<float>(400.0f));
    a.copyfrom(g);
    EXPECT_TRUE(same(a.pix(0, 0), ARGBVal(255, 99, 99, 99)));
    EXPECT_TRUE(same(a.pix(1, 0), ARGBVal(255, 255, 255, 255)));
}

TEST(PixRectTest, OverlappingMemoryIsCopiedInWalkOrder) {
    PixRectRW<ARGBVal> image(6, 2);
    paint(image);
    PixRectRWRef<ARGBVal> moved(image, 0, 0, 4, 1);
    moved.shiftorigin(1, 0);  // view (x, y) is image (x - 1, y)
    image.copyfrom(moved);    // each pixel takes its left neighbour, already overwritten
    for (int x = 0; x < 6; ++x) EXPECT_TRUE(same(image.pix(x, 1), placePixel(0, 1)));
}

TEST(PixRectTraceTest, ConstructorsAndInfoPrintTheirTexts) {
    EXPECT_EQ(printed([] { const PixRectRW<ARGBVal> r{DBGState(DBGRect)}; }),
              "PixRect(const DBGState &s=8) now dbg=8\nPixRectRW(const DBGState &s=8) now dbg=8\n");
    EXPECT_EQ(printed([] { const PixRectRW<ARGBVal> r; }), "");
    PixRectRW<ARGBVal> r(1, 2, 4, 6);
    r.setscale(0.5, 2.0);
    const std::string base = "PixRectBase lx(1) ly(2) hx(4) hy(6) W(4) H(5) z(0.500000,2.000000)\n";
    EXPECT_EQ(printed([&] { r.PixRectBase<ARGBVal>::printInfo(); }), base);
    EXPECT_EQ(printed([&] { r.PixRect<ARGBVal>::printInfo(); }), "PixRect:" + base);
    char table[32];
    std::snprintf(table, sizeof table, "%x",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(r.rasters())));
    EXPECT_EQ(printed([&] { r.printInfo(); }), "PixRectRW rast(" + std::string(table) + ") :PixRect:" + base);
    EXPECT_EQ(PixRectRW<ARGBVal>(DBGState(DBGMem)).dbg.value(), 1);
}

TEST(PixRectTraceTest, PrintDataShowsRedRowByRow) {
    PixRectRW<ARGBVal> r(5, 5, 7, 6);
    r.fillWith(ARGBVal(1, 2, 3, 4));
    r.set(7, 6, ARGBVal(0, 255, 0, 0));
    EXPECT_EQ(printed([&] { r.printData(); }), "PixRect<ARGBVal>::printData\n  2   2   2 \n  2   2 255 \n\n");
    EXPECT_EQ(printed([&] { r.printDataLimited(4); }),
              "PixRect<ARGBVal>::printDataLimited\n  2   2   2 \n  2 \n\n");
    EXPECT_EQ(printed([&] { r.printDataLimited(2); }), "PixRect<ARGBVal>::printDataLimited\n  2   2 \n\n\n");
    EXPECT_EQ(printed([&] { r.printDataLimited(-1); }), "PixRect<ARGBVal>::printDataLimited\n\n\n\n");
}

TYPED_TEST(Rects, PrintDataHasAHeaderAndOneLinePerRow) {
    PixRectRW<TypeParam> r(2, 3);
    paint(r);
    const bool frame = std::is_same_v<TypeParam, ARGBVal>;
    const std::string all = printed([&] { r.printData(); });
    EXPECT_EQ(all.rfind(frame ? "PixRect<ARGBVal>::printData\n" : "PixRect::PrintData()\n", 0), 0u);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 5);
    const std::string some = printed([&] { r.printDataLimited(3); });
    EXPECT_EQ(some.rfind(frame ? "PixRect<ARGBVal>::printDataLimited\n" : "PixRect::PrintDataLimited()\n", 0),
              0u);
    EXPECT_EQ(std::count(some.begin(), some.end(), '\n'), 5);
    EXPECT_LT(some.size(), all.size() + 7);
}

TEST(Shape2DTest, WeightsOutsideTheTableAreZero) {
    Shape2D shape(3, 2, 0.5f);
    shape.setweight(1, 2, 0.75f);
    shape.setweight(2, 0, 9.0f);
    shape.setweight(0, -1, 9.0f);
    EXPECT_EQ(shape.weight(0, 0), 0.5f);
    EXPECT_EQ(shape.weight(1, 2), 0.75f);
    for (const auto& [row, column] : {std::pair{2, 0}, {0, 3}, {-1, 0}, {0, -1}})
        EXPECT_EQ(shape.weight(row, column), 0.0f);
    EXPECT_EQ(Shape2D().weight(0, 0), 0.0f);
    EXPECT_EQ(Shape2D(-3, 4).weight(0, 0), 0.0f);
}
