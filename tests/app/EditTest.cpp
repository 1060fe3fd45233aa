// Edits through the program: what plan writes and render makes of it, and what an edit can say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "edit/Effects.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {

using edit::effectIds;

namespace {

using testing::HasSubstr;
using testing::StartsWith;

using Words = std::vector<std::string>;

Words with(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

std::string md5Of(const Workshop& shop, const Words& words) {
    const RunResult result = shop.run(with(words, {"-o", "md5:", "-q"}));
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_FALSE(result.out.empty());
    return result.out;
}

/// The fingerprint of what `plan` writes for these words and `render` makes of it.
std::string md5ThroughDocument(const Workshop& shop, const Words& words) {
    const std::string document = shop.file("my.edit.json");
    const RunResult planned = shop.run(with({"plan"}, with(words, {"-o", document, "-f", "-q"})));
    EXPECT_EQ(planned.code, 0) << planned.err;
    return md5Of(shop, {"render", document});
}

nlohmann::json reportOf(const Workshop& shop, const Words& words) {
    const RunResult result =
        shop.run(with(words, {"-o", "null:", "-q", "-f", "--report", shop.file("r.json")}));
    EXPECT_EQ(result.code, 0) << result.err;
    return nlohmann::json::parse(bytesOf(shop.file("r.json")));
}

std::string refusalOf(const Workshop& shop, const Words& words, int code) {
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, code) << result.err;
    EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    return result.err;
}

std::string numbered(const std::string& name, int number) {
    const std::string digits = std::to_string(number);
    return name + std::string(5 - digits.size(), '0') + digits + ".png";
}

TEST(EditTest, PlanAndRenderMakeWhatJoinMakes) {
    const Workshop shop;
    const std::string a = scene("harbour", 1);
    const std::string b = scene("city", 1);
    for (const std::string& id : effectIds()) {
        if (id.ends_with("-out") || id.ends_with("-in")) continue;
        const Words words{a, b, "--effect", id, "--seed", "5", "--direction", "up", "--duration", "10f"};
        EXPECT_EQ(md5ThroughDocument(shop, words), md5Of(shop, with({"join"}, words))) << id;
    }
    const Words several{a,
                        b,
                        a,
                        "--effect",
                        "morph,wash-away",
                        "--duration",
                        "6f,12f",
                        "--size",
                        "80x64",
                        "--fps",
                        "30000/1001",
                        "--fit",
                        "cover",
                        "--audio",
                        "equal-power"};
    EXPECT_EQ(md5ThroughDocument(shop, several), md5Of(shop, with({"join"}, several)));
}

TEST(EditTest, ADocumentIsRewrittenAsTheSameBytesAndFindsItsFilesFromItsFolder) {
    const Workshop shop;
    std::filesystem::create_directories(shop.folder() / "clips");
    ASSERT_EQ(shop.run({"out", scene("harbour", 1), "-o", shop.file("clips/a.mp4"), "-q"}).code, 0);
    const std::string document = shop.file("my.edit.json");
    ASSERT_EQ(shop.run({"plan", shop.file("clips/a.mp4"), "black:1s", "-o", document, "-q"}).code, 0);
    // Names are typed from the working directory, and written as they were typed where they are absolute.
    std::string text = bytesOf(document);
    const std::string absolute = shop.file("clips/a.mp4");
    const std::size_t at = text.find(absolute);
    ASSERT_NE(at, std::string::npos);
    writeBytes(document, text.replace(at, absolute.size(), "clips/a.mp4"));
    const std::string md5 = md5Of(shop, {"render", document});
    ASSERT_EQ(shop.run({"plan", document, "-o", shop.file("again.edit.json"), "-q"}).code, 0);
    EXPECT_EQ(bytesOf(shop.file("again.edit.json")), text);
    ASSERT_EQ(shop.run({"plan", document, "-o", shop.file("clips/moved.edit.json"), "-q"}).code, 0);
    EXPECT_THAT(bytesOf(shop.file("clips/moved.edit.json")), HasSubstr("\"file\": \"a.mp4\""));
    EXPECT_EQ(md5Of(shop, {"render", shop.file("clips/moved.edit.json")}), md5);
}

TEST(EditTest, ATrimIsExactToTheFrame) {
    const Workshop shop;
    const std::string movie = shop.file("a.mkv");
    ASSERT_EQ(shop.run({"out", scene("harbour", 3), "-o", movie, "-q", "--effect", "wash-out"}).code, 0);
    ASSERT_EQ(shop.run({"in", movie, "-o", shop.file("whole%05d.png"), "-q", "--duration", "2f"}).code, 0);
    ASSERT_EQ(
        shop.run({"in", movie + "#t=0.8,1.6", "-o", shop.file("part%05d.png"), "-q", "--duration", "2f"})
            .code,
        0);
    for (const int k : {3, 10, 20})
        EXPECT_EQ(bytesOf(shop.file(numbered("part", k))), bytesOf(shop.file(numbered("whole", k + 20))))
            << k;
    EXPECT_FALSE(std::filesystem::exists(shop.file("part00021.png")));
    const nlohmann::json report =
        reportOf(shop, {"join", movie + "#t=1", scene("city", 1), "--duration", "4f"});
    EXPECT_EQ(report["clips"][0]["frames"], 50);
    EXPECT_EQ(report["transitions"][0]["firstA"], 71) << "counted in the file";
}

TEST(EditTest, APartIsTheSameFramesAsTheWhole) {
    const Workshop shop;
    const std::string document = shop.file("my.edit.json");
    ASSERT_EQ(shop.run({"plan", scene("harbour", 1), scene("city", 1), "-o", document, "-q", "--effect",
                        "morph", "--opening", "wash-in", "--closing", "tumble-out", "--duration", "8f"})
                  .code,
              0);
    ASSERT_EQ(shop.run({"render", document, "-o", shop.file("whole%05d.png"), "-q"}).code, 0);
    const struct {
        const char* only;
        int first, count;
    } kParts[] = {{"3f..5f", 3, 2}, {"12f..24f", 12, 12}, {"22f..", 22, 28}, {"..1f", 0, 1}};
    for (const auto& part : kParts) {
        ASSERT_EQ(
            shop.run({"render", document, "-o", shop.file("part%05d.png"), "-q", "-f", "--only", part.only})
                .code,
            0);
        for (int k = 1; k <= part.count; ++k)
            ASSERT_EQ(bytesOf(shop.file(numbered("part", k))),
                      bytesOf(shop.file(numbered("whole", part.first + k))))
                << part.only << " " << k;
    }
    EXPECT_THAT(refusalOf(shop, {"render", document, "-o", "null:", "--only", "9s.."}, 2),
                HasSubstr("--only: nothing lies"));
}

TEST(EditTest, SeamsTakeTheirOwnEffectsLengthsAndWays) {
    const Workshop shop;
    const Words clips{scene("harbour", 1), scene("city", 1), scene("harbour", 1), scene("city", 1)};
    const nlohmann::json round = reportOf(
        shop, with({"join"}, with(clips, {"--effect", "wash-away,tilt-away", "--duration", "4f,6f"})));
    ASSERT_EQ(round["transitions"].size(), 3U);
    EXPECT_EQ(round["transitions"][2]["effect"], "wash-away");
    EXPECT_EQ(round["transitions"][1]["frames"], 6);
    EXPECT_EQ(round["transitions"][2]["frames"], 4);
    const nlohmann::json drawn = reportOf(shop, with({"join"}, with(clips, {"--effect", "shuffle"})));
    EXPECT_EQ(drawn["transitions"][0]["effect"], "wash-reveal");
    EXPECT_EQ(drawn["transitions"][1]["effect"], "wash-away");
    EXPECT_EQ(drawn["transitions"][2]["effect"], "morph");
    EXPECT_THAT(
        refusalOf(shop, with({"join"}, with(clips, {"--effect", "morph,none,morph,none", "-o", "null:"})), 2),
        HasSubstr("--effect names 4 effects for 3 seams"));
    const std::string document = shop.file("own.edit.json");
    writeBytes(document, R"({"tumblewash": 1, "seams": {"seed": 3}, "clips": [
        {"file": "pattern:harbour?size=64x48&seconds=1"},
        {"file": "pattern:city?size=64x48&seconds=1",
         "seam": {"effect": "wash-away", "duration": "8f", "direction": "left", "seed": 9, "sound": "plugin"}},
        {"black": "1s", "seam": {"effect": "wash-reveal"}}]})");
    const nlohmann::json own = reportOf(shop, {"render", document});
    EXPECT_EQ(own["transitions"][0]["direction"], "left");
    EXPECT_EQ(own["transitions"][0]["seed"], 9);
    EXPECT_EQ(own["transitions"][1]["seed"], 3);
    EXPECT_EQ(own["clips"][2]["kind"], "black");
}

