#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/SamplePixRect.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "tests/pluginDistort/TraceCapture.h"
#include "tests/whole/Frames.h"
#include "tests/whole/reference/Tumble.h"

namespace {

using tumblewash::test::Frame;
using Random = std::mt19937;

ARGBVal* pixelsOf(Frame& frame) {
    return reinterpret_cast<ARGBVal*>(frame.data());
}

/// Nothing may ever write the pixel that stands for all places outside.
class ProjectionTest : public testing::Test {
  protected:
    void TearDown() override {
        const ARGBVal black = PixRectBase<ARGBVal>::blackpixel;
        EXPECT_EQ(black._alpha + black._red + black._green + black._blue, 0);
    }
};

float unit(Random& random) {
    return tumblewash::test::randomUnit(random);
}

/// A projection of one of several tempers: near the identity, perspective, wild, singular, no numbers.
PlanarProj randomProjection(Random& random, int temper) {
    PlanarProj pp;
    const float identity[8] = {1, 0, 0, 0, 1, 0, 0, 0};
    for (int i = 0; i < 8; ++i) {
        const float small = i >= 6 ? 0.02f : i % 3 == 2 ? 9.0f : 0.4f;
        pp.B[i] = identity[i] + small * unit(random);
        if (temper == 1) pp.B[i] = identity[i];
        if (temper == 2) pp.B[i] = 40.0f * unit(random);
        if (temper == 3 && random() % 3 == 0) pp.B[i] = 1e30f * unit(random);
        if (temper == 4 && random() % 3 == 0) pp.B[i] = std::numeric_limits<float>::quiet_NaN();
        if (temper == 5) pp.B[i] = i < 6 ? 1.0f : 0.0f;
        if (temper == 6 && random() % 3 == 0) pp.B[i] = std::numeric_limits<float>::infinity();
        if (temper == 7) pp.B[i] = i == 0 || i == 4 ? 0.5f : i == 2 || i == 5 ? -0.5f : 0.0f;
    }
    return pp;
}

/// Fills two equal frames through both routines and compares the memory, guards included.
template <class MakeSource>
void expectSameFill(Random& random, int stride, int height, siwraptype lines, int temper,
                    MakeSource makeSource) {
    Frame shipped(stride, height), plain(stride, height);
    shipped.randomise(random);
    plain = shipped;
    PlanarProj pp = randomProjection(random, temper);
    const auto fill = [&](Frame& frame, auto routine) {
        PixRectWrap<ARGBVal> wrap(pixelsOf(frame), stride, height, lines);
        const std::unique_ptr<PixRect<ARGBVal>> source = makeSource();
        routine(*source, wrap, pp);
        PixRectRWRef<ARGBVal> clip(wrap, stride / 4, height / 8, stride / 2, height / 3);
        routine(*source, clip, pp);
    };
    fill(shipped, [](auto& s, auto& d, auto& p) { ProjWith(s, d, p); });
    fill(plain, [](auto& s, auto& d, auto& p) { tumblewash::reference::ProjWith(s, d, p); });
    ASSERT_TRUE(shipped == plain) << stride << "x" << height << " lines " << lines << " temper " << temper;
    ASSERT_TRUE(shipped.guardsIntact());
}

TEST_F(ProjectionTest, EveryKindOfSourceGivesTheBytesOfTheViews) {
    Random random(11);
    const int sizes[][2] = {{1, 1},  {1, 2},   {2, 1},   {3, 3},   {2, 5},
                            {17, 9}, {16, 16}, {31, 20}, {40, 33}, {67, 14}};
    for (const auto& size : sizes) {
        const int w = size[0], h = size[1];
        Frame picture(w, h);
        picture.randomise(random);
        PixRectRW<ARGBVal> stored(w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) stored.pixrefNB(x, y) = pixelsOf(picture)[y * w + x];
        PixRectRW<ARGBVal> moved(stored);
        moved.shiftorigin(-3, 2);
        for (int temper = 0; temper < 8; ++temper) {
            for (const siwraptype lines : {SIAllLines, SIEvenLines, SIOddLines}) {
                PixRectWrap<ARGBVal> wrap(pixelsOf(picture), w, h, lines);
                using Source = std::unique_ptr<PixRect<ARGBVal>>;
                const auto image = [](auto&&... args) -> Source {
                    return std::make_unique<ContImageRef<ARGBVal>>(std::forward<decltype(args)>(args)...);
                };
                const std::function<Source()> kinds[] = {
                    [&] { return image(wrap, SIInterpBilinear); },
                    [&] { return Source(new PixRectWrap<ARGBVal>(wrap)); },
                    [&] { return image(stored, SIInterpBilinear); },
                    [&] { return image(moved, SIInterpBilinear); },
                    [&] { return image(stored, 1, 1, w - 1, h - 1, SIInterpBilinear); },
                    [&] { return image(wrap, SIInterpSmooth); },
                    [&] { return image(wrap, SIInterpBicubic); },
                    [&] {
                        Source shifted = image(stored, SIInterpBilinear);
                        shifted->shiftorigin(2, -1);
                        return shifted;
                    },
                    [&] { return Source(new PixRectRef<ARGBVal>(stored, 0, 0, w - 2, h - 2)); },
                    [&] { return Source(new PixRectRW<ARGBVal>(moved)); },
                    [&] {
                        return Source(new SamplePixRectNC<ARGBVal, ARGBVal>(stored, 0.5, 0.5, SIBestSample));
                    },
                    [] { return Source(new PixRectRW<ARGBVal>()); },
                };
                for (const auto& kind : kinds) expectSameFill(random, w + 2, h + 3, lines, temper, kind);
            }
        }
    }
}

// Rows are projected in stretches of some hundred columns; runs begin, end and go on across their ends.
TEST_F(ProjectionTest, RowsOfSeveralStretchesGiveTheBytesOfTheViews) {
    Random random(12);
    for (const int w : {511, 512, 513, 576, 1100, 1537}) {
        Frame picture(w, 8);
        picture.randomise(random);
        PixRectWrap<ARGBVal> wrap(pixelsOf(picture), w, 8, SIAllLines);
        using Source = std::unique_ptr<PixRect<ARGBVal>>;
        for (int temper = 0; temper < 8; ++temper) {
            expectSameFill(random, w + 2, 10, SIAllLines, temper, [&]() -> Source {
                return std::make_unique<ContImageRef<ARGBVal>>(wrap, SIInterpBilinear);
            });
            expectSameFill(random, w + 2, 10, SIAllLines, temper,
                           [&] { return Source(new PixRectWrap<ARGBVal>(wrap)); });
        }
    }
}

// A row shifted by whole columns shows one run; wherever it begins and ends, all of it is read and no more.
TEST_F(ProjectionTest, RunsBeginAndEndAtAnyColumn) {
    Random random(13);
    for (int w = 1; w <= 200; w += 1 + w / 9) {
        Frame picture(w, 3);
        picture.randomise(random);
        PixRectWrap<ARGBVal> wrap(pixelsOf(picture), w, 3, SIAllLines);
        ContImageRef<ARGBVal> image(wrap, SIInterpBilinear);
        for (int shift = 0; shift <= 140; ++shift) {
            Frame shipped(345, 3), plain(345, 3);
            PlanarProj pp;
            pp.B[0] = pp.B[4] = 1.0f;
            pp.B[2] = static_cast<float>(-shift);
            PixRectWrap<ARGBVal> to(pixelsOf(shipped), 345, 3, SIAllLines);
            PixRectWrap<ARGBVal> expected(pixelsOf(plain), 345, 3, SIAllLines);
            ProjWith(image, to, pp);
            tumblewash::reference::ProjWith(image, expected, pp);
            ASSERT_TRUE(shipped == plain) << w << " columns, shifted by " << shift;
        }
    }
}

TEST_F(ProjectionTest, BoundsAreTestedTruncatedAndTheReadIsExact) {
    PixRectRW<ARGBVal> source(4, 6), dest(1, 1);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 4; ++x)
            source.pixrefNB(x, y) = ARGBVal(255, static_cast<unsigned char>(100 + x * 10),
                                            static_cast<unsigned char>(y * 20), 200);
    ContImageRef<ARGBVal> image(source, SIInterpBilinear);
    PlanarProj pp;  // everything goes to (h2, h5)
    const auto drawn = [&](float x, float y) {
        dest.pixrefNB(0, 0) = ARGBVal(1, 2, 3, 4);
        pp.B[2] = x;
        pp.B[5] = y;
        ProjWith(image, dest, pp);
        return dest.pix(0, 0);
    };
    // Half of the zero pixel left of column 0 and half of column 0, between rows 3 and 4.
    const ARGBVal half = drawn(-0.5f, 3.2f);
    EXPECT_EQ(half._red, static_cast<int>(0.5 * (1 - static_cast<double>(3.2f - 3)) * 100) +
                             static_cast<int>(0.5 * static_cast<double>(3.2f - 3) * 100));
    EXPECT_EQ(half._alpha, (255 + 2 * 255) & 255);
    EXPECT_EQ(drawn(-1.0f, 3.0f)._red, 2);   // truncates to -1: outside
    EXPECT_EQ(drawn(3.9f, 5.9f)._red, 130);  // truncates to the last pixel: inside, unchanged
    EXPECT_EQ(drawn(3.9f, 5.9f)._alpha, 255);
    EXPECT_EQ(drawn(4.0f, 3.0f)._red, 2);
    EXPECT_EQ(drawn(2.0f, 6.0f)._red, 2);
    EXPECT_EQ(drawn(2.0f, 3.0f)._alpha, 251);  // a whole position inside
}

