// Folders, photos and music as people hand them over: what is guessed, what is said, what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>

#include "app/Progress.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::HasSubstr;

/// One of ffmpeg's test pictures.
void photo(const std::string& file, const std::string& size = "64x48") {
    ASSERT_EQ(shell("ffmpeg -v error -y -f lavfi -i testsrc=s=" + size + ":d=1 -frames:v 1 '" + file + "'"),
              0);
}

void clip(const std::string& file, const std::string& rate, const std::string& size = "64x48",
          const std::string& sound = "") {
    const std::string source =
        sound.empty() ? "" : " -f lavfi -i \"aevalsrc=" + sound + ":s=48000:d=2\" -c:a pcm_f32le";
    ASSERT_EQ(shell("ffmpeg -v error -y -f lavfi -i testsrc=s=" + size + ":r=" + rate + ":d=2" + source +
                    " -c:v mpeg4 '" + file + "'"),
              0);
}

/// A folder of photos with other things among them.
void holiday(const Workshop& shop) {
    const std::filesystem::path folder = shop.folder() / "holiday";
    std::filesystem::create_directories(folder / "inside");
    photo(shop.file("holiday/img10.png"));
    for (const char* name : {"img2.png", "IMG_3.png", "img1.png", ".hidden.png", "inside/img4.png"})
        std::filesystem::copy_file(folder / "img10.png", folder / name);
    std::ofstream(folder / "notes.txt") << "what we saw";
}

nlohmann::json reportOf(const Workshop& shop) {
    return nlohmann::json::parse(bytesOf(shop.file("r.json")));
}

