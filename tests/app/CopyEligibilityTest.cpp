// Clips that cannot be copied for what they are, one for each sentence that says so: demanded copies are
// refused with it and leave nothing, and otherwise all is rendered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/app/CopyRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::isToldAndRendered;
using copies::x264;
using copies::x265;
using testing::HasSubstr;

const std::string kKeys = x264("keyint=10:scenecut=0");
const std::string kVp9 = "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 10";
const std::string kDeep = "-pix_fmt yuv420p10le -color_primaries bt2020 -colorspace bt2020nc ";

/// Two clips of different codings.
struct Row {
    const char* name;
    std::string first, second;
    const char* clips;
    const char* ending;
    std::vector<std::string> more;
    const char* sentence;
};

class CopyEligibilityTest : public testing::TestWithParam<Row> {};

TEST_P(CopyEligibilityTest, IsToldInOneSentence) {
    const Row& row = GetParam();
    const Workshop shop;
    const std::string a = clip(shop, std::string("A") + row.clips, 0, 1.2, row.first);
    const std::string b = clip(shop, std::string("B") + row.clips, 1, 1.2, row.second);
    std::vector<std::string> words{a, b};
    words.insert(words.end(), row.more.begin(), row.more.end());
    isToldAndRendered(shop, words, std::string("out") + row.ending, row.sentence);
}

std::string pqOf(int mostLight,
                 const char* display = "G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)") {
    return kDeep + "-color_trc smpte2084 " +
           x265(
               "keyint=10:hdr10=1:repeat-headers=1:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:"
               "max-cll=" +
               std::to_string(mostLight) + ",100:master-display='" + display + "L(10000000,50)'");
}

