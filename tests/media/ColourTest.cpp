// Colours: tags and ranges are honoured on the way in, and the detour through ARGB leaves no step at a seam.
#include <cmath>
#include <cstdlib>
#include <random>

#include "media/detail/Av.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::ColourMatrix;
using media::FieldOrder;
using media::fromArgb;
using media::MediaError;
using media::MediaInfo;
using media::PictureRef;
using media::PixelLayout;
using media::probe;
using media::Reader;
using media::ReaderSettings;
using media::readStill;
using media::toArgb;

namespace {

PictureRef yuvPicture(int width, int height) {
    return fromArgb(solid(width, height, {0, 0, 0}), ColourMatrix::bt709);
}

AVFrame& planes(const PictureRef& picture) {
    return *picture.storage()->frame;
}

/// Largest difference over all three planes.
int largestDifference(const PictureRef& a, const PictureRef& b) {
    int worst = 0;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? a.width() : a.width() / 2;
        const int height = plane == 0 ? a.height() : a.height() / 2;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                worst = std::max(worst, std::abs(planes(a).data[plane][y * planes(a).linesize[plane] + x] -
                                                 planes(b).data[plane][y * planes(b).linesize[plane] + x]));
    }
    return worst;
}

/// R'G'B' of a Y'CbCr triple in exact arithmetic.
std::array<double, 3> exactRgb(double y, double cb, double cr, ColourMatrix matrix) {
    const double kr = matrix == ColourMatrix::bt709 ? 0.2126 : 0.299;
    const double kb = matrix == ColourMatrix::bt709 ? 0.0722 : 0.114;
    const double luma = (y - 16) * 255 / 219, u = (cb - 128) * 255 / 224, v = (cr - 128) * 255 / 224;
    const double red = luma + 2 * (1 - kr) * v;
    const double blue = luma + 2 * (1 - kb) * u;
    return {red, (luma - kr * red - kb * blue) / (1 - kr - kb), blue};
}

/// Y'CbCr of a colour in exact arithmetic.
std::array<double, 3> exactYuv(const Rgb& colour, ColourMatrix matrix) {
    const double kr = matrix == ColourMatrix::bt709 ? 0.2126 : 0.299;
    const double kb = matrix == ColourMatrix::bt709 ? 0.0722 : 0.114;
    const double luma = kr * colour[0] + (1 - kr - kb) * colour[1] + kb * colour[2];
    return {16 + luma * 219 / 255, 128 + (colour[2] - luma) / (2 * (1 - kb)) * 224 / 255,
            128 + (colour[0] - luma) / (2 * (1 - kr)) * 224 / 255};
}

bool insideCube(int y, int cb, int cr, ColourMatrix matrix) {
    for (const double c : exactRgb(y, cb, cr, matrix))
        if (c < 0 || c > 255) return false;
    return true;
}

}  // namespace

TEST(ColourTest, ArgbOfAYuvPictureIsTheRoundedMatrix) {
    const PictureRef native = yuvPicture(16, 16);
    for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709})
        for (int y = 16; y <= 235; y += 13)
            for (int cb = 16; cb <= 240; cb += 28)
                for (int cr = 16; cr <= 240; cr += 28) {
                    native.storage()->matrix = matrix;
                    planes(native).data[0][0] = static_cast<uint8_t>(y);
                    planes(native).data[1][0] = static_cast<uint8_t>(cb);
                    planes(native).data[2][0] = static_cast<uint8_t>(cr);
                    const Rgb got = pixel(toArgb(native), 0, 0);
                    const auto exact = exactRgb(y, cb, cr, matrix);
                    for (size_t c = 0; c < 3; ++c)
                        EXPECT_NEAR(got[c], std::clamp(exact[c], 0.0, 255.0), 0.52);
                }
}

