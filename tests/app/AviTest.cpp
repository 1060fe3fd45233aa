// Joins into AVI, which knows no times but a rate, no colours, no chapters and no transparency: what goes
// into it comes out of it, and what does not is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/app/CopyRun.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::copiedJoin;
using copies::framesOf;
using copies::reportOf;
using copies::x264;
using testing::HasSubstr;

const std::string kJpeg = "-c:v mjpeg -q:v 4 -pix_fmt yuvj420p";

nlohmann::json pictures(const std::string& file) {
    return streamOf(probeJson(file), "video");
}
nlohmann::json sound(const std::string& file) {
    return streamOf(probeJson(file), "audio");
}

TEST(AviTest, PicturesThatStandAloneGoFromAnyKindOfFileIntoAnyOther) {
    const Workshop shop;
    const std::vector<std::string> kinds{".avi", ".mov", ".mkv"};
    const std::string coding = "-c:v mjpeg -q:v 4 -pix_fmt yuvj422p";
    for (const std::string& from : kinds) {
        const std::string a = clip(shop, "a" + from, 0, 1.2, coding);
        const std::string b = clip(shop, "b" + from, 1, 1.2, coding);
        for (const std::string& to : kinds) {
            if (from != ".avi" && to != ".avi") continue;
            const nlohmann::json report =
                copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, shop.file("out" + to));
            ASSERT_FALSE(report.is_null()) << from << to;
            // Every picture can begin a copy.
            EXPECT_EQ(report["copies"]["encoded"], 10) << from << to;
        }
    }
}

TEST(AviTest, ItsTimesAreThoseOfItsRate) {
    const Workshop shop;
    const std::string a =
        clip(shop, "a.avi", 0, 1, "-vf fps=30000/1001,scale=130:98,setsar=1 " + kJpeg, "-c:a pcm_s16le");
    const std::string out = shop.file("out.avi");
    ASSERT_EQ(shop.run({"join", a, a, "--duration", "10f", "-o", out, "-q", "--copy-bodies=always"}).code, 0);
    const nlohmann::json made = pictures(out);
    EXPECT_EQ(made["r_frame_rate"], "30000/1001");
    EXPECT_EQ(made["nb_read_frames"], "50");
    EXPECT_NEAR(std::stod(made["duration"].get<std::string>()), 50 * 1001 / 30000.0, 0.001);
    EXPECT_EQ(sound(out)["codec_name"], "pcm_s16le");
}

TEST(AviTest, WhatAnotherDecoderSeesOfBodiesIsWhatItSeesOfTheClips) {
    const Workshop shop;
    const std::string a = clip(shop, "a.avi", 0, 1, kJpeg);
    const std::string b = clip(shop, "b.avi", 1, 1, "-c:v mjpeg -q:v 9 -huffman default -pix_fmt yuvj420p");
    const std::string out = shop.file("out.avi");
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, out);
    ASSERT_FALSE(report.is_null());
    const auto seen = [&](const std::string& file) {
        EXPECT_EQ(shell("gst-launch-1.0 -q filesrc location=" + file +
                        " ! avidemux ! jpegdec ! video/x-raw,format=I420 ! filesink location=" +
                        shop.file("seen") + " 2>/dev/null"),
                  0);
        return bytesOf(shop.file("seen"));
    };
    constexpr std::size_t kFrame = 128 * 96 * 3 / 2;
    const std::string movie = seen(out);
    ASSERT_EQ(movie.size(), 40 * kFrame);
    const std::string clips[] = {seen(a), seen(b)};
    std::size_t at = 0;
    for (const nlohmann::json& run : report["copies"]["runs"]) {
        const auto count = run["frames"].get<std::size_t>();
        if (run.contains("clip")) {
            const std::string& source = clips[run["clip"].get<std::size_t>()];
            const std::size_t from = run["first"].get<std::size_t>() * kFrame;
            EXPECT_TRUE(source.compare(from, count * kFrame, movie, at * kFrame, count * kFrame) == 0) << at;
        }
        at += count;
    }
}

TEST(AviTest, SoundIsCopiedToTheSample) {
    const Workshop shop;
    for (const auto& [coding, codec] : {std::pair{"-c:a pcm_s16le -ac 2", "pcm_s16le"},
                                        std::pair{"-c:a pcm_s24le -ar 44100", "pcm_s24le"}}) {
        const std::string a = clip(shop, "a.avi", 0, 1.2, kJpeg, coding);
        const std::string out = shop.file("out.avi");
        const nlohmann::json report = copiedJoin(shop, {"join", a, a, "--duration", "10f"}, {a, a}, out);
        ASSERT_FALSE(report.is_null());
        EXPECT_EQ(sound(out)["codec_name"], codec);
        const auto samples = [&](const std::string& file) {
            EXPECT_EQ(
                shell("ffmpeg -v error -y -i " + file + " -map 0:a -c copy -f data " + shop.file("raw")), 0);
            return bytesOf(shop.file("raw"));
        };
        // The seam begins at 0.8 s.
        const std::string own = samples(a);
        const std::string made = samples(out);
        const std::size_t body = own.size() * 2 / 3 - 64;
        EXPECT_TRUE(made.compare(0, body, own, 0, body) == 0) << codec;
        EXPECT_TRUE(made.compare(made.size() - body, body, own, own.size() - body, body) == 0) << codec;
    }
}