TEST(FolderTest, ItStandsForItsMediaInTheOrderOfTheirNumbers) {
    const Workshop shop;
    holiday(shop);
    const RunResult result = shop.run({"join", shop.file("holiday"), "--dry-run"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.err,
                testing::AllOf(HasSubstr("left out: notes.txt"), testing::Not(HasSubstr("hidden"))));
    std::size_t at = 0;
    for (const char* name : {"img1.png", "img2.png", "img10.png", "IMG_3.png"}) {
        const std::size_t found = result.out.find(name, at);
        ASSERT_NE(found, std::string::npos) << name << "\n" << result.out;
        at = found;
    }
    EXPECT_THAT(result.out, testing::Not(HasSubstr("img4.png")));
    EXPECT_THAT(shop.names(), testing::ElementsAre("holiday"));
}

TEST(FolderTest, AResultInsideItIsNoInputOfTheNextRun) {
    const Workshop shop;
    holiday(shop);
    const std::vector<std::string> words{"join",    shop.file("holiday"),
                                         "-o",      shop.file("holiday/show.mkv"),
                                         "--size",  "64x48",
                                         "--still", "10f",
                                         "-d",      "4f",
                                         "--fps",   "10",
                                         "-q",      "-f"};
    ASSERT_EQ(shop.run(words).code, 0);
    const RunResult again = shop.run(words);
    EXPECT_EQ(again.code, 0) << again.err;
    EXPECT_EQ(streamOf(probeJson(shop.file("holiday/show.mkv")), "video")["nb_read_frames"], "28");
}

TEST(FolderTest, OneWithoutMediaIsRefusedInOneLine) {
    const Workshop shop;
    std::filesystem::create_directories(shop.folder() / "empty");
    std::filesystem::create_directories(shop.folder() / "texts");
    std::ofstream(shop.folder() / "texts/a\n\033[2Jb.txt") << "no picture";
    for (const char* folder : {"empty", "texts"}) {
        const RunResult result = shop.run({"slideshow", shop.file(folder), "-o", shop.file("o.mp4")});
        EXPECT_EQ(result.code, 3);
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
        EXPECT_THAT(result.err, HasSubstr("holds no clip and no photo"));
    }
    photo(shop.file("texts/one.png"));
    const RunResult said = shop.run({"slideshow", shop.file("texts"), "--dry-run"});
    EXPECT_EQ(said.code, 0) << said.err;
    EXPECT_THAT(said.err, testing::AllOf(HasSubstr("left out: \"a\\n\\033[2Jb.txt\""),
                                         testing::Not(HasSubstr("\033"))));
    const RunResult one = shop.run({"join", shop.file("texts"), "-o", shop.file("o.mp4")});
    EXPECT_EQ(one.code, 2);
    EXPECT_THAT(one.err, HasSubstr("join needs at least 2 inputs"));
    EXPECT_THAT(shop.names(), testing::ElementsAre("empty", "texts"));
}

TEST(FolderTest, ItsPlanIsADocumentThatRendersAsTheJoin) {
    const Workshop shop;
    holiday(shop);
    const std::vector<std::string> more{"--size", "64x48", "--hold", "6f", "-d", "4f", "--fps", "10", "-q"};
    std::vector<std::string> plan{"plan", shop.file("holiday"), "-o", shop.file("h.edit.json")};
    std::vector<std::string> join{"join", shop.file("holiday"), "-o", "md5:"};
    plan.insert(plan.end(), more.begin(), more.end());
    join.insert(join.end(), more.begin(), more.end());
    ASSERT_EQ(shop.run(plan).code, 0);
    const RunResult joined = shop.run(join);
    EXPECT_EQ(joined.code, 0);
    EXPECT_EQ(shop.run({"render", shop.file("h.edit.json"), "-o", "md5:", "-q"}).out, joined.out);
    EXPECT_THAT(bytesOf(shop.file("h.edit.json")), HasSubstr("\"hold\": \"6f\""));
    // Four photos stand whole for 6 frames each, and between them lie 3 seams of 4.
    EXPECT_EQ(linesOf(joined.out).size(), 4U * 6 + 3 * 4);
}

TEST(SlideshowTest, SizeAndRateAreAScreensOrTheFirstClips) {
    const Workshop shop;
    photo(shop.file("small.png"));
    photo(shop.file("huge.png"), "5640x200");
    clip(shop.file("c.mkv"), "25", "160x96");
    const RunResult photos =
        shop.run({"slideshow", shop.file("huge.png"), shop.file("small.png"), "--dry-run"});
    EXPECT_THAT(photos.out, testing::AllOf(HasSubstr("1920x1080"), HasSubstr("at 30 frames per second")))
        << photos.err;
    const RunResult mixed = shop.run({"join", shop.file("huge.png"), shop.file("c.mkv"), "--dry-run"});
    EXPECT_THAT(mixed.out, testing::AllOf(HasSubstr("160x96"), HasSubstr("at 25 frames per second")))
        << mixed.err;
    const RunResult named =
        shop.run({"join", shop.file("c.mkv"), shop.file("c.mkv"), "--dry-run", "--size", "720p"});
    EXPECT_THAT(named.out, HasSubstr("1280x720")) << named.err;
}

TEST(SlideshowTest, RatesThatNoPlayerIsMadeForGoToTheNearestUsualOneWhichIsSaid) {
    const Workshop shop;
    clip(shop.file("phone.mkv"), "27019/1000");
    clip(shop.file("slow.mkv"), "20");
    clip(shop.file("usual.mkv"), "30");
    const auto plan = [&](const std::string& a, const std::string& b) {
        return shop.run({"join", shop.file(a), shop.file(b), "--dry-run", "--copy-bodies=never"});
    };
    const RunResult phone = plan("phone.mkv", "phone.mkv");
    EXPECT_THAT(phone.out, HasSubstr("at 25 frames per second"));
    EXPECT_THAT(phone.err, testing::AllOf(HasSubstr("phone.mkv: 27.0"), HasSubstr("the result has 25")));
    const RunResult lone = plan("slow.mkv", "usual.mkv");
    EXPECT_THAT(lone.out, HasSubstr("at 30 frames per second"));
    EXPECT_THAT(lone.err, HasSubstr("slow.mkv: 20 frames per second; the result has 30, as most clips"));
    const RunResult same = plan("slow.mkv", "slow.mkv");
    EXPECT_THAT(same.out, HasSubstr("at 20 frames per second"));
    EXPECT_EQ(same.err, "");
}

TEST(SlideshowTest, APhotoTooShortAsksForALongerStill) {
    const Workshop shop;
    photo(shop.file("a.png"));
    const RunResult result = shop.run({"join", shop.file("a.png"), shop.file("a.png"), "-o",
                                       shop.file("o.mp4"), "--still", "1s", "-d", "2s", "--fps", "25"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("use a longer --still (at least 2.00s) or a shorter --duration"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("longer clip")));
    const RunResult both = shop.run({"join", shop.file("a.png"), shop.file("a.png"), "-o", shop.file("o.mp4"),
                                     "--still", "1s", "--hold", "2s"});
    EXPECT_EQ(both.code, 2);
    EXPECT_THAT(shop.names(), testing::ElementsAre("a.png"));
}

TEST(SlideshowTest, PhotosOfEveryShapeAndSizeAreShownWhole) {
    const Workshop shop;
    photo(shop.file("a1x1.png"), "1x1");
    photo(shop.file("b16384x16.png"), "16384x16");
    photo(shop.file("c16x2000.png"), "16x2000");
    const RunResult result = shop.run({"slideshow", shop.folder().string(), "-o", shop.file("o.mkv"),
                                       "--hold", "2f", "-d", "2f", "--fps", "10", "--size", "96x64", "-q"});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(streamOf(probeJson(shop.file("o.mkv")), "video")["nb_read_frames"], "10");
    // Alone they would give the result their own size, which no movie can have.
    for (const char* name : {"a1x1.png", "b16384x16.png"}) {
        const RunResult alone = shop.run({"slideshow", shop.file(name), "-o", shop.file("p.mkv")});
        EXPECT_EQ(alone.code, name[0] == 'a' ? 2 : 0) << alone.err;
        if (alone.code == 0) continue;
        EXPECT_EQ(linesOf(alone.err).size(), 1U) << alone.err;
        EXPECT_THAT(alone.err, testing::AllOf(HasSubstr(name), HasSubstr("--size")));
    }
}

TEST(SlideshowTest, AThousandPhotosArePlannedByTheirHeads) {
    const Workshop shop;
    const std::filesystem::path folder = shop.folder() / "many";
    std::filesystem::create_directories(folder);
    photo(shop.file("one.png"));
    for (int i = 0; i < 1000; ++i)
        std::filesystem::create_hard_link(shop.file("one.png"), folder / ("p" + std::to_string(i) + ".png"));
    const RunResult result = shop.run({"slideshow", folder.string(), "--dry-run", "--size", "64x48"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_LT(result.out.find("p9.png"), result.out.find("p10.png"));
    EXPECT_LT(result.out.find("p99.png"), result.out.find("p100.png"));
    EXPECT_NE(result.out.find("p999.png"), std::string::npos);
}

TEST(SlideshowTest, StillsMoveAsTheSeedSaysAndPartsMoveAsTheWhole) {
    const Workshop shop;
    photo(shop.file("a.png"), "120x90");
    photo(shop.file("b.jpg"), "60x90");
    const auto hashes = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words{"join",
                                       shop.file("a.png"),
                                       shop.file("b.jpg"),
                                       "-o",
                                       "md5:",
                                       "--size",
                                       "96x64",
                                       "--hold",
                                       "6f",
                                       "-d",
                                       "4f",
                                       "--fps",
                                       "10",
                                       "-q",
                                       "--still-motion"};
        words.insert(words.end(), more.begin(), more.end());
        const RunResult result = shop.run(words);
        EXPECT_EQ(result.code, 0) << result.err;
        std::vector<std::string> lines = linesOf(result.out);
        for (std::string& line : lines) line.erase(0, line.rfind(' '));
        return lines;
    };
    const std::vector<std::string> zoom = hashes({"zoom"});
    ASSERT_EQ(zoom.size(), 16U);
    EXPECT_EQ(std::set<std::string>(zoom.begin(), zoom.end()).size(), zoom.size()) << "every picture differs";
    EXPECT_EQ(hashes({"zoom", "-j", "3"}), zoom);
    const std::vector<std::string> part = hashes({"zoom", "--only", "8f..14f"});
    EXPECT_EQ(part, std::vector<std::string>(zoom.begin() + 8, zoom.begin() + 14));
    EXPECT_NE(hashes({"pan"}), zoom);
    const std::vector<std::string> rest = hashes({"none"});
    EXPECT_EQ(std::set<std::string>(rest.begin(), rest.begin() + 6).size(), 1U);
    EXPECT_EQ(std::set<std::string>(rest.end() - 6, rest.end()).size(), 1U);
    const RunResult wrong =
        shop.run({"join", shop.file("a.png"), shop.file("b.jpg"), "-o", "null:", "--still-motion", "zooom"});
    EXPECT_EQ(wrong.code, 2);
    EXPECT_THAT(wrong.err, HasSubstr("did you mean zoom?"));
}

TEST(SlideshowTest, WhatAProjectCannotShowIsRefusedOrSaid) {
    const Workshop shop;
    photo(shop.file("a.png"), "120x90");
    photo(shop.file("b.png"), "60x90");
    const auto project = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words{
            "join", shop.file("a.png"), shop.file("b.png"), "--size", "96x72", "--mlt", shop.file("p.mlt"),
            "-f"};
        words.insert(words.end(), more.begin(), more.end());
        return shop.run(words);
    };
    EXPECT_THAT(project({"--still-motion", "pan"}).err, HasSubstr("leave --still-motion out"));
    EXPECT_THAT(project({"--loudness", "-16LUFS"}).err, HasSubstr("leave --loudness"));
    EXPECT_FALSE(std::filesystem::exists(shop.file("p.mlt")));
    EXPECT_THAT(project({}).err, HasSubstr("p.mlt: photos of another shape stand between black bars"));
    EXPECT_THAT(project({"--fit", "contain"}).err, testing::Not(HasSubstr("bars")));
}

TEST(SlideshowTest, WordsOfOtherProgramsAreAnswered) {
    const Workshop shop;
    const auto refused = [&](const std::vector<std::string>& words) {
        const RunResult result = shop.run(words);
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(linesOf(result.err).size(), 1U);
        return result.err;
    };
    const std::string a = scene("harbour", 1);
    EXPECT_THAT(refused({"concat", a, a}), HasSubstr("did you mean join?"));
    EXPECT_THAT(refused({"merge", a, a, "-o", "x.mp4"}), HasSubstr("to join clips, use tumblewash join"));
    EXPECT_THAT(refused({"join", a, a, "--transition", "morph", "-o", "null:"}),
                HasSubstr("did you mean --effect?"));
    EXPECT_THAT(refused({"join", a, a, "-y", "-o", "null:"}), HasSubstr("did you mean --force?"));
    EXPECT_THAT(refused({"join", a, a, "-e", "fade", "-o", "null:"}), HasSubstr("did you mean morph?"));
    EXPECT_THAT(refused({"join", a, a, "-e", "random", "-o", "null:"}), HasSubstr("did you mean shuffle?"));
    EXPECT_THAT(refused({"join", a, a, "--soundtrack", "x", "-o", "null:"}),
                HasSubstr("did you mean --music?"));
}

TEST(SoundOptionTest, WithoutTheLimiterPeaksStayAndAreCounted) {
    const Workshop shop;
    clip(shop.file("loud.mkv"), "25", "64x48", "1.4*sin(2*PI*440*t)");
    const std::vector<std::string> words{"join",
                                         shop.file("loud.mkv"),
                                         shop.file("loud.mkv"),
                                         "-o",
                                         shop.file("o.mkv"),
                                         "--report",
                                         shop.file("r.json"),
                                         "-d",
                                         "10f",
                                         "-f"};
    const auto soundWith = [&](const std::vector<std::string>& more) {
        std::vector<std::string> all = words;
        all.insert(all.end(), more.begin(), more.end());
        const RunResult result = shop.run(all);
        EXPECT_EQ(result.code, 0) << result.err;
        return reportOf(shop)["sound"];
    };
    EXPECT_EQ(soundWith({})["channels"], 1) << "a mono join stays mono";
    const nlohmann::json off = soundWith({"--no-limiter"});
    EXPECT_FALSE(off.contains("limiter"));
    EXPECT_GT(off["overFullScale"].get<int>(), 10000);
    soundWith({"--channels", "stereo"});
    EXPECT_EQ(streamOf(probeJson(shop.file("o.mkv")), "audio")["channels"], 2);
}

TEST(SoundOptionTest, ClipsAreBroughtToOneLoudness) {
    const Workshop shop;
    clip(shop.file("quiet.mkv"), "25", "64x48", "0.02*sin(2*PI*997*t)");
    clip(shop.file("loud.mkv"), "25", "64x48", "0.5*sin(2*PI*997*t)");
    const RunResult result =
        shop.run({"join", shop.file("quiet.mkv"), shop.file("loud.mkv"), "-o", "null:", "--report",
                  shop.file("r.json"), "--loudness", "-20LUFS", "-d", "10f"});
    ASSERT_EQ(result.code, 0) << result.err;
    const nlohmann::json report = reportOf(shop);
    const double quiet = report["clips"][0]["gain"].get<double>();
    const double loud = report["clips"][1]["gain"].get<double>();
    EXPECT_NEAR(quiet - loud, 20 * std::log10(25.0), 0.2);
    EXPECT_THAT(result.err, HasSubstr("quiet.mkv: -3"));
    EXPECT_EQ(report["remarks"].size(), 2U);
}

TEST(MusicTest, ItLiesUnderTheWholeMovieAndIsToldInTheReport) {
    const Workshop shop;
    photo(shop.file("a.png"));
    ASSERT_EQ(
        shell("ffmpeg -v error -y -f lavfi -i sine=r=44100:d=1.5 -c:a libmp3lame " + shop.file("song.mp3")),
        0);
    const std::vector<std::string> words{"join",
                                         shop.file("a.png"),
                                         shop.file("a.png"),
                                         "-o",
                                         shop.file("o.mkv"),
                                         "--music",
                                         shop.file("song.mp3"),
                                         "--size",
                                         "64x48",
                                         "--fps",
                                         "25",
                                         "-d",
                                         "10f",
                                         "--still",
                                         "2s",
                                         "--report",
                                         shop.file("r.json"),
                                         "-q"};
    const RunResult result = shop.run(words);
    ASSERT_EQ(result.code, 0) << result.err;
    const nlohmann::json sound = reportOf(shop)["sound"];
    EXPECT_EQ(sound["samples"], 90 * 1920);
    EXPECT_THAT(sound["music"].get<std::string>(), HasSubstr("song.mp3"));
    EXPECT_EQ(streamOf(probeJson(shop.file("o.mkv")), "audio")["codec_name"], "aac");
    // A document keeps it, found from its own folder.
    ASSERT_EQ(shop.run({"plan", shop.file("a.png"), shop.file("a.png"), "-o", shop.file("m.edit.json"),
                        "--music", shop.file("song.mp3"), "--music-gain", "-6dB", "--duck", "0dB", "-q"})
                  .code,
              0);
    EXPECT_THAT(bytesOf(shop.file("m.edit.json")),
                testing::AllOf(HasSubstr("song.mp3\""), HasSubstr("\"gain\": \"-6dB\""),
                               HasSubstr("\"duck\": \"0dB\"")));
    EXPECT_EQ(shop.run({"plan", shop.file("m.edit.json")}).code, 0);
}

TEST(MusicTest, APartHasTheMusicOfTheWhole) {
    const Workshop shop;
    ASSERT_EQ(shell("ffmpeg -v error -y -f lavfi -i sine=r=48000:d=1.5 " + shop.file("song.wav")), 0);
    const std::vector<std::string> words{
        "join", scene("harbour", 2), scene("city", 2), "--music", shop.file("song.wav"), "-d", "10f", "-q",
        "-o"};
    const auto soundOf = [&](const std::string& name, const std::vector<std::string>& more) {
        std::vector<std::string> all = words;
        all.push_back(shop.file(name));
        all.insert(all.end(), more.begin(), more.end());
        EXPECT_EQ(shop.run(all).code, 0);
        return probeJson(shop.file(name));
    };
    EXPECT_EQ(streamOf(soundOf("whole.mkv", {}), "video")["nb_read_frames"], "90");
    EXPECT_EQ(streamOf(soundOf("part.mkv", {"--only", "60f..80f"}), "video")["nb_read_frames"], "20");
}

TEST(MusicTest, WhatIsNoneIsRefusedInOneLineAndNothingIsWritten) {
    const Workshop shop;
    photo(shop.file("a.png"));
    std::ofstream(shop.file("text.mp3")) << "no music";
    std::ofstream(shop.file("empty.mp3"));
    const auto before = shop.names();
    for (const char* name : {"text.mp3", "empty.mp3", "a.png", "gone.mp3"}) {
        const RunResult result = shop.run({"slideshow", shop.file("a.png"), shop.file("a.png"), "-o",
                                           shop.file("o.mp4"), "--music", shop.file(name)});
        EXPECT_TRUE(result.code == 2 || result.code == 3) << name << result.code;
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
        EXPECT_THAT(result.err, HasSubstr(name));
    }
    // A photo would be no music, and neither is a song whose bytes were lost.
    ASSERT_EQ(shell("ffmpeg -v error -y -f lavfi -i sine=d=3 -c:a libmp3lame " + shop.file("good.mp3")), 0);
    std::string bytes = bytesOf(shop.file("good.mp3"));
    std::fill(bytes.begin() + 100, bytes.end(), '\0');
    writeBytes(shop.file("good.mp3"), bytes);
    std::filesystem::rename(shop.file("good.mp3"), shop.file("zeros.mp3"));
    const RunResult zeros = shop.run({"slideshow", shop.file("a.png"), shop.file("a.png"), "-o",
                                      shop.file("o.mp4"), "--music", shop.file("zeros.mp3")});
    EXPECT_EQ(zeros.code, 3) << zeros.err;
    EXPECT_EQ(linesOf(zeros.err).size(), 1U) << zeros.err;
    std::filesystem::remove(shop.file("zeros.mp3"));
    const RunResult alone =
        shop.run({"slideshow", shop.file("a.png"), "-o", shop.file("o.mp4"), "--duck", "6dB"});
    EXPECT_EQ(alone.code, 2);
    EXPECT_THAT(alone.err, HasSubstr("--duck needs music"));
    EXPECT_EQ(shop.names(), before);
}

TEST(ProgressTest, JsonIsAnObjectALineAndTellsTheWhole) {
    const Workshop shop;
    const RunResult result = shop.run(
        {"join", scene("harbour", 1), scene("city", 1), "-o", "null:", "-d", "10f", "--progress", "json"});
    ASSERT_EQ(result.code, 0) << result.err;
    const std::vector<std::string> lines = linesOf(result.out);
    ASSERT_FALSE(lines.empty());
    for (const std::string& line : lines) EXPECT_EQ(nlohmann::json::parse(line)["total_frames"], 40) << line;
    EXPECT_EQ(nlohmann::json::parse(lines.back())["progress"], "end");
    EXPECT_EQ(nlohmann::json::parse(lines.back())["frame"], 40);
}

/// The columns that a line takes: a character of three bytes is one.
std::size_t columnsOf(const std::string& line) {
    std::size_t columns = 0;
    for (const char c : line) columns += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U ? 1 : 0;
    return columns;
}

TEST(ProgressTest, TheLineFitsAnyWidth) {
    const ProgressState state{.frame = 123456, .frames = 200000, .elapsed = 12345, .rate = {25, 1}};
    for (int columns = 1; columns <= 200; ++columns)
        EXPECT_LT(columnsOf(progressLine("slideshow", state, columns)),
                  static_cast<std::size_t>(std::max(2, columns)))
            << columns;
    EXPECT_THAT(progressLine("join", state, 40),
                testing::AllOf(HasSubstr("━"), HasSubstr(" 61%"), HasSubstr("left")));
    EXPECT_EQ(progressLine("join", state, 80), progressLine("join", state, 200))
        << "the bar has a greatest width";
    EXPECT_THAT(progressLine("join", state, 12), HasSubstr("61%"));
}

}  // namespace
}  // namespace tumblewash::app
