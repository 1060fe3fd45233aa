// Transparency from the inputs to the file: join, in and out with --alpha.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "media/Reader.h"
#include "media/StillIO.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {

using media::PictureRef;
using media::PngAlpha;
using media::Reader;
using media::ReaderSettings;
using media::writePng;

namespace {

using testing::HasSubstr;

constexpr int kWidth = 64, kHeight = 48;

/// A ramp of alpha from left to right under one colour; its right third is opaque.
PictureRef ramp(int red, int green, int blue) {
    PictureRef picture = PictureRef::makeArgb(kWidth, kHeight);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        std::uint8_t* p = picture.data() + 4 * i;
        p[0] = static_cast<std::uint8_t>(std::min(255, i % kWidth * 6));
        p[1] = static_cast<std::uint8_t>(red);
        p[2] = static_cast<std::uint8_t>(green);
        p[3] = static_cast<std::uint8_t>(blue);
    }
    return picture;
}

std::vector<PictureRef> framesOf(const std::string& file) {
    ReaderSettings settings;
    settings.keepAlpha = true;
    Reader reader = Reader::open(file, settings);
    std::vector<PictureRef> frames;
    while (PictureRef picture = reader.readPicture()) frames.push_back(std::move(picture));
    return frames;
}

const std::uint8_t* pixel(const PictureRef& picture, int x, int y) {
    return picture.data() + y * picture.stride() + 4 * x;
}

class AlphaTest : public ::testing::Test {
  protected:
    AlphaTest() {
        writePng(shop.file("a.png"), ramp(250, 40, 20), PngAlpha::keep);
        writePng(shop.file("b.png"), ramp(20, 60, 240), PngAlpha::keep);
    }
    RunResult join(const std::string& output, const std::string& effect,
                   const std::vector<std::string>& more = {}) {
        std::vector<std::string> words = {"join",
                                          shop.file("a.png"),
                                          shop.file("b.png"),
                                          "-o",
                                          shop.file(output),
                                          "-e",
                                          effect,
                                          "--still",
                                          "8f",
                                          "-d",
                                          "6f",
                                          "--size",
                                          std::to_string(kWidth) + "x" + std::to_string(kHeight),
                                          "--fps",
                                          "25",
                                          "--alpha",
                                          "-f"};
        words.insert(words.end(), more.begin(), more.end());
        return shop.run(words);
    }
    const Workshop shop;
};

TEST_F(AlphaTest, SteadyFramesAreTheInputsAndNoFrameHasDarkFringes) {
    for (const std::string effect : {"wash-away", "tumble-away", "morph"}) {
        ASSERT_EQ(join("m.mkv", effect).code, 0);
        const std::vector<PictureRef> frames = framesOf(shop.file("m.mkv"));
        ASSERT_GE(frames.size(), 10u) << effect;
        const PictureRef first = ramp(250, 40, 20);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const std::uint8_t* in = pixel(first, x, y);
                const std::uint8_t* out = pixel(frames.front(), x, y);
                for (int c = 0; c < 4; ++c) ASSERT_EQ(out[c], in[c]) << effect << ' ' << x << ',' << y;
            }
        }
        // Every colour lies between the two that went in, wherever anything shows.
        for (std::size_t k = 0; k < frames.size(); ++k) {
            int opaque = 0;
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    const std::uint8_t* p = pixel(frames[k], x, y);
                    opaque += p[0] == 255 ? 1 : 0;
                    if (p[0] < 8) continue;
                    ASSERT_GE(p[1] + p[3], 255) << effect << ' ' << k << ": dark at " << x << ',' << y;
                    ASSERT_NEAR(p[2], 50, 12) << effect << ' ' << k << ' ' << x << ',' << y;
                }
            }
            if (k == 0 || k + 1 == frames.size()) {
                EXPECT_EQ(opaque, kHeight * 21) << effect << ' ' << k;
            }
        }
    }
}

