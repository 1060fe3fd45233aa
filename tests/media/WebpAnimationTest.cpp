#include <cstdlib>

#include "media/detail/WebpAnimation.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace tumblewash::media;

namespace {

std::string chunk(const std::string& name, const std::string& content) {
    std::string length(4, '\0');
    for (size_t i = 0; i < 4; ++i) length[i] = static_cast<char>(content.size() >> (8 * i) & 0xFF);
    return name + length + content + std::string(content.size() % 2, '\0');
}
std::string three(int value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF),
            static_cast<char>(value >> 16)};
}

/// An animated WebP: solid pictures of 32 x 24, each on the whole canvas, shown for so many milliseconds.
std::string animation(const TempDir& dir, const std::vector<std::pair<Rgb, int>>& pictures,
                      const Blocks& blocks = {}, int alpha = 255) {
    const int flags = 2 | (alpha < 255 ? 0x10 : 0) | (blocks.profile.empty() ? 0 : 0x20);
    std::string chunks =
        chunk("VP8X", static_cast<char>(flags) + std::string(3, '\0') + three(31) + three(23));
    if (!blocks.profile.empty()) chunks += chunk("ICCP", blocks.profile);
    chunks += chunk("ANIM", std::string(6, '\0'));
    for (const auto& [colour, milliseconds] : pictures) {
        writePng(dir / "part.png", solid(32, 24, colour, alpha),
                 alpha < 255 ? PngAlpha::keep : PngAlpha::drop, true);
        ffmpeg("-i " + dir / "part.png" + " -c:v libwebp -lossless 1 -compression_level 0 " +
               dir / "part.webp");
        const std::string part = readFile(dir / "part.webp");
        const size_t picture = part.find("VP8L");
        // Not blended: alpha of 51 stays 51.
        chunks += chunk("ANMF", three(0) + three(0) + three(31) + three(23) + three(milliseconds) + '\2' +
                                    part.substr(picture));
    }
    std::string body = "WEBP" + chunks;
    return chunk("RIFF", body);
}

}  // namespace

TEST(WebpAnimationTest, ItIsAClipWithTheTimesOfTheFile) {
    const TempDir dir;
    writeFile(dir / "a.webp", animation(dir, {{{200, 0, 0}, 100}, {{0, 200, 0}, 300}, {{0, 0, 200}, 50}}));
    const MediaInfo info = probe(dir / "a.webp");
    EXPECT_EQ(info.kind, MediaKind::clip);
    EXPECT_EQ(info.rate, (FrameRate{20, 1}));
    EXPECT_EQ(info.frameCount, 3);
    EXPECT_DOUBLE_EQ(info.seconds, 0.45);
    EXPECT_EQ(info.width, 32);
    Reader reader = Reader::open(dir / "a.webp");
    ASSERT_EQ(reader.frameCount(), 9);
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 9; ++i) {
            const PictureRef picture = reader.readPicture();
            ASSERT_TRUE(picture) << i;
            EXPECT_EQ(pixel(picture, 5, 5), (i < 2   ? Rgb{200, 0, 0}
                                             : i < 8 ? Rgb{0, 200, 0}
                                                     : Rgb{0, 0, 200}))
                << i;
        }
        EXPECT_FALSE(reader.readPicture());
        reader.seek(0);
    }
    reader.seek(7);
    EXPECT_EQ(pixel(reader.readPicture(), 5, 5), (Rgb{0, 200, 0}));
    EXPECT_EQ(pixel(reader.readPicture(), 5, 5), (Rgb{0, 0, 200}));
    EXPECT_THAT(reader.warnings(), ::testing::IsEmpty());
}

TEST(WebpAnimationTest, TenMillisecondsAndFewerAreATenthOfASecond) {
    const TempDir dir;
    writeFile(dir / "a.webp",
              animation(dir, {{{200, 0, 0}, 0}, {{0, 200, 0}, 10}, {{0, 0, 200}, 11}, {{9, 9, 9}, 40}}));
    EXPECT_EQ(WebpAnimation(InputBytes(dir / "a.webp")).durations(), (std::vector<int>{100, 100, 11, 40}));
}

