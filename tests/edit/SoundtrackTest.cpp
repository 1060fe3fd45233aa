// The sound of a whole result: what plain cuts, seams and loud clips leave of steps and peaks. Clips are
// drawn scenes; samples come from the test.
#include <gtest/gtest.h>

#include <cmath>

#include "edit/Effects.h"
#include "edit/Soundtrack.h"

namespace tumblewash::edit {
namespace {

constexpr int kPairs = 1920;

/// A request of scenes of 10 frames at 25 a second with cuts between them; no file is written.
MovieRequest cuts(const std::vector<std::string>& scenes) {
    Edit edit;
    for (const std::string& scene : scenes) {
        EditClip clip;
        clip.file = scene;
        if (!edit.clips.empty()) {
            clip.seam.emplace();
            clip.seam->effect = "none";
        }
        edit.clips.push_back(clip);
    }
    return prepareMovie(edit, {});
}

std::vector<float> play(const MovieRequest& request, float level) {
    std::vector<float> out;
    Soundtrack track(
        request, [&](std::span<const float> some, bool) { out.insert(out.end(), some.begin(), some.end()); });
    for (std::int64_t frame = 0; frame < request.plan.frames; ++frame)
        track.add(frame, std::vector<float>(2 * kPairs, frame < 10 ? level : -level));
    track.finish();
    return out;
}

constexpr const char* kA = "pattern:harbour?size=64x48&seconds=0.4&fps=25";
constexpr const char* kB = "pattern:city?size=64x48&seconds=0.4&fps=25";

TEST(SoundtrackTest, APlainCutHasARampOfTwoMillisecondsOnBothSides) {
    const std::vector<float> out = play(cuts({kA, kB}), 0.5F);
    ASSERT_EQ(out.size(), 20U * 2 * kPairs);
    float steepest = 0;
    for (std::size_t i = 2; i < out.size(); ++i) steepest = std::max(steepest, std::abs(out[i] - out[i - 2]));
    EXPECT_LE(steepest, 0.5F / 96 + 1e-6F) << "1.0 from one clip to the other without a ramp";
    const std::size_t cut = 10U * 2 * kPairs;
    EXPECT_EQ(out[cut], 0.0F);
    EXPECT_EQ(out[cut - 1], 0.0F);
    EXPECT_EQ(out[cut - 2 * 97], 0.5F);
    EXPECT_EQ(out[cut + 2 * 96], -0.5F);
}

TEST(SoundtrackTest, AClipThatGoesOnWhereItStoppedIsNotFaded) {
    Edit edit;
    for (int i = 0; i < 2; ++i) {
        EditClip clip;
        clip.file = kA;
        clip.in = EditTime{{TimeSpan::Unit::Frames, 5 * i}, {}};
        clip.out = EditTime{{TimeSpan::Unit::Frames, 5 * i + 5}, {}};
        if (i > 0) {
            clip.seam.emplace();
            clip.seam->effect = "none";
        }
        edit.clips.push_back(clip);
    }
    const MovieRequest request = prepareMovie(edit, {});
    const std::vector<float> out = play(request, 0.5F);
    EXPECT_EQ(out, std::vector<float>(10U * 2 * kPairs, 0.5F));
}

TEST(SoundtrackTest, EveryFrameCountsItsSamplesWithTheLimiterToo) {
    const std::vector<float> out = play(cuts({kA, kB}), 1.5F);
    ASSERT_EQ(out.size(), 20U * 2 * kPairs);
    for (const float sample : out) ASSERT_LE(std::abs(sample), 0.8913F);
    EXPECT_GT(out[2 * kPairs], 0.87F);
}

TEST(SoundtrackTest, MonoScenesOfTheWishStayMono) {
    Edit edit;
    for (const char* scene : {kA, kB}) {
        EditClip clip;
        clip.file = scene;
        edit.clips.push_back(clip);
    }
    edit.channels = ChannelChoice::mono;
    MovieRequest request = prepareMovie(edit, {});
    EXPECT_EQ(request.writer.channels, 1);
    std::vector<float> frame(kPairs);
    request.clips[0].nextSamples(frame);
    EXPECT_EQ(frame.size(), std::size_t{kPairs});
    edit.channels = ChannelChoice::keep;
    EXPECT_EQ(prepareMovie(edit, {}).writer.channels, 2);
}

}  // namespace
}  // namespace tumblewash::edit
