#include <cmath>
#include <cstdlib>

#include "media/StillIO.h"
#include "media/detail/HeifItems.h"
#include "tests/media/Charts.h"
#include "tests/media/HeifFiles.h"
#include "tests/media/Support.h"
#include "tests/media/Turns.h"

namespace tumblewash::test {

using namespace tumblewash::media;

namespace {

/// Coarse steps that no codec has trouble with.
Codes blocks(int channels = 3, int depth = 8) {
    return codes(64, 48, channels, depth, [&](int x, int y, int c) {
        const int code = c == 3 ? x * 4 : (x / 16 * 60 + y / 16 * 40 * c + 20) % 256;
        return depth == 16 ? code * 257 : code;
    });
}

PictureRef reference(const TempDir& dir, const Codes& picture) {
    writeFile(dir / "reference.png", pngFile(picture));
    StillSettings settings;
    settings.keepAlpha = picture.channels == 4;
    return readStill(dir / "reference.png", settings);
}

constexpr const char* kLossless = " -frames:v 1 -c:v libaom-av1 -cpu-used 8 -aom-params lossless=1 ";

/// A tile of 64 x 64, all of one colour.
CodedPicture tile(int red, int green, int blue) {
    const int colour[] = {red, green, blue};
    return codedPicture(heifFile(codes(64, 64, 3, 8, [&](int, int, int c) { return colour[c]; })));
}

}  // namespace

TEST(HeifTest, APhotoIsAStill) {
    const TempDir dir;
    const PictureRef expected = reference(dir, blocks());
    for (const bool avif : {true, false}) {
        HeifWish wish;
        wish.avif = avif;
        // Neither the ending nor anything else of the name is asked.
        writeFile(dir / "photo.mp4", heifFile(blocks(), wish));
        const MediaInfo info = probe(dir / "photo.mp4");
        EXPECT_EQ(info.kind, MediaKind::still);
        EXPECT_FALSE(info.rate);
        EXPECT_EQ(info.container, "heif");
        EXPECT_EQ(info.videoCodec, avif ? "av1" : "hevc");
        EXPECT_THAT(Reader::open(dir / "photo.mp4").warnings(), ::testing::IsEmpty());
        EXPECT_LE(meanDifference(readStill(dir / "photo.mp4"), expected), 1) << "avif " << avif;
    }
}

TEST(HeifTest, CodedColoursComeBackExactly) {
    const TempDir dir;
    const PictureRef expected = reference(dir, blocks());
    ffmpeg("-i " + dir / "reference.png" + " -pix_fmt gbrp" + kLossless + dir / "rgb.avif");
    EXPECT_EQ(meanDifference(readStill(dir / "rgb.avif"), expected), 0);
    // The same Y'CbCr, read by the decoder of clips.
    for (const char* range : {"pc", "tv"}) {
        const std::string convert = std::string(" -vf scale=out_range=") + range + ":out_color_matrix=bt709";
        ffmpeg("-i " + dir / "reference.png" + convert + " -pix_fmt yuv444p -colorspace bt709 -color_range " +
               range + kLossless + dir / "yuv.avif");
        ffmpeg("-i " + dir / "reference.png" + convert + " -pix_fmt yuv444p -colorspace bt709 -color_range " +
               range + " -c:v ffv1 " + dir / "yuv.mkv");
        // The scaler may round a code differently where planes lie differently in memory.
        EXPECT_LE(meanDifference(readStill(dir / "yuv.avif"), readStill(dir / "yuv.mkv")), 0.05) << range;
    }
}

TEST(HeifTest, EveryCodeComesBackAlsoOutsideTheColourCube) {
    // Colours that no R'G'B' of this matrix holds, in squares that no chroma straddles.
    const TempDir dir;
    const std::string codes =
        "lum=16+mod(floor(X/16)*53+floor(Y/16)*37\\,220):cb=16+mod(floor(X/16)*91+"
        "floor(Y/16)*29\\,225):cr=16+mod(floor(X/16)*43+floor(Y/16)*71\\,225)";
    for (const char* range : {"pc", "tv"})
        for (const char* format : {"yuv420p", "yuv422p", "yuv444p"}) {
            const std::string source = " -f lavfi -i 'color=black:s=96x64,format=" + std::string(format) +
                                       ",geq=" + codes + "' -frames:v 1 -colorspace bt709 -color_range " +
                                       range;
            ffmpeg(source + kLossless + dir / "codes.avif");
            ffmpeg(source + " -c:v ffv1 " + dir / "codes.mkv");
            EXPECT_LE(meanDifference(readStill(dir / "codes.avif"), readStill(dir / "codes.mkv")), 0.05)
                << format << " " << range;
        }
}

TEST(HeifTest, SubsampledPicturesKeepTheirColours) {
    const TempDir dir;
    const PictureRef expected = reference(dir, blocks());
    for (const bool avif : {true, false}) {
        HeifWish wish;
        wish.avif = avif;
        wish.subsampled = true;
        writeFile(dir / "a", heifFile(blocks(), wish));
        const PictureRef picture = readStill(dir / "a");
        for (int y = 8; y < 48; y += 16)
            for (int x = 8; x < 64; x += 16)
                for (size_t c = 0; c < 3; ++c)
                    EXPECT_NEAR(pixel(picture, x, y)[c], pixel(expected, x, y)[c], 4) << x << "," << y;
    }
}

TEST(HeifTest, TurnsByPropertyOrExifComeUprightOnce) {
    const TempDir dir;
    const Codes upright = landmark();
    const PictureRef expected = reference(dir, upright);
    for (int turn = 1; turn <= 8; ++turn)
        for (const bool avif : {true, false}) {
            const Codes stored = storedFor(upright, turn);
            HeifWish byExif, byProperty, byBoth;
            byExif.avif = byProperty.avif = byBoth.avif = avif;
            byExif.blocks.exif = exifBlock(turn, turn % 2 == 0);
            byProperty.turn = byBoth.turn = turn;
            byBoth.blocks.exif = exifBlock(turn);
            int number = 0;
            for (const HeifWish& wish : {byExif, byProperty, byBoth}) {
                writeFile(dir / "turned", heifFile(stored, wish));
                EXPECT_LE(meanDifference(readStill(dir / "turned"), expected), 2)
                    << "turn " << turn << ", way " << number << ", avif " << avif;
                ++number;
            }
        }
}

TEST(HeifTest, AlphaIsStraightAndWhole) {
    const TempDir dir;
    const PictureRef expected = reference(dir, blocks(4));
    StillSettings settings;
    settings.keepAlpha = true;
    for (const bool avif : {true, false}) {
        HeifWish wish;
        wish.avif = avif;
        writeFile(dir / "a", heifFile(blocks(4), wish));
        EXPECT_TRUE(probe(dir / "a").hasAlpha);
        const PictureRef picture = readStill(dir / "a", settings);
        EXPECT_LE(meanDifference(picture, expected), 0.5);
        for (int x = 0; x < 64; ++x) EXPECT_EQ(picture.data()[4 * x], 4 * x) << "avif " << avif;
    }
}

TEST(HeifTest, DeepPicturesComeToEightBitsWithoutBias) {
    const TempDir dir;
    const Codes ramp = codes(512, 32, 3, 16, [](int x, int, int) { return x * 128; });
    writeFile(dir / "ramp.png", pngFile(ramp));
    for (const int depth : {10, 12}) {
        ffmpeg("-i " + dir / "ramp.png" + " -pix_fmt gbrp" + std::to_string(depth) + "le" + kLossless +
               dir / "a.avif");
        ffmpeg("-i " + dir / "a.avif" + " -f rawvideo -pix_fmt gbrp" + std::to_string(depth) + "le " +
               dir / "raw");
        const std::string raw = readFile(dir / "raw");
        const PictureRef picture = readStill(dir / "a.avif");
        double bias = 0;
        for (size_t x = 0; x < 512; ++x) {
            double sum = 0;
            for (int y = 0; y < 32; ++y) sum += pixel(picture, static_cast<int>(x), y)[1];
            const int code = static_cast<uint8_t>(raw[2 * x]) | static_cast<uint8_t>(raw[2 * x + 1]) << 8;
            bias += (sum / 32 - 255.0 * code / ((1 << depth) - 1)) / 512;
        }
        EXPECT_LE(std::abs(bias), 0.02) << depth;
    }
    // Y'CbCr of 10 bits from a phone.
    HeifWish wish;
    wish.avif = false;
    wish.depth = 10;
    writeFile(dir / "a.heic", heifFile(ramp, wish));
    const PictureRef picture = readStill(dir / "a.heic");
    double bias = 0;
    for (int x = 0; x < 512; ++x)
        for (int y = 0; y < 32; ++y)
            bias += (pixel(picture, x, y)[1] - 255.0 * (ramp.at(x, y, 1) >> 6) / 1023) / (512 * 32);
    EXPECT_LE(std::abs(bias), 0.25);
}

TEST(HeifTest, ProfilesAndNamedPrimariesTurnToSrgb) {
    const TempDir dir;
    HeifWish byProfile, byTags;
    byProfile.blocks.profile = rgbProfile(kDisplayP3, 0, "Display P3");
    byTags.primaries = 12;
    for (const HeifWish& wish : {byProfile, byTags})
        for (const bool avif : {true, false}) {
            HeifWish asked = wish;
            asked.avif = avif;
            HeifWish untagged;
            untagged.avif = avif;
            writeFile(dir / "plain", heifFile(blocks(), untagged));
            const PictureRef plain = readStill(dir / "plain");
            writeFile(dir / "a", heifFile(blocks(), asked));
            EXPECT_THAT(probe(dir / "a").conversions,
                        ::testing::ElementsAre("profile Display P3 turned to sRGB"));
            const PictureRef picture = readStill(dir / "a");
            for (int y = 8; y < 48; y += 16)
                for (int x = 8; x < 64; x += 16) {
                    const Rgb from = pixel(plain, x, y);
                    const std::array<double, 3> expected =
                        inSrgb(kDisplayP3, 0, {from[0] / 255.0, from[1] / 255.0, from[2] / 255.0});
                    for (size_t c = 0; c < 3; ++c)
                        EXPECT_NEAR(pixel(picture, x, y)[c], 255 * expected[c], 1.6) << x << "," << y;
                }
        }
}

TEST(HeifTest, HdrPhotosAreReadAsHdrClipsAre) {
    const TempDir dir;
    for (const auto& [transfer, name] :
         {std::pair{Transfer::pq, "smpte2084"}, {Transfer::hlg, "arib-std-b67"}}) {
        writeChart(dir / "hdr.mkv", 64, 64, {.transfer = name}, [](int x, int y) {
            return Colour3{x / 80.0, y / 80.0, (x + y) / 160.0};
        });
        const std::string tags = std::string(" -color_trc ") + name +
                                 " -color_primaries bt2020 -colorspace bt2020nc -color_range tv ";
        ffmpeg("-i " + dir / "hdr.mkv" + tags + kLossless + tags + dir / "hdr.avif");
        const MediaInfo info = probe(dir / "hdr.avif");
        EXPECT_EQ(info.colour.transfer, transfer);
        EXPECT_EQ(info.colour.primaries, media::Primaries::bt2020);
        EXPECT_EQ(info.colour.depth, 10);
        ReaderSettings settings;
        settings.layout = PixelLayout::argb;
        EXPECT_LE(meanDifference(Reader::open(dir / "hdr.avif", settings).readPicture(),
                                 Reader::open(dir / "hdr.mkv", settings).readPicture()),
                  0.01);
        HeifWish heic;
        heic.avif = false;
        heic.depth = 10;
        heic.primaries = 9;
        heic.transfer = transfer == Transfer::pq ? 16 : 18;
        writeFile(dir / "hdr.heic", heifFile(blocks(), heic));
        EXPECT_EQ(probe(dir / "hdr.heic").colour.transfer, transfer);
        EXPECT_THAT(Reader::open(dir / "hdr.heic").warnings(), ::testing::IsEmpty()) << "the plan tells it";
    }
}

TEST(HeifTest, GridsArePutTogetherAndCut) {
    const TempDir dir;
    const CodedPicture tiles[] = {tile(250, 20, 20), tile(20, 250, 20), tile(20, 20, 250),
                                  tile(200, 200, 60)};
    std::vector<HeifItem> items{{9, "grid", gridData(2, 2, 100, 120), {3}}};
    for (uint16_t i = 0; i < 4; ++i)
        items.push_back({static_cast<uint16_t>(i + 1), "av01", tiles[i].data, {1, 2}});
    writeFile(dir / "grid.avif",
              heifOf(9, items, {{"dimg", 9, {1, 2, 3, 4}}},
                     {tiles[0].configuration, sizeProperty(64, 64), sizeProperty(100, 120)}));
    const PictureRef picture = readStill(dir / "grid.avif");
    ASSERT_EQ(picture.width(), 100);
    ASSERT_EQ(picture.height(), 120);
    EXPECT_GT(pixel(picture, 10, 10)[0], pixel(picture, 90, 10)[0]);
    EXPECT_GT(pixel(picture, 90, 10)[1], pixel(picture, 10, 10)[1]);
    EXPECT_GT(pixel(picture, 10, 110)[2], pixel(picture, 10, 10)[2]);
    EXPECT_NE(pixel(picture, 63, 50), pixel(picture, 64, 50));
    EXPECT_EQ(probe(dir / "grid.avif").videoCodec, "av1");
}

TEST(HeifTest, TilesAreThePictureThatWasCut) {
    const TempDir dir;
    // Ramps that go on across the tiles' edges, in three different ways.
    const Codes whole = codes(100, 120, 3, 8, [](int x, int y, int c) {
        return c == 0 ? 30 + 2 * x : c == 1 ? 220 - x - y / 2 : 60 + y;
    });
    const std::string profile = rgbProfile(kDisplayP3, 0, "Display P3");
    const PictureRef expected = reference(dir, whole);
    writeFile(dir / "p3.png", pngFile(whole, {profile, {}}));
    const PictureRef turned = readStill(dir / "p3.png");
    for (const bool avif : {true, false})
        for (const bool subsampled : {false, true})
            for (const bool wide : {false, true}) {
                HeifWish wish;
                wish.avif = avif;
                wish.subsampled = subsampled;
                std::vector<HeifItem> items{{9, "grid", gridData(2, 2, 100, 120), {3, wide ? 5 : 4}}};
                CodedPicture coded;
                for (int i = 0; i < 4; ++i) {
                    coded = codedPicture(heifFile(codes(64, 64, 3, 8,
                                                        [&](int x, int y, int c) {
                                                            return whole.at(std::min(99, i % 2 * 64 + x),
                                                                            std::min(119, i / 2 * 64 + y), c);
                                                        }),
                                                  wish));
                    items.push_back(
                        {static_cast<uint16_t>(i + 1), avif ? "av01" : "hvc1", coded.data, {1, 2, 4}});
                }
                writeFile(dir / "tiles",
                          heifOf(9, items, {{"dimg", 9, {1, 2, 3, 4}}},
                                 {coded.configuration, sizeProperty(64, 64), sizeProperty(100, 120),
                                  coded.tags, profileProperty(profile)}));
                const PictureRef picture = readStill(dir / "tiles");
                ASSERT_EQ(picture.width(), 100);
                ASSERT_EQ(picture.height(), 120);
                EXPECT_EQ(probe(dir / "tiles").videoCodec, avif ? "av1" : "hevc");
                int most = 0;
                for (int y = 0; y < 120; ++y)
                    for (int x = 0; x < 100; ++x)
                        for (size_t c = 0; c < 3; ++c)
                            most = std::max(most, std::abs(pixel(picture, x, y)[c] -
                                                           pixel(wide ? turned : expected, x, y)[c]));
                // Where colours are saturated, a profile makes several codes of one.
                EXPECT_LE(most, wide ? 12 : 4) << avif << subsampled << wide;
                EXPECT_LE(meanDifference(picture, wide ? turned : expected), 1) << avif << subsampled << wide;
            }
}

TEST(HeifTest, CirclesAndAbsurdGridsAreRefusedInOneLine) {
    const TempDir dir;
    const CodedPicture part = tile(9, 90, 200);
    const std::vector<std::string> properties{part.configuration, sizeProperty(64, 64), sizeProperty(128, 64),
                                              sizeProperty(16384, 16384), alphaProperty()};
    const auto grid = [](uint16_t id, int rows, int columns, int width, int height) {
        return HeifItem{id, "grid", gridData(rows, columns, width, height), {3}};
    };
    const HeifItem leaf{1, "av01", part.data, {1, 2}};
    std::vector<std::string> files;
    // Itself, each other, and an alpha plane that is the picture's own picture.
    files.push_back(heifOf(2, {leaf, grid(2, 1, 2, 128, 64)}, {{"dimg", 2, {2, 1}}}, properties));
    files.push_back(heifOf(2, {leaf, grid(2, 1, 2, 128, 64), grid(3, 1, 2, 128, 64)},
                           {{"dimg", 2, {3, 1}}, {"dimg", 3, {2, 1}}}, properties));
    files.push_back(heifOf(1, {{1, "av01", part.data, {1, 2, 5}}, {2, "av01", part.data, {1, 2, 5}}},
                           {{"auxl", 1, {2}}, {"auxl", 2, {1}}}, properties));
    // Many levels, whichever way they are numbered; few levels with sixteen parts each.
    for (const bool down : {true, false}) {
        std::vector<HeifItem> items{leaf};
        std::vector<HeifReference> references;
        for (uint16_t i = 2; i < 4000; ++i) {
            items.push_back(grid(i, 1, 1, 64, 64));
            references.push_back({"dimg", i, {static_cast<uint16_t>(down ? i - 1 : i == 3999 ? 1 : i + 1)}});
        }
        files.push_back(heifOf(down ? 3999 : 2, items, references, properties));
    }
    std::vector<HeifItem> items{leaf};
    std::vector<HeifReference> references;
    for (uint16_t i = 2; i < 9; ++i) {
        items.push_back(grid(i, 4, 4, 16384, 16384));
        references.push_back({"dimg", i, std::vector<uint16_t>(16, static_cast<uint16_t>(i - 1))});
    }
    files.push_back(heifOf(8, items, references, properties));
    // Sizes that no tiles fill, tiles that are not there, a grid without data.
    files.push_back(heifOf(2, {leaf, {2, "grid", gridData(256, 256, 65535, 65535), {4}}},
                           {{"dimg", 2, std::vector<uint16_t>(1000, 1)}}, properties));
    files.push_back(heifOf(2, {leaf, {2, "grid", gridData(1, 1, 1 << 30, 1 << 30), {4}}}, {{"dimg", 2, {1}}},
                           properties));
    files.push_back(heifOf(2, {leaf, grid(2, 1, 2, 128, 64)}, {{"dimg", 2, {1, 77}}}, properties));
    files.push_back(heifOf(2, {leaf, {2, "grid", "", {3}}}, {{"dimg", 2, {1, 1}}}, properties));
    files.push_back(heifOf(5, {leaf}, {}, properties));
    int number = 0;
    for (const std::string& file : files) {
        writeFile(dir / "bad.avif", file);
        EXPECT_EQ(failureOf([&] { readStill(dir / "bad.avif"); }, "bad.avif"), MediaErrorCode::undecodable)
            << number;
        ++number;
    }
}

TEST(HeifTest, CutFilesAreRefusedOrSaid) {
    const TempDir dir;
    for (const bool avif : {true, false}) {
        HeifWish wish;
        wish.avif = avif;
        const std::string whole = heifFile(blocks(), wish);
        for (size_t length = 12; length < whole.size(); length += 41) {
            writeFile(dir / "cut", whole.substr(0, length));
            try {
                Reader reader = Reader::open(dir / "cut");
                EXPECT_FALSE(reader.warnings().empty()) << length << " of " << whole.size();
            } catch (const MediaError& error) {
                EXPECT_EQ(error.code(), MediaErrorCode::undecodable) << error.what();
                EXPECT_THAT(error.what(), ::testing::Not(::testing::HasSubstr("\n")));
            }
        }
    }
}

TEST(HeifTest, ASequenceIsAClipAndOneOfOnePictureAStill) {
    const TempDir dir;
    const std::string coding = " -c:v libaom-av1 -cpu-used 8 -pix_fmt yuv420p ";
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=5:d=0.6" + coding + dir / "moving.avif");
    const MediaInfo moving = probe(dir / "moving.avif");
    EXPECT_EQ(moving.kind, MediaKind::clip);
    EXPECT_EQ(moving.rate, (FrameRate{5, 1}));
    EXPECT_EQ(Reader::open(dir / "moving.avif").frameCount(), 3);
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1" + coding + dir / "still.avif");
    EXPECT_EQ(probe(dir / "still.avif").kind, MediaKind::still);
    EXPECT_EQ(heifKind(InputBytes(dir / "moving.avif")), HeifKind::sequence);
    EXPECT_EQ(heifKind(InputBytes(dir / "still.avif")), HeifKind::picture);
    writeFile(dir / "text", "ftypavif");
    EXPECT_EQ(heifKind(InputBytes(dir / "text")), HeifKind::none);
}

TEST(HeifTest, GreyUnderAlphaStaysGrey) {
    const TempDir dir;
    const auto grey = [&](const char* level, const std::string& format) {
        ffmpeg("-f lavfi -i 'color=black:s=64x64,format=" + format + ",geq=lum=" + level +
               "' -frames:v 1 -color_range pc" + kLossless + dir / "grey.avif");
        return codedPicture(readFile(dir / "grey.avif"));
    };
    const CodedPicture alpha = grey("100", "gray");
    for (const int depth : {8, 10}) {
        const CodedPicture colour = depth == 8 ? grey("180", "gray") : grey("720", "gray10le");
        writeFile(dir / "a.avif",
                  heifOf(1, {{1, "av01", colour.data, {1, 3}}, {2, "av01", alpha.data, {2, 3, 4}}},
                         {{"auxl", 2, {1}}},
                         {colour.configuration, alpha.configuration, sizeProperty(64, 64), alphaProperty()}));
        StillSettings settings;
        settings.keepAlpha = true;
        const PictureRef picture = readStill(dir / "a.avif", settings);
        for (const int at : {0, 31, 63}) {
            EXPECT_EQ(picture.data()[at * picture.stride() + 4 * at], 100) << depth;
            EXPECT_EQ(pixel(picture, at, at)[0], pixel(picture, at, at)[1]);
            EXPECT_EQ(pixel(picture, at, at)[1], pixel(picture, at, at)[2]);
            EXPECT_NEAR(pixel(picture, at, at)[1], 180, 1) << depth;
        }
    }
}

TEST(HeifTest, ColoursThatWereMultipliedByAlphaAreDivided) {
    const TempDir dir;
    const CodedPicture colour = tile(90, 60, 30), alpha = tile(128, 128, 128);
    const std::vector<HeifItem> items{{1, "av01", colour.data, {1, 2}}, {2, "av01", alpha.data, {1, 2, 3}}};
    const std::vector<std::string> properties{colour.configuration, sizeProperty(64, 64), alphaProperty()};
    StillSettings settings;
    settings.keepAlpha = true;
    writeFile(dir / "straight.avif", heifOf(1, items, {{"auxl", 2, {1}}}, properties));
    writeFile(dir / "multiplied.avif", heifOf(1, items, {{"auxl", 2, {1}}, {"prem", 1, {2}}}, properties));
    const PictureRef straight = readStill(dir / "straight.avif", settings);
    const PictureRef divided = readStill(dir / "multiplied.avif", settings);
    const int opacity = straight.data()[0];
    EXPECT_NEAR(opacity, 128, 2);
    EXPECT_EQ(divided.data()[0], opacity);
    for (size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(pixel(divided, 20, 20)[c], pixel(straight, 20, 20)[c] * 255.0 / opacity, 2) << c;
}

TEST(HeifTest, AGainMapBesideThePictureIsLeftOutAndSaid) {
    const TempDir dir;
    const CodedPicture picture = tile(200, 100, 50), map = tile(9, 9, 9);
    for (const char* kind : {"urn:com:apple:photo:2020:aux:hdrgainmap", "urn:example:depth"}) {
        writeFile(dir / "a.avif",
                  heifOf(1, {{1, "av01", picture.data, {1, 2}}, {2, "av01", map.data, {1, 2, 3}}},
                         {{"auxl", 2, {1}}},
                         {picture.configuration, sizeProperty(64, 64), auxiliaryProperty(kind)}));
        const std::vector<std::string> lines = probe(dir / "a.avif").conversions;
        if (std::string(kind).ends_with("hdrgainmap"))
            EXPECT_THAT(lines,
                        ::testing::ElementsAre("its HDR gain map is left out; the ordinary picture is used"));
        else
            EXPECT_THAT(lines, ::testing::IsEmpty());
        EXPECT_NEAR(pixel(readStill(dir / "a.avif"), 9, 9)[0], 200, 3);
    }
}

}  // namespace tumblewash::test
