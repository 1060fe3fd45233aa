// Clips of other colours through the whole program: what it says, what it writes, and what it refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "media/StillIO.h"
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

TEST(ColourTest, SheetsOfHdrShowWhatAJoinWouldShow) {
    const Workshop shop;
    // A sheet bears the names of its clips.
    std::filesystem::create_directory(shop.file("sdr"));
    const std::string hdr = tagged(shop, "clip.mkv", "smpte2084"), sdr = shop.file("sdr/clip.mkv");
    const RunResult toned =
        shop.run({"join", hdr, hdr, "-o", sdr, "-e", "none", "--hdr", "sdr", "--codec", "ffv1", "-q"});
    ASSERT_EQ(toned.code, 0) << toned.err;
    const auto sheet = [&](const std::string& clip) {
        const RunResult result = shop.run(
            {"sheet", clip, scene("city", 1), "-e", "wash-away", "-d", "8f", "-o", shop.file("s.png"), "-f"});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_EQ(result.err.find("HDR (PQ") != std::string::npos, clip == hdr) << result.err;
        return media::readStill(shop.file("s.png"));
    };
    const media::PictureRef shown = sheet(hdr), wanted = sheet(sdr);
    ASSERT_EQ(shown.width(), wanted.width());
    ASSERT_EQ(shown.height(), wanted.height());
    // An unconverted signal is tens of codes away; dithering is one.
    int most = 0;
    for (int y = 0; y < shown.height(); ++y)
        for (int i = 0; i < 4 * shown.width(); ++i)
            most = std::max(most, std::abs(shown.data()[y * shown.stride() + i] -
                                           wanted.data()[y * wanted.stride() + i]));
    EXPECT_LE(most, 3);
}

TEST(ColourTest, WhatIsDoneToAPhotoIsSaidAsOtherLossesAre) {
    const Workshop shop;
    const std::string made =
        "ffmpeg -v error -nostdin -y -f lavfi -i testsrc2=s=64x48 -frames:v 1 -update 1 ";
    ASSERT_EQ(std::system((made + shop.file("a.jpg")).c_str()), 0);
    const std::string jpeg = bytesOf(shop.file("a.jpg"));
    const std::string map =
        std::string("http://ns.adobe.com/xap/1.0/\0", 29) + "http://ns.adobe.com/hdr-gain-map/1.0/";
    const std::string photo = shop.file("photo.jpg");
    std::ofstream(photo, std::ios::binary) << jpeg.substr(0, 2) << std::string("\xFF\xE1\0", 3)
                                           << static_cast<char>(map.size() + 2) << map << jpeg.substr(2);
    const std::string line = photo + ": its HDR gain map is left out; the ordinary picture is used";
    const auto once = [&](const std::vector<std::string>& words) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--report", shop.file("r.json"), "-f"});
        const RunResult result = shop.run(all);
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr("tumblewash: " + line + "\n"));
        EXPECT_THAT(result.err, Not(HasSubstr("warning:")));
        EXPECT_EQ(result.err.find(line), result.err.rfind(line)) << result.err;
        const nlohmann::json report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
        EXPECT_EQ(report["warnings"], nlohmann::json::array({line})) << words[0];
        all.push_back("-q");
        EXPECT_EQ(shop.run(all).err, "") << words[0];
        EXPECT_EQ(nlohmann::json::parse(bytesOf(shop.file("r.json")))["warnings"], report["warnings"]);
    };
    const std::string other = scene("harbour", 1);
    // The second photo of a movie is opened when its time comes, the first before all else.
    once({"join", photo, other, "-o", shop.file("o.mp4"), "-d", "4f", "--still", "0.4s", "--preset",
          "ultrafast"});
    once({"join", other, photo, "-o", shop.file("o.mp4"), "-d", "4f", "--still", "0.4s", "--preset",
          "ultrafast"});
    once({"frame", photo, other, "-o", shop.file("f.png"), "-n", "8", "-k", "2"});
    const std::string second = shop.file("second.jpg");
    std::filesystem::copy_file(photo, second);
    std::vector<std::string> inParts = {"join",      photo,      second,    "-o",   shop.file("p.mp4"),
                                        "-d",        "4f",       "--still", "0.4s", "--preset",
                                        "ultrafast", "--resume", "--parts", "2"};
    const std::string told = shop.run(inParts).err;
    for (const std::string& file : {photo, second}) {
        const std::string whole = "tumblewash: " + file + ": its HDR gain map is left out; ";
        EXPECT_THAT(told, HasSubstr(whole));
        EXPECT_EQ(told.find(whole), told.rfind(whole)) << told;
    }
    inParts.insert(inParts.end(), {"-q", "-f"});
    EXPECT_EQ(shop.run(inParts).err, "");
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

