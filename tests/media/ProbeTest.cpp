#include <sys/stat.h>

#include "media/Probe.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::FieldOrder;
using media::FrameRate;
using media::MediaErrorCode;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::probe;
using media::Reader;
using media::readStill;
using media::StillSettings;

namespace {

uint32_t crc(const std::string& bytes) {
    uint32_t value = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        value ^= static_cast<uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~value;
}

std::string bigEndian(uint32_t value) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift & 0xFFU));
    return out;
}

/// The bytes of a JPEG with an EXIF block that holds the orientation alone.
std::string withOrientation(const std::string& jpeg, int number) {
    std::string block("Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0", 25);
    block.push_back(static_cast<char>(number));
    block.append(6, '\0');
    const auto size = static_cast<uint16_t>(block.size() + 2);
    std::string app1("\xFF\xE1", 2);
    app1.push_back(static_cast<char>(size >> 8));
    app1.push_back(static_cast<char>(size & 0xFF));
    return jpeg.substr(0, 2) + app1 + block + jpeg.substr(2);
}

/// The bytes of an MP4 file whose first track's display matrix has these values of a, b, c and d, each times
/// `unit` of 1/65536.
std::string withMatrix(std::string movie, const int* turn, int unit) {
    // Behind the name: version, flags, times, number, length, layer and volume are 40 bytes; u and v follow b
    // and d.
    const size_t header = movie.find("tkhd");
    EXPECT_NE(header, std::string::npos);
    constexpr size_t places[] = {0, 4, 12, 16};
    for (size_t i = 0; i < 4; ++i)
        movie.replace(header + 44 + places[i], 4, bigEndian(static_cast<uint32_t>(turn[i] * unit)));
    return movie;
}

/// Draws a picture with its top left quarter red, the top right one green and the rest blue.
const std::string kCorners =
    "-f lavfi -i color=red:s=32x24 -f lavfi -i color=lime:s=32x24 -f lavfi -i color=blue:s=64x24 "
    "-filter_complex '[0][1]hstack[t];[t][2]vstack' ";

/// Expects what `kCorners` drew where EXIF's orientation `number` says that it is shown.
void expectUpright(const std::string& path, int number) {
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, path + ", orientation " + std::to_string(number));
    enum Corner { topLeft, topRight, bottomLeft, bottomRight };
    constexpr Corner red[] = {topLeft, topRight, bottomRight, bottomLeft,
                              topLeft, topRight, bottomRight, bottomLeft};
    constexpr Corner green[] = {topRight,   topLeft,     bottomLeft, bottomRight,
                                bottomLeft, bottomRight, topRight,   topLeft};
    const MediaInfo info = probe(path);
    EXPECT_EQ(info.orientation, number);
    EXPECT_EQ(info.width, number >= 5 ? 48 : 64);
    EXPECT_EQ(info.height, number >= 5 ? 64 : 48);
    const PictureRef picture = readStill(path);
    const auto at = [&](Corner corner) {
        return pixel(picture, corner == topLeft || corner == bottomLeft ? 4 : picture.width() - 5,
                     corner == topLeft || corner == topRight ? 4 : picture.height() - 5);
    };
    EXPECT_GT(at(red[number - 1])[0], 200);
    EXPECT_LT(at(red[number - 1])[2], 60);
    EXPECT_GT(at(green[number - 1])[1], 200);
}

}  // namespace

TEST(ProbeTest, WhatIsNoFileIsRefusedAsUnreadable) {
    const TempDir dir;
    writeFile(dir / "empty.mp4", "");
    ASSERT_EQ(mkfifo((dir / "fifo.mp4").c_str(), 0600), 0);
    for (const std::string& path : {dir / "missing.mp4", dir / "empty.mp4", dir / "fifo.mp4", dir.path(),
                                    dir / "empty.mp4/below.mp4", std::string("/dev/full")})
        EXPECT_EQ(failureOf([&] { probe(path); }, path), MediaErrorCode::unreadable) << path;
}

TEST(ProbeTest, WhatHoldsNoMediaIsRefusedAsUndecodable) {
    const TempDir dir;
    std::string text;
    for (int i = 0; i < 200; ++i) text += "This is a letter to a friend, line " + std::to_string(i) + ".\n";
    writeFile(dir / "letter.mp4", text);
    writeFile(dir / "letter.png", text);
    writeFile(dir / "letter.txt", text);
    writeFile(dir / "zeros.mov", std::string(100000, '\0'));
    writeFile(dir / "list.mp4", "ffconcat version 1.0\nfile letter.txt\n");
    writeFile(dir / "list.m3u8", "#EXTM3U\n#EXTINF:1,\nletter.mp4\n");
    for (const char* name : {"letter.mp4", "letter.png", "letter.txt", "zeros.mov", "list.mp4", "list.m3u8"})
        EXPECT_EQ(failureOf([&] { probe(dir / name); }, dir / name), MediaErrorCode::undecodable) << name;
}

