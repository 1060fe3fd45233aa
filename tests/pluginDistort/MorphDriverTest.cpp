#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "ImageLib/source/FlowMorph.h"
#include "platform/Carbon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "tests/pluginDistort/FakeHost.h"
#include "tests/pluginDistort/TraceCapture.h"

namespace {

using testing::ElementsAre;
using tumblewash::test::FakeHost;
using tumblewash::test::TestWorld;
using Bytes = std::vector<std::uint8_t>;
using Wrap = PixRectWrap<ARGBVal>;

constexpr int kMorph = 1;

std::unique_ptr<FakeHost> started(int width, int height, int frames) {
    auto host = std::make_unique<FakeHost>(width, height, frames);
    EXPECT_EQ(host->call(kMorph, kPlugInitialize), kPluginOK);
    host->forget();
    return host;
}

void end(FakeHost& host) {
    host.failNothing();
    EXPECT_EQ(host.call(kMorph, kPlugTerminate), kPluginOK);
    EXPECT_EQ(host.blocksAllocated(), 0);
    EXPECT_TRUE(host.clean());
}

Bytes painted(FakeHost& host, int frame, int width, int height) {
    TestWorld world(width, height, width);
    host.paint(frame, world);
    return world.bytes();
}

Wrap wrapped(Bytes& bytes, int width, int height) {
    return Wrap(reinterpret_cast<ARGBVal*>(bytes.data()), width, height, SIAllLines);
}

/// Every frame the driver should make of frames 100 and 100 + count - 1 being the key pictures.
std::vector<Bytes> composedMorph(FakeHost& host, int width, int height, int count) {
    Bytes first = painted(host, 100, width, height), last = painted(host, 100 + count - 1, width, height);
    Wrap f = wrapped(first, width, height), l = wrapped(last, width, height);
    const std::unique_ptr<PixRectRW<RGBPixel<float>>> forward(MakeFlowField(f, l, f)),
        backward(MakeFlowField(l, f, f));
    std::vector<Bytes> frames;
    for (int i = 0; i < count; ++i) {
        const double percent = (i + 1.0) / count;
        Bytes effect(first.size(), 0), out(first.size(), 0);
        Wrap e = wrapped(effect, width, height);
        MorphBetween(f, l, e, forward.get(), static_cast<float>(percent));
        out = effect;
        MorphBetween(l, f, e, backward.get(), static_cast<float>(1 - percent));
        const int level = static_cast<int>(percent * 255);
        for (std::size_t k = 0; k < out.size(); ++k)
            out[k] = static_cast<std::uint8_t>((effect[k] * level + out[k] * (255 - level) + 127) / 255);
        frames.push_back(out);
    }
    return frames;
}

TEST(MorphDriverTest, FramesAreTheForwardPictureUnderTheBackwardOne) {
    for (const auto& [width, height] :
         std::vector<std::pair<int, int>>{{64, 48}, {33, 21}, {17, 16}, {90, 85}}) {
        for (const int proxy : {0, 1}) {
            auto host = started(width, height, 5);
            host->params.proxyOnly = static_cast<Boolean>(proxy);
            const std::vector<Bytes> expected = composedMorph(*host, width, height, 5);
            for (int frame = 0; frame < 5; ++frame) {
                ASSERT_EQ(host->render(kMorph, frame), kPluginOK);
                EXPECT_EQ(host->destination().bytes(), expected[static_cast<std::size_t>(frame)])
                    << width << "x" << height << " frame " << frame;
                EXPECT_TRUE(host->clean());
            }
            end(*host);
        }
    }
}

TEST(MorphDriverTest, TheFirstFrameFetchesBothKeysAndLaterOnesOnlyTheirOwn) {
    auto host = started(48, 32, 10);
    EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
    EXPECT_THAT(host->callbacks(),
                ElementsAre("GetFrame 100 48x32 high", "MixAudio 100 256", "GetFrame 109 48x32 high",
                            "ReleaseFrame 109", "Blit 0,0,48,32 0,0,48,32 25", "ReleaseFrame 100"));
    host->forget();
    EXPECT_EQ(host->render(kMorph, 9), kPluginOK);
    EXPECT_THAT(host->callbacks(), ElementsAre("GetFrame 109 48x32 high", "MixAudio 109 256",
                                               "Blit 0,0,48,32 0,0,48,32 255", "ReleaseFrame 109"));
    end(*host);
}

TEST(MorphDriverTest, FractionsCountFromOneToOne) {
    auto host = started(32, 32, 4);
    for (int frame = 0; frame < 4; ++frame) host->render(kMorph, frame);
    EXPECT_THAT(host->blitLevels, ElementsAre(63, 127, 191, 255));
    end(*host);
}

TEST(MorphDriverTest, AtTheEndTheLastKeyPictureStandsUnmoved) {
    auto host = started(64, 48, 6);
    host->render(kMorph, 0);
    EXPECT_EQ(host->render(kMorph, 5), kPluginOK);
    const Bytes last = painted(*host, 105, 64, 48);
    for (std::size_t i = 0; i < last.size(); ++i)
        if (i % 4 != 0) {
            ASSERT_EQ(host->destination().bytes()[i], last[i]);
        }
    end(*host);
}

TEST(MorphDriverTest, FewerThanThreeFramesAreCopiedAsTheyAre) {
    for (const int count : {1, 2}) {
        auto host = started(48, 32, count);
        for (int frame = 0; frame < count; ++frame) {
            host->forget();
            EXPECT_EQ(host->render(kMorph, frame), kPluginOK);
            EXPECT_EQ(host->destination().bytes(), painted(*host, 100 + frame, 48, 32));
            EXPECT_EQ(host->count("GetFrame"), 1);
            EXPECT_EQ(host->count("Blit"), 0);
        }
        EXPECT_EQ(host->state()->flowField1, nullptr);
        EXPECT_EQ(host->state()->firstFrame, nullptr);
        end(*host);
    }
}

TEST(MorphDriverTest, SoundPlaysAtFullLevelAndItsFailureIsIgnored) {
    auto host = started(32, 32, 3);
    host->volumes[101] = 200;
    host->fail("MixAudio", 0, kPluginFailed);
    EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
    EXPECT_EQ(host->render(kMorph, 1), kPluginOK);
    EXPECT_THAT(host->mixes, ElementsAre(std::make_pair(100, 256), std::make_pair(101, 200)));
    host->params.proxyOnly = 1;
    EXPECT_EQ(host->render(kMorph, 2), kPluginOK);
    EXPECT_EQ(host->mixes.size(), 2u);
    end(*host);
}

TEST(MorphDriverTest, SoundIsMixedBeforeThePictureIsMade) {
    auto host = started(32, 32, 3);
    host->render(kMorph, 0);
    std::size_t mix = 0, text = 0;
    for (std::size_t i = 0; i < host->events.size(); ++i) {
        if (host->events[i].rfind("MixAudio", 0) == 0) mix = i;
        if (host->events[i] == "log Morphing frame 0 result=0\n\r") text = i;
    }
    EXPECT_LT(mix, text);
    end(*host);
}

TEST(MorphDriverTest, PreviewsAskForLowQualityUpTo259Rows) {
    for (const int height : {259, 260}) {
        auto host = started(32, height, 3);
        host->params.proxyOnly = 1;
        EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
        const std::string quality = height == 259 ? " low" : " high";
        EXPECT_EQ(host->callbacks()[0], "GetFrame 100 32x" + std::to_string(height) + quality);
        EXPECT_EQ(host->callbacks()[1], "GetFrame 102 32x" + std::to_string(height) + quality);
        end(*host);
    }
}

TEST(MorphDriverTest, OnlyTheCurrentFrameNumberIsTested) {
    auto host = started(32, 32, 10);
    host->params.startFrame = -1;
    EXPECT_EQ(host->render(kMorph, 0), kPluginFailed);
    EXPECT_TRUE(host->callbacks().empty());
    host->params.startFrame = 2147483640;
    EXPECT_EQ(host->render(kMorph, 0),
              kPluginOK);  // the last frame's number wraps and is asked for all the same
    EXPECT_EQ(host->callbacks()[2], "GetFrame -2147483647 32x32 high");
    end(*host);
}

TEST(MorphDriverTest, KeyPicturesAreCopiesOfTheirOwn) {
    auto host = started(40, 30, 5);
    host->render(kMorph, 0);
    const Wrap* first = host->state()->firstFrame;
    const Wrap* last = host->state()->lastFrame;
    ASSERT_TRUE(first && last);
    EXPECT_TRUE(first->owndata());
    EXPECT_TRUE(last->owndata());
    EXPECT_EQ(std::memcmp(first->getwrapdata(), painted(*host, 100, 40, 30).data(), 40 * 30 * 4), 0);
    EXPECT_EQ(std::memcmp(last->getwrapdata(), painted(*host, 104, 40, 30).data(), 40 * 30 * 4), 0);
    const auto* field = host->state()->flowField1;
    host->render(kMorph, 3);
    EXPECT_EQ(host->state()->firstFrame, first);  // kept to the end
    EXPECT_EQ(host->state()->flowField1, field);
    end(*host);
}

TEST(MorphDriverTest, WhateverFrameComesFirstBecomesTheFirstKey) {
    auto host = started(40, 30, 8);
    host->render(kMorph, 3);
    EXPECT_EQ(std::memcmp(host->state()->firstFrame->getwrapdata(), painted(*host, 103, 40, 30).data(),
                          40 * 30 * 4),
              0);
    end(*host);
}

TEST(MorphDriverTest, ALastFrameThatCannotBeHadIsSwallowedAndTriedAgain) {
    for (const bool nullWorld : {false, true}) {
        auto host = started(48, 32, 6);
        if (nullWorld)
            host->nullWorlds = {105};
        else
            host->fail("GetFrame", 2, kPluginTryAgainLater);
        EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
        EXPECT_EQ(host->destination().bytes(), painted(*host, 100, 48, 32));
        EXPECT_EQ(host->state()->flowField1, nullptr);
        EXPECT_EQ(host->count("ReleaseFrame"), 1);
        EXPECT_TRUE(host->clean());
        host->nullWorlds.clear();
        host->failNothing();
        host->forget();
        EXPECT_EQ(host->render(kMorph, 1), kPluginOK);
        EXPECT_EQ(host->count("GetFrame"), 2);
        EXPECT_NE(host->state()->flowField1, nullptr);
        EXPECT_EQ(host->count("Blit"), 1);
        end(*host);
    }
}

TEST(MorphDriverTest, TheFirstFrameRefusedLeavesNothing) {
    for (int code = 1; code <= 255; ++code) {
        auto host = started(32, 32, 4);
        host->fail("GetFrame", 1, static_cast<HYPluginResult>(code));
        EXPECT_EQ(host->render(kMorph, 0), code);
        EXPECT_EQ(host->callbacks().size(), 1u);
        EXPECT_TRUE(host->clean());
        end(*host);
    }
    auto host = started(32, 32, 4);
    host->nullWorlds = {100};
    EXPECT_EQ(host->render(kMorph, 0), kPluginCantGetNeededFrame);
    EXPECT_TRUE(host->clean());
    end(*host);
}

/// Frames stay lent; the morph gives its locks back.
void expectOnlyLent(FakeHost& host, int frames) {
    EXPECT_EQ(host.framesLent(), frames);
    EXPECT_EQ(host.lockedFrames(), 0);
    EXPECT_FALSE(host.destinationLocked());
    EXPECT_FALSE(host.effectWorldKept());
    EXPECT_EQ(host.count("ReleaseFrame"), 0);
    host.takeEverythingBack();
}

TEST(MorphDriverTest, AnEffectWorldThatCannotBeMadeLeavesTheFrameLent) {
    for (const Rect& bounds : {Rect{0, 0, 0, 0}, Rect{0, 0, 32, 5000}}) {
        auto host = started(48, 32, 6);
        host->paint = [&bounds](int, TestWorld& world) {
            (**GetGWorldPixMap(world.world())).bounds = bounds;
        };
        EXPECT_EQ(host->render(kMorph, 0), kPluginFailed);
        EXPECT_EQ(host->count("MixAudio"), 0);
        expectOnlyLent(*host, 1);
        host->paint = tumblewash::test::paintTestPicture;
        EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
        end(*host);
    }
}

TEST(MorphDriverTest, MapsOfAnotherShapeAreRefused) {
    for (const FakeHost::FrameShape& shape :
         {FakeHost::FrameShape{48, 32, 50}, {47, 32, 47}, {48, 31, 48}, {48, 32, 49}}) {
        auto host = started(48, 32, 6);
        host->shapes[105] = shape;
        EXPECT_EQ(host->render(kMorph, 0), kPluginFailed);  // the last frame does not fit the first
        EXPECT_EQ(host->state()->flowField1, nullptr);
        EXPECT_EQ(host->state()->firstFrame, nullptr);
        expectOnlyLent(*host, 2);
        host->shapes.clear();
        host->forget();
        EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
        host->shapes[102] = shape;
        host->forget();
        EXPECT_EQ(host->render(kMorph, 2),
                  kPluginFailed);  // a later frame does not fit the keys or its effect world
        expectOnlyLent(*host, 1);
        host->shapes.clear();
        EXPECT_EQ(host->render(kMorph, 2), kPluginOK);
        end(*host);
    }
    auto host = started(48, 32, 6);
    host->shapes[100] = {48, 32, 50};
    EXPECT_EQ(host->render(kMorph, 0), kPluginFailed);
    expectOnlyLent(*host, 1);
    end(*host);
}

TEST(MorphDriverTest, AFailedReleaseOfTheLastFrameWinsAfterRendering) {
    auto host = started(48, 32, 6);
    const std::vector<Bytes> expected = composedMorph(*host, 48, 32, 6);
    host->fail("ReleaseFrame", 1, kPluginOutOfDiskSpace);
    EXPECT_EQ(host->render(kMorph, 0), kPluginOutOfDiskSpace);
    EXPECT_EQ(host->destination().bytes(), expected[0]);
    EXPECT_TRUE(host->clean());
    EXPECT_NE(host->state()->flowField1, nullptr);
    host->failNothing();
    EXPECT_EQ(host->render(kMorph, 1), kPluginOK);
    end(*host);

    auto other = started(48, 32, 6);
    other->fail("ReleaseFrame", 2, kPluginFailed);
    EXPECT_EQ(other->render(kMorph, 0), kPluginFailed);
    EXPECT_TRUE(other->clean());
    end(*other);
}

TEST(MorphDriverTest, ACookieOfNullIsNotReleasedForTheLastFrame) {
    auto host = started(48, 32, 6);
    host->lendCookies = false;
    EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
    EXPECT_EQ(host->count("ReleaseFrame"), 1);
    host->takeEverythingBack();
    end(*host);
}

TEST(MorphDriverTest, SourceRectangleIsTheWorldsOwnAndOnceTheLastFrames) {
    auto host = started(48, 32, 6);
    host->shapes[100] = {48, 32, 48, 5, 3};
    host->shapes[101] = {48, 32, 48, 5, 3};
    host->shapes[105] = {48, 32, 48, -7, 2};
    EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
    EXPECT_EQ(host->render(kMorph, 1), kPluginOK);
    std::vector<std::string> blits;
    for (const std::string& call : host->callbacks())
        if (call.rfind("Blit", 0) == 0) blits.push_back(call);
    EXPECT_THAT(blits, ElementsAre("Blit -7,2,41,34 0,0,48,32 42", "Blit 5,3,53,35 0,0,48,32 85"));
    end(*host);
}

TEST(MorphDriverTest, ForwardPictureCoversTheDestinationAndTheBackwardOneItsRectangle) {
    auto host = started(48, 32, 4);
    host->useDestination(std::make_unique<TestWorld>(96, 64, 96));
    SetRect(&host->params.frameRect, 40, 20, 88, 52);
    EXPECT_EQ(host->render(kMorph, 3), kPluginOK);  // rendered first, the last frame is both key pictures
    Bytes key = painted(*host, 103, 48, 32), forward(key.size(), 0), backward(key.size(), 0);
    Wrap k = wrapped(key, 48, 32), f = wrapped(forward, 48, 32), b = wrapped(backward, 48, 32);
    const std::unique_ptr<PixRectRW<RGBPixel<float>>> field(MakeFlowField(k, k, k));
    MorphBetween(k, k, f, field.get(), 1.0f);
    MorphBetween(k, k, b, field.get(), 0.0f);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            const bool blended =
                x >= 40 && x < 88 && y >= 20 && y < 52;  // at full level: the backward picture alone
            const int sx = blended ? x - 40 : x / 2, sy = blended ? y - 20 : y / 2;
            const Bytes& from = blended ? backward : forward;
            const auto at = (static_cast<std::size_t>(sy) * 48 + static_cast<std::size_t>(sx)) * 4;
            ASSERT_EQ(std::memcmp(host->destination().pixel(x, y), from.data() + at, 4), 0) << x << "," << y;
        }
    }
    end(*host);
}

