#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "edit/Outputs.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {

using edit::TextFile;

namespace {

using testing::HasSubstr;

// A refusal is one line that names the file, has its exit code, and writes nothing.
void expectRefused(const Workshop& shop, const std::vector<std::string>& words, int code,
                   const std::string& part) {
    const std::vector<std::string> before = shop.names();
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, code) << result.err;
    EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    EXPECT_EQ(result.err.rfind("tumblewash: ", 0), 0U) << result.err;
    EXPECT_THAT(result.err, HasSubstr(part));
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(shop.names(), before);
}

// A small movie to ask impossible things of.
std::string movieIn(const Workshop& shop, const std::string& name = "a.mp4") {
    const std::string file = shop.file(name);
    EXPECT_EQ(
        shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", file, "-e", "none", "-q", "-f"}).code,
        0);
    return file;
}

TEST(RefusalTest, InputsThatCannotBeReadAreNamed) {
    const Workshop shop;
    const std::string good = scene("city", 1);
    writeBytes(shop.file("empty.mp4"), "");
    writeBytes(shop.file("text.mp4"), "This is a letter, not a film.\nIt has two lines.\n");
    writeBytes(shop.file("noise.mov"), std::string(5000, '\x7f'));
    std::filesystem::create_directory(shop.file("folder.mp4"));
    ::mkfifo(shop.file("pipe.mp4").c_str(), 0600);
    ASSERT_EQ(shell("ffmpeg -v error -f lavfi -i sine=duration=1 '" + shop.file("tone.wav") + "'"), 0);
    for (const char* name :
         {"missing.mp4", "empty.mp4", "text.mp4", "noise.mov", "folder.mp4", "pipe.mp4", "tone.wav"}) {
        expectRefused(shop, {"join", shop.file(name), good, "-o", shop.file("o.mp4")}, 3, shop.file(name));
        expectRefused(shop, {"join", good, shop.file(name), "-o", shop.file("o.mp4")}, 3, shop.file(name));
        expectRefused(shop, {"frame", shop.file(name), good, "-o", shop.file("o.png")}, 3, shop.file(name));
        expectRefused(shop, {"sheet", good, shop.file(name), "-o", shop.file("o.png")}, 3, shop.file(name));
    }
}

TEST(RefusalTest, ACutOffMovieIsRefusedWhenNothingCanBeHad) {
    const Workshop shop;
    const std::string bytes = bytesOf(movieIn(shop));
    writeBytes(shop.file("cut.mp4"), bytes.substr(0, 200));
    expectRefused(shop, {"join", shop.file("cut.mp4"), scene("city", 1), "-o", shop.file("o.mp4")}, 3,
                  "cut.mp4");
}

TEST(RefusalTest, AnOutputThatIsAnInputIsRefusedAlsoByLink) {
    const Workshop shop;
    const std::string a = movieIn(shop);
    const std::string bytes = bytesOf(a);
    std::filesystem::create_hard_link(a, shop.file("hard.mp4"));
    std::filesystem::create_symlink(a, shop.file("soft.mp4"));
    for (const char* name : {"a.mp4", "hard.mp4", "soft.mp4"})
        expectRefused(shop, {"join", a, scene("city", 1), "-o", shop.file(name), "--force"}, 2, name);
    expectRefused(shop, {"out", shop.file("soft.mp4"), "-o", shop.folder().string() + "/./a.mp4", "--force"},
                  2, "a.mp4");
    expectRefused(shop, {"out", a, "-o", "md5:" + a, "--force"}, 2, "a.mp4");
    expectRefused(shop, {"out", a, "-o", "null:", "--report", a, "--force"}, 2, "a.mp4");
    EXPECT_EQ(bytesOf(a), bytes);
}

TEST(RefusalTest, APictureOfTheSequenceThatIsAnInputIsRefused) {
    const Workshop shop;
    ASSERT_EQ(shop.run({"frame", scene("harbour", 1), scene("city", 1), "-o", shop.file("p007.png"), "--of",
                        "10", "-q"})
                  .code,
              0);
    const std::string bytes = bytesOf(shop.file("p007.png"));
    expectRefused(shop,
                  {"join", shop.file("p007.png"), scene("city", 1), "-o", shop.file("p%03d.png"), "-d", "10f",
                   "--force"},
                  2, "p007.png");
    EXPECT_EQ(bytesOf(shop.file("p007.png")), bytes);
}

