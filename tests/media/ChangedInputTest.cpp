// Inputs that become others while they are read: the one that was opened is read to its end, and one that was
// rewritten in place is refused in words. Never a stream that an earlier look found and that is not there.
#include <filesystem>
#include <functional>

#include "media/detail/ExifOrientation.h"
#include "media/detail/GainMap.h"
#include "media/detail/HeifItems.h"
#include "media/detail/HeifPicture.h"
#include "media/detail/Sound.h"
#include "media/detail/Source.h"
#include "media/detail/WebpAnimation.h"
#include "tests/media/HeifFiles.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

// The picture is stream 1 here and the sound stream 0; elsewhere there is no stream 1, or the kinds change
// places.
void makeInputs(const TempDir& dir) {
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -map 1 -map 0 -c:v mpeg4 -c:a aac " +
           dir / "both.mkv");
    ffmpeg("-f lavfi -i sine=d=1 -c:a aac " + dir / "sound.mkv");
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -map 0 -map 1 -c:v mpeg4 -c:a aac " +
           dir / "turned.mkv");
    ffmpeg("-f lavfi -i testsrc2=s=96x80:r=25:d=2 -c:v mpeg4 " + dir / "other.mkv");
}

const char* const kOthers[] = {"sound.mkv", "turned.mkv", "other.mkv"};

Codes grey(int level) {
    return codes(32, 24, 3, 8, [=](int, int, int) { return level; });
}

/// Another file under the name; who has the first one open still has it.
void replace(const std::string& path, const std::string& bytes) {
    writeFile(path + ".next", bytes);
    std::filesystem::rename(path + ".next", path);
}

/// How many pictures, and a middle sample of the last.
std::pair<int, int> shown(StreamSource& source) {
    int count = 0, level = -1;
    for (TimedFrame timed = source.next(); timed.frame; timed = source.next(), ++count)
        level = timed.frame->data[0][12 * timed.frame->linesize[0] + 4 * 16 + 1];
    return {count, level};
}

}  // namespace

TEST(ChangedInputTest, WhatIsPutUnderTheNameIsNeverLookedAt) {
    const TempDir dir;
    makeInputs(dir);
    Reader whole = Reader::open(dir / "both.mkv");
    const std::vector<std::string> pictures = allPictures(whole);
    for (const char* other : kOthers) {
        std::filesystem::copy_file(dir / "both.mkv", dir / "in.mkv");
        const ProbeDetail facts = probeDetail(dir / "in.mkv", nullptr);
        std::filesystem::copy_file(dir / other, dir / "next.mkv");
        std::filesystem::rename(dir / "next.mkv", dir / "in.mkv");
        const Extent extent = measureExtent(facts, 1, nullptr);
        EXPECT_EQ(extent.warning, "") << other;
        const auto source = openSource(facts, 1, nullptr);
        size_t count = 0;
        while (source->next().frame) ++count;
        EXPECT_EQ(count, pictures.size()) << other;
        std::vector<float> samples(2 * 4800);
        openSound(facts, {}, nullptr)->read(samples.data(), 4800);
        EXPECT_NE(samples[4000], 0.0F) << other;
        std::filesystem::remove(dir / "in.mkv");
    }
}

TEST(ChangedInputTest, AFileRewrittenInPlaceIsRefusedAtEveryOpening) {
    const TempDir dir;
    makeInputs(dir);
    for (const char* other : kOthers) {
        writeFile(dir / "in.mkv", readFile(dir / "both.mkv"));
        const ProbeDetail facts = probeDetail(dir / "in.mkv", nullptr);
        writeFile(dir / "in.mkv", readFile(dir / other));
        for (const auto& open : {std::function<void()>([&] { measureExtent(facts, 1, nullptr); }),
                                 std::function<void()>([&] { openSource(facts, 1, nullptr); }),
                                 std::function<void()>([&] { openSound(facts, {}, nullptr); })})
            EXPECT_EQ(failureOf(open, "in.mkv"), MediaErrorCode::unreadable) << other;
    }
}

TEST(ChangedInputTest, StreamsAreCountedAndOfTheirKindEvenWhereSizeAndTimeSayNothing) {
    const TempDir dir;
    makeInputs(dir);
    for (const char* other : kOthers) {
        // As if the change had gone unnoticed: the facts of one file, the bytes of another.
        ProbeDetail facts = probeDetail(dir / "both.mkv", nullptr);
        facts.bytes = std::make_shared<InputBytes>(dir / other);
        const auto refusedOrRead = [&](const auto& work) {
            try {
                work();
                return true;
            } catch (const MediaError& problem) {
                return problem.code() == MediaErrorCode::unreadable;
            }
        };
        const bool turned = std::string(other) == "turned.mkv";
        EXPECT_TRUE(refusedOrRead([&] { measureExtent(facts, 1, nullptr); }));
        EXPECT_EQ(failureOf([&] { openSource(facts, 1, nullptr); }, other), MediaErrorCode::unreadable);
        if (turned || std::string(other) == "other.mkv") {
            EXPECT_EQ(failureOf([&] { openSound(facts, {}, nullptr); }, other), MediaErrorCode::unreadable);
        }
    }
    for (const int index : {-1, 2, 1000}) {
        ProbeDetail facts = probeDetail(dir / "both.mkv", nullptr);
        facts.videoStream = facts.audioStream = index;
        EXPECT_EQ(failureOf([&] { openSource(facts, 1, nullptr); }, "both.mkv"), MediaErrorCode::unreadable);
    }
}

