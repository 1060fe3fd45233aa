#include <cmath>
#include <set>

#include "media/Pattern.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::DrawnScene;
using media::drawPattern;
using media::FrameRate;
using media::isPattern;
using media::MediaErrorCode;
using media::MediaInfo;
using media::parsePattern;
using media::patternNames;
using media::PictureRef;
using media::playPattern;
using media::probe;
using media::Reader;

TEST(PatternTest, EverySceneIsDrawnOpaqueInManyColoursAndMoves) {
    for (const std::string& name : patternNames()) {
        DrawnScene drawn = parsePattern("pattern:" + name + "?size=160x90");
        const PictureRef early = solid(160, 90, {0, 0, 0}, 0);
        const PictureRef late = solid(160, 90, {0, 0, 0}, 0);
        drawPattern(drawn, 0.2, early.data(), early.stride());
        drawPattern(drawn, 1.7, late.data(), late.stride());
        std::set<Rgb> colours;
        int64_t moved = 0;
        for (int y = 0; y < 90; ++y)
            for (int x = 0; x < 160; ++x) {
                ASSERT_EQ(early.data()[y * early.stride() + 4 * x], 255);
                colours.insert(pixel(early, x, y));
                moved += pixel(early, x, y) != pixel(late, x, y) ? 1 : 0;
            }
        EXPECT_GE(colours.size(), name == "harbour" || name == "city" ? 1000U : 8U) << name;
        EXPECT_GE(moved, 100) << name;
        drawPattern(drawn, 0.2, late.data(), late.stride());
        EXPECT_EQ(bytesOf(early), bytesOf(late)) << name;
    }
}

TEST(PatternTest, EverySceneSoundsWithinFullScaleAndWithoutClicksAtItsEnds) {
    for (const std::string& name : patternNames()) {
        const DrawnScene drawn = parsePattern("pattern:" + name + "?seconds=2");
        std::vector<float> sound(2 * 2 * 48000);
        playPattern(drawn, 48000, 0, sound.data(), sound.size() / 2);
        float peak = 0;
        for (const float value : sound) peak = std::max(peak, std::abs(value));
        EXPECT_GT(peak, 0.1F) << name;
        EXPECT_LT(peak, 0.95F) << name;
        EXPECT_LT(std::abs(sound[2]), 0.01F) << name;
        EXPECT_LT(std::abs(sound.back()), 0.01F) << name;
        std::vector<float> later(200);
        playPattern(drawn, 48000, 5000, later.data(), 100);
        EXPECT_TRUE(std::equal(later.begin(), later.end(), sound.begin() + 10000)) << name;
    }
}

TEST(PatternTest, TheNameSaysSizeLengthRateAndSound) {
    const MediaInfo info = probe("pattern:city?size=320x180&seconds=2.5&fps=30000/1001&sound=0");
    EXPECT_EQ(info.width, 320);
    EXPECT_EQ(info.height, 180);
    EXPECT_EQ(info.rate, (FrameRate{30000, 1001}));
    EXPECT_EQ(info.frameCount, 75);
    EXPECT_FALSE(info.hasAudio);
    EXPECT_EQ(parsePattern("pattern:city?fps=29.97").rate, (FrameRate{30000, 1001}));
    EXPECT_EQ(parsePattern("pattern:city?fps=23.976").rate, (FrameRate{24000, 1001}));
    EXPECT_EQ(parsePattern("pattern:city?fps=12.5").rate, (FrameRate{25, 2}));
    EXPECT_EQ(parsePattern("pattern:city?fps=30").rate, (FrameRate{30, 1}));
}

TEST(PatternTest, WrongNamesAreRefusedWithTheChoices) {
    for (const char* name : {"pattern:", "pattern:hawaii", "pattern:city?size=12", "pattern:city?size=8x8",
                             "pattern:city?seconds=0", "pattern:city?seconds=nan", "pattern:city?fps=0",
                             "pattern:city?fps=1/0", "pattern:city?fps=-5", "pattern:city?sound=2",
                             "pattern:city?colour=red", "pattern:city?&", "pattern:city?size=99999x99999"})
        EXPECT_EQ(failureOf([&] { probe(name); }, name), MediaErrorCode::badRequest) << name;
    EXPECT_FALSE(isPattern("patterns.mp4"));
}

TEST(PatternTest, ADrawnSourceReadsLikeAClip) {
    Reader reader = Reader::open("pattern:flash?size=64x48&seconds=2&fps=25");
    EXPECT_EQ(reader.frameCount(), 50);
    const std::vector<std::string> all = allPictures(reader);
    ASSERT_EQ(all.size(), 50U);
    reader.seek(31);
    EXPECT_EQ(bytesOf(reader.readPicture()), all[31]);
    reader.seek(2);
    EXPECT_EQ(bytesOf(reader.readPicture()), all[2]);
}

}  // namespace tumblewash::test
