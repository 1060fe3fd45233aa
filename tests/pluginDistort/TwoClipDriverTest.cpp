// The distortion and tumble drivers: what they ask of the host, in which order, and what failures leave
// behind.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ImageLib/source/FlowWarp.h"
#include "pluginDistort/v1/Catalogue.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/Transitions.h"
#include "tests/pluginDistort/FakeHost.h"
#include "tests/pluginDistort/TraceCapture.h"

namespace {

using namespace tumblewash;
using namespace tumblewash::plugin;
using test::FakeHost;
using test::TestWorld;
using testing::ElementsAre;
using testing::IsEmpty;

class TwoClipDriverTest : public testing::TestWithParam<int> {
  protected:
    static int which() { return GetParam(); }
    static const EffectRecord& effect() { return effectRecord(static_cast<short>(GetParam())); }
    static bool overnext() { return effect().overnext; }
    static bool tumble() { return effect().driver == EffectDriver::tumble; }

    /// A host with the effect initialised and nothing recorded.
    static std::unique_ptr<FakeHost> started(int width = 48, int height = 32, int frames = 10) {
        auto host = std::make_unique<FakeHost>(width, height, frames);
        EXPECT_EQ(host->call(which(), kPlugInitialize), kPluginOK);
        host->forget();
        return host;
    }
    static void end(FakeHost& host) {
        host.failNothing();
        EXPECT_EQ(host.call(which(), kPlugTerminate), kPluginOK);
        EXPECT_EQ(host.blocksAllocated(), 0);
        EXPECT_TRUE(host.clean());
    }
};

INSTANTIATE_TEST_SUITE_P(All, TwoClipDriverTest, testing::Range(2, 14),
                         [](const auto& info) { return "Effect" + std::to_string(info.param); });

TEST_P(TwoClipDriverTest, AsksForTheOutgoingFrameAndTheOneALengthLater) {
    auto host = started(48, 32, 10);
    EXPECT_EQ(host->render(which(), 4), kPluginOK);
    std::vector<std::string> expected{"GetFrame 104 48x32 high"};
    if (overnext()) expected.push_back("GetFrame 114 48x32 high");
    const double f = effectFraction(effect().fraction, 4, 10);
    expected.push_back("MixAudio 104 " + std::to_string(static_cast<int>((1 - f) * 256)));
    if (overnext()) expected.push_back("MixAudio 114 " + std::to_string(static_cast<int>(f * 255)));
    expected.push_back("ReleaseFrame 104");
    if (overnext()) expected.push_back("ReleaseFrame 114");
    EXPECT_EQ(host->callbacks(), expected);
    EXPECT_TRUE(host->clean());
    end(*host);
}

TEST_P(TwoClipDriverTest, PreviewsMixNothingAndAskForLowQualityUpTo259Rows) {
    for (const int height : {240, 259, 260}) {
        auto host = started(64, height);
        host->params.proxyOnly = 7;
        EXPECT_EQ(host->render(which(), 2), kPluginOK);
        const std::string first =
            "GetFrame 102 64x" + std::to_string(height) + (height <= 259 ? " low" : " high");
        EXPECT_EQ(host->callbacks().front(), first);
        EXPECT_EQ(host->count("MixAudio"), 0);
        host->forget();
        host->params.proxyOnly = 0;
        EXPECT_EQ(host->render(which(), 2), kPluginOK);
        EXPECT_EQ(host->callbacks().front(), "GetFrame 102 64x" + std::to_string(height) + " high");
        end(*host);
    }
}

TEST_P(TwoClipDriverTest, NegativeFramesFailBeforeAnyCallAlsoUnfetchedOnes) {
    auto host = started();
    host->params.startFrame = -5;
    EXPECT_EQ(host->render(which(), 4), kPluginFailed);  // frame1 = -1
    EXPECT_THAT(host->callbacks(), IsEmpty());
    host->params.startFrame = 2147483640;
    host->params.frameCount = 10;
    EXPECT_EQ(host->render(which(), 0), kPluginFailed);  // frame2 wraps below 0
    EXPECT_THAT(host->callbacks(), IsEmpty());
    host->params.startFrame = 100;
    EXPECT_EQ(host->render(which(), 0), kPluginOK);
    end(*host);
}

TEST_P(TwoClipDriverTest, OnlyTheDistortionNeedsAField) {
    auto host = started();
    PixRectRW<RGBPixel<float>>* field = host->state()->flowField1;
    host->state()->flowField1 = nullptr;
    EXPECT_EQ(host->render(which(), 1), tumble() ? kPluginOK : kPluginBadParams);
    if (!tumble()) {
        EXPECT_THAT(host->callbacks(), IsEmpty());
        host->params.startFrame = -50;  // the frame number is looked at first
        EXPECT_EQ(host->render(which(), 1), kPluginFailed);
        host->params.startFrame = 100;
    }
    host->state()->flowField1 = field;
    EXPECT_EQ(host->render(which(), 1), kPluginOK);
    end(*host);
}

TEST_P(TwoClipDriverTest, VolumeOf255CountsAs256ForTheFirstClipOnly) {
    auto host = started(32, 32, 4);
    for (const int volume : {255, 200, 0, -1, 254}) {
        host->forget();
        host->volumes[101] = host->volumes[105] = static_cast<std::int16_t>(volume);
        EXPECT_EQ(host->render(which(), 1), kPluginOK);
        const double f = effectFraction(effect().fraction, 1, 4);
        EXPECT_EQ(host->mixes[0],
                  std::make_pair(101, static_cast<int>((1 - f) * (volume == 255 ? 256 : volume))));
        if (overnext()) {
            EXPECT_EQ(host->mixes[1], std::make_pair(105, static_cast<int>(f * volume)));
        }
    }
    end(*host);
}

TEST_P(TwoClipDriverTest, FirstFrameRefusedLeavesNothing) {
    for (int code = 1; code <= 255; ++code) {
        auto host = started();
        host->fail("GetFrame", 1, static_cast<HYPluginResult>(code));
        EXPECT_EQ(host->render(which(), 3), code);
        EXPECT_EQ(host->callbacks().size(), 1u);
        EXPECT_TRUE(host->clean());
        host->failNothing();
        EXPECT_EQ(host->render(which(), 3), kPluginOK);
        end(*host);
    }
}

TEST_P(TwoClipDriverTest, SecondFrameRefusedLeavesTheFirstLent) {
    auto host = started();
    host->fail("GetFrame", 2, kPluginTryAgainLater);
    EXPECT_EQ(host->render(which(), 3), overnext() ? kPluginTryAgainLater : kPluginOK);
    EXPECT_EQ(host->framesLent(), overnext() ? 1 : 0);
    EXPECT_EQ(host->lockedFrames(), 0);
    EXPECT_FALSE(host->destinationLocked());
    host->takeEverythingBack();
    end(*host);
}

TEST_P(TwoClipDriverTest, AFrameLentWithoutAWorldCannotBeHad) {
    auto host = started();
    host->nullWorlds = {103};
    EXPECT_EQ(host->render(which(), 3), kPluginCantGetNeededFrame);
    EXPECT_EQ(host->callbacks().size(), 1u);
    EXPECT_TRUE(host->clean());
    host->nullWorlds = {113};
    EXPECT_EQ(host->render(which(), 3), overnext() ? kPluginCantGetNeededFrame : kPluginOK);
    EXPECT_EQ(host->framesLent(), overnext() ? 1 : 0);
    EXPECT_FALSE(host->destinationLocked());
    host->takeEverythingBack();
    end(*host);
}

void expectRowOfAWorldThatCouldNotBeMade(FakeHost& host, bool overnext) {
    EXPECT_EQ(host.framesLent(), overnext ? 2 : 1);
    EXPECT_EQ(host.lockedFrames(), overnext ? 2 : 1);
    EXPECT_TRUE(host.destinationLocked());
    EXPECT_FALSE(host.effectWorldKept());
    EXPECT_EQ(host.count("MixAudio"), 0);
    EXPECT_EQ(host.count("ReleaseFrame"), 0);
    host.takeEverythingBack();
}

TEST_P(TwoClipDriverTest, AnEffectWorldThatCannotBeMadeLeavesFramesLentAndMapsLocked) {
    for (const Rect& bounds :
         {Rect{0, 0, 0, 0}, Rect{0, 0, 32, 5000}}) {  // empty, and wider than a stride can say
        auto host = started();
        host->paint = [&bounds](int frame, TestWorld& world) {
            if (frame == 103) (**GetGWorldPixMap(world.world())).bounds = bounds;
        };
        EXPECT_EQ(host->render(which(), 3), kPluginFailed);
        expectRowOfAWorldThatCouldNotBeMade(*host, overnext());
        if (tumble()) {
            EXPECT_EQ(host->logs().back(), "Creating Effect GWorld\n\r");
        }
        host->paint = test::paintTestPicture;
        host->forget();
        EXPECT_EQ(host->render(which(), 3), kPluginOK);  // a retry works
        end(*host);
    }
}

TEST_P(TwoClipDriverTest, MapsOfAnotherShapeAreRefusedBeforeTheGeometryRuns) {
    const FakeHost::FrameShape good{48, 32, 48};
    struct Case {
        FakeHost::FrameShape first, second;
    };
    const Case cases[] = {{{48, 32, 50}, good},          // padded rows: the effect world's are not
                          {{48, 32, 50}, {48, 32, 50}},  // also when both frames agree
                          {good, {48, 32, 52}},         {good, {48, 31, 48}},
                          {good, {47, 32, 47}},         {good, {48, 33, 48}}};
    for (const Case& c : cases) {
        auto host = started();
        host->shapes[103] = c.first;
        host->shapes[113] = c.second;
        // Only the frame that moves is walked together with the effect world; the other one is merely copied.
        const bool movesSecond = overnext() && effect().reveal;
        const bool fits = c.first.stride == c.first.width &&
                          (!movesSecond || (c.second.stride == 48 && c.second.height == 32));
        EXPECT_EQ(host->render(which(), 3), fits ? kPluginOK : kPluginFailed);
        if (fits)
            EXPECT_TRUE(host->clean());
        else
            expectRowOfAWorldThatCouldNotBeMade(*host, overnext());
        host->shapes.clear();
        host->forget();
        EXPECT_EQ(host->render(which(), 3), kPluginOK);  // a retry works
        end(*host);
    }
}

TEST_P(TwoClipDriverTest, AFailedMixLeavesFramesLentAndTheEffectWorldKept) {
    for (const int nth : {1, 2}) {
        for (const int code : {1, 6, 11, 255}) {
            auto host = started();
            host->fail("MixAudio", nth, static_cast<HYPluginResult>(code));
            const bool reached = nth == 1 || overnext();
            EXPECT_EQ(host->render(which(), 3), reached ? code : kPluginOK);
            EXPECT_EQ(host->framesLent(), !reached ? 0 : overnext() ? 2 : 1);
            EXPECT_EQ(host->effectWorldKept(), reached);
            EXPECT_EQ(host->lockedFrames(), 0);
            EXPECT_FALSE(host->destinationLocked());
            if (reached) {
                EXPECT_EQ(host->count("ReleaseFrame"), 0);
                EXPECT_EQ(host->count("MixAudio"), nth);
            }
            host->takeEverythingBack();
            host->failNothing();
            EXPECT_EQ(host->render(which(), 3), kPluginOK);
            end(*host);
        }
    }
}

TEST_P(TwoClipDriverTest, TheLastReleasesResultIsTheAnswer) {
    for (const int nth : {1, 2}) {
        auto host = started();
        host->fail("ReleaseFrame", nth, kPluginOutOfDiskSpace);
        const bool last = nth == (overnext() ? 2 : 1);
        EXPECT_EQ(host->render(which(), 3), last ? kPluginOutOfDiskSpace : kPluginOK);
        EXPECT_EQ(host->count("ReleaseFrame"), overnext() ? 2 : 1);
        EXPECT_TRUE(host->clean());
        end(*host);
    }
}

TEST_P(TwoClipDriverTest, LocksAreGoneBeforeTheSoundAndTheWorldAfterTheFrames) {
    auto host = started();
    int seen = 0;
    host->onCallback = [&](const std::string& callback) {
        if (callback == "GetFrame") return;
        EXPECT_FALSE(host->destinationLocked()) << callback;
        EXPECT_EQ(host->lockedFrames(), 0) << callback;
        EXPECT_TRUE(host->effectWorldKept()) << callback;
        ++seen;
    };
    EXPECT_EQ(host->render(which(), 3), kPluginOK);
    EXPECT_EQ(seen, overnext() ? 4 : 2);
    host->onCallback = nullptr;
    end(*host);
}

TEST_P(TwoClipDriverTest, LockedStatesArePutBackAsTheyWere) {
    auto host = started();
    host->paint = [](int frame, TestWorld& world) {
        test::paintTestPicture(frame, world);
        const PixMapHandle map = GetGWorldPixMap(world.world());
        HSetState(reinterpret_cast<Handle>(map), kHandlePurgeable);
        SetPixelsState(map, pixelsPurgeable);
    };
    const PixMapHandle destination = GetGWorldPixMap(host->params.frame);
    HSetState(reinterpret_cast<Handle>(destination), kHandlePurgeable);
    SetPixelsState(destination, pixelsPurgeable);
    host->fail("MixAudio", 1, kPluginFailed);  // stops while the frames are still there to look at
    EXPECT_EQ(host->render(which(), 3), kPluginFailed);
    EXPECT_EQ(HGetState(reinterpret_cast<Handle>(destination)), kHandlePurgeable);
    EXPECT_EQ(GetPixelsState(destination), pixelsPurgeable);
    EXPECT_EQ(host->lockedFrames(), 0);
    host->takeEverythingBack();
    end(*host);
}

TEST_P(TwoClipDriverTest, TextsComeInTheDriversOrder) {
    auto host = started();
    host->render(which(), 3);
    std::vector<std::string> expected{"kPlugDoFrame", "Getting a frame\n\r"};
    if (tumble()) {
        expected.push_back("Pinning SRC1\n\r");
        if (overnext()) expected.push_back("Pinning SRC2\n\r");
        for (const char* text :
             {"Pinning DST\n\r", "Creating Effect GWorld\n\r", "Pinning EFF\n\r",
              "Getting base addresses\n\r", "Distorting\n\r", "UnPinning SRC\n\r", "UnPinning Eff\n\r",
              "UnPinning DST\n\r", "Releasing Frame\n\r", "Releasing Effect GWOrld\n\r"})
            expected.push_back(text);
    }
    std::vector<std::string> own;
    for (const std::string& text : host->logs())
        if (text.rfind("Distort ", 0) != 0 && text.rfind("DistortUsing", 0) != 0) own.push_back(text);
    EXPECT_EQ(own, expected);
    end(*host);
}

TEST_P(TwoClipDriverTest, TracesSayFractionAndLevels) {
    auto host = started();
    test::TraceCapture trace;
    host->render(which(), 5);
    const double f = effectFraction(effect().fraction, 5, 10);
    char text[128];
    std::snprintf(text, sizeof text, "Audio mix f1 %d f2 %d\n\r", static_cast<int>((1 - f) * 256),
                  overnext() ? static_cast<int>(f * 255) : 0);
    EXPECT_TRUE(trace.says(text)) << trace.text();
    std::snprintf(text, sizeof text, "Distorting percent=%lf\n\r", f);
    EXPECT_EQ(trace.says(text), !tumble());
    EXPECT_EQ(trace.says("DistortUsingProj 48 32 fac="), tumble());
    end(*host);
}

/// The frame the driver should make, put together from the geometry itself.
std::vector<std::uint8_t> composed(const EffectRecord& effect, FakeHost& host, int frame, int width,
                                   int height) {
    TestWorld before(width, height, width), after(width, height, width), result(width, height, width);
    host.paint(100 + frame, before);
    host.paint(100 + host.params.frameCount + frame, after);
    const bool movesSecond = effect.overnext && effect.reveal;
    if (effect.overnext) result.bytes() = movesSecond ? before.bytes() : after.bytes();
    TestWorld& moving = movesSecond ? after : before;
    const auto f = static_cast<float>(effectFraction(effect.fraction, frame, host.params.frameCount));
    if (effect.driver == EffectDriver::tumble)
        TumbleAway(nullptr, moving.bytes().data(), result.bytes().data(), width, width, height, f,
                   host.params.proxyOnly != 0);
    else
        DistortUsingFlow(moving.bytes().data(), result.bytes().data(), width, width, height,
                         host.state()->flowField1, f);
    return result.bytes();
}

TEST_P(TwoClipDriverTest, TheRightPictureMovesOverTheRightOne) {
    for (const auto& [width, height] : {std::pair{64, 48}, {33, 21}, {100, 37}}) {
        for (const int proxy : {0, 1}) {
            auto host = started(width, height, 8);
            host->params.proxyOnly = static_cast<Boolean>(proxy);
            for (const int frame : {0, 1, 3, 6, 7}) {
                SCOPED_TRACE(testing::Message()
                             << width << "x" << height << " frame " << frame << " proxy " << proxy);
                ASSERT_EQ(host->render(which(), frame), kPluginOK);
                EXPECT_EQ(host->destination().bytes(), composed(effect(), *host, frame, width, height));
            }
            end(*host);
        }
    }
}

TEST_P(TwoClipDriverTest, PlacementIsTheDrivers) {
    auto host = started(48, 32, 8);
    auto wide = std::make_unique<TestWorld>(96, 64, 96);
    wide->bytes().assign(wide->bytes().size(), 9);
    host->useDestination(std::move(wide));
    SetRect(&host->params.frameRect, 20, 10, 68, 42);  // 48 x 32, off the origin
    ASSERT_EQ(host->render(which(), 3), kPluginOK);
    const std::vector<std::uint8_t> picture = composed(effect(), *host, 3, 48, 32);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            std::uint8_t expected[4] = {9, 9, 9, 9};
            const bool inside = tumble() ? x < 48 && y < 32 : true;
            const int sx = tumble() ? x : x / 2, sy = tumble() ? y : y / 2;
            if (inside)
                std::memcpy(
                    expected,
                    picture.data() + (static_cast<std::size_t>(sy) * 48 + static_cast<std::size_t>(sx)) * 4,
                    4);
            ASSERT_EQ(std::memcmp(host->destination().pixel(x, y), expected, 4), 0) << x << "," << y;
        }
    }
    end(*host);
}

