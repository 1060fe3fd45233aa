#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/SamplePixRect.h"

namespace {

using Argb = SamplePixRect<ARGBVal, ARGBVal>;
using ArgbNC = SamplePixRectNC<ARGBVal, ARGBVal>;
using Grey = GreyPixel<float>;
using GreyNC = SamplePixRectNC<Grey, Grey>;

std::uint32_t word(const ARGBVal& p) {
    return static_cast<std::uint32_t>(p.getalpha()) << 24 | static_cast<std::uint32_t>(p.getred()) << 16 |
           static_cast<std::uint32_t>(p.getgreen()) << 8 | p.getblue();
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

/// A grey image whose level is 10 x + y.
PixRectRW<Grey> ruler(int w, int h) {
    PixRectRW<Grey> image(w, h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            image.set(x, y, Grey(static_cast<float>(10 * x + y)));
        }
    }
    return image;
}

TEST(SamplePixRectTest, SizeFollowsTheFactors) {
    const PixRectRW<ARGBVal> field(720, 240);
    const ArgbNC thumbnail(field, 18.0, 6.0, SIQuickSample);
    EXPECT_EQ(thumbnail.width(), 40);
    EXPECT_EQ(thumbnail.height(), 40);
    EXPECT_EQ(thumbnail.xs(), 18.0);
    EXPECT_EQ(thumbnail.ys(), 6.0);
    EXPECT_EQ(thumbnail.src(), &field);
    const PixRectRW<Grey> lattice(12, 12);
    const GreyNC large(lattice, 1.0 / 3.0, 1.0 / 3.0, SIBestSample);
    EXPECT_EQ(large.width(), 36);
    EXPECT_EQ(large.height(), 36);
    // 17 / 6.8 - 1 = 1.5 and 10 / 4 - 1 = 1.5 round to even: 2, three columns.
    EXPECT_EQ(GreyNC(PixRectRW<Grey>(17, 10), 6.8, 4.0, SIBestSample).width(), 3);
    const PixRectRW<Grey> moved(-7, 5, 4, 16);
    const GreyNC halves(moved, 2.0, 2.0, SIBestSample);
    EXPECT_EQ(halves.lx(), -7);
    EXPECT_EQ(halves.hx(), -2);
    EXPECT_EQ(halves.ly(), 5);
    EXPECT_EQ(halves.hy(), 10);
}

TEST(SamplePixRectTest, FactorsWithoutASizeGiveAnEmptyRectangle) {
    const PixRectRW<Grey> image = ruler(4, 4);
    for (const double factor : {0.0, 1.0e-30, std::numeric_limits<double>::quiet_NaN(), -1.0}) {
        const GreyNC view(image, factor, factor, SIBestSample);
        EXPECT_LE(view.width(), 0) << factor;
        EXPECT_EQ(view.pix(0, 0).getgrey(), 0.0F);
        const SamplePixRect<Grey, Grey> stored(image, factor, factor, SIBestSample);
        EXPECT_EQ(stored.pix(0, 0).getgrey(), 0.0F);
    }
}

TEST(SamplePixRectTest, ThumbnailIsTheMeanOfEachBlock) {
    const PixRectRW<ARGBVal> field = randomImage(720, 240, 1);
    const Argb thumbnail(field, 18.0, 6.0, SIQuickSample);
    const ArgbNC onDemand(field, 18.0, 6.0, SIQuickSample);
    for (int v = 0; v < 40; ++v) {
        for (int u = 0; u < 40; ++u) {
            double sums[3] = {0, 0, 0};
            for (int i = 0; i < 18; ++i) {
                for (int j = 0; j < 6; ++j) {
                    const ARGBVal p = field.pix(18 * u + i, 6 * v + j);
                    sums[0] += p.getred();
                    sums[1] += p.getgreen();
                    sums[2] += p.getblue();
                }
            }
            const ARGBVal expected(255, static_cast<unsigned char>(sums[0] * (1.0 / 108)),
                                   static_cast<unsigned char>(sums[1] * (1.0 / 108)),
                                   static_cast<unsigned char>(sums[2] * (1.0 / 108)));
            ASSERT_EQ(word(thumbnail.pix(u, v)), word(expected)) << u << ' ' << v;
            ASSERT_EQ(word(onDemand.pix(u, v)), word(expected)) << u << ' ' << v;
        }
    }
}

TEST(SamplePixRectTest, RowSumsEqualTheReadingPixelByPixel) {
    std::mt19937 random(2);
    for (int round = 0; round < 150; ++round) {
        const int w = 1 + static_cast<int>(random() % 97);
        const int h = 1 + static_cast<int>(random() % 67);
        const double xs = 0.5 + static_cast<double>(random() % 600) / 64.0;
        const double ys = 2.0 + static_cast<double>(random() % 600) / 64.0;
        PixRectRW<ARGBVal> image = randomImage(w, h, static_cast<unsigned>(round));
        if (round % 3 == 0) {
            image.shiftorigin(-5, 11);
        }
        // A view has no rows of its own, so it is read pixel by pixel.
        const PixRectRef<ARGBVal> view(image);
        const Argb fromRows(image, xs, ys, SIQuickSample);
        const Argb fromPixels(view, xs, ys, SIQuickSample);
        ASSERT_TRUE(fromRows.equalsize(fromRows, fromPixels));
        for (int y = fromRows.ly(); y <= fromRows.hy(); ++y) {
            for (int x = fromRows.lx(); x <= fromRows.hx(); ++x) {
                ASSERT_EQ(word(fromRows.pix(x, y)), word(fromPixels.pix(x, y)))
                    << w << 'x' << h << ' ' << xs << ' ' << ys << ' ' << x << ' ' << y;
            }
        }
    }
}

TEST(SamplePixRectTest, OneFieldOfAFrameIsSampledInPlace) {
    const int w = 80;
    const int h = 31;
    std::vector<ARGBVal> frame(static_cast<std::size_t>(w * h));
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = ARGBVal(9, static_cast<unsigned char>(i), static_cast<unsigned char>(i / 7), 3);
    }
    PixRectWrap<ARGBVal> odd(frame.data(), w, h, SIOddLines);
    const Argb thumbnail(odd, 2.0, 3.0, SIQuickSample);
    EXPECT_EQ(thumbnail.width(), 40);
    EXPECT_EQ(thumbnail.height(), 5);
    unsigned sum = 0;
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 2; ++i) {
            sum += frame[static_cast<std::size_t>((2 * (3 + j) + 1) * w + 8 + i)].getred();
        }
    }
    EXPECT_EQ(thumbnail.pix(4, 1).getred(), static_cast<unsigned char>(sum * (1.0 / 6)));
}