TEST(EditTest, SeamsWithoutALengthFitTheirClips) {
    const Workshop shop;
    const RunResult run =
        shop.run({"join", scene("harbour", 2), scene("city", 2), scene("harbour", 2), "-o", "null:"});
    EXPECT_EQ(run.code, 0) << "two seconds with a seam at each end simply work";
    EXPECT_THAT(run.err, HasSubstr("seam 1: 24 frames instead of 26, as long as its clips allow\n"));
    EXPECT_THAT(refusalOf(shop,
                          {"join", scene("harbour", 2), scene("city", 2), scene("harbour", 2), "-o",
                           "null:", "--duration", "26f"},
                          2),
                HasSubstr("50 frames are too few"));
}

TEST(EditTest, OpeningAndClosingStandInTheSamePass) {
    const Workshop shop;
    const nlohmann::json report = reportOf(shop, {"join", scene("harbour", 1), scene("city", 1), "--opening",
                                                  "tilt-in", "--closing", "wash-out", "--duration", "6f"});
    ASSERT_EQ(report["transitions"].size(), 3U);
    EXPECT_EQ(report["frames"], 44);
    EXPECT_EQ(report["transitions"][0]["effect"], "tilt-in");
    EXPECT_EQ(report["transitions"][0]["firstFrame"], 0);
    EXPECT_EQ(report["transitions"][2]["effect"], "wash-out");
    EXPECT_EQ(report["transitions"][2]["firstFrame"], 38);
    EXPECT_THAT(
        refusalOf(shop,
                  {"join", scene("harbour", 1), scene("city", 1), "--opening", "wash-away", "-o", "null:"},
                  2),
        HasSubstr("wash-away works between two clips; use tumblewash join"));
    const nlohmann::json own =
        reportOf(shop, {"join", scene("harbour", 1), scene("city", 1), "--opening", "tilt-in=4f", "--closing",
                        "wash-out=0.32s", "--duration", "6f"});
    EXPECT_EQ(own["transitions"][0]["frames"], 4);
    EXPECT_EQ(own["transitions"][1]["frames"], 6);
    EXPECT_EQ(own["transitions"][2]["frames"], 8);
    for (const auto& [value, words] : {std::pair{"tilt-in=", "is not a time"}, {"=2s", "an id is missing"}})
        EXPECT_THAT(
            refusalOf(shop, {"join", scene("city", 1), scene("city", 1), "-o", "null:", "--opening", value},
                      2),
            HasSubstr(words));
    // One clip between an opening and a closing is an out of an in.
    const std::string document = shop.file("one.edit.json");
    writeBytes(document, R"({"tumblewash": 1, "seams": {"duration": "6f"}, "closing": {},
        "clips": [{"file": "pattern:harbour?size=64x48&seconds=1"}]})");
    EXPECT_EQ(md5Of(shop, {"render", document}),
              md5Of(shop, {"out", scene("harbour", 1), "--duration", "6f"}));
}

