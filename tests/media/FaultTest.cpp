// Damaged inputs: a clear refusal, or what can be had with a warning. Never a crash, never pictures made up.
#include <algorithm>

#include "tests/media/Support.h"

namespace tumblewash::test {

using media::MediaError;
using media::MediaErrorCode;
using media::PictureRef;
using media::Reader;
using media::ReaderSettings;
using media::readStill;
using media::StillSettings;

namespace {

struct Outcome {
    bool refused = false;
    int64_t pictures = 0;
    int64_t promised = 0;
    std::vector<std::string> warnings;
};

Outcome tryAll(const std::string& path) {
    Outcome out;
    try {
        ReaderSettings settings;
        settings.width = 48;
        settings.height = 32;
        Reader reader = Reader::open(path, settings);
        out.promised = reader.frameCount();
        while (const PictureRef picture = reader.readPicture()) {
            EXPECT_EQ(picture.width(), 48);
            ++out.pictures;
        }
        std::vector<float> sound(2 * 48000);
        reader.readSamples(sound.data(), 48000);
        out.warnings = reader.warnings();
    } catch (const MediaError& error) {
        EXPECT_THAT(std::string(error.what()), ::testing::HasSubstr(path));
        EXPECT_THAT(std::string(error.what()), ::testing::Not(::testing::HasSubstr("\n")));
        out.refused = true;
    }
    return out;
}

const std::string kClip = "-f lavfi -i testsrc2=s=64x48:r=25:d=2 -f lavfi -i sine=d=2 ";

}  // namespace

TEST(FaultTest, FilesCutAnywhereAreRefusedOrReadAsFarAsTheyGo) {
    const TempDir dir;
    ffmpeg(kClip + "-c:v libx264 -c:a aac -movflags +faststart " + dir / "c.mp4");
    ffmpeg(kClip + "-c:v libx264 -c:a aac " + dir / "c.mov");
    ffmpeg(kClip + "-c:v libx264 -c:a aac " + dir / "c.mkv");
    ffmpeg(kClip + "-c:v libvpx -deadline realtime -c:a libvorbis " + dir / "c.webm");
    ffmpeg(kClip + "-c:v mpeg2video -c:a mp2 " + dir / "c.mpg");
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 " + dir / "c.png");
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 " + dir / "c.jpg");
    for (const char* name : {"c.mp4", "c.mov", "c.mkv", "c.webm", "c.mpg", "c.png", "c.jpg"}) {
        const std::string whole = readFile(dir / name);
        ASSERT_FALSE(tryAll(dir / name).refused) << name;
        for (int part = 1; part < 10; ++part) {
            const std::string path = dir / (std::string("cut") + name);
            writeFile(path, whole.substr(0, whole.size() * static_cast<size_t>(part) / 10));
            const Outcome outcome = tryAll(path);
            EXPECT_LE(outcome.pictures, std::max<int64_t>(50, outcome.promised)) << path << part;
        }
    }
}

TEST(FaultTest, StreamsThatBeginAnywhereAreReadFromThere) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=2 -c:v mpeg2video -bf 2 " + dir / "c.mpg");
    ffmpeg(kClip + "-c:v libx264 -g 12 -c:a aac " + dir / "c.ts");
    for (const char* name : {"c.mpg", "c.ts"}) {
        const std::string whole = readFile(dir / name);
        for (int part = 1; part < 10; ++part) {
            const std::string path = dir / (std::string("from") + name);
            writeFile(path, whole.substr(whole.size() * static_cast<size_t>(part) / 20));
            const Outcome outcome = tryAll(path);
            EXPECT_FALSE(outcome.refused) << name << part;
            EXPECT_GE(outcome.pictures, 10) << name << part;
            EXPECT_LE(outcome.pictures, 50) << name << part;
        }
    }
}

TEST(FaultTest, AClipWhoseEndIsCutOffGivesWhatIsThereOnceAndSaysHowMuchIsMissing) {
    const TempDir dir;
    ffmpeg(kClip + "-c:v libx264 -c:a aac -movflags +faststart " + dir / "whole.mp4");
    ffmpeg(kClip + "-c:v libx264 -g 5 -c:a aac " + dir / "whole.mkv");
    for (const char* name : {"whole.mp4", "whole.mkv"}) {
        const std::string bytes = readFile(dir / name);
        writeFile(dir / (std::string("cut") + name), bytes.substr(0, bytes.size() * 6 / 10));
        const Outcome outcome = tryAll(dir / (std::string("cut") + name));
        ASSERT_FALSE(outcome.refused) << name;
        EXPECT_EQ(outcome.pictures, outcome.promised) << name;
        EXPECT_GT(outcome.pictures, 5) << name;
        EXPECT_LT(outcome.pictures, 45) << name;
        ASSERT_FALSE(outcome.warnings.empty()) << name;
        EXPECT_THAT(outcome.warnings[0], ::testing::ContainsRegex("cut off: .*[0-9]+.*missing")) << name;
    }
    EXPECT_TRUE(tryAll(dir / "whole.mp4").warnings.empty());
}