TEST(SamplePixRectTest, APlainSourceIsEnlargedByRepetition) {
    PixRectRW<RGBPixel<float>> lattice(12, 12);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 12; ++x) {
            lattice.set(x, y, RGBPixel<float>(static_cast<float>(x), static_cast<float>(y), 0.5F));
        }
    }
    const SamplePixRect<RGBPixel<float>, RGBPixel<float>> large(lattice, 1.0 / 3.0, 1.0 / 3.0, SIBestSample);
    ASSERT_EQ(large.width(), 36);
    const float third = static_cast<float>(1.0 / 3.0);
    for (int y = 0; y < 36; ++y) {
        for (int x = 0; x < 36; ++x) {
            EXPECT_EQ(large.pix(x, y).getred(),
                      static_cast<float>(static_cast<int>(x * static_cast<double>(third))));
            EXPECT_EQ(large.pix(x, y).getred(), static_cast<float>(x / 3));
            EXPECT_EQ(large.pix(x, y).getgreen(), static_cast<float>(y / 3));
            EXPECT_EQ(large.pix(x, y).getblue(), 0.5F);
        }
    }
}

TEST(SamplePixRectTest, AContinuousSourceIsEnlargedSmoothly) {
    PixRectRW<Grey> image = ruler(5, 5);
    ContImageRef<Grey> smooth(image, SIInterpBilinear);
    const GreyNC view(smooth, 0.25, 0.25, SIBestSample);
    EXPECT_EQ(view.width(), 20);
    EXPECT_EQ(view.pix(1, 0).getgrey(), 2.5F);
    EXPECT_EQ(view.pix(7, 5).getgrey(), 17.5F + 1.25F);
    // Past the last column the last column's value stays.
    EXPECT_EQ(view.pix(16, 0).getgrey(), 40.0F);
    EXPECT_EQ(view.pix(19, 0).getgrey(), 40.0F);
    EXPECT_EQ(view.pix(19, 19).getgrey(), 44.0F);
    EXPECT_EQ(view.pix(20, 0).getgrey(), 0.0F);
    EXPECT_EQ(view.pix(-1, 0).getgrey(), 0.0F);
}