TEST(EditTest, ChaptersAndTagsAreWrittenInEveryContainer) {
    for (const char* name : {"o.mp4", "o.mov", "o.mkv", "o.webm"}) {
        const Workshop shop;
        const std::string file = shop.file(name);
        const RunResult run =
            shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", file, "-q", "--duration", "10f",
                      "--chapters", "--title", "Two towns", "--comment", "by day", "--preset", "ultrafast"});
        ASSERT_EQ(run.code, 0) << run.err;
        ASSERT_EQ(shell("ffprobe -v error -show_chapters -show_entries format_tags -of json " + file + " > " +
                        shop.file("probe")),
                  0);
        const nlohmann::json probe = nlohmann::json::parse(bytesOf(shop.file("probe")));
        ASSERT_EQ(probe["chapters"].size(), 2U) << name;
        EXPECT_EQ(probe["chapters"][1]["tags"]["title"], "pattern:city") << name;
        EXPECT_NEAR(std::stod(probe["chapters"][1]["start_time"].get<std::string>()), 0.6, 0.001) << name;
        EXPECT_NEAR(std::stod(probe["chapters"][1]["end_time"].get<std::string>()), 1.6, 0.001) << name;
        const nlohmann::json& tags = probe["format"]["tags"];
        EXPECT_EQ(tags.value("title", ""), "Two towns") << name << tags;
        EXPECT_EQ(tags.value("comment", tags.value("COMMENT", "")), "by day") << name << tags;
    }
}

