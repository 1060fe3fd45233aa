#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/NamedColours.h"
#include "ImageLib/source/RGBPixel.h"
#include "tests/ImageLib/Capture.h"

namespace {

void expectPixel(const ARGBVal& p, int a, int r, int g, int b) {
    EXPECT_EQ(p._alpha, a);
    EXPECT_EQ(p._red, r);
    EXPECT_EQ(p._green, g);
    EXPECT_EQ(p._blue, b);
}

void expectPixel(const RGBGrVal& p, int r, int g, int b, int grey) {
    EXPECT_EQ(p._red, r);
    EXPECT_EQ(p._green, g);
    EXPECT_EQ(p._blue, b);
    EXPECT_EQ(p._grey, grey);
}

const float kInf = std::numeric_limits<float>::infinity();
const float kNaN = std::numeric_limits<float>::quiet_NaN();

}  // namespace

TEST(ChannelCastTest, FloatToByteClampsTruncatesAndMapsNaNToZero) {
    EXPECT_EQ(SIChannelCast<unsigned char>(254.999), 254);
    EXPECT_EQ(SIChannelCast<unsigned char>(255.0f), 255);
    EXPECT_EQ(SIChannelCast<unsigned char>(1e30), 255);
    EXPECT_EQ(SIChannelCast<unsigned char>(-0.9f), 0);
    EXPECT_EQ(SIChannelCast<unsigned char>(-7.0), 0);
    EXPECT_EQ(SIChannelCast<unsigned char>(kNaN), 0);
    EXPECT_EQ(SIChannelCast<unsigned char>(kInf), 255);
    EXPECT_EQ(SIChannelCast<unsigned char>(-kInf), 0);
    EXPECT_EQ(SIChannelCast<unsigned char>(300), 255);
    EXPECT_EQ(SIChannelCast<unsigned char>(-1), 0);
}

TEST(ChannelCastTest, FloatToIntTruncatesAndSaturates) {
    EXPECT_EQ(SIChannelCast<int>(-2.9), -2);
    EXPECT_EQ(SIChannelCast<int>(2.9f), 2);
    EXPECT_EQ(SIChannelCast<int>(1e20), 2147483647);
    EXPECT_EQ(SIChannelCast<int>(-1e20f), -2147483647 - 1);
    EXPECT_EQ(SIChannelCast<int>(kNaN), 0);
    EXPECT_EQ(SIChannelCast<float>(0.1), 0.1f);
}

TEST(LuminanceTest, WeighsThirtyFiftyNineElevenAndTruncates) {
    EXPECT_EQ(SILuminance(255, 255, 255), 255);
    EXPECT_EQ(SILuminance(1, 1, 1), 1);
    EXPECT_EQ(SILuminance(0, 0, 255), 28);
    EXPECT_EQ(SILuminance(255, 0, 0), 76);
    EXPECT_EQ(SILuminance(0, 255, 0), 150);
    EXPECT_EQ(ARGBVal(9, 0, 0, 255).getgrey(), 28);
    EXPECT_FLOAT_EQ(SILuminanceOf(1.0f, 0.0f, 0.0f), 0.3f);
    EXPECT_EQ(SILuminanceOf(-100, 0, 0), -30);
}

TEST(ARGBValTest, Constructors) {
    expectPixel(ARGBVal(), 255, 0, 0, 0);
    expectPixel(ARGBVal(1, 2, 3, 4), 1, 2, 3, 4);
    expectPixel(ARGBVal(7), 255, 7, 7, 7);
    expectPixel(ARGBVal(256 + 9), 255, 9, 9, 9);
    expectPixel(ARGBVal(-1), 255, 255, 255, 255);
    expectPixel(ARGBVal(static_cast<unsigned char>(200)), 255, 200, 200, 200);
    expectPixel(ARGBVal(GreyPixel<float>(99.9f)), 255, 99, 99, 99);
    expectPixel(ARGBVal(GreyPixel<float>(-5.0f)), 255, 0, 0, 0);
    expectPixel(ARGBVal(GreyPixel<int>(77)), 255, 77, 77, 77);
    expectPixel(ARGBVal(RGBPixel<float>(1.9f, 300.0f, -3.0f)), 255, 1, 255, 0);
    const ARGBVal p(1, 2, 3, 4);
    expectPixel(ARGBVal(p), 1, 2, 3, 4);
}

