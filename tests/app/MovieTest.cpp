#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "edit/Effects.h"
#include "tests/app/ProgramRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {

using edit::effectIds;

namespace {

using testing::HasSubstr;

int framesIn(const nlohmann::json& probe) {
    return std::stoi(streamOf(probe, "video")["nb_read_frames"].get<std::string>());
}

double secondsIn(const nlohmann::json& stream) {
    return std::stod(stream["duration"].get<std::string>());
}

// The command that an effect belongs to, with its inputs.
std::vector<std::string> commandFor(const std::string& id) {
    if (id.ends_with("-out")) return {"out", scene("harbour", 1)};
    if (id.ends_with("-in")) return {"in", scene("harbour", 1)};
    return {"join", scene("harbour", 1), scene("city", 1)};
}

std::string md5Of(const Workshop& shop, std::vector<std::string> words,
                  const std::vector<std::string>& more) {
    words.insert(words.end(), {"-o", "md5:", "-q"});
    words.insert(words.end(), more.begin(), more.end());
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_FALSE(result.out.empty());
    return result.out;
}

TEST(MovieTest, AWashAwayJoinIsAPlusBMinusNInEveryContainer) {
    for (const char* name : {"out.mp4", "out.mov", "out.mkv", "out.webm"}) {
        const Workshop shop;
        const RunResult result = shop.run({"join", scene("harbour", 2), scene("city", 3), "-o",
                                           shop.file(name), "--duration", "20f", "--preset", "ultrafast"});
        ASSERT_EQ(result.code, 0) << result.err;
        const nlohmann::json probe = probeJson(shop.file(name));
        EXPECT_EQ(framesIn(probe), 50 + 75 - 20) << name;
        EXPECT_EQ(streamOf(probe, "video")["width"], 64);
        EXPECT_EQ(streamOf(probe, "video")["height"], 48);
        EXPECT_EQ(streamOf(probe, "video")["r_frame_rate"], "25/1");
        EXPECT_NEAR(std::stod(probe["format"]["duration"].get<std::string>()), 4.2, 0.041);
        ASSERT_FALSE(streamOf(probe, "audio").is_null());
        EXPECT_THAT(shop.names(), testing::ElementsAre(name));
    }
}

TEST(MovieTest, SoundIsAsLongAsThePictureToOneFrame) {
    const Workshop shop;
    const std::string a = "pattern:harbour?size=64x48&seconds=2&fps=30000/1001";
    ASSERT_EQ(shop.run({"join", a, a, a, "-o", shop.file("o.mp4"), "--effect", "wash-away,morph",
                        "--duration", "10f"})
                  .code,
              0);
    const nlohmann::json probe = probeJson(shop.file("o.mp4"));
    EXPECT_NEAR(secondsIn(streamOf(probe, "audio")), secondsIn(streamOf(probe, "video")), 1001.0 / 30000);
}

TEST(MovieTest, TheMorphIsExactlyAPlusBFramesLong) {
    const Workshop shop;
    ASSERT_EQ(shop.run({"join", scene("harbour", 2), scene("city", 1), "-o", shop.file("o.mp4"), "-e",
                        "morph", "-d", "20f"})
                  .code,
              0);
    EXPECT_EQ(framesIn(probeJson(shop.file("o.mp4"))), 75);
}

TEST(MovieTest, ThreeClipsTakeOneEffectPerSeam) {
    const Workshop shop;
    const RunResult result =
        shop.run({"join", scene("harbour", 1), scene("city", 1), scene("bars", 1), "-o", shop.file("o.mp4"),
                  "-e", "tumble-away,tilt-reveal", "-d", "10f", "--report", shop.file("r.json")});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(framesIn(probeJson(shop.file("o.mp4"))), 55);
    const auto report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
    EXPECT_EQ(report["transitions"][0]["effect"], "tumble-away");
    EXPECT_EQ(report["transitions"][1]["effect"], "tilt-reveal");
    EXPECT_EQ(report["transitions"][1]["firstFrame"], 30);
}

TEST(MovieTest, EveryEffectGivesTheSameBytesTwiceAndWithAnyNumberOfThreads) {
    const std::vector<std::string> ids = effectIds();
    for (std::size_t i = 0; i < ids.size(); i += test::sampled() ? 3 : 1) {
        const std::string& id = ids[i];
        if (id == "none") continue;
        const Workshop shop;
        const std::vector<std::string> words = commandFor(id);
        const std::string once = md5Of(shop, words, {"-e", id, "-d", "12f", "--threads", "1"});
        const std::size_t frames = words.size() == 2 ? 25 : id == "morph" ? 50 : 38;
        EXPECT_GE(linesOf(once).size(), frames + 1) << id;
        EXPECT_EQ(once, md5Of(shop, words, {"-e", id, "-d", "12f", "--threads", "1"})) << id;
        EXPECT_EQ(once, md5Of(shop, words, {"-e", id, "-d", "12f", "--threads", "2"})) << id;
        EXPECT_EQ(once, md5Of(shop, words, {"-e", id, "-d", "12f", "--threads", "5"})) << id;
    }
}

TEST(MovieTest, TheLoadedModuleGivesTheBytesOfTheBuiltInPlugin) {
    for (const std::string id : {"wash-away", "tilt-in", "tumble-out", "morph", "wash-reveal"}) {
        const Workshop shop;
        EXPECT_EQ(md5Of(shop, commandFor(id), {"-e", id, "-d", "10f"}),
                  md5Of(shop, commandFor(id), {"-e", id, "-d", "10f", "--plugin", TUMBLEWASH_MODULE}))
            << id;
    }
}

TEST(MovieTest, SeedAndDirectionChangeAWashAndNothingElse) {
    const Workshop shop;
    const std::string usual = md5Of(shop, commandFor("wash-away"), {"-d", "10f"});
    EXPECT_EQ(usual,
              md5Of(shop, commandFor("wash-away"), {"-d", "10f", "--seed", "1", "--direction", "right"}));
    EXPECT_NE(usual, md5Of(shop, commandFor("wash-away"), {"-d", "10f", "--seed", "2"}));
    EXPECT_NE(usual, md5Of(shop, commandFor("wash-away"), {"-d", "10f", "--direction", "up"}));
    const std::string tilt = md5Of(shop, commandFor("tilt-away"), {"-d", "10f", "-e", "tilt-away"});
    EXPECT_EQ(tilt, md5Of(shop, commandFor("tilt-away"), {"-d", "10f", "-e", "tilt-away", "--seed", "2"}));
}

TEST(MovieTest, FramesOutsideTheTransitionAreTheClipsOwn) {
    const Workshop shop;
    const std::vector<std::string> plain = linesOf(md5Of(shop, commandFor("none"), {"-e", "none"}));
    const std::vector<std::string> washed = linesOf(md5Of(shop, commandFor("wash-away"), {"-d", "10f"}));
    const auto hashesOf = [](const std::vector<std::string>& lines) {
        std::vector<std::string> hashes;
        for (const std::string& line : lines) hashes.push_back(line.substr(line.find_last_of(" ,") + 1));
        return hashes;
    };
    const std::vector<std::string> a = hashesOf(plain);
    const std::vector<std::string> b = hashesOf(washed);
    ASSERT_GE(a.size(), 50U);
    ASSERT_GE(b.size(), 40U);
    std::vector<std::string> pictures;
    for (int k = 0; k < 15; ++k) EXPECT_THAT(b, testing::Contains(a[static_cast<std::size_t>(k)])) << k;
    for (int k = 35; k < 50; ++k) EXPECT_THAT(b, testing::Contains(a[static_cast<std::size_t>(k)])) << k;
}

TEST(MovieTest, SpeedTakesTheFrameCountThatThePluginReports) {
    for (const auto& [speed, frames] : {std::pair{"0", 10}, {"0.5", 66}, {"1", 120}}) {
        const Workshop shop;
        const RunResult result = shop.run({"join", scene("harbour", 5), scene("city", 5), "-o",
                                           "null:", "--speed", speed, "--report", shop.file("r.json")});
        ASSERT_EQ(result.code, 0) << result.err;
        const auto report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
        EXPECT_EQ(report["transitions"][0]["frames"], frames);
        EXPECT_EQ(report["frames"], 250 - frames);
    }
}

nlohmann::json reportOf(const std::vector<std::string>& command, const std::vector<std::string>& more) {
    const Workshop shop;
    std::vector<std::string> words = command;
    words.insert(words.end(), {"-o", "null:", "-d", "10f", "--report", shop.file("r.json")});
    words.insert(words.end(), more.begin(), more.end());
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, 0) << result.err;
    return nlohmann::json::parse(bytesOf(shop.file("r.json")));
}