TEST(WebpAnimationTest, AlphaAndProfileAreKept) {
    const TempDir dir;
    writeFile(dir / "a.webp", animation(dir, {{{200, 100, 50}, 100}, {{10, 20, 30}, 100}},
                                        {rgbProfile(kDisplayP3, 0, "Display P3"), {}}, 51));
    EXPECT_TRUE(probe(dir / "a.webp").hasAlpha);
    ReaderSettings settings;
    settings.keepAlpha = true;
    Reader reader = Reader::open(dir / "a.webp", settings);
    EXPECT_THAT(reader.info().conversions, ::testing::ElementsAre("profile Display P3 turned to sRGB"));
    for (const Rgb& colour : {Rgb{200, 100, 50}, Rgb{10, 20, 30}}) {
        const PictureRef picture = reader.readPicture();
        const std::array<double, 3> expected =
            inSrgb(kDisplayP3, 0, {colour[0] / 255.0, colour[1] / 255.0, colour[2] / 255.0});
        EXPECT_EQ(picture.data()[0], 51);
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(pixel(picture, 3, 3)[c], 255 * expected[c], 1);
    }
}

TEST(WebpAnimationTest, OnePictureIsAStill) {
    const TempDir dir;
    writeFile(dir / "one.webp", animation(dir, {{{9, 90, 190}, 100}}));
    EXPECT_EQ(probe(dir / "one.webp").kind, MediaKind::still);
    EXPECT_EQ(pixel(readStill(dir / "one.webp"), 7, 7), (Rgb{9, 90, 190}));
}

TEST(WebpAnimationTest, ACutFileGivesItsWholePicturesAndSaysSo) {
    const TempDir dir;
    const std::string whole = animation(dir, {{{200, 0, 0}, 100}, {{0, 200, 0}, 100}, {{0, 0, 200}, 100}});
    const size_t third = whole.rfind("ANMF");
    for (const size_t length : {third + 3, third + 20, whole.size() - 2}) {
        writeFile(dir / "cut.webp", whole.substr(0, length));
        Reader reader = Reader::open(dir / "cut.webp");
        ASSERT_EQ(reader.frameCount(), 2) << length;
        EXPECT_EQ(pixel(reader.readPicture(), 5, 5), (Rgb{200, 0, 0}));
        EXPECT_EQ(pixel(reader.readPicture(), 5, 5), (Rgb{0, 200, 0}));
        EXPECT_FALSE(reader.readPicture());
        EXPECT_THAT(reader.warnings(), ::testing::ElementsAre(::testing::HasSubstr("cut off"))) << length;
    }
    for (size_t length = 12; length < third; length += 9) {
        writeFile(dir / "short.webp", whole.substr(0, length));
        try {
            Reader reader = Reader::open(dir / "short.webp");
            EXPECT_EQ(reader.info().kind, MediaKind::still) << length;
            EXPECT_THAT(reader.warnings(), ::testing::ElementsAre(::testing::HasSubstr("cut off"))) << length;
        } catch (const MediaError& error) {
            EXPECT_EQ(error.code(), MediaErrorCode::undecodable) << error.what();
        }
    }
}

TEST(WebpAnimationTest, TheRateLetsEveryChangeFallOnAPicture) {
    EXPECT_EQ(rateOfDurations({100, 200, 50}), (FrameRate{20, 1}));
    EXPECT_EQ(rateOfDurations({40, 40}), (FrameRate{25, 1}));
    EXPECT_EQ(rateOfDurations({33, 33, 34}), (FrameRate{30, 1}));
    EXPECT_EQ(rateOfDurations({1000}), (FrameRate{1, 1}));
    // Times without a common measure of 1/60 s or more: as fine as the shortest picture.
    EXPECT_EQ(rateOfDurations({41, 97}), (FrameRate{1000, 41}));
    EXPECT_LE(rateOfDurations({1, 3, 7}).value(), 63);
}

}  // namespace tumblewash::test
