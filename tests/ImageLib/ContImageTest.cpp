#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "ImageLib/source/ContImage.h"

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

void expectReading(const ARGBVal& pixel, int alpha, int red, int green, int blue) {
    EXPECT_EQ(pixel.getalpha(), alpha);
    EXPECT_EQ(pixel.getred(), red);
    EXPECT_EQ(pixel.getgreen(), green);
    EXPECT_EQ(pixel.getblue(), blue);
}

PixRectRW<ARGBVal> randomImage(int w, int h, unsigned seed) {
    std::mt19937 random(seed);
    const auto byte = [&random] { return static_cast<unsigned char>(random()); };
    PixRectRW<ARGBVal> image(w, h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            image.pixref(x, y).set(byte(), byte(), byte(), byte());
        }
    }
    return image;
}

/// One pixel of each type whose colours are v.
template <class T>
T level(int v) {
    T pixel;
    pixel.set(static_cast<unsigned char>(v));
    return pixel;
}
template <>
GreyPixel<float> level(int v) {
    return GreyPixel<float>(static_cast<float>(v));
}
template <>
RGBPixel<float> level(int v) {
    return RGBPixel<float>(static_cast<float>(v), static_cast<float>(v), static_cast<float>(v));
}

template <class T>
PixRectRW<T> ramp(int w, int h) {
    PixRectRW<T> image(w, h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            image.pixref(x, y) = level<T>(16 * x + 64 * y);
        }
    }
    return image;
}

TEST(ContImageTest, WholePositionKeepsColourAndMapsAlpha) {
    PixRectRW<ARGBVal> image = randomImage(9, 7, 1);
    for (int a = 0; a < 63; ++a) {
        image.pixref(a % 9, a / 9).setalpha(static_cast<unsigned char>(a * 4 + (a & 3)));
    }
    image.pixref(0, 0).setalpha(255);
    image.pixref(1, 0).setalpha(0);
    ContImageRef<ARGBVal> view(image, SIInterpBilinear);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 9; ++x) {
            const ARGBVal p = image.pix(x, y);
            expectReading(view.pixdd(x, y), (255 + 4 * p.getalpha()) % 256, p.getred(), p.getgreen(),
                          p.getblue());
            expectReading(view.pix(x, y), (255 + 4 * p.getalpha()) % 256, p.getred(), p.getgreen(),
                          p.getblue());
            expectReading(view.pixNB(x, y), (255 + 4 * p.getalpha()) % 256, p.getred(), p.getgreen(),
                          p.getblue());
        }
    }
    EXPECT_EQ(view.pixdd(0, 0).getalpha(), 251);
    EXPECT_EQ(view.pixdd(1, 0).getalpha(), 255);
}

TEST(ContImageTest, EachContributionIsTruncatedOnItsOwn) {
    PixRectRW<ARGBVal> image(2, 2);
    image.pixref(0, 0).set(1, 7, 255, 10);
    image.pixref(1, 0).set(2, 7, 255, 20);
    image.pixref(1, 1).set(3, 7, 255, 30);
    image.pixref(0, 1).set(4, 7, 255, 43);
    ContImageRef<ARGBVal> view(image, SIInterpBilinear);
    // A quarter of 7 is 1.75: four times 1, not 7. A quarter of 255 is 63.75: four times 63.
    expectReading(view.pixdd(0.5, 0.5), (255 + 1 + 2 + 3 + 4) % 256, 4, 252, 2 + 5 + 7 + 10);
    // (0.75, 0.25): weights 3/16, 9/16, 3/16, 1/16.
    expectReading(view.pixdd(0.75, 0.25), 9, 1 + 3 + 1 + 0, 47 + 143 + 47 + 15, 1 + 11 + 5 + 2);
}

TEST(ContImageTest, FourOpaqueNeighboursGive251) {
    PixRectRW<ARGBVal> image(3, 3);
    ContImageRef<ARGBVal> view(image, SIInterpBilinear);
    EXPECT_EQ(view.pixdd(0.3, 1.7).getalpha(), 251);
    image.fillWith(ARGBVal(0, 9, 9, 9));
    EXPECT_EQ(view.pixdd(0.3, 1.7).getalpha(), 255);
}

