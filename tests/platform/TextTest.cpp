#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/Text.h"
#include "platform/TextBackend.h"
#include "platform/Utf8.h"
#include "tests/platform/TestPicture.h"

using tumblewash::test::Pascal;
using tumblewash::test::World;

namespace {

class TextTest : public testing::Test {
  protected:
    void SetUp() override {
        SetGWorld(world, nullptr);
        TextFont(applFont);
        TextSize(24);
    }
    void TearDown() override { SetGWorld(nullptr, nullptr); }

    // Columns and rows that hold anything but the fresh world's zero.
    Rect drawn() const {
        Rect box{32767, 32767, -32768, -32768};
        for (short y = 0; y < 120; ++y) {
            for (short x = 0; x < 300; ++x) {
                if (world.pixel(x, y) == 0) continue;
                box = {std::min(box.top, y), std::min(box.left, x),
                       std::max<short>(box.bottom, static_cast<short>(y + 1)),
                       std::max<short>(box.right, static_cast<short>(x + 1))};
            }
        }
        return box;
    }

    const World world{300, 120};
};

}  // namespace

TEST_F(TextTest, LettersStandOnThePensBaseline) {
    MoveTo(40, 60);
    DrawString(Pascal("HEH"));
    const Rect box = drawn();
    EXPECT_GE(box.left, 38);
    EXPECT_LE(box.left, 46);
    EXPECT_GE(box.bottom, 59);
    EXPECT_LE(box.bottom, 62);
    EXPECT_GE(box.top, 60 - 24);
    EXPECT_LE(box.top, 60 - 12);
    EXPECT_LE(box.right, 40 + StringWidth(Pascal("HEH")) + 2);
}

TEST_F(TextTest, DrawingMovesThePenByTheWidth) {
    MoveTo(10, 50);
    DrawString(Pascal("Morph"));
    Point pen;
    GetPen(&pen);
    EXPECT_EQ(pen.h, 10 + StringWidth(Pascal("Morph")));
    EXPECT_EQ(pen.v, 50);
}

TEST_F(TextTest, TouchedPixelsAreOpaqueBlendsOfTheForeground) {
    const RGBColor blueish{0x2000, 0x4000, 0xF000};
    const Rect all{0, 0, 120, 300};
    const RGBColor white{0xFFFF, 0xFFFF, 0xFFFF};
    RGBBackColor(&white);
    EraseRect(&all);
    RGBForeColor(&blueish);
    MoveTo(10, 60);
    DrawString(Pascal("Wash"));
    int full = 0;
    for (int y = 0; y < 120; ++y) {
        for (int x = 0; x < 300; ++x) {
            const std::uint8_t* p = world.at(x, y);
            ASSERT_EQ(p[0], 255);
            ASSERT_GE(p[1], 0x20);
            ASSERT_GE(p[2], 0x40);
            ASSERT_GE(p[3], 0xF0);
            full += world.pixel(x, y) == 0xFF2040F0U;
        }
    }
    EXPECT_GT(full, 20);
}

TEST_F(TextTest, WidthGrowsWithSizeAndText) {
    const short small = StringWidth(Pascal("Tumble"));
    EXPECT_GT(StringWidth(Pascal("Tumble away")), small);
    TextSize(64);
    const short large = StringWidth(Pascal("Tumble"));
    EXPECT_GT(large, small * 2);
    EXPECT_LT(large, small * 4);
    EXPECT_EQ(StringWidth(Pascal("")), 0);
    EXPECT_EQ(StringWidth(nullptr), 0);
}

TEST_F(TextTest, StyleBelongsToTheWorldAndIsLimited) {
    EXPECT_EQ(GetPortTextSize(world), 24);
    EXPECT_EQ(GetPortTextFont(world), applFont);
    TextSize(-3);
    EXPECT_EQ(GetPortTextSize(world), 24);
    TextSize(0);
    EXPECT_EQ(GetPortTextSize(world), 12);
    TextSize(32000);
    EXPECT_EQ(GetPortTextSize(world), 1000);
    const World other(2, 2);
    SetGWorld(other, nullptr);
    EXPECT_EQ(GetPortTextSize(other), 12);
    TextFont(monacoFont);
    EXPECT_EQ(GetPortTextFont(other), monacoFont);
    EXPECT_EQ(GetPortTextFont(world), applFont);
}

