// Inputs that are made to cost much, or are no pictures: refused in words before a library unfolds them.
#include "media/StillIO.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::MediaError;
using media::MediaErrorCode;
using media::PngAlpha;
using media::probe;
using media::Reader;
using media::writePng;

namespace {

std::string number(uint32_t value) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift);
    return out;
}

std::string atom(const std::string& name, const std::string& content) {
    return number(static_cast<uint32_t>(content.size() + 8)) + name + content;
}

/// A movie whose header is folded and claims to unfold to `bytes`.
std::string foldedMovie(uint32_t bytes) {
    return atom("ftyp", "qt  " + number(0) + "qt  ") +
           atom("moov", atom("cmov", atom("dcom", "zlib") + atom("cmvd", number(bytes) + "folded header")));
}

std::string refusal(const std::string& path) {
    try {
        probe(path);
    } catch (const MediaError& error) {
        EXPECT_EQ(error.code(), MediaErrorCode::undecodable);
        return error.what();
    }
    return "nothing was refused";
}

}  // namespace

TEST(OddInputsTest, DrawingsAreRefusedInWords) {
    const TempDir dir;
    const std::string drawing = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"></svg>";
    for (const char* before : {"", "\xEF\xBB\xBF \n", "<?xml version=\"1.0\"?>\n<!-- a note -->\n"}) {
        writeFile(dir / "a.png", before + drawing);
        EXPECT_THAT(
            refusal(dir / "a.png"),
            ::testing::HasSubstr("is an SVG drawing, which this program does not read; export it as PNG "
                                 "first"));
    }
}

TEST(OddInputsTest, AHeaderThatUnfoldsToGigabytesIsRefusedBeforeItIsUnfolded) {
    const TempDir dir;
    writeFile(dir / "a.mov", foldedMovie(3U << 30));
    EXPECT_THAT(refusal(dir / "a.mov"), ::testing::HasSubstr("holds a header that unfolds to 3072 MiB"));
    // One of a size that a header may have is the library's to judge.
    writeFile(dir / "a.mov", foldedMovie(9000));
    EXPECT_THAT(refusal(dir / "a.mov"), ::testing::Not(::testing::HasSubstr("unfolds")));
}

TEST(OddInputsTest, AJpegOfHundredsOfPassesIsRefusedAsAPhotoAndLeftOutOfAClip) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=32x32:r=25 -frames:v 1 " + dir / "a.jpg");
    ffmpeg("-f lavfi -i testsrc2=s=32x32:r=25 -frames:v 8 -c:v mjpeg " + dir / "a.mkv");
    // The frame's marker says that passes refine it, and more of them follow than any camera writes.
    std::string photo = readFile(dir / "a.jpg");
    const size_t frame = photo.find("\xFF\xC0");
    ASSERT_NE(frame, std::string::npos);
    photo[frame + 1] = '\xC2';
    std::string passes;
    for (int i = 0; i < 300; ++i) passes += std::string("\xFF\xDA\x00\x08\x01\x01\x00\x00\x3F\x00", 10);
    const size_t end = photo.rfind("\xFF\xD9");
    photo.insert(end, passes);
    writeFile(dir / "a.jpg", photo);
    EXPECT_THAT(refusal(dir / "a.jpg"), ::testing::HasSubstr("is drawn in 301 passes, more than 200"));
    // In a clip such a picture is damaged, and the others are read.
    ffmpeg("-f image2pipe -c:v mjpeg -framerate 25 -i " + dir / "a.jpg" + " -c:v copy " + dir / "one.mkv");
    const std::string line = refusal(dir / "one.mkv");
    EXPECT_THAT(line, ::testing::HasSubstr("one.mkv")) << line;
}

TEST(OddInputsTest, SubtitlesAloneHoldNoPicture) {
    const TempDir dir;
    writeFile(dir / "a.srt",
              "1\n00:00:00,000 --> 00:00:02,000\nHello\n\n2\n00:00:02,000 --> 00:00:04,000\nWorld\n");
    EXPECT_EQ(failureOf([&] { probe(dir / "a.srt"); }, "a.srt"), MediaErrorCode::noVideo);
}

TEST(OddInputsTest, PicturesWithoutAPixelAreNotWritten) {
    const TempDir dir;
    const uint8_t pixels[4] = {255, 1, 2, 3};
    for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-4, 4}, {16385, 1}})
        EXPECT_EQ(
            failureOf([&, w = width, h = height] { writePng(dir / "a.png", pixels, w, h, 4); }, "a.png"),
            MediaErrorCode::badRequest);
    EXPECT_TRUE(dir.names().empty());
    writePng(dir / "a.png", pixels, 1, 1, 4);
    EXPECT_EQ(pixel(media::readStill(dir / "a.png"), 0, 0), (Rgb{1, 2, 3}));
}

}  // namespace tumblewash::test