TEST(ContImageTest, TruncationDecidesWhatIsInside) {
    PixRectRW<ARGBVal> image(4, 3);
    image.fillWith(ARGBVal(255, 200, 100, 50));
    ContImageRef<ARGBVal> view(image, SIInterpBilinear);
    // Half a pixel to the left: the two neighbours at -1 are the zero pixel.
    expectReading(view.pixdd(-0.5, 0), (255 + 2 * 255) % 256, 100, 50, 25);
    expectReading(view.pixdd(0, -0.5), (255 + 2 * 255) % 256, 100, 50, 25);
    expectReading(view.pixdd(-0.5, -0.5), (255 + 255) % 256, 50, 25, 12);
    for (const double out :
         {-1.0, -1.5, 4.0, 1.0e9, 2147483648.0, 1.0e300, -1.0e300, nan, infinity, -infinity}) {
        expectReading(view.pixdd(out, 0), 0, 0, 0, 0);
        expectReading(view.pixdd(out, 1), 0, 0, 0, 0);
        expectReading(view.interpPix(out, 0), 0, 0, 0, 0);
    }
    for (const double out : {-1.0, 3.0, 2147483647.5, -2147483648.5, nan, infinity, -infinity}) {
        expectReading(view.pixdd(0, out), 0, 0, 0, 0);
        expectReading(view.interpPix(0, out), 0, 0, 0, 0);
    }
}

TEST(ContImageTest, RightAndBottomEdgesAreNotInterpolated) {
    PixRectRW<ARGBVal> image = randomImage(4, 3, 2);
    for (const siinterpcode code : {SIInterpBilinear, SIInterpSmooth, SIInterpPyramid, SIInterpBicubic}) {
        ContImageRef<ARGBVal> view(image, code);
        for (int y = 0; y < 3; ++y) {
            const ARGBVal p = image.pix(3, y);
            expectReading(view.pixdd(3.5, y), p.getalpha(), p.getred(), p.getgreen(), p.getblue());
        }
        for (int x = 0; x < 4; ++x) {
            const ARGBVal p = image.pix(x, 2);
            expectReading(view.pixdd(x + 0.25, 2.75), p.getalpha(), p.getred(), p.getgreen(), p.getblue());
        }
        // The corner cell at the left keeps the truncated pixel too.
        const ARGBVal p = image.pix(0, 2);
        expectReading(view.pixdd(-0.5, 2.5), p.getalpha(), p.getred(), p.getgreen(), p.getblue());
    }
}

TEST(ContImageTest, PartOfARectangleIsItsOwnWorld) {
    PixRectRW<ARGBVal> image = randomImage(10, 10, 3);
    ContImageRef<ARGBVal> view(image, 2, 3, 6, 7, SIInterpBilinear);
    EXPECT_EQ(view.lx(), 2);
    EXPECT_EQ(view.hy(), 7);
    expectReading(view.pixdd(1.9, 4), 0, 0, 0, 0);
    const ARGBVal edge = image.pix(6, 4);
    expectReading(view.pixdd(6.5, 4), edge.getalpha(), edge.getred(), edge.getgreen(), edge.getblue());
    ContImageRef<ARGBVal> clipped(image, -5, -5, 100, 100, SIInterpBilinear);
    EXPECT_EQ(clipped.hx(), 9);
    EXPECT_EQ(clipped.ly(), 0);
    view.shiftorigin(10, 20);
    const ARGBVal moved = image.pix(3, 4);
    expectReading(view.pixdd(13, 24), (255 + 4 * moved.getalpha()) % 256, moved.getred(), moved.getgreen(),
                  moved.getblue());
}

TEST(ContImageTest, BilinearOfFloatsUsesTheFourWeights) {
    PixRectRW<RGBPixel<float>> image(2, 2);
    image.set(0, 0, RGBPixel<float>(1.0F, -8.0F, 0.5F));
    image.set(1, 0, RGBPixel<float>(2.0F, 4.0F, 0.25F));
    image.set(1, 1, RGBPixel<float>(3.0F, 16.0F, 0.0F));
    image.set(0, 1, RGBPixel<float>(5.0F, -32.0F, 1.0F));
    ContImageRef<RGBPixel<float>> view(image, SIInterpBilinear);
    const RGBPixel<float> p = view.pixdd(0.75, 0.25);
    EXPECT_EQ(p.getred(), 1.0F * 0.1875F + 2.0F * 0.5625F + 3.0F * 0.1875F + 5.0F * 0.0625F);
    EXPECT_EQ(p.getgreen(), -1.5F + 2.25F + 3.0F - 2.0F);
    EXPECT_EQ(p.getblue(), 0.09375F + 0.140625F + 0.0625F);
    EXPECT_EQ(view.pixdd(1.5, 1.5).getred(), 3.0F);
}