TEST(MovieTest, TheOutgoingSoundAlwaysLeavesUnlessThePluginDecides) {
    for (const std::string id : {"wash-away", "wash-reveal", "tilt-reveal", "tumble-reveal"}) {
        const auto levels = reportOf(commandFor(id), {"-e", id})["transitions"][0]["levels"];
        ASSERT_EQ(levels.size(), 10U);
        EXPECT_GE(levels[0][0].get<int>(), 255) << id;
        EXPECT_EQ(levels[0][1], 0) << id;
        for (std::size_t k = 1; k < levels.size(); ++k) {
            EXPECT_LE(levels[k][0], levels[k - 1][0]) << id;
            EXPECT_GE(levels[k][1], levels[k - 1][1]) << id;
        }
    }
    const auto asked = reportOf(commandFor("wash-reveal"), {"-e", "wash-reveal", "--audio", "plugin"});
    EXPECT_EQ(asked["transitions"][0]["levels"][0][0], 0);
    EXPECT_EQ(asked["transitions"][0]["levels"][0][1], 255);
}

TEST(MovieTest, AClipThatLeavesEndsInSilenceAndOneThatArrivesBeginsInIt) {
    const Workshop shop;
    const std::string tone = shop.file("tone.mkv");
    ASSERT_EQ(
        shell("ffmpeg -v error -f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -c:v ffv1 -c:a "
              "pcm_s16le " +
              tone),
        0);
    // The loudest sample of each frame.
    const auto peaks = [&](const char* command, const char* effect) {
        EXPECT_EQ(shop.run({command, tone, "-o", shop.file("o.mkv"), "-d", "10f", "--effect", effect,
                            "--preset", "ultrafast", "--force"})
                      .code,
                  0);
        EXPECT_EQ(shell("ffmpeg -v error -y -i " + shop.file("o.mkv") + " -map 0:a -f s16le -ac 1 " +
                        shop.file("raw")),
                  0);
        const std::string raw = bytesOf(shop.file("raw"));
        std::vector<int> out(25);
        for (std::size_t i = 0; i + 1 < raw.size() && i / 2 / 1920 < out.size(); i += 2) {
            const auto low = static_cast<unsigned char>(raw[i]),
                       high = static_cast<unsigned char>(raw[i + 1]);
            const int sample = static_cast<std::int16_t>(low | high << 8);
            out[i / 2 / 1920] = std::max(out[i / 2 / 1920], std::abs(sample));
        }
        return out;
    };
    const std::vector<int> leaves = peaks("out", "wash-out"), arrives = peaks("in", "wash-in");
    EXPECT_GT(leaves[10], 3000);
    EXPECT_LT(leaves[24], leaves[10] / 5);
    EXPECT_GT(arrives[14], 3000);
    EXPECT_LT(arrives[0], arrives[14] / 5);
}