TEST_F(AlphaTest, EveryKindOfFileHoldsTheSameTransparency) {
    struct Kind {
        const char* file;
        const char* codec;
        const char* format;
        int alphaSlack;      // anywhere
        double colourSlack;  // on average, where the picture is opaque: chroma shared by four pixels
    };
    ASSERT_EQ(join("s%03d.png", "tumble-away").code, 0);
    for (const Kind& kind :
         {Kind{"m.mkv", "ffv1", "bgra", 0, 0}, Kind{"m.mov", "prores", "yuva444p12le", 1, 1.5},
          Kind{"m.webm", "vp9", "yuv420p", 0, 8}}) {
        ASSERT_EQ(join(kind.file, "tumble-away").code, 0);
        const nlohmann::json video = streamOf(probeJson(shop.file(kind.file)), "video");
        EXPECT_EQ(video["codec_name"], kind.codec);
        // ffprobe looks at one of the two streams of VP9 only.
        EXPECT_EQ(video["pix_fmt"], kind.format);
        const std::vector<PictureRef> frames = framesOf(shop.file(kind.file));
        ASSERT_EQ(frames.size(), 10u) << kind.file;
        for (std::size_t k = 0; k < frames.size(); ++k) {
            const std::string number = std::to_string(k + 1);
            const std::string name = "s" + std::string(3 - number.size(), '0') + number + ".png";
            const PictureRef expected = framesOf(shop.file(name)).front();
            double sum = 0, alphaSum = 0;
            int count = 0;
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    const std::uint8_t* want = pixel(expected, x, y);
                    const std::uint8_t* got = pixel(frames[k], x, y);
                    alphaSum += std::abs(got[0] - want[0]);
                    ASSERT_NEAR(got[0], want[0], kind.alphaSlack)
                        << kind.file << ' ' << k << ' ' << x << ',' << y;
                    for (int c = 1; c < 4 && want[0] == 255; ++c, ++count) sum += std::abs(got[c] - want[c]);
                }
            }
            EXPECT_LE(sum, kind.colourSlack * count) << kind.file << ' ' << k;
            EXPECT_LE(alphaSum, kind.alphaSlack * kWidth * kHeight) << kind.file << ' ' << k;
        }
    }
}

TEST_F(AlphaTest, TenBitsOfColourAndAlphaAreKept) {
    // More steps in both than 8 bits have.
    ASSERT_EQ(
        std::system(("ffmpeg -v error -nostdin -y -f lavfi -i "
                     "color=black:s=256x16:r=25:d=0.4,format=gbrap10le,geq=r=3*X+64:g=2*X+Y:b=500:a=4*X+3"
                     " -c:v ffv1 " +
                     shop.file("deep.mkv"))
                        .c_str()),
        0);
    const auto raw = [&](const std::string& movie, int frame) {
        EXPECT_EQ(std::system(("ffmpeg -v error -nostdin -y -i " + shop.file(movie) + " -vf 'select=eq(n\\," +
                               std::to_string(frame) + "),format=gbrap10le' -frames:v 1 -f rawvideo " +
                               shop.file("raw"))
                                  .c_str()),
                  0);
        return bytesOf(shop.file("raw"));
    };
    const std::string wanted = raw("deep.mkv", 0);
    const auto code = [](const std::string& bytes, std::size_t i) {
        return static_cast<unsigned char>(bytes[2 * i]) | static_cast<unsigned char>(bytes[2 * i + 1]) << 8;
    };
    for (const auto& [movie, slack] : {std::pair{"m.mkv", 1}, {"m.mov", 12}}) {
        const RunResult run =
            shop.run({"join", shop.file("deep.mkv"), shop.file("deep.mkv"), "-o", shop.file(movie), "-e",
                      "tilt-away", "-d", "4f", "--alpha", "--depth", "10"});
        ASSERT_EQ(run.code, 0) << run.err;
        EXPECT_THAT(run.err, testing::Not(HasSubstr("become"))) << "nothing is lost";
        EXPECT_EQ(streamOf(probeJson(shop.file(movie)), "video")["pix_fmt"],
                  slack == 1 ? "gbrap10le" : "yuva444p12le");
        // A steady frame, and the first one of the transition.
        for (const int frame : {2, 6}) {
            const std::string got = raw(movie, frame);
            ASSERT_EQ(got.size(), wanted.size());
            const std::size_t alphas = 3 * 256 * 16;
            for (std::size_t i = 0; i < 4 * 256 * 16; ++i) {
                // Hidden colours are nobody's business. FFmpeg's ProRes is off by 2 of 1023 in faint alpha.
                const int alpha = code(wanted, alphas + i % (256 * 16));
                if (i < alphas && alpha < 64) continue;
                ASSERT_NEAR(code(got, i), code(wanted, i), i < alphas ? slack : std::min(slack, 2))
                    << movie << frame << ' ' << i;
            }
        }
    }
    const RunResult eight = shop.run({"join", shop.file("deep.mkv"), shop.file("deep.mkv"), "-o",
                                      shop.file("m.webm"), "-d", "4f", "--alpha", "--depth", "10"});
    EXPECT_EQ(eight.code, 2);
    EXPECT_THAT(eight.err, HasSubstr("VP9 holds transparency with 8 bits; leave out --depth 10"));
    const RunResult named =
        shop.run({"join", shop.file("a.png"), shop.file("b.png"), "-o", shop.file("n.mov"), "--still", "4f",
                  "-d", "2f", "--size", "64x48", "--alpha", "--codec", "prores", "-q"});
    EXPECT_EQ(named.code, 0) << named.err;
}