const std::string kOdd = "-vf scale=128:95,setsar=1 " + kVp9;
const std::string kAlpha = "-pix_fmt yuva420p -auto-alt-ref 0 " + kVp9;
const std::string kProres = "-c:v prores_ks -pix_fmt yuv422p10le ";
const std::string kDnxhr = "-vf scale=256:120,setsar=1 -c:v dnxhd -profile:v ";
const std::string kDv = "-s 720x576 -c:v dvvideo ";
const std::string kDvHd = "-s 960x720 -r 50 -c:v dvvideo -pix_fmt yuv422p";
const std::string kAv1 = "-c:v libaom-av1 -cpu-used 8 -usage realtime";
const Row kRows[] = {
    {"OddHeight",
     kOdd,
     kOdd,
     ".webm",
     ".webm",
     {},
     "A.webm is 128x95: the encoder cannot write an odd height"},
    {"OddWidth",
     "-vf scale=127:96,setsar=1 " + kVp9,
     "-vf scale=127:96,setsar=1 " + kVp9,
     ".webm",
     ".webm",
     {},
     "A.webm is 127x96: the encoder cannot write an odd width"},
    {"Transparency",
     kVp9,
     kAlpha,
     ".webm",
     ".webm",
     {},
     "B.webm has transparency, which is copied by no codec here"},
    {"AlphaAskedFor",
     kVp9,
     kVp9,
     ".webm",
     ".webm",
     {"--alpha"},
     "--alpha keeps transparency, which no copied codec holds"},
    {"FullChroma",
     "-pix_fmt yuv444p " + kVp9,
     "-pix_fmt yuv444p " + kVp9,
     ".webm",
     ".webm",
     {},
     "A.webm holds yuv444p pictures, and the seams' are yuv420p: a copied file can carry only one"},
    {"KindsOfProRes",
     kProres + "-profile:v 2",
     kProres + "-profile:v 3",
     ".mov",
     ".mov",
     {},
     "B.mov is another kind of ProRes than "},
    {"KindsOfFfv1",
     "-c:v ffv1 -level 3 -slices 4",
     "-c:v ffv1 -level 3 -slices 9",
     ".mkv",
     ".mkv",
     {},
     "the clips are FFV1 of several kinds, or of one that the encoder of the seams does not write"},
    {"NoTimes", kKeys, kKeys, ".avi", ".mp4", {}, "A.avi does not tell when each picture is shown"},
    {"DepthAskedFor",
     "-pix_fmt yuv420p10le " + x265("keyint=10"),
     "-pix_fmt yuv420p10le " + x265("keyint=10"),
     ".mp4",
     ".mp4",
     {"--depth", "8"},
     "with 10 bits, and the seams would not be: a copied file can carry only one"},
    {"CodedForFields",
     kKeys,
     x264("keyint=10:fake-interlaced=1"),
     ".mp4",
     ".mp4",
     {},
     "B.mp4 is coded for interlaced pictures, and the seams' frames are whole"},
    {"OtherLight",
     pqOf(400),
     pqOf(4000),
     ".mp4",
     ".mp4",
     {"--hdr", "keep"},
     "B.mp4 has another mastering display or other light levels than "},
    {"BrokenLight",
     pqOf(400, "G(13250,34500)B(7500,3000)R(65000,16000)WP(15635,16450)"),
     pqOf(400, "G(13250,34500)B(7500,3000)R(65000,16000)WP(15635,16450)"),
     ".mp4",
     ".mp4",
     {"--hdr", "keep"},
     "A.mp4 holds mastering data that make no sense, and copied frames keep them"},
    {"Signals",
     kDeep + "-color_trc bt709 " + x265("keyint=10"),
     kDeep + "-color_trc arib-std-b67 " + x265("keyint=10"),
     ".mp4",
     ".mp4",
     {},
     "B.mp4 is HLG and "},
    {"Av1", kAv1, kAv1, ".mp4", ".mp4", {}, "A.mp4 is AV1, which is not copied"},
    {"KindsOfDnxhr",
     kDnxhr + "dnxhr_sq -pix_fmt yuv422p",
     kDnxhr + "dnxhr_hq -pix_fmt yuv422p",
     ".mov",
     ".mov",
     {},
     "B.mov is another kind of DNxHR than "},
    {"DnxhrOfFullChroma",
     kDnxhr + "dnxhr_444 -pix_fmt yuv444p10le",
     kDnxhr + "dnxhr_444 -pix_fmt yuv444p10le",
     ".mov",
     ".mov",
     {},
     "A.mov holds yuv444p10le pictures, and the seams' are yuv422p"},
    {"MotionJpegOfFullChroma",
     "-c:v mjpeg -pix_fmt yuvj444p",
     "-c:v mjpeg -pix_fmt yuvj444p",
     ".avi",
     ".mov",
     {},
     "A.avi holds yuvj444p pictures, and the seams' are yuvj420p"},
    {"MotionJpegInMp4",
     "-c:v mjpeg -pix_fmt yuvj420p",
     "-c:v mjpeg -pix_fmt yuvj420p",
     ".mov",
     ".mp4",
     {},
     "A.mov is Motion JPEG, which goes into mov, mkv, avi files and not into .mp4"},
    {"AvcInAvi",
     kKeys,
     kKeys,
     ".avi",
     ".avi",
     {},
     "A.avi is H.264, which goes into mp4, mov, mkv files and not into .avi"},
    {"ProresInAvi",
     kProres + "-profile:v 2",
     kProres + "-profile:v 2",
     ".mov",
     ".avi",
     {},
     "A.mov is ProRes, which goes into mov, mkv files and not into .avi"},
    {"ColoursThatAviCannotTell",
     "-c:v mjpeg -pix_fmt yuvj420p -color_primaries bt2020 -color_trc bt709 -colorspace smpte170m",
     "-c:v mjpeg -pix_fmt yuvj420p -color_primaries bt2020 -color_trc bt709 -colorspace smpte170m",
     ".mov",
     ".avi",
     {},
     "A.mov is BT.2020, and .avi files have no colour tags: copies would show in other colours"},
    {"MotionJpegOfLimitedRange",
     "-c:v mjpeg -pix_fmt yuv420p -color_range tv -strict unofficial",
     "-c:v mjpeg -pix_fmt yuv420p -color_range tv -strict unofficial",
     ".avi",
     ".avi",
     {},
     "A.avi holds yuv420p pictures, and the seams' are yuvj420p: a copied file can carry only one"},
    // DV is coded in fields, whatever it shows, and its pixels are no squares.
    {"Dv",
     kDv + "-pix_fmt yuv420p",
     kDv + "-pix_fmt yuv420p",
     ".avi",
     ".mov",
     {},
     "A.avi is interlaced: joining it means deinterlacing every frame"},
    {"DvOfHighDefinition", kDvHd, kDvHd, ".mov", ".mov", {}, "A.mov is dvvideo, which is not copied"},
    {"Ffv1OfVersionOne",
     "-c:v ffv1 -level 1",
     "-c:v ffv1 -level 1",
     ".avi",
     ".mkv",
     {},
     "A.avi is FFV1 of a version before 3, which has no header of its own"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, CopyEligibilityTest, testing::ValuesIn(test::sampledRows(kRows, 6)),
                         [](const testing::TestParamInfo<Row>& row) { return std::string(row.param.name); });

/// A second clip that is made of the first, and is what the sentence says.
struct Made {
    const char* name;
    const char* file;
    const char* how;  ///< words for ffmpeg behind its input, the first clip
    const char* sentence;
};

class CopyMadeTest : public testing::TestWithParam<Made> {};

TEST_P(CopyMadeTest, IsToldInOneSentence) {
    const Made& row = GetParam();
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 1.2, kKeys);
    const std::string made = shop.file(row.file);
    ASSERT_EQ(shell("ffmpeg -v error -y -i " + a + " " + row.how + " " + made), 0);
    isToldAndRendered(shop, {a, made}, "out.mp4", row.sentence);
}

