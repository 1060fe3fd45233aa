// Clips of other signals and depths on their way in: what is read of them, and what pictures come of it.
#include <cmath>
#include <set>

#include "media/detail/Av.h"
#include "media/detail/Dither.h"
#include "tests/media/Charts.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::ClipColour;
using media::ColourMatrix;
using media::ditherShare;
using media::MediaError;
using media::MediaErrorCode;
using media::MediaInfo;
using media::peakOf;
using media::PictureRef;
using media::PixelLayout;
using media::Primaries;
using media::probe;
using media::Reader;
using media::ReaderSettings;
using media::toArgb;
using media::ToneMap;
using media::Transfer;
using media::transferWord;

namespace {

constexpr int kWidth = 256, kHeight = 64;

/// Greys above, bars of an SDR master below.
Colour3 chartColour(int x, int y) {
    if (y < kHeight / 2) {
        const double v = (x / 8) / 31.0;
        return {v, v, v};
    }
    const int bar = x / 32;
    const double level = y < 3 * kHeight / 4 ? 0.75 : 0.5;
    return {bar & 1 ? level : 0.1, bar & 2 ? level : 0.1, bar & 4 ? level : 0.1};
}

/// What the reference makes of the chart's pixel, whose chroma was shared by four equal ones.
Colour3 toned(int x, int y, Transfer from, ToneMap map) {
    const Colour3 sdr = chartColour(x, y);
    const Colour3 signal = from == Transfer::hlg ? sdrAsHlg(sdr) : sdrAsPq(sdr);
    const Colour3 nits = from == Transfer::hlg
                             ? hlgDisplay(signal)
                             : Colour3{pqLight(signal[0]), pqLight(signal[1]), pqLight(signal[2])};
    return map == ToneMap::natural ? naturalSdr(nits, 1000) : whiteSdr(nits, 1000);
}

struct Patch {
    int from, to;  // lines
};

/// The mean of eight columns: what an eye sees of a dithered colour.
Colour3 meanOf(const PictureRef& picture, int x, Patch patch) {
    Colour3 out{};
    for (int y = patch.from; y < patch.to; ++y)
        for (int k = 0; k < 8; ++k) {
            const Rgb p = pixel(picture, x + k, y);
            for (size_t c = 0; c < 3; ++c) out[c] += p[c] / (255.0 * 8 * (patch.to - patch.from));
        }
    return out;
}

PictureRef firstPicture(const std::string& path, const ReaderSettings& settings) {
    return Reader::open(path, settings).readPicture();
}

}  // namespace

TEST(HdrReadTest, HdrChartsComeOutAsTheFormulaSays) {
    const TempDir dir;
    for (const Transfer from : {Transfer::hlg, Transfer::pq}) {
        const std::string path = dir / (std::string(transferWord(from)) + ".mkv");
        ChartTags tags;
        tags.transfer = from == Transfer::hlg ? "arib-std-b67" : "smpte2084";
        writeChart(path, kWidth, kHeight, tags, [&](int x, int y) {
            return from == Transfer::hlg ? sdrAsHlg(chartColour(x, y)) : sdrAsPq(chartColour(x, y));
        });
        for (const ToneMap map : {ToneMap::natural, ToneMap::white})
            for (const PixelLayout layout : {PixelLayout::argb, PixelLayout::yuv420}) {
                ReaderSettings settings;
                settings.layout = layout;
                settings.toneMap = map;
                const PictureRef picture = toArgb(firstPicture(path, settings));
                double grey = 0, bars = 0, delta = 0;
                for (int x = 0; x < kWidth; x += 8)
                    for (const Patch patch : {Patch{0, kHeight / 2}, Patch{kHeight / 2, 3 * kHeight / 4},
                                              Patch{3 * kHeight / 4, kHeight}}) {
                        const Colour3 wanted = toned(x, patch.from, from, map);
                        const Colour3 got = meanOf(picture, x, patch);
                        double off = 0;
                        for (size_t c = 0; c < 3; ++c) off += 255 * std::abs(got[c] - wanted[c]) / 3;
                        (patch.from == 0 ? grey : bars) += off;
                        delta += deltaE(got, wanted);
                    }
                const double greys = kWidth / 8, colours = 2 * greys;
                EXPECT_LE(grey / greys, 1) << path;
                EXPECT_LE(bars / colours, 2) << path;
                EXPECT_LE(delta / (greys + colours), 1) << path;
            }
    }
}

