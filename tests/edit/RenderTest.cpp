// Edits rendered without a codec: what ends a run in the middle, and what is left then.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "edit/Render.h"
#include "edit/Transition.h"
#include "tests/edit/FailingPlugin.h"
#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using media::PictureRef;
using media::PixelLayout;
using testing::HasSubstr;

class RenderTest : public testing::Test {
  protected:
    Report render(const Edit& edit, RenderSettings settings, const RenderHooks& hooks = {}) {
        if (settings.output.empty()) settings.output = "md5:" + sums();
        if (settings.threads == 0) settings.threads = 2;
        MovieRequest request = prepareMovie(edit, settings);
        Report report = beginReport(edit, settings, request);
        renderMovie(settings, request, report, hooks);
        return report;
    }
    std::string sums() const { return folder_.path("sums"); }
    bool written() const { return std::filesystem::exists(sums()); }
    std::vector<std::string> lines() const {
        std::vector<std::string> out;
        std::ifstream in(sums());
        for (std::string line; std::getline(in, line);) out.push_back(line.substr(line.rfind(' ') + 1));
        return out;
    }

    MediaFolder folder_;
};

TEST_F(RenderTest, ARaisedFlagEndsAnyFrameAndLeavesNothing) {
    const Edit edit = joined({folder_.photo("a.png"), folder_.photo("b.png", 200)}, "wash-away", 8);
    for (const std::int64_t moment : {1, 5, 11}) {
        std::atomic<bool> flag{false};
        RenderSettings settings;
        settings.cancel = &flag;
        RenderHooks hooks;
        hooks.advance = [&](std::int64_t done) { flag = flag || done == moment; };
        EXPECT_EQ(refusedBy([&] { render(edit, settings, hooks); }).problem, Problem::Interrupted) << moment;
        EXPECT_FALSE(written());
    }
    EXPECT_EQ(render(edit, {}).frames, 12);
    EXPECT_EQ(lines().size(), 12U);
}

TEST_F(RenderTest, AFolderThatVanishesIsAFailureOfTheRun) {
    std::filesystem::create_directory(folder_.path("sub"));
    RenderSettings settings;
    settings.output = "md5:" + folder_.path("sub/sums");
    RenderHooks hooks;
    hooks.advance = [&](std::int64_t) { std::filesystem::remove_all(folder_.path("sub")); };
    const Edit edit = joined({folder_.photo("a.png")});
    EXPECT_EQ(refusedBy([&] { render(edit, settings, hooks); }).problem, Problem::RenderFailed);
}

