// What is copied where nobody says whether it shall be: what can be, unless something else is asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/app/CopyRun.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::reportOf;
using copies::x264;
using testing::HasSubstr;
using testing::Not;

/// Two clips that allow copies, and joins of them.
class CopyDefaultTest : public testing::Test {
  protected:
    /// Runs a command over both clips, which has to succeed.
    RunResult join(const std::vector<std::string>& more, const std::string& output = "out.mp4") {
        std::vector<std::string> words{"join",     a_,
                                       b_,         "--duration",
                                       "6f",       "-f",
                                       "-o",       shop_.file(output),
                                       "--report", shop_.file("report.json")};
        words.insert(words.end(), more.begin(), more.end());
        return good(words);
    }
    RunResult good(const std::vector<std::string>& words) {
        RunResult result = shop_.run(words);
        EXPECT_EQ(result.code, 0) << result.err;
        return result;
    }
    std::int64_t copied() const { return reportOf(shop_)["copies"]["copied"].get<std::int64_t>(); }
    std::string why() const { return reportOf(shop_)["copies"]["why"].get<std::string>(); }
    std::string made(const std::string& output = "out.mp4") const { return bytesOf(shop_.file(output)); }
    void document(const std::string& copyBodies) {
        const nlohmann::json edit{{"tumblewash", 1},
                                  {"output", {{"copyBodies", copyBodies}}},
                                  {"seams", {{"duration", "6f"}}},
                                  {"clips", {{{"file", a_}}, {{"file", b_}}}}};
        writeBytes(shop_.file("my.edit.json"), edit.dump());
    }
    RunResult render(const std::vector<std::string>& more) {
        std::vector<std::string> words{
            "render",   shop_.file("my.edit.json"), "-f", "-o", shop_.file("out.mp4"),
            "--report", shop_.file("report.json")};
        words.insert(words.end(), more.begin(), more.end());
        return shop_.run(words);
    }

    const Workshop shop_;
    const std::string a_ = clip(shop_, "A.mp4", 0, 1.2, x264("keyint=10"));
    const std::string b_ = clip(shop_, "B.mp4", 1, 1.2, x264("keyint=10"));
};

constexpr const char* kLine = "all frames are encoded, since ";

TEST_F(CopyDefaultTest, WhatCanBeCopiedIs) {
    const RunResult told = join({});
    EXPECT_GT(copied(), 20);
    EXPECT_THAT(told.err, HasSubstr(std::to_string(copied()) + " frames copied, "));
    const std::string movie = made();
    join({"--copy-bodies"});
    EXPECT_EQ(made(), movie);
    join({"--copy-bodies=always"});
    EXPECT_EQ(made(), movie);
    join({"--copy-bodies=never"});
    EXPECT_NE(made(), movie);
    EXPECT_FALSE(reportOf(shop_).contains("copies"));
    for (const char* command : {"in", "out"}) {
        good({command, a_, "--duration", "6f", "-f", "-o", shop_.file("one.mp4"), "--report",
              shop_.file("report.json")});
        EXPECT_GT(copied(), 10) << command;
    }
}

TEST_F(CopyDefaultTest, AQualityOrAPresetAsksForAllFramesToBeEncoded) {
    for (const auto& [option, value] : {std::pair{"--crf", "45"}, std::pair{"--preset", "ultrafast"}}) {
        const RunResult told = join({option, value});
        EXPECT_EQ(copied(), 0) << option;
        const std::string reason = why();
        EXPECT_THAT(reason, HasSubstr(std::string(option) + " " + value + " is asked for"));
        EXPECT_THAT(told.err, Not(HasSubstr(kLine)));
        const std::string movie = made();
        join({option, value, "--copy-bodies=never"});
        EXPECT_EQ(made(), movie);
        // Who asks for copies hears why there are none, and who demands them has seams of that quality.
        EXPECT_THAT(join({option, value, "--copy-bodies"}).err, HasSubstr(kLine + reason));
        EXPECT_EQ(made(), movie);
        join({option, value, "--copy-bodies=always"});
        EXPECT_GT(copied(), 20);
    }
}

TEST_F(CopyDefaultTest, OptionsThatChangePicturesAreNoReasonForALine) {
    EXPECT_THAT(join({}, "out.webm").err, Not(HasSubstr(kLine)));
    const std::vector<std::vector<std::string>> asked{
        {"--codec", "hevc"}, {"--size", "64x48"}, {"--fps", "50"}, {"--depth", "10"}};
    for (const std::vector<std::string>& option : asked) {
        const RunResult told = join(option);
        EXPECT_EQ(copied(), 0) << option.front();
        EXPECT_THAT(told.err, Not(HasSubstr(kLine))) << option.front();
    }
    // What the clips are already is no change.
    join({"--codec", "h264", "--size", "128x96", "--fps", "25"});
    EXPECT_GT(copied(), 20);
}

TEST_F(CopyDefaultTest, Vp9GoesIntoMp4OnlyWhereItIsAskedFor) {
    const std::string clips =
        clip(shop_, "V.webm", 0, 1.2, "-c:v libvpx-vp9 -cpu-used 8 -deadline realtime -g 10");
    const auto codecOf = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words{"join", clips, clips, "--duration",
                                       "6f",   "-f",  "-o",  shop_.file("out.mp4")};
        words.insert(words.end(), more.begin(), more.end());
        const RunResult told = good(words);
        const bool line = told.err.find(
                              "V.webm is VP9, which few players take from an .mp4 file; --codec vp9 keeps "
                              "it\n") != std::string::npos;
        const std::string codec = streamOf(probeJson(shop_.file("out.mp4")), "video")["codec_name"];
        return codec + (line ? ", told" : "");
    };
    EXPECT_EQ(codecOf({}), "h264, told");
    EXPECT_EQ(codecOf({"--codec", "vp9"}), "vp9");
    EXPECT_EQ(codecOf({"--copy-bodies=always"}), "vp9");
}