TEST(SamplePixRectTest, EnlargementReadsAsItsCodeSays) {
    const PixRectRW<Grey> image = ruler(5, 5);
    // Position 1.5 rounds to even: 2; 2.5 rounds to 2 as well.
    EXPECT_EQ(GreyNC(image, 0.5, 0.5, SIBestSample).pix(3, 0).getgrey(), 10.0F);
    EXPECT_EQ(GreyNC(image, 0.5, 0.5, SIQuickSample).pix(3, 0).getgrey(), 20.0F);
    EXPECT_EQ(GreyNC(image, 0.5, 0.5, SISingleSample).pix(5, 0).getgrey(), 20.0F);
    EXPECT_EQ(GreyNC(image, 0.5, 0.5, SISingleSample).pix(0, 3).getgrey(), 2.0F);
    const float smooth = static_cast<float>(0.7 * 11 + 0.1 * 20 + 0.1 * 12 + 0.1 * 1);
    EXPECT_FLOAT_EQ(GreyNC(image, 0.5, 0.5, SISmoothSample).pix(2, 2).getgrey(), smooth);
    EXPECT_EQ(GreyNC(image, 0.5, 0.5, static_cast<sisamplecodes>(77)).pix(2, 2).getgrey(), 0.0F);
    const PixRectRW<ARGBVal> colour = randomImage(3, 3, 4);
    const ARGBVal other = ArgbNC(colour, 0.5, 0.5, static_cast<sisamplecodes>(77)).pix(2, 2);
    EXPECT_EQ(word(other), 0xFF000000U);
    // Enlargement keeps all four bytes.
    EXPECT_EQ(word(ArgbNC(colour, 0.5, 0.5, SIBestSample).pix(2, 4)), word(colour.pix(1, 2)));
}

TEST(SamplePixRectTest, ScaleInvariantViewsAlignPixelCentres) {
    PixRectRW<Grey> image = ruler(4, 4);
    ContImageRef<Grey> smooth(image, SIInterpBilinear);
    GreyNC view(smooth, 0.5, 0.5, SIBestSample);
    EXPECT_FALSE(view.scaleInvariant());
    EXPECT_EQ(view.pix(3, 0).getgrey(), 15.0F);
    view.setScaleInvariant(true);
    // 3 x 0.5 - 0.5 + 0.25 = 1.25 across; above the first row is held to it.
    EXPECT_EQ(view.pix(3, 0).getgrey(), 12.5F);
    EXPECT_EQ(view.pix(0, 0).getgrey(), 0.0F);
}

TEST(SamplePixRectTest, ReductionReadsAsItsCodeSays) {
    PixRectRW<Grey> image = ruler(9, 9);
    EXPECT_EQ(GreyNC(image, 3.0, 3.0, SIQuickSample).pix(1, 1).getgrey(), 44.0F);
    EXPECT_EQ(GreyNC(image, 3.0, 3.0, SIBestSample).pix(1, 1).getgrey(), 44.0F);
    EXPECT_EQ(GreyNC(image, 3.0, 3.0, SISmoothSample).pix(1, 1).getgrey(), 44.0F);
    // The centre of a block of 3 at 3: lrintf(4.5) = 4.
    EXPECT_EQ(GreyNC(image, 3.0, 3.0, SISingleSample).pix(1, 1).getgrey(), 44.0F);
    // Of a block of 3 at 6: lrintf(7.5) = 8.
    EXPECT_EQ(GreyNC(image, 3.0, 3.0, SISingleSample).pix(2, 0).getgrey(), 82.0F);
    EXPECT_EQ(GreyNC(image, 3.0, 3.0, static_cast<sisamplecodes>(9)).pix(1, 1).getgrey(), 0.0F);
    const PixRectRW<ARGBVal> colour = randomImage(9, 9, 5);
    EXPECT_EQ(word(ArgbNC(colour, 3.0, 3.0, static_cast<sisamplecodes>(9)).pix(1, 1)), 0xFF000000U);
    EXPECT_EQ(word(ArgbNC(colour, 3.0, 3.0, SISingleSample).pix(1, 1)), word(colour.pix(4, 4)));
}

TEST(SamplePixRectTest, BlocksAreCutAtTheFarEdges) {
    PixRectRW<Grey> image = ruler(7, 7);
    const GreyNC view(image, 3.0, 3.0, SIQuickSample);
    ASSERT_EQ(view.width(), 2);
    EXPECT_EQ(view.lookup(2, 0).getgrey(), 61.0F);
    EXPECT_EQ(view.lookup(2, 2).getgrey(), 66.0F);
}

