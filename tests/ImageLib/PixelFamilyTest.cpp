#include <gtest/gtest.h>

#include <cmath>

#include "ImageLib/source/PixelConvert.h"
#include "tests/ImageLib/Capture.h"

using tumblewash::imagelib::printed;

TEST(PixelFamilyTest, DefaultPixelsAreAllZero) {
    const GreyPixel<int> g;
    EXPECT_EQ(g._grey, 0);
    const RGBPixel<double> rgb;
    EXPECT_TRUE(rgb._grey == 0 && rgb._red == 0 && rgb._green == 0 && rgb._blue == 0);
    const HSVPixel<unsigned char> hsv;
    EXPECT_TRUE(hsv._hue == 0 && hsv._sat == 0 && hsv._val == 0);
}

TEST(PixelFamilyTest, PrintsItsComponents) {
    EXPECT_EQ(printed([] { GreyPixel<float>(1.5f).printInfo(); }), "GreyPixel< 1.500000 >\n");
    EXPECT_EQ(printed([] { RGBPixel<float>(1, 2, 3).printInfo(); }), "RGBPixel 1.000000 2.000000 3.000000\n");
    EXPECT_EQ(printed([] { HSVPixel<float>(4, 5, 6).printInfo(); }), "HSVPixel 4.000000 5.000000 6.000000\n");
    EXPECT_EQ(printed([] { GreyPixel<unsigned char>(7).printInfo(); }), "GreyPixel< 7.000000 >\n");
}

template <class P>
class GreyFamily : public ::testing::Test {};
using GreyTypes = ::testing::Types<GreyPixel<float>, GreyPixel<unsigned char>, GreyPixel<int>>;
TYPED_TEST_SUITE(GreyFamily, GreyTypes);

TYPED_TEST(GreyFamily, AnswersEveryGetterWithItsLevelAndIgnoresColourSetters) {
    TypeParam g(42);
    g.setred(1);
    g.setgreen(2);
    g.setblue(3);
    g.sethue(4);
    g.setsat(5);
    g.setval(6);
    EXPECT_EQ(g.getgrey(), 42);
    EXPECT_EQ(g.getred(), 42);
    EXPECT_EQ(g.getgreen(), 42);
    EXPECT_EQ(g.getblue(), 42);
    EXPECT_EQ(g.gethue(), 42);
    EXPECT_EQ(g.getsat(), 42);
    EXPECT_EQ(g.getval(), 42);
    g.setgrey(43);
    EXPECT_EQ(g._grey, 43);
    g.set(44);
    EXPECT_EQ(g._grey, 44);
    g.set(10, 20, 30);
    EXPECT_NEAR(static_cast<double>(g._grey), 18.1, 0.2);
    g = 7;
    EXPECT_EQ(g._grey, 7);
    g << 8;
    EXPECT_EQ(g._grey, 8);
}

TYPED_TEST(GreyFamily, TakesLuminanceFromFramePixelsAndTheStoredLevelFromGreyed) {
    TypeParam g;
    g << ARGBVal(1, 0, 0, 255);
    EXPECT_EQ(g._grey, 28);  // the integer result, in every type
    g << RGBGrVal(0, 0, 255, 99);
    EXPECT_EQ(g._grey, 99);
    EXPECT_EQ(TypeParam(ARGBVal(1, 0, 0, 255))._grey, 28);
    EXPECT_EQ(TypeParam(RGBGrVal(0, 0, 255, 99))._grey, 99);
    g += ARGBVal(1, 0, 0, 255);
    EXPECT_EQ(g._grey, 127);
    g -= ARGBVal(1, 0, 0, 255);
    EXPECT_EQ(g._grey, 99);
    g += RGBGrVal(0, 0, 255, 1);
    EXPECT_EQ(g._grey, 100);
    g -= RGBGrVal(0, 0, 255, 10);
    EXPECT_EQ(g._grey, 90);
    g += 10.0;
    EXPECT_EQ(g._grey, 100);
    g *= 1.5;
    EXPECT_EQ(g._grey, 150);
    g += TypeParam(3);
    EXPECT_EQ(g._grey, 153);
    g -= TypeParam(3);
    EXPECT_EQ(g._grey, 150);
}

