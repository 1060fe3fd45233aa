// Clips that are damaged or cut off: a join that copies them is never a wrong picture in silence.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/app/CopyRun.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::framesOf;
using copies::reportOf;
using copies::x264;
using testing::HasSubstr;

/// The place and size of the packet that comes `number`-th in a file's pictures.
std::pair<std::size_t, std::size_t> packetAt(const Workshop& shop, const std::string& file,
                                             std::size_t number) {
    const std::string list = shop.file("packets.txt");
    EXPECT_EQ(shell("ffprobe -v error -select_streams v -show_entries packet=size,pos -of csv=p=0 " + file +
                    " > " + list),
              0);
    const std::vector<std::string> lines = linesOf(bytesOf(list));
    EXPECT_LT(number, lines.size());
    std::filesystem::remove(list);
    const std::size_t comma = lines[number].find(',');
    return {std::stoul(lines[number].substr(comma + 1)), std::stoul(lines[number].substr(0, comma))};
}

/// Joins `clip` with itself into `output`, copies demanded, and gives the codec of what was made.
std::string codecInstead(const Workshop& shop, const std::string& clip, const std::string& output) {
    const std::string out = shop.file(output);
    const RunResult told =
        shop.run({"join", clip, clip, "--duration", "6f", "-o", out, "--copy-bodies=always"});
    EXPECT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.err, HasSubstr("do not all decode; rendered in full instead"));
    EXPECT_EQ(framesOf(shop, out).size(), 44U);
    return streamOf(probeJson(out), "video")["codec_name"];
}

TEST(CopyDamageTest, ADamagedClipIsRenderedInItsCodec) {
    const Workshop shop;
    for (const char* ending : {".avi", ".mov"}) {
        const std::string a =
            clip(shop, std::string("a") + ending, 0, 1, "-c:v mjpeg -q:v 4 -pix_fmt yuvj420p");
        std::string bytes = bytesOf(a);
        const auto [at, size] = packetAt(shop, a, 12);
        // How many codes of each length a table has: more than there are.
        const std::size_t table = bytes.find("\xff\xc4", at);
        ASSERT_LT(table, at + size);
        bytes.replace(table + 5, 16, 16, '\xff');
        writeBytes(a, bytes);
        EXPECT_EQ(codecInstead(shop, a, std::string("out") + ending), "mjpeg");
    }
}

// FFmpeg's decoder patches such a picture and says nothing of it but on standard error.
TEST(CopyDamageTest, APictureOfMotionJpegWithWrongBitsIsNotCopiedInSilence) {
    const Workshop shop;
    const std::string a = clip(shop, "a.avi", 0, 1, "-c:v mjpeg -q:v 4 -pix_fmt yuvj420p");
    std::string bytes = bytesOf(a);
    const auto [at, size] = packetAt(shop, a, 12);
    // Codes that the tables do not have, in the middle of the picture.
    for (std::size_t i = at + size / 2; i < at + size / 2 + 40; i += 2) bytes.replace(i, 2, "\xfe\xfe");
    writeBytes(a, bytes);
    const std::string out = shop.file("out.avi");
    const RunResult told = shop.run({"join", a, a, "--duration", "6f", "-o", out, "--copy-bodies=always"});
    ASSERT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.err, HasSubstr("do not all decode; rendered in full instead"));
    EXPECT_EQ(framesOf(shop, out).size(), 44U);
}

TEST(CopyDamageTest, ADamagedClipOfACodecThatIsOnlyCopiedIsRenderedInTheUsualOne) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mov", 0, 1,
                               "-vf scale=256:120,setsar=1 -c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p");
    std::string bytes = bytesOf(a);
    const auto [at, size] = packetAt(shop, a, 12);
    // Where each row of blocks begins in the packet: behind its end.
    constexpr std::size_t kRows = 0x170;
    ASSERT_GT(size, kRows + 64);
    bytes.replace(at + kRows, 32, 32, '\x7f');
    writeBytes(a, bytes);
    EXPECT_EQ(codecInstead(shop, a, "out.mov"), "h264");
}

TEST(CopyDamageTest, DamageBesideASeamIsRenderedInFullAndToldOnce) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 2, x264("keyint=20:scenecut=0"));
    const std::string b = clip(shop, "b.mp4", 1, 2, x264("keyint=20:scenecut=0"));
    std::string bytes = bytesOf(a);
    const auto [at, size] = packetAt(shop, a, 30);
    ASSERT_GT(size, 60U);
    for (std::size_t i = at + size / 3; i < at + size; ++i) bytes[i] = '\xff';
    writeBytes(a, bytes);
    const std::string out = shop.file("out.mp4");
    const auto join = [&](const char* copies) {
        return shop.run({"join", a, b, "--duration", "10f", "-o", out, "-f", "--report",
                         shop.file("report.json"), copies});
    };
    const RunResult full = join("--copy-bodies=never");
    ASSERT_EQ(full.code, 0) << full.err;
    const std::string frames = bytesOf(out);
    std::vector<std::string> warnings = reportOf(shop)["warnings"];
    ASSERT_EQ(warnings.size(), 1U) << full.err;
    const RunResult told = join("--copy-bodies=always");
    ASSERT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.err,
                HasSubstr("the copied pictures from 15 on do not all decode; rendered in full instead"));
    EXPECT_EQ(bytesOf(out), frames);
    const nlohmann::json report = reportOf(shop);
    EXPECT_EQ(report["copies"]["copied"], 0);
    EXPECT_EQ(report["warnings"].size(), 2U);
    EXPECT_EQ(report["warnings"].back(), warnings.front());
}

TEST(CopyDamageTest, AFileCutInItsMiddleIsNeverAWrongPicture) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mkv", 0, 2, x264("keyint=20"));
    const std::string bytes = bytesOf(a);
    const std::string cut = shop.file("cut.mkv");
    for (const double part : {0.35, 0.6, 0.85}) {
        writeBytes(cut, bytes.substr(0, static_cast<std::size_t>(static_cast<double>(bytes.size()) * part)));
        const std::string out = shop.file("out.mp4");
        const RunResult result =
            shop.run({"join", a, cut, "--duration", "4f", "-o", out, "--copy-bodies", "-f"});
        EXPECT_EQ(result.code, 0) << result.err;
        if (result.code == 0) framesOf(shop, out);
    }
}

}  // namespace
}  // namespace tumblewash::app
