// Joins that copy the bodies of clips: copied frames are the clips' own, and the rest of the movie is what a
// full render has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/CopyRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::copiedJoin;
using copies::x264;
using copies::x265;
using testing::HasSubstr;

struct Row {
    const char* name;
    std::string first, second;
    const char* ending;
};

class CopyCodingTest : public testing::TestWithParam<Row> {};

TEST_P(CopyCodingTest, BodiesAreTheClipsOwnFramesToTheBit) {
    const Row& row = GetParam();
    const Workshop shop;
    const std::string a = clip(shop, std::string("a") + row.ending, 0, 3, row.first);
    const std::string b = clip(shop, std::string("b") + row.ending, 1, 3, row.second);
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b},
                                             shop.file(std::string("out") + row.ending));
    if (report.is_null()) return;
    EXPECT_EQ(report["frames"], 140);
    EXPECT_GT(report["copies"]["copied"], 80);
    EXPECT_GE(report["copies"]["encoded"], 10);
}

const std::string kDnxhr = "-vf scale=256:120,setsar=1 -c:v dnxhd -profile:v ";
const Row kRows[] = {
    {"CavlcOfFourSlicesAndCabac", x264("keyint=20:cabac=0:slices=4"), x264("keyint=25:b-pyramid=none"),
     ".mp4"},
    {"EqualSets", x264("keyint=20"), x264("keyint=20"), ".mp4"},
    {"EqualSetsMov", x264("keyint=20"), x264("keyint=20"), ".mov"},
    {"EqualSetsMkv", x264("keyint=20"), x264("keyint=20"), ".mkv"},
    {"CabacAndCavlcOfFourSlices", x264("keyint=20"), x264("keyint=20:cabac=0:slices=4:8x8dct=0"), ".mkv"},
    {"HevcOfOpenGroups", x265("keyint=20:open-gop=1:bframes=4"), x265("keyint=15:open-gop=1:bframes=3"),
     ".mkv"},
    {"OpenGroups", x264("keyint=20:open-gop=1:bframes=3:b-pyramid=normal"),
     x264("keyint=30:min-keyint=30:bframes=3:scenecut=0"), ".mp4"},
    {"NoBFrames", x264("keyint=20:bframes=0"), x264("keyint=15:bframes=0:ref=4"), ".mp4"},
    {"MainAndHigh", x264("keyint=20") + " -profile:v main", x264("keyint=20:ref=5:bframes=5"), ".mov"},
    {"Hevc", x265("keyint=20:open-gop=0:bframes=3"),
     x265("keyint=25:open-gop=0:bframes=2:ref=4:ctu=32:min-cu-size=8"), ".mp4"},
    {"Vp9", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 20",
     "-c:v libvpx-vp9 -cpu-used 8 -g 20 -auto-alt-ref 1 -lag-in-frames 12", ".webm"},
    {"HevcOfTenBits", "-pix_fmt yuv420p10le " + x265("keyint=20"),
     "-pix_fmt yuv420p10le " + x265("keyint=15:open-gop=0"), ".mov"},
    {"Prores", "-c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le",
     "-c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le", ".mov"},
    {"ProresMkv", "-c:v prores_ks -profile:v 0 -pix_fmt yuv422p10le",
     "-c:v prores_ks -profile:v 0 -pix_fmt yuv422p10le", ".mkv"},
    {"Ffv1", "-c:v ffv1 -level 3 -g 1 -slices 4 -slicecrc 1", "-c:v ffv1 -level 3 -g 1 -slices 4 -slicecrc 1",
     ".mkv"},
    {"Ffv1OfGroups", "-c:v ffv1 -level 3 -g 12 -coder 1 -slices 9",
     "-c:v ffv1 -level 3 -g 8 -coder 1 -slices 9", ".mkv"},
    {"MotionJpeg", "-c:v mjpeg -q:v 4 -pix_fmt yuvj420p",
     "-c:v mjpeg -q:v 9 -huffman default -pix_fmt yuvj420p", ".mov"},
    {"MotionJpegOfMoreChroma", "-c:v mjpeg -q:v 4 -pix_fmt yuvj422p", "-c:v mjpeg -q:v 4 -pix_fmt yuvj422p",
     ".mkv"},
    {"MotionJpegAvi", "-c:v mjpeg -q:v 4 -pix_fmt yuvj420p",
     "-c:v mjpeg -q:v 9 -huffman default -pix_fmt yuvj420p", ".avi"},
    {"MotionJpegOfMoreChromaAvi", "-c:v mjpeg -q:v 4 -pix_fmt yuvj422p",
     "-c:v mjpeg -q:v 2 -pix_fmt yuvj422p", ".avi"},
    {"Dnxhr", kDnxhr + "dnxhr_sq -pix_fmt yuv422p", kDnxhr + "dnxhr_sq -pix_fmt yuv422p", ".mov"},
    {"DnxhrOfTenBits", kDnxhr + "dnxhr_hqx -pix_fmt yuv422p10le", kDnxhr + "dnxhr_hqx -pix_fmt yuv422p10le",
     ".mkv"},
    {"Baseline", x264("keyint=20") + " -profile:v baseline", x264("keyint=20") + " -profile:v baseline",
     ".mp4"},
};

