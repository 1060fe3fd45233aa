#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "ImageLib/source/SICommon.h"
#include "tests/ImageLib/Capture.h"
#include "tests/ImageLib/Slots.h"

using tumblewash::imagelib::printed;
using tumblewash::imagelib::slotOf;

TEST(SICommonTest, EnumsHaveTheirValues) {
    EXPECT_EQ((std::vector<int>{DBGNone, DBGMem, DBGMatch, DBGPixel, DBGRect, DBGBitmap, DBGUI, DBGIter,
                                DBGProblem, DBGCache, DBGAll}),
              (std::vector<int>{0, 1, 2, 4, 8, 16, 32, 64, 128, 256, 512}));
    EXPECT_EQ((std::vector<int>{IMAGE_OK, INVALID_IMAGE_SIZE, IMAGE_OOB_COORD, IMAGEFILE_NOT_FOUND,
                                IMAGE_UNIMP, IMAGE_NODATA, IMAGE_CACHE_LOCKED}),
              (std::vector<int>{0, 0, 1, 2, 3, 4, 5}));
    EXPECT_EQ((std::vector<int>{SIOddLines, SIEvenLines, SIAllLines}), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ((std::vector<int>{SIInterpBilinear, SIInterpSmooth, SIInterpPyramid, SIInterpBicubic}),
              (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ((std::vector<int>{SIQuickSample, SIBestSample, SISingleSample, SISmoothSample}),
              (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ((std::vector<int>{ComparePixDiff, CompareTotalVal, CompareHue, CompareFFT, CompareEdgeCount,
                                ComparePixDiffX, ComparePixDiffN}),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
}

TEST(SICommonTest, LabelsKeepTheirTexts) {
    const char* const expected[] = {"DBGNone#",   "DBGMem#",    "DBGMatch#", "DBGPixel#",
                                    "DBGRect#",   "DBGBitmap#", "DBGUI#",    "DBGIter",
                                    "DBGProblem", "DBGCache",   "DBGAll#"};
    ASSERT_EQ(std::size(SICommon::DBGclasslabel), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_STREQ(SICommon::DBGclasslabel[i], expected[i]);
}

TEST(SICommonTest, PrintInfoIsTheOnlySlotAndComesFirst) {
    EXPECT_EQ(slotOf(&SICommon::printInfo), 0);
    EXPECT_EQ(slotOf(&SICommon::booltostring), -1);
    EXPECT_EQ(slotOf(&SICommon::runtimenow), -1);
    // Of everything one could declare virtual only the destructor has no address to read.
    EXPECT_FALSE(std::has_virtual_destructor_v<SICommon>);
}

TEST(SICommonTest, DebugStateIsASetOfBits) {
    DBGState s;
    EXPECT_EQ(s.value(), 0);
    s.set(DBGRect);
    s.set(DBGCache);
    EXPECT_EQ(s.value(), 264);
    EXPECT_TRUE(s.chk(DBGRect) && s.chk(DBGCache));
    EXPECT_FALSE(s.chk(DBGMem) || s.chk(DBGNone) || s.chk(DBGAll));
    s.unset(DBGRect);
    EXPECT_EQ(s.value(), 256);
    const DBGState copy(s);
    EXPECT_EQ(copy.value(), 256);
    EXPECT_EQ(DBGState(DBGAll).value(), 512);
}

TEST(SICommonTest, ObjectsCarryAndCopyTheirDebugState) {
    SICommon a;
    EXPECT_EQ(a.dbgstate().value(), 0);
    a.debugon(DBGMatch);
    a.debugon(DBGState(DBGIter));
    EXPECT_EQ(a.dbgstate().value(), 66);
    EXPECT_TRUE(a.debugchk(DBGMatch));
    EXPECT_FALSE(a.debugchk(DBGProblem));
    const SICommon b(a);
    EXPECT_EQ(b.dbg.value(), 66);
    SICommon c(DBGState{DBGUI});
    EXPECT_EQ(c.dbg.value(), 32);
    c = a;
    c.debugoff(DBGIter);
    EXPECT_EQ(c.dbg.value(), 2);
    EXPECT_EQ(a.dbg.value(), 66);
    EXPECT_EQ(a.classtoint(DBGProblem), 128);
}

TEST(SICommonTest, TwoWayComparisonsPreferTheFirstOnATie) {
    const int a = 5, b = 5, c = 6;
    EXPECT_EQ(&SICommon_H::max(a, b), &a);
    EXPECT_EQ(&SICommon_H::min(a, b), &a);
    EXPECT_EQ(&SICommon_H::max(a, c), &c);
    EXPECT_EQ(&SICommon_H::max(c, a), &c);
    EXPECT_EQ(&SICommon_H::min(a, c), &a);
    EXPECT_EQ(&SICommon_H::min(c, a), &a);
}

template <class T>
void threeWay() {
    for (int i = 0; i < 27; ++i) {
        const T a = static_cast<T>(i % 3), b = static_cast<T>(i / 3 % 3), c = static_cast<T>(i / 9);
        const T* largest = &a;
        if (*largest < b) largest = &b;
        if (*largest < c) largest = &c;
        EXPECT_EQ(&SICommon_H::max(a, b, c), largest) << i;
        const T* smallest = &a;
        if (*smallest > b) smallest = &b;
        if (*smallest > c) smallest = &c;
        EXPECT_EQ(&SICommon_H::min(a, b, c), smallest) << i;
    }
}

TEST(SICommonTest, ThreeWayComparisonsFavourTheEarlierArgument) {
    threeWay<int>();
    threeWay<float>();
    const int one = 1, three = 3, three2 = 3, five = 5, five2 = 5, five3 = 5;
    EXPECT_EQ(&SICommon_H::max(five, five2, five3), &five);
    EXPECT_EQ(&SICommon_H::max(one, three, three2), &three);
}

TEST(SICommonTest, DecreaseMovesHalfWayAndWrapsToAByte) {
    EXPECT_EQ(decrease(10, 13, 5), 1);
    EXPECT_EQ(decrease(13, 10, 5), 255);
    EXPECT_EQ(decrease(0, 5, 5), 0);
    EXPECT_EQ(decrease(0, 4, 5), 2);
    EXPECT_EQ(decrease(4, 0, 5), 254);
    EXPECT_EQ(decrease(7, 7, 0), 0);
    EXPECT_EQ(decrease(255, 0, 256), 129);  // -127 in eight bits
    EXPECT_EQ(SICommon_H::decrease(8, 9, 2), 0);
}

TEST(SICommonTest, SiprintfAlwaysReturnsZero) {
    SICommon_H::traceto(nullptr);
    EXPECT_EQ(siprintf("x %d\n", 7), 0);
    const tumblewash::imagelib::Capture capture;
    EXPECT_EQ(siprintf("x %d %s %.1lf\n", 7, "seven", 7.5), 0);
    EXPECT_EQ(siprintf("surplus\n", 1), 0);
    EXPECT_EQ(capture.text(), "x 7 seven 7.5\nsurplus\n");
}

TEST(SICommonTest, DebugTextIsGatedByItsCategory) {
    SICommon a;
    a.debugon(DBGMatch);
    EXPECT_EQ(printed([&] {
                  a._debug(DBGMatch, "best %d\n", 3);
                  a._debug(DBGRect, "rect\n");
                  a._debug(DBGNone, "none\n");
              }),
              "best 3\n");
    EXPECT_EQ(printed([&] { a._debugi(DBGRect, &a); }), "");
    EXPECT_EQ(printed([&] { a._debugi(DBGMatch, nullptr); }), "");
    EXPECT_EQ(printed([&] { a._debugi(DBGMatch, &a); }), printed([&] { a.printInfo(); }));
    EXPECT_NE(printed([&] { a.printInfo(); }), "");
}

TEST(SICommonTest, FlagTextsDifferAndTheClockDoesNotRunBackwards) {
    const SICommon a;
    EXPECT_STRNE(a.booltostring(true), a.booltostring(false));
    const double t = a.runtimenow();
    EXPECT_GE(t, 0.0);
    EXPECT_GE(a.runtimenow(), t);
}

// Each runs in a process of its own, since the configuration is looked at once.
void traceWithEnvironment(const char* value) {
    if (value != nullptr) {
        setenv("SI_DEBUG", value, 1);
    } else {
        unsetenv("SI_DEBUG");
    }
    SICommon_H::tracestate.store(-1);
    siprintf("trace is on\n");
    setenv("SI_DEBUG", value != nullptr ? "0" : "1", 1);
    siprintf("second text\n");
    std::exit(0);
}

TEST(SiprintfDeathTest, EnvironmentSwitchesItOnOnce) {
    EXPECT_EXIT(traceWithEnvironment("1"), ::testing::ExitedWithCode(0), "trace is on\nsecond text");
}

TEST(SiprintfDeathTest, DiscardsByDefault) {
#if defined(SI_DEBUG) && SI_DEBUG
    const char* const expected = "trace is on\nsecond text";
#else
    const char* const expected = "^$";
#endif
    EXPECT_EXIT(traceWithEnvironment(nullptr), ::testing::ExitedWithCode(0), expected);
    EXPECT_EXIT(traceWithEnvironment("0"), ::testing::ExitedWithCode(0), expected);
}