TEST(AviTest, AFullRenderIsMotionJpegWithPlainSound) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 1, x264("keyint=10"), "-c:a aac -ac 2");
    const std::string out = shop.file("out.avi");
    const auto join = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"join", a, a, "--duration", "10f", "-o", out, "-f", "--report",
                                   shop.file("report.json"), "-q"});
        const RunResult result = shop.run(more);
        EXPECT_EQ(result.code, 0) << result.err;
        return std::filesystem::file_size(out);
    };
    const auto usual = join({"--title", "one & all", "--comment", "made of two"});
    EXPECT_EQ(framesOf(shop, out).size(), 40U);
    const nlohmann::json made = pictures(out);
    EXPECT_EQ(made["codec_name"], "mjpeg");
    EXPECT_EQ(made["pix_fmt"], "yuvj420p");
    EXPECT_EQ(made["color_range"], "pc");
    const nlohmann::json heard = sound(out);
    EXPECT_EQ(heard["codec_name"], "pcm_s16le");
    EXPECT_EQ(heard["channels"], 2);
    const nlohmann::json tags = probeJson(out)["format"]["tags"];
    EXPECT_EQ(tags["title"], "one & all");
    EXPECT_EQ(tags["comment"], "made of two");
    EXPECT_EQ(reportOf(shop)["copies"]["copied"], 0);
    EXPECT_GT(join({"--crf", "1"}), usual);
    EXPECT_LT(join({"--crf", "12"}), usual);
    join({"--audio", "none"});
    EXPECT_TRUE(sound(out).is_null());
    // The same pictures of one thread and of several are the same bytes.
    join({"--threads", "1"});
    const std::string one = bytesOf(out);
    join({"--threads", "4"});
    EXPECT_TRUE(bytesOf(out) == one);
}

// What players take Motion JPEG for is BT.601, whatever the clips were.
TEST(AviTest, ColoursOfEveryMatrixStayWhatTheyAre) {
    const Workshop shop;
    for (const char* matrix : {"bt709", "smpte170m"}) {
        const std::string a = shop.file("a.mp4");
        ASSERT_EQ(shell("ffmpeg -v error -y -f lavfi -i color=c=0x20B040:s=128x96:r=25:d=1,format=rgb24 -vf "
                        "scale=out_color_matrix=" +
                        std::string(matrix) + ",format=yuv420p -colorspace " + matrix + " -c:v libx264 " + a),
                  0);
        for (const char* name : {"out.avi", "out.mov"}) {
            const std::string out = shop.file(name);
            ASSERT_EQ(
                shop.run({"join", a, a, "--duration", "6f", "-o", out, "-f", "-q", "--codec", "mjpeg"}).code,
                0);
            ASSERT_EQ(
                shell("ffmpeg -v error -y -i " + out +
                      " -frames:v 1 -vf scale=1:1:in_color_matrix=bt601:in_range=full -pix_fmt rgb24 -f "
                      "rawvideo " +
                      shop.file("colour")),
                0);
            const std::string seen = bytesOf(shop.file("colour"));
            ASSERT_EQ(seen.size(), 3U);
            constexpr int kWanted[] = {0x20, 0xB0, 0x40};
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR(static_cast<unsigned char>(seen[i]), kWanted[i], 4) << matrix << name << i;
        }
    }
}

TEST(AviTest, WhatItCannotHoldIsRefusedInOneLine) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 1, x264("keyint=10"));
    struct Row {
        std::vector<std::string> more;
        const char* line;
    };
    const Row rows[] = {
        {{"--chapters"}, ".avi files hold no chapters; leave out --chapters"},
        {{"--depth", "10"}, ".avi files hold 8 bits here; choose .mp4, .mov, .mkv or .webm for 10"},
        {{"--alpha"}, "such a file holds no transparency"},
        {{"--codec", "h264"},
         "H.264 does not go into .avi files; they take mjpeg, and h264 goes into mp4, mov, mkv"},
        {{"--preset", "slow"}, "Motion JPEG has no presets; leave out --preset"},
        {{"--crf", "32"}, "--crf goes from 0 to 31 here"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> words{"join", a, a, "--duration", "6f", "-o", shop.file("out.avi")};
        words.insert(words.end(), row.more.begin(), row.more.end());
        const RunResult result = shop.run(words);
        EXPECT_EQ(result.code, 2) << row.line;
        EXPECT_THAT(result.err, HasSubstr(row.line));
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    }
    EXPECT_EQ(shop.names(), std::vector<std::string>{"a.mp4"});
}

TEST(AviTest, HdrIsTonedDown) {
    const Workshop shop;
    const std::string a =
        clip(shop, "a.mp4", 0, 0.6,
             "-pix_fmt yuv420p10le " + copies::x265("keyint=10:colorprim=bt2020:transfer=arib-std-b67:"
                                                    "colormatrix=bt2020nc"));
    const std::string out = shop.file("out.avi");
    const RunResult told = shop.run({"join", a, a, "--duration", "4f", "-o", out});
    ASSERT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.err, HasSubstr("a.mp4: HDR (HLG, 10 bits) is toned down to SDR\n"));
    EXPECT_EQ(pictures(out)["pix_fmt"], "yuvj420p");
    const RunResult kept = shop.run({"join", a, a, "--duration", "4f", "-o", out, "-f", "--hdr", "keep"});
    EXPECT_EQ(kept.code, 2);
    EXPECT_THAT(kept.err, HasSubstr(".avi files hold 8 bits here"));
}

}  // namespace
}  // namespace tumblewash::app