TEST(MorphDriverTest, GapsAndOriginOfTheDestinationDoNotChangeThePicture) {
    struct Destination {
        int gap, left, top;
    };
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{{48, 32}, {33, 21}, {17, 16}}) {
        auto model = started(width, height, 5);
        const Bytes expected = composedMorph(*model, width, height, 5)[2];
        end(*model);
        for (const Destination& d : {Destination{0, 0, 0}, {7, 0, 0}, {0, 5, 3}, {0, -4, 0}, {3, 0, -2}}) {
            auto host = started(width, height, 5);
            auto destination = std::make_unique<TestWorld>(width, height, width + d.gap, d.left, d.top);
            std::fill(destination->bytes().begin(), destination->bytes().end(), std::uint8_t{0xEE});
            host->useDestination(std::move(destination));
            SetRect(&host->params.frameRect, static_cast<short>(d.left), static_cast<short>(d.top),
                    static_cast<short>(d.left + width), static_cast<short>(d.top + height));
            host->render(kMorph, 0);
            std::fill(host->destination().bytes().begin(), host->destination().bytes().end(),
                      std::uint8_t{0xEE});
            ASSERT_EQ(host->render(kMorph, 2), kPluginOK);
            for (int y = 0; y < height; ++y) {
                const auto row = static_cast<std::size_t>(y * width) * 4;
                ASSERT_EQ(std::memcmp(host->destination().pixel(0, y), &expected[row],
                                      static_cast<std::size_t>(width) * 4),
                          0)
                    << width << "x" << height << " gap " << d.gap << " at " << d.left << "," << d.top
                    << " row " << y;
                for (int x = width; x < width + d.gap; ++x) ASSERT_EQ(*host->destination().pixel(x, y), 0xEE);
            }
            end(*host);
        }
    }
}