TEST_P(TwoClipDriverTest, SourceBoundsAreMovedToTheOrigin) {
    auto host = started(48, 32, 8);
    ASSERT_EQ(host->render(which(), 3), kPluginOK);
    const std::vector<std::uint8_t> plain = host->destination().bytes();
    host->destination().bytes().assign(plain.size(), 0);
    host->shapes[103] = {48, 32, 48, -7, 5};
    host->shapes[111] = {48, 32, 48, 12, -3};
    ASSERT_EQ(host->render(which(), 3), kPluginOK);
    if (!tumble() || !overnext())
        EXPECT_EQ(host->destination().bytes(), plain);
    else
        EXPECT_TRUE(host->clean());  // the tumble copies by coordinates, so a shifted world lands shifted
    end(*host);
}

TEST_P(TwoClipDriverTest, WithoutASecondClipWhatLeavesIsTransparentBlack) {
    if (overnext()) return;
    auto host = started(64, 64, 8);
    host->paint = [](int, TestWorld& world) { world.bytes().assign(world.bytes().size(), 200); };
    const bool reveal = effect().reveal;
    ASSERT_EQ(host->render(which(), reveal ? 0 : 8), kPluginOK);
    int clear = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) {
            const std::uint8_t* p = host->destination().pixel(x, y);
            clear += p[0] == 0 && p[1] == 0 && p[2] == 0 && p[3] == 0 ? 1 : 0;
        }
    EXPECT_GT(clear, 64 * 64 / 2);
    end(*host);
}

