#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"
#include "pluginDistort/v1/Catalogue.h"
#include "tests/pluginDistort/FakeHost.h"
#include "tests/pluginDistort/TraceCapture.h"

namespace {

using namespace tumblewash;
using namespace tumblewash::plugin;
using test::FakeHost;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(EntryTest, NullBlockIsBadParams) {
    EXPECT_EQ(HYPluginEntry(3, nullptr), kPluginBadParams);
}

TEST(EntryTest, VersionIsTestedBeforeTheSelector) {
    FakeHost host(32, 32);
    for (const int version : {-1, 0, 3}) {
        host.params.interfaceVersion = static_cast<std::int16_t>(version);
        for (int selector = 0; selector < 12; ++selector)
            EXPECT_EQ(host.call(3, static_cast<HYPluginSelector>(selector)), kPluginAppIsTooOld);
    }
    EXPECT_THAT(host.events, IsEmpty());
    host.params.interfaceVersion = 5;
    EXPECT_EQ(host.call(3, kPlugDrawIcon), kPluginOK);
}

TEST(EntryTest, OtherSelectorsAreAcceptedAndIgnored) {
    FakeHost host(32, 32);
    const HYPluginParams before = host.params;
    for (const int selector : {0, 3, 4, 7, 9, 10, 200, 255}) {
        for (const int which : {-1, 0, 1, 3, 13, 14})
            EXPECT_EQ(host.call(which, static_cast<HYPluginSelector>(selector)), kPluginOK);
    }
    EXPECT_THAT(host.events, IsEmpty());
    host.params.selector = before.selector;
    EXPECT_EQ(std::memcmp(&before, &host.params, sizeof before), 0);
}

HYPluginGetInfo marked() {
    HYPluginGetInfo info;
    std::memset(&info, 0x55, sizeof info);
    return info;
}

TEST(GetInfoTest, EveryIndexReportsItsRow) {
    struct Row {
        int which, type, flags, frames, before, after, direction;
    };
    constexpr int U = 0x55555555, D = 0x55, R = kPluginDirectionRight;
    const Row rows[] = {{-5, 103, U, U, 33, 33, D},  {0, 103, U, U, 33, 33, D},  {14, 103, U, U, 33, 33, D},
                        {1, 103, U, 66, 33, 33, D},  {2, 104, 7, 66, 66, 0, R},  {6, 104, U, 66, 66, 0, R},
                        {10, 104, U, 66, 66, 0, R},  {3, 103, 7, 66, 66, 66, R}, {5, 103, 7, 66, 66, 66, R},
                        {7, 103, U, 66, 66, 66, R},  {9, 103, U, 66, 66, 66, R}, {11, 103, U, 66, 66, 66, R},
                        {13, 103, U, 66, 66, 66, R}, {4, 102, 7, 66, 0, 66, R},  {8, 102, U, 66, 0, 66, R},
                        {12, 102, U, 66, 0, 66, R}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.which);
        FakeHost host(32, 32);
        host.params.getInfo = marked();
        ASSERT_EQ(host.call(row.which, kPlugGetInfo), kPluginOK);
        const HYPluginGetInfo& info = host.params.getInfo;
        EXPECT_EQ(info.pluginType, row.type);
        EXPECT_EQ(static_cast<int>(info.pluginFlags), row.flags);
        EXPECT_EQ(info.framesToBeRendered, row.frames);
        EXPECT_EQ(info.takeFromClipBefore, row.before);
        EXPECT_EQ(info.takeFromClipAfter, row.after);
        EXPECT_EQ(info.defaultDirection, row.direction);
        EXPECT_EQ(info.minSpeedFrames, 10);
        EXPECT_EQ(info.maxSpeedFrames, 120);
        EXPECT_EQ(info.mustTakeFromSingleClips, 1);
        EXPECT_EQ(info.defaultFontSize, 0);
        const HYPluginGetInfo untouched = marked();
        EXPECT_EQ(info.titleType, untouched.titleType);
        EXPECT_EQ(info.bestThumbOffset, untouched.bestThumbOffset);
        EXPECT_EQ(info.defaultFontNum, untouched.defaultFontNum);
        EXPECT_EQ(std::memcmp(&info.defaultColor, &untouched.defaultColor, sizeof info.defaultColor), 0);
        EXPECT_TRUE(host.clean());
    }
}

