#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "media/StillIO.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::Fit;
using media::MediaErrorCode;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::PngAlpha;
using media::probe;
using media::Reader;
using media::readStill;
using media::StillSettings;
using media::writePng;

namespace {

/// Every byte different in its neighbourhood, alpha among them.
PictureRef varied(int width, int height) {
    PictureRef out = PictureRef::makeArgb(width, height);
    for (int i = 0; i < 4 * width * height; ++i)
        out.data()[i] = static_cast<uint8_t>((i * 37 + i / 255) & 0xFF);
    return out;
}

}  // namespace

TEST(StillTest, PngWithAlphaComesBackToTheByte) {
    const TempDir dir;
    for (int width = 1; width <= 67; width += 6) {
        const PictureRef picture = varied(width, 5);
        writePng(dir / "a.png", picture, PngAlpha::keep, true);
        StillSettings settings;
        settings.keepAlpha = true;
        EXPECT_EQ(bytesOf(readStill(dir / "a.png", settings)), bytesOf(picture)) << width;
    }
}

TEST(StillTest, DroppedAlphaLeavesColoursAndFlattenedAlphaPutsThemOnBlack) {
    const TempDir dir;
    const PictureRef picture = varied(31, 9);
    writePng(dir / "drop.png", picture, PngAlpha::drop);
    writePng(dir / "flat.png", picture, PngAlpha::flatten);
    const PictureRef dropped = readStill(dir / "drop.png");
    const PictureRef flat = readStill(dir / "flat.png");
    for (int i = 0; i < 31 * 9; ++i)
        for (int c = 1; c < 4; ++c) {
            EXPECT_EQ(dropped.data()[4 * i + c], picture.data()[4 * i + c]);
            EXPECT_EQ(flat.data()[4 * i + c],
                      (picture.data()[4 * i + c] * picture.data()[4 * i] + 127) / 255);
            EXPECT_EQ(flat.data()[4 * i], 255);
        }
}

TEST(StillTest, ReadingWithoutAlphaPutsThePictureOnBlack) {
    const TempDir dir;
    writePng(dir / "a.png", solid(10, 10, {200, 100, 50}, 51), PngAlpha::keep);
    const PictureRef flat = readStill(dir / "a.png");
    EXPECT_EQ(pixel(flat, 3, 3), (Rgb{40, 20, 10}));
    EXPECT_EQ(flat.data()[0], 255);
}

TEST(StillTest, HiddenColoursDoNotBleedWhenScaled) {
    const TempDir dir;
    PictureRef picture = solid(64, 64, {0, 200, 0});
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            if ((x / 3 + y / 3) % 2 == 0) {
                uint8_t* p = picture.data() + y * picture.stride() + 4 * x;
                p[0] = 0;
                p[1] = 255;
                p[2] = 0;
            }
    writePng(dir / "cut.png", picture, PngAlpha::keep);
    StillSettings settings;
    settings.width = 37;
    settings.height = 41;
    settings.fit = Fit::stretch;
    settings.keepAlpha = true;
    const PictureRef scaled = readStill(dir / "cut.png", settings);
    for (int i = 0; i < 37 * 41; ++i) {
        const uint8_t* p = scaled.data() + 4 * i;
        EXPECT_LE(p[1], p[0] < 40 ? 8 : 2) << i;
    }
    settings.keepAlpha = false;
    const PictureRef flat = readStill(dir / "cut.png", settings);
    for (int i = 0; i < 37 * 41; ++i) EXPECT_LE(flat.data()[4 * i + 1], 1) << i;
}

TEST(StillTest, ColoursUnderAlphaComeBackToTheNearestCodeWhenScaled) {
    const TempDir dir;
    // The scaler's own weights leave these alphas as they are; some greater ones come out one higher.
    for (const int alpha : {2, 3, 40, 77, 255})
        for (const int colour : {1, 60, 101, 200, 255}) {
            writePng(dir / "solid.png", solid(16, 16, {colour, 255 - colour, 0}, alpha), PngAlpha::keep,
                     true);
            StillSettings settings;
            settings.width = 9;
            settings.height = 11;
            settings.fit = Fit::stretch;
            settings.keepAlpha = true;
            const PictureRef scaled = readStill(dir / "solid.png", settings);
            const auto thereAndBack = [&](int c) {
                return std::min(
                    255L, std::lround(static_cast<double>(std::lround(c * alpha / 255.0)) * 255 / alpha));
            };
            const Rgb got = pixel(scaled, 4, 5);
            EXPECT_EQ(scaled.data()[0], alpha);
            EXPECT_EQ(got[0], thereAndBack(colour)) << alpha;
            EXPECT_EQ(got[1], thereAndBack(255 - colour)) << alpha;
            EXPECT_EQ(got[2], 0);
        }
}

