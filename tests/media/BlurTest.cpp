// Pictures of another shape between strips of their own blurred copy, in every layout and from every kind of
// source: what is whole stays as it is, and what lies beside it has its colours.
#include <cstdlib>

#include "media/Reader.h"
#include "tests/media/Charts.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::Fit;
using media::PictureRef;
using media::PixelLayout;
using media::Reader;
using media::ReaderSettings;

namespace {

constexpr PixelLayout kLayouts[] = {PixelLayout::argb, PixelLayout::deep, PixelLayout::yuv420,
                                    PixelLayout::yuv420p10};

PictureRef read(const std::string& file, int width, int height, Fit fit, PixelLayout layout,
                bool alpha = false) {
    ReaderSettings settings;
    settings.width = width;
    settings.height = height;
    settings.fit = fit;
    settings.layout = layout;
    settings.keepAlpha = alpha;
    settings.prefetch = 0;
    return Reader::open(file, settings).readPicture();
}

const uint16_t* deepAt(const PictureRef& deep, int x, int y) {
    return deep.words() + y * deep.stride() / 2 + 4 * x;
}

/// How far two pixels of deep pictures lie apart, in codes of 8 bits.
double apart(const uint16_t* a, const uint16_t* b) {
    double most = 0;
    for (int c = 0; c < 4; ++c) most = std::max(most, std::abs(a[c] - b[c]) / 257.0);
    return most;
}

/// Photos of one colour, 60 pixels wide and 160 high, of every kind that takes a road of its own.
std::vector<std::string> flatPhotos(const TempDir& dir) {
    const auto flat = [](int channels, int depth) {
        const int full = depth == 8 ? 255 : 65535;
        return codes(60, 160, channels, depth,
                     [full](int, int, int c) { return c == 3 ? full * 3 / 5 : full * (4 - c) / 5; });
    };
    writeFile(dir / "rgb8.png", pngFile(flat(3, 8)));
    writeFile(dir / "rgb16.png", pngFile(flat(3, 16)));
    writeFile(dir / "p3.png", pngFile(flat(3, 8), {rgbProfile(kDisplayP3, 2.2, "Display P3"), {}}));
    writeFile(dir / "rgba8.png", pngFile(flat(4, 8)));
    writeFile(dir / "rgba16.png", pngFile(flat(4, 16)));
    ffmpeg("-f lavfi -i color=0xC08040:s=60x160 -frames:v 1 " + dir / "photo.jpg");
    ffmpeg("-f lavfi -i color=0xC08040:s=60x160:d=0.1 -pix_fmt yuv444p -c:v ffv1 " + dir / "movie444.mkv");
    writeChart(dir / "hlg.mkv", 60, 160, {}, [](int, int) { return Colour3{0.6, 0.4, 0.3}; });
    return {"rgb8.png",   "rgb16.png", "p3.png",       "rgba8.png",
            "rgba16.png", "photo.jpg", "movie444.mkv", "hlg.mkv"};
}

TEST(BlurTest, OneColourFillsEveryLayoutWithItself) {
    const TempDir dir;
    bool across = false;
    for (const std::string& name : flatPhotos(dir))
        for (const PixelLayout layout : kLayouts) {
            across = !across;  // strips left and right, or above and below
            const int width = across ? 128 : 40, height = across ? 96 : 160;
            const PictureRef blurred = toDeep(read(dir / name, width, height, Fit::blur, layout));
            const PictureRef whole = toDeep(read(dir / name, width, height, Fit::contain, layout));
            const uint16_t* middle = deepAt(whole, width / 2, height / 2);
            double most = 0;
            for (int y = 0; y < height; y += across ? 5 : 1)
                for (int x = 0; x < width; x += across ? 1 : 5)
                    most = std::max(most, apart(deepAt(blurred, x, y), middle));
            EXPECT_LE(most, 3.5) << name << " " << static_cast<int>(layout);
            EXPECT_GT(apart(deepAt(whole, 0, 0), middle), 50) << name << ": bars are another colour";
            EXPECT_EQ(deepAt(whole, 0, 0)[0], media::kDeepOpaque) << name;
        }
}

TEST(BlurTest, ThePictureItselfIsTheOneBetweenBars) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=120x160 -frames:v 1 " + dir / "tall.png");
    ffmpeg("-f lavfi -i testsrc2=s=120x160 -frames:v 1 " + dir / "tall.jpg");
    // Room on both sides, and on one alone: 2 columns in a planar picture all lie behind it.
    struct Case {
        int width, height, inside;
    };
    for (const Case& c : {Case{160, 96, 72}, Case{122, 160, 120}, Case{132, 160, 120}})
        for (const char* name : {"tall.png", "tall.jpg"})
            for (const PixelLayout layout : kLayouts) {
                const PictureRef blurred = toDeep(read(dir / name, c.width, c.height, Fit::blur, layout));
                const PictureRef whole = toDeep(read(dir / name, c.width, c.height, Fit::contain, layout));
                int same = 0;
                for (int x = 0; x < c.width; ++x) {
                    bool equal = true;
                    for (int y = 0; y < c.height && equal; ++y)
                        equal = apart(deepAt(blurred, x, y), deepAt(whole, x, y)) == 0;
                    same += equal ? 1 : 0;
                }
                EXPECT_EQ(same, c.inside) << name << " " << static_cast<int>(layout) << " " << c.width;
            }
}

TEST(BlurTest, WhereTransparencyIsKeptNothingLiesBesideThePicture) {
    const TempDir dir;
    flatPhotos(dir);
    for (const char* name : {"rgba8.png", "rgba16.png"})
        for (const PixelLayout layout : {PixelLayout::argb, PixelLayout::deep}) {
            const PictureRef picture = toDeep(read(dir / name, 128, 96, Fit::blur, layout, true));
            EXPECT_EQ(deepAt(picture, 2, 48)[0], 0) << name;
            EXPECT_NEAR(deepAt(picture, 64, 48)[0], 65535 * 0.6, 257) << name;
        }
}

TEST(BlurTest, NothingIsBlurredWhereNothingIsBeside) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=96x64 -frames:v 1 " + dir / "same.png");
    for (const PixelLayout layout : kLayouts)
        EXPECT_EQ(bytesOf(toArgb(read(dir / "same.png", 192, 128, Fit::blur, layout))),
                  bytesOf(toArgb(read(dir / "same.png", 192, 128, Fit::contain, layout))));
}

}  // namespace
}  // namespace tumblewash::test