TEST_F(TextTest, TextIsClippedToTheWorld) {
    TextSize(200);
    for (const Point pen : {Point{60, -150}, Point{60, 290}, Point{-30, 10}, Point{250, 10},
                            Point{32767, 32767}, Point{-32768, -32768}}) {
        MoveTo(pen.h, pen.v);
        DrawString(Pascal("Reveal"));
    }
    const World sliver(Rect{5, 5, 6, 6});
    SetGWorld(sliver, nullptr);
    TextSize(40);
    MoveTo(-10, 20);
    DrawString(Pascal("MMMM"));
    EXPECT_TRUE(sliver.pixel(5, 5) == 0 || sliver.at(5, 5)[0] == 255);
}

TEST_F(TextTest, LongestStringAtTheLargestSizeStaysInBounds) {
    TextSize(1000);
    Pascal longest(std::string(255, 'W').c_str());
    MoveTo(0, 100);
    DrawString(longest);
    EXPECT_EQ(StringWidth(longest), 32767);
}

TEST_F(TextTest, AnyBytesCanBeDrawn) {
    std::mt19937 next(4);
    for (int round = 0; round < 200; ++round) {
        unsigned char text[256];
        text[0] = static_cast<unsigned char>(next());
        for (int i = 1; i < 256; ++i) text[i] = static_cast<unsigned char>(next());
        MoveTo(10, 60);
        DrawString(text);
        EXPECT_GE(StringWidth(text), 0);
    }
}

TEST_F(TextTest, FontInfoDescribesTheSize) {
    FontInfo info{};
    GetFontInfo(&info);
    EXPECT_GE(info.ascent, 12);
    EXPECT_LE(info.ascent, 36);
    EXPECT_GT(info.descent, 0);
    EXPECT_GT(info.widMax, 8);
    GetFontInfo(nullptr);
}

TEST_F(TextTest, OutlineMetricsMeasureEachCharacter) {
    const char text[] = "A\xC3\xA9 g";  // A, e acute, blank, g
    const Point one{1, 1}, twice{2, 2};
    short yMax = 0, yMin = 0;
    Fixed advances[5], bearings[5];
    Rect boxes[5];
    ASSERT_EQ(OutlineMetrics(5, text, one, one, &yMax, &yMin, advances, bearings, boxes), noErr);
    EXPECT_GT(yMax, 10);
    EXPECT_LE(yMin, 0);
    EXPECT_GT(advances[0], 4 << 16);
    EXPECT_GT(advances[1], 4 << 16);
    EXPECT_EQ(advances[2], 0);
    EXPECT_GT(advances[3], 0);
    EXPECT_EQ(boxes[3].right, boxes[3].left);
    EXPECT_GT(boxes[0].top, boxes[0].bottom);
    short doubled = 0;
    Fixed wider[5];
    ASSERT_EQ(OutlineMetrics(5, text, twice, one, &doubled, nullptr, wider, nullptr, nullptr), noErr);
    EXPECT_EQ(doubled, yMax * 2);
    EXPECT_EQ(wider[0], advances[0] * 2);
    EXPECT_EQ(OutlineMetrics(5, nullptr, one, one, &yMax, &yMin, nullptr, nullptr, nullptr), paramErr);
    EXPECT_EQ(OutlineMetrics(-1, text, one, one, &yMax, &yMin, nullptr, nullptr, nullptr), paramErr);
    EXPECT_EQ(OutlineMetrics(5, text, one, Point{0, 1}, &yMax, &yMin, nullptr, nullptr, nullptr), paramErr);
    ASSERT_EQ(OutlineMetrics(0, text, one, one, &yMax, &yMin, nullptr, nullptr, nullptr), noErr);
    EXPECT_EQ(yMax, 0);
}

TEST_F(TextTest, BytesKnowTheirPlaceInACharacter) {
    const char text[] = "a\xC3\xA9\xE6\xB3\xA2";
    const short want[] = {smSingleByte, smFirstByte, smLastByte, smFirstByte, smMiddleByte, smLastByte};
    for (short i = 0; i < 6; ++i)
        EXPECT_EQ(CharacterByteType(text, i, FontToScript(genevaFont)), want[i]) << i;
    EXPECT_EQ(smSingleByte, 0);
    EXPECT_EQ(smFirstByte, -1);
    EXPECT_EQ(CharacterByteType(nullptr, 0, 0), smSingleByte);
}