TEST(GreyPixelTest, BytesClampAndIntsTruncate) {
    GreyPixel<unsigned char> b(200);
    b *= 2.0;
    EXPECT_EQ(b._grey, 255);
    b += -1000.0;
    EXPECT_EQ(b._grey, 0);
    GreyPixel<int> i(5);
    i *= -0.5;
    EXPECT_EQ(i._grey, -2);
    GreyPixel<float> f(5);
    f *= -0.5;
    EXPECT_EQ(f._grey, -2.5f);
}

TEST(PixelFamilyTest, AssignmentThroughTheBaseConverts) {
    GreyPixel<float> g(10.0f);
    RGBPixel<float> rgb(100.0f, 50.0f, 10.0f);
    HSVPixel<float> hsv;
    rgb.debugon(DBGPixel);
    Pixel<float>& asbase = g;
    asbase = rgb;
    EXPECT_FLOAT_EQ(g._grey, (30.0f * 100 + 59 * 50 + 11 * 10) / 100);
    EXPECT_TRUE(g.debugchk(DBGPixel));
    static_cast<Pixel<float>&>(hsv) = rgb;
    EXPECT_FLOAT_EQ(hsv._val, 100.0f);
    static_cast<Pixel<float>&>(rgb) = GreyPixel<float>(6.0f);
    EXPECT_TRUE(rgb._red == 6 && rgb._green == 6 && rgb._blue == 6);
    static_cast<Pixel<float>&>(rgb).set(static_cast<const Pixel<float>&>(HSVPixel<float>(0, 255, 200)));
    EXPECT_TRUE(rgb._red == 200 && rgb._green == 0 && rgb._blue == 0);
    static_cast<Pixel<float>&>(g).set(static_cast<const Pixel<float>&>(rgb));
    EXPECT_FLOAT_EQ(g._grey, 60.0f);
    static_cast<Pixel<float>&>(g) << GreyPixel<float>(3.0f);
    EXPECT_EQ(g._grey, 3.0f);
}

template <class P>
class RGBFamily : public ::testing::Test {};
using RGBTypes = ::testing::Types<RGBPixel<float>, RGBPixel<unsigned char>, RGBPixel<double>>;
TYPED_TEST_SUITE(RGBFamily, RGBTypes);

TYPED_TEST(RGBFamily, StoresTheMeanAndAnswersTheLuminance) {
    const TypeParam p(30, 60, 90);
    EXPECT_EQ(p._grey, 60);
    EXPECT_NEAR(static_cast<double>(p.getgrey()), 54.3, 0.31);
    EXPECT_TRUE(p.getred() == 30 && p.getgreen() == 60 && p.getblue() == 90);
}

TYPED_TEST(RGBFamily, ComponentsAreSetOneByOneOrTogether) {
    TypeParam p;
    p.setred(1);
    p.setgreen(2);
    p.setblue(3);
    EXPECT_TRUE(p._red == 1 && p._green == 2 && p._blue == 3 && p._grey == 0);
    p.setgrey(9);
    EXPECT_TRUE(p._red == 9 && p._green == 9 && p._blue == 9 && p._grey == 9);
    p.set(8);
    EXPECT_TRUE(p._red == 8 && p._green == 8 && p._blue == 8);
    p.set(3, 6, 9);
    EXPECT_TRUE(p._red == 3 && p._green == 6 && p._blue == 9 && p._grey == 6);
    p << ARGBVal(1, 2, 3, 4);
    EXPECT_TRUE(p._red == 2 && p._green == 3 && p._blue == 4);
    p << RGBGrVal(5, 6, 7, 0);
    EXPECT_TRUE(p._red == 5 && p._green == 6 && p._blue == 7);
}