TEST(HdrReadTest, HdrWithAlphaIsTonedDownUnderItsAlpha) {
    const TempDir dir;
    const long code = std::lround(1023 * pqSignal(203));
    const std::string value = std::to_string(code);
    const std::string tags = " -color_trc smpte2084 -color_primaries bt2020 -colorspace rgb -color_range pc ";
    ffmpeg("-f lavfi -i color=black:s=64x64:r=25,format=gbrap10le,geq=r=" + value + ":g=" + value +
           ":b=" + value + ":a=16*X -frames:v 1" + tags + "-c:v ffv1" + tags + dir / "hdr.mkv");
    ASSERT_EQ(probe(dir / "hdr.mkv").colour.transfer, Transfer::pq);
    const double nits = pqLight(static_cast<double>(code) / 1023);
    const double wanted = 255 * naturalSdr({nits, nits, nits}, 1000)[0];
    ReaderSettings settings;
    settings.keepAlpha = true;
    const PictureRef kept = firstPicture(dir / "hdr.mkv", settings);
    settings.keepAlpha = false;
    const PictureRef laid = firstPicture(dir / "hdr.mkv", settings);
    for (int x = 8; x < 64; ++x) {
        const uint8_t* p = kept.data() + 30 * kept.stride() + 4 * x;
        EXPECT_EQ(p[0], std::lround(16 * x * 255 / 1023.0)) << x;
        for (int c = 1; c < 4; ++c) EXPECT_NEAR(p[c], wanted, 1.5) << x;
        EXPECT_EQ(pixel(laid, x, 30)[0], pixel(laid, x, 30)[2]) << x;
        if (x > 8) {
            EXPECT_GE(pixel(laid, x, 30)[0], pixel(laid, x - 1, 30)[0] - 1) << x;
        }
    }
}

TEST(HdrReadTest, AWishedHdrSignalPassesCodeForCode) {
    const TempDir dir;
    const std::string path = dir / "hlg.mkv";
    const auto ramp = [](int x, int y) {
        const double v = (x * 4 + y % 4) / 1023.0;
        return Colour3{v, v, v};
    };
    writeChart(path, kWidth, kHeight, {}, ramp);
    ReaderSettings settings;
    settings.layout = PixelLayout::yuv420p10;
    settings.matrix = ColourMatrix::bt2020;
    settings.transfer = Transfer::hlg;
    const PictureRef picture = firstPicture(path, settings);
    ASSERT_EQ(picture.layout(), PixelLayout::yuv420p10);
    std::set<int> levels;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            ASSERT_EQ(codeAt(picture, 0, x, y), std::lround(64 + 876 * ramp(x, y)[0]));
            levels.insert(codeAt(picture, 0, x, y));
        }
    EXPECT_GE(levels.size(), 870U);
}

TEST(HdrReadTest, SdrInAnHdrMovieHasItsWhiteAt203Nits) {
    const TempDir dir;
    ffmpeg("-f lavfi -i color=white:s=64x64,format=yuv420p -frames:v 1 -c:v ffv1 " + dir / "white.mkv");
    for (const auto& [transfer, code] : {std::pair{Transfer::hlg, 721}, std::pair{Transfer::pq, 573}}) {
        ReaderSettings settings;
        settings.layout = PixelLayout::yuv420p10;
        settings.matrix = ColourMatrix::bt2020;
        settings.transfer = transfer;
        const PictureRef picture = firstPicture(dir / "white.mkv", settings);
        EXPECT_NEAR(codeAt(picture, 0, 20, 20), code, 1);
        EXPECT_NEAR(codeAt(picture, 1, 10, 10), 512, 1);
        const PictureRef drawn = firstPicture("pattern:bars?size=64x64&seconds=1", settings);
        EXPECT_EQ(drawn.layout(), PixelLayout::yuv420p10);
    }
}