TEST(ARGBValTest, BytesLieAlphaRedGreenBlueInMemory) {
    const ARGBVal p(1, 2, 3, 4);
    unsigned char bytes[4];
    std::memcpy(bytes, &p, 4);
    EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{1, 2, 3, 4}));
    const RGBGrVal q(5, 6, 7, 8);
    std::memcpy(bytes, &q, 4);
    EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{5, 6, 7, 8}));
}

TEST(ARGBValTest, SingleSettersAndSetgreyLeaveAlpha) {
    ARGBVal p(9, 1, 2, 3);
    p.setred(10);
    p.setgreen(20);
    p.setblue(30);
    expectPixel(p, 9, 10, 20, 30);
    p.setgrey(5);
    expectPixel(p, 9, 5, 5, 5);
    p.setalpha(4);
    expectPixel(p, 4, 5, 5, 5);
    p.set(6);
    expectPixel(p, 255, 6, 6, 6);
    p.set(1, 2, 3, 4);
    expectPixel(p, 1, 2, 3, 4);
    EXPECT_EQ(p.getalpha() * 1000000 + p.getred() * 10000 + p.getgreen() * 100 + p.getblue(), 1020304);
}

TEST(ARGBValTest, DoubleOperatorsClampColoursAndKeepAlpha) {
    ARGBVal p(9, 100, 200, 3);
    p *= 1.5;
    expectPixel(p, 9, 150, 255, 4);
    p /= 2.0;
    expectPixel(p, 9, 75, 127, 2);
    p += -3.5;
    expectPixel(p, 9, 71, 123, 0);
    p /= 0.0;
    expectPixel(p, 9, 255, 255, 0);
    p *= -1.0;
    expectPixel(p, 9, 0, 0, 0);
    p << 99.9;
    expectPixel(p, 255, 99, 99, 99);
    p << -4.0;
    expectPixel(p, 255, 0, 0, 0);
}

TEST(ARGBValTest, SubtractionStopsAtZeroAndKeepsAlpha) {
    ARGBVal p(9, 10, 20, 30);
    p -= ARGBVal(200, 5, 20, 31);
    expectPixel(p, 9, 5, 0, 0);
}

TEST(ARGBValTest, AddingAPixelTruncatesTheFloatSumAndKeepsItsLowByte) {
    ARGBVal p(9, 10, 250, 30);
    p += RGBPixel<float>(1.75f, 10.5f, -31.5f);
    expectPixel(p, 9, 11, 4, 255);  // 260 and -1 in eight bits
    p += GreyPixel<int>(1);
    expectPixel(p, 9, 12, 5, 0);
}

TEST(ARGBValTest, TakesTheColourOfAnyPixelOpaque) {
    ARGBVal p(0, 0, 0, 0);
    p << RGBPixel<double>(1.5, 2.5, 1000.0);
    expectPixel(p, 255, 1, 2, 255);
    p.setalpha(0);
    p << GreyPixel<int>(8);
    expectPixel(p, 255, 8, 8, 8);
    p.setalpha(0);
    p << RGBGrVal(1, 2, 3, 200);
    expectPixel(p, 255, 1, 2, 3);
    p.setalpha(0);
    p << HSVPixel<float>(0.0f, 255.0f, 200.0f);
    expectPixel(p, 255, 200, 0, 0);
    p << ARGBVal(3, 4, 5, 6);
    expectPixel(p, 3, 4, 5, 6);
}

TEST(ARGBValTest, PosterizeKeepsBothEndsAndAlpha) {
    for (int levels = 2; levels <= 256; ++levels) {
        ARGBVal p(9, 0, 255, 128);
        p.posterize(levels);
        expectPixel(p, 9, 0, 255, (128 * levels / 256) * 255 / (levels - 1));
    }
    for (int levels : {1, 0, -3}) {
        ARGBVal p(9, 10, 255, 128);
        p.posterize(levels);
        expectPixel(p, 9, 0, 0, 0);
    }
    ARGBVal p(9, 255, 200, 128);
    p.posterize(2147483647);
    EXPECT_EQ(p._alpha, 9);
}