TEST(ProbeTest, SoundAloneIsRefusedAsNoVideoEvenWithACover) {
    const TempDir dir;
    ffmpeg("-f lavfi -i sine=d=1 " + dir / "tone.wav");
    ffmpeg("-f lavfi -i color=red:s=64x64 -frames:v 1 " + dir / "cover.png");
    ffmpeg("-f lavfi -i sine=d=1 -i " + dir / "cover.png" +
           " -map 0 -map 1 -c:a aac -c:v copy -disposition:v attached_pic " + dir / "song.m4a");
    for (const char* name : {"tone.wav", "song.m4a"})
        EXPECT_EQ(failureOf([&] { probe(dir / name); }, dir / name), MediaErrorCode::noVideo) << name;
}

TEST(ProbeTest, AbsurdDimensionsAreRefusedInWords) {
    const TempDir dir;
    ffmpeg("-f lavfi -i color=red:s=64x64 -frames:v 1 " + dir / "small.png");
    std::string png = readFile(dir / "small.png");
    ASSERT_GT(png.size(), 33U);
    const std::string header =
        png.substr(12, 4) + bigEndian(400'000) + bigEndian(300'000) + png.substr(24, 5);
    png.replace(12, 17, header);
    png.replace(29, 4, bigEndian(crc(header)));
    writeFile(dir / "huge.png", png);
    EXPECT_EQ(failureOf([&] { probe(dir / "huge.png"); }, dir / "huge.png"), MediaErrorCode::undecodable);
}

TEST(ProbeTest, FactsOfAClipAreTold) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc=s=96x64:r=30000/1001:d=1 -f lavfi -i sine=r=44100:d=1 -c:v libx264 -c:a aac -ac "
        "2 " +
        dir / "clip.mp4");
    const MediaInfo info = probe(dir / "clip.mp4");
    EXPECT_EQ(info.kind, MediaKind::clip);
    EXPECT_EQ(info.width, 96);
    EXPECT_EQ(info.height, 64);
    EXPECT_EQ(info.rate, (FrameRate{30000, 1001}));
    EXPECT_EQ(info.frameCount, 30);
    EXPECT_NEAR(info.seconds, 1.001, 0.001);
    EXPECT_TRUE(info.hasAudio);
    EXPECT_EQ(info.sampleRate, 44100);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.fields, FieldOrder::progressive);
    EXPECT_EQ(info.videoCodec, "h264");
    EXPECT_FALSE(info.hasAlpha);
}

TEST(ProbeTest, AMovingKindOfPictureWithASingleOneIsAStill) {
    const TempDir dir;
    for (const char* name : {"one.gif", "one.apng"}) {
        ffmpeg(std::string("-f lavfi -i testsrc2=s=64x48:r=25 -frames:v 1 -plays 0 ") + dir / name);
        const MediaInfo info = probe(dir / name);
        EXPECT_EQ(info.kind, MediaKind::still) << name;
        EXPECT_EQ(info.frameCount, 1) << name;
        StillSettings settings;
        settings.width = 64;
        settings.height = 48;
        EXPECT_TRUE(readStill(dir / name, settings)) << name;
    }
    for (const char* name : {"two.gif", "two.apng"}) {
        ffmpeg(std::string("-f lavfi -i testsrc2=s=64x48:r=25 -frames:v 2 ") + dir / name);
        EXPECT_EQ(probe(dir / name).kind, MediaKind::clip) << name;
        EXPECT_GE(Reader::open(dir / name, {}).frameCount(), 2) << name;
    }
}

TEST(ProbeTest, PixelAspectWidensTheDisplaySize) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc=s=80x64:d=0.2 -vf setsar=64/45 -c:v libx264 " + dir / "wide.mp4");
    const MediaInfo info = probe(dir / "wide.mp4");
    EXPECT_EQ(info.codedWidth, 80);
    EXPECT_EQ(info.width, 114);
    EXPECT_EQ(info.height, 64);
    EXPECT_EQ(info.pixelAspect, (FrameRate{64, 45}));
}