TEST(StillTest, APictureOfAClipIsFoundByItsNumber) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc=s=64x48:r=25:d=2 -c:v libx264 " + dir / "clip.mp4");
    Reader reader = Reader::open(dir / "clip.mp4");
    const std::vector<std::string> all = allPictures(reader);
    for (const int64_t index : {0, 17, 49}) {
        StillSettings settings;
        settings.index = index;
        EXPECT_EQ(bytesOf(readStill(dir / "clip.mp4", settings)), all[static_cast<size_t>(index)]);
    }
    StillSettings beyond;
    beyond.index = 50;
    EXPECT_EQ(failureOf([&] { readStill(dir / "clip.mp4", beyond); }, "clip.mp4"),
              MediaErrorCode::badRequest);
}

TEST(StillTest, APhotoIsReadByWhatItIsAndNotByItsEnding) {
    const TempDir dir;
    // Every kind that FFmpeg writes, under every ending of another one and under names that look like
    // patterns.
    const char* const endings[] = {"png", "jpg", "webp", "bmp", "tiff", "ppm", "gif",
                                   "jp2", "tga", "exr",  "y",   "mp4",  "txt", "mov"};
    for (const char* kind :
         {"png", "jpg", "webp", "bmp", "tiff", "ppm", "gif", "jp2", "exr", "sgi", "pcx", "dpx", "qoi"}) {
        const std::string made = dir / (std::string("made.") + kind);
        const bool written =
            std::system(("ffmpeg -v quiet -nostdin -y -f lavfi -i color=0x3060C0:s=32x24 -frames:v 1 " + made)
                            .c_str()) == 0;
        if (!written) {
            EXPECT_TRUE(kind == std::string("qoi"))
                << kind << " is written by every complete FFmpeg of Debian 12";
            continue;
        }
        const std::string bytes = readFile(made);
        const MediaInfo plain = probe(made);
        const std::string expected = bytesOf(readStill(made));
        std::vector<std::string> names{"none", "%d.jpg", "50%.png", "[a-z].jpg", "{a,b}*?.png"};
        for (const char* ending : endings) names.push_back(std::string("photo.") + ending);
        for (const std::string& name : names) {
            writeFile(dir / name, bytes);
            const MediaInfo info = probe(dir / name);
            EXPECT_EQ(info.videoCodec, plain.videoCodec) << kind << " as " << name;
            EXPECT_EQ(info.kind, MediaKind::still) << kind << " as " << name;
            EXPECT_EQ(bytesOf(readStill(dir / name)), expected) << kind << " as " << name;
        }
    }
}

TEST(StillTest, AnExistingPictureIsReplacedOnlyByForceAndOnlyByAWholeOne) {
    const TempDir dir;
    writePng(dir / "a.png", solid(4, 4, {1, 2, 3}));
    const std::string before = readFile(dir / "a.png");
    EXPECT_EQ(failureOf(
                  [&] {
                      writePng(dir / "a.png", solid(4, 4, {9, 9, 9}));
                  },
                  "a.png"),
              MediaErrorCode::notWritable);
    EXPECT_EQ(readFile(dir / "a.png"), before);
    writePng(dir / "a.png", solid(4, 4, {9, 9, 9}), PngAlpha::drop, true);
    EXPECT_NE(readFile(dir / "a.png"), before);
    EXPECT_THAT(dir.names(), ::testing::ElementsAre("a.png"));
    EXPECT_EQ(failureOf(
                  [&] {
                      writePng(dir / "no/a.png", solid(4, 4, {1, 1, 1}));
                  },
                  "no/a.png"),
              MediaErrorCode::notWritable);
    EXPECT_EQ(failureOf(
                  [&] {
                      writePng("/dev/full", solid(4, 4, {1, 1, 1}), PngAlpha::drop, true);
                  },
                  "/dev/full"),
              MediaErrorCode::notWritable);
}

}  // namespace tumblewash::test