TEST(ContImageTest, ConstantFloatImageIsReproducedExactly) {
    PixRectRW<RGBPixel<float>> image(5, 5);
    image.fillWith(RGBPixel<float>(18.0F, 1.0F, -0.1F));
    ContImageRef<RGBPixel<float>> view(image, SIInterpBilinear);
    std::mt19937 random(4);
    for (int i = 0; i < 20000; ++i) {
        const double x = static_cast<double>(random()) / 4294967296.0 * 4.0;
        const double y = static_cast<double>(random()) / 4294967296.0 * 4.0;
        const RGBPixel<float> p = view.pixdd(x, y);
        ASSERT_EQ(p.getred(), 18.0F) << x << ' ' << y;
        ASSERT_EQ(p.getgreen(), 1.0F);
        ASSERT_EQ(p.getblue(), -0.1F);
    }
}

TEST(ContImageTest, SplineHasItsKnownValues) {
    EXPECT_FLOAT_EQ(cubic_bspline(0.0), 0.6666667F);
    EXPECT_FLOAT_EQ(cubic_bspline(1.0), 1.0F / 6.0F);
    EXPECT_FLOAT_EQ(cubic_bspline(-1.0), 1.0F / 6.0F);
    EXPECT_EQ(cubic_bspline(-2.0), 0.0F);
    EXPECT_EQ(cubic_bspline(-7.5), 0.0F);
    for (double f = 0.0; f < 1.0; f += 0.0625) {
        const float sum =
            cubic_bspline(f + 1.0) + cubic_bspline(f) + cubic_bspline(f - 1.0) + cubic_bspline(f - 2.0);
        EXPECT_NEAR(sum, 1.0F, 1.0e-6F);
    }
}

TEST(ContImageTest, SmoothMovesFromAQuarterToThreeQuarters) {
    PixRectRW<GreyPixel<float>> image(3, 3);
    image.set(1, 0, GreyPixel<float>(100.0F));
    image.set(1, 1, GreyPixel<float>(100.0F));
    ContImageRef<GreyPixel<float>> view(image, SIInterpSmooth);
    EXPECT_FLOAT_EQ(view.pixdd(0.5, 0).getgrey(), 50.0F);
    EXPECT_FLOAT_EQ(view.pixdd(0.25, 0).getgrey(), 37.5F);
    EXPECT_NEAR(view.pixdd(1.0e-9, 0).getgrey(), 25.0F, 1.0e-4F);
    EXPECT_NEAR(view.pixdd(0.999999999, 0).getgrey(), 75.0F, 1.0e-4F);
}

TEST(ContImageTest, PyramidIsTheMeanInTheCentreAndThePixelAtACorner) {
    PixRectRW<GreyPixel<float>> image(2, 2);
    image.set(0, 0, GreyPixel<float>(10.0F));
    image.set(1, 0, GreyPixel<float>(20.0F));
    image.set(1, 1, GreyPixel<float>(70.0F));
    image.set(0, 1, GreyPixel<float>(60.0F));
    ContImageRef<GreyPixel<float>> view(image, SIInterpPyramid);
    EXPECT_FLOAT_EQ(view.pixdd(0.5, 0.5).getgrey(), 40.0F);
    EXPECT_FLOAT_EQ(view.pixdd(1, 1).getgrey(), 70.0F);
    EXPECT_NEAR(view.pixdd(0.9999, 0.0001).getgrey(), 20.0F, 0.05F);
    // Half way along the top edge: r = 0.5 / 0.70710677, a quarter each against a half of the upper two.
    const float r = 0.5F / 0.70710677F;
    EXPECT_NEAR(view.pixdd(0.5, 0).getgrey(), (1.0F - r) * 12.5F + r * 15.0F + (1.0F - r) * 2.5F, 1.0e-3F);
}