// With the environment's TUMBLEWASH_TEST_PICTURE the caption is written there as a PPM to be looked at.
TEST_F(TextTest, CaptionWithShadowIsDrawnInTwoColours) {
    const World frame(640, 240);
    SetGWorld(frame, nullptr);
    const RGBColor grey{0x2FFF, 0x2FFF, 0x2FFF};
    const Rect all{0, 0, 240, 640};
    RGBBackColor(&grey);
    EraseRect(&all);
    TextSize(64);
    const Pascal caption("In Progress...");
    const short x = static_cast<short>((640 - StringWidth(caption)) / 2);
    EXPECT_GT(x, 0);
    MoveTo(x, 80);
    ForeColor(blackColor);
    DrawString(caption);
    MoveTo(static_cast<short>(x - 2), 78);
    ForeColor(whiteColor);
    DrawString(caption);
    int white = 0, black = 0;
    for (int row = 0; row < 240; ++row) {
        for (int column = 0; column < 640; ++column) {
            white += frame.pixel(column, row) == 0xFFFFFFFFU;
            black += frame.pixel(column, row) == 0xFF000000U;
        }
    }
    EXPECT_GT(white, 500);
    EXPECT_GT(black, 100);
    if (const char* path = std::getenv("TUMBLEWASH_TEST_PICTURE")) {
        TextSize(24);
        MoveTo(20, 150);
        DrawString(Pascal("Ausspülen · Métamorphose · Inclinación · 波で現れる"));
        TextFont(timesFont);
        MoveTo(20, 190);
        DrawString(Pascal("Serif: Tumble Reveal"));
        TextFont(courierFont);
        MoveTo(20, 225);
        DrawString(Pascal("Mono: 0123456789"));
        std::ofstream out(path, std::ios::binary);
        out << "P6\n640 240\n255\n";
        for (int row = 0; row < 240; ++row) {
            for (int column = 0; column < 640; ++column) {
                out.write(reinterpret_cast<const char*>(frame.at(column, row)) + 1, 3);
            }
        }
    }
}

TEST(BoxTextTest, BoxesHaveFixedAdvancesAndBlanksAreEmpty) {
    using namespace tumblewash::platform;
    const TextBackend& boxes = BoxText();
    const TextStyle style{0, 20};
    EXPECT_EQ(boxes.measure(style, "ab c").advance, 4 * 12);
    EXPECT_EQ(boxes.measure(style, "\xC3\xA9").advance, 12);
    const TextMask mask = boxes.raster(style, "a b", {0, -20, 100, 20});
    EXPECT_EQ(mask.box.top, -14);
    EXPECT_EQ(mask.box.bottom, 0);
    EXPECT_EQ(mask.box.left, 0);
    EXPECT_EQ(mask.box.right, 34);
    EXPECT_EQ(mask.coverage[0], 255);
    EXPECT_EQ(mask.coverage[11], 0);
    EXPECT_EQ(mask.coverage[24], 255);
    const TextMask part = boxes.raster(style, "a b", {3, -5, 26, -2});
    EXPECT_EQ(part.coverage.size(), 23U * 3U);
    EXPECT_EQ(part.coverage[0], 255);
    EXPECT_EQ(part.coverage[22], 255);
    EXPECT_EQ(boxes.measure(style, " ").ink.right, 0);
    EXPECT_TRUE(boxes.raster(style, "a", {50, 50, 60, 60}).coverage.empty());
}

TEST(Utf8Test, OnlyStrictUtf8Counts) {
    using namespace tumblewash::platform;
    for (const char* good :
         {"", "a", "\xC3\xA9", "\xE6\xB3\xA2", "\xF0\x9F\x8C\x8A", "\xED\x9F\xBF", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(IsUtf8(good)) << good;
    }
    for (const char* bad :
         {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3", "\xE6\xB3", "\xC3\x28", "\xFF"}) {
        EXPECT_FALSE(IsUtf8(bad)) << bad;
        EXPECT_TRUE(IsUtf8(PrintableUtf8(bad)));
    }
    EXPECT_EQ(PrintableUtf8("a\nb\x80"),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
    EXPECT_EQ(Utf8Prefix("a\xE6\xB3\xA2", 3), "a");
    EXPECT_EQ(Utf8Prefix("a\xE6\xB3\xA2", 4), "a\xE6\xB3\xA2");
    EXPECT_EQ(Utf8Prefix("ab", 9), "ab");
    EXPECT_EQ(Utf8CharacterLength("ab", 2), 0U);
}