const Made kMade[] = {
    {"UpsideDown", "B.mp4", "-c copy -metadata:s:v rotate=180",
     "B.mp4 is shown rotated by 180 degrees: copied packets cannot be turned"},
    {"Drifting", "B.mkv", "-c copy -bsf:v \"setts=pts='PTS*1.015':dts='DTS*1.015'\"",
     "B.mkv is off its own frame rate by 16 ms"},
    {"WithoutItsBeginning", "B.mkv", "-c copy -bsf:v \"noise=drop='lt(n,3)'\"",
     "B.mkv begins with pictures that cannot be decoded"},
    {"Photo", "B.png", "-frames:v 1", "B.png is a picture and no movie: its frames have to be encoded"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, CopyMadeTest, testing::ValuesIn(test::sampledRows(kMade, 4)),
                         [](const testing::TestParamInfo<Made>& row) { return std::string(row.param.name); });

// Files whose bytes are changed to be what no program means to write.
TEST(CopyEligibilityTest, AHeaderThatLiesIsTold) {
    const Workshop shop;
    // Sets between the pictures, by which decoders do without the header.
    const std::string a = clip(shop, "A.mp4", 0, 1.2, x264("keyint=10:scenecut=0:repeat-headers=1"));
    std::string bytes = bytesOf(a);
    const std::size_t header = bytes.find("avcC");
    ASSERT_NE(header, std::string::npos);
    // Version, profile, compatibility, level, lengths, then how many sets of the first kind: none.
    bytes[header + 9] = '\xe0';
    writeBytes(shop.file("B.mp4"), bytes);
    isToldAndRendered(shop, {a, shop.file("B.mp4")}, "out.mp4",
                      "B.mp4 is damaged: its header cannot be read");
}

TEST(CopyEligibilityTest, APictureThatLastsLongerThanItsPacketsIsTold) {
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 8, x264("keyint=25:bframes=0"));
    ASSERT_EQ(
        shell("ffmpeg -v error -y -i " + a +
              " -c copy -bsf:v \"setts=duration='if(eq(N,199),DURATION*3,DURATION)'\" " + shop.file("B.mp4")),
        0);
    isToldAndRendered(shop, {a, shop.file("B.mp4")}, "out.mp4",
                      "B.mp4 shows 202 frames and holds packets for 200");
}

