// What a PNG's header says of its colours, where it is not what the picture is shown as: one line each.
#include <gmock/gmock.h>

#include "tests/media/Charts.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace tumblewash::media;

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string word(unsigned value) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift & 255U);
    return out;
}

std::string words(const std::vector<unsigned>& values) {
    std::string out;
    for (const unsigned value : values) out += word(value);
    return out;
}

const std::vector<unsigned> kOrdinary{31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000};
const std::vector<unsigned> kWide{31270, 32900, 68000, 32000, 26500, 69000, 15000, 6000};
const std::string kShown = " not used: the picture is shown as sRGB; convert it to sRGB first";

class PngColourTest : public testing::Test {
  protected:
    std::vector<std::string> told(const Blocks& blocks) {
        const Codes grey = codes(16, 16, 3, 8, [](int, int, int) { return 128; });
        writeFile(dir_ / "a.png", pngFile(grey, blocks));
        const MediaInfo info = probe(dir_ / "a.png");
        EXPECT_FALSE(info.colour.brokenLight);
        EXPECT_FALSE(info.colour.mastering);
        return info.conversions;
    }
    TempDir dir_;
};

TEST_F(PngColourTest, CodedColoursOfOtherSpacesAreTold) {
    EXPECT_THAT(told({{}, {}, {{"cICP", std::string("\x09\x10\x00\x01", 4)}}}),
                ElementsAre("its cICP colours (bt2020, smpte2084) are" + kShown));
    EXPECT_THAT(told({{}, {}, {{"cICP", std::string("\x0C\x0D\x00\x01", 4)}}}),
                ElementsAre("its cICP colours (smpte432, iec61966-2-1) are" + kShown));
    EXPECT_THAT(told({{}, {}, {{"cICP", std::string("\xFA\xFB\x00\x01", 4)}}}),
                ElementsAre("its cICP colours (250, 251) are" + kShown));
    EXPECT_THAT(told({{}, {}, {{"cICP", std::string("\x01\x0D\x00\x01", 4)}}}), IsEmpty());
    EXPECT_THAT(told({{}, {}, {{"cICP", "abc"}}}), IsEmpty());
}

TEST_F(PngColourTest, GammaAndPrimariesOfSrgbAreNot) {
    EXPECT_THAT(told({{}, {}, {{"gAMA", word(45455)}, {"cHRM", words(kOrdinary)}}}), IsEmpty());
    EXPECT_THAT(told({{}, {}, {{"gAMA", word(45000)}}}), IsEmpty());
    EXPECT_THAT(told({{}, {}, {{"gAMA", word(100000)}}}), ElementsAre("its gamma (gAMA) is" + kShown));
    EXPECT_THAT(told({{}, {}, {{"cHRM", words(kWide)}}}), ElementsAre("its primaries (cHRM) are" + kShown));
    EXPECT_THAT(told({{}, {}, {{"cHRM", std::string(32, '\0')}}}),
                ElementsAre("its primaries (cHRM) are" + kShown));
}

TEST_F(PngColourTest, TheyCountOnlyWithoutAProfileAndWithoutTheMarkOfSrgb) {
    EXPECT_THAT(told({{}, {}, {{"sRGB", std::string(1, '\0')}, {"gAMA", word(100000)}}}), IsEmpty());
    EXPECT_THAT(told({rgbProfile(kDisplayP3, 2.2, "Display P3"), {}, {{"gAMA", word(100000)}}}),
                ElementsAre("profile Display P3 turned to sRGB"));
}

}  // namespace
}  // namespace tumblewash::test