TEST(SamplePixRectTest, ABlockPastTheSourceIsNotANumber) {
    PixRectRW<Grey> image = ruler(7, 7);
    const GreyNC view(image, 3.0, 3.0, SIQuickSample);
    EXPECT_TRUE(std::isnan(view.pixNB(3, 0).getgrey()));
    EXPECT_TRUE(std::isnan(view.pixNB(0, 3).getgrey()));
    const PixRectRW<ARGBVal> colour = randomImage(7, 7, 6);
    EXPECT_EQ(word(ArgbNC(colour, 3.0, 3.0, SIQuickSample).pixNB(3, 0)), 0xFF000000U);
}

TEST(SamplePixRectTest, OneFactorOfTwoDividesTheTwoForms) {
    const PixRectRW<Grey> image = ruler(6, 9);
    const GreyNC onDemand(image, 1.0, 3.0, SIQuickSample);
    const SamplePixRect<Grey, Grey> stored(image, 1.0, 3.0, SIQuickSample);
    EXPECT_EQ(onDemand.pix(2, 1).getgrey(), 23.0F);
    EXPECT_EQ(stored.pix(2, 1).getgrey(), 24.0F);
    EXPECT_EQ(stored.lookup(2, 1).getgrey(), 23.0F);
}

TEST(SamplePixRectTest, FactorsOfOneReadTheSourceItself) {
    const PixRectRW<ARGBVal> colour = randomImage(5, 4, 7);
    const ArgbNC view(colour, 1.0, 1.0, SISmoothSample);
    const Argb stored(colour, 1.0, 1.0, SISmoothSample);
    for (int y = -1; y < 5; ++y) {
        for (int x = -1; x < 6; ++x) {
            EXPECT_EQ(word(view.pix(x, y)), word(colour.pix(x, y)));
            EXPECT_EQ(word(stored.pix(x, y)), word(colour.pix(x, y)));
        }
    }
    EXPECT_EQ(word(view.pixdd(2.9, 1.9)), word(colour.pix(2, 1)));
}

TEST(SamplePixRectTest, RealPositionsAreTestedTruncatedAndReadExactly) {
    PixRectRW<Grey> image = ruler(5, 5);
    ContImageRef<Grey> smooth(image, SIInterpBilinear);
    const GreyNC view(smooth, 0.5, 0.5, SIBestSample);
    EXPECT_EQ(view.pixdd(2.5, 0.0).getgrey(), 12.5F);
    EXPECT_EQ(view.pixdd(-0.5, 0.0).getgrey(), 0.0F);
    EXPECT_EQ(view.pixdd(9.5, 1.0).getgrey(), 40.5F);
    EXPECT_EQ(view.pixdd(10.0, 1.0).getgrey(), 0.0F);
    EXPECT_EQ(view.pixdd(std::numeric_limits<double>::quiet_NaN(), 1.0).getgrey(), 0.0F);
    EXPECT_EQ(view.pixdd(1.0, std::numeric_limits<double>::infinity()).getgrey(), 0.0F);
    const SamplePixRect<Grey, Grey> stored(smooth, 0.5, 0.5, SIBestSample);
    EXPECT_EQ(stored.pixdd(2.5, 0.0).getgrey(), 10.0F);
}

TEST(SamplePixRectTest, StoredPixelsMoveWithTheirOriginAndOutliveTheSource) {
    auto image = std::make_unique<PixRectRW<ARGBVal>>(randomImage(8, 8, 8));
    Argb stored(*image, 2.0, 2.0, SIQuickSample);
    const std::uint32_t first = word(stored.pix(0, 0));
    image.reset();
    EXPECT_EQ(stored.shiftorigin(10, 20), IMAGE_OK);
    EXPECT_EQ(stored.lx(), 10);
    EXPECT_EQ(stored.hy(), 23);
    EXPECT_EQ(word(stored.pix(10, 20)), first);
    EXPECT_EQ(word(stored.pixNB(10, 20)), first);
    EXPECT_EQ(word(stored.pix(0, 0)), 0U);
    stored.pixref(10, 20).set(1, 2, 3, 4);
    EXPECT_EQ(word(stored.pix(10, 20)), 0x01020304U);
    stored.zeroorigin();
    EXPECT_EQ(word(stored.pix(0, 0)), 0x01020304U);
}