TEST_P(TwoClipDriverTest, NoCallbackIsCalledThatATransitionMayNotCall) {
    auto host = started();
    for (int frame = 0; frame < 10; ++frame) EXPECT_EQ(host->render(which(), frame), kPluginOK);
    EXPECT_THAT(host->callbacks(),
                testing::Each(testing::AnyOf(testing::StartsWith("GetFrame"), testing::StartsWith("MixAudio"),
                                             testing::StartsWith("ReleaseFrame"))));
    end(*host);
}

TEST(TwoClipDriverDirectTest, LevelsSaturateAtSixteenBits) {
    FakeHost host(32, 32, 4);
    host.call(11, kPlugInitialize);
    host.volumes[100] = host.volumes[104] = 32767;
    host.params.renderFrame = 0;
    EXPECT_EQ(TransitionTumble(&host.params, true, -3.0, false), kPluginOK);
    EXPECT_THAT(host.mixes, ElementsAre(std::make_pair(100, 32767), std::make_pair(104, -32768)));
    host.mixes.clear();
    EXPECT_EQ(TransitionTumble(&host.params, true, 5.0, false), kPluginOK);
    EXPECT_THAT(host.mixes, ElementsAre(std::make_pair(100, -32768), std::make_pair(104, 32767)));
    host.call(11, kPlugTerminate);
    SetGWorld(nullptr, nullptr);
}

