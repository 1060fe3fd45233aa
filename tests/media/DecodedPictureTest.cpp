#include <utility>

#include "media/DecodedPicture.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::DecodedPicture;
using media::Fit;
using media::MediaErrorCode;
using media::PictureMaker;
using media::PictureRef;
using media::Reader;
using media::ReaderSettings;

namespace {

ReaderSettings sized(int width, int height, Fit fit = Fit::contain) {
    ReaderSettings settings;
    settings.width = width;
    settings.height = height;
    settings.fit = fit;
    settings.prefetch = 0;
    settings.threads = 1;
    settings.stillFrames = 2;
    return settings;
}

/// Every picture of a clip, made of decoded ones at a size, is the one of a reader of that size.
void expectSameAt(const std::string& file, int width, int height, Fit fit, bool fromOtherSize) {
    SCOPED_TRACE(file + " " + std::to_string(width) + "x" + std::to_string(height));
    Reader plain = Reader::open(file, sized(width, height, fit));
    Reader decoding = Reader::open(file, fromOtherSize ? sized(96, 64, fit) : sized(width, height, fit));
    PictureMaker maker(2);
    int pictures = 0;
    for (;;) {
        const PictureRef wanted = plain.readPicture();
        const DecodedPicture decoded = decoding.readDecoded();
        ASSERT_EQ(static_cast<bool>(wanted), static_cast<bool>(decoded));
        if (!wanted) break;
        EXPECT_EQ(decoded.anySize(), fromOtherSize);
        EXPECT_GT(decoded.bytes(), 0U);
        EXPECT_EQ(bytesOf(maker.make(decoded, width, height)), bytesOf(wanted)) << pictures;
        EXPECT_EQ(bytesOf(maker.make(decoded, width, height)), bytesOf(wanted)) << pictures;
        ++pictures;
    }
    EXPECT_GT(pictures, 1);
    EXPECT_EQ(decoding.position(), plain.position());
}

}  // namespace

TEST(DecodedPictureTest, AnySizeIsTheOneOfAReaderOfThatSize) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=96x64:r=25:d=0.3 -c:v libx264 -pix_fmt yuv420p " + dir / "plain.mp4");
    ffmpeg("-f lavfi -i testsrc2=s=96x64:r=25:d=0.3 -c:v ffv1 -pix_fmt yuv422p10le " + dir / "deep.mkv");
    ffmpeg("-f lavfi -i testsrc2=s=96x64:r=25:d=0.2 -c:v qtrle -pix_fmt argb " + dir / "alpha.mov");
    for (const char* name : {"plain.mp4", "deep.mkv", "alpha.mov"})
        for (const auto& [width, height] : {std::pair{96, 64}, {48, 32}, {51, 70}})
            for (const Fit fit : {Fit::contain, Fit::cover})
                expectSameAt(dir / name, width, height, fit, true);
    expectSameAt("pattern:city?size=128x96&seconds=0.2", 64, 48, Fit::contain, true);
}

TEST(DecodedPictureTest, WhatIsMadeProgressiveHasOneSize) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc2=s=96x64:r=50:d=0.3 -vf tinterlace=interleave_top,fieldorder=tff -c:v "
        "mpeg2video "
        "-flags +ilme+ildct -pix_fmt yuv420p " +
        dir / "fields.mpg");
    // Scaled lines mix fields, so that the pictures are made progressive.
    expectSameAt(dir / "fields.mpg", 48, 32, Fit::contain, false);
    Reader reader = Reader::open(dir / "fields.mpg", sized(48, 32));
    PictureMaker maker;
    const DecodedPicture decoded = reader.readDecoded();
    EXPECT_EQ(failureOf([&] { maker.make(decoded, 24, 16); }, "fields.mpg"), MediaErrorCode::badRequest);
}

TEST(DecodedPictureTest, ItTakesLessThanWhatItBecomesAndOutlivesItsReader) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=320x240:r=25:d=0.2 -c:v libx264 -pix_fmt yuv420p " + dir / "plain.mp4");
    DecodedPicture decoded;
    std::string wanted;
    {
        Reader reader = Reader::open(dir / "plain.mp4", sized(320, 240));
        reader.seekPictures(3);
        decoded = reader.readDecoded();
        reader.seekPictures(3);
        wanted = bytesOf(reader.readPicture());
    }
    PictureMaker maker;
    EXPECT_EQ(bytesOf(maker.make(decoded, 320, 240)), wanted);
    maker.forget();
    EXPECT_EQ(bytesOf(maker.make(decoded, 320, 240)), wanted);
    // Decoders pad their planes.
    EXPECT_LT(decoded.bytes(), wanted.size() * 3 / 4);
    EXPECT_EQ(failureOf([&] { maker.make(decoded, 0, 16); }, "plain.mp4"), MediaErrorCode::badRequest);
    EXPECT_FALSE(DecodedPicture());
    EXPECT_EQ(DecodedPicture().bytes(), 0U);
}

}  // namespace tumblewash::test
