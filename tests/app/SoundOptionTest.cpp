// What the program makes of sound unless told otherwise, and what it says of loud clips.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::HasSubstr;

std::string sumOf(const Workshop& shop, std::vector<std::string> words,
                  const std::vector<std::string>& more) {
    words.insert(words.end(), {"-o", "md5:", "-q", "-d", "10f"});
    words.insert(words.end(), more.begin(), more.end());
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, 0) << result.err;
    return linesOf(result.out).back();
}

TEST(SoundOptionTest, EqualPowerIsTheDefaultOfJoinAndNaturalStaysByName) {
    const Workshop shop;
    const std::vector<std::string> join{"join", scene("harbour", 1), scene("city", 1)};
    const std::string usual = sumOf(shop, join, {});
    EXPECT_EQ(usual, sumOf(shop, join, {"--audio", "equal-power"}));
    EXPECT_NE(usual, sumOf(shop, join, {"--audio", "natural"}));
    const std::vector<std::string> out{"out", scene("harbour", 1)};
    EXPECT_EQ(sumOf(shop, out, {}), sumOf(shop, out, {"--audio", "natural"}));
    // A document says it.
    const std::string document = shop.file("a.edit.json");
    ASSERT_EQ(
        shop.run({"plan", scene("harbour", 1), scene("city", 1), "-d", "10f", "-o", document, "-q"}).code, 0);
    EXPECT_THAT(bytesOf(document), HasSubstr("\"sound\": \"equal-power\""));
    EXPECT_EQ(linesOf(shop.run({"render", document, "-o", "md5:", "-q"}).out).back(), usual);
}

TEST(SoundOptionTest, LoudClipsAreLimitedAndTheReportSaysSo) {
    const Workshop shop;
    ASSERT_EQ(shell("ffmpeg -v error -y -f lavfi -i testsrc=s=64x48:r=25:d=2 -f lavfi -i "
                    "\"aevalsrc=1.4*sin(2*PI*440*t):s=48000:d=2\" -c:a pcm_f32le -c:v mpeg4 " +
                    shop.file("loud.mkv")),
              0);
    const RunResult limited = shop.run({"join", shop.file("loud.mkv"), shop.file("loud.mkv"), "-o",
                                        "null:", "--report", shop.file("r.json"), "-d", "10f"});
    ASSERT_EQ(limited.code, 0) << limited.err;
    EXPECT_THAT(limited.err, HasSubstr("sound: peaks of +"));
    const nlohmann::json sound = nlohmann::json::parse(bytesOf(shop.file("r.json")))["sound"];
    // Two tones of one pitch in an equal-power seam add up to 1.41 times one of them at most.
    const double peak = sound["truePeak"].get<double>();
    EXPECT_GT(peak, 20 * std::log10(1.4) - 0.1);
    EXPECT_LT(peak, 20 * std::log10(1.4 * std::sqrt(2.0)) + 0.1);
    EXPECT_NEAR(sound["limiter"]["reduction"].get<double>(), -1.1 - peak, 0.1);
    EXPECT_GT(sound["limiter"]["samples"].get<int>(), 100000);
    const RunResult quiet =
        shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", "null:", "-d", "10f"});
    EXPECT_THAT(quiet.err, testing::Not(HasSubstr("sound: peaks")));
}

}  // namespace
}  // namespace tumblewash::app
