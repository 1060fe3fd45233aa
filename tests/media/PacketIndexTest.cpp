#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/PacketIndex.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::IndexedPacket;
using media::PacketIndex;
using media::PacketKind;
using media::PacketRange;
using testing::HasSubstr;

namespace {

/// Two seconds at 25 pictures a second, encoded as `coding` says.
std::shared_ptr<const PacketIndex> indexOf(const TempDir& folder, const std::string& name,
                                           const std::string& coding, const std::string& filter = "null") {
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -t 2 -vf " + filter +
           " -fps_mode passthrough -pix_fmt yuv420p -c:v libx264 -preset veryfast -x264-params scenecut=0:" +
           coding + " " + folder / name);
    return PacketIndex::read(folder / name);
}

std::vector<int> entriesOf(const PacketIndex& index) {
    std::vector<int> out;
    for (const IndexedPacket& packet : index.packets())
        if (packet.kind != PacketKind::other) out.push_back(packet.picture);
    return out;
}

TEST(PacketIndexTest, CopiesBeginAtARefreshAndEndWhereNothingIsMissing) {
    const TempDir folder;
    for (const char* name : {"a.mp4", "a.mov", "a.mkv", "a.ts"}) {
        const auto index = indexOf(folder, name, "keyint=20:bframes=3:b-pyramid=normal");
        EXPECT_EQ(index->trouble(), "") << name;
        EXPECT_EQ(index->pictures(), 50) << name;
        EXPECT_THAT(entriesOf(*index), testing::ElementsAre(0, 20, 40)) << name;
        EXPECT_EQ(index->copyable(0, 50), (PacketRange{0, 50, 0, 50})) << name;
        const auto tail = index->copyable(1, 50);
        ASSERT_TRUE(tail) << name;
        EXPECT_EQ(tail->firstPicture, 20);
        EXPECT_EQ(tail->pictures, 30);
        EXPECT_FALSE(index->copyable(41, 50)) << name;
        for (int end = 1; end <= 50; ++end) {
            const auto head = index->copyable(0, end);
            ASSERT_TRUE(head) << end;
            EXPECT_LE(head->pictures, end);
            EXPECT_GT(head->pictures, end - 6);
            // The packets are those of the pictures, and no others.
            for (std::int64_t i = 0; i < head->endPacket; ++i)
                EXPECT_LT(index->packets()[static_cast<std::size_t>(i)].picture, head->pictures);
            EXPECT_EQ(head->endPacket, head->pictures);
            EXPECT_LE(index->lag(*head), 2);
        }
    }
}

TEST(PacketIndexTest, PicturesThatOnlyRecoverAreNoEntries) {
    const TempDir folder;
    const auto index = indexOf(folder, "open.mp4", "keyint=20:open-gop=1:bframes=3");
    EXPECT_EQ(index->trouble(), "");
    EXPECT_THAT(entriesOf(*index), testing::ElementsAre(0));
    EXPECT_FALSE(index->copyable(1, 50));
}

TEST(PacketIndexTest, WhatForbidsCopiesIsTold) {
    const TempDir folder;
    EXPECT_THAT(
        indexOf(folder, "gap.mp4", "keyint=20", "\"setpts='if(gte(N,20),PTS+4/25/TB,PTS)'\"")->trouble(),
        HasSubstr("has a varying frame rate (frame 19 lasts 200 ms)"));
    EXPECT_THAT(indexOf(folder, "fields.mp4", "keyint=20:tff=1")->trouble(),
                HasSubstr("is coded for interlaced pictures"));
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -t 1 -c:v mpeg4 " + folder / "old.mp4");
    EXPECT_THAT(PacketIndex::read(folder / "old.mp4")->trouble(), HasSubstr("is mpeg4, which is not copied"));
    EXPECT_THAT(PacketIndex::read("pattern:city?seconds=1")->trouble(), HasSubstr("is drawn here"));
    EXPECT_EQ(failureOf([&] { PacketIndex::read(folder / "none.mp4"); }, "none.mp4"),
              media::MediaErrorCode::unreadable);
}

TEST(PacketIndexTest, AMissingPictureIsToldWhereTimesCountPictures) {
    const TempDir folder;
    const auto trouble = [&](const std::string& filter) {
        ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -t 2 -vf " + filter +
               " -fps_mode passthrough -pix_fmt yuvj420p -c:v mjpeg " + folder / "a.avi");
        return PacketIndex::read(folder / "a.avi")->trouble();
    };
    EXPECT_EQ(trouble("null"), "");
    EXPECT_THAT(trouble("\"select='not(eq(n,7))'\""),
                HasSubstr("has a varying frame rate (frame 6 lasts 80 ms)"));
}

/// Four bytes, the highest first.
std::string fourBytes(uint32_t value) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift & 255));
    return out;
}

TEST(PacketIndexTest, FramesThatAnEditListHidesInTheMiddleForbidCopies) {
    const TempDir folder;
    const std::string path = folder / "edited.mp4";
    ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=25 -t 3 -pix_fmt yuv420p -c:v libx264 -x264-params "
        "keyint=250:bframes=2 " +
        path);
    EXPECT_EQ(PacketIndex::read(path)->trouble(), "");
    std::string bytes = readFile(path);
    const auto number = [&](size_t at) {
        uint32_t value = 0;
        for (size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
        return value;
    };
    // Version and flags, how many edits, then length, first moment and speed of each: one more of them.
    const size_t list = bytes.find("elst");
    ASSERT_NE(list, std::string::npos);
    ASSERT_EQ(number(list + 8), 1U);
    const uint32_t start = number(list + 16);
    const uint32_t second = number(bytes.find("mdhd") + 16);
    const std::string two = fourBytes(2) + fourBytes(1000) + fourBytes(start) + fourBytes(0x10000) +
                            fourBytes(1000) + fourBytes(start + 3 * second / 2) + fourBytes(0x10000);
    bytes.replace(list + 8, 16, two);
    for (const char* box : {"elst", "edts", "trak", "moov"}) {
        const size_t at = bytes.find(box) - 4;
        bytes.replace(at, 4, fourBytes(number(at) + 12));
    }
    writeFile(path, bytes);
    EXPECT_THAT(PacketIndex::read(path)->trouble(), HasSubstr("hides frames by an edit list in the middle"));
}

}  // namespace
}  // namespace tumblewash::test