TEST(GetInfoTest, HalfIsHalfOfTheEvenLength) {
    FakeHost host(32, 32);
    host.transition.speed = 0.0f;
    host.call(1, kPlugGetInfo);
    EXPECT_EQ(host.params.getInfo.takeFromClipBefore, 5);
    host.transition.speed = 1.0f;
    host.call(1, kPlugGetInfo);
    EXPECT_EQ(host.params.getInfo.framesToBeRendered, 120);
    EXPECT_EQ(host.params.getInfo.takeFromClipAfter, 60);
}

TEST(GetInfoTest, TextsAndCallsComeInOrder) {
    FakeHost host(32, 32);
    host.call(6, kPlugGetInfo);
    EXPECT_THAT(host.events, ElementsAre("log kPlugGetInfo", "log EffectGetInfo T\n\r", "GetTransitionInfo",
                                         "ReleaseTransitionInfo record", "log EffectGetInfo T Done\n\r"));
}

TEST(GetInfoTest, FailedLoanIsReturnedWithNothingWritten) {
    for (int code = 1; code <= 255; ++code) {
        FakeHost host(32, 32);
        host.params.getInfo = marked();
        host.fail("GetTransitionInfo", 1, static_cast<HYPluginResult>(code));
        EXPECT_EQ(host.call(3, kPlugGetInfo), code);
        const HYPluginGetInfo untouched = marked();
        EXPECT_EQ(std::memcmp(&host.params.getInfo, &untouched, sizeof untouched), 0);
        EXPECT_EQ(host.count("ReleaseTransitionInfo"), 0);
    }
}

TEST(GetInfoTest, NullRecordIsFineAndWritesNothing) {
    FakeHost host(32, 32);
    host.lendTransition = false;
    host.params.getInfo = marked();
    EXPECT_EQ(host.call(3, kPlugGetInfo), kPluginOK);
    const HYPluginGetInfo untouched = marked();
    EXPECT_EQ(std::memcmp(&host.params.getInfo, &untouched, sizeof untouched), 0);
    EXPECT_EQ(host.count("ReleaseTransitionInfo"), 0);
}

TEST(GetInfoTest, TheReleasesResultIsTheAnswer) {
    for (int code = 0; code <= 255; ++code) {
        FakeHost host(32, 32);
        host.fail("ReleaseTransitionInfo", 1, static_cast<HYPluginResult>(code));
        EXPECT_EQ(host.call(3, kPlugGetInfo), code);
        EXPECT_EQ(host.params.getInfo.pluginType, kPluginTransitionBetweenType);
    }
}

TEST(InitializeTest, BlockIsZeroExceptForTheField) {
    for (int which = -1; which <= 14; ++which) {
        SCOPED_TRACE(which);
        FakeHost host(32, 32);
        ASSERT_EQ(host.call(which, kPlugInitialize), kPluginOK);
        ASSERT_NE(host.state(), nullptr);
        const bool field = which >= 2 && which <= 9;
        EXPECT_EQ(host.state()->flowField1 != nullptr, field);
        if (field) {
            EXPECT_EQ(host.state()->flowField1->width(), which <= 5 ? 64 : 32);
        }
        _EffectData rest = *host.state();
        rest.flowField1 = nullptr;
        const _EffectData zero{};
        EXPECT_EQ(std::memcmp(&rest, &zero, sizeof zero), 0);
        EXPECT_TRUE(host.clean());
        EXPECT_EQ(host.callbacks().front(), "NewPtrClear " + std::to_string(sizeof(_EffectData)));
        host.call(which, kPlugTerminate);
        EXPECT_EQ(host.blocksAllocated(), 0);
        EXPECT_EQ(host.params.clientData, nullptr);
    }
}

TEST(InitializeTest, TextsAndCallsComeInOrder) {
    FakeHost host(32, 32);
    host.call(0, kPlugInitialize);
    EXPECT_THAT(host.events,
                ElementsAre("log kPlugInitialize", "log EffectBegin\n\r",
                            "NewPtrClear " + std::to_string(sizeof(_EffectData)), "GetTransitionInfo",
                            "ReleaseTransitionInfo record", "log EffectBegin Done\n\r"));
}

