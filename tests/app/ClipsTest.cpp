// Joins of real clips: every file of the folder named by TUMBLEWASH_CLIPS, where there is one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "media/Reader.h"
#include "tests/app/ProgramRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {

using media::MediaInfo;
using media::probe;

namespace {

std::vector<std::string> realClips() {
    const char* folder = std::getenv("TUMBLEWASH_CLIPS");
    std::vector<std::string> clips;
    if (!folder || !std::filesystem::is_directory(folder)) return clips;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() != ".md") clips.push_back(entry.path().string());
    std::sort(clips.begin(), clips.end());
    return clips;
}

TEST(ClipsTest, EveryPairOfNeighboursJoinsToTheFrame) {
    const std::vector<std::string> clips = realClips();
    const char* effects[] = {"wash-away",   "morph",     "tumble-away",  "tilt-reveal",
                             "wash-reveal", "tilt-away", "tumble-reveal"};
    for (std::size_t i = 0; i < clips.size(); i += test::sampled() ? 3 : 1) {
        const Workshop shop;
        const std::string effect = effects[i % std::size(effects)];
        const RunResult result =
            shop.run({"join", clips[i], clips[(i + 1) % clips.size()], "-o", shop.file("o.mp4"), "-e", effect,
                      "-d", "12f", "--size", "320x180", "--still", "1s", "--preset", "ultrafast", "--report",
                      shop.file("r.json")});
        ASSERT_EQ(result.code, 0) << clips[i] << ": " << result.err;
        const auto report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
        const int frames = report["clips"][0]["frames"].get<int>() + report["clips"][1]["frames"].get<int>() -
                           (effect == "morph" ? 0 : 12);
        EXPECT_EQ(report["frames"], frames) << clips[i];
        const auto probe = probeJson(shop.file("o.mp4"));
        const auto video = streamOf(probe, "video");
        EXPECT_EQ(video["nb_read_frames"], std::to_string(frames)) << clips[i];
        EXPECT_EQ(video["width"], 320);
        EXPECT_EQ(video["height"], 180);
        EXPECT_THAT(video["color_space"].get<std::string>(), testing::AnyOf("smpte170m", "bt709"));
        // Nothing is missing of them; what a file holds besides and what was converted is named.
        for (const auto& line : report["warnings"])
            EXPECT_THAT(
                line.get<std::string>(),
                testing::AnyOf(testing::HasSubstr("left out: "), testing::HasSubstr("laid on black"),
                               testing::HasSubstr("folded to stereo"), testing::EndsWith(" turned to sRGB")));
        const auto audio = streamOf(probe, "audio");
        EXPECT_EQ(!audio.is_null(),
                  report["clips"][0]["sound"].get<bool>() || report["clips"][1]["sound"].get<bool>());
        if (audio.is_null()) continue;
        const double rate = report["rate"]["num"].get<double>() / report["rate"]["den"].get<double>();
        EXPECT_NEAR(std::stod(audio["duration"].get<std::string>()),
                    std::stod(video["duration"].get<std::string>()), 1.0 / rate + 0.001);
    }
}

TEST(ClipsTest, TheFirstClipsDisplaySizeIsTheResults) {
    const std::vector<std::string> clips = realClips();
    for (const std::string& clip : clips) {
        const Workshop shop;
        const MediaInfo info = probe(clip);
        const RunResult result =
            shop.run({"frame", clip, clip, "-o", shop.file("f.png"), "-e", "tumble-away", "--of", "20"});
        ASSERT_EQ(result.code, 0) << clip << ": " << result.err;
        const auto picture = streamOf(probeJson(shop.file("f.png")), "video");
        EXPECT_EQ(picture["width"], info.width) << clip;
        EXPECT_EQ(picture["height"], info.height) << clip;
    }
}

}  // namespace
}  // namespace tumblewash::app