TEST(ChangedInputTest, PhotosAndAnimationsAreReadFromTheFileThatWasOpened) {
    const TempDir dir;
    const std::string photo = dir / "photo", moving = dir / "moving.webp";
    writeFile(photo, heifFile(grey(200)));
    const InputBytes opened(photo);
    replace(photo, "another file altogether, which is no photo");
    EXPECT_EQ(heifKind(opened), HeifKind::picture);
    const StillPicture still = decodeHeif(opened, nullptr);
    EXPECT_NEAR(still.frame->data[0][0], 200, 4);

    ffmpeg("-f lavfi -i testsrc2=s=32x24:r=5:d=0.6 -c:v libwebp_anim -lossless 1 " + moving);
    const ProbeDetail facts = probeDetail(moving, nullptr);
    const std::pair<int, int> before = shown(*openSource(facts, 1, nullptr));
    EXPECT_GT(before.first, 1);
    replace(moving, readFile(photo));
    EXPECT_EQ(shown(*openSource(facts, 1, nullptr)), before);

    writeFile(dir / "a.tiff", tiffFile(grey(90), 6));
    const InputBytes tiff(dir / "a.tiff");
    replace(dir / "a.tiff", tiffFile(grey(90), 3));
    EXPECT_EQ(orientationOfFile(tiff), 6);
}

TEST(ChangedInputTest, PhotosAndAnimationsRewrittenInPlaceAreRefused) {
    const TempDir dir;
    const std::string photo = dir / "photo", moving = dir / "moving.webp";
    writeFile(photo, heifFile(grey(200)));
    const InputBytes opened(photo);
    writeFile(photo, heifFile(grey(90)) + "and more");
    EXPECT_EQ(failureOf([&] { decodeHeif(opened, nullptr); }, "photo"), MediaErrorCode::unreadable);

    ffmpeg("-f lavfi -i testsrc2=s=32x24:r=5:d=0.6 -c:v libwebp_anim " + moving);
    const ProbeDetail facts = probeDetail(moving, nullptr);
    const std::string whole = readFile(moving);
    writeFile(moving, whole.substr(0, whole.size() / 2));
    EXPECT_EQ(failureOf([&] { openSource(facts, 1, nullptr); }, "moving.webp"), MediaErrorCode::unreadable);
    EXPECT_EQ(failureOf([&] { InputBytes(moving).whole(10); }, "moving.webp"), MediaErrorCode::undecodable);
}

TEST(ChangedInputTest, BytesAreReadAsFarAsTheFileGoes) {
    const TempDir dir;
    writeFile(dir / "ten", "0123456789");
    const InputBytes ten(dir / "ten");
    std::array<uint8_t, 4> four{};
    EXPECT_EQ(ten.read(3, four), 4U);
    EXPECT_EQ(four, (std::array<uint8_t, 4>{'3', '4', '5', '6'}));
    EXPECT_EQ(ten.read(8, four), 2U);
    EXPECT_EQ(four, (std::array<uint8_t, 4>{'8', '9', '5', '6'}));
    for (const uint64_t at : {uint64_t{10}, uint64_t{11}, ~uint64_t{0}})
        EXPECT_EQ(ten.read(at, four), 0U) << at;
    EXPECT_EQ(ten.whole(10), (std::vector<uint8_t>{'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'}));
}

TEST(ChangedInputTest, AReaderToldWhichFileItIsTakesNoOther) {
    const TempDir dir;
    makeInputs(dir);
    ReaderSettings settings;
    settings.identity = probe(dir / "both.mkv").identity;
    ASSERT_TRUE(settings.identity);
    EXPECT_EQ(Reader::open(dir / "both.mkv", settings).info().identity, settings.identity);
    std::filesystem::copy_file(dir / "both.mkv", dir / "copy.mkv");
    EXPECT_EQ(failureOf([&] { Reader::open(dir / "copy.mkv", settings); }, "copy.mkv"),
              MediaErrorCode::unreadable);
    EXPECT_EQ(probe("pattern:city").identity, std::nullopt);
}

}  // namespace tumblewash::test