TEST_F(RenderTest, PicturesThatCannotBeDecodedAreStoodInForAndTold) {
    // The pictures of a QuickTime file with its index in front stand alone, the last ones at its end.
    ASSERT_EQ(
        std::system(("ffmpeg -v error -f lavfi -i nullsrc=size=32x32:rate=25,geq=lum=16+20*N:cb=128:cr=128 "
                     "-frames:v 10 -c:v mjpeg -movflags +faststart '" +
                     folder_.path("p.mov") + "'")
                        .c_str()),
        0);
    std::fstream file(folder_.path("p.mov"), std::ios::in | std::ios::out | std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::size_t at = bytes.size();
    for (int i = 0; i < 3; ++i) {
        at = bytes.rfind("\xFF\xD8\xFF", at - 1);
        ASSERT_NE(at, std::string::npos);
    }
    bytes.replace(at, bytes.size() - at, bytes.size() - at, '\0');
    file.seekp(0);
    file << bytes << std::flush;
    const Report report = render(joined({folder_.path("p.mov")}), {});
    EXPECT_EQ(report.frames, 10);
    EXPECT_THAT(report.warnings,
                testing::Contains(HasSubstr(
                    "p.mov: 3 of 10 pictures are not available; the last good one is shown instead")));
    EXPECT_THAT(report.warnings, testing::Contains(HasSubstr("the clip ends early: 3 pictures are missing")));
    ASSERT_EQ(lines().size(), 10U);
    EXPECT_EQ(lines()[7], lines()[6]);
    EXPECT_EQ(lines()[9], lines()[6]);
    EXPECT_NE(lines()[6], lines()[5]);
}

TEST_F(RenderTest, BlackIsOpaqueBlackInEveryLayout) {
    for (const PixelLayout layout :
         {PixelLayout::argb, PixelLayout::yuv420, PixelLayout::yuv420p10, PixelLayout::deep}) {
        media::ReaderSettings settings;
        settings.width = settings.height = 16;
        settings.rate = {25, 1};
        settings.layout = layout;
        Clip black = Clip::black(5, settings, media::FieldOrder::progressive);
        const PictureRef picture = black.nextPicture();
        EXPECT_EQ(picture.layout(), layout);
        const PictureRef argb = toArgb(picture);
        for (std::ptrdiff_t i = 0; i < argb.stride() * 16; ++i)
            ASSERT_EQ(argb.data()[i], i % 4 == 0 ? 255 : 0) << static_cast<int>(layout) << ' ' << i;
        std::vector<float> samples(8, 1.0F);
        black.nextSamples(samples);
        EXPECT_THAT(samples, testing::Each(0.0F));
    }
}

TEST_F(RenderTest, AFrameThatAModuleRefusesEndsTheTransition) {
    const host::PluginModule module(failingFrames, "failing");
    TransitionJob job;
    job.effect = findEffect(module, "wash-away");
    job.size = {32, 32};
    job.frames = job.framesA = job.framesB = 8;
    job.direction = kPluginDirectionLeft;
    const PictureRef picture = MediaFolder::picture(32, 50);
    for (const int sessions : {0, 2}) {
        ParallelRenderer renderer(module, job, sessions);
        for (int i = 0; i < 3; ++i) renderer.submit(picture, picture);
        const Refused refused = refusedBy([&] { renderer.take(); });
        EXPECT_EQ(refused.problem, Problem::RenderFailed);
        EXPECT_THAT(refused.words,
                    testing::ContainsRegex("^wash-away: frame [0-2] of 8 cannot be rendered: "));
    }
}

TEST_F(RenderTest, ARaisedFlagEndsATransition) {
    const host::PluginModule module = openPlugin("");
    TransitionJob job;
    job.effect = findEffect(module, "tilt-away");
    job.size = {32, 32};
    job.frames = job.framesA = job.framesB = 8;
    const std::atomic<bool> flag{true};
    const PictureRef picture = MediaFolder::picture(32, 50);
    for (const int sessions : {0, 1}) {
        ParallelRenderer renderer(module, job, sessions, {}, &flag);
        renderer.submit(picture, picture);
        EXPECT_EQ(refusedBy([&] { renderer.take(); }).problem, Problem::Interrupted);
    }
}

std::ptrdiff_t threadsNow() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// How many threads there are beyond `usual` that stay. One that was joined may be listed for a moment more.
std::ptrdiff_t threadsThatStay(std::ptrdiff_t usual) {
    constexpr int kLooks = 500;
    for (int look = 0; look < kLooks && threadsNow() > usual; ++look)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return std::max<std::ptrdiff_t>(0, threadsNow() - usual);
}

TEST_F(RenderTest, OneThreadIsTheCallersThroughout) {
    ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i testsrc2=size=64x48:rate=25 -f lavfi -i sine -t 1 "
                           "-c:v libx264 -c:a aac '" +
                           folder_.path("clip.mp4") + "'")
                              .c_str()),
              0);
    const Edit edit = joined({folder_.path("clip.mp4"), folder_.path("clip.mp4")}, "tumble-away", 8);
    RenderSettings settings;
    const std::ptrdiff_t usual = threadsNow();
    for (const char* const name : {"out.mp4", "out.png", "sums"}) {
        settings.output = name == std::string("sums")      ? "md5:" + sums()
                          : name == std::string("out.png") ? folder_.path("%03d.png")
                                                           : folder_.path(name);
        const auto most = [&](int threads) {
            settings.threads = threads;
            settings.force = true;
            std::ptrdiff_t seen = 0;
            RenderHooks hooks;
            hooks.advance = [&](std::int64_t) {
                if (seen == 0 && threadsNow() > usual) seen = threads == 1 ? threadsThatStay(usual) : 1;
            };
            EXPECT_EQ(render(edit, settings, hooks).frames, 42);
            return seen;
        };
        EXPECT_EQ(most(1), 0) << name;
        EXPECT_GT(most(2), 0) << name;
    }
}

TEST_F(RenderTest, WhatGoesWrongInTheCallersThreadIsTheSameFailure) {
    std::filesystem::create_directory(folder_.path("sub"));
    RenderSettings settings;
    settings.threads = 1;
    settings.output = "md5:" + folder_.path("sub/sums");
    RenderHooks hooks;
    hooks.advance = [&](std::int64_t) { std::filesystem::remove_all(folder_.path("sub")); };
    const Edit edit = joined({folder_.photo("a.png")});
    EXPECT_EQ(refusedBy([&] { render(edit, settings, hooks); }).problem, Problem::RenderFailed);
    std::atomic<bool> flag{false};
    settings.cancel = &flag;
    settings.output = "";
    hooks.advance = [&](std::int64_t done) { flag = flag || done == 2; };
    EXPECT_EQ(refusedBy([&] { render(edit, settings, hooks); }).problem, Problem::Interrupted);
    EXPECT_FALSE(written());
}

}  // namespace
}  // namespace tumblewash::edit