TEST(HdrReadTest, TenBitsBecomeEightWithoutStepsOrBias) {
    const TempDir dir;
    const std::string path = dir / "ramp.mkv";
    ChartTags tags{.transfer = "bt709", .primaries = "bt709", .matrix = "bt709"};
    // 3/4 of a 10-bit step from column to column: what 8 bits cannot say by themselves.
    const auto ramp = [](int x, int) {
        const double v = (400 + std::floor(0.75 * x) - 64) / 876.0;
        return Colour3{v, v, v};
    };
    writeChart(path, kWidth, kHeight, tags, ramp);
    for (const auto& [layout, matrix] : {std::pair{PixelLayout::yuv420, ColourMatrix::bt709},
                                         std::pair{PixelLayout::yuv420, ColourMatrix::bt601},
                                         std::pair{PixelLayout::argb, ColourMatrix::bt709}}) {
        ReaderSettings settings;
        settings.layout = layout;
        settings.matrix = matrix;
        const PictureRef picture = firstPicture(path, settings);
        double square = 0, bias = 0;
        for (int x = 0; x < kWidth; ++x) {
            double mean = 0;
            for (int y = 0; y < kHeight; ++y)
                mean += layout == PixelLayout::argb ? pixel(picture, x, y)[1] : codeAt(picture, 0, x, y);
            mean /= kHeight;
            const double ten = 400 + std::floor(0.75 * x);
            const double wanted = layout == PixelLayout::argb ? (ten - 64) / 876 * 255 : ten / 4;
            square += std::pow(mean - wanted, 2) / kWidth;
            bias += (mean - wanted) / kWidth;
        }
        EXPECT_LE(std::sqrt(square), 0.2);
        EXPECT_LE(std::abs(bias), 0.02);
    }
}

TEST(HdrReadTest, DitherSharesAreEvenInEveryLineAndColumn) {
    for (unsigned fixed = 0; fixed < 16; ++fixed) {
        std::set<int> across, down;
        for (unsigned i = 0; i < 256; ++i) {
            across.insert(ditherShare(i, fixed));
            down.insert(ditherShare(fixed, i));
        }
        EXPECT_EQ(across.size(), 256U);
        EXPECT_EQ(down.size(), 256U);
    }
}

TEST(HdrReadTest, WideSdrColoursAreConverted) {
    const TempDir dir;
    // BT.709's own red, said in BT.2020.
    const std::string path = dir / "wide.mkv";
    const double r = std::pow(0.6274, 1 / 2.4), g = std::pow(0.0691, 1 / 2.4), b = std::pow(0.0164, 1 / 2.4);
    writeChart(path, 64, 64, {.transfer = "bt2020-10"}, [&](int, int) { return Colour3{r, g, b}; });
    const Rgb red = pixel(firstPicture(path, {}), 30, 30);
    EXPECT_NEAR(red[0], 255, 2);
    EXPECT_LE(red[1], 8);
    EXPECT_LE(red[2], 8);
}

TEST(HdrReadTest, AnotherMatrixKeepsWhatLiesBeyondWhite) {
    const TempDir dir;
    const std::string path = dir / "bright.mkv";
    writeChart(path, 256, 16, {.transfer = "bt709", .primaries = "bt709", .matrix = "bt709", .depth = 8},
               [](int x, int) {
                   return Colour3{(x - 16) / 219.0, (x - 16) / 219.0, (x - 16) / 219.0};
               });
    for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709}) {
        ReaderSettings settings;
        settings.layout = PixelLayout::yuv420;
        settings.matrix = matrix;
        const PictureRef picture = firstPicture(path, settings);
        for (int x = 1; x < 255; ++x) ASSERT_EQ(codeAt(picture, 0, x, 5), x);
    }
}

TEST(HdrReadTest, TagsAreReadFromContainerAndPictures) {
    const TempDir dir;
    const auto grey = [](int, int) { return Colour3{0.5, 0.5, 0.5}; };
    writeChart(dir / "hlg.mkv", 64, 64, {}, grey);
    const ClipColour hlg = probe(dir / "hlg.mkv").colour;
    EXPECT_EQ(hlg.transfer, Transfer::hlg);
    EXPECT_EQ(hlg.primaries, Primaries::bt2020);
    EXPECT_EQ(hlg.depth, 10);
    EXPECT_EQ(hlg.chroma, "4:2:0");
    EXPECT_EQ(hlg.transferName, "arib-std-b67");
    EXPECT_EQ(hlg.matrixName, "bt2020nc");
    EXPECT_FALSE(hlg.fullRange);
    EXPECT_EQ(probe(dir / "hlg.mkv").matrix, ColourMatrix::bt2020);
    // The transfer tag says BT.2020, a message within the pictures prefers HLG.
    writeChart(dir / "sei.mp4", 64, 64,
               {.transfer = "bt2020-10", .encoder = "-c:v libx265 -x265-params log-level=error:atc-sei=18"},
               grey);
    EXPECT_EQ(probe(dir / "sei.mp4").colour.transfer, Transfer::hlg);
    writeChart(dir / "log.mkv", 64, 64, {.transfer = "log100"}, grey);
    EXPECT_TRUE(probe(dir / "log.mkv").colour.unknownTransfer);
    EXPECT_EQ(probe(dir / "log.mkv").colour.transfer, Transfer::sdr);
    const ClipColour plain = probe("pattern:bars?size=64x64&seconds=1").colour;
    EXPECT_EQ(plain.depth, 8);
    EXPECT_EQ(plain.chroma, "RGB");
}

