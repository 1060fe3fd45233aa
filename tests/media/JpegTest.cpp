#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>

#include "media/Jpeg.h"
#include "media/MediaError.h"
#include "media/Pattern.h"
#include "media/StillIO.h"

namespace tumblewash::media {
namespace {

PictureRef scenePicture(int width, int height) {
    DrawnScene scene;
    scene.name = "city";
    scene.width = width;
    scene.height = height;
    const PictureRef picture = PictureRef::makeArgb(width, height);
    drawPattern(scene, 0.5, picture.data(), picture.stride());
    return picture;
}

double decibelsBetween(const PictureRef& a, const PictureRef& b) {
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int i = 0; i < 4 * a.width(); ++i) {
            if (i % 4 == 0) continue;
            const double d = a.data()[y * a.stride() + i] - b.data()[y * b.stride() + i];
            sum += d * d;
        }
    return 10 * std::log10(255.0 * 255.0 * 3 * a.width() * a.height() / (sum + 1e-9));
}

TEST(JpegTest, APictureComesBackWithItsColours) {
    const PictureRef picture = scenePicture(160, 90);
    const std::vector<std::uint8_t> bytes = jpegOf(picture, 160, 90, 2);
    const std::string file =
        (std::filesystem::temp_directory_path() / ("tumblewash-jpeg-" + std::to_string(getpid()) + ".jpg"))
            .string();
    std::FILE* out = std::fopen(file.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    std::fclose(out);
    const PictureRef read = readStill(file);
    std::filesystem::remove(file);
    ASSERT_EQ(read.width(), 160);
    ASSERT_EQ(read.height(), 90);
    EXPECT_GT(decibelsBetween(picture, read), 34.0);
}

TEST(JpegTest, SmallerPicturesAreScaledAndOthersRefused) {
    const PictureRef picture = scenePicture(160, 90);
    EXPECT_LT(jpegOf(picture, 40, 23).size(), jpegOf(picture, 160, 90).size());
    EXPECT_THROW(jpegOf(picture, 0, 10), MediaError);
    EXPECT_THROW(jpegOf({}, 10, 10), MediaError);
    EXPECT_THROW(jpegOf(PictureRef::makeDeep(16, 16), 16, 16), MediaError);
}

}  // namespace
}  // namespace tumblewash::media