INSTANTIATE_TEST_SUITE_P(Codings, CopyCodingTest, testing::ValuesIn(test::sampledRows(kRows, 5)),
                         [](const testing::TestParamInfo<Row>& row) { return std::string(row.param.name); });

/// Two clips, and the elements of GStreamer that decode them.
struct Player {
    const char* name;
    std::string first, second;
    const char* ending;
    const char* elements;
};

class CopyPlayerTest : public testing::TestWithParam<Player> {};

// Decoders that are not FFmpeg's pass over less: a set of another clip, or a picture whose references are
// missing, shows in them.
TEST_P(CopyPlayerTest, AnotherDecoderSeesTheSamePictures) {
    const Player& row = GetParam();
    const Workshop shop;
    const std::string ending = row.ending;
    const std::string a = clip(shop, "a" + ending, 0, 2, row.first);
    const std::string b = clip(shop, "b" + ending, 1, 2, row.second);
    const std::string out = shop.file("out" + ending);
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, out);
    ASSERT_FALSE(report.is_null());
    ASSERT_EQ(shell("ffmpeg -v error -y -i " + out + " -map 0:v -f rawvideo " + shop.file("expected")), 0);
    ASSERT_EQ(shell("gst-launch-1.0 -q filesrc location=" + out + " ! " + row.elements +
                    " ! video/x-raw,format=I420 ! filesink location=" + shop.file("seen") + " 2>/dev/null"),
              0);
    EXPECT_EQ(std::filesystem::file_size(shop.file("seen")),
              std::filesystem::file_size(shop.file("expected")));
    EXPECT_TRUE(bytesOf(shop.file("seen")) == bytesOf(shop.file("expected")));
}

// OpenH264 itself loses pictures of these drawings where they have B-frames.
const Player kPlayers[] = {
    {"Libde265", x265("keyint=20:open-gop=1:bframes=4"), x265("keyint=15:open-gop=1:bframes=3:ref=2"), ".mp4",
     "qtdemux ! h265parse ! libde265dec"},
    {"OpenH264", x264("keyint=20:bframes=0:weightp=0"), x264("keyint=15:bframes=0:weightp=0:ref=3:8x8dct=0"),
     ".mp4", "qtdemux ! h264parse ! openh264dec"},
    {"Vpx", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 20",
     "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 15", ".webm", "matroskademux ! vp9dec"},
};

INSTANTIATE_TEST_SUITE_P(Players, CopyPlayerTest, testing::ValuesIn(test::sampledRows(kPlayers, 3)),
                         [](const testing::TestParamInfo<Player>& row) {
                             return std::string(row.param.name);
                         });

