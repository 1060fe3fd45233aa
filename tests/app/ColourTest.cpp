// Clips of other colours through the whole program: what it says, what it writes, and what it refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A second of 10-bit noise-free picture, tagged as asked.
std::string tagged(const Workshop& shop, const std::string& name, const std::string& transfer) {
    const bool wide = transfer != "bt709";
    const std::string colour = wide ? "bt2020" : "bt709", matrix = wide ? "bt2020nc" : "bt709";
    const std::string tags = " -color_trc " + transfer + " -color_primaries " + colour + " -colorspace " +
                             matrix + " -color_range tv ";
    const std::string command =
        "ffmpeg -v error -nostdin -y -f lavfi -i color=0x806040:s=64x48:r=25:d=1,format=yuv420p10le" + tags +
        "-c:v ffv1" + tags + shop.file(name);
    EXPECT_EQ(std::system(command.c_str()), 0);
    return shop.file(name);
}

nlohmann::json pictureOf(const std::string& file) {
    return streamOf(probeJson(file), "video");
}

}  // namespace

TEST(ColourTest, HdrClipsOfOneKindStayHdr) {
    const Workshop shop;
    const std::string a = tagged(shop, "a.mkv", "arib-std-b67"), b = tagged(shop, "b.mkv", "arib-std-b67");
    const RunResult result = shop.run({"join", a, b, "-o", shop.file("out.mp4"), "-d", "4f", "--report",
                                       shop.file("r.json"), "--preset", "ultrafast"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err,
                HasSubstr(a + ": HDR (HLG, 10 bits); kept, as HEVC; --hdr sdr makes an ordinary movie\n"));
    const nlohmann::json picture = pictureOf(shop.file("out.mp4"));
    EXPECT_EQ(picture["pix_fmt"], "yuv420p10le");
    EXPECT_EQ(picture["codec_tag_string"], "hvc1");
    EXPECT_EQ(picture["color_transfer"], "arib-std-b67");
    EXPECT_EQ(picture["color_primaries"], "bt2020");
    EXPECT_EQ(picture["color_space"], "bt2020nc");
    const nlohmann::json report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
    EXPECT_EQ(report["clips"][0]["colour"]["signal"], "HLG");
    EXPECT_EQ(report["clips"][0]["colour"]["depth"], 10);
    EXPECT_EQ(report["warnings"].size(), 2U);
    EXPECT_THAT(report["warnings"][0].get<std::string>(), HasSubstr("kept, as HEVC"));
}

TEST(ColourTest, HdrWithSdrIsAnOrdinaryMovie) {
    const Workshop shop;
    const std::string a = tagged(shop, "a.mkv", "smpte2084");
    const RunResult result = shop.run(
        {"join", a, scene("harbour", 1), "-o", shop.file("out.mp4"), "-d", "4f", "--preset", "ultrafast"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err, AllOf(HasSubstr(a + " is HDR, "),
                                  HasSubstr(a + " is toned down to SDR; --hdr keep makes both HDR")));
    const nlohmann::json picture = pictureOf(shop.file("out.mp4"));
    EXPECT_EQ(picture["pix_fmt"], "yuv420p");
    EXPECT_NE(picture["color_transfer"], "smpte2084");
    const RunResult kept = shop.run({"join", a, scene("harbour", 1), "-o", shop.file("keep.mkv"), "-d", "4f",
                                     "--hdr", "keep", "--codec", "ffv1", "-q"});
    ASSERT_EQ(kept.code, 0) << kept.err;
    EXPECT_EQ(kept.err, "");
    EXPECT_EQ(pictureOf(shop.file("keep.mkv"))["color_transfer"], "smpte2084");
}

TEST(ColourTest, OrdinaryClipsAreNotSpokenOf) {
    const Workshop shop;
    const RunResult result = shop.run({"join", scene("harbour", 1), scene("city", 1), "-o",
                                       shop.file("o.mp4"), "-d", "4f", "--preset", "ultrafast"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err, Not(HasSubstr("tumblewash:")));
}

TEST(ColourTest, FramesOfHdrAreTonedDownAndSaySo) {
    const Workshop shop;
    const std::string a = tagged(shop, "a.mkv", "arib-std-b67");
    const RunResult result = shop.run({"frame", a, "-e", "wash-out", "-n", "8", "-k", "0", "-o",
                                       shop.file("f.png"), "--report", shop.file("r.json")});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr(a + ": HDR (HLG, 10 bits) is toned down to SDR\n"));
    EXPECT_THAT(bytesOf(shop.file("r.json")), HasSubstr("is toned down to SDR"));
}

TEST(ColourTest, TenBitsAreKeptWhenAskedFor) {
    const Workshop shop;
    const std::string a = tagged(shop, "a.mkv", "bt709");
    const RunResult eight =
        shop.run({"out", a, "-o", shop.file("8.mp4"), "-d", "4f", "--preset", "ultrafast"});
    EXPECT_THAT(eight.err, HasSubstr(a + ": 10 bits become 8, dithered; --depth 10 keeps them\n"));
    const RunResult ten =
        shop.run({"out", a, "-o", shop.file("10.mp4"), "-d", "4f", "--depth", "10", "--preset", "ultrafast"});
    ASSERT_EQ(ten.code, 0) << ten.err;
    EXPECT_THAT(ten.err, Not(HasSubstr("become")));
    EXPECT_EQ(pictureOf(shop.file("10.mp4"))["pix_fmt"], "yuv420p10le");
}

TEST(ColourTest, CutsPassAtAnyWidthAndEffectsNameTheSizeThatFits) {
    const Workshop shop;
    const std::string wide = "pattern:bars?size=4200x32&seconds=1";
    const RunResult cut = shop.run(
        {"join", wide, wide, "-e", "none", "--fps", "2", "-o", shop.file("c.mp4"), "--preset", "ultrafast"});
    EXPECT_EQ(cut.code, 0) << cut.err;
    EXPECT_EQ(pictureOf(shop.file("c.mp4"))["width"], 4200);
    const RunResult wash =
        shop.run({"join", "pattern:bars?size=4200x2100&seconds=1", wide, "-o", shop.file("w.mp4")});
    EXPECT_EQ(wash.code, 2);
    EXPECT_THAT(wash.err, HasSubstr("give --size 4094x2046"));
}

TEST(ColourTest, CodecsThatDoNotFitAreRefusedInWords) {
    const Workshop shop;
    const RunResult wrong = shop.run(
        {"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("o.mp4"), "--codec", "prores"});
    EXPECT_EQ(wrong.code, 2);
    EXPECT_THAT(wrong.err, HasSubstr("prores goes into mov"));
    const RunResult typo = shop.run(
        {"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("o.mp4"), "--codec", "hevk"});
    EXPECT_EQ(typo.code, 2);
    EXPECT_THAT(typo.err, HasSubstr("hevc"));
    const nlohmann::json list = nlohmann::json::parse(shop.run({"list", "--json"}).out);
    EXPECT_EQ(list["outputs"][0]["ending"], ".mp4");
    EXPECT_EQ(list["outputs"][0]["codecs"][1]["codec"], "hevc");
    EXPECT_THAT(shop.run({"join", "--help"}).out, HasSubstr("ffv1 (8, 10); with --alpha ffv1"));
}

}  // namespace tumblewash::app