TYPED_TEST(RGBFamily, HueSaturationValuePassThroughTheOtherModel) {
    TypeParam p(0, 0, 255);
    EXPECT_EQ(p.gethue(), 170);
    EXPECT_EQ(p.getsat(), 255);
    EXPECT_EQ(p.getval(), 255);
    p.sethue(0);
    EXPECT_TRUE(p._red == 255 && p._green == 0 && p._blue == 0);
    p.setval(100);
    EXPECT_TRUE(p._red == 100 && p._green == 0 && p._blue == 0);
    p.setsat(0);
    EXPECT_TRUE(p._red == 100 && p._green == 100 && p._blue == 100);
}

TYPED_TEST(RGBFamily, ArithmeticActsOnTheThreeColours) {
    TypeParam p(10, 20, 30);
    p += ARGBVal(200, 1, 2, 3);
    p += RGBGrVal(1, 2, 3, 9);
    p += TypeParam(1, 2, 3);
    p += GreyPixel<int>(1);
    EXPECT_TRUE(p._red == 14 && p._green == 27 && p._blue == 40);
    EXPECT_EQ(p._grey, 20);  // the stored mean stays
    p -= ARGBVal(200, 4, 7, 10);
    p -= RGBGrVal(1, 1, 1, 9);
    p -= TypeParam(1, 1, 1);
    EXPECT_TRUE(p._red == 8 && p._green == 18 && p._blue == 28);
    p *= 2.0;
    p /= 4.0;
    p += 1.0;
    EXPECT_TRUE(p._red == 5 && p._green == 10 && p._blue == 15);
}

TEST(RGBPixelTest, BytesClamp) {
    RGBPixel<unsigned char> p(250, 5, 100);
    p += RGBPixel<float>(10.0f, -10.0f, 0.9f);
    EXPECT_TRUE(p._red == 255 && p._green == 0 && p._blue == 100);
}

template <class P>
class HSVFamily : public ::testing::Test {};
using HSVTypes = ::testing::Types<HSVPixel<float>, HSVPixel<unsigned char>>;
TYPED_TEST_SUITE(HSVFamily, HSVTypes);

TYPED_TEST(HSVFamily, PureColoursLieAtTheirAngles) {
    const struct {
        ARGBVal colour;
        double hue, sat, val;
    } rows[] = {{ARGBVal(0, 255, 0, 0), 0, 255, 255},   {ARGBVal(0, 255, 255, 0), 42.5, 255, 255},
                {ARGBVal(0, 0, 255, 0), 85, 255, 255},  {ARGBVal(0, 0, 255, 255), 127.5, 255, 255},
                {ARGBVal(0, 0, 0, 255), 170, 255, 255}, {ARGBVal(0, 255, 0, 255), 212.5, 255, 255},
                {ARGBVal(0, 128, 128, 128), 0, 0, 128}, {ARGBVal(0, 0, 0, 0), 0, 0, 0},
                {ARGBVal(0, 255, 255, 255), 0, 0, 255}};
    for (const auto& row : rows) {
        TypeParam p;
        p << row.colour;
        using C = decltype(p._hue);
        EXPECT_EQ(p._hue, static_cast<C>(row.hue));
        EXPECT_EQ(p._sat, static_cast<C>(row.sat));
        EXPECT_EQ(p._val, static_cast<C>(row.val));
        TypeParam q;
        q << RGBGrVal(row.colour);
        EXPECT_TRUE(q._hue == p._hue && q._sat == p._sat && q._val == p._val);
        TypeParam i, f;
        i.makeFromRGB(int{row.colour._red}, int{row.colour._green}, int{row.colour._blue});
        f.makeFromRGB(float{row.colour._red * 1.0f}, float{row.colour._green * 1.0f},
                      float{row.colour._blue * 1.0f});
        EXPECT_TRUE(i._hue == p._hue && f._hue == p._hue && i._val == p._val && f._sat == p._sat);
    }
}

TYPED_TEST(HSVFamily, GreysSurviveTheRoundTrip) {
    for (int v = 0; v < 256; ++v) {
        TypeParam p;
        p.makeFromRGB(v, v, v);
        unsigned char r = 1, g = 2, b = 3;
        p.makeRGB(&r, &g, &b);
        EXPECT_TRUE(r == v && g == v && b == v) << v;
        EXPECT_EQ(p.getgrey(), v);
    }
}