TEST(ARGBValTest, AveragesTruncateAndDifferInAlpha) {
    ARGBVal p(10, 1, 100, 255);
    p.averageWith(ARGBVal(13, 2, 50, 254));
    expectPixel(p, 11, 1, 75, 254);
    ARGBVal q(10, 1, 100, 255);
    q.mixAverageWith(ARGBVal(13, 2, 50, 254));
    expectPixel(q, 10, 1, 75, 254);
}

TEST(ARGBValTest, MixInProportionWeighsTheExistingPixel) {
    ARGBVal p(9, 10, 20, 30);
    p.mixInProportion(ARGBVal(200, 100, 150, 250), 0.0f);
    expectPixel(p, 9, 100, 150, 250);
    ARGBVal q(9, 100, 0, 255);
    q.mixInProportion(ARGBVal(200, 0, 255, 255), 3.0f);
    expectPixel(q, 9, 75, 63, 255);
}

TEST(ARGBValTest, MixInProportionSaturatesWhereTheQuotientIsNoByte) {
    ARGBVal p(9, 10, 200, 100);
    p.mixInProportion(ARGBVal(0, 200, 10, 100), -1.0f);
    expectPixel(p, 9, 255, 0, 0);  // +inf, -inf, NaN
    ARGBVal q(9, 0, 255, 1);
    q.mixInProportion(ARGBVal(0, 255, 0, 0), -0.999999999f);
    expectPixel(q, 9, 255, 0, 0);
    ARGBVal r(9, 1, 2, 3);
    r.mixInProportion(ARGBVal(0, 1, 2, 3), kNaN);
    expectPixel(r, 9, 0, 0, 0);
}

TEST(ARGBValTest, MixByAlphaSrcWeighs256AgainstAlpha) {
    ARGBVal p(77, 1, 2, 3);
    p.mixByAlphaSrc(ARGBVal(0, 255, 255, 255));
    expectPixel(p, 77, 1, 2, 3);
    ARGBVal q(77, 0, 255, 100);
    q.mixByAlphaSrc(ARGBVal(255, 255, 0, 100));
    expectPixel(q, 77, 127, 128, 100);
    for (int a = 1; a < 256; ++a) {
        ARGBVal r(1, 200, 0, 255);
        r.mixByAlphaSrc(ARGBVal(static_cast<unsigned char>(a), 40, 255, 255));
        EXPECT_EQ(r._red, (200 * 256 + 40 * a) / (a + 255));
        EXPECT_EQ(r._blue, ((255 * 256 + 255 * a) / (a + 255)) & 0xFF);
    }
    // At a = 1 full white overshoots a byte and keeps its low byte, which is 255 + 255 / 256.
    ARGBVal s(1, 255, 255, 255);
    s.mixByAlphaSrc(ARGBVal(1, 255, 255, 255));
    EXPECT_EQ(s._red, 255);
}

TEST(ScalePixelAddTest, ScalesTheThreeSumsTogether) {
    EXPECT_EQ(ScalePixelAdd(0x7FFF6400ul, 2.0f, 0ul), 0x7FFF6400ul);
    EXPECT_EQ(ScalePixelAdd(0x01020304ul, 1.0f, 0xFF102030ul), 0x01122334ul);
    EXPECT_EQ(ScalePixelAdd(0x80640000ul, 0.5f, 0x00000A0Aul), 0x80320A0Aul);
    EXPECT_EQ(ScalePixelAdd(0x00FF8040ul, 1.0f, 0x00FF8040ul), 0x00FF8040ul);
    EXPECT_EQ(ScalePixelAdd(0xFF0000FFul, 1.0f, 0xFF000000ul), 0xFF0000FFul);
}

