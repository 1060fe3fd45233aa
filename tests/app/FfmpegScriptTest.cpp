#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "media/StillIO.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {

using media::PictureRef;
using media::readStill;

namespace {

TEST(FfmpegScriptTest, OneCommandForEachPictureAndALineThatUsesThem) {
    const Workshop shop;
    for (const char* name : {"a.mkv", "b.mkv"})
        ASSERT_EQ(shop.run({"out", "pattern:harbour?size=64x48&seconds=1&fps=10&sound=0", "-o",
                            shop.file(name), "-q", "-d", "2f", "--effect", "wash-out"})
                      .code,
                  0);
    const std::string folder = std::filesystem::path(shop.file("x")).parent_path().string();
    const RunResult result =
        shop.run({"ffmpeg-script", shop.file("a.mkv"), shop.file("b.mkv"), "-o", shop.file("seam.cmd"),
                  "--effect", "wash-reveal", "--duration", "6f", "--direction", "up", "--seed", "42"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, testing::StartsWith("ffmpeg -i '" + folder));
    EXPECT_THAT(result.out, testing::HasSubstr(
                                "frei0r=filter_name=tumblewash_wash_in:filter_params='0.000000|up|0.041'"));
    EXPECT_THAT(result.out, testing::HasSubstr("setpts=PTS-STARTPTS+0.400000/TB[top]"));
    const std::vector<std::string> lines = linesOf(bytesOf(shop.file("seam.cmd")));
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_EQ(lines[1], "0.000000 frei0r filter_params '0.000000|up|0.041';");
    EXPECT_EQ(lines[4], "0.250000 frei0r filter_params '0.500000|up|0.041';");
    EXPECT_EQ(lines[7], "0.550000 frei0r filter_params '1.000000|up|0.041';");

    const RunResult again =
        shop.run({"ffmpeg-script", shop.file("a.mkv"), shop.file("b.mkv"), "-o", shop.file("seam.cmd"),
                  "--effect", "tilt-away", "--duration", "6f", "-f"});
    ASSERT_EQ(again.code, 0) << again.err;
    EXPECT_EQ(linesOf(bytesOf(shop.file("seam.cmd")))[1], "0.350000 frei0r filter_params '0.000000';");
    EXPECT_THAT(again.out, testing::HasSubstr("tpad=start_duration=0.400000[under]"));
}

TEST(FfmpegScriptTest, WhatTheFilterCannotDoIsRefused) {
    const Workshop shop;
    for (const char* name : {"a.mkv", "b.mkv"})
        ASSERT_EQ(shop.run({"out", "pattern:harbour?size=64x48&seconds=1&fps=10&sound=0", "-o",
                            shop.file(name), "-q", "-d", "2f", "--effect", "wash-out"})
                      .code,
                  0);
    const std::string a = shop.file("a.mkv"), b = shop.file("b.mkv");
    const auto refused = [&](const std::string& first, const char* output,
                             const std::vector<std::string>& more, const char* words) {
        std::vector<std::string> line{"ffmpeg-script", first, b, "-o", shop.file(output)};
        line.insert(line.end(), more.begin(), more.end());
        const RunResult result = shop.run(line);
        EXPECT_EQ(result.code, 2) << result.err;
        EXPECT_THAT(result.err, testing::HasSubstr(words));
        EXPECT_FALSE(std::filesystem::exists(shop.file(output)));
    };
    refused(a, "s.cmd", {"--effect", "morph"}, "frei0r filter takes one picture");
    refused(a, "s.cmd", {"--effect", "wash-away", "--seed", "5000"}, "use 1 to 1001");
    refused(a, "a seam.cmd", {}, "inside a filter graph");
    refused("pattern:city", "s.cmd", {}, "ffmpeg reads whole files only");
    refused(a + "#t=0,0.5", "s.cmd", {}, "ffmpeg reads whole files only");
}

}  // namespace
}  // namespace tumblewash::app