TEST(FaultTest, AStillThatIsPatchedUpSaysSo) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=320x240 -frames:v 1 -q:v 2 " + dir / "whole.jpg");
    const std::string bytes = readFile(dir / "whole.jpg");
    writeFile(dir / "cut.jpg", bytes.substr(0, bytes.size() / 2));
    EXPECT_TRUE(tryAll(dir / "whole.jpg").warnings.empty());
    const Outcome cut = tryAll(dir / "cut.jpg");
    ASSERT_FALSE(cut.refused);
    ASSERT_EQ(cut.warnings.size(), 1U);
    EXPECT_THAT(cut.warnings[0], ::testing::HasSubstr("damaged or cut off"));
}

TEST(FaultTest, WhatFollowsAWebpPictureNeitherEndsTheProgramNorChangesThePicture) {
    const TempDir dir;
    StillSettings settings;
    settings.width = 48;
    settings.height = 32;
    for (const char* lossless : {"0", "1"}) {
        ffmpeg(std::string("-f lavfi -i testsrc2=s=48x32 -frames:v 1 -lossless ") + lossless + " " +
               dir / "whole.webp");
        const std::string whole = readFile(dir / "whole.webp");
        const std::string pixels = bytesOf(readStill(dir / "whole.webp", settings));
        const std::string canvas("VP8X\x0a\0\0\0\0\0\0\0\x2f\0\0\x1f\0\0", 18);
        const std::string noAlpha("ALPH\0\0\0\0", 8);
        const std::string cutOff("EXIF\xff\0\0\0II", 10);
        for (const std::string& tail :
             {std::string(16, '\xff'), std::string(16, '\0'), canvas, noAlpha + canvas, cutOff,
              "JUNK" + std::string(4, '\xff') + std::string(4, '\0')}) {
            // Behind the file's declared end, and within it.
            writeFile(dir / "tail.webp", whole + tail);
            EXPECT_EQ(bytesOf(readStill(dir / "tail.webp", settings)), pixels) << lossless << tail;
            std::string longer = whole + tail;
            const size_t length = longer.size() - 8;
            for (size_t i = 0; i < 4; ++i) longer[4 + i] = static_cast<char>(length >> (8 * i) & 255);
            writeFile(dir / "tail.webp", longer);
            EXPECT_EQ(bytesOf(readStill(dir / "tail.webp", settings)), pixels) << lossless << tail;
        }
    }
}

TEST(FaultTest, FlippedBitsNeverCrash) {
    const TempDir dir;
    ffmpeg(kClip + "-c:v libx264 -c:a aac -movflags +faststart " + dir / "c.mp4");
    ffmpeg(kClip + "-c:v mpeg2video -c:a mp2 " + dir / "c.mpg");
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 " + dir / "c.png");
    ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 " + dir / "c.jpg");
    int readable = 0;
    for (const char* name : {"c.mp4", "c.mpg", "c.png", "c.jpg"}) {
        const std::string whole = readFile(dir / name);
        for (uint32_t seed = 1; seed <= 12; ++seed) {
            std::string bytes = whole;
            uint32_t state = seed * 2654435761U;
            for (int flip = 0; flip < 30; ++flip) {
                state = state * 1664525U + 1013904223U;
                bytes[state % bytes.size()] =
                    static_cast<char>(bytes[state % bytes.size()] ^ (1 << (state >> 29)));
            }
            const std::string path = dir / (std::string("bad") + name);
            writeFile(path, bytes);
            const Outcome outcome = tryAll(path);
            readable += outcome.refused ? 0 : 1;
            EXPECT_LE(outcome.pictures, 100'000) << path << seed;
        }
    }
    EXPECT_GT(readable, 0);
}

TEST(FaultTest, AStreamThatChangesItsSizeKeepsFillingTheSamePicture) {
    const TempDir dir;
    ffmpeg("-f lavfi -i color=red:s=64x48:r=25:d=0.4 -c:v mpeg2video -f mpegts " + dir / "a.ts");
    ffmpeg("-f lavfi -i color=blue:s=96x80:r=25:d=0.4 -c:v mpeg2video -f mpegts " + dir / "b.ts");
    writeFile(dir / "ab.ts", readFile(dir / "a.ts") + readFile(dir / "b.ts"));
    Reader reader = Reader::open(dir / "ab.ts");
    EXPECT_EQ(reader.info().width, 64);
    PictureRef last;
    int64_t count = 0;
    while (const PictureRef picture = reader.readPicture()) {
        ASSERT_EQ(picture.width(), 64);
        last = picture;
        ++count;
    }
    EXPECT_EQ(count, reader.frameCount());
    EXPECT_GE(count, 19);
    EXPECT_LE(count, 21);
    EXPECT_GT(pixel(last, 60, 40)[2], 200);
}

TEST(FaultTest, AbsurdTimesDoNotMakeAbsurdLengths) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=25:d=1 -vf \"setpts='if(gte(N,12),PTS+3600*24/TB,PTS)'\" -vsync "
        "passthrough -c:v ffv1 " +
        dir / "jump.mkv");
    Reader reader = Reader::open(dir / "jump.mkv");
    EXPECT_LE(reader.frameCount(), 30);
    EXPECT_EQ(static_cast<int64_t>(allPictures(reader).size()), reader.frameCount());
}