TEST(InitializeTest, NoBlockIsOutOfMemory) {
    FakeHost host(32, 32);
    host.fail("NewPtrClear", 1, kPluginFailed);
    EXPECT_EQ(host.call(3, kPlugInitialize), kPluginOutOfMemory);
    EXPECT_EQ(host.params.clientData, nullptr);
    EXPECT_EQ(host.count("GetTransitionInfo"), 0);
    EXPECT_EQ(host.call(3, kPlugInitialize), kPluginOK);  // a retry works
    host.call(3, kPlugTerminate);
}

TEST(InitializeTest, DirectionIsTheHosts) {
    const auto green = [](FakeHost& host) { return host.state()->flowField1->pix(0, 0)._green; };
    FakeHost up(32, 32);
    up.transition.ver2.direction = kPluginDirectionUp;
    up.call(3, kPlugInitialize);
    EXPECT_GT(green(up), 0.0f);
    up.call(3, kPlugTerminate);
    FakeHost down(32, 32);
    down.transition.ver2.direction = kPluginDirectionDown;
    down.call(3, kPlugInitialize);
    EXPECT_LT(green(down), 0.0f);
    down.call(3, kPlugTerminate);
}

TEST(InitializeTest, NullRecordCountsAsNoDirectionAndIsStillReleased) {
    FakeHost host(32, 32);
    host.lendTransition = false;
    EXPECT_EQ(host.call(3, kPlugInitialize), kPluginOK);
    EXPECT_LT(host.state()->flowField1->pix(5, 5)._red, 0.0f);
    EXPECT_EQ(host.state()->flowField1->pix(5, 5)._green, 0.0f);
    EXPECT_THAT(host.callbacks().back(), "ReleaseTransitionInfo null");
    host.call(3, kPlugTerminate);
}

TEST(InitializeTest, TheLoansResultIsNotLookedAtAndTheReleasesIsTheAnswer) {
    FakeHost host(32, 32);
    host.fail("GetTransitionInfo", 1, kPluginFailed);
    host.fail("ReleaseTransitionInfo", 1, kPluginTryAgainLater);
    EXPECT_EQ(host.call(7, kPlugInitialize), kPluginTryAgainLater);
    EXPECT_NE(host.state()->flowField1, nullptr);
    EXPECT_EQ(host.logs().back(), "EffectBegin Done\n\r");
    host.call(7, kPlugTerminate);
}

TEST(InitializeTest, SecondOneForgetsOwnersWithoutFreeingAndKeepsTheRest) {
    FakeHost host(32, 32);
    host.call(3, kPlugInitialize);
    _EffectData* block = host.state();
    PixRectRW<RGBPixel<float>>* old = block->flowField1;
    const RGBPixel<float> value = old->pix(3, 4);
    block->gran = 77;
    block->frameCount = 9;
    EXPECT_EQ(host.call(0, kPlugInitialize), kPluginOK);
    EXPECT_EQ(host.state(), block);
    EXPECT_EQ(host.count("NewPtrClear"), 1);
    EXPECT_EQ(block->flowField1, nullptr);
    EXPECT_EQ(block->gran, 77);
    EXPECT_EQ(block->frameCount, 0);
    EXPECT_EQ(old->pix(3, 4)._red, value._red);  // still alive: nobody freed it
    delete old;
    host.call(0, kPlugTerminate);
}

