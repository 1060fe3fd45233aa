// What an edit can say, written, read and rendered over real clips: the folder named by TUMBLEWASH_CLIPS,
// where there is one.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/app/ProgramRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using testing::HasSubstr;

using Words = std::vector<std::string>;

class EditClipsTest : public testing::Test {
  protected:
    static std::string clip(const char* name) {
        const char* folder = std::getenv("TUMBLEWASH_CLIPS");
        const std::filesystem::path file = std::filesystem::path(folder ? folder : "") / name;
        std::error_code ignored;
        return folder && std::filesystem::exists(file, ignored) ? file.string() : "";
    }

    RunResult run(const Words& words, const Words& more = {}) const {
        Words all = words;
        all.insert(all.end(), more.begin(), more.end());
        RunResult result = shop.run(all);
        EXPECT_EQ(result.code, 0) << result.err;
        return result;
    }

    nlohmann::json render(const std::string& document, const std::string& output,
                          const Words& more = {}) const {
        Words words{"render", document, "-o", output, "-q", "-f", "--report", shop.file("r.json")};
        run(words, more);
        return nlohmann::json::parse(bytesOf(shop.file("r.json")));
    }

    /// The rows of a timeline's table that tell of seams, and its last one: frames, time, rate and size.
    static Words seamsOf(const std::string& table) {
        Words rows;
        for (const std::string& row : linesOf(table))
            if (row.find(" seam ") != std::string::npos || row.find("ing ") != std::string::npos)
                rows.push_back(row);
        rows.push_back(linesOf(table).back());
        return rows;
    }

    const Workshop shop;
    // A trimmed movie with sound, a photo, black, a movie of another rate without sound.
    const std::string flower = clip("flower_960x540_29.97p.mp4");
    const std::string rocket = clip("photo_rocket_640x427.jpg");
    const std::string bunny = clip("bunny_vp9_642x642_30p_noaudio.webm");
    const Words clips{flower + "#t=0.2,1.4", rocket, "black:1s", bunny + "#t=0.5,1.5"};
    const Words all{"--size",       "96x64",     "--fps",         "25",        "--still",
                    "1s",           "--effect",  "shuffle",       "--seed",    "4",
                    "--duration",   "6f,8f,10f", "--audio",       "plugin",    "--opening",
                    "tilt-in=0.2s", "--closing", "tumble-out=8f", "--title",   "Two days",
                    "--comment",    "by day",    "--direction",   "up",        "--crf",
                    "28",           "--preset",  "ultrafast",     "--chapters"};
};

TEST_F(EditClipsTest, EveryFeatureIsWrittenReadAndRendered) {
    if (flower.empty()) return;
    const std::string document = shop.file("my.edit.json");
    Words plan{"plan"};
    plan.insert(plan.end(), clips.begin(), clips.end());
    plan.insert(plan.end(), all.begin(), all.end());
    run(plan, {"-o", document, "-q", "-f"});
    const std::string text = bytesOf(document);
    run({"plan", document, "-o", shop.file("again.edit.json"), "-q"});
    EXPECT_EQ(bytesOf(shop.file("again.edit.json")), text) << "a document comes back as the same bytes";

    Words join{"join"};
    join.insert(join.end(), clips.begin(), clips.end());
    join.insert(join.end(), all.begin(), all.end());
    const std::string whole = run(join, {"-o", "md5:", "-q"}).out;
    EXPECT_EQ(run({"render", document, "-o", "md5:", "-q"}).out, whole);

    const nlohmann::json report = render(document, shop.file("o.mp4"));
    ASSERT_EQ(report["transitions"].size(), 5U);
    std::vector<std::string> effects;
    int seams = 0;
    for (const nlohmann::json& seam : report["transitions"]) {
        effects.push_back(seam["effect"]);
        // Only an overlap makes the whole shorter.
        const bool overlaps =
            effects.back() != "morph" && effects.back() != "tilt-in" && effects.back() != "tumble-out";
        seams += overlaps ? seam["frames"].get<int>() : 0;
    }
    EXPECT_EQ(effects.front(), "tilt-in");
    EXPECT_EQ(report["transitions"][0]["frames"], 6) << "0.2 s are 5 frames, made even";
    EXPECT_EQ(effects.back(), "tumble-out");
    EXPECT_NE(effects[1], effects[2]);
    EXPECT_NE(effects[2], effects[3]);
    // 1.2 s, 1 s, 1 s and 1 s at 25 frames per second.
    EXPECT_EQ(report["clips"][0]["frames"], 30);
    EXPECT_EQ(report["frames"], 105 - seams);

    ASSERT_EQ(shell("ffprobe -v error -show_chapters -show_entries format_tags:stream=codec_type -of json " +
                    shop.file("o.mp4") + " > " + shop.file("probe")),
              0);
    const nlohmann::json probe = nlohmann::json::parse(bytesOf(shop.file("probe")));
    ASSERT_EQ(probe["chapters"].size(), 4U);
    EXPECT_EQ(probe["chapters"][0]["tags"]["title"], "flower_960x540_29.97p");
    EXPECT_EQ(probe["chapters"][2]["tags"]["title"], "black");
    EXPECT_EQ(probe["format"]["tags"]["title"], "Two days");
    EXPECT_EQ(probe["format"]["tags"]["comment"], "by day");
    EXPECT_FALSE(streamOf(probeJson(shop.file("o.mp4")), "audio").is_null());
    EXPECT_EQ(streamOf(probeJson(shop.file("o.mp4")), "video")["nb_read_frames"], report["frames"].dump());

    // A part, the timeline as a table and as a picture.
    render(document, shop.file("w%05d.png"));
    render(document, shop.file("p%05d.png"), {"--only", "20f..24f"});
    for (const int k : {1, 4})
        EXPECT_EQ(bytesOf(shop.file(fmt::format("p{:05}.png", k))),
                  bytesOf(shop.file(fmt::format("w{:05}.png", k + 20))));
    EXPECT_THAT(run({"plan", document}).out, HasSubstr("black"));
    run({"plan", document, "--plot", shop.file("plot.png"), "-q"});
    EXPECT_EQ(streamOf(probeJson(shop.file("plot.png")), "video")["width"], 1600);
}

TEST_F(EditClipsTest, EveryExchangeFormatKeepsCutsAndTotal) {
    if (flower.empty()) return;
    Words rates{"24000/1001", "25", "30000/1001", "60000/1001"};
    if (test::sampled()) rates.resize(1);
    for (const std::string& fps : rates) {
        const std::string document = shop.file("my.edit.json");
        Words plan{"plan"};
        plan.insert(plan.end(), clips.begin(), clips.end());
        run(plan, {"-o", document, "-q", "-f", "--size", "96x64", "--fps", fps, "--still", "1s", "--effect",
                   "wash-away,morph,tumble-reveal", "--duration", "6f,8f,10f", "--opening", "wash-in=4f",
                   "--closing", "tilt-out=4f"});
        const Words ours = seamsOf(run({"plan", document}).out);
        ASSERT_EQ(ours.size(), 6U) << fps;
        for (const char* name : {"my.otio", "my.edl"}) {
            run({"plan", document, "-o", shop.file(name), "-q", "-f"});
            const Words theirs =
                seamsOf(run({"plan", shop.file(name), "--media",
                             std::filesystem::path(flower).parent_path().string(), "--size", "96x64"})
                            .out);
            EXPECT_EQ(theirs, ours) << name << " " << fps;
        }
    }
}

}  // namespace
}  // namespace tumblewash::app