TEST_F(CopyDefaultTest, ClipsThatAreNotAlikeAreToldInOneLine) {
    const std::string wide = clip(shop_, "W.mp4", 1, 1.2, x264("keyint=10") + " -vf scale=160:96,setsar=1");
    const std::vector<std::string> words{"join",       a_,   wide, b_,   wide,
                                         "--duration", "6f", "-f", "-o", shop_.file("out.mp4")};
    const RunResult told = good(words);
    EXPECT_EQ(linesOf(told.err).size(), 2U) << told.err;
    EXPECT_THAT(told.err, HasSubstr(std::string("tumblewash: ") + kLine + wide + " is 160x96 and "));
    std::vector<std::string> quiet = words;
    quiet.emplace_back("-q");
    EXPECT_EQ(good(quiet).err, "");
}

TEST_F(CopyDefaultTest, ClipsWithoutKeyFramesAreCountedInOneLine) {
    const std::string rare = clip(shop_, "R.mp4", 1, 1.2, x264("keyint=250"));
    const RunResult told =
        good({"join", a_, rare, b_, rare, a_, "--duration", "6f", "-o", shop_.file("out.mp4")});
    EXPECT_THAT(told.err, HasSubstr("R.mp4 has no key frame after 0.2 s that can start a copy: all of it is "
                                    "encoded; so is 1 more\n"));
}

TEST_F(CopyDefaultTest, PhotosDrawnScenesAndChecksumsAreNoReasonForALine) {
    ASSERT_EQ(shell("ffmpeg -v error -i " + a_ + " -frames:v 1 " + shop_.file("photo.png")), 0);
    for (const std::string& other :
         {shop_.file("photo.png"), std::string("black:1s"), scene("city", 1, "128x96")}) {
        const RunResult told =
            good({"join", a_, other, "--duration", "6f", "-f", "-o", shop_.file("out.mp4")});
        EXPECT_THAT(told.err, Not(HasSubstr(kLine))) << other;
        const RunResult asked =
            good({"join", a_, other, "--duration", "6f", "-f", "--copy-bodies", "-o", shop_.file("out.mp4")});
        EXPECT_THAT(asked.err, HasSubstr(kLine)) << other;
    }
    // Fingerprints are those of a full render.
    const RunResult sums = good({"join", a_, b_, "--duration", "6f", "-o", "md5:"});
    const RunResult full = good({"join", a_, b_, "--duration", "6f", "-o", "md5:", "--copy-bodies=never"});
    EXPECT_EQ(sums.out, full.out);
    EXPECT_EQ(sums.err, full.err);
}

TEST_F(CopyDefaultTest, ADocumentSaysItAndTheOptionCountsBeforeIt) {
    document("never");
    EXPECT_EQ(render({}).code, 0);
    EXPECT_FALSE(reportOf(shop_).contains("copies"));
    EXPECT_EQ(render({"--copy-bodies"}).code, 0);
    EXPECT_GT(copied(), 20);
    document("always");
    EXPECT_EQ(render({}).code, 0);
    EXPECT_GT(copied(), 20);
    const RunResult other = render({"--codec", "hevc"});
    EXPECT_EQ(other.code, 2);
    EXPECT_THAT(other.err, HasSubstr("--codec asks for HEVC"));
    EXPECT_EQ(render({"--codec", "hevc", "--copy-bodies=never"}).code, 0);
    // Parts are encoded whole, which an edit that demands copies has to know.
    const std::vector<std::string> parts{"plan", shop_.file("my.edit.json"), "--parts", "2",
                                         "-o",   shop_.file("my.plan.json")};
    const RunResult refused = shop_.run(parts);
    EXPECT_EQ(refused.code, 2);
    EXPECT_THAT(refused.err, HasSubstr("copyBodies: parts are encoded whole"));
    document("auto");
    good(parts);
    // A plan keeps what was said.
    good({"plan", a_, b_, "--copy-bodies=never", "-f", "-o", shop_.file("my.edit.json")});
    EXPECT_EQ(nlohmann::json::parse(bytesOf(shop_.file("my.edit.json")))["output"]["copyBodies"], "never");
    document("sometimes");
    const RunResult wrong = render({});
    EXPECT_EQ(wrong.code, 2);
    EXPECT_THAT(wrong.err, HasSubstr("/output/copyBodies: choose one of auto, always, never"));
}

TEST_F(CopyDefaultTest, ADryRunListsWhatWouldBeCopied) {
    const std::vector<std::string> words{"join", a_, b_, "--duration", "6f", "--dry-run"};
    EXPECT_THAT(good(words).out, HasSubstr("frames copied from " + b_ + " from its frame 10"));
    std::vector<std::string> written = words;
    written.insert(written.end(), {"-o", shop_.file("out.mp4")});
    EXPECT_THAT(good(written).out, HasSubstr("frames copied from " + b_ + " from its frame 10"));
    written.emplace_back("--copy-bodies=never");
    EXPECT_THAT(good(written).out, Not(HasSubstr("copied")));
    EXPECT_FALSE(std::filesystem::exists(shop_.file("out.mp4")));
    // A plan of pictures alone has nothing to say of copies.
    EXPECT_THAT(good({"plan", a_, "black:1s", "--duration", "6f"}).out, Not(HasSubstr("copied")));
    EXPECT_THAT(good({"plan", a_, "black:1s", "--duration", "6f", "--copy-bodies"}).out,
                HasSubstr("nothing is copied: black is drawn here"));
}

}  // namespace
}  // namespace tumblewash::app