TEST(TerminateTest, FadesFollowTheCatalogueAndTheRestTravelsBack) {
    for (int which = -1; which <= 14; ++which) {
        SCOPED_TRACE(which);
        FakeHost host(32, 32, 46);
        std::memset(&host.clip, 0x5A, sizeof host.clip);
        host.clip.fadeIn = host.clip.fadeOut = 0;
        HYPluginClipInfo expected = host.clip;
        if (which == 2 || which == 6 || which == 10) {
            expected.fadeOut = 1;
            expected.ver2.fadeOutFrames = 46;
        } else if (which == 4 || which == 8) {
            expected.fadeIn = 1;
            expected.ver2.fadeInFrames = 46;
        }
        host.call(which, kPlugInitialize);
        host.forget();
        EXPECT_EQ(host.call(which, kPlugTerminate), kPluginOK);
        EXPECT_EQ(std::memcmp(&host.clip, &expected, sizeof expected), 0);
        EXPECT_THAT(host.events,
                    ElementsAre("log kPlugTerminate", "GetClipInfo 1", "SetClipInfo", "DisposePtr block"));
        EXPECT_EQ(host.params.clientData, nullptr);
    }
}

TEST(TerminateTest, WithoutStateTheClipIsStillServed) {
    FakeHost host(32, 32, 20);
    EXPECT_EQ(host.call(2, kPlugTerminate), kPluginOK);
    EXPECT_THAT(host.callbacks(), ElementsAre("GetClipInfo 1", "SetClipInfo"));
    EXPECT_EQ(host.clip.ver2.fadeOutFrames, 20);
}

TEST(TerminateTest, AClipThatCouldNotBeReadIsWrittenAsZeros) {
    FakeHost host(32, 32, 20);
    std::memset(&host.clip, 0x5A, sizeof host.clip);
    host.fail("GetClipInfo", 1, kPluginFailed);
    host.fail("SetClipInfo", 1, kPluginFailed);
    EXPECT_EQ(host.call(6, kPlugTerminate), kPluginOK);
    HYPluginClipInfo expected;
    std::memset(&expected, 0, sizeof expected);
    expected.fadeOut = 1;
    expected.ver2.fadeOutFrames = 20;
    EXPECT_EQ(host.setClipCalls, 1);
    EXPECT_EQ(std::memcmp(&host.clip, &expected, sizeof expected), 0);
}

TEST(DoFrameTest, NonPositiveLengthIsFineEvenWithoutState) {
    FakeHost host(32, 32);
    for (const int count : {0, -1, -2147483647}) {
        host.params.frameCount = count;
        for (int which = 0; which < 14; ++which) EXPECT_EQ(host.render(which, 3), kPluginOK);
    }
    EXPECT_THAT(host.callbacks(), IsEmpty());
    EXPECT_THAT(host.logs(), testing::Each("kPlugDoFrame"));
}

TEST(DoFrameTest, WithoutStateEveryIndexIsBadParams) {
    FakeHost host(32, 32);
    for (int which = -1; which <= 14; ++which) EXPECT_EQ(host.render(which, 0), kPluginBadParams);
    EXPECT_THAT(host.callbacks(), IsEmpty());
}

TEST(DoFrameTest, UnknownIndicesLeaveTheFrameAlone) {
    FakeHost host(32, 32);
    host.call(0, kPlugInitialize);
    host.forget();
    for (const int which : {-1, 0, 14, 300}) EXPECT_EQ(host.render(which, 4), kPluginOK);
    EXPECT_THAT(host.callbacks(), IsEmpty());
    EXPECT_EQ(host.destination().bytes(), std::vector<std::uint8_t>(32 * 32 * 4, 0));
    host.call(0, kPlugTerminate);
}

TEST(DoFrameTest, TracesSayWhatIsAsked) {
    FakeHost host(32, 32, 10);
    host.call(0, kPlugInitialize);
    test::TraceCapture trace;
    host.render(0, 4);
    EXPECT_EQ(trace.text(), "EffectDrive: fc:10 frame:4\n\rEffectDrive: GetGWorld params->frame=\n\r");
    host.call(0, kPlugTerminate);
}

TEST(DoFrameTest, CurrentWorldIsPutBackHoweverTheDriverEnds) {
    test::TestWorld mine(8, 8, 8);
    for (int which = 0; which < 14; ++which) {
        FakeHost host(32, 32);
        host.call(which, kPlugInitialize);
        for (const char* callback : {"", "GetFrame", "MixAudio", "ReleaseFrame"}) {
            SCOPED_TRACE(std::to_string(which) + callback);
            SetGWorld(mine.world(), nullptr);
            host.failNothing();
            host.fail(callback, 0, kPluginFailed);
            host.render(which, 2);
            CGrafPtr now = nullptr;
            GetGWorld(&now, nullptr);
            EXPECT_EQ(now, mine.world());
            host.takeEverythingBack();
        }
        host.failNothing();
        host.call(which, kPlugTerminate);
    }
    SetGWorld(nullptr, nullptr);
}