TEST(CopyEligibilityTest, PacketsThatShowNoPictureAreTold) {
    const Workshop shop;
    const std::string coding =
        "-c:v libvpx-vp9 -cpu-used 5 -deadline good -g 25 -auto-alt-ref 1 -lag-in-frames 16 -b:v 100k "
        "-passlogfile " +
        shop.file("log");
    clip(shop, "first.webm", 0, 1.2, coding + " -pass 1");
    const std::string a = clip(shop, "A.webm", 0, 1.2, coding + " -pass 2");
    // Pictures that are never shown, which the muxer would put into one packet with their neighbours.
    ASSERT_EQ(shell("ffmpeg -v error -y -i " + a + " -c copy -bsf:v vp9_superframe_split -fflags -autobsf " +
                    shop.file("B.webm")),
              0);
    isToldAndRendered(shop, {a, shop.file("B.webm")}, "out.webm",
                      "B.webm holds packets of which none or several pictures are shown");
}

// A picture's parameter set can move to ids of one length, of which there are seventeen, and one is the
// seams'. As the clips grow in number, what does not fit any more is refused before anything is written.
TEST(CopyEligibilityTest, MoreSetsThanOneFileHoldsAreTold) {
    const Workshop shop;
    std::vector<std::string> clips;
    for (int i = 0; i < 19; ++i) {
        const char* format = i < 16 ? "undef" : "pal";
        clips.push_back(clip(shop, "c" + std::to_string(i) + ".mp4", i % 2, 0.4,
                             "-c:v libx264 -preset ultrafast -x264-params keyint=5:ref=" +
                                 std::to_string(i % 16 + 1) + ":videoformat=" + format));
    }
    const auto join = [&](std::ptrdiff_t count, const char* copies) {
        std::vector<std::string> words{"join"};
        words.insert(words.end(), clips.begin(), clips.begin() + count);
        words.insert(words.end(), {"--duration", "2f", "-f", "-o", shop.file("out.mp4"), copies});
        return shop.run(words);
    };
    const std::string sentence = "the clips need more sets of coding parameters than one file holds";
    for (std::ptrdiff_t count = test::sampled() ? 19 : 15; count <= 19; ++count) {
        const RunResult result = join(count, "--copy-bodies=always");
        const bool refused = result.err == "tumblewash: " + sentence + "\n";
        EXPECT_EQ(result.code, refused ? 2 : 0) << count << " clips: " << result.err;
        // In between it depends on which of the encoder's sets are equal.
        EXPECT_TRUE(count != 15 || !refused);
        EXPECT_TRUE(count != 19 || refused);
        EXPECT_EQ(std::filesystem::remove(shop.file("out.mp4")), !refused);
    }
    const RunResult rendered = join(19, "--copy-bodies");
    EXPECT_EQ(rendered.code, 0) << rendered.err;
    EXPECT_THAT(rendered.err, HasSubstr(sentence));
    EXPECT_TRUE(std::filesystem::exists(shop.file("out.mp4")));
}

// The parameters of HEVC have sixteen ids, of which one is the seams'.
TEST(CopyEligibilityTest, MoreSetsOfHevcThanOneFileHoldsAreTold) {
    const Workshop shop;
    constexpr const char* kFormats[] = {"pal", "ntsc", "secam", "mac", "undef"};
    std::vector<std::string> clips;
    constexpr const char* kBlocks[] = {"16", "32", "64"};
    for (int i = 0; i < 18; ++i)
        clips.push_back(clip(shop, "c" + std::to_string(i) + ".mp4", i % 2, 0.4,
                             x265("keyint=5:videoformat=" + std::string(kFormats[i % 5]) +
                                  ":ctu=" + kBlocks[i / 5 % 3] + ":sao=" + std::to_string(i / 15))));
    const auto join = [&](std::ptrdiff_t count) {
        std::vector<std::string> words{"join"};
        words.insert(words.end(), clips.begin(), clips.begin() + count);
        words.insert(words.end(),
                     {"--duration", "2f", "-f", "-o", shop.file("out.mp4"), "--copy-bodies=always"});
        return shop.run(words);
    };
    if (!test::sampled()) {
        const RunResult few = join(12);
        EXPECT_EQ(few.code, 0) << few.err;
        EXPECT_TRUE(std::filesystem::remove(shop.file("out.mp4")));
    }
    const RunResult many = join(18);
    EXPECT_EQ(many.code, 2);
    EXPECT_EQ(many.err, "tumblewash: the clips need more sets of coding parameters than one file holds\n");
    EXPECT_FALSE(std::filesystem::exists(shop.file("out.mp4")));
}

