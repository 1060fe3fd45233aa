#include <cstdlib>

#include "media/StillIO.h"
#include "media/detail/ExifOrientation.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"
#include "tests/media/Turns.h"

namespace tumblewash::test {

using namespace tumblewash::media;

TEST(ExifTurnTest, EveryTurnOfEveryFormatComesUpright) {
    const TempDir dir;
    const Codes upright = landmark();
    writeFile(dir / "upright.png", pngFile(upright));
    const PictureRef expected = readStill(dir / "upright.png");
    for (int turn = 1; turn <= 8; ++turn) {
        const Codes stored = storedFor(upright, turn);
        writeFile(dir / "stored.png", pngFile(stored));
        const std::string plain = dir / "stored.png";
        ffmpeg("-i " + plain + " -c:v mjpeg -q:v 1 -pix_fmt yuvj444p " + dir / "j.jpg");
        ffmpeg("-i " + plain + " -c:v libwebp -lossless 1 -compression_level 1 " + dir / "w.webp");
        const bool big = turn % 2 == 0;
        writeFile(dir / "turned.png", pngFile(stored, {{}, exifBlock(turn, big)}));
        writeFile(dir / "turned.tiff", tiffFile(stored, turn, {}, big));
        writeFile(dir / "turned.jpg", withBlocksJpeg(readFile(dir / "j.jpg"), {{}, exifBlock(turn, !big)}));
        writeFile(dir / "turned.webp", withBlocksWebp(readFile(dir / "w.webp"), stored.width, stored.height,
                                                      {{}, exifBlock(turn, big)}));
        for (const char* name : {"turned.png", "turned.tiff", "turned.jpg", "turned.webp"}) {
            EXPECT_LE(meanDifference(readStill(dir / name), expected), 2) << name << " turned by " << turn;
            EXPECT_EQ(probe(dir / name).orientation, turn) << name;
            Reader reader = Reader::open(dir / name);
            EXPECT_THAT(reader.warnings(), ::testing::IsEmpty()) << name << " turned by " << turn;
        }
    }
}

TEST(ExifTurnTest, BlocksThatLieSayNothing) {
    for (const int number : {0, 9, 255, 65535}) {
        const std::string block = exifBlock(number);
        EXPECT_EQ(exifOrientation({reinterpret_cast<const uint8_t*>(block.data()), block.size()}), 0)
            << number;
    }
    const std::string good = std::string("Exif\0\0", 6) + exifBlock(6);
    for (size_t length = 0; length <= good.size(); ++length) {
        const int turn = exifOrientation({reinterpret_cast<const uint8_t*>(good.data()), length});
        // The value's two bytes; its other two and the next directory's place are not looked at.
        EXPECT_EQ(turn, length + 6 >= good.size() ? 6 : 0) << length;
    }
    std::string far = exifBlock(6);
    far.replace(4, 4, "\xFF\xFF\xFF\xFF");
    EXPECT_EQ(exifOrientation({reinterpret_cast<const uint8_t*>(far.data()), far.size()}), 0);
}

TEST(ExifTurnTest, ATiffMayEndWithItsLastPixel) {
    const TempDir dir;
    // The pixels once more, behind the directory, and the place of the strip pointing there.
    const Codes picture = landmark();
    std::string file = tiffFile(picture, 6);
    const size_t strip = file.find(std::string("\x11\x01\x04\0\1\0\0\0", 8)) + 8;
    ASSERT_LT(strip, file.size());
    for (size_t i = 0; i < 4; ++i) file[strip + i] = static_cast<char>(file.size() >> (8 * i) & 0xFF);
    file += file.substr(8, picture.values.size());
    writeFile(dir / "whole.tiff", file);
    EXPECT_FALSE(tiffIsCutOff(InputBytes(dir / "whole.tiff")));
    writeFile(dir / "cut.tiff", file.substr(0, file.size() - 1));
    EXPECT_TRUE(tiffIsCutOff(InputBytes(dir / "cut.tiff")));
}

TEST(ExifTurnTest, ATiffIsCalledCutOffOnlyWhenItIs) {
    const TempDir dir;
    const std::string whole = tiffFile(landmark(), 6);
    writeFile(dir / "whole.tiff", whole);
    EXPECT_FALSE(tiffIsCutOff(InputBytes(dir / "whole.tiff")));
    // The directory stands behind the pixels: moved before them, a cut leaves it readable.
    const TempDir other;
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 -update 1 -compression_algo raw " + other / "a.tiff");
    std::string cut = readFile(other / "a.tiff");
    EXPECT_FALSE(tiffIsCutOff(InputBytes(other / "a.tiff")));
    const size_t stripLengths = cut.find(std::string("\x17\x01\x04\0", 4));
    ASSERT_NE(stripLengths, std::string::npos);
    cut[stripLengths + 11] = '\x7F';  // the place of the lengths, far behind the end
    writeFile(other / "b.tiff", cut);
    EXPECT_NO_THROW(static_cast<void>(tiffIsCutOff(InputBytes(other / "b.tiff"))));
}

}  // namespace tumblewash::test
