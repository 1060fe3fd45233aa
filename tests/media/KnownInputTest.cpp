// Inputs that are opened again by what an earlier look found out: the same pictures and sound, and no other
// file under the name.
#include <filesystem>

#include "media/KnownInput.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::FrameRate;
using media::KnownInput;
using media::MediaErrorCode;
using media::Reader;
using media::ReaderSettings;

namespace {

ReaderSettings small() {
    ReaderSettings settings;
    settings.width = 48;
    settings.height = 32;
    settings.threads = 1;
    return settings;
}

void expectSame(const std::string& file, const ReaderSettings& settings) {
    Reader plain = Reader::open(file, settings);
    const KnownInput known = KnownInput::of(file, settings);
    EXPECT_EQ(known.frameCount(settings), plain.frameCount()) << file;
    EXPECT_EQ(known.info().identity, plain.info().identity) << file;
    // Twice: what is known stays.
    for (int i = 0; i < 2; ++i) {
        Reader again = known.open(settings);
        EXPECT_EQ(again.frameCount(), plain.frameCount()) << file;
        EXPECT_EQ(again.warnings(), plain.warnings()) << file;
        plain.seek(0);
        EXPECT_EQ(leftChannel(again, 2400), leftChannel(plain, 2400)) << file;
        EXPECT_EQ(allPictures(again), allPictures(plain)) << file;
    }
}

}  // namespace

TEST(KnownInputTest, EveryKindOfInputIsReadAgainAsTheFirstTime) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -c:v mpeg4 -bf 2 -c:a aac " +
           dir / "clip.mp4");
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=30:d=0.4 -c:v mpeg2video " + dir / "clip.ts");
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -frames:v 1 " + dir / "photo.png");
    ffmpeg("-f lavfi -i testsrc2=s=32x24:r=5:d=0.6 -c:v libwebp_anim " + dir / "moving.webp");
    ReaderSettings settings = small();
    settings.stillFrames = 3;
    for (const char* name : {"clip.mp4", "clip.ts", "photo.png", "moving.webp"})
        expectSame(dir / name, settings);
    expectSame("pattern:city?size=64x48&seconds=1", settings);
    settings.rate = FrameRate{30, 1};
    expectSame(dir / "clip.mp4", settings);
}

TEST(KnownInputTest, WhatIsMissingAtTheEndIsToldByBoth) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=2 -c:v mjpeg -f avi " + dir / "whole.avi");
    const std::string whole = readFile(dir / "whole.avi");
    writeFile(dir / "cut.avi", whole.substr(0, whole.size() / 2));
    const KnownInput known = KnownInput::of(dir / "cut.avi", small());
    ASSERT_NE(known.warning(), "");
    EXPECT_THAT(known.open(small()).warnings(), testing::Contains(known.warning()));
}

TEST(KnownInputTest, AnotherFileOfTheNameIsRefused) {
    const TempDir dir;
    const std::string file = dir / "clip.mp4";
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -c:v mpeg4 " + file);
    const KnownInput known = KnownInput::of(file, small());
    std::filesystem::copy_file(file, dir / "next.mp4");
    std::filesystem::rename(dir / "next.mp4", file);
    EXPECT_EQ(failureOf([&] { known.open(small()); }, "clip.mp4"), MediaErrorCode::unreadable);
    std::filesystem::remove(file);
    EXPECT_EQ(failureOf([&] { known.open(small()); }, "clip.mp4"), MediaErrorCode::unreadable);
}

TEST(KnownInputTest, WithoutSoundThePicturesAreTheSame) {
    const TempDir dir;
    const std::string file = dir / "clip.mp4";
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -c:v mpeg4 -c:a aac " + file);
    ReaderSettings mute = small();
    mute.sound = false;
    Reader quiet = Reader::open(file, mute);
    Reader plain = Reader::open(file, small());
    EXPECT_TRUE(quiet.info().hasAudio);
    EXPECT_EQ(allPictures(quiet), allPictures(plain));
}

}  // namespace tumblewash::test