TEST(ColourTest, QualityGoesAsFarAsTheCodecAllows) {
    const Workshop shop;
    const auto join = [&](const std::string& codec, const std::string& crf) {
        return shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("o.mkv"), "-d", "4f",
                         "-f", "-q", "--codec", codec, "--crf", crf});
    };
    EXPECT_EQ(join("vp9", "63").code, 0);
    EXPECT_THAT(join("hevc", "52").err, HasSubstr("--crf goes from 0 to 51 here"));
    EXPECT_THAT(join("ffv1", "20").err, HasSubstr("has one quality; leave out --crf"));
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
    EXPECT_THAT(shop.run({"join", "--help"}).out,
                HasSubstr("ffv1 (8, 10), prores (10), mjpeg (8);\n         with --alpha ffv1"));
}

namespace {

/// Half a second of grey 8-bit pictures of 256x64 whose luma is `codes`, in geq's words.
std::string greys(const Workshop& shop, const std::string& name, const std::string& codes) {
    const std::string tags = " -color_trc bt709 -color_primaries bt709 -colorspace bt709 -color_range tv ";
    const std::string command =
        "ffmpeg -v error -nostdin -y -f lavfi -i color=gray:s=256x64:r=25:d=0.48,format=yuv420p,geq=lum='" +
        codes + "':cb=128:cr=128" + tags + "-c:v ffv1" + tags + shop.file(name);
    EXPECT_EQ(std::system(command.c_str()), 0);
    return shop.file(name);
}

/// The luma of one frame.
std::string lumaOf(const Workshop& shop, const std::string& movie, int frame) {
    const std::string raw = shop.file("luma.raw");
    const std::string command = "ffmpeg -v error -nostdin -y -i " + movie + " -vf 'select=eq(n\\," +
                                std::to_string(frame) + "),extractplanes=y' -frames:v 1 -f rawvideo " + raw;
    EXPECT_EQ(std::system(command.c_str()), 0);
    return bytesOf(raw);
}

}  // namespace

TEST(ColourTest, WhatLiesBeyondWhitePassesASeamUnchanged) {
    const Workshop shop;
    // More than R'G'B' between black and white can hold.
    const std::string ramp = greys(shop, "ramp.mkv", "clip(X\\,1\\,254)");
    for (const char* effect : {"wash-away", "tilt-away", "tumble-away", "morph"}) {
        const RunResult result = shop.run({"join", ramp, ramp, "-e", effect, "-d", "4f", "--codec", "ffv1",
                                           "-f", "-q", "-o", shop.file("o.mkv")});
        ASSERT_EQ(result.code, 0) << result.err;
        // The transition's first frame is the clip's own picture; a morph of two equal clips is that
        // throughout.
        const int first = std::string(effect) == "morph" ? 10 : 8;
        for (const int frame : {first - 1, first}) {
            const std::string luma = lumaOf(shop, shop.file("o.mkv"), frame);
            ASSERT_EQ(luma.size(), 256U * 64U);
            // A tumble's card has soft edges from the start.
            const int edge = std::string(effect) == "tumble-away" ? 3 : 1;
            for (int x = edge; x < 256 - edge - 1; ++x)
                EXPECT_NEAR(static_cast<unsigned char>(luma[static_cast<std::size_t>(32 * 256 + x)]), x, 1)
                    << effect << frame;
        }
    }
}

TEST(ColourTest, WhatGetsBrightInTheMiddleOfATransitionStaysSo) {
    const Workshop shop;
    const std::string grey = greys(shop, "grey.mkv", "100");
    const std::string flash = greys(shop, "flash.mkv", "if(gt(N\\,1)\\,250\\,100)");
    const RunResult result = shop.run({"join", grey, flash, "-e", "tilt-away", "-d", "4f", "--codec", "ffv1",
                                       "-q", "-o", shop.file("o.mkv")});
    ASSERT_EQ(result.code, 0) << result.err;
    const auto brightest = [&](int frame) {
        const std::string luma = lumaOf(shop, shop.file("o.mkv"), frame);
        return static_cast<unsigned char>(*std::max_element(
            luma.begin(), luma.end(), [](unsigned char a, unsigned char b) { return a < b; }));
    };
    EXPECT_NEAR(brightest(9), 100, 1);
    EXPECT_NEAR(brightest(10), 250, 1);
    EXPECT_NEAR(brightest(11), 250, 1);
    EXPECT_EQ(brightest(12), 250);
}