TEST(MovieTest, EqualPowerKeepsTheLoudnessThroughTheMiddle) {
    const auto report = reportOf(commandFor("tilt-away"), {"-e", "tilt-away", "--audio", "equal-power"});
    for (const auto& pair : report["transitions"][0]["levels"])
        EXPECT_NEAR(std::hypot(pair[0].get<double>(), pair[1].get<double>()), 256, 1.5);
}

TEST(MovieTest, FadesInTheReportAreThoseOfTheCatalogue) {
    const auto fades = [](const std::string& id) {
        return reportOf(commandFor(id), {"-e", id})["transitions"][0]["fades"];
    };
    for (const std::string id : {"wash-out", "tilt-out", "tumble-out"}) {
        EXPECT_EQ(fades(id)["fadeOut"], true) << id;
        EXPECT_EQ(fades(id)["fadeOutFrames"], 10) << id;
        EXPECT_EQ(fades(id)["fadeIn"], false) << id;
    }
    for (const std::string id : {"wash-in", "tilt-in"}) {
        EXPECT_EQ(fades(id)["fadeIn"], true) << id;
        EXPECT_EQ(fades(id)["fadeInFrames"], 10) << id;
    }
    EXPECT_EQ(fades("tumble-in")["fadeIn"], false);
    EXPECT_EQ(fades("wash-away")["fadeOut"], false);
}

TEST(MovieTest, WithoutAnySoundThereIsNoSoundStream) {
    const Workshop shop;
    const std::string mute = scene("harbour", 1, "64x48", false);
    ASSERT_EQ(shop.run({"join", mute, mute, "-o", shop.file("a.mp4"), "-d", "10f"}).code, 0);
    EXPECT_TRUE(streamOf(probeJson(shop.file("a.mp4")), "audio").is_null());
    ASSERT_EQ(shop.run({"join", mute, scene("city", 1), "-o", shop.file("b.mp4"), "-d", "10f"}).code, 0);
    EXPECT_FALSE(streamOf(probeJson(shop.file("b.mp4")), "audio").is_null());
    ASSERT_EQ(shop.run({"join", scene("city", 1), scene("city", 1), "-o", shop.file("c.mp4"), "-d", "10f",
                        "--audio", "none"})
                  .code,
              0);
    EXPECT_TRUE(streamOf(probeJson(shop.file("c.mp4")), "audio").is_null());
}

TEST(MovieTest, APictureSequenceHoldsEveryFrame) {
    const Workshop shop;
    ASSERT_EQ(
        shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("p%03d.png"), "-d", "10f"})
            .code,
        0);
    // And the list by which a later run knows them.
    EXPECT_EQ(shop.names().size(), 41U);
    EXPECT_EQ(shop.names()[0], ".p%03d.png.tumblewash");
    EXPECT_EQ(shop.names()[1], "p001.png");
    EXPECT_EQ(shop.names().back(), "p040.png");
}