TEST_F(ProjectionTest, PlainFramesAreReadNearestAndKeepAlpha) {
    PixRectRW<ARGBVal> source(4, 4), dest(4, 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            source.pixrefNB(x, y) = ARGBVal(static_cast<unsigned char>(y * 4 + x), 1, 2, 3);
    PlanarProj pp;
    pp.B[0] = pp.B[4] = 1.0f;
    pp.B[2] = 0.75f;
    ProjWith(source, dest, pp);
    EXPECT_EQ(dest.pix(0, 2)._alpha, 8);
    EXPECT_EQ(dest.pix(3, 1)._alpha, 7);
}

TEST_F(ProjectionTest, PositionsThatAreNoNumbersLeaveTheDestinationAlone) {
    PixRectRW<ARGBVal> source(4, 4), dest(5, 5);
    ContImageRef<ARGBVal> image(source, SIInterpBilinear);
    dest.fillWith(ARGBVal(9, 9, 9, 9));
    PlanarProj pp;
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(), 3e9f, -3e9f}) {
        pp.B[2] = bad;
        ProjWith(image, dest, pp);
        ProjWith(source, dest, pp);
    }
    pp.B[2] = 0;
    pp.B[6] = -1;  // the factor is 0 in column 1: 0 / 0
    pp.B[7] = 0;
    PixRectRWRef<ARGBVal> column(dest, 1, 0, 1, 4);
    ProjWith(image, column, pp);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(dest.pix(x, y)._red, 9);
}