TEST(RefusalTest, AnExistingOutputStaysWithoutForce) {
    const Workshop shop;
    for (const char* name : {"old.mp4", "old.png"}) writeBytes(shop.file(name), "precious");
    expectRefused(shop, {"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("old.mp4")}, 4,
                  "old.mp4");
    expectRefused(shop, {"frame", scene("harbour", 1), scene("city", 1), "-o", shop.file("old.png")}, 4,
                  "old.png");
    expectRefused(shop, {"sheet", scene("harbour", 1), scene("city", 1), "-o", shop.file("old.png")}, 4,
                  "old.png");
    expectRefused(shop,
                  {"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("new.mp4"), "--report",
                   shop.file("old.png")},
                  4, "old.png");
    EXPECT_EQ(bytesOf(shop.file("old.mp4")), "precious");
    EXPECT_EQ(bytesOf(shop.file("old.png")), "precious");
    ASSERT_EQ(shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("old.mp4"), "-d",
                        "10f", "--force"})
                  .code,
              0);
    EXPECT_NE(bytesOf(shop.file("old.mp4")), "precious");
}

TEST(RefusalTest, OutputsThatCannotBeMadeAreRefusedBeforeInputsAreOpened) {
    const Workshop shop;
    writeBytes(shop.file("file"), "x");
    std::filesystem::create_directory(shop.file("folder.mp4"));
    const std::string missing = shop.file("not-there.mp4");
    for (const char* name : {"no/such/o.mp4", "file/o.mp4", "folder.mp4"})
        expectRefused(shop, {"join", missing, missing, "-o", shop.file(name)}, 4, name);
    expectRefused(shop, {"frame", missing, missing, "-o", shop.file("no/o.png")}, 4, "o.png");
    expectRefused(shop, {"join", missing, missing, "-o", shop.file("o.xyz")}, 2, "o.xyz");
    expectRefused(shop, {"frame", missing, missing, "-o", shop.file("o.jpg")}, 2, "o.jpg");
}

TEST(RefusalTest, WrongIdsNameTheNearestAndTheRightCommand) {
    const Workshop shop;
    const std::string a = scene("harbour", 1);
    const std::string b = scene("city", 1);
    const std::string o = shop.file("o.mp4");
    expectRefused(shop, {"join", a, b, "-o", o, "-e", "wash-awya"}, 2, "did you mean wash-away?");
    expectRefused(shop, {"join", a, b, "-o", o, "-e", "14"}, 2, "unknown effect '14'");
    expectRefused(shop, {"join", a, b, "-o", o, "-e", "wash-out"}, 2, "tumblewash out");
    expectRefused(shop, {"out", a, "-o", o, "-e", "wash-away"}, 2, "tumblewash join");
    expectRefused(shop, {"in", a, "-o", o, "-e", "wash-out"}, 2, "tumblewash out");
    expectRefused(shop, {"join", a, b, "-o", o, "-e", "wash-away,morph"}, 2, "2 effects for one seam");
    expectRefused(shop, {"frame", a, b, "-o", shop.file("o.png"), "-e", "none"}, 2, "none is not an effect");
    expectRefused(shop, {"frame", a, "-o", shop.file("o.png"), "-e", "morph"}, 2, "give a second one");
}

TEST(RefusalTest, ImpossibleSizesAreRefusedInWordsAtBothEdges) {
    const Workshop shop;
    const std::string a = scene("harbour", 1);
    const std::string b = scene("city", 1);
    const auto join = [&](const std::string& size, const std::string& out) {
        return std::vector<std::string>{"join", a, b, "-o", out, "-d", "10f", "--size", size};
    };
    expectRefused(shop, join("15x16", "null:"), 2, "16 or more");
    expectRefused(shop, join("16x15", "null:"), 2, "16 or more");
    expectRefused(shop, join("4096x16", "null:"), 2, "4095 pixels across");
    expectRefused(shop, join("0x0", "null:"), 2, "16 or more");
    expectRefused(shop, join("65x48", shop.file("o.mp4")), 2, "--size 66x48");
    EXPECT_EQ(shop.run(join("16x16", "null:")).code, 0);
    EXPECT_EQ(shop.run(join("4095x16", "null:")).code, 0);
    expectRefused(shop, {"join", "pattern:bars?size=5000x64&seconds=1", b, "-o", "null:"}, 2,
                  "give --size 4094x52");
}