TEST(DoFrameTest, DestinationIsCurrentWhileTheDriverAsks) {
    FakeHost host(32, 32);
    host.call(11, kPlugInitialize);
    host.onCallback = [&host](const std::string& callback) {
        CGrafPtr now = nullptr;
        GetGWorld(&now, nullptr);
        EXPECT_EQ(now, host.params.frame) << callback;
    };
    EXPECT_EQ(host.render(11, 2), kPluginOK);
    host.onCallback = nullptr;
    host.call(11, kPlugTerminate);
}

TEST(DoFrameTest, AnAllocationExceptionBecomesOutOfMemoryAndTheWorldIsPutBack) {
    test::TestWorld mine(8, 8, 8);
    for (int which = 1; which < 14; ++which) {
        SCOPED_TRACE(which);
        FakeHost host(32, 32);
        host.call(which, kPlugInitialize);
        host.onCallback = [](const std::string& callback) {
            if (callback == "MixAudio") throw std::bad_alloc();
        };
        SetGWorld(mine.world(), nullptr);
        EXPECT_EQ(host.render(which, 1), kPluginOutOfMemory);
        CGrafPtr now = nullptr;
        GetGWorld(&now, nullptr);
        EXPECT_EQ(now, mine.world());
        EXPECT_FALSE(host.effectWorldKept());
        host.takeEverythingBack();
        host.onCallback = nullptr;
        EXPECT_EQ(host.render(which, 1), kPluginOK);
        host.call(which, kPlugTerminate);
    }
    SetGWorld(nullptr, nullptr);
}

TEST(EntryTest, NoExceptionLeavesAnySelector) {
    struct Case {
        HYPluginSelector selector;
        const char* callback;
    };
    for (const Case c :
         {Case{kPlugGetInfo, "GetTransitionInfo"}, Case{kPlugInitialize, "NewPtrClear"},
          Case{kPlugInitialize, "GetTransitionInfo"}, Case{kPlugFilePlaceHolder, "GetLocalizedString"},
          Case{kPlugTerminate, "GetClipInfo"}}) {
        SCOPED_TRACE(c.callback);
        FakeHost host(32, 32);
        host.onCallback = [&c](const std::string& callback) {
            if (callback == c.callback) throw std::bad_alloc();
        };
        EXPECT_EQ(host.call(3, c.selector), kPluginOutOfMemory);
        host.onCallback = [&c](const std::string& callback) {
            if (callback == c.callback) throw 7;
        };
        EXPECT_EQ(host.call(3, c.selector), kPluginFailed);
        host.onCallback = nullptr;
        host.call(3, kPlugTerminate);
    }
    SetGWorld(nullptr, nullptr);
}

TEST(DoFrameTest, FractionsReachTheirDrivers) {
    struct Case {
        int which;
        int mixAtZero;  // level of the first clip at frame 0: (1 - fraction) x 256
    };
    for (const Case c : {Case{2, 256},
                         {3, 256},
                         {4, 0},
                         {5, 0},
                         {6, 256},
                         {7, 256},
                         {8, 0},
                         {9, 0},
                         {10, 256},
                         {11, 256},
                         {12, 0},
                         {13, 0}}) {
        SCOPED_TRACE(c.which);
        FakeHost host(32, 32, 10);
        host.call(c.which, kPlugInitialize);
        ASSERT_EQ(host.render(c.which, 0), kPluginOK);
        EXPECT_EQ(host.mixes.front().second, c.mixAtZero);
        host.forget();
        ASSERT_EQ(host.render(c.which, 3), kPluginOK);
        const double fraction = effectFraction(effectRecord(static_cast<short>(c.which)).fraction, 3, 10);
        EXPECT_EQ(host.mixes.front().second, static_cast<int>((1 - fraction) * 256));
        host.call(c.which, kPlugTerminate);
    }
}

}  // namespace