TEST(TwoClipDriverDirectTest, AudioTakesTheDoubleFraction) {
    // In single precision this fraction rounds to 1, and the first clip would be silent either way; the level
    // of the second clip tells the two apart: 32767 x f lies below 32767 only in double precision.
    FakeHost host(32, 32, 4);
    host.call(3, kPlugInitialize);
    host.volumes[104] = 32767;
    host.params.renderFrame = 0;
    const double f = 1.0 - 1e-10;
    EXPECT_EQ(TransitionDistort(&host.params, true, f, false), kPluginOK);
    EXPECT_EQ(host.mixes[1].second, 32766);
    host.call(3, kPlugTerminate);
    SetGWorld(nullptr, nullptr);
}

TEST(TwoClipDriverDirectTest, AQuarterOfFullVolumeIsCountedFrom256) {
    FakeHost host(32, 32, 4);
    host.call(2, kPlugInitialize);
    EXPECT_EQ(host.render(2, 1), kPluginOK);
    EXPECT_EQ(host.mixes[0].second, 192);
    host.volumes[101] = 200;
    EXPECT_EQ(host.render(2, 1), kPluginOK);
    EXPECT_EQ(host.mixes[1].second, 150);
    host.call(2, kPlugTerminate);
}

TEST(TwoClipDriverDirectTest, TheTumbledFrameKeepsItsRim) {
    FakeHost host(32, 32, 4);
    host.call(11, kPlugInitialize);
    TestWorld* lent = nullptr;
    host.paint = [&lent](int frame, TestWorld& world) {
        test::paintTestPicture(frame, world);
        if (frame == 101) lent = &world;
    };
    host.onCallback = [&lent](const std::string& callback) {
        if (callback != "ReleaseFrame" || !lent) return;
        EXPECT_EQ(std::memcmp(lent->pixel(0, 0), lent->pixel(31, 31), 4), 0);
        EXPECT_EQ(std::memcmp(lent->pixel(0, 0), lent->pixel(16, 1), 4), 0);
        EXPECT_NE(std::memcmp(lent->pixel(0, 0), lent->pixel(16, 16), 4), 0);
        lent = nullptr;
    };
    EXPECT_EQ(host.render(11, 1), kPluginOK);
    EXPECT_EQ(lent, nullptr);
    host.onCallback = nullptr;
    host.call(11, kPlugTerminate);
}

}  // namespace