TEST(SamplePixRectTest, AMeanIsASumTimesOneOverTheCount) {
    // 49 ones: 49 x (1.0 / 49) is below 1 in double, so the byte is 0.
    PixRectRW<ARGBVal> image(7, 7);
    image.fillWith(ARGBVal(255, 1, 2, 3));
    const double factor = 1.0 / 49;
    const ARGBVal expected(255, static_cast<unsigned char>(49 * factor),
                           static_cast<unsigned char>(98 * factor), static_cast<unsigned char>(147 * factor));
    ASSERT_EQ(expected.getred(), 0);
    EXPECT_EQ(word(Argb(image, 7.0, 7.0, SIQuickSample).pix(0, 0)), word(expected));
    EXPECT_EQ(word(ArgbNC(image, 7.0, 7.0, SIQuickSample).pix(0, 0)), word(expected));
}

template <class Pair>
class SamplePixRectTypes : public ::testing::Test {};
template <class D, class S>
struct Types {
    using Dest = D;
    using Source = S;
};
using Byte = GreyPixel<unsigned char>;
using EveryPair =
    ::testing::Types<Types<ARGBVal, ARGBVal>, Types<RGBGrVal, ARGBVal>, Types<Grey, ARGBVal>,
                     Types<Byte, ARGBVal>, Types<ARGBVal, Grey>, Types<Grey, Grey>, Types<Grey, Byte>,
                     Types<Byte, Grey>, Types<Byte, Byte>, Types<RGBPixel<float>, RGBPixel<float>>>;
TYPED_TEST_SUITE(SamplePixRectTypes, EveryPair);

template <class S>
PixRectRW<S> greys() {
    PixRectRW<S> image(8, 8);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            image.set(x, y, ARGBVal(static_cast<unsigned char>(8 * x + y)));
        }
    }
    return image;
}
template <>
PixRectRW<RGBPixel<float>> greys() {
    PixRectRW<RGBPixel<float>> image(8, 8);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const auto v = static_cast<float>(8 * x + y);
            image.set(x, y, RGBPixel<float>(v, v, v));
        }
    }
    return image;
}

TYPED_TEST(SamplePixRectTypes, BothFormsReduceAlike) {
    using D = typename TypeParam::Dest;
    using S = typename TypeParam::Source;
    const PixRectRW<S> image = greys<S>();
    for (const sisamplecodes code : {SIQuickSample, SIBestSample, SISmoothSample}) {
        const SamplePixRect<D, S> stored(image, 2.0, 2.0, code);
        const SamplePixRectNC<D, S> onDemand(image, 2.0, 2.0, code);
        ASSERT_EQ(stored.width(), 4);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x) {
                EXPECT_NEAR(static_cast<double>(stored.pix(x, y).getgrey()), 16 * x + 2 * y + 4.5, 0.51);
                EXPECT_EQ(stored.pix(x, y).getgrey(), onDemand.pix(x, y).getgrey());
                EXPECT_EQ(stored.pix(x, y).getred(), onDemand.pix(x, y).getred());
            }
        }
    }
}

TYPED_TEST(SamplePixRectTypes, BothFormsEnlargeAlike) {
    using D = typename TypeParam::Dest;
    using S = typename TypeParam::Source;
    const PixRectRW<S> image = greys<S>();
    for (const sisamplecodes code : {SIQuickSample, SIBestSample, SISingleSample}) {
        const SamplePixRect<D, S> stored(image, 0.5, 0.5, code);
        const SamplePixRectNC<D, S> onDemand(image, 0.5, 0.5, code);
        ASSERT_EQ(stored.width(), 16);
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x) {
                EXPECT_EQ(stored.pix(x, y).getgrey(), onDemand.pix(x, y).getgrey());
            }
            EXPECT_EQ(static_cast<int>(stored.pix(6, 2 * (y / 2)).getgrey()), 24 + y / 2);
        }
        EXPECT_EQ(onDemand.pix(16, 0).getgrey(), 0);
    }
}

TYPED_TEST(SamplePixRectTypes, TheSharedZeroPixelStaysZero) {
    using D = typename TypeParam::Dest;
    using S = typename TypeParam::Source;
    const PixRectRW<S> none;
    const SamplePixRect<D, S> stored(none, 2.0, 2.0, SIQuickSample);
    EXPECT_EQ(stored.pix(5, 5).getgrey(), 0);
    const SamplePixRectNC<D, S> onDemand(none, 0.5, 0.5, SIBestSample);
    EXPECT_EQ(onDemand.pix(0, 0).getgreen(), 0);
    EXPECT_EQ(PixRect<D>::blackpixel.getred(), 0);
    EXPECT_EQ(PixRect<S>::blackpixel.getblue(), 0);
}

}  // namespace
