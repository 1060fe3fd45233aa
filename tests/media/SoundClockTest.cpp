// Where pieces of sound are placed by their times, as seen by SoundClock alone, and how samples are won and
// lost without a step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

#include "media/detail/SoundClock.h"
#include "media/detail/SoundSlide.h"

namespace tumblewash::test {

using media::SoundClock;
using media::SoundPiece;
using media::SoundPlacing;
using media::SoundSlide;

namespace {

constexpr double kPiece = 1024.0 / 48000;

struct Track {
    double silence = 0;
    double dropped = 0;
    double owed = 0;
    double most = 0;  // the largest single silence
};

/// Places pieces whose times `time` gives from their number; a window of a second at most is known ahead.
Track run(int count, const std::function<double(int)>& time) {
    std::vector<SoundPiece> pieces;
    for (int i = 0; i < count; ++i) pieces.push_back({time(i), kPiece});
    SoundClock clock;
    Track out;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::size_t ahead = std::min<std::size_t>(47, pieces.size() - i);
        const SoundPlacing placing = clock.place(std::span(pieces).subspan(i, ahead));
        out.silence += placing.silence;
        out.dropped += placing.dropped;
        out.owed += placing.owed;
        out.most = std::max(out.most, placing.silence);
    }
    return out;
}

double regular(int i) {
    return i * kPiece;
}

TEST(SoundClockTest, JitterIsAbsorbed) {
    for (const double jitter : {0.018, 0.045}) {
        const Track track = run(2000, [&](int i) {
            const double noise = std::sin(i * 12.9898) * 43758.5453;
            return regular(i) + (i == 0 ? 0 : jitter * (2 * (noise - std::floor(noise)) - 1));
        });
        EXPECT_EQ(track.silence, 0) << jitter;
        EXPECT_EQ(track.dropped, 0) << jitter;
        EXPECT_EQ(track.owed, 0) << jitter;
    }
}

TEST(SoundClockTest, TheFirstTimeIsWhereTheTrackBegins) {
    EXPECT_NEAR(run(100, [](int i) { return 0.3 + regular(i); }).silence, 0.3, 1e-9);
    EXPECT_NEAR(run(100, [](int i) { return -0.4 + regular(i); }).dropped, 0.4, 1e-9);
}

TEST(SoundClockTest, AHoleIsSilenceWhereItIsAndAnOverlapIsDropped) {
    const Track hole = run(300, [](int i) { return regular(i) + (i < 100 ? 0 : 0.75); });
    EXPECT_NEAR(hole.silence, 0.75, 1e-9);
    EXPECT_NEAR(hole.most, 0.75, 1e-9);
    EXPECT_EQ(hole.dropped, 0);
    const Track overlap = run(300, [](int i) { return regular(i) - (i < 100 ? 0 : 0.5); });
    EXPECT_NEAR(overlap.dropped, 0.5, 1e-9);
    EXPECT_EQ(overlap.silence, 0);
}

TEST(SoundClockTest, AGlitchOfAFewPiecesIsNotBelieved) {
    const Track track = run(300, [](int i) { return regular(i) + (i > 100 && i < 110 ? 0.5 : 0); });
    EXPECT_EQ(track.silence + track.dropped, 0);
    EXPECT_EQ(track.owed, 0);
}

TEST(SoundClockTest, AClockThatStartsAnewIsFollowedWithoutSilence) {
    for (const double jump : {400.0, -400.0}) {
        const Track track = run(300, [&](int i) { return regular(i) + (i < 150 ? 0 : jump); });
        EXPECT_EQ(track.silence + track.dropped, 0) << jump;
    }
}

TEST(SoundClockTest, UselessTimesAreCountedBySamples) {
    // Always the same, a fifth of the right pace, in steps of ten pieces, backwards.
    const std::function<double(int)> tracks[] = {
        [](int) { return 0.0; }, [](int i) { return 0.22 * regular(i); },
        [](int i) { return regular(i - i % 10); }, [](int i) { return i == 0 ? 0 : -regular(i); }};
    for (const auto& time : tracks) {
        const Track track = run(600, time);
        EXPECT_EQ(track.silence, 0);
        EXPECT_EQ(track.dropped, 0);
        EXPECT_EQ(track.owed, 0);
    }
}

TEST(SoundClockTest, ALastingOffsetIsMadeGoodSlowly) {
    const double offset = 0.06;
    const Track track = run(3000, [&](int i) { return regular(i) + (i < 100 ? 0 : offset); });
    EXPECT_EQ(track.silence + track.dropped, 0);
    EXPECT_NEAR(track.owed, offset, 0.001);
    // 60 ms at 0.3 % take 20 s: half of them are not there after 8 s.
    EXPECT_LT(run(475, [&](int i) { return regular(i) + (i < 100 ? 0 : offset); }).owed, offset / 2);
}

TEST(SoundClockTest, ADriftOfATenthOfAPercentIsFollowed) {
    const int count = static_cast<int>(300 / kPiece);
    const Track track = run(count, [](int i) { return 1.001 * regular(i); });
    EXPECT_EQ(track.silence + track.dropped, 0);
    EXPECT_NEAR(track.owed, 0.3, 0.03);
}

TEST(SoundSlideTest, WithNothingOwedSamplesPassBitByBit) {
    std::vector<float> in;
    for (int i = 0; i < 5000; ++i) in.push_back(static_cast<float>(std::sin(i * 0.1)));
    SoundSlide slide(2);
    std::vector<float> out;
    slide.owe(0.7);
    slide.pass(in.data(), 1000, out);
    slide.pass(in.data() + 2000, 1500, out);
    slide.flush(out);
    EXPECT_EQ(out, in);
}

TEST(SoundSlideTest, SamplesAreWonAndLostWithoutAStep) {
    const double step = 2 * std::numbers::pi * 997 / 48000;
    std::vector<float> in;
    for (int i = 0; i < 9600; ++i) in.push_back(static_cast<float>(std::sin(i * step)));
    for (const int owed : {7, -7}) {
        SoundSlide slide(1);
        std::vector<float> out;
        slide.owe(owed);
        for (std::size_t at = 0; at < in.size(); at += 480) slide.pass(in.data() + at, 480, out);
        slide.flush(out);
        ASSERT_EQ(out.size(), in.size() + static_cast<std::size_t>(owed + 7) - 7);
        for (std::size_t i = 1; i < out.size(); ++i)
            ASSERT_LE(std::abs(out[i] - out[i - 1]), step * 1.01) << owed << " " << i;
        // The end is the track's own end, later or earlier by as much.
        for (std::size_t i = 0; i < 1000; ++i) ASSERT_EQ(out[out.size() - 1 - i], in[in.size() - 1 - i]);
    }
}

}  // namespace

}  // namespace tumblewash::test