TEST_F(ProjectionTest, DestinationsWithoutPixelsAreNotWritten) {
    PixRectRW<ARGBVal> source(4, 4), none;
    PixRectRWRef<ARGBVal> nothing;
    PlanarProj pp;
    pp.B[0] = pp.B[4] = 1;
    source.fillWith(ARGBVal(200, 200, 200, 200));
    ProjWith(source, none, pp);
    ProjWith(source, nothing, pp);
    // What a read outside gives is the one pixel that a careless write would reach.
    const ARGBVal& black = PixRect<ARGBVal>::blackpixel;
    EXPECT_EQ(black.getalpha() | black.getred() | black.getgreen() | black.getblue(), 0);
    EXPECT_EQ(none.rasters(), nullptr);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(source.pix(x, y).getred(), 200);
}

TEST_F(ProjectionTest, TrapezoidEqualsItsComposition) {
    Random random(3);
    for (const auto& [dwidth, height] : std::vector<std::pair<int, int>>{
             {1, 1}, {2, 2}, {3, 5}, {9, 9}, {10, 20}, {33, 21}, {64, 48}, {100, 37}, {160, 120}}) {
        for (const bool proxy : {false, true}) {
            Frame source(dwidth, height), shipped(dwidth, height), plain(dwidth, height);
            source.randomise(random);
            shipped.randomise(random);
            plain = shipped;
            const Frame before = source;
            DistortUsingProj(nullptr, source.data(), shipped.data(), dwidth, dwidth, height, 0.3f, proxy);
            tumblewash::reference::DistortUsingProj(source.data(), plain.data(), dwidth, dwidth, height, 0.3f,
                                                    proxy);
            EXPECT_TRUE(shipped == plain) << dwidth << "x" << height << " " << proxy;
            EXPECT_TRUE(source == before);
        }
    }
}

TEST_F(ProjectionTest, TrapezoidIsInsetAboveAndSticksOutBelow) {
    Frame source(720, 480), dest(720, 480);
    source.fill(77);
    dest.fill(1);
    tumblewash::test::TraceCapture trace;
    DistortUsingProj(nullptr, source.data(), dest.data(), 720, 700, 480, 0.25f, false);
    EXPECT_EQ(trace.text().find("DistortUsingProj 700 480 fac=0.250000\n\r"), 0u);
    const auto red = [&dest](int x, int row) {
        return dest.data()[(static_cast<std::size_t>(row) * 720 + static_cast<std::size_t>(x)) * 4 + 1];
    };
    for (int field = 0; field < 2; ++field) {
        EXPECT_EQ(red(360, 2 * 23 + field), 1);  // above field row 24
        EXPECT_NE(red(360, 2 * 26 + field), 1);
        EXPECT_EQ(red(60, 2 * 26 + field), 1);  // left of column 72 at the top
        EXPECT_NE(red(80, 2 * 26 + field), 1);
        EXPECT_NE(red(640, 2 * 26 + field), 1);
        EXPECT_EQ(red(660, 2 * 26 + field), 1);
        EXPECT_NE(red(0, 2 * 212 + field), 1);  // the bottom edge sticks out on both sides
        EXPECT_NE(red(719, 2 * 212 + field), 1);
        EXPECT_EQ(red(360, 2 * 217 + field), 1);  // below field row 216
    }
}

TEST_F(ProjectionTest, TrapezoidIgnoresProgressAndState) {
    Random random(4);
    Frame source(40, 30), a(40, 30), b(40, 30);
    source.randomise(random);
    _EffectData ed{};
    DistortUsingProj(&ed, source.data(), a.data(), 40, 40, 30, 0.0f, true);
    DistortUsingProj(nullptr, source.data(), b.data(), 40, 40, 30, 0.9f, true);
    EXPECT_TRUE(a == b);
}

}  // namespace