TEST(RefusalTest, AClipTooShortForItsSeamsIsRefusedWithTheNumbers) {
    const Workshop shop;
    const std::string a = scene("harbour", 2);
    expectRefused(shop, {"join", a, scene("city", 0.4), "-o", "null:", "-d", "20f"}, 2,
                  "10 frames are too few: wash-away takes 20");
    expectRefused(shop, {"join", a, scene("city", 0.04), "-o", "null:", "-d", "20f"}, 2,
                  "1 frame is too few: wash-away takes 20");
    expectRefused(shop, {"join", a, scene("city", 1), a, "-o", "null:", "-d", "20f"}, 2, "40 in all");
    expectRefused(shop, {"out", scene("city", 0.4), "-o", "null:", "-d", "20f"}, 2, "wash-out takes 20");
    expectRefused(shop, {"frame", a, scene("city", 0.4), "-o", shop.file("o.png"), "--of", "20"}, 2,
                  "takes 20");
    expectRefused(shop, {"frame", a, scene("city", 0.04), "-o", shop.file("o.png"), "--of", "20"}, 2,
                  "1 frame is too few: wash-away takes 20");
    expectRefused(shop, {"join", a, a, "-o", "null:", "-d", "1f"}, 2, "2 frames or more");
    expectRefused(shop, {"join", a, a, "-o", "null:", "-d", "0s"}, 2, "2 frames or more");
}

TEST(RefusalTest, APluginThatIsNoneIsRefused) {
    const Workshop shop;
    writeBytes(shop.file("p.so"), "no module");
    expectRefused(shop, {"list", "--plugin", shop.file("p.so")}, 3, "p.so");
    expectRefused(
        shop,
        {"join", scene("harbour", 1), scene("city", 1), "-o", "null:", "--plugin", shop.file("none.so")}, 3,
        "none.so");
}

TEST(RefusalTest, ABrokenClipRendersWhatCanBeHadAndSaysHowMuch) {
    const Workshop shop;
    ASSERT_EQ(shop.run({"join", scene("harbour", 4), scene("city", 4), "-o", shop.file("a.mkv"), "-e", "none",
                        "-q"})
                  .code,
              0);
    std::string bytes = bytesOf(shop.file("a.mkv"));
    writeBytes(shop.file("cut.mkv"), bytes.substr(0, bytes.size() / 2));
    for (std::size_t i = bytes.size() / 3; i < bytes.size() / 2; ++i) bytes[i] = static_cast<char>(i * 37);
    writeBytes(shop.file("holed.mkv"), bytes);
    for (const char* name : {"cut.mkv", "holed.mkv"}) {
        const RunResult result = shop.run(
            {"join", shop.file(name), scene("city", 2), "-o", shop.file("o.mp4"), "-d", "10f", "-f", "-q"});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr("tumblewash: " + shop.file(name) + ": the file is cut off: "));
        EXPECT_FALSE(streamOf(probeJson(shop.file("o.mp4")), "video").is_null());
    }
}

TEST(RefusalTest, FullDisksAndClosedPipesEndInOneLineAndLeaveTheOldFile) {
    const Workshop shop;
    writeBytes(shop.file("o.mp4"), "old");
    // A limit on file size stands in for a full disk.
    const std::string limited = "ulimit -f 8; '" + std::string(TUMBLEWASH_PROGRAM) + "' join '" +
                                scene("harbour", 3, "320x240") + "' '" + scene("city", 3, "320x240") +
                                "' -o '" + shop.file("o.mp4") + "' -f --crf 1 -q 2> '" + shop.file("said") +
                                "'";
    EXPECT_EQ(shell("bash -c \"" + limited + "\""), 1);
    EXPECT_EQ(linesOf(bytesOf(shop.file("said"))).size(), 1U) << bytesOf(shop.file("said"));
    EXPECT_THAT(bytesOf(shop.file("said")), HasSubstr("o.mp4"));
    EXPECT_EQ(bytesOf(shop.file("o.mp4")), "old");
    EXPECT_THAT(shop.names(), testing::ElementsAre("o.mp4", "said"));
    const std::string piped = "set -o pipefail; '" + std::string(TUMBLEWASH_PROGRAM) + "' join '" +
                              scene("harbour", 3) + "' '" + scene("city", 3) + "' -o md5: -q 2> '" +
                              shop.file("said") + "' | head -n 1 > /dev/null";
    EXPECT_EQ(shell("bash -c \"" + piped + "\""), 1);
    EXPECT_EQ(linesOf(bytesOf(shop.file("said"))).size(), 1U) << bytesOf(shop.file("said"));
}

TEST(OutputsTest, ATextFileIsReplacedWholeOrNotAtAll) {
    const Workshop shop;
    TextFile(shop.file("t"), "one\n", false).commit();
    {
        TextFile second(shop.file("t"), "two\n", true);
        EXPECT_EQ(bytesOf(shop.file("t")), "one\n");
        second.commit();
    }
    EXPECT_EQ(bytesOf(shop.file("t")), "two\n");
    { const TextFile abandoned(shop.file("t"), "three\n", true); }
    EXPECT_EQ(bytesOf(shop.file("t")), "two\n");
    EXPECT_THAT(shop.names(), testing::ElementsAre("t"));
    EXPECT_ANY_THROW(TextFile(shop.file("no/t"), "x", true));
}

}  // namespace
}  // namespace tumblewash::app
