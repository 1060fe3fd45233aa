// Clips and wishes that cannot be copied: one sentence says why, nothing is left, and the same join is
// rendered in full where copies were only wished for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/detail/Bits.h"
#include "media/detail/NalUnits.h"
#include "tests/app/CopyRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::copiedJoin;
using copies::isToldAndRendered;
using copies::x264;
using copies::x265;
using testing::HasSubstr;

/// A pair of clips that cannot be copied, and the sentence that says so.
struct Refused {
    const char* name;
    std::string first, second;
    const char* ending;
    std::vector<std::string> more;
    const char* sentence;
};

class CopyRefusalTest : public testing::TestWithParam<Refused> {};

TEST_P(CopyRefusalTest, IsToldInOneSentenceAndRenderedInFull) {
    const Refused& row = GetParam();
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 1.2, row.first);
    const std::string b = clip(shop, "B.mp4", 1, 1.2, row.second);
    std::vector<std::string> words{a, b};
    words.insert(words.end(), row.more.begin(), row.more.end());
    isToldAndRendered(shop, words, std::string("out") + row.ending, row.sentence);
}

const std::string kPlain = x264("keyint=10");
const Refused kRefused[] = {
    {"Codec", kPlain, "-c:v mpeg4", ".mp4", {}, "B.mp4 is mpeg4 and "},
    {"Size", kPlain, kPlain + " -vf scale=160:96,setsar=1", ".mp4", {}, "B.mp4 is 160x96 and "},
    {"Shape",
     kPlain,
     kPlain + " -vf setsar=2/1",
     ".mp4",
     {},
     "B.mp4 has pixels of 2:1: its pictures would have to be scaled"},
    {"Rate",
     kPlain,
     kPlain + " -r 30",
     ".mp4",
     {},
     "B.mp4 has 30 fps: copied frames cannot be moved onto 25 fps"},
    {"Uneven",
     kPlain,
     kPlain + " -vf \"setpts='if(gte(N,20),PTS+4/25/TB,PTS)'\" -fps_mode passthrough",
     ".mp4",
     {},
     "B.mp4 has a varying frame rate (frame 19 lasts 200 ms): copied frames cannot be moved onto 25 fps"},
    {"Colours",
     kPlain + " -colorspace bt709",
     kPlain + " -colorspace smpte170m",
     ".mp4",
     {},
     "B.mp4 is BT.601 and "},
    {"Interlaced",
     kPlain,
     "-c:v libx264 -flags +ildct+ilme -x264-params keyint=10:tff=1 -vf setfield=tff",
     ".mp4",
     {},
     "B.mp4 is interlaced: joining it means deinterlacing every frame"},
    {"Range",
     kPlain,
     kPlain + " -vf scale=out_range=full -color_range pc",
     ".mp4",
     {},
     "B.mp4 has colours of the full range"},
    {"Profile",
     kPlain,
     "-c:v libx264 -pix_fmt yuv444p",
     ".mp4",
     {},
     "B.mp4 has a profile of H.264 that the encoder of the seams does not write"},
    {"Keys",
     x264("keyint=250"),
     x264("keyint=250"),
     ".mp4",
     {"--opening", "wash-in"},
     "has no key frame after 0.2 s that can start a copy: all of it is encoded"},
    {"Reordering",
     kPlain,
     x264("keyint=10:bframes=0"),
     ".mp4",
     {},
     "has none: some decoders lose two frames where they meet"},
    {"Option", kPlain, kPlain, ".mp4", {"--size", "64x48"}, "A.mp4 is 128x96 and the result 64x48"},
    {"OneOfTwoCodecs", kPlain, x265("keyint=10"), ".mp4", {}, "B.mp4 is HEVC and "},
    {"TenBits",
     x265("keyint=10") + " -pix_fmt yuv420p10le",
     x265("keyint=10"),
     ".mp4",
     {},
     "B.mp4 holds yuv420p pictures and "},
    {"NoCodecOfOurs", "-c:v mpeg4", "-c:v mpeg4", ".mp4", {}, "A.mp4 is mpeg4, which is not copied"},
    {"Container",
     kPlain,
     kPlain,
     ".webm",
     {},
     "A.mp4 is H.264, which goes into mp4, mov, mkv files and not into .webm"},
    {"OtherCodec", kPlain, kPlain, ".mp4", {"--codec", "hevc"}, "A.mp4 is H.264 and --codec asks for HEVC"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, CopyRefusalTest, testing::ValuesIn(test::sampledRows(kRefused, 6)),
                         [](const testing::TestParamInfo<Refused>& row) {
                             return std::string(row.param.name);
                         });

TEST(CopyRefusalsTest, PhotosBlackAndPicturesAreNothingToCopy) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 1, kPlain);
    const RunResult black = shop.run(
        {"join", a, "black:1s", "--duration", "6f", "-o", shop.file("out.mp4"), "--copy-bodies=always"});
    EXPECT_EQ(black.code, 2);
    EXPECT_THAT(black.err, HasSubstr("black is drawn here and has no packets to copy"));
    const RunResult drawn = shop.run({"join", a, scene("city", 1, "128x96"), "--duration", "6f", "-o",
                                      shop.file("out.mp4"), "--copy-bodies=always"});
    EXPECT_EQ(drawn.code, 2);
    EXPECT_THAT(drawn.err, HasSubstr("is drawn here and has no packets to copy"));
    const RunResult sums = shop.run({"join", a, a, "--duration", "6f", "-o", "md5:", "--copy-bodies=always"});
    EXPECT_EQ(sums.code, 2);
    EXPECT_THAT(sums.err, HasSubstr("is not a movie"));
}

