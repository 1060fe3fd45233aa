#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/Plain.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"
#include "tests/ImageLib/reference/Shown.h"

namespace {

namespace reference = tumblewash::reference;
using reference::Bytes;
using reference::bytesOf;
using reference::modelOf;
using reference::PackedModel;
using reference::pick;
using tumblewash::test::plain;

class PixRectArithTest : public reference::RectTest {};

// Every writer with another rectangle: the library's and the plain telling's.
struct PairOp {
    std::string name;
    std::function<SIerrorcode(PixRectRW<ARGBVal>&, const PixRect<ARGBVal>&)> run;
    std::function<void(PackedModel&, const PackedModel&)> tell;
};

const std::vector<float>& peakWeights() {
    static const std::vector<float> w = {1.0f, 0.5f, 0.0f, 0.25f, 0.9f, 1.025f,
                                         0.1f, 0.7f, 0.3f, 0.05f, 0.6f, 0.8f};
    return w;
}

Shape2D peakShape() {
    Shape2D shape(4, 3);
    shape.weights = peakWeights();
    return shape;
}

std::vector<PairOp> pairOps() {
    using Rect = PixRectRW<ARGBVal>;
    using Source = PixRect<ARGBVal>;
    std::vector<PairOp> ops = {
        {"copyfrom", [](Rect& r, const Source& s) { return r.copyfrom(s); }, reference::copyfrom},
        {"add", [](Rect& r, const Source& s) { return r.add(s); },
         [](PackedModel& a, const PackedModel& b) { reference::add(a, b, 1); }},
        {"subtract", [](Rect& r, const Source& s) { return r.subtract(s); },
         [](PackedModel& a, const PackedModel& b) { reference::add(a, b, -1); }},
        {"blendwithalpha",
         [](Rect& r, const Source& s) { return r.blendwithalpha(s, static_cast<sialphamethod>(0)); },
         reference::blendwithalpha},
        {"blendwithalphaOther",
         [](Rect& r, const Source& s) { return r.blendwithalpha(s, static_cast<sialphamethod>(1)); },
         [](PackedModel&, const PackedModel&) {}},
        {"blendwithpeak",
         [](Rect& r, const Source& s) {
             Shape2D shape = peakShape();
             return r.blendwithpeak(s, shape);
         },
         [](PackedModel& a, const PackedModel& b) { reference::blendwithpeak(a, b, 4, 3, peakWeights()); }},
    };
    for (const float p : {0.0f, 0.3f, 1.0f, 7.5f, 41.0f}) {
        ops.push_back({"blendwith" + std::to_string(p),
                       [p](Rect& r, const Source& s) { return r.blendwith(s, p); },
                       [p](PackedModel& a, const PackedModel& b) { reference::blendwith(a, b, p); }});
    }
    for (const int limit : {-1, 0, 1, 10, 100, 256}) {
        ops.push_back(
            {"blendwithlimitrgb" + std::to_string(limit),
             [limit](Rect& r, const Source& s) { return r.blendwithlimitrgb(s, limit); },
             [limit](PackedModel& a, const PackedModel& b) { reference::blendwithlimitrgb(a, b, limit); }});
        ops.push_back(
            {"blendwithlimit" + std::to_string(limit),
             [limit](Rect& r, const Source& s) {
                 PackedModel mine = modelOf(r);
                 const int want = reference::blendwithlimit(mine, modelOf(s), limit);
                 int rejected = -7;
                 const SIerrorcode code = r.blendwithlimit(s, limit, rejected);
                 EXPECT_EQ(code == IMAGE_OK ? want : 0, rejected);
                 return code;
             },
             [limit](PackedModel& a, const PackedModel& b) { reference::blendwithlimit(a, b, limit); }});
    }
    return ops;
}

struct OneOp {
    std::string name;
    std::function<SIerrorcode(PixRectRW<ARGBVal>&)> run;
    std::function<void(PackedModel&)> tell;
};

std::vector<OneOp> oneOps() {
    using Rect = PixRectRW<ARGBVal>;
    const ARGBVal pixel(7, 100, 200, 255);
    const RGBPixel<float> colour(12.9f, 300.0f, -5.5f);
    std::vector<OneOp> ops = {
        {"fillWith", [pixel](Rect& r) { return r.fillWith(pixel); },
         [](PackedModel& m) { reference::each(m, [](Bytes& p) {
                                  p = {7, 100, 200, 255};
                              }); }},
        {"fillWithInt", [](Rect& r) { return r.fillWith(0x1F7); },
         [](PackedModel& m) { reference::each(m, [](Bytes& p) {
                                  p = {255, 0xF7, 0xF7, 0xF7};
                              }); }},
        {"fillWithDouble", [](Rect& r) { return r.fillWith(99.9); },
         [](PackedModel& m) { reference::each(m, [](Bytes& p) {
                                  p = {255, 99, 99, 99};
                              }); }},
        {"fillWithColour", [colour](Rect& r) { return r.fillWith(colour); },
         [](PackedModel& m) { reference::each(m, [](Bytes& p) {
                                  p = {255, 12, 255, 0};
                              }); }},
        {"fillwithcount", [](Rect& r) { return r.fillwithcount(); },
         [](PackedModel& m) {
             int n = 0;
             reference::each(m, [&n](Bytes& p) { p[1] = p[2] = p[3] = n++ % 256; });
         }},
        {"incrementbyPixel", [pixel](Rect& r) { return r.incrementby(pixel); },
         [](PackedModel& m) {
             reference::incrementby(m, Bytes{7, 100, 200, 255});
         }},
        {"plusPixel", [pixel](Rect& r) { return r += pixel; },
         [](PackedModel& m) {
             reference::incrementby(m, Bytes{7, 100, 200, 255});
         }},
        {"incrementbyColour", [colour](Rect& r) { return r.incrementby(colour); },
         [](PackedModel& m) {
             const float add[4] = {0.0f, 12.9f, 300.0f, -5.5f};
             reference::each(m, [&add](Bytes& p) {
                 for (std::size_t c = 1; c < 4; ++c)
                     p[c] = reference::wrap(static_cast<int>(static_cast<float>(p[c]) + add[c]));
             });
         }},
    };
    for (const int v : {0, 1, -1, 300, -513, 2147483647}) {
        ops.push_back({"incrementbyInt" + std::to_string(v), [v](Rect& r) { return r.incrementby(v); },
                       [v](PackedModel& m) { reference::incrementby(m, v); }});
    }
    for (const double d : {0.0, 0.99, -0.99, 3.7, -3.7, 1000.5}) {
        ops.push_back({"plusDouble" + std::to_string(d), [d](Rect& r) { return r += d; },
                       [d](PackedModel& m) { reference::incrementby(m, static_cast<int>(d)); }});
        ops.push_back({"incrementbyDouble" + std::to_string(d), [d](Rect& r) { return r.incrementby(d); },
                       [d](PackedModel& m) { reference::incrementby(m, static_cast<int>(d)); }});
    }
    for (const double d : {0.0, 0.5, 1.0, 1.7, 2.0, -1.0, -0.3, 100.0}) {
        ops.push_back({"multiplyby" + std::to_string(d), [d](Rect& r) { return r.multiplyby(d); },
                       [d](PackedModel& m) { reference::multiplyby(m, d); }});
        ops.push_back({"times" + std::to_string(d), [d](Rect& r) { return r *= d; },
                       [d](PackedModel& m) { reference::multiplyby(m, d); }});
    }
    for (const double d : {0.7, 2.0, 3.0, 49.0, -6.0}) {
        ops.push_back({"over" + std::to_string(d), [d](Rect& r) { return r /= d; },
                       [d](PackedModel& m) { reference::multiplyby(m, 1.0 / d); }});
    }
    return ops;
}

/// The frame behind `s` as it must be once `s` shows `want`: all of it unchanged but what `s` shows.
std::vector<ARGBVal> frameShowing(reference::Shown& s, const PackedModel& want) {
    std::vector<ARGBVal> frame = s.frame;
    for (const auto& [place, b] : want.at) {
        const auto index = &s.writable().pixref(place.first, place.second) - s.frame.data();
        frame[static_cast<std::size_t>(index)].set(
            static_cast<unsigned char>(b[0]), static_cast<unsigned char>(b[1]),
            static_cast<unsigned char>(b[2]), static_cast<unsigned char>(b[3]));
    }
    return frame;
}

void expectFrame(const std::vector<ARGBVal>& want, const std::vector<ARGBVal>& got, const std::string& how) {
    for (std::size_t i = 0; i < want.size(); ++i)
        ASSERT_EQ(bytesOf(want[i]), bytesOf(got[i])) << how << " pixel " << i;
}

TEST_F(PixRectArithTest, EveryPairOperationEqualsThePlainTellingHoweverThePixelsAreShown) {
    for (const PairOp& op : pairOps()) {
        std::mt19937 rng(100);
        for (int i = 0; i < 80; ++i) {
            auto mine = reference::showWritable(rng), other = reference::showReadable(rng);
            PackedModel want = modelOf(mine.readable());
            op.tell(want, modelOf(other.readable()));
            const auto frame = frameShowing(mine, want), untouched = other.frame;
            const std::string how = op.name + ": " + mine.how + " from " + other.how;
            ASSERT_EQ(IMAGE_OK, op.run(mine.writable(), other.readable())) << how;
            expectFrame(frame, mine.frame, how);
            expectFrame(untouched, other.frame, how + " (the source)");
        }
    }
}

TEST_F(PixRectArithTest, EveryFillAndStepEqualsThePlainTellingHoweverThePixelsAreShown) {
    for (const OneOp& op : oneOps()) {
        std::mt19937 rng(200);
        for (int i = 0; i < 40; ++i) {
            auto mine = reference::showWritable(rng);
            PackedModel want = modelOf(mine.readable());
            op.tell(want);
            const auto frame = frameShowing(mine, want);
            ASSERT_EQ(IMAGE_OK, op.run(mine.writable())) << op.name;
            expectFrame(frame, mine.frame, op.name + ": " + mine.how);
        }
    }
}

TEST_F(PixRectArithTest, RectanglesApartChangeNothingAndAreNoError) {
    std::mt19937 rng(3);
    PixRectRW<ARGBVal> a(5, 5), b(100, 100, 104, 104);
    reference::fillNoise(a, rng);
    reference::fillNoise(b, rng);
    const PackedModel before = modelOf(a);
    for (const PairOp& op : pairOps()) {
        EXPECT_EQ(IMAGE_OK, op.run(a, b)) << op.name;
        reference::expectShows(before, a);
    }
}

TEST_F(PixRectArithTest, WithoutStorageEveryWriterReportsNoDataAndWritesNothing) {
    PixRectRW<ARGBVal> none, empty(0, 9), freed(3, 3), small(4, 4);
    freed.freestore();
    PixRectRWRef<ARGBVal> nosource, onnone(none), onfreed(freed);
    const auto source = plain(8, 8, ARGBVal(1, 2, 3, 4));
    for (PixRectRW<ARGBVal>* r :
         {&none, &empty, &freed, static_cast<PixRectRW<ARGBVal>*>(&nosource),
          static_cast<PixRectRW<ARGBVal>*>(&onnone), static_cast<PixRectRW<ARGBVal>*>(&onfreed)}) {
        for (const PairOp& op : pairOps()) EXPECT_EQ(IMAGE_NODATA, op.run(*r, source)) << op.name;
        for (const OneOp& op : oneOps()) EXPECT_EQ(IMAGE_NODATA, op.run(*r)) << op.name;
        reference::expectBlackpixelsZero();
    }
}

TEST_F(PixRectArithTest, AStoragelessSourceCountsAsZeroPixels) {
    auto r = plain(3, 3, ARGBVal(9, 40, 50, 60));
    PixRectRW<ARGBVal> none;
    none.setbounds(1, 1, 2, 2);
    EXPECT_EQ(IMAGE_OK, r.blendwith(none, 1.0f));
    EXPECT_EQ((Bytes{9, 20, 25, 30}), bytesOf(r.pix(2, 2)));
    EXPECT_EQ((Bytes{9, 40, 50, 60}), bytesOf(r.pix(0, 0)));
}

TEST_F(PixRectArithTest, AViewBesideItsSourceNeitherReadsNorWritesPastIt) {
    auto small = plain(4, 4, ARGBVal(255, 10, 10, 10));
    PixRectRWRef<ARGBVal> collapsed(small, 20, 20, 30, 30);
    PixRectRWRef<ARGBVal> half(small);
    half.shiftorigin(-2, 0);
    half.setbounds(0, 0, 3, 3);  // columns 2 and 3 lie past the source
    const auto source = plain(40, 40, ARGBVal(1, 2, 3, 4));
    for (const OneOp& op : oneOps()) op.run(collapsed);
    for (const PairOp& op : pairOps())
        if (op.name.find("blendwithlimit") == std::string::npos) op.run(collapsed, source);
    collapsed.blendwithlimitrgb(source, 256);
    int rejected = 9;
    collapsed.blendwithlimit(source, 0, rejected);
    EXPECT_EQ(0, rejected);  // there is no pixel to reject
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ((Bytes{255, 10, 10, 10}), bytesOf(small.pix(x, y)));
    EXPECT_EQ(IMAGE_OK, half.incrementby(1));
    EXPECT_EQ(IMAGE_OK, half.add(source));
    EXPECT_EQ((Bytes{255, 10, 10, 10}), bytesOf(small.pix(1, 0)));
    EXPECT_EQ((Bytes{0, 13, 14, 15}), bytesOf(small.pix(2, 0)));
    EXPECT_EQ((Bytes{0, 13, 14, 15}), bytesOf(small.pix(3, 3)));
    auto big = plain(40, 40, ARGBVal(5, 6, 7, 8));
    EXPECT_EQ(IMAGE_OK, big.add(collapsed));
    EXPECT_EQ((Bytes{5, 6, 7, 8}), bytesOf(big.pix(20, 20)));
}

TEST_F(PixRectArithTest, BytesWrapAndAreNeverClamped) {
    auto r = plain(1, 1, ARGBVal(0, 100, 0, 0));
    r.add(plain(1, 1, ARGBVal(0, 200, 0, 0)));
    EXPECT_EQ(44, r.pix(0, 0)._red);
    auto m = plain(1, 1, ARGBVal(9, 200, 0, 0));
    m.multiplyby(2.0);
    EXPECT_EQ((Bytes{9, 144, 0, 0}), bytesOf(m.pix(0, 0)));
    auto d = plain(1, 1, ARGBVal(9, 255, 0, 0));
    d /= 2.0;
    EXPECT_EQ(127, d.pix(0, 0)._red);
}

TEST_F(PixRectArithTest, DividingMultipliesByTheReciprocal) {
    // 49 x (1.0 / 49.0) lies below 1 in double precision; 49 / 49.0 does not.
    auto r = plain(1, 1, ARGBVal(255, 49, 98, 147));
    r /= 49.0;
    EXPECT_EQ((Bytes{255, 0, 1, 2}), bytesOf(r.pix(0, 0)));
}

TEST_F(PixRectArithTest, WildFactorsAreHeldToWholeNumbers) {
    const double inf = std::numeric_limits<double>::infinity(),
                 nan = std::numeric_limits<double>::quiet_NaN();
    auto r = plain(2, 1, ARGBVal(7, 0, 1, 200));
    r.multiplyby(nan);
    EXPECT_EQ((Bytes{7, 0, 0, 0}), bytesOf(r.pix(0, 0)));
    r = plain(2, 1, ARGBVal(7, 0, 1, 200));
    r.multiplyby(inf);  // 0 x inf is no number; the others saturate at 0x7fffffff
    EXPECT_EQ((Bytes{7, 0, 255, 255}), bytesOf(r.pix(0, 0)));
    r = plain(2, 1, ARGBVal(7, 0, 1, 200));
    r += -1e300;
    EXPECT_EQ((Bytes{7, 0, 1, 200}), bytesOf(r.pix(0, 0)));
    r /= 0.0;
    EXPECT_EQ((Bytes{7, 0, 255, 255}), bytesOf(r.pix(0, 0)));
    r.blendwith(plain(2, 1, ARGBVal(7, 9, 9, 9)), -1.0f);  // x / 0: held to a byte
    EXPECT_EQ(255, r.pix(0, 0)._red);
}

TEST_F(PixRectArithTest, OtherAlphaMethodsLeaveEveryPixel) {
    auto r = plain(3, 3, ARGBVal(1, 2, 3, 4));
    EXPECT_EQ(IMAGE_OK,
              r.blendwithalpha(plain(3, 3, ARGBVal(255, 200, 200, 200)), static_cast<sialphamethod>(1)));
    reference::expectShows(modelOf(plain(3, 3, ARGBVal(1, 2, 3, 4))), r);
}

TEST_F(PixRectArithTest, AnOpaqueSourceIsAnEvenMixAndAlphaStays) {
    auto r = plain(1, 1, ARGBVal(77, 0, 0, 0));
    r.blendwithalpha(plain(1, 1, ARGBVal(255, 255, 0, 0)), SIAlphaSource);
    EXPECT_EQ((Bytes{77, 127, 0, 0}), bytesOf(r.pix(0, 0)));
}

TEST_F(PixRectArithTest, LimitZeroBlendsNothingAndRejectsTheWholeRegion) {
    auto r = plain(6, 5, ARGBVal(1, 2, 3, 4));
    PixRectRW<ARGBVal> s(4, 3, 20, 20);
    s.fillWith(ARGBVal(1, 2, 3, 4));
    int rejected = 99;
    EXPECT_EQ(IMAGE_OK, r.blendwithlimit(s, 0, rejected));
    EXPECT_EQ(4, rejected);
    reference::expectShows(modelOf(plain(6, 5, ARGBVal(1, 2, 3, 4))), r);
}

TEST_F(PixRectArithTest, EqualGreyIsMixedEvenly) {
    auto r = plain(1, 1, ARGBVal(3, 100, 100, 100));
    int rejected = 99;
    r.blendwithlimit(plain(1, 1, ARGBVal(9, 159, 70, 100)), 1, rejected);  // luminance 100 too
    EXPECT_EQ(0, rejected);
    EXPECT_EQ((Bytes{3, 129, 85, 100}), bytesOf(r.pix(0, 0)));
}

TEST_F(PixRectArithTest, ChannelsMoveHalfWayBelowTheLimitOnly) {
    for (const auto& [source, want] :
         {std::pair{105, 102}, {95, 98}, {120, 100}, {109, 104}, {110, 100}, {91, 96}}) {
        auto r = plain(1, 1, ARGBVal(7, 100, 100, 100));
        r.blendwithlimitrgb(plain(1, 1, ARGBVal(9, static_cast<unsigned char>(source), 100, 100)), 10);
        EXPECT_EQ((Bytes{7, want, 100, 100}), bytesOf(r.pix(0, 0)));
    }
}

TEST_F(PixRectArithTest, PeakWeightsAreCountedFromTheRegionsCorner) {
    PixRectRW<ARGBVal> r(2, 3, 9, 9);
    r.fillWith(ARGBVal(7, 0, 0, 0));
    Shape2D shape(2, 1);
    shape.setweight(0, 1, 1.0f);  // row 0, column 1: an even mix
    EXPECT_EQ(IMAGE_OK, r.blendwithpeak(plain(20, 20, ARGBVal(9, 210, 84, 42)), shape));
    EXPECT_EQ((Bytes{7, 105, 42, 21}), bytesOf(r.pix(3, 3)));
    EXPECT_EQ((Bytes{7, 5, 2, 1}), bytesOf(r.pix(2, 3)));  // weight 0: 41 parts of this pixel against one
    EXPECT_EQ((Bytes{7, 5, 2, 1}), bytesOf(r.pix(9, 9)));  // outside the table: the same
}

TEST_F(PixRectArithTest, PeakColumnsCountPlacesThatTheSourceLacks) {
    auto small = plain(4, 4, ARGBVal(7, 0, 0, 0));
    PixRectRWRef<ARGBVal> view(small);
    view.shiftorigin(2, 1);
    view.setbounds(0, 0, 3, 3);  // columns 0, 1 and row 0 lie before the source
    Shape2D shape(4, 4);
    shape.setweight(1, 2, 1.0f);
    EXPECT_EQ(IMAGE_OK, view.blendwithpeak(plain(9, 9, ARGBVal(9, 210, 84, 42)), shape));
    EXPECT_EQ((Bytes{7, 105, 42, 21}), bytesOf(small.pix(0, 0)));
    EXPECT_EQ((Bytes{7, 5, 2, 1}), bytesOf(small.pix(1, 0)));
    EXPECT_EQ((Bytes{7, 5, 2, 1}), bytesOf(small.pix(0, 1)));
}

TEST_F(PixRectArithTest, OnlyTheLimitByChannelStaysWithinEveryViewOnTheWay) {
    auto store = plain(8, 1, ARGBVal(7, 100, 100, 100));
    PixRectRWRef<ARGBVal> inner(store, 2, 0, 5, 0);
    PixRectRWRef<ARGBVal> outer(inner, 2, 0, 5, 0);
    outer.shiftorigin(2, 0);
    outer.setbounds(0, 0, 7, 0);  // columns 2..5 show 0..3 of the inner view, which itself shows 2..5 only
    auto bright = plain(8, 1, ARGBVal(9, 108, 108, 108));
    EXPECT_EQ(IMAGE_OK, outer.blendwithlimitrgb(bright, 10));
    for (int x = 0; x < 8; ++x) EXPECT_EQ(x == 2 || x == 3 ? 104 : 100, store.pix(x, 0)._red) << x;
    EXPECT_EQ(IMAGE_OK, bright.blendwithlimitrgb(outer, 200));  // a place not shown reads as the zero pixel
    const int want[8] = {108, 108, 54, 54, 106, 106, 108, 108};
    for (int x = 0; x < 8; ++x) EXPECT_EQ(want[x], bright.pix(x, 0)._red) << x;
    outer.incrementby(1);
    for (int x = 0; x < 8; ++x)
        EXPECT_EQ((x == 2 || x == 3 ? 104 : 100) + (x < 4), store.pix(x, 0)._red) << x;
}

TEST_F(PixRectArithTest, PeakProportionIsNarrowedLast) {
    // (1.025 - 1.0) x 40.0 in double, then single, is exactly 1; in single throughout it is not.
    auto r = plain(1, 1, ARGBVal(7, 1, 3, 5));
    Shape2D shape(1, 1, 1.0f);
    r.blendwithpeak(plain(1, 1, ARGBVal(7, 2, 4, 6)), shape);
    EXPECT_EQ((Bytes{7, 1, 3, 5}), bytesOf(r.pix(0, 0)));
    r = plain(1, 1, ARGBVal(7, 255, 255, 255));
    r.blendwithpeak(plain(1, 1, ARGBVal(7, 253, 1, 255)), shape);
    EXPECT_EQ((Bytes{7, 254, 128, 255}), bytesOf(r.pix(0, 0)));
}

TEST_F(PixRectArithTest, TheCountWrapsEvery256Pixels) {
    auto r = plain(16, 17, ARGBVal(42, 1, 1, 1));
    EXPECT_EQ(IMAGE_OK, r.fillwithcount());
    EXPECT_EQ((Bytes{42, 15, 15, 15}), bytesOf(r.pix(15, 16)));
    EXPECT_EQ((Bytes{42, 255, 255, 255}), bytesOf(r.pix(15, 15)));
    EXPECT_EQ((Bytes{42, 0, 0, 0}), bytesOf(r.pix(0, 16)));
}

TEST_F(PixRectArithTest, TotalLuminanceOfFourWhitePixels) {
    EXPECT_EQ(1020.0, plain(2, 2, ARGBVal(0, 255, 255, 255)).totalLum());
}

TEST_F(PixRectArithTest, AColourIsAddedInSinglePrecisionAndKeepsTheLowByte) {
    auto r = plain(1, 1, ARGBVal(8, 250, 10, 0));
    EXPECT_EQ(IMAGE_OK, r.incrementby(RGBPixel<float>(10.9f, -10.5f, -1.0f)));
    EXPECT_EQ((Bytes{8, 4, 0, 255}), bytesOf(r.pix(0, 0)));  // 260.9, -0.5, -1
    PixRectRW<RGBPixel<float>> field(1, 1);
    field.pixrefNB(0, 0).set(6.25f, 1.0f, -300.0f);
    EXPECT_EQ(IMAGE_OK, r.add(field));
    EXPECT_EQ((Bytes{8, 10, 1, 211}), bytesOf(r.pix(0, 0)));
    EXPECT_EQ(IMAGE_OK, r.subtract(field));
    EXPECT_EQ((Bytes{8, 3, 0, 255}), bytesOf(r.pix(0, 0)));  // 3.75 truncated, 511 wrapped
}

TEST_F(PixRectArithTest, ASourceLookingAtThisMemorySeesEveryEarlierWrite) {
    PixRectRW<ARGBVal> r(5, 2);
    for (int x = 0; x < 5; ++x) r.pixrefNB(x, 0).set(0, 1, 1, 1);
    PixRectRWRef<ARGBVal> left(r);
    left.shiftorigin(1, 0);  // shows at x what lies at x - 1
    r.add(left);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(x + 1, r.pix(x, 0)._red);
    r.add(r);
    EXPECT_EQ(10, r.pix(4, 0)._red);
    r.subtract(r);
    EXPECT_EQ((Bytes{0, 0, 0, 0}), bytesOf(r.pix(4, 0)));
    r.fillWith(ARGBVal(3, 3, 3, 3));
    r.pixrefNB(2, 1).set(9, 9, 9, 9);
    r.fillWith(r.pixrefNB(2, 1));
    EXPECT_EQ((Bytes{9, 9, 9, 9}), bytesOf(r.pix(4, 1)));
    r.incrementby(r.pixrefNB(0, 0));
    EXPECT_EQ((Bytes{18, 18, 18, 18}), bytesOf(r.pix(4, 1)));
}

TEST_F(PixRectArithTest, AForeignSourceIsReadOncePerPixelOfTheRegion) {
    auto behind = plain(10, 10, ARGBVal(1, 1, 1, 1));
    const reference::ForeignRect foreign(behind);
    auto r = plain(3, 4, ARGBVal(0, 0, 0, 0));
    r.add(foreign);
    EXPECT_EQ(12, foreign.reads);
    EXPECT_EQ((Bytes{1, 1, 1, 1}), bytesOf(r.pix(2, 3)));
}

TEST(Shape2DTest, TakesItsWeightsRowByRow) {
    const Shape2D shape(2, 2, std::vector<float>{1.0F, 2.0F, 3.0F});
    EXPECT_EQ(shape.weight(0, 1), 2.0F);
    EXPECT_EQ(shape.weight(1, 0), 3.0F);
    EXPECT_EQ(shape.weight(1, 1), 0.0F) << "what the list is short of";
    EXPECT_EQ(Shape2D(1, 1, std::vector<float>{1.0F, 9.0F}).weights.size(), 1U);
}

}  // namespace