// Pictures of DNxHD come in few sizes, of which each has its own rates.
TEST(CopyTest, EveryKindOfDnxhdKeepsItsKind) {
    const Workshop shop;
    struct Kind {
        const char* coding;
        const char* size;
    };
    std::vector<Kind> kinds{{"-b:v 75M -pix_fmt yuv422p", "1280x720"},
                            {"-b:v 180M -pix_fmt yuv422p", "1280x720"},
                            {"-b:v 180M -pix_fmt yuv422p10", "1280x720"},
                            {"-b:v 36M -pix_fmt yuv422p", "1920x1080"},
                            {"-b:v 185M -pix_fmt yuv422p10", "1920x1080"}};
    if (test::sampled()) kinds.resize(1);
    for (const Kind& kind : kinds) {
        const std::string a =
            clip(shop, "a.mov", 0, 0.2,
                 std::string("-vf scale=") + kind.size + ",setsar=1 -c:v dnxhd " + kind.coding);
        const std::string out = shop.file("out.mov");
        ASSERT_EQ(
            shop.run({"join", a, a, "--duration", "2f", "-o", out, "--copy-bodies=always", "-f", "-q"}).code,
            0)
            << kind.coding;
        ASSERT_EQ(shell("ffmpeg -v error -y -i " + out + " -c copy -f data -map 0:v " + shop.file("packets")),
                  0);
        // All of a kind have one length, and a head that names the kind.
        const std::string bytes = bytesOf(shop.file("packets"));
        ASSERT_EQ(bytes.size() % 8, 0U);
        const std::size_t each = bytes.size() / 8;
        for (std::size_t i = 0; i < 8; ++i)
            EXPECT_EQ(bytes.substr(i * each, 0x2c).substr(0x18), bytes.substr(0x18, 0x14)) << i;
    }
}

TEST(CopyTest, ThreeClipsWithSetsOfTheirOwnKeepTheMiddleOne) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 3, x264("keyint=20"));
    const std::string b = clip(shop, "b.mp4", 1, 3, x264("keyint=12:cabac=0:ref=2"));
    const std::string c = clip(shop, "c.mp4", 2, 3, x264("keyint=25:weightp=0:b-pyramid=none:qp=30"));
    const nlohmann::json report =
        copiedJoin(shop, {"join", a, b, c, "--duration", "10f", "--effect", "wash-away,morph"}, {a, b, c},
                   shop.file("out.mp4"));
    ASSERT_FALSE(report.is_null());
    ASSERT_EQ(report["copies"]["runs"].size(), 5U);
    EXPECT_EQ(report["copies"]["runs"][2]["clip"], 1);
}

TEST(CopyTest, SeamsThatMeetInAShortClipAreEncodedAsOneRun) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 2, x264("keyint=20"));
    const std::string b = clip(shop, "b.mp4", 1, 1, x264("keyint=250"));
    const std::string c = clip(shop, "c.mp4", 0, 2, x264("keyint=20"));
    const std::string out = shop.file("out.mp4");
    const RunResult told = shop.run({"join", a, b, c, "--duration", "8f", "-o", out, "--copy-bodies"});
    ASSERT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.err, HasSubstr("b.mp4 has no key frame after 0.3 s that can start a copy"));
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, c, "--duration", "8f"}, {a, b, c}, out);
    ASSERT_FALSE(report.is_null());
    ASSERT_EQ(report["copies"]["runs"].size(), 3U);
}

TEST(CopyTest, OneClipAloneIsCutWithoutALoss) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 4, x264("keyint=20:scenecut=0"), "-c:a aac");
    const nlohmann::json report = copiedJoin(shop, {"join", a + "#t=0.6,3.2"}, {a}, shop.file("cut.mp4"));
    ASSERT_FALSE(report.is_null());
    EXPECT_EQ(report["frames"], 65);
    ASSERT_GE(report["copies"]["runs"].size(), 2U);
    EXPECT_EQ(report["copies"]["runs"][0]["frames"], 5);  // up to the key frame at 20
    EXPECT_EQ(report["copies"]["runs"][1]["first"], 20);
    EXPECT_EQ(shop.run({"join", a, "-o", shop.file("x.mp4")}).code, 2);
}

