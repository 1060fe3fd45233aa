#include <cmath>
#include <cstdlib>
#include <set>

#include "media/StillIO.h"
#include "tests/media/Charts.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"
#include "tests/media/Turns.h"

namespace tumblewash::test {

using namespace tumblewash::media;

namespace {

struct Space {
    const char* name;
    Primaries primaries;
    double gamma;
};
const Space kSpaces[] = {{"Display P3", kDisplayP3, 0},
                         {"Adobe RGB (1998)", kAdobeRgb, 563.0 / 256},
                         {"ProPhoto RGB", kProPhoto, 1.8}};

constexpr int kPatch = 8;

/// Colours in squares of 8 x 8: greys first, then bars at 75 and 100 %, then a coarse cube.
std::vector<Rgb> chartColours() {
    std::vector<Rgb> out;
    for (int grey = 0; grey < 16; ++grey) out.push_back({17 * grey, 17 * grey, 17 * grey});
    for (const int level : {191, 255})
        for (int bar = 0; bar < 8; ++bar)
            out.push_back({bar & 2 ? 0 : level, bar & 4 ? 0 : level, bar & 1 ? 0 : level});
    for (int i = 0; i < 64; ++i) out.push_back({i % 4 * 64 + 31, i / 4 % 4 * 64 + 31, i / 16 * 64 + 31});
    return out;
}

Codes chart(int depth) {
    const std::vector<Rgb> colours = chartColours();
    return codes(16 * kPatch, static_cast<int>(colours.size()) / 16 * kPatch, 3, depth,
                 [&](int x, int y, int c) {
                     const Rgb& colour = colours[static_cast<size_t>(y / kPatch * 16 + x / kPatch)];
                     return colour[static_cast<size_t>(c)] * (depth == 16 ? 257 : 1);
                 });
}

Rgb patch(const PictureRef& picture, size_t number) {
    return pixel(picture, static_cast<int>(number % 16) * kPatch + kPatch / 2,
                 static_cast<int>(number / 16) * kPatch + kPatch / 2);
}

/// The farthest that a patch of `picture` lies from what `plain`'s patch is in sRGB.
void expectConverted(const PictureRef& picture, const PictureRef& plain, const Space& space, double most,
                     const std::string& what) {
    const size_t count = chartColours().size();
    ASSERT_EQ(picture.width(), 16 * kPatch) << what;
    for (size_t i = 0; i < count; ++i) {
        const Rgb from = patch(plain, i), got = patch(picture, i);
        const std::array<double, 3> expected =
            inSrgb(space.primaries, space.gamma, {from[0] / 255.0, from[1] / 255.0, from[2] / 255.0});
        for (size_t c = 0; c < 3; ++c)
            EXPECT_NEAR(got[c], 255 * expected[c], i < 16 ? std::min(most, 1.0) : most)
                << what << ", patch " << i << ", channel " << c;
    }
}

std::vector<std::string> conversions(const std::string& path) {
    return probe(path).conversions;
}

}  // namespace

TEST(StillColourTest, ProfilesOfEveryFormatTurnToSrgb) {
    const TempDir dir;
    writeFile(dir / "plain.png", pngFile(chart(8)));
    ffmpeg("-i " + dir / "plain.png" + " -c:v mjpeg -q:v 1 -pix_fmt yuvj444p " + dir / "plain.jpg");
    ffmpeg("-i " + dir / "plain.png" + " -c:v libwebp -lossless 1 -compression_level 1 " +
           dir / "plain.webp");
    const PictureRef plain = readStill(dir / "plain.png");
    const PictureRef plainJpeg = readStill(dir / "plain.jpg");
    for (const Space& space : kSpaces) {
        const std::string profile = rgbProfile(space.primaries, space.gamma, space.name);
        const std::string line = std::string("profile ") + space.name + " turned to sRGB";
        writeFile(dir / "8.png", pngFile(chart(8), {profile, {}}));
        writeFile(dir / "16.png", pngFile(chart(16), {profile, {}}));
        writeFile(dir / "8.tiff", tiffFile(chart(8), 0, profile));
        writeFile(dir / "16.tiff", tiffFile(chart(16), 0, profile, true));
        writeFile(dir / "w.webp",
                  withBlocksWebp(readFile(dir / "plain.webp"), plain.width(), plain.height(), {profile, {}}));
        writeFile(dir / "j.jpg", withBlocksJpeg(readFile(dir / "plain.jpg"), {profile, {}}));
        for (const char* name : {"8.png", "16.png", "8.tiff", "16.tiff", "w.webp"}) {
            // A dithered picture lies within a code of the exact one; a rounded one within half.
            expectConverted(readStill(dir / name), plain, space, 1.01,
                            name + std::string(" in ") + space.name);
            EXPECT_THAT(conversions(dir / name), ::testing::ElementsAre(line)) << name;
        }
        expectConverted(readStill(dir / "j.jpg"), plainJpeg, space, 2.5,
                        std::string("JPEG in ") + space.name);
        EXPECT_THAT(conversions(dir / "j.jpg"), ::testing::ElementsAre(line));
    }
}

TEST(StillColourTest, WhatIsDoneIsNoDamageToTheReader) {
    const TempDir dir;
    writeFile(dir / "a.png", pngFile(chart(8), {rgbProfile(kDisplayP3, 0, "Display P3"), {}}));
    Reader reader = Reader::open(dir / "a.png");
    EXPECT_THAT(reader.info().conversions, ::testing::ElementsAre("profile Display P3 turned to sRGB"));
    EXPECT_TRUE(reader.readPicture());
    EXPECT_THAT(reader.warnings(), ::testing::IsEmpty());
}

TEST(StillColourTest, GreyProfilesTurnToSrgb) {
    const TempDir dir;
    for (const int depth : {8, 16}) {
        const Codes ramp =
            codes(256, 16, 1, depth, [&](int x, int, int) { return depth == 16 ? x * 257 : x; });
        writeFile(dir / "grey.png", pngFile(ramp, {greyProfile(1.8, "Grey 1.8"), {}}));
        const PictureRef picture = readStill(dir / "grey.png");
        for (int x = 0; x < 256; ++x) {
            const double expected = 255 * inSrgb(kSrgb, 1.8, {x / 255.0, x / 255.0, x / 255.0})[0];
            for (const int code : pixel(picture, x, 3))
                EXPECT_NEAR(code, expected, 1.05) << x << " at " << depth;
        }
        EXPECT_THAT(conversions(dir / "grey.png"), ::testing::ElementsAre("profile Grey 1.8 turned to sRGB"));
    }
}

TEST(StillColourTest, ProfilesOfTablesTurnToSrgb) {
    const TempDir dir;
    writeFile(dir / "plain.png", pngFile(chart(8)));
    writeFile(dir / "swapped.png", pngFile(chart(8), {swappedTableProfile(), {}}));
    const PictureRef plain = readStill(dir / "plain.png"), swapped = readStill(dir / "swapped.png");
    for (size_t i = 0; i < chartColours().size(); ++i) {
        const Rgb a = patch(plain, i), b = patch(swapped, i);
        EXPECT_NEAR(b[0], a[2], 4) << i;
        EXPECT_NEAR(b[1], a[1], 4) << i;
        EXPECT_NEAR(b[2], a[0], 4) << i;
    }
}

TEST(StillColourTest, AlphaAndPalettesKeepTheirPlaceUnderAProfile) {
    const TempDir dir;
    const Codes ramp = codes(256, 8, 4, 8, [](int x, int, int c) { return c == 3 ? x : c == 0 ? 200 : 40; });
    writeFile(dir / "a.png", pngFile(ramp, {rgbProfile(kDisplayP3, 0, "Display P3"), {}}));
    StillSettings settings;
    settings.keepAlpha = true;
    const PictureRef picture = readStill(dir / "a.png", settings);
    const std::array<double, 3> expected = inSrgb(kDisplayP3, 0, {200 / 255.0, 40 / 255.0, 40 / 255.0});
    for (int x = 0; x < 256; ++x) {
        const uint8_t* p = picture.data() + 4 * x;
        EXPECT_EQ(p[0], x);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(p[1 + c], 255 * expected[static_cast<size_t>(c)], 1) << x;
    }
    writeFile(dir / "plain.png", pngFile(chart(8)));
    ffmpeg("-i " + dir / "plain.png" + " -vf format=pal8 " + dir / "pal.png");
    const std::string palette = readFile(dir / "pal.png");
    const std::string header = palette.substr(0, 33);
    const std::string made = pngFile(chart(8), {rgbProfile(kDisplayP3, 0, "Display P3"), {}});
    const size_t chunk = made.find("iCCP") - 4;
    const size_t length = made.find("IDAT") - 4 - chunk;
    writeFile(dir / "palicc.png", header + made.substr(chunk, length) + palette.substr(33));
    expectConverted(readStill(dir / "palicc.png"), readStill(dir / "pal.png"), kSpaces[0], 1.01, "palette");
}

TEST(StillColourTest, ProfilesEqualToSrgbSayNothingAndChangeNothing) {
    const TempDir dir;
    writeFile(dir / "plain.png", pngFile(chart(8)));
    writeFile(dir / "tagged.png", pngFile(chart(8), {rgbProfile(kSrgb, 0, "sRGB IEC61966-2.1"), {}}));
    EXPECT_THAT(conversions(dir / "tagged.png"), ::testing::IsEmpty());
    EXPECT_EQ(meanDifference(readStill(dir / "tagged.png"), readStill(dir / "plain.png")), 0);
}

TEST(StillColourTest, UnusableProfilesAreLeftOutInOneLine) {
    const TempDir dir;
    writeFile(dir / "plain.png", pngFile(chart(8)));
    const PictureRef expected = readStill(dir / "plain.png");
    const std::string good = rgbProfile(kAdobeRgb, 2.2, "line\nbreak \x1B[31m");
    std::vector<std::string> bad{linkProfile(), inkProfile(),           greyProfile(2.2, "grey"),
                                 "x",           std::string(200, '\0'), std::string(5000, '\xFF')};
    for (size_t length = 1; length < good.size(); length += 37) bad.push_back(good.substr(0, length));
    for (const std::string& profile : bad) {
        writeFile(dir / "bad.png", pngFile(chart(8), {profile, {}}));
        const std::vector<std::string> lines = conversions(dir / "bad.png");
        ASSERT_EQ(lines.size(), 1U) << profile.size();
        EXPECT_THAT(lines[0], ::testing::HasSubstr("is left out; its colours may be off"));
        EXPECT_EQ(meanDifference(readStill(dir / "bad.png"), expected), 0) << profile.size();
    }
    writeFile(dir / "name.png", pngFile(chart(8), {good, {}}));
    ASSERT_EQ(conversions(dir / "name.png").size(), 1U);
    const std::string line = conversions(dir / "name.png")[0];
    for (const char c : line) EXPECT_GE(static_cast<unsigned char>(c), 0x20);
}

TEST(StillColourTest, SixteenBitsComeToEightWithoutBias) {
    const TempDir dir;
    constexpr int width = 700, height = 64;
    for (const int channels : {1, 3, 4}) {
        const Codes ramp = codes(width, height, channels, 16,
                                 [&](int x, int, int c) { return c == 3 ? 65535 : 65535 * x / (width - 1); });
        writeFile(dir / "a.png", pngFile(ramp));
        writeFile(dir / "a.tiff", tiffFile(ramp));
        for (const char* name : {"a.png", "a.tiff"}) {
            const PictureRef picture = readStill(dir / name);
            double bias = 0, square = 0;
            for (int x = 0; x < width; ++x) {
                double sum = 0;
                for (int y = 0; y < height; ++y) sum += pixel(picture, x, y)[1];
                const double off = sum / height - ramp.at(x, 0, 0) / 257.0;
                bias += off / width;
                square += off * off / width;
            }
            EXPECT_LE(std::abs(bias), 0.02) << name << " with " << channels;
            EXPECT_LE(std::sqrt(square), 0.2) << name << " with " << channels;
            EXPECT_EQ(picture.data()[0], 255);
            EXPECT_EQ(pixel(picture, 0, 5), (Rgb{0, 0, 0}));
            EXPECT_EQ(pixel(picture, width - 1, 5), (Rgb{255, 255, 255}));
            EXPECT_THAT(conversions(dir / name), ::testing::IsEmpty());
        }
    }
}

TEST(StillColourTest, SixteenBitsThatAreWholeCodesOfEightComeBackExactly) {
    const TempDir dir;
    writeFile(dir / "8.png", pngFile(chart(8)));
    writeFile(dir / "16.png", pngFile(chart(16)));
    EXPECT_EQ(meanDifference(readStill(dir / "16.png"), readStill(dir / "8.png")), 0);
}

TEST(StillColourTest, MoviesOfTenBitsKeepTheDepthOfPhotos) {
    const TempDir dir;
    constexpr int width = 1752, height = 4;
    const Codes ramp = codes(width, height, 3, 16, [&](int x, int, int) { return 65535 * x / (width - 1); });
    writeFile(dir / "a.png", pngFile(ramp));
    writeFile(dir / "a.tiff", tiffFile(ramp));
    writeFile(dir / "same.png", pngFile(ramp, {rgbProfile(kSrgb, 1.8, "A gamma of 1.8"), {}}));
    ReaderSettings settings;
    settings.layout = PixelLayout::yuv420p10;
    for (const char* name : {"a.png", "a.tiff", "same.png"}) {
        const PictureRef picture = Reader::open(dir / name, settings).readPicture();
        std::set<int> seen;
        for (int x = 0; x < width; ++x) {
            const double grey = ramp.at(x, 1, 0) / 65535.0;
            const double shown =
                name == std::string("same.png") ? inSrgb(kSrgb, 1.8, {grey, grey, grey})[1] : grey;
            seen.insert(codeAt(picture, 0, x, 1));
            ASSERT_NEAR(codeAt(picture, 0, x, 1), 64 + 876 * shown, 0.55) << name << " at " << x;
        }
        EXPECT_GE(seen.size(), 870U) << name;
    }
}

TEST(StillColourTest, PicturesForPrintSayThatTheirColoursMayBeOff) {
    const TempDir dir;
    const char* line = "a picture for print (CMYK) without a colour profile; its colours may be off";
    writeFile(dir / "ink.jpg", inkJpeg());
    EXPECT_THAT(conversions(dir / "ink.jpg"), ::testing::ElementsAre(line));
    EXPECT_FALSE(probe(dir / "ink.jpg").colour.alpha);
    std::string tiff = tiffFile(codes(16, 16, 4, 8, [](int x, int y, int) { return 8 * (x + y); }));
    const std::string light("\x06\x01\x03\x00\x01\x00\x00\x00\x02\x00", 10);
    const size_t place = tiff.find(light);
    ASSERT_NE(place, std::string::npos);
    tiff[place + 8] = 5;
    writeFile(dir / "ink.tiff", tiff);
    EXPECT_THAT(conversions(dir / "ink.tiff"), ::testing::ElementsAre(line));
    writeFile(dir / "profile.jpg", withBlocksJpeg(inkJpeg(), {inkProfile(), {}}));
    EXPECT_THAT(
        conversions(dir / "profile.jpg"),
        ::testing::ElementsAre("its colour profile is one for ink and is left out; its colours may be off"));
}

TEST(StillColourTest, FloatingPointAlphaIsTransparentBelowOne) {
    const TempDir dir;
    const auto alphaOf = [&](const std::string& name, float atCorner) {
        writeFile(dir / name,
                  exrFile(6, 4, [&](int x, int y) { return x == 5 && y == 3 ? atCorner : 1.0F; }));
        return probe(dir / name).colour.alpha;
    };
    EXPECT_FALSE(alphaOf("opaque.exr", 1.0F));
    EXPECT_FALSE(alphaOf("above.exr", 1.5F));
    EXPECT_TRUE(alphaOf("half.exr", 0.5F));
    EXPECT_TRUE(alphaOf("clear.exr", 0.0F));
    EXPECT_TRUE(alphaOf("below.exr", -1.0F));
}

TEST(StillColourTest, AGainMapIsLeftOutAndSaid) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 -update 1 " + dir / "a.jpg");
    const std::string jpeg = readFile(dir / "a.jpg");
    const std::string xmp =
        std::string("http://ns.adobe.com/xap/1.0/\0", 29) +
        "<x:xmpmeta xmlns:hdrgm=\"http://ns.adobe.com/hdr-gain-map/1.0/\" hdrgm:Version=\"1.0\"/>";
    const std::string segment = std::string("\xFF\xE1", 2) + '\0' + static_cast<char>(xmp.size() + 2) + xmp;
    writeFile(dir / "gain.jpg", jpeg.substr(0, 2) + segment + jpeg.substr(2));
    EXPECT_THAT(conversions(dir / "gain.jpg"),
                ::testing::ElementsAre("its HDR gain map is left out; the ordinary picture is used"));
    EXPECT_EQ(meanDifference(readStill(dir / "gain.jpg"), readStill(dir / "a.jpg")), 0);
    EXPECT_THAT(conversions(dir / "a.jpg"), ::testing::IsEmpty());
}

TEST(StillColourTest, ProfilesAreCalledByTheirNamesInAnyAlphabet) {
    const TempDir dir;
    for (const char* name : {"Farbe \xC3\xBC \xC3\x9F", "\xE8\x89\xB2 \xE2\x82\xAC"}) {
        writeFile(dir / "named.png", pngFile(chart(8), {rgbProfile(kAdobeRgb, 2.2, name), {}}));
        EXPECT_THAT(conversions(dir / "named.png"),
                    ::testing::ElementsAre(std::string("profile ") + name + " turned to sRGB"));
    }
}

}  // namespace tumblewash::test
