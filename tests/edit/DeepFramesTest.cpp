// Transitions over deep pixels, as the pass over a movie asks for them: pictures, levels, clip record.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "edit/DeepFrames.h"
#include "edit/Effects.h"

namespace tumblewash::edit {

using host::PluginModule;
using media::kDeepBlack;
using media::kDeepOpaque;
using media::kDeepWhite;
using media::PictureRef;
using media::PixelLayout;

namespace {

constexpr int kWidth = 64, kHeight = 48, kFrames = 10;

/// Opaque noise between black and white.
PictureRef noise(unsigned seed) {
    std::mt19937 random(seed);
    PictureRef picture = PictureRef::makeDeep(kWidth, kHeight);
    for (int i = 0; i < kWidth * kHeight * 4; ++i)
        picture.words()[i] =
            i % 4 == 0 ? kDeepOpaque : static_cast<std::uint16_t>(kDeepBlack + random() % 56065);
    return picture;
}

bool equal(const PictureRef& a, const PictureRef& b) {
    return a.layout() == b.layout() && a.layout() == PixelLayout::deep &&
           std::memcmp(a.words(), b.words(), static_cast<std::size_t>(a.stride() * a.height())) == 0;
}

TransitionJob jobFor(const PluginModule& module, const std::string& id, PixelLayout layout) {
    TransitionJob job;
    job.effect = findEffect(module, id);
    job.size = {kWidth, kHeight};
    job.frames = kFrames;
    job.framesA = job.framesB = kFrames;
    job.seed = 5;
    job.direction = kPluginDirectionLeft;
    job.layout = layout;
    return job;
}

struct Rendered {
    std::vector<TransitionFrame> frames;
    HYPluginClipInfo clip;
};

Rendered render(const PluginModule& module, const TransitionJob& job, int sessions,
                const std::vector<PictureRef>& a, const std::vector<PictureRef>& b) {
    const bool morph = placementOf(job.effect) == Placement::Halves;
    const bool two = placementOf(job.effect) == Placement::Overlap;
    Rendered out;
    ParallelRenderer renderer(module, job, sessions, morph ? b.back() : PictureRef());
    std::int64_t submitted = 0;
    for (std::int64_t k = 0; k < job.frames; ++k) {
        for (; submitted < job.frames && submitted - k < static_cast<std::int64_t>(renderer.window());
             ++submitted) {
            const auto at = static_cast<std::size_t>(submitted);
            const bool second = morph && submitted >= job.frames / 2;
            renderer.submit(second ? b[at] : a[at], two ? b[at] : PictureRef());
        }
        out.frames.push_back(renderer.take());
    }
    out.clip = renderer.finish();
    return out;
}

TEST(DeepFramesTest, DeepMoviesGetDeepFramesAndThePluginsOwnLevelsFromAnyNumberOfSessions) {
    const PluginModule module = openPlugin({});
    std::vector<PictureRef> a, b, argbA, argbB;
    for (unsigned k = 0; k < kFrames; ++k) {
        a.push_back(noise(k));
        b.push_back(noise(100 + k));
        argbA.push_back(toArgb(a.back()));
        argbB.push_back(toArgb(b.back()));
    }
    for (const std::string id : {"wash-away", "wash-in", "tilt-out", "tumble-reveal", "morph"}) {
        const TransitionJob deepJob = jobFor(module, id, PixelLayout::deep);
        const TransitionJob plainJob = jobFor(module, id, PixelLayout::argb);
        ASSERT_TRUE(deepJob.deep());
        ASSERT_FALSE(plainJob.deep());
        const Rendered one = render(module, deepJob, 1, a, b);
        const Rendered three = render(module, deepJob, 3, a, b);
        const Rendered plain = render(module, plainJob, 2, argbA, argbB);
        const bool mixes = id == "morph" || id == "tumble-reveal";
        for (std::size_t k = 0; k < kFrames; ++k) {
            EXPECT_TRUE(equal(one.frames[k].picture, three.frames[k].picture)) << id << ' ' << k;
            ASSERT_EQ(one.frames[k].asked.has_value(), plain.frames[k].asked.has_value());
            EXPECT_EQ(one.frames[k].asked->outgoing, plain.frames[k].asked->outgoing) << id << ' ' << k;
            EXPECT_EQ(one.frames[k].asked->incoming, plain.frames[k].asked->incoming) << id << ' ' << k;
            const PictureRef bytes = toArgb(one.frames[k].picture);
            for (int i = 0; i < kWidth * kHeight * 4; ++i) {
                if (i % 4 == 0) continue;
                const int difference = bytes.data()[i] - plain.frames[k].picture.data()[i];
                // Bytes of the plug-in are mixed after rounding, deep pixels before.
                ASSERT_GE(difference, mixes ? -1 : 0) << id << ' ' << k << ' ' << i;
                ASSERT_LE(difference, mixes ? 5 : 0) << id << ' ' << k << ' ' << i;
            }
        }
        EXPECT_EQ(one.clip.fadeIn, plain.clip.fadeIn) << id;
        EXPECT_EQ(one.clip.fadeOut, plain.clip.fadeOut) << id;
    }
}

TEST(DeepFramesTest, WhatLiesBeyondWhiteAndBelowBlackPassesAWash) {
    const PluginModule module = openPlugin({});
    PictureRef bright = PictureRef::makeDeep(kWidth, kHeight), dark = PictureRef::makeDeep(kWidth, kHeight);
    for (int i = 0; i < kWidth * kHeight * 4; ++i) {
        bright.words()[i] = i % 4 == 0 ? kDeepOpaque : static_cast<std::uint16_t>(kDeepWhite + 3000);
        dark.words()[i] = i % 4 == 0 ? kDeepOpaque : static_cast<std::uint16_t>(kDeepBlack - 2000);
    }
    const DeepFrames frames(jobFor(module, "wash-away", PixelLayout::deep));
    const PictureRef mixed = frames.render(5, bright, dark);
    int brights = 0, darks = 0;
    for (int i = 1; i < kWidth * kHeight * 4; i += 4) {
        brights += mixed.words()[i] == kDeepWhite + 3000 ? 1 : 0;
        darks += mixed.words()[i] == kDeepBlack - 2000 ? 1 : 0;
    }
    EXPECT_EQ(brights + darks, kWidth * kHeight);
    EXPECT_GT(brights, 100);
    EXPECT_GT(darks, 100);
}

TEST(DeepFramesTest, TheFirstFrameOfAWashIsThePictureItselfToTheWord) {
    const PluginModule module = openPlugin({});
    const PictureRef a = noise(1), b = noise(2);
    for (const std::string id : {"wash-away", "tilt-away"})
        EXPECT_TRUE(equal(DeepFrames(jobFor(module, id, PixelLayout::deep)).render(0, a, b), a)) << id;
}

}  // namespace
}  // namespace tumblewash::edit
