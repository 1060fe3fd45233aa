#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

#include "host/Catalogue.h"
#include "host/Session.h"
#include "platform/World.h"
#include "tests/host/TestSource.h"

namespace tumblewash::test {

using host::FrameRequest;
using host::FrameResult;
using host::FrameSource;
using host::HostError;
using host::LentFrame;
using host::Session;
using host::SessionSettings;

namespace {

/// An open session on the fake with its source and destination.
struct Bench {
    explicit Bench(const SessionSettings& settings)
        : target(settings.width, settings.height), session(fakeModule(), settings, source) {
        session.open();
    }
    FrameResult render(std::int32_t k) { return session.renderFrame(k, target.view()); }
    TestSource source;
    OwnPicture target;
    Session session;
};

TEST(SessionTest, FramesAreAskedByNumberAndLentWithoutCopying) {
    Bench bench(smallSettings());
    const FrameResult result = bench.render(4);
    EXPECT_TRUE(result.ok()) << result.problem;
    EXPECT_EQ(result.code, kPluginOK);
    EXPECT_EQ(result.framesLent, 2);
    EXPECT_EQ(result.framesCopied, 0);
    EXPECT_EQ(result.loansTakenBack, 0);
    ASSERT_EQ(bench.source.requests.size(), 2U);
    const FrameRequest& first = bench.source.requests[0];
    EXPECT_EQ(first.number, 11);
    EXPECT_EQ(first.clip, 0);
    EXPECT_EQ(first.index, 11);
    EXPECT_EQ(first.width, 40);
    EXPECT_EQ(first.height, 24);
    EXPECT_EQ(first.quality, kDVHighQuality);
    const FrameRequest& second = bench.source.requests[1];
    EXPECT_EQ(second.number, 21);
    EXPECT_EQ(second.clip, 1);
    EXPECT_EQ(second.index, 4);
    EXPECT_EQ(bench.source.out(), 0);
}

TEST(SessionTest, ReleaseEndsTheLoanAtOnceButTheMapStaysReadable) {
    Bench bench(smallSettings(2));
    const Replace frame(kPlugDoFrame, [&](short, HYPluginParams& params) -> int {
        GWorldPtr world = nullptr;
        HYFrameCookie cookie = nullptr;
        std::int16_t volume = 0;
        EXPECT_EQ(
            params.procs->GetFrame(params.instance, 7, &world, 40, 24, kDVHighQuality, &volume, &cookie),
            kPluginOK);
        const PixMapHandle map = GetGWorldPixMap(world);
        EXPECT_EQ(params.procs->ReleaseFrame(params.instance, cookie), kPluginOK);
        EXPECT_EQ(bench.source.returned, 1);
        EXPECT_EQ((**map).bounds.right, 40);
        EXPECT_EQ((**map).bounds.bottom, 24);
        EXPECT_EQ(params.procs->ReleaseFrame(params.instance, cookie), kPluginBadParams) << "released twice";
        EXPECT_EQ(params.procs->MixAudio(params.instance, cookie, 256), kPluginBadParams)
            << "mixed after release";
        return kPluginOK;
    });
    EXPECT_TRUE(bench.render(0).ok());
    EXPECT_EQ(bench.source.returned, 1);
}

TEST(SessionTest, AFrameKeptAfterSuccessIsAnError) {
    Bench bench(smallSettings());
    const Replace frame(kPlugDoFrame, [](short, HYPluginParams& params) -> int {
        GWorldPtr world = nullptr;
        HYFrameCookie cookie = nullptr;
        std::int16_t volume = 0;
        params.procs->GetFrame(params.instance, 7, &world, 40, 24, kDVHighQuality, &volume, &cookie);
        params.procs->GetFrame(params.instance, 17, &world, 40, 24, kDVHighQuality, &volume, &cookie);
        return params.procs->ReleaseFrame(params.instance, cookie);
    });
    const FrameResult result = bench.render(0);
    EXPECT_EQ(result.code, kPluginOK);
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.loansTakenBack, 1);
    EXPECT_NE(result.problem.find("effect wash-away, frame 0: the plug-in kept 1 frame of 2"),
              std::string::npos)
        << result.problem;
    EXPECT_EQ(bench.source.out(), 0);
}

TEST(SessionTest, LoansOfAFailedFrameAreTakenBackAndTold) {
    Bench bench(smallSettings());
    bench.source.onLend = [](const FrameRequest& request) {
        if (request.clip == 1) throw std::runtime_error("B.mp4: broken at 0:03");
    };
    const FrameResult result = bench.render(2);
    EXPECT_EQ(result.code, kPluginCantGetNeededFrame);
    EXPECT_EQ(result.framesLent, 1);
    EXPECT_EQ(result.loansTakenBack, 1);
    EXPECT_NE(result.problem.find("frame 2"), std::string::npos) << result.problem;
    EXPECT_NE(result.problem.find("B.mp4: broken at 0:03"), std::string::npos) << result.problem;
    EXPECT_NE(result.problem.find("1 frame left borrowed"), std::string::npos) << result.problem;
    bench.source.onLend = nullptr;
    EXPECT_TRUE(bench.render(2).ok()) << "a session goes on after a failed frame";
}

TEST(SessionTest, SourceErrorsBecomeResults) {
    Bench bench(smallSettings());
    bench.source.onLend = [](const FrameRequest&) { throw HostError("stopped", kPluginCancel); };
    EXPECT_EQ(bench.render(0).code, kPluginCancel);
    bench.source.onLend = [](const FrameRequest&) { throw std::bad_alloc(); };
    EXPECT_EQ(bench.render(0).code, kPluginOutOfMemory);
    bench.source.onLend = [](const FrameRequest&) { throw 7; };
    EXPECT_EQ(bench.render(0).code, kPluginCantGetNeededFrame);
    bench.source.onLend = nullptr;
    bench.source.oversize = 1;
    const FrameResult wrongSize = bench.render(0);
    EXPECT_EQ(wrongSize.code, kPluginCantGetNeededFrame);
    EXPECT_NE(wrongSize.problem.find("41 x 24"), std::string::npos) << wrongSize.problem;
    EXPECT_EQ(bench.source.out(), 0);
}

TEST(SessionTest, AMissingFrameThatThePluginGetsOverIsAWarning) {
    Bench bench(smallSettings());
    const Replace frame(kPlugDoFrame, [](short which, HYPluginParams& params) -> int {
        GWorldPtr world = nullptr;
        HYFrameCookie cookie = nullptr;
        std::int16_t volume = 0;
        EXPECT_NE(
            params.procs->GetFrame(params.instance, 99, &world, 40, 24, kDVHighQuality, &volume, &cookie),
            kPluginOK);
        EXPECT_EQ(world, nullptr);
        EXPECT_EQ(cookie, nullptr);
        return fakeFrame(which, params);
    });
    const FrameResult result = bench.render(1);
    EXPECT_TRUE(result.ok());
    EXPECT_NE(result.warning.find("frame 99"), std::string::npos) << result.warning;
    EXPECT_TRUE(bench.render(1).ok());
}

TEST(SessionTest, SourcesWithOtherStridesOrReadOnlyMemoryAreCopied) {
    Bench plain(smallSettings());
    ASSERT_TRUE(plain.render(5).ok());
    const auto expected = plain.target.bytes();
    for (const std::ptrdiff_t stride : {164, 176, 161, 20000, -160, -172}) {
        Bench bench(smallSettings());
        bench.source.stride = stride;
        const FrameResult result = bench.render(5);
        EXPECT_TRUE(result.ok()) << result.problem;
        EXPECT_EQ(result.framesCopied, 2) << stride;
        EXPECT_EQ(bench.target.bytes(), expected) << stride;
    }
    Bench bench(smallSettings());
    bench.source.writable = false;
    EXPECT_EQ(bench.render(5).framesCopied, 2);
    EXPECT_EQ(bench.target.bytes(), expected);
}

TEST(SessionTest, ReadOnlyFramesAreNeverWritten) {
    Bench bench(smallSettings(2));
    bench.source.writable = false;
    const Replace frame(kPlugDoFrame, [](short, HYPluginParams& params) -> int {
        GWorldPtr world = nullptr;
        HYFrameCookie cookie = nullptr;
        std::int16_t volume = 0;
        params.procs->GetFrame(params.instance, 7, &world, 40, 24, kDVHighQuality, &volume, &cookie);
        std::memset((**GetGWorldPixMap(world)).baseAddr, 1, 40 * 24 * 4);
        return params.procs->ReleaseFrame(params.instance, cookie);
    });
    struct ReadOnly : FrameSource {
        LentFrame lend(const FrameRequest&) override {
            return {.picture = picture.view(), .writable = false};
        }
        void giveBack(const LentFrame&) noexcept override {}
        OwnPicture picture{40, 24, 0, 77};
    } source;
    Session session(fakeModule(), smallSettings(2), source);
    session.open();
    EXPECT_TRUE(session.renderFrame(0, bench.target.view()).ok());
    EXPECT_EQ(source.picture.bytes(), std::vector<std::uint8_t>(40 * 24 * 4, 77));
}

TEST(SessionTest, DestinationsOfAnyStrideGetTheSameBytes) {
    Bench plain(smallSettings());
    ASSERT_TRUE(plain.render(5).ok());
    for (const std::ptrdiff_t stride : {164, 163, 161, 16380, 16384, 20000, -160, -161, -20000}) {
        Bench bench(smallSettings());
        OwnPicture target(40, 24, stride);
        EXPECT_TRUE(bench.session.renderFrame(5, target.view()).ok());
        EXPECT_EQ(target.bytes(), plain.target.bytes()) << stride;
        EXPECT_TRUE(target.paddingUntouched()) << stride;
    }
    std::vector<std::uint8_t> odd(40 * 24 * 4 + 1);
    EXPECT_TRUE(plain.session.renderFrame(5, {odd.data() + 1, 160, 40, 24}).ok());
    EXPECT_EQ(std::vector<std::uint8_t>(odd.begin() + 1, odd.end()), plain.target.bytes());
}

TEST(SessionTest, EffectNoneLeavesTheDestinationAlone) {
    for (const std::ptrdiff_t stride : {160, -161}) {
        Bench bench(smallSettings(0));
        OwnPicture target(40, 24, stride, 0x3C);
        const auto before = target.bytes();
        const FrameResult result = bench.session.renderFrame(3, target.view());
        EXPECT_TRUE(result.ok());
        EXPECT_EQ(result.framesLent, 0);
        EXPECT_EQ(target.bytes(), before);
    }
}

TEST(SessionTest, MisuseIsRefusedInWords) {
    TestSource source;
    OwnPicture target(40, 24);
    Session session(fakeModule(), smallSettings(), source);
    EXPECT_NE(refusalOf([&] { session.renderFrame(0, target.view()); }).find("not open"), std::string::npos);
    session.close();
    session.open();
    EXPECT_NE(refusalOf([&] { session.open(); }).find("open already"), std::string::npos);
    EXPECT_NE(refusalOf([&] { session.renderFrame(-1, target.view()); }), "");
    EXPECT_NE(refusalOf([&] { session.renderFrame(10, target.view()); }).find("10 frames"),
              std::string::npos);
    OwnPicture wide(41, 24);
    EXPECT_NE(refusalOf([&] { session.renderFrame(0, wide.view()); }).find("41 x 24"), std::string::npos);
    EXPECT_NE(refusalOf([&] { session.renderFrame(0, {nullptr, 160, 40, 24}); }), "");
    EXPECT_NE(refusalOf([&] {
                  session.renderFrame(0, {target.row(0), 159, 40, 24});
              }).find("159"),
              std::string::npos);
    EXPECT_TRUE(session.renderFrame(9, target.view()).ok());
    session.close();
    EXPECT_FALSE(session.isOpen());
    EXPECT_NE(refusalOf([&] { session.renderFrame(0, target.view()); }), "");
    session.open();
    EXPECT_TRUE(session.renderFrame(0, target.view()).ok());
}

TEST(SessionTest, FailedInitialiseIsToldAndCleanedUp) {
    TestSource source;
    SessionSettings settings = smallSettings(2);
    Session session(fakeModule(), settings, source);
    {
        const Replace refuses(kPlugInitialize, [](short, HYPluginParams& params) -> int {
            params.clientData = params.procs->NewPtrClear(sizeof(FakeState));
            return kPluginOutOfMemory;
        });
        const std::string message = refusalOf([&] { session.open(); });
        EXPECT_NE(message.find("effect wash-out"), std::string::npos) << message;
        EXPECT_NE(message.find("memory ran out"), std::string::npos) << message;
        EXPECT_FALSE(session.isOpen());
        EXPECT_EQ(session.clipInfo().fadeOut, 0);
    }
    session.open();
    EXPECT_TRUE(session.isOpen());
}

TEST(SessionTest, RecordsKeptBorrowedAreAnError) {
    TestSource source;
    Session session(fakeModule(), smallSettings(), source);
    {
        const Replace keeps(kPlugInitialize, [](short, HYPluginParams& params) -> int {
            HYPluginTransitionInfo* info = nullptr;
            return params.procs->GetTransitionInfo(params.instance, &info);
        });
        EXPECT_NE(refusalOf([&] { session.open(); }).find("borrowed record"), std::string::npos);
    }
    session.open();
    const Replace keeps(kPlugDoFrame, [](short, HYPluginParams& params) -> int {
        HYPluginTransitionInfo* info = nullptr;
        return params.procs->GetTransitionInfo(params.instance, &info);
    });
    OwnPicture target(40, 24);
    EXPECT_NE(session.renderFrame(0, target.view()).problem.find("borrowed record"), std::string::npos);
}

TEST(SessionTest, StateKeptAfterTheEndIsAnError) {
    TestSource source;
    Session session(fakeModule(), smallSettings(), source);
    session.open();
    void* state = nullptr;
    const Replace keeps(kPlugTerminate, [&](short, HYPluginParams& params) -> int {
        state = params.clientData;
        return kPluginOK;
    });
    EXPECT_NE(refusalOf([&] { session.close(); }).find("kept its state"), std::string::npos);
    EXPECT_FALSE(session.isOpen());
    std::free(state);
}

TEST(SessionTest, TheParameterBlockIsFilled) {
    SessionSettings settings = smallSettings();
    settings.proxy = true;
    settings.direction = kPluginDirectionUp;
    settings.speed = 0.25F;
    Bench bench(settings);
    int calls = 0;
    const Replace frame(kPlugDoFrame, [&](short which, HYPluginParams& params) -> int {
        ++calls;
        EXPECT_EQ(which, 3);
        EXPECT_GE(params.interfaceVersion, 4);
        EXPECT_EQ(params.startFrame, 7);
        EXPECT_EQ(params.renderFrame, 6);
        EXPECT_EQ(params.frameCount, 10);
        EXPECT_NE(params.proxyOnly, 0);
        EXPECT_EQ(params.frameRect.top, 0);
        EXPECT_EQ(params.frameRect.left, 0);
        EXPECT_EQ(params.frameRect.bottom, 24);
        EXPECT_EQ(params.frameRect.right, 40);
        EXPECT_NE(params.frame, nullptr);
        HYPluginTransitionInfo* info = nullptr;
        EXPECT_EQ(params.procs->GetTransitionInfo(params.instance, &info), kPluginOK);
        EXPECT_EQ(info->speed, 0.25F);
        EXPECT_EQ(info->ver2.direction, kPluginDirectionUp);
        EXPECT_EQ(params.procs->ReleaseTransitionInfo(params.instance, nullptr), kPluginBadParams);
        return params.procs->ReleaseTransitionInfo(params.instance, info);
    });
    EXPECT_TRUE(bench.render(6).ok());
    EXPECT_EQ(calls, 1);
}

TEST(SessionTest, TheThreadsCurrentWorldIsLeftAsItWas) {
    GWorldPtr mine = nullptr;
    const Rect bounds{0, 0, 4, 4};
    ASSERT_EQ(NewGWorld(&mine, 32, &bounds, nullptr, nullptr, 0), noErr);
    SetGWorld(mine, nullptr);
    Bench bench(smallSettings(2));
    const Replace frame(kPlugDoFrame, [](short, HYPluginParams& params) -> int {
        SetGWorld(params.frame, nullptr);
        return kPluginOK;
    });
    EXPECT_TRUE(bench.render(0).ok());
    CGrafPtr current = nullptr;
    GetGWorld(&current, nullptr);
    EXPECT_EQ(current, mine);
    SetGWorld(nullptr, nullptr);
    DisposeGWorld(mine);
}

HYPluginClipInfo busyClip() {
    HYPluginClipInfo clip;
    auto* bytes = reinterpret_cast<unsigned char*>(&clip);
    for (std::size_t i = 0; i < sizeof clip; ++i) bytes[i] = static_cast<unsigned char>(i * 37 + 11);
    return clip;
}

TEST(ClipInfoTest, OnlyTheFourFadeFieldsChange) {
    for (int effect = 0; effect < 14; ++effect) {
        SessionSettings settings = smallSettings(effect);
        const HYPluginClipInfo before = busyClip();
        std::memcpy(&settings.clip, &before, sizeof before);
        Bench bench(settings);
        EXPECT_EQ(std::memcmp(&bench.session.clipInfo(), &before, sizeof before), 0);
        bench.session.close();
        HYPluginClipInfo after;
        std::memcpy(&after, &bench.session.clipInfo(), sizeof after);
        const bool leaves = effect == 2 || effect == 6 || effect == 10;
        const bool arrives = effect == 4 || effect == 8;
        if (leaves) {
            EXPECT_EQ(after.fadeOut, 1);
            EXPECT_EQ(after.ver2.fadeOutFrames, 10);
        }
        if (arrives) {
            EXPECT_EQ(after.fadeIn, 1);
            EXPECT_EQ(after.ver2.fadeInFrames, 10);
        }
        after.fadeIn = before.fadeIn;
        after.fadeOut = before.fadeOut;
        after.ver2.fadeInFrames = before.ver2.fadeInFrames;
        after.ver2.fadeOutFrames = before.ver2.fadeOutFrames;
        EXPECT_EQ(std::memcmp(&after, &before, sizeof before), 0) << effect;
    }
}

TEST(ClipInfoTest, OtherSelectorsAreRefused) {
    Bench bench(smallSettings(2));
    const Replace frame(kPlugDoFrame, [](short, HYPluginParams& params) -> int {
        HYPluginClipInfo clip{};
        EXPECT_EQ(params.procs->GetClipInfo(params.instance, 0, &clip), kPluginBadParams);
        EXPECT_EQ(params.procs->GetClipInfo(params.instance, 2, &clip), kPluginBadParams);
        EXPECT_EQ(params.procs->GetClipInfo(params.instance, 1, nullptr), kPluginBadParams);
        EXPECT_EQ(params.procs->SetClipInfo(params.instance, nullptr), kPluginBadParams);
        EXPECT_EQ(params.procs->GetClipInfo(params.instance, 1, &clip), kPluginOK);
        EXPECT_EQ(clip.volume, 255);
        return kPluginOK;
    });
    EXPECT_TRUE(bench.render(0).ok());
}

TEST(SeedTest, EqualSeedsGiveEqualPicturesAndOthersDoNot) {
    std::set<std::uint64_t> hashes;
    for (unsigned seed = 1; seed <= 5; ++seed) {
        SessionSettings settings = smallSettings();
        settings.seed = seed;
        TestSource source;
        const std::uint64_t hash = runHash(fakeModule(), settings, source);
        std::rand();  // whatever else the program draws in between
        EXPECT_EQ(runHash(fakeModule(), settings, source), hash) << seed;
        hashes.insert(hash);
    }
    EXPECT_EQ(hashes.size(), 5U);
}

TEST(SeedTest, TheProgramsOwnNumbersGoOnWhereTheyStood) {
    std::srand(5);
    std::array<int, 40> alone{}, beside{};
    for (int& number : alone) number = std::rand();
    std::srand(5);
    TestSource source;
    for (int& number : beside) {
        number = std::rand();
        runHash(fakeModule(), smallSettings(), source);
    }
    EXPECT_EQ(beside, alone);
}

TEST(SeedTest, TheDefaultSeedIsOne) {
    SessionSettings one = smallSettings();
    one.seed = 1;
    TestSource source;
    EXPECT_EQ(runHash(fakeModule(), smallSettings(), source), runHash(fakeModule(), one, source));
}

TEST(ThreadTest, EightSessionsSideBySideEqualASingleOne) {
    const auto run = [](int i) {
        SessionSettings settings = smallSettings(i % 2 == 0 ? 3 : 5);
        settings.seed = static_cast<unsigned>(i / 2 + 1);
        settings.audio.rate = 48000;
        TestSource source;
        source.sound = [](const FrameRequest& request, int sample, int) {
            return static_cast<float>(std::sin(0.05 * (request.index * 1601 + sample)));
        };
        return runHash(fakeModule(), settings, source);
    };
    std::vector<std::uint64_t> alone(8);
    for (int i = 0; i < 8; ++i) alone[static_cast<std::size_t>(i)] = run(i);
    std::vector<std::uint64_t> together(8);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&together, &run, i] { together[static_cast<std::size_t>(i)] = run(i); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(together, alone);
    EXPECT_EQ(std::set<std::uint64_t>(alone.begin(), alone.end()).size(), 8U);
}

}  // namespace
}  // namespace tumblewash::test
