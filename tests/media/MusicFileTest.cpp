// Music that begins anew at its end, and loudness as it is measured.
#include <cmath>

#include "media/Loudness.h"
#include "media/MusicFile.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::Loudness;
using media::LoudnessMeter;
using media::MediaErrorCode;
using media::MusicFile;

namespace {

constexpr size_t kRate = 48000;

TEST(MusicFileTest, TheEndGoesIntoTheBeginningWithoutAStep) {
    const TempDir dir;
    // 1.5 s and a quarter of a period: played end to end it would jump by half of full scale.
    ffmpeg("-f lavfi -i aevalsrc='0.5*sin(2*PI*100*t)':d=1.5025:s=48000 -c:a pcm_f32le " + dir / "m.wav");
    MusicFile music(dir / "m.wav", kRate, 1, nullptr);
    std::vector<float> sound(6 * kRate);
    for (size_t at = 0; at < sound.size(); at += 1920) music.read(sound.data() + at, 1920);
    for (size_t i = 0; i < 71000; ++i)
        ASSERT_NEAR(sound[i], 0.5 * std::sin(2 * M_PI * 100 * static_cast<double>(i) / kRate), 1e-5) << i;
    for (size_t i = 1; i < sound.size(); ++i)
        ASSERT_LE(std::abs(sound[i] - sound[i - 1]), 0.5 * 2 * M_PI * 100 / kRate + 1.0 / 480) << i;
    // 72120 sample frames, of which 480 lie over the next beginning.
    const size_t loop = 72120 - MusicFile::kOverlap;
    for (size_t i = 0; i < 50000; ++i) ASSERT_EQ(sound[2 * loop + 1000 + i], sound[loop + 1000 + i]) << i;
}

TEST(MusicFileTest, PassingOverSamplesIsReadingThem) {
    const TempDir dir;
    ffmpeg("-f lavfi -i aevalsrc='0.5*sin(2*PI*(100*t+90*t*t))':d=1.2:s=44100 -c:a libmp3lame " +
           dir / "m.mp3");
    MusicFile read(dir / "m.mp3", kRate, 2, nullptr);
    MusicFile skipped(dir / "m.mp3", kRate, 2, nullptr);
    std::vector<float> all(2 * 3 * kRate);
    read.read(all.data(), 3 * kRate);
    skipped.skip(2 * kRate + 77);
    std::vector<float> rest(2 * 1000);
    skipped.read(rest.data(), 1000);
    EXPECT_TRUE(std::equal(rest.begin(), rest.end(), all.begin() + 2 * (2 * kRate + 77)));
}

TEST(MusicFileTest, WhatIsNoMusicIsRefusedInOneLine) {
    const TempDir dir;
    writeFile(dir / "empty.mp3", "");
    writeFile(dir / "text.mp3", "no music at all, and some more words to make it longer than nothing");
    ffmpeg("-f lavfi -i testsrc=s=64x48:r=25:d=1 -c:v libx264 " + dir / "mute.mp4");
    ffmpeg("-f lavfi -i sine=d=0.5 -c:a pcm_s16le " + dir / "brief.wav");
    for (const char* name : {"empty.mp3", "text.mp3", "mute.mp4", "brief.wav", "gone.mp3"}) {
        const MediaErrorCode code = failureOf([&] { MusicFile::check(dir / name, nullptr); }, name);
        EXPECT_TRUE(code == MediaErrorCode::undecodable || code == MediaErrorCode::unreadable) << name;
    }
    EXPECT_EQ(failureOf([&] { MusicFile::check(dir.path(), nullptr); }, dir.path()),
              MediaErrorCode::unreadable);
}

TEST(LoudnessTest, ASineOfMinus20DecibelsIsAsLoudAsTheStandardSays) {
    LoudnessMeter meter(2, kRate);
    std::vector<float> block(2 * 4800);
    size_t at = 0;
    for (int n = 0; n < 40; ++n) {
        for (size_t i = 0; i < 4800; ++i, ++at)
            block[2 * i] = block[2 * i + 1] =
                static_cast<float>(0.1 * std::sin(2 * M_PI * 997 * static_cast<double>(at) / kRate));
        meter.add(block);
    }
    const Loudness heard = meter.finish();
    EXPECT_NEAR(heard.integrated, -20.0, 0.15);
    EXPECT_NEAR(heard.truePeak, 0.1, 0.002);
}

TEST(LoudnessTest, SilenceAndAMomentAreMinus70) {
    LoudnessMeter silent(2, kRate);
    silent.add(std::vector<float>(2 * kRate, 0.0F));
    EXPECT_LE(silent.finish().integrated, -69.9);
    LoudnessMeter brief(1, kRate);
    brief.add(std::vector<float>(1000, 0.5F));
    EXPECT_LE(brief.finish().integrated, -69.9);
}

}  // namespace

}  // namespace tumblewash::test