TEST(FaultTest, MomentsAtTheEndOfTimeAreMissingOnes) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=2 -c:v mjpeg -f matroska -live 1 -cluster_time_limit 400 " +
           dir / "c.mkv");
    const std::string whole = readFile(dir / "c.mkv");
    // A cluster is a name and two bytes of size, then a checksum of 6 bytes and the cluster's time in 4.
    std::vector<size_t> clusters;
    for (size_t at = 0; (at = whole.find("\x1f\x43\xb6\x75", at)) != std::string::npos; ++at)
        if (whole.substr(at + 12, 2) == "\xe7\x82") clusters.push_back(at + 6);
    ASSERT_GE(clusters.size(), 9U);
    for (const int high : {0x7F, 0x80, 0x3F, 0x10, 0xFF}) {
        std::string broken = whole;
        for (const size_t cluster : {clusters[2], clusters[5], clusters.back()})
            broken.replace(cluster, 10,
                           std::string("\xe7\x88") + static_cast<char>(high) + std::string(7, '\xF0'));
        writeFile(dir / "c.mkv", broken);
        const Outcome outcome = tryAll(dir / "c.mkv");
        EXPECT_FALSE(outcome.refused) << high;
        EXPECT_GE(outcome.pictures, 20) << high;
        EXPECT_LE(outcome.pictures, 100) << high;
    }
}

TEST(FaultTest, AColourSpaceThatNamesNothingIsNotSaid) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=0.2 -c:v prores_ks " + dir / "c.mov");
    std::string movie = readFile(dir / "c.mov");
    const auto firstPicture = [&](char space) {
        size_t frames = 0;
        // A frame's header names its matrix 20 bytes behind the beginning of its mark.
        for (size_t at = 0; (at = movie.find("icpf", at)) != std::string::npos; at += 4, ++frames)
            movie[at + 20] = space;
        EXPECT_EQ(frames, 5U);
        writeFile(dir / "s.mov", movie);
        ReaderSettings settings;
        settings.width = 64;
        settings.height = 48;
        Reader reader = Reader::open(dir / "s.mov", settings);
        return bytesOf(reader.readPicture());
    };
    constexpr char notSaid = 2, bt709 = 1;
    const std::string expected = firstPicture(notSaid);
    EXPECT_NE(firstPicture(bt709), expected);
    EXPECT_EQ(firstPicture('\xF3'), expected);
    EXPECT_EQ(firstPicture('\x0F'), expected);
}

TEST(FaultTest, ARaisedFlagEndsReadingAndPrefetching) {
    const TempDir dir;
    ffmpeg(kClip + "-c:v libx264 -c:a aac " + dir / "c.mp4");
    std::atomic<bool> flag{false};
    ReaderSettings settings;
    settings.cancel = &flag;
    Reader reader = Reader::open(dir / "c.mp4", settings);
    EXPECT_TRUE(reader.readPicture());
    flag = true;
    EXPECT_EQ(failureOf(
                  [&] {
                      for (int i = 0; i < 60; ++i) reader.readPicture();
                  },
                  "c.mp4"),
              MediaErrorCode::cancelled);
}

}  // namespace tumblewash::test