TEST(EditTest, BlackIsBlackAndSilent) {
    const Workshop shop;
    ASSERT_EQ(shop.run({"join", "black:10f", scene("harbour", 1), "-o", shop.file("b%05d.png"), "-q",
                        "--effect", "none"})
                  .code,
              0);
    ASSERT_EQ(
        shell("ffmpeg -v error -y -f lavfi -i color=black:s=64x48 -frames:v 1 -pix_fmt rgb24 -f rawvideo " +
              shop.file("black") + " && ffmpeg -v error -y -i " + shop.file("b00010.png") +
              " -pix_fmt rgb24 -f rawvideo " + shop.file("made")),
        0);
    EXPECT_EQ(bytesOf(shop.file("made")), bytesOf(shop.file("black")));
    EXPECT_THAT(refusalOf(shop, {"join", "black:1s", "black:1s", "-o", "null:"}, 2),
                HasSubstr("give --size"));
    EXPECT_EQ(shop.run({"join", "black:1s", "black:1s", "-o", "null:", "-q", "--size", "64x48"}).code, 0);
    EXPECT_THAT(refusalOf(shop, {"join", "black:soon", "black:1s", "-o", "null:"}, 2),
                HasSubstr("is not a time"));
}

TEST(EditTest, TimesBeyondTheEndAreRefusedWithTheNumbers) {
    const Workshop shop;
    const std::string movie = shop.file("a.mkv");
    ASSERT_EQ(shop.run({"out", scene("harbour", 1), "-o", movie, "-q"}).code, 0);
    EXPECT_THAT(refusalOf(shop, {"join", movie + "#t=0,2", scene("city", 1), "-o", "null:"}, 2),
                HasSubstr("a.mkv: the end of what is used, 2s, is frame 50 at 25 frames per second, and the "
                          "clip has 25 (1.00 s)"));
    EXPECT_THAT(refusalOf(shop, {"join", movie + "#t=1", scene("city", 1), "-o", "null:"}, 2),
                HasSubstr("the start of what is used, 1s, is frame 25"));
    EXPECT_THAT(refusalOf(shop, {"join", movie + "#t=2,1", scene("city", 1), "-o", "null:"}, 2),
                HasSubstr("the end is not after the start"));
}

TEST(EditTest, EveryMissingFileIsNamedAtOnceWithTheNearestName) {
    const Workshop shop;
    ASSERT_EQ(shop.run({"out", scene("harbour", 1), "-o", shop.file("beach.mkv"), "-q"}).code, 0);
    const std::string refusal = refusalOf(
        shop, {"join", shop.file("baech.mkv"), scene("city", 1), shop.file("other.mp4"), "-o", "null:"}, 3);
    EXPECT_THAT(refusal, HasSubstr("baech.mkv (did you mean beach.mkv?), "));
    EXPECT_THAT(refusal, HasSubstr("other.mp4: 2 files do not exist; check the names"));
}

TEST(EditTest, AFileThatChangedSinceIsSaidAndPlannedAnew) {
    const Workshop shop;
    const std::string movie = shop.file("a.mkv");
    const std::string document = shop.file("my.edit.json");
    ASSERT_EQ(shop.run({"out", scene("harbour", 2), "-o", movie, "-q"}).code, 0);
    ASSERT_EQ(shop.run({"plan", movie, scene("city", 1), "-o", document, "-q"}).code, 0);
    EXPECT_THAT(shop.run({"render", document, "-o", "null:"}).err, testing::Not(HasSubstr("has changed")));
    ASSERT_EQ(shop.run({"out", scene("harbour", 1), "-o", movie, "-q", "-f"}).code, 0);
    const RunResult shrunk = shop.run({"render", document, "-o", "null:"});
    EXPECT_EQ(shrunk.code, 0) << shrunk.err;
    EXPECT_THAT(shrunk.err, HasSubstr("a.mkv: has changed since the edit was planned; planned again\n"));
}

