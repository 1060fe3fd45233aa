// Edits and clips that are wrong in themselves: each is refused in one line that says what and where, or
// rendered with a line that says what is missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/app/ProgramRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using testing::HasSubstr;

using Words = std::vector<std::string>;

class BadEditTest : public testing::Test {
  protected:
    std::string movie(const char* name, double seconds) const {
        const std::string file = shop.file(name);
        EXPECT_EQ(shop.run({"out", scene("harbour", seconds), "-o", file, "-q", "-f"}).code, 0);
        return file;
    }

    /// The one line that refuses an edit with these clips.
    std::string refusal(const std::string& clips, int code, const std::string& more = "") const {
        writeBytes(document, "{\"tumblewash\": 1" + more + ", \"clips\": [" + clips + "]}");
        const RunResult run = shop.run({"render", document, "-o", "null:"});
        EXPECT_EQ(run.code, code) << run.err;
        EXPECT_EQ(linesOf(run.err).size(), 1U) << run.err;
        return run.err;
    }

    const Workshop shop;
    const std::string document = shop.file("my.edit.json");
    const std::string city = "{\"file\": \"pattern:city?size=64x48&seconds=1\"}";
};

TEST_F(BadEditTest, AnEditThatNamesItselfOrAnotherEditIsRefused) {
    EXPECT_THAT(refusal(city + ", {\"file\": \"my.edit.json\"}", 2),
                HasSubstr("my.edit.json: an edit cannot hold an edit"));
    std::filesystem::create_symlink("my.edit.json", shop.file("link.mp4"));
    refusal(city + ", {\"file\": \"link.mp4\"}", 3);
}

TEST_F(BadEditTest, AClipInPlaceOfAnEditIsRefusedWithWhatTakesIt) {
    const RunResult run = shop.run({"render", movie("a.mkv", 1), "-o", "null:"});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.err, HasSubstr("a.mkv: is not an edit; use a file that ends in .edit.json, .otio, "));
    EXPECT_THAT(run.err, HasSubstr("tumblewash join\n"));
}

TEST_F(BadEditTest, AFolderIsNoClip) {
    std::filesystem::create_directory(shop.file("photos"));
    EXPECT_THAT(refusal(city + ", {\"file\": \"photos\"}", 3), HasSubstr("photos: is a folder"));
    EXPECT_THAT(refusal("{\"file\": \".\"}", 3), HasSubstr("is a folder"));
}

TEST_F(BadEditTest, AClipThatShrankBelowItsTrimIsSaidAndRefusedWithTheNumbers) {
    const std::string file = movie("a.mkv", 2);
    ASSERT_EQ(shop.run({"plan", file + "#t=0.4,1.8", scene("city", 1), "-o", document, "-q"}).code, 0);
    movie("a.mkv", 1);
    const RunResult run = shop.run({"render", document, "-o", "null:"});
    EXPECT_EQ(run.code, 2);
    const std::vector<std::string> lines = linesOf(run.err);
    ASSERT_EQ(lines.size(), 2U) << run.err;
    EXPECT_THAT(lines[0], HasSubstr("a.mkv: has changed since the edit was planned; planned again"));
    EXPECT_THAT(lines[1], HasSubstr("a.mkv: the end of what is used, 1.8s, is frame 45 at 25 frames per "
                                    "second, and the clip has 25"));
}

TEST_F(BadEditTest, SeamsThatOverlapEachOtherAreRefusedWithTheNumbers) {
    const std::string seam =
        "{\"file\": \"pattern:city?size=64x48&seconds=1\", \"seam\": {\"duration\": \"16f\"}}";
    EXPECT_THAT(
        refusal(city + ", " + seam + ", " + seam, 2),
        HasSubstr("25 frames are too few: wash-away at its start takes 16 and wash-away at its end 16"));
    EXPECT_THAT(refusal(city + ", " + seam, 2, ", \"opening\": {\"duration\": \"12f\"}"),
                HasSubstr("wash-in at its start takes 12 and wash-away at its end 16, 28 in all"));
}

TEST_F(BadEditTest, AHundredThousandClipsOfOneFileArePlanned) {
    const int count = test::sampled() ? 3000 : 100000;
    movie("a.mkv", 1);
    std::string clips = "{\"file\": \"a.mkv\"}";
    for (int i = 1; i < count; ++i) clips += ", {\"file\": \"a.mkv\", \"in\": \"2f\", \"out\": \"6f\"}";
    writeBytes(document,
               "{\"tumblewash\": 1, \"seams\": {\"effect\": \"none\"}, \"clips\": [" + clips + "]}");
    const RunResult run = shop.run({"plan", document});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("\n" + std::to_string(25 + 4 * (count - 1)) + " frames, "));
}

TEST_F(BadEditTest, AMillionOpenBracketsAreRefusedAtOnce) {
    writeBytes(document, std::string(1000000, '['));
    EXPECT_THAT(shop.run({"render", document, "-o", "null:"}).err, HasSubstr("nested more than 64 deep"));
}

TEST_F(BadEditTest, AClipWithAnAbsurdTimeScaleIsNamedWithWhatIsWrong) {
    std::string bytes = bytesOf(movie("a.mp4", 1));
    const std::size_t header = bytes.find("mdhd");
    ASSERT_NE(header, std::string::npos);
    for (const char scale : {'\0', '\1'}) {
        bytes.replace(header + 16, 4, std::string{'\0', '\0', '\0', scale});
        writeBytes(shop.file("b.mp4"), bytes);
        EXPECT_THAT(refusal("{\"file\": \"b.mp4\"}", 2),
                    testing::ContainsRegex("b.mp4: .* frames per second, outside of 1 to 240"));
        EXPECT_THAT(refusal(city + ", {\"file\": \"b.mp4\"}", 3),
                    testing::ContainsRegex("b.mp4: says it has one picture in 512 s; its times are damaged"));
    }
}

TEST_F(BadEditTest, PicturesDamagedInTheMiddleAreRenderedWithACount) {
    const std::string file = shop.file("a.mp4");
    ASSERT_EQ(shell("ffmpeg -v error -f lavfi -i testsrc2=s=160x96:r=25:d=2 -c:v libx264 -g 5 -bf 0 " + file +
                    " && ffprobe -v error -select_streams v -show_packets -of json " + file + " > " +
                    shop.file("packets")),
              0);
    const nlohmann::json packets = nlohmann::json::parse(bytesOf(shop.file("packets")))["packets"];
    std::string bytes = bytesOf(file);
    for (const std::size_t k : {20U, 30U}) {
        const auto at = static_cast<std::size_t>(std::stoul(packets[k]["pos"].get<std::string>()));
        const auto size = static_cast<std::size_t>(std::stoul(packets[k]["size"].get<std::string>()));
        for (std::size_t i = size / 2; i < size; ++i) bytes[at + i] = static_cast<char>(37 * i + 11);
    }
    writeBytes(file, bytes);
    const RunResult run = shop.run({"in", file, "-o", "null:"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("a.mp4: 2 pictures are damaged; the decoder filled in what is missing"));
    EXPECT_THAT(run.err, HasSubstr("null: 50 frames"));
}

}  // namespace
}  // namespace tumblewash::app