TEST(MorphDriverTest, BothMorphsTraceTheirLastRow) {
    for (const int gap : {0, 4}) {
        auto host = started(48, 32, 4);
        host->useDestination(std::make_unique<TestWorld>(48, 32, 48 + gap));
        host->render(kMorph, 0);
        tumblewash::test::TraceCapture trace;
        EXPECT_EQ(host->render(kMorph, 1), kPluginOK);
        const std::string line = "MorphBetween2- Last Row = Even=15 Odd=15\n";
        const std::string told = trace.text();
        const std::size_t first = told.find(line);
        ASSERT_NE(first, std::string::npos);
        EXPECT_NE(told.find(line, first + 1), std::string::npos);
        end(*host);
    }
}

TEST(MorphDriverTest, TextsAndTracesComeInOrder) {
    auto host = started(48, 32, 4);
    tumblewash::test::TraceCapture trace;
    EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
    std::vector<std::string> logs = host->logs();
    ASSERT_EQ(logs.size(), 2u + 288u + 6u);
    EXPECT_EQ(logs[0], "kPlugDoFrame");
    EXPECT_EQ(logs[1], "Morphing frame 0 result=0\n\r");
    EXPECT_EQ(logs[2].rfind("Flow at 3 3 is ", 0), 0u);
    EXPECT_EQ(logs[289].rfind("Flow at 36 36 is ", 0), 0u);
    const std::vector<std::string> morphs(logs.end() - 6, logs.end());
    EXPECT_THAT(morphs, ElementsAre("MorphBetween1\n\r", "MorphBetween2\n\r", "MorphBetween3\n\r",
                                    "MorphBetween1\n\r", "MorphBetween2\n\r", "MorphBetween3\n\r"));
    std::size_t at = 0;
    for (const char* line :
         {"TransitionCrossDissolve Doing frame 0 first=100 last=103\n\r",
          "Getting last frame for matching\n\r", "Source and dest are 40x40 and 40x40\n\r",
          "Morphing between\n\r", "MorphBetween2- Last Row = Even=15 Odd=15\n", "Releasing frames\n\r"}) {
        const std::size_t found = trace.text().find(line, at);
        ASSERT_NE(found, std::string::npos) << line;
        at = found;
    }
    end(*host);
}

