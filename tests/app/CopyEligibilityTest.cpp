// Clips that cannot be copied for what they are, one for each sentence that says so: demanded copies are refused with it
// and leave nothing, and otherwise all is rendered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/CopyRun.h"

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

const std::string kOdd = "-vf scale=128:95,setsar=1 " + kVp9;
const std::string kAlpha = "-pix_fmt yuva420p -auto-alt-ref 0 " + kVp9;
const std::string kProres = "-c:v prores_ks -pix_fmt yuv422p10le ";
const std::string kAv1 = "-c:v libaom-av1 -cpu-used 8 -usage realtime";
const Row kRows[] = {
    {"OddHeight", kOdd, kOdd, ".webm", ".webm", {}, "A.webm is 128x95: the encoder cannot write an odd height"},
    {"OddWidth", "-vf scale=127:96,setsar=1 " + kVp9, "-vf scale=127:96,setsar=1 " + kVp9, ".webm", ".webm", {},
     "A.webm is 127x96: the encoder cannot write an odd width"},
    {"Transparency", kVp9, kAlpha, ".webm", ".webm", {}, "B.webm has transparency, which is copied by no codec here"},
    {"AlphaAskedFor", kVp9, kVp9, ".webm", ".webm", {"--alpha"}, "--alpha keeps transparency, which no copied codec holds"},
    {"FullChroma", "-pix_fmt yuv444p " + kVp9, "-pix_fmt yuv444p " + kVp9, ".webm", ".webm", {},
     "A.webm holds yuv444p pictures, and the seams' are yuv420p: a copied file can carry only one"},
    {"KindsOfProRes", kProres + "-profile:v 2", kProres + "-profile:v 3", ".mov", ".mov", {},
     "B.mov is another kind of ProRes than "},
    {"KindsOfFfv1", "-c:v ffv1 -level 3 -slices 4", "-c:v ffv1 -level 3 -slices 9", ".mkv", ".mkv", {},
     "the clips are FFV1 of several kinds, or of one that the encoder of the seams does not write"},
    {"NoTimes", kKeys, kKeys, ".avi", ".mp4", {}, "A.avi does not tell when each picture is shown"},
    {"DepthAskedFor", "-pix_fmt yuv420p10le " + x265("keyint=10"), "-pix_fmt yuv420p10le " + x265("keyint=10"), ".mp4",
     ".mp4", {"--depth", "8"}, "with 10 bits, and the seams would not be: a copied file can carry only one"},
    {"CodedForFields", kKeys, x264("keyint=10:fake-interlaced=1"), ".mp4", ".mp4", {},
     "B.mp4 is coded for interlaced pictures, and the seams' frames are whole"},
    {"Signals", kDeep + "-color_trc bt709 " + x265("keyint=10"), kDeep + "-color_trc arib-std-b67 " + x265("keyint=10"),
     ".mp4", ".mp4", {}, "B.mp4 is HLG and "},
    {"Av1", kAv1, kAv1, ".mp4", ".mp4",
     {}, "A.mp4 is AV1, which is not copied"},
    {"Dnxhr", "-c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p -s 256x120", "-c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p -s 256x120",
     ".mov", ".mov", {}, "A.mov is dnxhd, which is not copied"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, CopyEligibilityTest, testing::ValuesIn(copies::sampledRows(kRows, 6)),
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
    {"Drifting", "B.mkv", "-c copy -bsf:v \"setts=pts='PTS*1.015':dts='DTS*1.015'\"", "B.mkv is off its own frame rate by 16 ms"},
    {"WithoutItsBeginning", "B.mkv", "-c copy -bsf:v \"noise=drop='lt(n,3)'\"",
     "B.mkv begins with pictures that cannot be decoded"},
    {"Photo", "B.png", "-frames:v 1", "B.png is a picture and no movie: its frames have to be encoded"},
};

INSTANTIATE_TEST_SUITE_P(Reasons, CopyMadeTest, testing::ValuesIn(copies::sampledRows(kMade, 4)),
                         [](const testing::TestParamInfo<Made>& row) { return std::string(row.param.name); });

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
    ASSERT_EQ(shell("ffmpeg -v error -y -f concat -safe 0 -i " + shop.file("list.txt") + " -c copy " + shop.file("B.ts")), 0);
    isToldAndRendered(shop, {a, shop.file("B.ts")}, "out.mp4", "B.ts uses several sets of coding parameters by turns");
}

// Nobody can show its pictures, so there is nothing to render in full either.
TEST(CopyEligibilityTest, EncryptedClipsAreRefusedAsWhatTheyAre) {
    const Workshop shop;
    const std::string a = clip(shop, "A.mp4", 0, 1.2, kKeys);
    const std::string locked =
        clip(shop, "B.mp4", 1, 1.2, kKeys + " -encryption_scheme cenc-aes-ctr -encryption_key "
             "76a6c65c5ea762046bd749a2e632ccbb -encryption_kid a7e61c373e219033c21091fa607bf3b8");
    const std::string out = shop.file("out.mp4");
    for (const char* copies : {"--copy-bodies=always", "--copy-bodies", "--copy-bodies=never"}) {
        const RunResult result = shop.run({"join", a, locked, "--duration", "6f", "-o", out, copies});
        EXPECT_EQ(result.code, 3);
        EXPECT_THAT(result.err, HasSubstr("B.mp4: is encrypted, and there is no key to it here; get a copy that is not"));
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
    ASSERT_EQ(shell("ffmpeg -v error -y -i " + a + " -c copy -bsf:v \"setts=pts='PTS*1.015':dts='DTS*1.015'\" " +
                    shop.file("drift.mkv")),
              0);
    const RunResult result = shop.run({"join", shop.file("drift.mkv"), b, "--duration", "6f", "-o", shop.file("out.mp4"),
                                       "--copy-bodies=always"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("B.mp4 is mpeg4 and "));
}

}  // namespace
}  // namespace tumblewash::app