TEST(ProbeTest, RotationMetadataTurnsThePictureUpright) {
    const TempDir dir;
    // Stored: the left half red. Where the red half is after turning tells the turn.
    ffmpeg(
        "-f lavfi -i color=red:s=32x48:d=0.2 -f lavfi -i color=blue:s=32x48:d=0.2 -filter_complex hstack "
        "-c:v libx264 "
        "-qp 1 " +
        dir / "flat.mp4");
    struct Turn {
        int degrees, width, height, redX, redY;
    };
    for (const Turn turn : {Turn{0, 64, 48, 8, 24}, Turn{90, 48, 64, 24, 8}, Turn{180, 64, 48, 56, 24},
                            Turn{270, 48, 64, 24, 56}}) {
        const std::string path = dir / ("turned" + std::to_string(turn.degrees) + ".mp4");
        ffmpeg("-i " + dir / "flat.mp4" +
               " -c copy -metadata:s:v rotate=" + std::to_string((360 - turn.degrees) % 360) + " " + path);
        const MediaInfo info = probe(path);
        EXPECT_EQ(info.width, turn.width) << turn.degrees;
        EXPECT_EQ(info.height, turn.height) << turn.degrees;
        const PictureRef picture = readStill(path);
        const Rgb red = pixel(picture, turn.redX, turn.redY);
        EXPECT_GT(red[0], 200) << turn.degrees;
        EXPECT_LT(red[2], 60) << turn.degrees;
    }
}

TEST(ProbeTest, AllEightExifOrientationsAreShownUpright) {
    const TempDir dir;
    ffmpeg(kCorners + "-frames:v 1 -q:v 1 " + dir / "plain.jpg");
    const std::string jpeg = readFile(dir / "plain.jpg");
    for (int number = 1; number <= 8; ++number) {
        const std::string path = dir / ("exif" + std::to_string(number) + ".jpg");
        writeFile(path, withOrientation(jpeg, number));
        EXPECT_EQ(probe(path).kind, MediaKind::still);
        expectUpright(path, number);
    }
}

TEST(ProbeTest, AllEightDisplayMatricesOfAMovieAreShownUpright) {
    const TempDir dir;
    ffmpeg(kCorners + "-frames:v 2 -c:v libx264 -qp 1 " + dir / "plain.mp4");
    const std::string movie = readFile(dir / "plain.mp4");
    // a, b, c and d of x' = a x + c y, y' = b x + d y, by the orientation they make upright.
    constexpr int turns[][4] = {{1, 0, 0, 1}, {-1, 0, 0, 1}, {-1, 0, 0, -1}, {1, 0, 0, -1},
                                {0, 1, 1, 0}, {0, 1, -1, 0}, {0, -1, -1, 0}, {0, -1, 1, 0}};
    for (int number = 1; number <= 8; ++number) {
        const std::string path = dir / ("matrix" + std::to_string(number) + ".mp4");
        writeFile(path, withMatrix(movie, turns[number - 1], 65536));
        expectUpright(path, number);
    }
    // Pictures may be scaled by the matrix as well: the turn counts alone.
    writeFile(dir / "large.mp4", withMatrix(movie, turns[5], 3 * 65536));
    expectUpright(dir / "large.mp4", 6);
}

TEST(ProbeTest, ASlantedDisplayMatrixCountsAsTheNearestRightAngle) {
    const TempDir dir;
    ffmpeg(kCorners + "-frames:v 2 -c:v libx264 -qp 1 " + dir / "plain.mp4");
    const std::string movie = readFile(dir / "plain.mp4");
    // Five parts of twelve by twelve of thirteen: about 23 and 67 degrees.
    constexpr int slanted[][5] = {{12, 5, -5, 12, 1},   {5, 12, -12, 5, 6},   {-12, -5, 5, -12, 3},
                                  {-5, -12, 12, -5, 8}, {-12, 5, 5, 12, 2},   {12, 5, 5, -12, 4},
                                  {5, 12, 12, -5, 5},   {-5, -12, -12, 5, 7}, {0, 0, 0, 0, 1},
                                  {12, 5, 24, 10, 1}};
    for (const auto& turn : slanted) {
        writeFile(dir / "slanted.mp4", withMatrix(movie, turn, 65536 / 13));
        expectUpright(dir / "slanted.mp4", turn[4]);
    }
}

TEST(ProbeTest, ARaisedFlagEndsAtOnce) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc=s=64x48:d=0.2 " + dir / "clip.mp4");
    const std::atomic<bool> flag{true};
    EXPECT_EQ(failureOf([&] { probe(dir / "clip.mp4", &flag); }, "clip.mp4"), MediaErrorCode::cancelled);
}

}  // namespace tumblewash::test