TEST(MorphDriverTest, DebugStatesAreKeptAroundTheMorph) {
    auto host = started(48, 32, 4);
    host->render(kMorph, 0);
    host->state()->firstFrame->debugon(DBGRect);
    host->state()->lastFrame->debugon(DBGCache);
    host->state()->flowField1->debugon(DBGMem);
    host->render(kMorph, 1);
    EXPECT_EQ(host->state()->firstFrame->dbgstate().value(), DBGRect);
    EXPECT_EQ(host->state()->lastFrame->dbgstate().value(), DBGCache);
    EXPECT_EQ(host->state()->flowField1->dbgstate().value(), DBGMem);
    end(*host);
}

TEST(MorphDriverTest, LocksAreHeldUntilTheFramesAreReturned) {
    auto host = started(48, 32, 4);
    int releases = 0;
    host->onCallback = [&](const std::string& callback) {
        if (callback != "ReleaseFrame") return;
        EXPECT_TRUE(host->destinationLocked());
        EXPECT_EQ(host->lockedFrames(), host->framesLent());
        EXPECT_TRUE(host->effectWorldKept());
        ++releases;
    };
    EXPECT_EQ(host->render(kMorph, 0), kPluginOK);
    EXPECT_EQ(releases, 2);
    EXPECT_FALSE(host->destinationLocked());
    host->onCallback = nullptr;
    end(*host);
}

TEST(MorphDriverTest, CalledWithoutStateItIsBadParams) {
    FakeHost host(32, 32, 4);
    EXPECT_EQ(TransitionCrossDissolve(&host.params), kPluginBadParams);
    host.params.startFrame = -4;
    EXPECT_EQ(TransitionCrossDissolve(&host.params), kPluginFailed);
    EXPECT_TRUE(host.callbacks().empty());
}

}  // namespace
