// Single frames: by the built-in effects or by a module's session, with transparency, from stills and movies.
#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "edit/StillRender.h"
#include "tests/edit/FailingPlugin.h"
#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using media::Fit;
using media::FrameRate;
using media::PictureRef;
using testing::EndsWith;

constexpr int kSide = 48, kFrames = 10;
constexpr FrameRate kRate{25, 1};

class StillRenderTest : public testing::Test {
  protected:
    /// A photo of noise; every 16th pixel is see-through where `holes`.
    std::string noise(const std::string& name, unsigned seed, bool holes = false) {
        std::mt19937 random(seed);
        const PictureRef picture = MediaFolder::picture(kSide, 0);
        for (std::ptrdiff_t i = 0; i < picture.stride() * kSide; ++i)
            picture.data()[i] = i % 4 != 0             ? static_cast<std::uint8_t>(random() % 256)
                                : holes && i % 64 == 0 ? std::uint8_t{0}
                                                       : std::uint8_t{255};
        writePng(folder_.path(name), picture, media::PngAlpha::keep);
        return folder_.path(name);
    }
    TransitionJob job(const std::string& id) const {
        TransitionJob out;
        out.effect = findEffect(module_, id);
        out.size = {kSide, kSide};
        out.frames = kFrames;
        out.direction = directionFor({}, out.effect);
        out.seed = 3;
        return out;
    }
    std::string refusal(const std::string& id, StillPair inputs) const {
        const Refused refused = refusedBy([&] { StillRenderer(module_, job(id), inputs); });
        EXPECT_EQ(refused.problem, Problem::BadRequest);
        return refused.words;
    }
    static bool equal(const PictureRef& a, const PictureRef& b) {
        return a.stride() == b.stride() &&
               std::memcmp(a.data(), b.data(), static_cast<std::size_t>(a.stride() * a.height())) == 0;
    }

    MediaFolder folder_;
    host::PluginModule module_ = openPlugin("");
};

TEST_F(StillRenderTest, AModulesSessionGivesTheBytesOfTheEffects) {
    StillInput a(noise("a.png", 1), {kSide, kSide}, Fit::contain, kRate, false);
    StillInput b(noise("b.png", 2), {kSide, kSide}, Fit::contain, kRate, false);
    for (const char* id : {"morph", "wash-away", "tilt-reveal", "tumble-out", "wash-in"}) {
        TransitionJob asked = job(id);
        StillRenderer own(module_, asked, {&a, &b});
        asked.ownEffects = false;
        StillRenderer session(module_, asked, {&a, &b});
        for (const std::int64_t k : {7, 0, kFrames - 1})
            EXPECT_TRUE(equal(own.render(k), session.render(k))) << id << ' ' << k;
        host::FrameResult told;
        own.render(3, &told);
        EXPECT_TRUE(told.ok()) << "the session answers where somebody asks";
    }
}

TEST_F(StillRenderTest, WhatIsSeeThroughMovesWithThePicture) {
    StillInput a(noise("a.png", 1), {kSide, kSide}, Fit::contain, kRate, true);
    StillInput b(noise("b.png", 2), {kSide, kSide}, Fit::contain, kRate, true);
    StillInput holed(noise("h.png", 1, true), {kSide, kSide}, Fit::contain, kRate, true);
    for (const char* id : {"wash-away", "morph"}) {
        TransitionJob asked = job(id);
        StillRenderer plain(module_, asked, {&a, &b});
        asked.alpha = true;
        StillRenderer opaque(module_, asked, {&a, &b});
        EXPECT_TRUE(equal(opaque.render(4), plain.render(4)))
            << "opaque pictures are the plug-in's own bytes";
        StillRenderer holes(module_, asked, {&holed, &b});
        const PictureRef picture = holes.render(4);
        int seeThrough = 0;
        for (std::ptrdiff_t i = 0; i < picture.stride() * kSide; i += 4)
            seeThrough += picture.data()[i] < 128;
        EXPECT_GT(seeThrough, 0) << id;
        EXPECT_LT(seeThrough, kSide * kSide / 8) << id;
    }
}

TEST_F(StillRenderTest, InputsThatDoNotSufficeAreRefusedWithTheNumbers) {
    StillInput photo(noise("a.png", 1), {kSide, kSide}, Fit::contain, kRate, false);
    StillInput movie(folder_.movie("short.mkv", 6), {kSide, kSide}, Fit::contain, kRate, false);
    EXPECT_EQ(refusal("none", {&photo, &photo}), "none is not an effect; choose one");
    EXPECT_EQ(refusal("wash-away", {&photo, nullptr}), "wash-away needs two pictures; give a second one");
    EXPECT_THAT(refusal("wash-away", {&photo, &movie}), EndsWith("wash-away takes 10; use fewer frames"));
    EXPECT_THAT(refusal("tilt-out", {&movie, nullptr}), EndsWith("tilt-out takes 10; use fewer frames"));
    const StillRenderer morph(module_, job("morph"), {&movie, &photo});
    EXPECT_EQ(morph.job().firstA, 1) << "a morph takes half of its frames from each";
}

TEST_F(StillRenderTest, AFrameThatAModuleRefusesIsAFailureOfTheRun) {
    StillInput a(noise("a.png", 1), {kSide, kSide}, Fit::contain, kRate, false);
    const host::PluginModule module(failingFrames, "failing");
    TransitionJob asked = job("wash-away");
    asked.ownEffects = false;
    StillRenderer renderer(module, asked, {&a, &a});
    const Refused refused = refusedBy([&] { renderer.render(4); });
    EXPECT_EQ(refused.problem, Problem::RenderFailed);
    EXPECT_THAT(refused.words, testing::StartsWith("wash-away: frame 4 of 10 cannot be rendered: "));
}

}  // namespace
}  // namespace tumblewash::edit
