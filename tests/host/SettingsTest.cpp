#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/host/TestSource.h"

namespace tumblewash::test {

using host::ClipLayout;
using host::describe;
using host::locateFrame;
using host::Session;
using host::SessionSettings;
using host::TransitionInfo;

namespace {

using Change = std::function<void(SessionSettings&)>;

/// The message with which a changed setting is refused; a session must refuse it just so.
std::string refused(const Change& change, int effect = 3) {
    SessionSettings settings = smallSettings(effect);
    change(settings);
    TestSource source;
    Session session(fakeModule(), settings, source);
    const std::string message = refusalOf([&] { session.open(); });
    EXPECT_FALSE(session.isOpen() && !message.empty());
    EXPECT_EQ(message.find('\n'), std::string::npos);
    EXPECT_TRUE(source.requests.empty());
    return message;
}

void expectRefused(const Change& change, const std::string& word, int effect = 3) {
    const std::string message = refused(change, effect);
    EXPECT_NE(message.find(word), std::string::npos) << message;
}

void expectTaken(const Change& change, int effect = 3) {
    EXPECT_EQ(refused(change, effect), "");
}

TEST(SettingsTest, SidesBelowSixteenAreRefused) {
    expectTaken([](auto& s) { s.width = s.height = 16; });
    expectRefused([](auto& s) { s.width = 15; }, "15 x 24");
    expectRefused([](auto& s) { s.height = 15; }, "too small");
    expectRefused([](auto& s) { s.width = 0; }, "too small");
    expectRefused([](auto& s) { s.height = -4; }, "too small");
}

TEST(SettingsTest, WidthAboveTheRowFlagsIsRefused) {
    expectTaken([](auto& s) { s.width = 4095; });
    expectRefused([](auto& s) { s.width = 4096; }, "4095");
    expectTaken([](auto& s) { s.height = 32767; });
    expectRefused([](auto& s) { s.height = 32768; }, "32767");
}

TEST(SettingsTest, FrameCountsMustBePositive) {
    expectTaken([](auto& s) { s.frameCount = 1; });
    expectRefused([](auto& s) { s.frameCount = 0; }, "0 frames");
    expectRefused([](auto& s) { s.frameCount = -10; }, "-10 frames");
    expectTaken([](auto& s) { s.startFrame = 0; });
    expectRefused([](auto& s) { s.startFrame = -1; }, "-1");
    expectRefused([](auto& s) { s.sourceFrames[0] = -1; }, "-1");
    expectRefused([](auto& s) { s.sourceFrames[1] = -1; }, "-1");
}

TEST(SettingsTest, OverlapNeedsItsFramesOfBothClips) {
    expectTaken([](auto& s) { s.sourceFrames = {17, 10}; });
    expectRefused([](auto& s) { s.sourceFrames = {16, 10}; }, "the outgoing clip has 16 frames");
    expectRefused([](auto& s) { s.sourceFrames = {17, 9}; }, "the incoming clip has 9 frames");
}

TEST(SettingsTest, OneClipNeedsNothingOfTheOther) {
    for (const int effect : {2, 4, 6, 8, 10, 12}) {
        expectTaken([](auto& s) { s.sourceFrames = {17, 0}; }, effect);
        expectRefused([](auto& s) { s.sourceFrames = {16, 0}; }, "the clip has 16 frames", effect);
    }
}

TEST(SettingsTest, MorphNeedsHalfOfEachClip) {
    expectTaken([](auto& s) { s.sourceFrames = {12, 5}; }, 1);
    expectRefused([](auto& s) { s.sourceFrames = {11, 5}; }, "needs 12", 1);
    expectRefused([](auto& s) { s.sourceFrames = {12, 4}; }, "needs 5", 1);
}

TEST(SettingsTest, NumbersStayWithinThirtyTwoBits) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    expectTaken([](auto& s) { s.startFrame = kMost - 20; });
    expectRefused([](auto& s) { s.startFrame = kMost - 19; }, "32 bits");
    expectRefused([](auto& s) { s.frameCount = kMost; }, "32 bits");
}

TEST(SettingsTest, SpeedIsANumberFromNoughtToOne) {
    expectTaken([](auto& s) { s.speed = 0.0F; });
    expectTaken([](auto& s) { s.speed = 1.0F; });
    for (const float speed :
         {-0.01F, 1.01F, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        expectRefused([speed](auto& s) { s.speed = speed; }, "speed");
        EXPECT_NE(refusalOf([speed] { (void)describe(fakeModule(), 3, speed); }), "");
    }
}

TEST(SettingsTest, EffectsAndDirectionsOutsideTheirListsAreRefused) {
    for (const int effect : {-1, 14, 65536 + 3}) {
        expectRefused([effect](auto& s) { s.effect = effect; }, "0 to 13");
    }
    for (int direction = 0; direction <= 4; ++direction) {
        expectTaken([direction](auto& s) { s.direction = static_cast<HYPluginDirection>(direction); });
    }
    expectRefused([](auto& s) { s.direction = static_cast<HYPluginDirection>(5); }, "direction 5");
}

TEST(SettingsTest, SoundNeedsAFormat) {
    expectTaken([](auto& s) { s.audio = {.rate = 48000}; });
    expectTaken([](auto& s) { s.audio = {.rate = 0, .channels = 0, .fpsNumerator = 0}; });
    expectRefused([](auto& s) { s.audio = {.rate = -1}; }, "rate");
    expectRefused([](auto& s) { s.audio = {.rate = 48000, .channels = 0}; }, "channels");
    expectRefused([](auto& s) { s.audio = {.rate = 48000, .channels = -2}; }, "channels");
    expectRefused([](auto& s) { s.audio = {.rate = 48000, .fpsNumerator = 0}; }, "frame rate");
    expectRefused([](auto& s) { s.audio = {.rate = 48000, .fpsDenominator = -1}; }, "frame rate");
    expectRefused([](auto& s) { s.audio = {.rate = 48000, .firstOutputFrame = -1}; }, "before frame 0");
    expectRefused([](auto& s) { s.audio = {.rate = 48000, .fpsNumerator = 1, .fpsDenominator = 1000000}; },
                  "slow");
}

TEST(DescribeTest, ReportsWhatGetInfoSays) {
    const TransitionInfo wash = describe(fakeModule(), 3, 0.5F);
    EXPECT_EQ(wash.type, kPluginTransitionBetweenType);
    EXPECT_EQ(wash.frames, 66);
    EXPECT_EQ(wash.takeBefore, 66);
    EXPECT_EQ(wash.takeAfter, 66);
    EXPECT_EQ(wash.minFrames, 10);
    EXPECT_EQ(wash.maxFrames, 120);
    EXPECT_EQ(wash.flags, 7U);
    EXPECT_TRUE(wash.singleClips);
    EXPECT_EQ(wash.direction, kPluginDirectionRight);
    EXPECT_EQ(describe(fakeModule(), 3, 0.0F).frames, 10);
    EXPECT_EQ(describe(fakeModule(), 3, 1.0F).frames, 120);
}

TEST(DescribeTest, LayoutFollowsTypeAndTakes) {
    const ClipLayout expected[] = {ClipLayout::split,    ClipLayout::split,    ClipLayout::leaving,
                                   ClipLayout::overlap,  ClipLayout::arriving, ClipLayout::overlap,
                                   ClipLayout::leaving,  ClipLayout::overlap,  ClipLayout::arriving,
                                   ClipLayout::overlap,  ClipLayout::leaving,  ClipLayout::overlap,
                                   ClipLayout::arriving, ClipLayout::overlap};
    for (int effect = 0; effect < 14; ++effect) {
        const TransitionInfo info = describe(fakeModule(), effect, 0.3F);
        EXPECT_EQ(info.layout, expected[effect]) << effect;
        const bool one = expected[effect] == ClipLayout::leaving || expected[effect] == ClipLayout::arriving;
        EXPECT_EQ(info.clips(), one ? 1 : 2);
    }
}

TEST(DescribeTest, RefusalsOfThePluginBecomeSentences) {
    const Replace tooOld(kPlugGetInfo, [](short, HYPluginParams&) { return kPluginAppIsTooOld; });
    const std::string message = refusalOf([] { (void)describe(fakeModule(), 3); });
    EXPECT_NE(message.find("newer host"), std::string::npos) << message;
}

TEST(DescribeTest, WhatIsNoTransitionIsRefused) {
    const Replace title(kPlugGetInfo, [](short, HYPluginParams& params) {
        params.getInfo.pluginType = kPluginTitleType;
        return kPluginOK;
    });
    EXPECT_NE(refusalOf([] { (void)describe(fakeModule(), 3); }).find("no transition"), std::string::npos);
    const Replace negative(kPlugGetInfo, [](short, HYPluginParams& params) {
        params.getInfo.pluginType = kPluginTransitionBetweenType;
        params.getInfo.takeFromClipAfter = -2;
        return kPluginOK;
    });
    EXPECT_NE(refusalOf([] { (void)describe(fakeModule(), 3); }).find("below 0"), std::string::npos);
}

void expectPlace(const SessionSettings& settings, ClipLayout layout, std::int32_t number, int clip,
                 std::int32_t index) {
    const auto place = locateFrame(settings, layout, number);
    ASSERT_TRUE(place) << number;
    EXPECT_EQ(place->clip, clip) << number;
    EXPECT_EQ(place->index, index) << number;
}

TEST(LocateFrameTest, OverlapCountsOnIntoTheIncomingClip) {
    const SessionSettings settings = smallSettings();  // 7, 10 frames
    EXPECT_FALSE(locateFrame(settings, ClipLayout::overlap, 6));
    expectPlace(settings, ClipLayout::overlap, 7, 0, 7);
    expectPlace(settings, ClipLayout::overlap, 16, 0, 16);
    expectPlace(settings, ClipLayout::overlap, 17, 1, 0);
    expectPlace(settings, ClipLayout::overlap, 26, 1, 9);
    EXPECT_FALSE(locateFrame(settings, ClipLayout::overlap, 27));
    EXPECT_FALSE(locateFrame(settings, ClipLayout::overlap, -1));
}

TEST(LocateFrameTest, OneClipHasOneRange) {
    const SessionSettings settings = smallSettings();
    for (const ClipLayout layout : {ClipLayout::leaving, ClipLayout::arriving}) {
        expectPlace(settings, layout, 7, 0, 7);
        expectPlace(settings, layout, 16, 0, 16);
        EXPECT_FALSE(locateFrame(settings, layout, 17));
    }
}

TEST(LocateFrameTest, SplitChangesClipsAtHalf) {
    SessionSettings settings = smallSettings(1);
    expectPlace(settings, ClipLayout::split, 11, 0, 11);
    expectPlace(settings, ClipLayout::split, 12, 1, 0);
    expectPlace(settings, ClipLayout::split, 16, 1, 4);
    EXPECT_FALSE(locateFrame(settings, ClipLayout::split, 17));
    settings.frameCount = 3;
    expectPlace(settings, ClipLayout::split, 7, 0, 7);
    expectPlace(settings, ClipLayout::split, 8, 1, 0);
    expectPlace(settings, ClipLayout::split, 9, 1, 1);
}

}  // namespace
}  // namespace tumblewash::test
