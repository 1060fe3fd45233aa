#include <gtest/gtest.h>

#include <numbers>

#include "tests/host/TestSource.h"

namespace tumblewash::test {

using host::AudioLevels;
using host::AudioPolicy;
using host::FrameRequest;
using host::FrameResult;
using host::samplesBefore;
using host::Session;
using host::SessionSettings;

namespace {

SessionSettings soundSettings(int effect = 3) {
    SessionSettings settings = smallSettings(effect);
    settings.audio = {.rate = 48000, .channels = 2};
    return settings;
}

/// Runs a whole transition and collects the sound and each frame's result.
struct Heard {
    std::vector<float> samples;
    std::vector<FrameResult> frames;
};

Heard listen(const SessionSettings& settings, TestSource& source) {
    Session session(fakeModule(), settings, source);
    session.open();
    OwnPicture target(settings.width, settings.height);
    Heard heard;
    for (std::int32_t k = 0; k < settings.frameCount; ++k) {
        FrameResult result = session.renderFrame(k, target.view());
        EXPECT_TRUE(result.ok()) << result.problem;
        heard.samples.insert(heard.samples.end(), result.samples.begin(), result.samples.end());
        heard.frames.push_back(std::move(result));
        EXPECT_EQ(session.levels(), heard.frames.back().levels);
    }
    return heard;
}

float constantTone(const FrameRequest&, int, int) {
    return 1.0F;
}

/// A sine that runs on over the clip's frames; clip 1 is silent.
float sineThenSilence(const FrameRequest& request, int i, int channel) {
    if (request.clip == 1) return 0.0F;
    const std::int64_t place = samplesBefore(request.index, 48000, 30000, 1001) + i;
    return static_cast<float>((channel == 0 ? 0.5 : -0.25) * std::sin(2.0 * std::numbers::pi * 440.0 *
                                                                      static_cast<double>(place) / 48000.0));
}

TEST(SoundTest, SampleCountsFollowTheOutputsClock) {
    SessionSettings settings = soundSettings();
    settings.audio.firstOutputFrame = 13;
    TestSource source;
    source.sound = constantTone;
    const Heard heard = listen(settings, source);
    for (std::int32_t k = 0; k < 10; ++k) {
        const std::int64_t expected =
            samplesBefore(14 + k, 48000, 30000, 1001) - samplesBefore(13 + k, 48000, 30000, 1001);
        EXPECT_EQ(heard.frames[static_cast<std::size_t>(k)].samples.size(),
                  static_cast<std::size_t>(expected) * 2);
    }
    EXPECT_EQ(heard.samples.size() / 2, static_cast<std::size_t>(samplesBefore(23, 48000, 30000, 1001) -
                                                                 samplesBefore(13, 48000, 30000, 1001)));
    for (const FrameRequest& request : source.requests) EXPECT_GE(request.sampleCount, 1601);
}

TEST(SoundTest, LevelsAreThePluginsAndReported) {
    TestSource source;
    source.sound = constantTone;
    const Heard heard = listen(soundSettings(), source);
    for (std::int32_t k = 0; k < 10; ++k) {
        const FrameResult& frame = heard.frames[static_cast<std::size_t>(k)];
        ASSERT_TRUE(frame.asked);
        EXPECT_EQ(frame.asked->outgoing, static_cast<int>((1 - k / 10.0) * 256));
        EXPECT_EQ(frame.asked->incoming, static_cast<int>(k / 10.0 * 255));
        EXPECT_EQ(frame.levels, *frame.asked);
        const double expected = std::min(1.0, (frame.levels.outgoing + frame.levels.incoming) / 256.0);
        EXPECT_NEAR(frame.samples.back(), expected, 1e-6);
    }
}

TEST(SoundTest, RampsRunFromFrameToFrame) {
    TestSource source;
    source.sound = [](const FrameRequest& request, int, int) { return request.clip == 0 ? 1.0F : 0.0F; };
    const Heard heard = listen(soundSettings(), source);
    const FrameResult& third = heard.frames[3];
    const std::size_t length = third.samples.size() / 2;
    for (const std::size_t i : {std::size_t{0}, length / 2, length - 1}) {
        const double part = static_cast<double>(i + 1) / static_cast<double>(length);
        const double expected = (204 + (179 - 204) * part) / 256.0;  // 0.8 and 0.7 of 256
        EXPECT_NEAR(third.samples[2 * i], expected, 1e-6) << i;
        EXPECT_EQ(third.samples[2 * i], third.samples[2 * i + 1]);
    }
}

TEST(SoundTest, ASineFadesWithoutClicks) {
    TestSource source;
    source.sound = sineThenSilence;
    const Heard heard = listen(soundSettings(), source);
    const double slope = 0.5 * 2.0 * std::numbers::pi * 440.0 / 48000.0;  // steepest of the tone itself
    const double ramp = 26.0 / 256.0 / 1601.0;
    for (std::size_t i = 2; i < heard.samples.size(); ++i) {
        const double step = std::abs(heard.samples[i] - heard.samples[i - 2]);
        ASSERT_LE(step, slope + ramp) << i;
    }
    EXPECT_EQ(heard.frames[0].levels, (AudioLevels{256, 0}));
    for (std::size_t i = 0; i < heard.frames[0].samples.size() / 2; ++i) {
        EXPECT_EQ(heard.samples[2 * i], sineThenSilence({.clip = 0, .index = 7}, static_cast<int>(i), 0));
    }
}

TEST(SoundTest, RevealVariantsLetTheOutgoingSoundLeave) {
    for (const int effect : {5, 9, 13}) {
        TestSource source;
        source.sound = constantTone;
        const Heard heard = listen(soundSettings(effect), source);
        EXPECT_EQ(heard.frames[0].levels, (AudioLevels{255, 0})) << effect;
        EXPECT_GT(heard.frames[2].levels.outgoing, heard.frames[8].levels.outgoing);
        SessionSettings literal = soundSettings(effect);
        literal.audio.policy = AudioPolicy::plugin;
        EXPECT_EQ(listen(literal, source).frames[0].levels, (AudioLevels{0, 255}));
    }
}

TEST(SoundTest, PoliciesReachTheSamples) {
    TestSource source;
    source.sound = constantTone;
    SessionSettings settings = soundSettings();
    settings.audio.policy = AudioPolicy::equalPower;
    EXPECT_EQ(listen(settings, source).frames[5].levels, (AudioLevels{181, 181}));
    settings.audio.policy = AudioPolicy::none;
    const Heard silent = listen(settings, source);
    EXPECT_EQ(silent.samples, std::vector<float>(silent.samples.size(), 0.0F));
    EXPECT_FALSE(silent.samples.empty());
}

TEST(SoundTest, MorphPlaysThroughAtFullLevelAcrossTheSeam) {
    TestSource source;
    source.sound = constantTone;
    const Heard heard = listen(soundSettings(1), source);
    EXPECT_EQ(heard.samples, std::vector<float>(heard.samples.size(), 1.0F));
    EXPECT_EQ(source.requests[4].clip, 0);
    EXPECT_EQ(source.requests[5].clip, 1);
}

TEST(SoundTest, PreviewHasASoundUnlessThePluginDecidesAlone) {
    TestSource source;
    source.sound = constantTone;
    SessionSettings settings = soundSettings();
    settings.proxy = true;
    const Heard natural = listen(settings, source);
    EXPECT_FALSE(natural.frames[5].asked);
    EXPECT_EQ(natural.frames[5].levels, (AudioLevels{128, 128}));
    settings.audio.policy = AudioPolicy::plugin;
    const Heard literal = listen(settings, source);
    EXPECT_EQ(literal.samples, std::vector<float>(literal.samples.size(), 0.0F));
}

TEST(SoundTest, TheFirstFrameStartsAtItsOwnLevelUnlessTold) {
    TestSource source;
    source.sound = [](const FrameRequest& request, int, int) { return request.clip == 0 ? 1.0F : 0.0F; };
    SessionSettings settings = soundSettings(5);  // natural: starts at 255
    EXPECT_EQ(listen(settings, source).frames[0].samples[0], 255.0F / 256.0F);
    settings.audio.before = AudioLevels{0, 0};
    const Heard told = listen(settings, source);
    EXPECT_NEAR(told.frames[0].samples[0], 255.0F / 256.0F / 1601.0F, 1e-7);
    EXPECT_EQ(told.frames[0].samples.back(), 255.0F / 256.0F);
}

TEST(SoundTest, FramesOutOfOrderDoNotRamp) {
    TestSource source;
    source.sound = [](const FrameRequest& request, int, int) { return request.clip == 0 ? 1.0F : 0.0F; };
    Session session(fakeModule(), soundSettings(), source);
    session.open();
    OwnPicture target(40, 24);
    EXPECT_EQ(session.renderFrame(2, target.view()).samples[0], 204.0F / 256.0F);
    const FrameResult jump = session.renderFrame(5, target.view());
    EXPECT_EQ(jump.samples[0], jump.samples.back());
    EXPECT_NE(session.renderFrame(6, target.view()).samples[0], 102.0F / 256.0F);
}

TEST(SoundTest, ALevelBeforeTheTransitionMeetsItsFrameZeroAlone) {
    TestSource source;
    source.sound = [](const FrameRequest& request, int, int) { return request.clip == 0 ? 1.0F : 0.0F; };
    SessionSettings settings = soundSettings();
    settings.audio.before = AudioLevels{0, 0};
    OwnPicture target(40, 24);
    Session session(fakeModule(), settings, source);
    session.open();
    const FrameResult third = session.renderFrame(3, target.view());
    EXPECT_GT(third.samples[0], 0.5F);
    EXPECT_EQ(third.samples[0], third.samples.back());
    // Nor does it meet a frame zero that others were rendered before.
    const FrameResult first = session.renderFrame(0, target.view());
    EXPECT_EQ(first.samples[0], first.samples.back());
}

TEST(SoundTest, SourcesThatFallShortAreFilledWithSilenceAndLongOnesCut) {
    TestSource source;
    source.sound = [](const FrameRequest& request, int, int) { return request.clip == 0 ? 1.0F : 0.0F; };
    source.extraSamples = -100;
    const Heard shortened = listen(soundSettings(), source);
    const FrameResult& frame = shortened.frames[0];
    EXPECT_EQ(frame.samples[frame.samples.size() - 201], 1.0F);
    EXPECT_EQ(frame.samples[frame.samples.size() - 200], 0.0F);
    source.extraSamples = 500;
    const Heard full = listen(soundSettings(), source);
    EXPECT_EQ(full.samples.size(), shortened.samples.size());
    source.sound = nullptr;
    const Heard mute = listen(soundSettings(), source);
    EXPECT_EQ(mute.samples, std::vector<float>(full.samples.size(), 0.0F));
}

TEST(SoundTest, LoudClipsPassForTheWholeResultToDecide) {
    TestSource source;
    source.sound = [](const FrameRequest&, int, int) { return 1.5F; };
    const Heard heard = listen(soundSettings(), source);
    EXPECT_GT(*std::max_element(heard.samples.begin(), heard.samples.end()), 1.49F);
}

TEST(SoundTest, VolumesOfTheClipsReachThePlugin) {
    TestSource source;
    source.volumes[0] = 200;
    source.volumes[1] = 9000;
    const Heard heard = listen(soundSettings(), source);
    EXPECT_EQ(heard.frames[0].asked->outgoing, 200);
    EXPECT_EQ(heard.frames[5].asked->incoming, 127) << "volumes end at 255";
}

TEST(SoundTest, AFailedFrameIsSilenceOfItsLength) {
    TestSource source;
    source.sound = constantTone;
    Session session(fakeModule(), soundSettings(), source);
    session.open();
    OwnPicture target(40, 24);
    source.onLend = [](const FrameRequest& request) {
        if (request.clip == 1) throw std::runtime_error("gone");
    };
    const FrameResult result = session.renderFrame(0, target.view());
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.samples, std::vector<float>(1601 * 2, 0.0F));
    EXPECT_EQ(session.levels(), (AudioLevels{0, 0}));
}

TEST(SoundTest, LevelsForTheSameFrameAddUp) {
    TestSource source;
    source.sound = constantTone;
    const SessionSettings settings = soundSettings();
    const Replace twice(kPlugDoFrame, [](short, HYPluginParams& params) {
        GWorldPtr world = nullptr;
        std::int16_t volume = 0;
        HYFrameCookie cookie = nullptr;
        params.procs->GetFrame(params.instance, params.startFrame + params.renderFrame, &world,
                               params.frameRect.right, params.frameRect.bottom, kDVHighQuality, &volume,
                               &cookie);
        params.procs->MixAudio(params.instance, cookie, 100);
        params.procs->MixAudio(params.instance, cookie, 28);
        return params.procs->ReleaseFrame(params.instance, cookie);
    });
    const Heard heard = listen(settings, source);
    for (const FrameResult& frame : heard.frames) {
        ASSERT_TRUE(frame.asked);
        EXPECT_EQ(*frame.asked, (AudioLevels{128, 0}));
        EXPECT_NEAR(frame.samples.back(), 0.5, 1e-6);
    }
}

TEST(SoundTest, WithoutARateThereIsNoSound) {
    TestSource source;
    source.sound = constantTone;
    const Heard heard = listen(smallSettings(), source);
    EXPECT_TRUE(heard.samples.empty());
    EXPECT_EQ(source.requests[0].sampleCount, 0);
    EXPECT_EQ(heard.frames[5].levels, (AudioLevels{128, 127})) << "levels are still told";
}

}  // namespace
}  // namespace tumblewash::test