TEST(HdrReadTest, LightDataAreReadAndNonsenseIsLeftOut) {
    const TempDir dir;
    const auto grey = [](int, int) { return Colour3{0.5, 0.5, 0.5}; };
    const auto clip = [&](const std::string& name, const std::string& display, const std::string& light) {
        ChartTags tags{.transfer = "smpte2084"};
        tags.encoder = "-c:v libx265 -x265-params log-level=error:repeat-headers=1:hdr10=1:master-display='" +
                       display + "':max-cll='" + light + "'";
        writeChart(dir / name, 64, 64, tags, grey);
        return probe(dir / name).colour;
    };
    const ClipColour good =
        clip("good.mp4", "G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(40000000,50)", "2500,400");
    ASSERT_TRUE(good.mastering);
    EXPECT_NEAR(good.mastering->maxNits, 4000, 0.01);
    EXPECT_NEAR(good.mastering->chromaticity[0][0], 0.68, 0.001);
    ASSERT_TRUE(good.light);
    EXPECT_EQ(good.light->maxContent, 2500);
    EXPECT_EQ(peakOf(good), 2500);
    EXPECT_FALSE(good.brokenLight);
    const ClipColour zero =
        clip("zero.mp4", "G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(20000000,50)", "0,0");
    EXPECT_EQ(peakOf(zero), 2000);
    const ClipColour bad = clip("bad.mp4", "G(1,1)B(1,1)R(1,1)WP(65000,65000)L(40000000,50)", "65535,65535");
    EXPECT_TRUE(bad.brokenLight);
    EXPECT_FALSE(bad.mastering);
    EXPECT_FALSE(bad.light);
    EXPECT_EQ(peakOf(bad), 1000);
}

TEST(HdrReadTest, MatricesThatNothingConvertsAreRefusedInWords) {
    const TempDir dir;
    for (const char* matrix : {"ycgco", "ictcp", "chroma-derived-nc", "bt2020c"}) {
        const std::string path = dir / (std::string(matrix) + ".mkv");
        writeChart(path, 64, 64, {.transfer = "bt709", .primaries = "bt709", .matrix = matrix}, [](int, int) {
            return Colour3{0.5, 0.5, 0.5};
        });
        try {
            probe(path);
            ADD_FAILURE() << matrix;
        } catch (const MediaError& error) {
            EXPECT_EQ(error.code(), MediaErrorCode::undecodable);
            EXPECT_THAT(std::string(error.what()), ::testing::HasSubstr(matrix));
        }
    }
}

TEST(HdrReadTest, TheRestOfAClipIsNamed) {
    const TempDir dir;
    writeFile(dir / "s.srt", "1\n00:00:00,000 --> 00:00:00,500\nword\n");
    writeFile(dir / "c.txt", ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=500\ntitle=one\n");
    ffmpeg("-f lavfi -i testsrc=s=64x64:d=1 -f lavfi -i anoisesrc=d=1:c=pink -i " + dir / "s.srt" + " -i " +
           dir / "c.txt" +
           " -map 0 -map 1 -map 1 -map 2 -map_metadata 3 -ac:a:0 6 -timecode 01:00:00:00 -c:v libx264 -c:a "
           "aac -c:s mov_text " +
           dir / "rest.mov");
    const MediaInfo info = probe(dir / "rest.mov");
    EXPECT_THAT(info.leftOut, ::testing::ElementsAre("1 more sound track", "1 subtitle track",
                                                     "1 chapter mark", "the time code"));
    EXPECT_EQ(info.channelLayout, "5.1");
    ffmpeg("-f lavfi -i testsrc=s=64x64:d=1 -f lavfi -i anoisesrc=d=1 -ac 2 -c:v libx264 " +
           dir / "plain.mp4");
    EXPECT_THAT(probe(dir / "plain.mp4").leftOut, ::testing::IsEmpty());
}

}  // namespace tumblewash::test