TEST(EditTest, ThePlanIsShownAsATable) {
    const Workshop shop;
    const RunResult table = shop.run({"plan", scene("harbour", 1), scene("city", 1), "--duration", "10f"});
    EXPECT_EQ(table.code, 0) << table.err;
    const std::vector<std::string> lines = linesOf(table.out);
    ASSERT_EQ(lines.size(), 5U) << table.out;
    EXPECT_THAT(lines[2], HasSubstr("15   0:00:00.600       10     seam wash-away right"));
    EXPECT_THAT(lines[4], StartsWith("40 frames, 0:00:01.600 at 25 frames per second, 64x48"));
}

TEST(EditTest, TheTimelineIsDrawnInBothThemesAndInRows) {
    const Workshop shop;
    const std::string file = shop.file("timeline.png");
    Words clips;
    for (int i = 0; i < 10; ++i) clips.push_back(scene(i % 2 ? "city" : "harbour", 1));
    const auto heightOf = [&](const Words& words) {
        const RunResult run = shop.run(with(words, {"--plot", file, "-f", "-q"}));
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(streamOf(probeJson(file), "video")["width"], 1600);
        return streamOf(probeJson(file), "video")["height"].get<int>();
    };
    const int two = heightOf({"plan", clips[0], clips[1], "--effect", "morph", "--opening", "wash-in"});
    const std::string dark = bytesOf(file);
    EXPECT_EQ(heightOf({"plan", clips[0], clips[1], "--effect", "morph", "--opening", "wash-in", "--theme",
                        "light"}),
              two);
    EXPECT_NE(bytesOf(file), dark);
    EXPECT_GT(heightOf(with({"plan", "--effect", "none,wash-away"}, clips)), two)
        << "ten clips take two rows";
    EXPECT_THAT(refusalOf(shop, {"plan", clips[0], "--plot", shop.file("t.jpg")}, 2),
                HasSubstr("ending in .png"));
    EXPECT_THAT(refusalOf(shop, {"plan", clips[0], "--plot", file}, 4), HasSubstr("timeline.png"));
}

TEST(EditTest, DocumentsThatAreNoneAreRefusedWithTheirLine) {
    const Workshop shop;
    const std::string document = shop.file("my.edit.json");
    writeBytes(document, "{\n  \"tumblewash\": 1,\n  \"clips\": [\n    {\"fiel\": \"a\"}\n  ]\n}\n");
    EXPECT_THAT(refusalOf(shop, {"render", document, "-o", "null:"}, 2),
                HasSubstr("my.edit.json:4: /clips/0/fiel: no such key (did you mean file?)"));
    writeBytes(document, std::string(1000000, '['));
    EXPECT_THAT(refusalOf(shop, {"plan", document}, 2), HasSubstr("nested more than 64 deep"));
    EXPECT_THAT(refusalOf(shop, {"render", shop.file("no.edit.json"), "-o", "null:"}, 3),
                HasSubstr("no such file"));
    EXPECT_THAT(refusalOf(shop, {"render", shop.folder().string(), "-o", "null:"}, 3),
                HasSubstr("is a folder"));
    writeBytes(document, "{\"tumblewash\": 1, \"clips\": [{\"file\": \"my.edit.json\"}]}");
    EXPECT_THAT(refusalOf(shop, {"render", document, "-o", "null:"}, 2),
                HasSubstr("an edit cannot hold an edit"));
    writeBytes(document, "{\"tumblewash\": 1, \"clips\": [{\"file\": \".\"}]}");
    refusalOf(shop, {"render", document, "-o", "null:"}, 3);
    EXPECT_THAT(refusalOf(shop, {"plan", document, "--size", "64x48"}, 2), HasSubstr("--size: the edit "));
    EXPECT_THAT(refusalOf(shop, {"plan", scene("city", 1), "-o", shop.file("x.json")}, 2),
                HasSubstr(".edit.json"));
}

}  // namespace
}  // namespace tumblewash::app
