// Files that were there before a run: none is lost that the user did not give away, by whatever names the
// command line calls it, and what a run leaves is what it says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Two photos of a folder of photos.
void makePhotos(const Workshop& shop, const std::vector<std::string>& names) {
    for (const std::string& name : names)
        ASSERT_EQ(shell("ffmpeg -v error -nostdin -f lavfi -i color=c=red:s=32x24 -frames:v 1 '" +
                        shop.file(name) + "'"),
                  0);
}

std::string smallMovie(const Workshop& shop, const std::string& name) {
    const std::string file = shop.file(name);
    EXPECT_EQ(shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", file, "-e", "none", "-q"}).code,
              0);
    return file;
}

// Refused before anything is rendered, in one line, with every file as it was.
void expectRefused(const Workshop& shop, const std::vector<std::string>& words, const std::string& part) {
    const std::vector<std::string> before = shop.names();
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, 2) << result.err;
    EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    EXPECT_THAT(result.err, HasSubstr(part));
    EXPECT_EQ(shop.names(), before);
}

TEST(NothingLostTest, ASequenceLeavesItsInputsAndOtherPicturesAlone) {
    const Workshop shop;
    makePhotos(shop, {"500.png", "501.png", "700.png"});
    const std::string photo = bytesOf(shop.file("500.png"));
    const RunResult result =
        shop.run({"join", shop.file("500.png"), shop.file("501.png"), "-o", shop.file("%d.png"), "--still",
                  "12f", "-d", "4f", "--size", "64x48", "--force"});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("3 pictures of higher numbers stay"));
    for (const char* name : {"500.png", "501.png", "700.png"}) EXPECT_EQ(bytesOf(shop.file(name)), photo);
    EXPECT_THAT(shop.names(), AllOf(Contains("1.png"), Contains("20.png"), Not(Contains("21.png"))));
}

TEST(NothingLostTest, AnInputThatASequenceWouldReplaceIsRefusedHoweverItsNumberIsPadded) {
    const Workshop shop;
    makePhotos(shop, {"2.png", "    3.png", "004.png"});
    const std::vector<std::pair<std::string, std::string>> pairs{
        {"2.png", "%d.png"}, {"    3.png", "%5d.png"}, {"004.png", "%03d.png"}};
    for (const auto& [input, pattern] : pairs)
        expectRefused(shop,
                      {"join", shop.file(input), scene("city", 1), "-o", shop.file(pattern), "-d", "4f",
                       "--still", "8f", "--force"},
                      input);
}

TEST(NothingLostTest, AnInputThatASequenceWouldRemoveIsRefused) {
    const Workshop shop;
    const std::vector<std::string> words{
        "join", scene("harbour", 1), scene("city", 1), "-o", shop.file("p%d.png"), "-d", "4f", "-q"};
    ASSERT_EQ(shop.run(words).code, 0);
    // Shorter than the run before, which wrote number 40.
    expectRefused(shop,
                  {"join", shop.file("p40.png"), scene("city", 1), "-o", shop.file("p%d.png"), "--still",
                   "6f", "-d", "4f", "--force"},
                  "p40.png");
}