TEST(ColourTest, EveryFrameOfAWashOrTiltKeepsAGradientOfTenBits) {
    const Workshop shop;
    // A step of ten bits to each column. What a wash carries out over an edge is gone, so it goes down: along
    // the steps, not across them.
    const std::string tags = " -color_trc bt709 -color_primaries bt709 -colorspace bt709 -color_range tv ";
    const std::string ramp = shop.file("ramp.mkv");
    ASSERT_EQ(std::system(("ffmpeg -v error -nostdin -y -f lavfi -i "
                           "color=gray:s=876x32:r=25:d=0.4,format=yuv420p10le,geq=lum='64+X':cb=512:cr=512" +
                           tags + "-c:v ffv1" + tags + ramp)
                              .c_str()),
              0);
    for (const std::string effect : {"wash-away", "tilt-away"}) {
        std::vector<std::string> words = {
            "join", ramp, ramp,      "-e", effect,    "-d",  "6f", "-o", shop.file("o.mkv"),
            "-f",   "-q", "--depth", "10", "--codec", "ffv1"};
        if (effect == "wash-away") words.insert(words.end(), {"--direction", "down"});
        const RunResult run = shop.run(words);
        ASSERT_EQ(run.code, 0) << run.err;
        ASSERT_EQ(std::system(("ffmpeg -v error -nostdin -y -i " + shop.file("o.mkv") +
                               " -vf extractplanes=y,format=gray10le -f rawvideo " + shop.file("o.raw"))
                                  .c_str()),
                  0);
        const std::string raw = bytesOf(shop.file("o.raw"));
        constexpr std::size_t frame = 2 * 876 * 32;
        ASSERT_EQ(raw.size(), 14 * frame);
        for (std::size_t k = 0; k < 14; ++k) {
            std::set<int> levels;
            for (std::size_t i = k * frame; i < (k + 1) * frame; i += 2)
                levels.insert(static_cast<unsigned char>(raw[i]) | static_cast<unsigned char>(raw[i + 1])
                                                                       << 8);
            EXPECT_GE(levels.size(), 870U) << effect << ' ' << k;
        }
    }
}

TEST(ColourTest, AnEditHoldsWhatIsAskedOfColours) {
    const Workshop shop;
    const std::string a = tagged(shop, "a.mkv", "bt709"), edit = shop.file("x.edit.json");
    ASSERT_EQ(shop.run({"plan", a, a, "-d", "4f", "--codec", "ffv1", "--depth", "10", "--hdr", "keep",
                        "--tone-map", "white", "-q", "-o", edit})
                  .code,
              0);
    const nlohmann::json output = nlohmann::json::parse(bytesOf(edit))["output"];
    EXPECT_EQ(output,
              nlohmann::json::parse(R"({"codec": "ffv1", "depth": 10, "hdr": "keep", "toneMap": "white"})"));
    ASSERT_EQ(shop.run({"render", edit, "-q", "-o", shop.file("a.mkv")}).code, 2) << "an input";
    ASSERT_EQ(shop.run({"render", edit, "-q", "-o", shop.file("deep.mkv")}).code, 0);
    EXPECT_EQ(pictureOf(shop.file("deep.mkv"))["codec_name"], "ffv1");
    EXPECT_EQ(pictureOf(shop.file("deep.mkv"))["pix_fmt"], "yuv420p10le");
    // What is said beside the document counts instead.
    ASSERT_EQ(shop.run({"render", edit, "-q", "--codec", "hevc", "--depth", "8", "--preset", "ultrafast",
                        "-o", shop.file("plain.mkv")})
                  .code,
              2)
        << "--preset belongs to the edit";
    const RunResult plain =
        shop.run({"render", edit, "--codec", "h264", "--depth", "8", "-o", shop.file("plain.mkv")});
    ASSERT_EQ(plain.code, 0) << plain.err;
    EXPECT_THAT(plain.err, HasSubstr("10 bits become 8, dithered; --depth 10 keeps them"));
    EXPECT_EQ(pictureOf(shop.file("plain.mkv"))["codec_name"], "h264");
    EXPECT_EQ(pictureOf(shop.file("plain.mkv"))["pix_fmt"], "yuv420p");
    // Whether the kind of file holds it shows when one is named.
    const RunResult wrong = shop.run({"render", edit, "-q", "-o", shop.file("o.mp4")});
    EXPECT_EQ(wrong.code, 2);
    EXPECT_THAT(wrong.err, HasSubstr("FFV1 (lossless) does not go into .mp4 files"));
}

}  // namespace tumblewash::app