TEST(MovieTest, TheFirstClipDecidesSizeAndRate) {
    const Workshop shop;
    ASSERT_EQ(shop.run({"join", "pattern:bars?size=97x65&seconds=1&fps=30", scene("city", 1), "-o",
                        shop.file("o.mp4"), "-d", "10f"})
                  .code,
              0);
    const auto video = streamOf(probeJson(shop.file("o.mp4")), "video");
    EXPECT_EQ(video["width"], 98);
    EXPECT_EQ(video["height"], 66);
    EXPECT_EQ(video["r_frame_rate"], "30/1");
    EXPECT_EQ(video["nb_read_frames"], "50");
}

TEST(MovieTest, StillsLastAsLongAsAsked) {
    const Workshop shop;
    ASSERT_EQ(
        shop.run({"frame", scene("harbour", 1), scene("city", 1), "-o", shop.file("a.png"), "--of", "10"})
            .code,
        0);
    ASSERT_EQ(shop.run({"join", shop.file("a.png"), shop.file("a.png"), "-o", shop.file("o.mp4"), "-e",
                        "morph", "-d", "1s", "--still", "2s", "--fps", "25", "--size", "64x48"})
                  .code,
              0);
    EXPECT_EQ(framesIn(probeJson(shop.file("o.mp4"))), 100);
}

// Colour bars on both sides: whatever way a frame took, through the encoder's own format or through the
// plug-in, its code values agree to one.
TEST(MovieTest, TheSeamShowsNoStepInColour) {
    const Workshop shop;
    const std::string bars = scene("bars", 1, "160x96", false);
    constexpr std::size_t kFrame = 160 * 96 * 3 / 2;
    const auto decoded = [&](const char* effect, std::size_t frames) {
        const std::string movie = shop.file(std::string(effect) + ".mkv");
        const std::string raw = shop.file(std::string(effect) + ".yuv");
        EXPECT_EQ(shop.run({"join", bars, bars, "-o", movie, "-d", "10f", "-e", effect, "--crf", "0"}).code,
                  0);
        EXPECT_EQ(shell("ffmpeg -v error -i '" + movie + "' -f rawvideo -pix_fmt yuv420p '" + raw + "'"), 0);
        EXPECT_EQ(bytesOf(raw).size(), frames * kFrame);
        return bytesOf(raw);
    };
    const std::string plain = decoded("none", 50);
    const std::string tilted = decoded("tilt-away", 40);
    ASSERT_FALSE(HasFailure());
    // Frame 15 is the transition's first: at fraction 0 the warp moves nothing.
    // The bars proper are the upper two thirds; below lie signals that no RGB colour can stand for.
    int worst = 0;
    const auto compare = [&](std::size_t from, std::size_t bytes) {
        for (std::size_t i = 15 * kFrame + from; i < 15 * kFrame + from + bytes; ++i)
            worst = std::max(worst, std::abs(static_cast<unsigned char>(plain[i]) -
                                             static_cast<unsigned char>(tilted[i])));
    };
    compare(0, 160 * 62);
    compare(160 * 96, 80 * 31);
    compare(160 * 96 * 5 / 4, 80 * 31);
    EXPECT_LE(worst, 1);
}

TEST(MovieTest, ProgressKeysCountToTheEnd) {
    const Workshop shop;
    const RunResult result = shop.run({"join", scene("harbour", 1), scene("city", 1), "-o",
                                       shop.file("o.mp4"), "-d", "10f", "--progress", "kv"});
    ASSERT_EQ(result.code, 0);
    const std::vector<std::string> lines = linesOf(result.out);
    ASSERT_GE(lines.size(), 5U);
    EXPECT_EQ(lines.back(), "progress=end");
    EXPECT_THAT(lines, testing::Contains("frame=40"));
    EXPECT_THAT(lines, testing::Contains("out_time_us=1600000"));
    for (const std::string& line : lines) EXPECT_THAT(line, testing::ContainsRegex("^[a-z_]+=[^=]+$"));
}

TEST(MovieTest, NothingButErrorsIsSaidInAQuietRunAndNoProgressInAPipe) {
    const Workshop shop;
    const RunResult quiet = shop.run(
        {"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("o.mp4"), "-d", "10f", "-q"});
    EXPECT_EQ(quiet.out + quiet.err, "");
    const RunResult usual =
        shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("p.mp4"), "-d", "10f"});
    EXPECT_EQ(linesOf(usual.err).size(), 1U);
    EXPECT_EQ(usual.err.find('\r'), std::string::npos);
    EXPECT_THAT(usual.err, HasSubstr("40 frames"));
}

}  // namespace
}  // namespace tumblewash::app
