#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Utility/PluginUtils.h"
#include "tests/platform/TestPicture.h"

using tumblewash::test::Pascal;
using tumblewash::test::World;

namespace {

std::vector<std::string> measured;

// A host whose letters are half as wide as they are high.
std::int16_t widthOf(ConstStr255Param text) {
    measured.emplace_back(reinterpret_cast<const char*>(text) + 1, text[0]);
    CGrafPtr port = nullptr;
    GetGWorld(&port, nullptr);
    return static_cast<std::int16_t>(text[0] * GetPortTextSize(port) / 2);
}

StringPtr counted(char* text) {
    const std::size_t length = std::strlen(text);
    std::memmove(text + 1, text, length);
    text[0] = static_cast<char>(length);
    return reinterpret_cast<StringPtr>(text);
}

char* terminated(StringPtr text) {
    const std::size_t length = text[0];
    std::memmove(text, text + 1, length);
    text[length] = 0;
    return reinterpret_cast<char*>(text);
}

class TitlesTest : public testing::Test {
  protected:
    TitlesTest() {
        procs.ctopstr = counted;
        procs.ptocstr = terminated;
        procs.StringWidth = widthOf;
        measured.clear();
        SetGWorld(world, nullptr);
        TextFont(20);
        TextSize(18);
    }
    ~TitlesTest() override { SetGWorld(nullptr, nullptr); }

    struct Longest {
        int title = -1, subTitle = -1, pair = -1;
        bool operator==(const Longest&) const = default;
    };

    Longest longest(std::vector<std::pair<const char*, const char*>> lines) {
        texts.clear();
        for (const auto& [title, subTitle] : lines) {
            texts.emplace_back(title != nullptr ? title : "");
            texts.emplace_back(subTitle != nullptr ? subTitle : "");
        }
        std::vector<HYPluginTextPair> pairs;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            pairs.push_back({lines[i].first != nullptr ? texts[2 * i].data() : nullptr,
                             lines[i].second != nullptr ? texts[2 * i + 1].data() : nullptr});
        }
        _HYPluginTitleInfo info{};
        info.fontID = 4;
        info.pairCount = static_cast<std::int16_t>(pairs.size());
        info.pairs = pairs.data();
        Longest found;
        FindLongestTitleInfo(&procs, &info, found.title, found.subTitle, found.pair);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].first != nullptr) {
                EXPECT_STREQ(texts[2 * i].c_str(), lines[i].first);
            }
        }
        return found;
    }

    const World world{2, 2};
    _HYProcs procs{};
    std::vector<std::string> texts;
};

}  // namespace

TEST_F(TitlesTest, WidestTitleSubtitleAndSumAreFound) {
    EXPECT_EQ(longest({{"aa", "bbbb"}, {"aaaaa", "b"}, {"aaaa", "bbb"}}), (Longest{1, 0, 2}));
    EXPECT_EQ(measured.size(), 6U);
    EXPECT_EQ(measured[1], "bbbb");
}

TEST_F(TitlesTest, FirstOfEqualTitlesWins) {
    EXPECT_EQ(longest({{"abc", "x"}, {"xyz", "y"}}), (Longest{0, 0, 0}));
}

TEST_F(TitlesTest, MissingStringKeepsThePreviousWidth) {
    // The third pair has no title: it counts as wide as the second's, and its subtitle tips the sum.
    EXPECT_EQ(longest({{"a", "b"}, {"aaaa", "b"}, {nullptr, "bb"}}), (Longest{1, 2, 2}));
    EXPECT_EQ(longest({{nullptr, nullptr}, {"a", nullptr}}), (Longest{1, 0, 1}));
}

TEST_F(TitlesTest, NothingWideGivesZeros) {
    EXPECT_EQ(longest({}), (Longest{0, 0, 0}));
    EXPECT_EQ(longest({{"", ""}, {nullptr, nullptr}}), (Longest{0, 0, 0}));
    int a = 5, b = 5, c = 5;
    FindLongestTitleInfo(nullptr, nullptr, a, b, c);
    EXPECT_EQ(a + b + c, 0);
}

TEST_F(TitlesTest, MeasuringUsesTheTitlesFontAtSize24AndPutsTheStyleBack) {
    static short fontSeen, sizeSeen;
    procs.StringWidth = [](ConstStr255Param) {
        CGrafPtr port = nullptr;
        GetGWorld(&port, nullptr);
        fontSeen = GetPortTextFont(port);
        sizeSeen = GetPortTextSize(port);
        return std::int16_t{1};
    };
    longest({{"a", "b"}});
    EXPECT_EQ(fontSeen, 4);
    EXPECT_EQ(sizeSeen, 24);
    EXPECT_EQ(GetPortTextFont(world), 20);
    EXPECT_EQ(GetPortTextSize(world), 18);
}

TEST_F(TitlesTest, TextSizeShrinksUntilItFits) {
    short size = 0;
    const Pascal text("0123456789");
    const std::int16_t height = CalculateTextSize(&procs, text, 1, 40.0F, 100, size);
    EXPECT_EQ(size, 20) << "ten letters of half the size fill 100 pixels at 20";
    EXPECT_GT(height, 8);
    EXPECT_LT(height, 30);
    EXPECT_EQ(GetPortTextFont(world), 20);
    EXPECT_EQ(GetPortTextSize(world), 18);
}

TEST_F(TitlesTest, TextSizeGrowsWhileItFits) {
    short size = 0;
    CalculateTextSize(&procs, Pascal("0123456789"), 1, 5.4F, 104, size);
    EXPECT_EQ(size, 20);
    CalculateTextSize(&procs, Pascal("0123456789"), 1, 5.4F, 105, size);
    EXPECT_EQ(size, 21);
    CalculateTextSize(&procs, Pascal("0"), 1, 5.4F, 30000, size);
    EXPECT_EQ(size, 1000);
}

TEST_F(TitlesTest, TextSizeNeverFittingEndsAfterFiveRounds) {
    procs.StringWidth = [](ConstStr255Param text) {
        measured.emplace_back(reinterpret_cast<const char*>(text) + 1, text[0]);
        return std::int16_t{200};
    };
    short size = 0;
    CalculateTextSize(&procs, Pascal("abc"), 1, 64.0F, 100, size);
    EXPECT_EQ(size, 1) << "64, 31.5, 15.25, 7.125, 3.0625, 1.03125";
    EXPECT_EQ(measured.size(), 6U);
    CalculateTextSize(&procs, Pascal("abc"), 1, 20.0F, 0, size);
    EXPECT_EQ(size, 1);
}

TEST_F(TitlesTest, TextWithoutWidthKeepsItsRoundedSize) {
    short size = 0;
    EXPECT_EQ(CalculateTextSize(&procs, Pascal(""), 1, 20.5F, 100, size), 0);
    EXPECT_EQ(size, 21);
    size = 77;
    EXPECT_EQ(CalculateTextSize(&procs, nullptr, 1, 20.5F, 100, size), 0);
    EXPECT_EQ(CalculateTextSize(nullptr, Pascal("a"), 1, 20.5F, 100, size), 0);
    EXPECT_EQ(size, 77);
}