TEST(ContImageTest, BicubicWeighsSixteenNeighbours) {
    PixRectRW<GreyPixel<float>> image(7, 7);
    image.set(3, 3, GreyPixel<float>(36.0F));
    ContImageRef<GreyPixel<float>> view(image, SIInterpBicubic);
    EXPECT_NEAR(view.pixdd(3, 3).getgrey(), 16.0F, 1.0e-4F);
    EXPECT_NEAR(view.pixdd(2, 3).getgrey(), 4.0F, 1.0e-4F);
    EXPECT_NEAR(view.pixdd(4, 4).getgrey(), 1.0F, 1.0e-4F);
    EXPECT_NEAR(view.pixdd(1, 3).getgrey(), 0.0F, 1.0e-4F);
    EXPECT_NEAR(view.pixdd(1.5, 3).getgrey(), 36.0F * (4.0F / 6.0F) * (1.0F / 48.0F), 1.0e-4F);
    // At the corner most neighbours lie outside and count as zero.
    image.fillWith(GreyPixel<float>(36.0F));
    EXPECT_NEAR(view.pixdd(0, 0).getgrey(), 25.0F, 1.0e-4F);
}

TEST(ContImageTest, ByteResultsAreRoundedAndOpaqueBeyondBilinear) {
    PixRectRW<ARGBVal> image(8, 8);
    image.fillWith(ARGBVal(17, 255, 1, 100));
    for (const siinterpcode code : {SIInterpSmooth, SIInterpPyramid, SIInterpBicubic}) {
        ContImageRef<ARGBVal> view(image, code);
        expectReading(view.pixdd(3.3, 3.7), 255, 255, 1, 100);
        expectReading(view.pixdd(3.0, 3.0), 255, 255, 1, 100);
    }
}

template <class T>
class ContImageTypes : public ::testing::Test {};
using EveryType = ::testing::Types<ARGBVal, GreyPixel<float>, GreyPixel<unsigned char>, RGBPixel<float>>;
TYPED_TEST_SUITE(ContImageTypes, EveryType);

TYPED_TEST(ContImageTypes, EveryCodeAnswersWithinItsNeighbours) {
    PixRectRW<TypeParam> image = ramp<TypeParam>(4, 3);
    for (const siinterpcode code : {SIInterpBilinear, SIInterpSmooth, SIInterpPyramid, SIInterpBicubic}) {
        ContImageRef<TypeParam> view(image, code);
        EXPECT_EQ(view.type(), code);
        const auto middle = static_cast<double>(view.pixdd(1.5, 0.5).getgrey());
        EXPECT_NEAR(middle, 16 * 1.5 + 32, 4.0) << int{code};
        EXPECT_EQ(view.pixdd(3.5, 1.0).getred(), image.pix(3, 1).getred());
        EXPECT_EQ(view.pixdd(4.0, 1.0).getred(), 0);
        EXPECT_EQ(view.pixdd(nan, 1.0).getred(), 0);
    }
}

TYPED_TEST(ContImageTypes, BilinearAtWholePositionsIsThePixel) {
    PixRectRW<TypeParam> image = ramp<TypeParam>(4, 3);
    ContImageRef<TypeParam> view(image, SIInterpBilinear);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(view.pix(x, y).getred(), image.pix(x, y).getred());
            EXPECT_EQ(view.pixdd(x, y).getblue(), image.pix(x, y).getblue());
        }
    }
    EXPECT_NEAR(static_cast<double>(view.pixdd(1.5, 1.0).getred()), 88.0, 1.0);
}

TYPED_TEST(ContImageTypes, TheSharedZeroPixelStaysZero) {
    PixRectRW<TypeParam> image = ramp<TypeParam>(4, 3);
    ContImageRef<TypeParam> view(image, SIInterpBilinear);
    EXPECT_EQ(view.pixdd(-3.0, 0.0).getgrey(), 0);
    EXPECT_EQ(PixRect<TypeParam>::blackpixel.getred(), 0);
    PixRectRW<TypeParam> none;
    ContImageRef<TypeParam> empty(none, SIInterpBilinear);
    EXPECT_EQ(empty.pixdd(0.0, 0.0).getgreen(), 0);
}

}  // namespace