// Levels that no table knows: the seams have the next one that there is.
TEST(CopyEligibilityTest, AnUnknownLevelIsNoObstacle) {
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 1.2, kKeys);
    const std::string bytes = bytesOf(a);
    const std::size_t header = bytes.find("avcC");
    ASSERT_NE(header, std::string::npos);
    for (const char level : {'\x0e', '\x19', '\xff'}) {
        std::string other = bytes;
        // Version, profile, compatibility, level; the set itself says it four bytes after its length of two.
        other[header + 7] = level;
        ASSERT_EQ(other[header + 12] & 0x1f, 7);
        ASSERT_EQ(other[header + 15], bytes[header + 7]);
        other[header + 15] = level;
        const std::string b = shop.file("B.mp4");
        writeBytes(b, other);
        EXPECT_FALSE(
            copies::copiedJoin(shop, {"join", a, b, "--duration", "6f"}, {a, b}, shop.file("out.mp4"))
                .is_null())
            << static_cast<int>(level);
    }
}

TEST(CopyEligibilityTest, ClipsAsShortAsTheirSeamsHaveNothingToCopy) {
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 1.2, kKeys);
    isToldAndRendered(shop, {a + "#t=0,0.24", a + "#t=0.4,0.64"}, "out.mp4",
                      "nothing lies between the seams that could be copied");
}

TEST(CopyEligibilityTest, SetsThatTakeTurnsAreNotOneHeader) {
    const Workshop shop;
    const std::string a = clip(shop, "A.ts", 0, 1.2, x264("keyint=10:repeat-headers=1"));
    const std::string b = clip(shop, "b.ts", 0, 1.2, x264("keyint=10:repeat-headers=1:sps-id=1:ref=1"));
    writeBytes(shop.file("list.txt"), "file " + a + "\nfile " + b + "\n");
    ASSERT_EQ(shell("ffmpeg -v error -y -f concat -safe 0 -i " + shop.file("list.txt") + " -c copy " +
                    shop.file("B.ts")),
              0);
    isToldAndRendered(shop, {a, shop.file("B.ts")}, "out.mp4",
                      "B.ts uses several sets of coding parameters by turns");
}

// Nobody can show its pictures, so there is nothing to render in full either.
TEST(CopyEligibilityTest, EncryptedClipsAreRefusedAsWhatTheyAre) {
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 1.2, kKeys);
    const std::string locked =
        clip(shop, "B.mp4", 1, 1.2,
             kKeys +
                 " -encryption_scheme cenc-aes-ctr -encryption_key "
                 "76a6c65c5ea762046bd749a2e632ccbb -encryption_kid a7e61c373e219033c21091fa607bf3b8");
    const std::string out = shop.file("out.mp4");
    for (const char* copies : {"--copy-bodies=always", "--copy-bodies", "--copy-bodies=never"}) {
        const RunResult result = shop.run({"join", a, locked, "--duration", "6f", "-o", out, copies});
        EXPECT_EQ(result.code, 3);
        EXPECT_THAT(result.err,
                    HasSubstr("B.mp4: is encrypted, and there is no key to it here; get a copy that is not"));
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

// Reading every packet of every clip takes long, and a refusal need not wait for it.
TEST(CopyEligibilityTest, WhatHeadersTellIsToldBeforePacketsAreRead) {
    const Workshop shop;
    const std::string a = clip(shop, "A.mkv", 0, 1.2, kKeys);
    const std::string b = clip(shop, "B.mp4", 1, 1.2, "-c:v mpeg4");
    // The first clip's packets would be refused for their times, had anybody looked at them.
    ASSERT_EQ(shell("ffmpeg -v error -y -i " + a +
                    " -c copy -bsf:v \"setts=pts='PTS*1.015':dts='DTS*1.015'\" " + shop.file("drift.mkv")),
              0);
    const RunResult result = shop.run({"join", shop.file("drift.mkv"), b, "--duration", "6f", "-o",
                                       shop.file("out.mp4"), "--copy-bodies=always"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("B.mp4 is mpeg4 and "));
}

}  // namespace
}  // namespace tumblewash::app