TEST(NothingLostTest, NoTwoFilesOfOneCommandAreOne) {
    const Workshop shop;
    const std::string a = smallMovie(shop, "a.mp4");
    const std::string b = smallMovie(shop, "b.mp4");
    const std::string dotted = shop.folder().string() + "/./";
    const std::vector<std::string> join{"join", a, b, "--force", "-d", "4f"};
    const auto with = [](std::vector<std::string> words, const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    const std::string x = shop.file("x.mp4");
    expectRefused(shop, with(join, {"-o", x, "--report", dotted + "x.mp4"}), "x.mp4");
    expectRefused(shop, with(join, {"-o", x, "--mlt", dotted + "x.mp4"}), "x.mp4");
    expectRefused(shop, with(join, {"-o", x, "--mlt", shop.file("p"), "--report", dotted + "p"}), "/p");
    expectRefused(shop, with(join, {"-o", "md5:" + x, "--report", dotted + "x.mp4"}), "x.mp4");
    expectRefused(shop, with(join, {"-o", "md5:" + a}), "a.mp4");
    expectRefused(shop, with(join, {"-o", "null:", "--mlt", b}), "b.mp4");
    expectRefused(shop, with(join, {"-o", shop.file("p%d.png"), "--report", shop.file("p7.png")}), "p7.png");
    const std::string png = shop.file("x.png");
    for (const char* command : {"frame", "sheet", "field"}) {
        makePhotos(shop, {std::string(command).append(".png")});
        const std::string photo = shop.file(std::string(command).append(".png"));
        expectRefused(shop, {command, photo, scene("city", 1), "-o", photo, "--force"}, photo);
    }
    expectRefused(shop, {"frame", a, b, "-o", png, "--report", dotted + "x.png", "--force"}, "x.png");
    expectRefused(shop, {"frame", a, b, "-o", png, "--report", b, "--force"}, "b.mp4");
    std::filesystem::copy_file(TUMBLEWASH_MODULE, shop.file("module.so"));
    expectRefused(
        shop,
        with(join, {"-o", "null:", "--plugin", shop.file("module.so"), "--report", dotted + "module.so"}),
        "module.so");
}

TEST(NothingLostTest, AnEmptyFileNameIsRefusedForEveryOption) {
    const Workshop shop;
    const std::vector<std::string> join{"join", scene("harbour", 1), scene("city", 1), "-o", "null:"};
    for (const char* option : {"--report", "--mlt", "--plugin"}) {
        std::vector<std::string> words = join;
        words.insert(words.end(), {option, ""});
        expectRefused(shop, words, option);
    }
    expectRefused(shop, {"frame", scene("harbour", 1), scene("city", 1), "-o", ""}, "-o");
}

TEST(NothingLostTest, ClosedStandardStreamsLeaveTheMovieAsItIs) {
    const Workshop shop;
    const std::string words = std::string(TUMBLEWASH_PROGRAM) + " join '" + scene("harbour", 1) + "' '" +
                              scene("city", 1) + "' -d 4f --progress kv --force -o '";
    const std::string said = " >'" + shop.file(".out") + "' 2>'" + shop.file(".err") + "'";
    ASSERT_EQ(shell(words + shop.file("whole.mp4") + "'" + said), 0);
    const std::string whole = bytesOf(shop.file("whole.mp4"));
    int tried = 0;
    for (const char* closed : {"<&-", ">&-", "2>&-", "<&- >&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
        const std::string file = shop.file(std::to_string(tried++).append(".mp4"));
        EXPECT_EQ(shell(words + file + "'" + said + " " + closed), 0) << closed;
        EXPECT_EQ(bytesOf(file), whole) << closed;
    }
    // Long enough for lines of progress while the movie is open.
    const std::string longer = std::string(TUMBLEWASH_PROGRAM) + " join '" +
                               scene("harbour", 30, "32x32", false) + "' '" +
                               scene("city", 30, "32x32", false) + "' -d 4f --progress kv --force -o '";
    ASSERT_EQ(shell(longer + shop.file("long.mp4") + "'" + said), 0);
    ASSERT_EQ(shell(longer + shop.file("mute.mp4") + "'" + said + " >&-"), 0);
    EXPECT_EQ(bytesOf(shop.file("mute.mp4")), bytesOf(shop.file("long.mp4")));
    // What was asked for on a stream that is closed cannot be had.
    EXPECT_EQ(shell(std::string(TUMBLEWASH_PROGRAM) + " list 2>/dev/null >&-"), 1);
}

TEST(NothingLostTest, AFailedMovieLeavesNoProjectAndNoReport) {
    const Workshop shop;
    const std::string a = smallMovie(shop, "a.mp4");
    const std::string b = smallMovie(shop, "b.mp4");
    writeBytes(shop.file("old.mlt"), "the old project");
    const std::vector<std::string> before = shop.names();
    const std::string words = "ulimit -f 8; trap '' XFSZ; exec " + std::string(TUMBLEWASH_PROGRAM) +
                              " join '" + a + "' '" + b + "' -d 4f --size 640x480 --crf 0 --force -o '" +
                              shop.file("o.mp4") + "' --report '" + shop.file("r.json") + "' --mlt '";
    for (const char* project : {"new.mlt", "old.mlt"}) {
        EXPECT_EQ(shell("bash -c \"" + words + shop.file(project) + "'\" 2>'" + shop.file(".err") + "'"), 1)
            << bytesOf(shop.file(".err"));
        EXPECT_EQ(shop.names(), before);
        EXPECT_EQ(bytesOf(shop.file("old.mlt")), "the old project");
    }
}

TEST(NothingLostTest, WhatWasWrittenBeforeAFailureIsNamed) {
    const Workshop shop;
    const std::string words = "ulimit -f 64; trap '' XFSZ; exec " + std::string(TUMBLEWASH_PROGRAM) +
                              " join '" + scene("harbour", 20, "16x16", false) + "' '" +
                              scene("city", 20, "16x16", false) + "' -e wash-away -d 500f -o md5:'" +
                              shop.file("sums") + "' --report '" + shop.file("r.json") + "'";
    // The sums of a thousand pictures have 45 KiB; the report with its levels has more than the sums here.
    const int code = shell("bash -c \"" + words + "\" 2>'" + shop.file(".err") + "'");
    const std::string said = bytesOf(shop.file(".err"));
    if (code == 0) {
        EXPECT_THAT(shop.names(), ElementsAre("r.json", "sums"));
    } else {
        EXPECT_THAT(said, AllOf(HasSubstr("r.json"), HasSubstr("sums was written")));
        EXPECT_THAT(shop.names(), ElementsAre("sums"));
    }
}

TEST(NothingLostTest, AnInterruptedDemoNamesWhatItHasMade) {
    const Workshop shop;
    RunningProgram program({"demo", shop.file("demo"), "--size", "320x240"}, shop.folder());
    for (int i = 0; i < 3000 && !std::filesystem::exists(shop.file("demo/wash-away.mp4")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    program.signal(SIGTERM);
    const RunResult result = program.wait();
    EXPECT_NE(result.code, 0);
    EXPECT_THAT(result.err, HasSubstr("wash-away.mp4 was written"));
    EXPECT_EQ(probeJson(shop.file("demo/wash-away.mp4"))["streams"].size(), 2U);

    const Workshop early;
    RunningProgram first({"demo", early.file("demo"), "--size", "320x240"}, early.folder());
    first.waitForHandler(SIGTERM);
    first.signal(SIGTERM);
    EXPECT_THAT(first.wait().err, HasSubstr("nothing was written"));
    EXPECT_TRUE(early.names().empty());
}

TEST(NothingLostTest, ADemoWhoseWordsCannotBeWrittenFails) {
    const Workshop shop;
    EXPECT_EQ(shell(std::string(TUMBLEWASH_PROGRAM) + " demo '" + shop.file("demo") +
                    "' --size 16x16 >/dev/full 2>'" + shop.file(".err") + "'"),
              1);
    EXPECT_EQ(linesOf(bytesOf(shop.file(".err"))).size(), 1U);
    EXPECT_THAT(bytesOf(shop.file(".err")),
                AllOf(HasSubstr("disk is full"), HasSubstr("wash-away.mp4 was written")));
}

TEST(NothingLostTest, AFramesReportTellsBothInputsAsWhatTheyAre) {
    const Workshop shop;
    makePhotos(shop, {"photo.png"});
    const std::string movie = smallMovie(shop, "a.mp4");
    ASSERT_EQ(shop.run({"frame", shop.file("photo.png"), movie, "-o", shop.file("x.png"), "--of", "10",
                        "--size", "64x48", "--report", shop.file("r.json"), "-q"})
                  .code,
              0);
    const nlohmann::json report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
    ASSERT_EQ(report["clips"].size(), 2U);
    EXPECT_EQ(report["clips"][0]["kind"], "still");
    EXPECT_EQ(report["clips"][0]["width"], 32);
    EXPECT_EQ(report["clips"][0]["frames"], 1);
    EXPECT_FALSE(report["clips"][0]["sound"]);
    EXPECT_EQ(report["clips"][1]["kind"], "clip");
    EXPECT_EQ(report["clips"][1]["width"], 64);
    EXPECT_EQ(report["clips"][1]["frames"], 50);
    EXPECT_TRUE(report["clips"][1]["sound"]);
    EXPECT_EQ(report["clips"][1]["rate"]["num"], 25);
    EXPECT_EQ(report["transitions"][0]["clipB"], 1);
}

}  // namespace
}  // namespace tumblewash::app