TEST(CopyTest, OpeningsClosingsAndSoundGoWithCopiedPictures) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 3, x264("keyint=15"), "-c:a aac");
    const std::string b = clip(shop, "b.mp4", 1, 3, x264("keyint=15"), "-c:a aac");
    const std::string out = shop.file("out.mp4");
    const nlohmann::json report =
        copiedJoin(shop, {"join", a, b, "--duration", "10f", "--opening", "wash-in", "--closing", "tilt-out"},
                   {a, b}, out);
    ASSERT_FALSE(report.is_null());
    EXPECT_EQ(report["transitions"].size(), 3U);
    const nlohmann::json probe = probeJson(out);
    ASSERT_FALSE(streamOf(probe, "audio").is_null());
    EXPECT_NEAR(std::stod(streamOf(probe, "audio")["duration"].get<std::string>()), 5.6, 0.05);
    // The sound is the very one of a full render.
    const std::string full = shop.file("full.mp4");
    ASSERT_EQ(shop.run({"join", a, b, "--duration", "10f", "--opening", "wash-in", "--closing", "tilt-out",
                        "-o", full, "--copy-bodies=never", "-q"})
                  .code,
              0);
    const auto sound = [&](const std::string& file) {
        EXPECT_EQ(shell("ffmpeg -v error -y -i " + file + " -map 0:a -f md5 " + shop.file("s")), 0);
        return bytesOf(shop.file("s"));
    };
    EXPECT_EQ(sound(out), sound(full));
    const nlohmann::json closing =
        copiedJoin(shop, {"out", a, "--duration", "10f"}, {a}, shop.file("end.mkv"));
    ASSERT_FALSE(closing.is_null());
    EXPECT_GT(closing["copies"]["copied"], 40);
}

TEST(CopyTest, SeamsAreNoWorseThanThoseOfAFullRender) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 2, x264("keyint=20"));
    const std::string b = clip(shop, "b.mp4", 1, 2, x264("keyint=20"));
    const auto render = [&](const std::string& name, const std::vector<std::string>& more) {
        std::vector<std::string> words{"join", a, b, "--duration", "10f", "-q", "-o", name};
        words.insert(words.end(), more.begin(), more.end());
        EXPECT_EQ(shop.run(words).code, 0);
    };
    render(shop.file("copied.mp4"), {"--copy-bodies=always"});
    render(shop.file("full.mp4"), {"--copy-bodies=never"});
    render(shop.file("%03d.png"), {});
    const auto psnr = [&](const std::string& name) {
        const std::string log = shop.file("psnr.txt");
        EXPECT_EQ(shell("ffmpeg -v error -i " + shop.file(name) + " -i " + shop.file("%03d.png") +
                        " -lavfi '[0:v]trim=start_frame=40:end_frame=50,setpts=PTS-STARTPTS[a];"
                        "[1:v]trim=start_frame=40:end_frame=50,setpts=PTS-STARTPTS,format=yuv420p[b];"
                        "[a][b]psnr=stats_file=" +
                        log + "' -f null -"),
                  0);
        double sum = 0;
        int count = 0;
        for (const std::string& line : linesOf(bytesOf(log))) {
            const std::size_t at = line.find("psnr_y:");
            if (at == std::string::npos) continue;
            sum += std::stod(line.substr(at + 7));
            ++count;
        }
        EXPECT_EQ(count, 10);
        return sum / count;
    };
    EXPECT_GE(psnr("copied.mp4"), psnr("full.mp4") - 0.1);
}

TEST(CopyTest, PlansSayWhatWouldBeCopied) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 2, x264("keyint=20:scenecut=0"));
    const std::string b = clip(shop, "b.mp4", 1, 2, x264("keyint=20:scenecut=0"));
    const RunResult told = shop.run({"plan", a, b, "--duration", "10f", "--copy-bodies"});
    ASSERT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.out, HasSubstr("frames copied from " + b + " from its frame 20"));
    EXPECT_THAT(told.out, HasSubstr("of 90 frames are copied and"));
    EXPECT_THAT(told.out, testing::ContainsRegex(
                              "about [0-9]+[.][0-9] s for pictures on this machine, and [0-9]+[.][0-9] s "
                              "if all of them were encoded\n$"));
    EXPECT_THAT(shop.run({"plan", a, b, "--duration", "10f"}).out, HasSubstr("of 90 frames are copied and"));
    EXPECT_THAT(shop.run({"plan", a, b, "--duration", "10f", "--copy-bodies=never"}).out,
                testing::Not(HasSubstr("copied")));
}

}  // namespace
}  // namespace tumblewash::app