TEST_F(AlphaTest, TransparencyThatIsLostIsSaid) {
    const RunResult run =
        shop.run({"join", shop.file("a.png"), shop.file("b.png"), "-o", shop.file("m.mp4"), "--still", "8f",
                  "-d", "4f", "--size", "64x48", "--report", shop.file("r.json")});
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("a.png: transparency is laid on black; --alpha keeps it\n"));
    const nlohmann::json report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
    EXPECT_EQ(report["clips"][0]["colour"]["alpha"], true);
    EXPECT_EQ(report["clips"][0]["colour"]["chroma"], "RGB");
    EXPECT_EQ(report["warnings"].size(), 2U);
}

TEST_F(AlphaTest, WhatAPictureLeavesBehindIsTransparent) {
    writePng(shop.file("o.png"), ramp(90, 90, 90), PngAlpha::drop);
    const RunResult result = shop.run({"out", shop.file("o.png"), "-o", shop.file("o%03d.png"), "-e",
                                       "wash-out", "--still", "10f", "-d", "8f", "--alpha", "-f"});
    ASSERT_EQ(result.code, 0) << result.err;
    const PictureRef before = framesOf(shop.file("o001.png")).front();
    const PictureRef late = framesOf(shop.file("o010.png")).front();
    int clear = 0, opaque = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            ASSERT_EQ(pixel(before, x, y)[0], 255);
            clear += pixel(late, x, y)[0] == 0 ? 1 : 0;
            opaque += pixel(late, x, y)[0] == 255 ? 1 : 0;
        }
    }
    EXPECT_GT(clear, kWidth * kHeight / 2);
    EXPECT_EQ(clear + opaque, kWidth * kHeight);
}

TEST_F(AlphaTest, FilesThatHoldNoTransparencyAreRefusedWithThoseThatDo) {
    const RunResult result = join("m.mp4", "wash-away");
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err,
                HasSubstr("such a file holds no transparency; with --alpha use .mov (ProRes 4444), "
                          ".mkv (FFV1), .webm (VP9), or NAME%05d.png"));
    const RunResult quality = join("m.mov", "wash-away", {"--crf", "20"});
    EXPECT_EQ(quality.code, 2);
    EXPECT_THAT(quality.err, HasSubstr("ProRes 4444 here, which has no --crf"));
    EXPECT_EQ(shop.names(), (std::vector<std::string>{"a.png", "b.png"}));
}

TEST_F(AlphaTest, FingerprintsTakeAlphaInAndDoNotDependOnThreads) {
    const auto md5 = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words = {"join",
                                          shop.file("a.png"),
                                          shop.file("b.png"),
                                          "-o",
                                          "md5:",
                                          "-q",
                                          "-e",
                                          "morph",
                                          "--still",
                                          "8f",
                                          "-d",
                                          "6f",
                                          "--size",
                                          "64x48"};
        words.insert(words.end(), more.begin(), more.end());
        return shop.run(words).out;
    };
    const std::string one = md5({"--alpha", "--threads", "1"});
    EXPECT_EQ(one, md5({"--alpha", "--threads", "3"}));
    EXPECT_NE(one, md5({}));
    EXPECT_FALSE(one.empty());
}

}  // namespace
}  // namespace tumblewash::app