TEST(RGBGrValTest, KeepsItsGreyLevelInStepWithItsColour) {
    expectPixel(RGBGrVal(), 0, 0, 0, 0);
    expectPixel(RGBGrVal(10, 20, 30), 10, 20, 30, 18);
    expectPixel(RGBGrVal(10, 20, 30, 200), 10, 20, 30, 200);
    expectPixel(RGBGrVal(7), 7, 7, 7, 7);
    expectPixel(RGBGrVal(static_cast<unsigned char>(9)), 9, 9, 9, 9);
    expectPixel(RGBGrVal(ARGBVal(9, 10, 20, 30)), 10, 20, 30, 18);
    expectPixel(RGBGrVal(GreyPixel<float>(5.5f)), 5, 5, 5, 5);
    expectPixel(RGBGrVal(RGBPixel<float>(10.9f, 20.0f, 30.0f)), 10, 20, 30, 18);
    RGBGrVal p;
    p << ARGBVal(9, 0, 0, 255);
    expectPixel(p, 0, 0, 255, 28);
    p.setred(100);
    expectPixel(p, 100, 0, 255, 58);
    p.setgreen(100);
    p.setblue(100);
    expectPixel(p, 100, 100, 100, 100);
    p *= 0.5;
    expectPixel(p, 50, 50, 50, 50);
    p += 1000.0;
    expectPixel(p, 255, 255, 255, 255);
    p.setgrey(8);
    expectPixel(p, 8, 8, 8, 8);
    p += RGBPixel<float>(1.0f, 2.0f, 250.0f);
    expectPixel(p, 9, 10, 2, 8);
    p << 3.7;
    expectPixel(p, 3, 3, 3, 3);
    p << HSVPixel<float>(0.0f, 255.0f, 200.0f);
    expectPixel(p, 200, 0, 0, 60);
}

TEST(RGBGrValTest, MixesLikeAFramePixel) {
    RGBGrVal p(1, 100, 255, 3);
    p.averageWith(RGBGrVal(2, 50, 254, 4));
    expectPixel(p, 1, 75, 254, 3);
    RGBGrVal q(1, 100, 255);
    q.mixAverageWith(RGBGrVal(2, 50, 254));
    expectPixel(q, 1, 75, 254, SILuminance(1, 75, 254));
    RGBGrVal r(10, 20, 30);
    r.mixInProportion(RGBGrVal(100, 150, 250), 0.0f);
    expectPixel(r, 100, 150, 250, SILuminance(100, 150, 250));
}

TEST(PackedPixelTest, PrintsItsBytes) {
    EXPECT_EQ(tumblewash::imagelib::printed([] { ARGBVal(1, 2, 3, 4).printInfo(); }), "ARGBVal 1,2,3,4 \n");
    EXPECT_EQ(tumblewash::imagelib::printed([] { RGBGrVal(1, 2, 3, 4).printInfo(); }), "RGBGrVal 1,2,3,4 \n");
}

TEST(NamedColoursTest, EveryNameHasItsTriple) {
    const auto is = [](const SIRGBColour& c, int r, int g, int b) {
        return c.red == r && c.green == g && c.blue == b;
    };
    EXPECT_TRUE(is(gRGBBlueTV, 0, 0, 0xEA00));
    EXPECT_TRUE(is(gRGBGreenTV, 0, 0xEA00, 0));
    EXPECT_TRUE(is(gRGBRedTV, 0xEA00, 0, 0));
    EXPECT_TRUE(is(gRGBLtGray, 0x7FFF, 0x7FFF, 0x7FFF));
    EXPECT_TRUE(is(gRGBDkGray, 0x2FFF, 0x2FFF, 0x2FFF));
    EXPECT_TRUE(is(gRGBBlackTV, 0, 0, 0));
    EXPECT_EQ(gRGBBlackTV, gRGBBlack);
    EXPECT_TRUE(is(gRGBWhiteTV, 0xEA00, 0xEA00, 0xEA00));
    EXPECT_TRUE(is(gRGBWhite, 0xFFFF, 0xFFFF, 0xFFFF));
    EXPECT_EQ(rgbLtGray, gRGBLtGray);
    EXPECT_EQ(rgbDkGray, gRGBDkGray);
    EXPECT_EQ(rgbBlack, gRGBBlack);
    EXPECT_EQ(rgbWhite, gRGBWhite);
    struct Record {
        unsigned short r, g, b;
    };
    const Record blue = gRGBBlueTV.as<Record>();
    EXPECT_TRUE(blue.r == 0 && blue.g == 0 && blue.b == 0xEA00);
}
