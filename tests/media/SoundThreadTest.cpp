// Sound beside pictures: in order, whole, and what goes wrong on either side ends both.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/Writer.h"
#include "media/detail/SoundThread.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::MediaErrorCode;
using media::SoundCodec;
using media::SoundThread;
using media::Writer;
using media::WriterSettings;

namespace {

/// A movie with a tone, each picture with its sound.
std::string movie(const std::string& file, const WriterSettings& settings) {
    Writer writer = Writer::open(file, settings);
    std::vector<float> tone(2 * static_cast<size_t>(settings.sampleRate / 25));
    for (int i = 0; i < 30; ++i) {
        for (size_t k = 0; k < tone.size(); ++k)
            tone[k] = 0.3F * std::sin(static_cast<float>(k / 2) * 0.01F * static_cast<float>(i + 1));
        writer.writePicture(solid(settings.width, settings.height, {i * 8, 255 - i * 5, i * 3}));
        writer.writeSamples(tone.data(), tone.size() / 2);
    }
    writer.commit();
    return readFile(file);
}

}  // namespace

TEST(SoundThreadTest, PiecesAreTakenInOrderAndAllBeforeTheEnd) {
    std::vector<float> taken;
    std::vector<bool> owned;
    SoundThread thread("out", 2, nullptr, [&](const float* samples, size_t frames, bool own) {
        taken.insert(taken.end(), samples, samples + 2 * frames);
        owned.push_back(own);
    });
    std::vector<float> given;
    for (int i = 0; i < 200; ++i) {
        const std::array<float, 4> piece{static_cast<float>(i), 1, 2, 3};
        thread.samples(piece.data(), 2, i < 7);
        given.insert(given.end(), piece.begin(), piece.end());
    }
    thread.finish();
    EXPECT_EQ(taken, given);
    ASSERT_EQ(owned.size(), 200U);
    EXPECT_EQ(std::count(owned.begin(), owned.end(), true), 7);
    EXPECT_TRUE(owned[6]);
}

TEST(SoundThreadTest, WhatItThrowsIsThrownByTheNextCallAndAtTheEnd) {
    int calls = 0;
    SoundThread thread("out", 1, nullptr, [&](const float*, size_t, bool) {
        ++calls;
        throw std::runtime_error("mine");
    });
    const float sample = 0;
    // Pieces may still be put into the queue before the first one is looked at, but no more than it holds.
    EXPECT_THROW(
        {
            for (int i = 0; i < 1000; ++i) thread.samples(&sample, 1, false);
        },
        std::runtime_error);
    EXPECT_THROW(thread.finish(), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST(SoundThreadTest, ARaisedFlagEndsTheWait) {
    std::atomic<bool> cancel{false};
    std::promise<void> go;
    const std::shared_future<void> gone = go.get_future().share();
    SoundThread thread("out", 1, &cancel, [&](const float*, size_t, bool) { gone.wait(); });
    std::promise<void> given;
    auto giver = std::async(std::launch::async, [&] {
        const float sample = 0;
        thread.samples(&sample, 1, false);
        given.set_value();
        // More than may wait, and nothing is taken.
        for (int i = 0; i < 1000; ++i) thread.samples(&sample, 1, false);
    });
    given.get_future().wait();
    cancel = true;
    EXPECT_EQ(failureOf([&] { giver.get(); }, "out"), MediaErrorCode::cancelled);
    go.set_value();
}

TEST(SoundThreadTest, TheFileIsTheSameToTheByte) {
    const TempDir dir;
    struct Kind {
        const char* name;
        SoundCodec codec;
    };
    for (const Kind& kind : {Kind{"a.mp4", SoundCodec::usual}, Kind{"a.webm", SoundCodec::usual},
                             Kind{"a.mov", SoundCodec::pcm}, Kind{"a.mkv", SoundCodec::flac}}) {
        WriterSettings settings = smallMovie();
        settings.rate = {25, 1};
        settings.soundCodec = kind.codec;
        settings.soundBits = 16;
        settings.force = true;
        const std::string alone = movie(dir / kind.name, settings);
        settings.soundThread = true;
        EXPECT_EQ(movie(dir / kind.name, settings), alone) << kind.name;
        settings.ownThread = false;
        EXPECT_EQ(movie(dir / kind.name, settings), alone) << kind.name;
    }
}

TEST(SoundThreadTest, AMovieThatIsGivenUpLeavesNothing) {
    const TempDir dir;
    WriterSettings settings = smallMovie();
    settings.soundThread = true;
    {
        Writer writer = Writer::open(dir / "a.mp4", settings);
        const std::vector<float> tone(2 * 48000, 0.1F);
        for (int i = 0; i < 5; ++i) writer.writePicture(solid(settings.width, settings.height, {1, 2, 3}));
        writer.writeSamples(tone.data(), tone.size() / 2);
    }
    EXPECT_TRUE(dir.names().empty());
}

}  // namespace tumblewash::test
