// Inputs that become others while they are read: the one that was opened is read to its end, and one that was
// rewritten in place is refused in words. Never a stream that an earlier look found and that is not there.
#include <filesystem>
#include <functional>

#include "media/detail/Sound.h"
#include "media/detail/Source.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

// The picture is stream 1 here and the sound stream 0; elsewhere there is no stream 1, or the kinds change places.
void makeInputs(const TempDir& dir) {
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -map 1 -map 0 -c:v mpeg4 -c:a aac " +
           dir / "both.mkv");
    ffmpeg("-f lavfi -i sine=d=1 -c:a aac " + dir / "sound.mkv");
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1 -map 0 -map 1 -c:v mpeg4 -c:a aac " +
           dir / "turned.mkv");
    ffmpeg("-f lavfi -i testsrc2=s=96x80:r=25:d=2 -c:v mpeg4 " + dir / "other.mkv");
}

const char* const kOthers[] = {"sound.mkv", "turned.mkv", "other.mkv"};

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
        openSound(facts, 48000, nullptr)->read(samples.data(), 4800);
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
        for (const auto& open :
             {std::function<void()>([&] { measureExtent(facts, 1, nullptr); }),
              std::function<void()>([&] { openSource(facts, 1, nullptr); }),
              std::function<void()>([&] { openSound(facts, 48000, nullptr); })})
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
            EXPECT_EQ(failureOf([&] { openSound(facts, 48000, nullptr); }, other), MediaErrorCode::unreadable);
        }
    }
    for (const int index : {-1, 2, 1000}) {
        ProbeDetail facts = probeDetail(dir / "both.mkv", nullptr);
        facts.videoStream = facts.audioStream = index;
        EXPECT_EQ(failureOf([&] { openSource(facts, 1, nullptr); }, "both.mkv"), MediaErrorCode::unreadable);
    }
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
