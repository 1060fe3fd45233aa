// The host with the transitions themselves, in this program and loaded from their module.
#include <gtest/gtest.h>

#include <numbers>
#include <set>
#include <string>
#include <thread>

#include "host/Catalogue.h"
#include "pluginDistort/v1/Transitions.h"
#include "tests/host/TestSource.h"

namespace tumblewash::test {

using host::ClipLayout;
using host::describe;
using host::FrameRequest;
using host::FrameResult;
using host::HostError;
using host::kEffectCount;
using host::PluginModule;
using host::samplesBefore;
using host::Session;
using host::SessionSettings;

namespace {

PluginModule builtIn() {
    return PluginModule(HYPluginEntry);
}

SessionSettings settingsFor(int effect) {
    SessionSettings settings;
    settings.effect = effect;
    settings.width = 96;
    settings.height = 64;
    settings.startFrame = 3;
    settings.frameCount = 6;
    settings.audio.rate = 48000;
    return settings;
}

float tone(const FrameRequest& request, int i, int channel) {
    const std::int64_t place = samplesBefore(request.index, 48000, 30000, 1001) + i;
    return static_cast<float>(0.25 *
                              std::sin(0.01 * (request.clip + channel + 1) * static_cast<double>(place)));
}

std::uint64_t hashFor(const PluginModule& module, const SessionSettings& settings) {
    TestSource source;
    source.sound = tone;
    return runHash(module, settings, source);
}

TEST(PluginDistortTest, ModuleAndProgramGiveTheSameBytesForEveryVariant) {
    const PluginModule loaded = PluginModule::load(TUMBLEWASH_PLUGIN_MODULE);
    std::set<std::uint64_t> hashes;
    for (int effect = 0; effect < kEffectCount; ++effect) {
        const std::uint64_t hash = hashFor(builtIn(), settingsFor(effect));
        EXPECT_EQ(hashFor(loaded, settingsFor(effect)), hash) << effect;
        hashes.insert(hash);
    }
    EXPECT_EQ(hashes.size(), static_cast<std::size_t>(kEffectCount))
        << "every variant draws something of its own";
}

TEST(PluginDistortTest, EightThreadsGiveWhatOneGives) {
    const int effects[] = {1, 2, 3, 4, 5, 7, 11, 13};
    std::uint64_t alone[8];
    std::uint64_t together[8];
    for (int i = 0; i < 8; ++i) alone[i] = hashFor(builtIn(), settingsFor(effects[i]));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] { together[i] = hashFor(builtIn(), settingsFor(effects[i])); });
    }
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 8; ++i) EXPECT_EQ(together[i], alone[i]) << effects[i];
}

TEST(PluginDistortTest, ManySessionsOfOneSeedShareOneField) {
    const std::uint64_t expected = hashFor(builtIn(), settingsFor(3));
    std::uint64_t hashes[8];
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            SessionSettings settings = settingsFor(3);
            settings.seed = static_cast<unsigned>(i % 2 + 1);
            hashes[i] = hashFor(builtIn(), settings);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 8; i += 2) EXPECT_EQ(hashes[i], expected) << i;
    for (int i = 1; i < 8; i += 2) EXPECT_NE(hashes[i], expected) << i;
}

TEST(PluginDistortTest, ForeignMemoryGivesTheSamePictures) {
    for (const int effect : {1, 3, 8, 11, 12}) {
        const std::uint64_t expected = hashFor(builtIn(), settingsFor(effect));
        for (const bool writable : {true, false}) {
            TestSource source;
            source.sound = tone;
            source.stride = writable ? -400 : 0;
            source.writable = writable;
            EXPECT_EQ(runHash(builtIn(), settingsFor(effect), source), expected) << effect;
        }
    }
}

TEST(PluginDistortTest, SmallestAndOddSizesRender) {
    for (int effect = 0; effect < kEffectCount; ++effect) {
        SessionSettings settings = settingsFor(effect);
        settings.width = 16;
        settings.height = 16;
        EXPECT_NE(hashFor(builtIn(), settings), 0U);
        settings.width = 33;
        settings.height = 19;
        EXPECT_NE(hashFor(builtIn(), settings), 0U);
    }
}