TEST(HSVPixelTest, NegativeAnglesWrapUpwards) {
    HSVPixel<float> p;
    p.makeFromRGB(255, 0, 128);
    const float h = (0.0f - static_cast<float>(128 / 255.0)) * 60.0f + 360.0f;
    EXPECT_EQ(p._hue, h * 255.0f / 360.0f);
    EXPECT_GT(p._hue, 212.0f);
}

TEST(HSVPixelTest, ColoursSurviveTheRoundTripToOneStep) {
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 17)
            for (int b = 0; b < 256; b += 51) {
                HSVPixel<float> p;
                p.makeFromRGB(r, g, b);
                EXPECT_NEAR(p.getred(), r, 1);
                EXPECT_NEAR(p.getgreen(), g, 1);
                EXPECT_NEAR(p.getblue(), b, 1);
            }
}

TEST(HSVPixelTest, EverySectorOrdersItsChannels) {
    // v = 200, s = 1/2 as 127.5 / 255, f = 1/2: p = 100, q = t = 150.
    const int expected[6][3] = {{200, 150, 100}, {150, 200, 100}, {100, 200, 150},
                                {100, 150, 200}, {150, 100, 200}, {200, 100, 150}};
    for (int i = 0; i < 6; ++i) {
        const HSVPixel<float> p((static_cast<float>(i) + 0.5f) / 6.0f * 255.0f, 127.5f, 200.0f);
        unsigned char c[3] = {};
        p.makeRGB(&c[0], &c[1], &c[2]);
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(c[k], expected[i][k], 1) << i;
    }
}

TEST(HSVPixelTest, FullHueIsTheFirstSector) {
    unsigned char r = 0, g = 9, b = 9;
    HSVPixel<float>(255.0f, 255.0f, 200.0f).makeRGB(&r, &g, &b);
    EXPECT_TRUE(r == 200 && g == 0 && b == 0);
    HSVPixel<unsigned char>(255, 255, 200).makeRGB(&r, &g, &b);
    EXPECT_TRUE(r == 200 && g == 0 && b == 0);
}

TEST(HSVPixelTest, HuesOutsideTheSectorsLeaveTheOutputs) {
    for (float hue : {-1.0f, 256.0f, 1e30f, -1e30f}) {
        unsigned char r = 1, g = 2, b = 3;
        HSVPixel<float>(hue, 255.0f, 200.0f).makeRGB(&r, &g, &b);
        EXPECT_TRUE(r == 1 && g == 2 && b == 3) << hue;
    }
}

TYPED_TEST(HSVFamily, SettersAndArithmetic) {
    TypeParam p(1, 2, 3);
    p.sethue(0);
    p.setsat(255);
    p.setval(100);
    EXPECT_TRUE(p.getred() == 100 && p.getgreen() == 0 && p.getblue() == 0);
    EXPECT_TRUE(p.gethue() == 0 && p.getsat() == 255 && p.getval() == 100);
    EXPECT_EQ(p.getgrey(), 30);
    p.setgreen(100);
    EXPECT_EQ(p.gethue(), static_cast<decltype(p._hue)>(42.5));
    p.setred(0);
    p.setblue(0);
    EXPECT_EQ(p.gethue(), 85);
    p.set(50);
    EXPECT_TRUE(p._hue == 0 && p._sat == 0 && p._val == 50);
    p += TypeParam(1, 2, 3);
    p += 1.0;
    p *= 2.0;
    EXPECT_TRUE(p._hue == 4 && p._sat == 6 && p._val == 108);
    TypeParam q;
    q << HSVPixel<float>(7.9f, 8.0f, 9.0f);
    EXPECT_EQ(q._val, 9);
    q << GreyPixel<int>(30);
    EXPECT_TRUE(q._hue == 0 && q._sat == 0 && q._val == 30);
}