TEST(ColourTest, AYuvPictureOfArgbIsTheRoundedMatrix) {
    std::mt19937 random(5);
    for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709})
        for (int i = 0; i < 4000; ++i) {
            const auto byte = [&] { return static_cast<int>(random() >> 24); };
            const Rgb colour{byte(), byte(), byte()};
            const PictureRef native = fromArgb(solid(2, 2, colour), matrix);
            const auto exact = exactYuv(colour, matrix);
            for (int plane = 0; plane < 3; ++plane)
                ASSERT_NEAR(planes(native).data[plane][0], exact[static_cast<size_t>(plane)], 0.52)
                    << ::testing::PrintToString(colour) << " plane " << plane;
        }
}

TEST(ColourTest, TheDetourKeepsEveryColourInsideTheCubeToOneCode) {
    uint32_t state = 12345;
    const auto next = [&](int from, int to) {
        state = state * 1664525U + 1013904223U;
        return from + static_cast<int>((state >> 8) % static_cast<uint32_t>(to - from + 1));
    };
    for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709})
        for (const FieldOrder fields :
             {FieldOrder::progressive, FieldOrder::topFirst, FieldOrder::bottomFirst})
            for (const int height : {16, 18}) {
                const PictureRef native = yuvPicture(32, height);
                native.storage()->matrix = matrix;
                native.storage()->fields = fields;
                AVFrame& frame = planes(native);
                for (int row = 0; row < height / 2; ++row)
                    for (int x = 0; x < 16; ++x) {
                        int cb = 0, cr = 0;
                        do {
                            cb = next(16, 240);
                            cr = next(16, 240);
                        } while (!insideCube(110, cb, cr, matrix) || !insideCube(125, cb, cr, matrix));
                        frame.data[1][row * frame.linesize[1] + x] = static_cast<uint8_t>(cb);
                        frame.data[2][row * frame.linesize[2] + x] = static_cast<uint8_t>(cr);
                    }
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < 32; ++x)
                        frame.data[0][y * frame.linesize[0] + x] = static_cast<uint8_t>(next(110, 125));
                const PictureRef back = fromArgb(toArgb(native), matrix, fields);
                EXPECT_LE(largestDifference(native, back), 1) << height;
                EXPECT_NE(back.storage(), native.storage());
            }
}

TEST(ColourTest, ColourBarsShowNoStepAtASeam) {
    for (const char* name : {"pattern:bars?size=320x240&seconds=1", "pattern:bars?size=1280x720&seconds=1"}) {
        const MediaInfo info = probe(name);
        ReaderSettings settings;
        settings.layout = PixelLayout::yuv420;
        settings.matrix = info.matrix;
        const PictureRef native = Reader::open(name, settings).readPicture();
        EXPECT_LE(largestDifference(native, fromArgb(toArgb(native), info.matrix)), 1) << name;
    }
}

TEST(ColourTest, GreyStaysGreyAndBlackAndWhiteStayAtTheEnds) {
    for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709})
        for (int grey = 0; grey < 256; ++grey) {
            const PictureRef native = fromArgb(solid(2, 2, {grey, grey, grey}), matrix);
            EXPECT_EQ(planes(native).data[1][0], 128);
            EXPECT_EQ(planes(native).data[2][0], 128);
            EXPECT_NEAR(planes(native).data[0][0], 16 + grey * 219 / 255.0, 0.51);
            const Rgb back = pixel(toArgb(native), 1, 1);
            EXPECT_NEAR(back[0], grey, 1);
            EXPECT_EQ(back[0], back[1]);
            EXPECT_EQ(back[1], back[2]);
        }
    EXPECT_EQ(planes(fromArgb(solid(2, 2, {255, 255, 255}), ColourMatrix::bt709)).data[0][0], 235);
}

