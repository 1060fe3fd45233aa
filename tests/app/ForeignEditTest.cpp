// Edits of other programs through the program: what options say beside them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::HasSubstr;

using Words = std::vector<std::string>;

// Three clips with a dissolve of 10 frames and a wipe of 12, 125 frames in all.
class ForeignEditTest : public testing::Test {
  protected:
    ForeignEditTest() {
        for (const auto& [name, picture] : {std::pair{"a.mkv", "harbour"}, {"b.mkv", "city"}})
            EXPECT_EQ(shop.run({"out", scene(picture, 3), "-o", shop.file(name), "-q"}).code, 0);
        writeBytes(list, R"(TITLE: CUT
FCM: NON-DROP FRAME
001  A        V     C        00:00:00:00 00:00:02:00 01:00:00:00 01:00:02:00
* FROM CLIP NAME: a.mkv
002  A        V     C        00:00:02:00 00:00:02:00 01:00:02:00 01:00:02:00
002  B        V     D 010    00:00:00:10 00:00:02:10 01:00:02:00 01:00:04:00
* FROM CLIP NAME: a.mkv
* TO CLIP NAME: b.mkv
003  B        V     C        00:00:02:10 00:00:02:10 01:00:04:00 01:00:04:00
003  A        V     W001 012 00:00:00:10 00:00:01:10 01:00:04:00 01:00:05:00
* FROM CLIP NAME: b.mkv
* TO CLIP NAME: a.mkv
)");
    }

    std::vector<std::string> effectsOf(const Words& more) const {
        Words words{"render", list, "-o", "null:", "-q", "-f", "--report", shop.file("r.json")};
        words.insert(words.end(), more.begin(), more.end());
        const RunResult run = shop.run(words);
        EXPECT_EQ(run.code, 0) << run.err;
        std::vector<std::string> effects;
        const nlohmann::json report = nlohmann::json::parse(bytesOf(shop.file("r.json")));
        EXPECT_EQ(report["frames"], 125);
        for (const nlohmann::json& seam : report["transitions"])
            effects.push_back(seam["effect"].get<std::string>() + " " + seam["frames"].dump());
        return effects;
    }

    std::string refusal(const Words& words) const {
        const RunResult run = shop.run(words);
        EXPECT_EQ(run.code, 2) << run.err;
        EXPECT_EQ(linesOf(run.err).size(), 1U) << run.err;
        return run.err;
    }

    const Workshop shop;
    const std::string list = shop.file("cut.edl");
};

TEST_F(ForeignEditTest, DissolvesBecomeTheEffectsOfTheCommandLine) {
    EXPECT_EQ(effectsOf({}), (Words{"wash-away 10", "wash-away 12"}));
    EXPECT_EQ(effectsOf({"-e", "tilt-away"}), (Words{"tilt-away 10", "tilt-away 12"}));
    EXPECT_EQ(effectsOf({"-e", "tumble-reveal,wash-reveal"}), (Words{"tumble-reveal 10", "wash-reveal 12"}));
    EXPECT_EQ(effectsOf({"-e", "shuffle"}), (Words{"wash-reveal 10", "wash-away 12"}));
    EXPECT_EQ(effectsOf({"--opening", "wash-in=8f", "--closing", "tumble-out=0.4s"}),
              (Words{"wash-in 8", "wash-away 10", "wash-away 12", "tumble-out 10"}));
}

TEST_F(ForeignEditTest, WhatADocumentSaysItselfIsNotSaidBesideIt) {
    EXPECT_THAT(refusal({"render", list, "-o", "null:", "-d", "3s"}),
                HasSubstr("cut.edl sets the length of its seams"));
    EXPECT_THAT(refusal({"plan", list, "--speed", "1"}), HasSubstr("--speed: "));
    EXPECT_THAT(refusal({"render", list, "-o", "null:", "-e", "morph,none,morph"}),
                HasSubstr("3 effects for 2 seams"));
    const std::string own = shop.file("my.edit.json");
    ASSERT_EQ(shop.run({"plan", list, "-e", "morph", "-o", own, "-q", "--crf", "30"}).code, 0);
    for (const Words& option :
         {Words{"-e", "morph"}, {"--size", "64x48"}, {"--media", "."}, {"--chapters"}}) {
        Words words{"render", own, "-o", "null:"};
        words.insert(words.end(), option.begin(), option.end());
        EXPECT_THAT(refusal(words), HasSubstr("my.edit.json sets that itself"));
    }
    EXPECT_EQ(shop.run({"render", own, "-o", "null:", "-q", "--only", "..3f", "--max-duration", "1s",
                        "--alpha", "--hdr", "sdr"})
                  .code,
              0);
}

}  // namespace
}  // namespace tumblewash::app