TEST(PluginDistortTest, ClipFadesAreThoseOfTheLength) {
    for (int effect = 0; effect < kEffectCount; ++effect) {
        TestSource source;
        Session session(builtIn(), settingsFor(effect), source);
        session.open();
        session.close();
        const bool leaves = effect == 2 || effect == 6 || effect == 10;
        const bool arrives = effect == 4 || effect == 8;
        EXPECT_EQ(session.clipInfo().fadeOut, leaves ? 1 : 0) << effect;
        EXPECT_EQ(session.clipInfo().ver2.fadeOutFrames, leaves ? 6 : 0) << effect;
        EXPECT_EQ(session.clipInfo().fadeIn, arrives ? 1 : 0) << effect;
        EXPECT_EQ(session.clipInfo().ver2.fadeInFrames, arrives ? 6 : 0) << effect;
    }
}

TEST(PluginDistortTest, DescriptionsFollowTheSpeed) {
    EXPECT_EQ(describe(builtIn(), 3, 0.0F).frames, 10);
    EXPECT_EQ(describe(builtIn(), 3, 0.5F).frames, 66);
    EXPECT_EQ(describe(builtIn(), 3, 1.0F).frames, 120);
    EXPECT_EQ(describe(builtIn(), 0).layout, ClipLayout::split);
    EXPECT_EQ(describe(builtIn(), 1).layout, ClipLayout::split);
    EXPECT_EQ(describe(builtIn(), 4).layout, ClipLayout::arriving);
    EXPECT_EQ(describe(builtIn(), 10).layout, ClipLayout::leaving);
    EXPECT_EQ(describe(builtIn(), 13).layout, ClipLayout::overlap);
}

TEST(PluginDistortTest, LevelsOfAWashAwayFadeStraight) {
    TestSource source;
    source.sound = tone;
    Session session(builtIn(), settingsFor(3), source);
    session.open();
    OwnPicture target(96, 64);
    for (std::int32_t k = 0; k < 6; ++k) {
        const FrameResult result = session.renderFrame(k, target.view());
        ASSERT_TRUE(result.ok()) << result.problem;
        EXPECT_EQ(result.levels.outgoing, static_cast<int>((1 - k / 6.0) * 256)) << k;
        EXPECT_EQ(result.levels.incoming, static_cast<int>(k / 6.0 * 255)) << k;
    }
}

TEST(PluginDistortTest, MorphGoesOnWhenItsLastFrameIsMissing) {
    TestSource source;
    source.onLend = [](const FrameRequest& request) {
        if (request.number == 8 && request.clip == 1)
            throw HostError("B.mp4: cut short", kPluginCantGetNeededFrame);
    };
    Session session(builtIn(), settingsFor(1), source);
    session.open();
    OwnPicture target(96, 64);
    const FrameResult result = session.renderFrame(0, target.view());
    EXPECT_TRUE(result.ok()) << result.problem;
    EXPECT_NE(result.warning.find("B.mp4: cut short"), std::string::npos) << result.warning;
    OwnPicture plain(96, 64);
    plain.drawPattern(0, 3);
    EXPECT_EQ(target.bytes(), plain.bytes());
}

TEST(PluginDistortTest, ThePlaceholderNeedsNoOpenSession) {
    for (const std::ptrdiff_t stride : {0, -3001}) {
        SessionSettings settings = settingsFor(3);
        settings.width = 720;
        settings.height = 480;
        TestSource source;
        Session session(builtIn(), settings, source);
        OwnPicture target(720, 480, stride);
        session.drawPlaceholder(target.view());
        const std::uint8_t* corner = target.row(479);
        EXPECT_EQ(corner[0], 255);
        EXPECT_EQ(corner[1], 0x2F);
        EXPECT_EQ(corner[2], 0x2F);
        EXPECT_EQ(corner[3], 0x2F);
        int white = 0;
        for (int y = 0; y < 480; ++y) {
            for (int x = 0; x < 720; ++x) white += target.row(y)[4 * x + 1] == 255 ? 1 : 0;
        }
        EXPECT_GT(white, 300);
        EXPECT_TRUE(source.requests.empty());
    }
    SessionSettings settings = settingsFor(3);
    settings.width = 8;
    TestSource source;
    Session session(builtIn(), settings, source);
    OwnPicture small(8, 64);
    EXPECT_NE(refusalOf([&] { session.drawPlaceholder(small.view()); }).find("too small"), std::string::npos);
}

}  // namespace
}  // namespace tumblewash::test