TEST(CopyRefusalsTest, TurnedClipsCannotBeCopied) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 1, kPlain);
    const std::string turned = shop.file("turned.mp4");
    ASSERT_EQ(shell("ffmpeg -v error -y -i " + a + " -c copy -metadata:s:v rotate=90 " + turned), 0);
    const RunResult result =
        shop.run({"join", a, turned, "--duration", "6f", "-o", shop.file("out.mp4"), "--copy-bodies=always"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err,
                HasSubstr("turned.mp4 is shown rotated by 90 degrees: copied packets cannot be turned"));
}

TEST(CopyRefusalsTest, PicturesWithHdrDataOfTheirOwnAreEncoded) {
    const Workshop shop;
    const std::string coding =
        "-pix_fmt yuv420p10le -color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc " +
        x265("keyint=10:bframes=0:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc");
    const std::string plain = clip(shop, "plain.hevc", 0, 1, coding + " -f hevc");
    // HDR10+ (SMPTE ST 2094-40) as a message of ITU-T T.35: one window, and nothing said of it.
    media::BitWriter message;
    message.bits(39 << 9 | 1, 16);
    message.bits(4, 8);
    message.bits(22, 8);
    message.bits(0xB5003C, 24);
    message.bits(0x00010401, 32);
    message.bits(1, 2);
    message.bits(400, 27);
    message.bit(false);
    for (int i = 0; i < 4; ++i) message.bits(1000, 17);
    message.bits(0, 4 + 10 + 3);
    message.bits(0, 5);
    message.trailing();
    const media::Bytes unit = media::escaped(message.take());
    const std::string stream = bytesOf(plain);
    std::string dynamic;
    const auto units =
        media::splitNalUnits({reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size()}, 0);
    ASSERT_TRUE(units);
    const auto add = [&](media::ByteView one) {
        dynamic.append("\0\0\0\1", 4).append(reinterpret_cast<const char*>(one.data()), one.size());
    };
    for (const media::ByteView one : *units) {
        if ((one[0] >> 1) < 32) add(unit);
        add(one);
    }
    writeBytes(shop.file("dynamic.hevc"), dynamic);
    for (const char* name : {"plain", "dynamic"})
        ASSERT_EQ(shell("ffmpeg -v fatal -y -r 25 -i " + shop.file(name) + ".hevc -c copy " +
                        shop.file(name) + ".mp4"),
                  0);
    const RunResult result = shop.run({"join", shop.file("plain.mp4"), shop.file("dynamic.mp4"), "--duration",
                                       "6f", "-o", shop.file("out.mp4"), "--copy-bodies=always"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("dynamic.mp4 carries HDR metadata per picture"));
    const std::string same = shop.file("plain.mp4");
    EXPECT_FALSE(
        copiedJoin(shop, {"join", same, same, "--duration", "6f"}, {same, same}, shop.file("out.mp4"))
            .is_null());
}

TEST(CopyRefusalsTest, AClipThatChangesItsCodingIsEncoded) {
    const Workshop shop;
    const std::string a = clip(shop, "a.ts", 0, 1, x264("keyint=10:repeat-headers=1"));
    const std::string b = clip(shop, "b.ts", 0, 1, x264("keyint=10:repeat-headers=1:cabac=0:ref=1"));
    writeBytes(shop.file("list.txt"), "file " + a + "\nfile " + b + "\n");
    ASSERT_EQ(shell("ffmpeg -v error -y -f concat -safe 0 -i " + shop.file("list.txt") + " -c copy " +
                    shop.file("c.ts")),
              0);
    const RunResult result = shop.run({"join", a, shop.file("c.ts"), "--duration", "6f", "-o",
                                       shop.file("out.mp4"), "--copy-bodies=always"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("c.ts changes its coding parameters"));
    // Headers that are repeated and stay the same are no change.
    const nlohmann::json report =
        copiedJoin(shop, {"join", a, a, "--duration", "6f"}, {a, a}, shop.file("ts.mp4"));
    EXPECT_FALSE(report.is_null());
}

}  // namespace
}  // namespace tumblewash::app