TEST(ColourTest, TagsAndRangesOfTheSourceAreHonoured) {
    const TempDir dir;
    struct Tag {
        const char* matrix;
        const char* tag;
        const char* range;
    };
    for (const Tag tag :
         {Tag{"bt709", "bt709", "tv"}, Tag{"bt709", "bt709", "pc"}, Tag{"bt601", "smpte170m", "tv"},
          Tag{"bt601", "smpte170m", "pc"}, Tag{"bt601", "bt470bg", "tv"}}) {
        const std::string path = dir / (std::string(tag.tag) + tag.range + ".mp4");
        ffmpeg(std::string("-f lavfi -i color=0x30A0D0:s=64x64,format=rgb24 -frames:v 2 -vf "
                           "scale=flags=accurate_rnd:out_color_matrix=") +
               tag.matrix + ":out_range=" + tag.range + ",format=yuv420p -colorspace " + tag.tag +
               " -color_range " + tag.range + " -c:v libx264 -qp 0 " + path);
        const PictureRef picture = readStill(path);
        const Rgb got = pixel(picture, 30, 30);
        EXPECT_NEAR(got[0], 0x30, 3) << path;
        EXPECT_NEAR(got[1], 0xA0, 3) << path;
        EXPECT_NEAR(got[2], 0xD0, 3) << path;
        EXPECT_EQ(probe(path).fullRange, tag.range == std::string("pc"));
        EXPECT_EQ(probe(path).matrix,
                  tag.matrix == std::string("bt709") ? ColourMatrix::bt709 : ColourMatrix::bt601);
        // The native road ends at the same colour, whatever matrix the writer has.
        ReaderSettings settings;
        settings.layout = PixelLayout::yuv420;
        for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709}) {
            settings.matrix = matrix;
            const Rgb native = pixel(toArgb(Reader::open(path, settings).readPicture()), 30, 30);
            for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(native[c], got[c], 3) << path;
        }
    }
}

TEST(ColourTest, EveryMatrixAndRangeOfAPlainStreamIsHonouredOnBothRoads) {
    const TempDir dir;
    for (const char* space : {"bt709", "fcc", "smpte240m", "bt2020nc"})
        for (const char* range : {"tv", "pc"}) {
            const std::string path = dir / (std::string(space) + range + ".mkv");
            const std::string scaled = space == std::string("bt2020nc") ? "bt2020" : space;
            ffmpeg(
                "-f lavfi -i color=0x30A0D0:s=64x64,format=rgb24 -frames:v 2 -vf "
                "scale=flags=accurate_rnd:out_color_matrix=" +
                scaled + ":out_range=" + range + ",format=yuv420p,setparams=colorspace=" + space + ":range=" +
                range + " -colorspace " + space + " -color_range " + range + " -c:v ffv1 " + path);
            ReaderSettings settings;
            for (const PixelLayout layout : {PixelLayout::argb, PixelLayout::yuv420})
                for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709}) {
                    settings.layout = layout;
                    settings.matrix = matrix;
                    const Rgb got = pixel(toArgb(Reader::open(path, settings).readPicture()), 30, 30);
                    EXPECT_NEAR(got[0], 0x30, 3) << path;
                    EXPECT_NEAR(got[1], 0xA0, 3) << path;
                    EXPECT_NEAR(got[2], 0xD0, 3) << path;
                }
        }
}

TEST(ColourTest, UntaggedClipsGoByTheirSize) {
    const TempDir dir;
    for (const bool large : {false, true}) {
        const std::string path = dir / (large ? "large.mkv" : "small.mkv");
        ffmpeg(std::string("-f lavfi -i color=0x30A0D0:s=") + (large ? "1280x720" : "320x240") +
               ",format=rgb24 -frames:v 1 -vf scale=flags=accurate_rnd:out_color_matrix=" +
               (large ? "bt709" : "bt601") + ",format=yuv420p,setparams=colorspace=unknown -c:v ffv1 " +
               path);
        const Rgb got = pixel(readStill(path), 100, 100);
        EXPECT_NEAR(got[0], 0x30, 3) << path;
        EXPECT_NEAR(got[2], 0xD0, 3) << path;
    }
}

TEST(ColourTest, OddSidesHaveNoNativeForm) {
    EXPECT_THROW(fromArgb(solid(3, 2, {1, 2, 3}), ColourMatrix::bt709), MediaError);
    EXPECT_THROW(fromArgb(solid(2, 3, {1, 2, 3}), ColourMatrix::bt709), MediaError);
    EXPECT_THROW(toArgb(PictureRef()), MediaError);
    EXPECT_THROW(PictureRef::makeArgb(0, 5), MediaError);
}

}  // namespace tumblewash::test
