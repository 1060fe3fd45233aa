#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "platform/Resources.h"
#include "platform/Utf8.h"

using namespace tumblewash;
using namespace tumblewash::platform;

namespace {

StringLists parse(std::string_view text) {
    return ParseStringLists({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// Sets the variables that choose folder and language, and puts the old ones back.
class Environment {
  public:
    Environment(const std::string& folder, const char* all, const char* messages, const char* lang) {
        set("TUMBLEWASH_RESOURCES", folder.empty() ? nullptr : folder.c_str());
        set("LC_ALL", all);
        set("LC_MESSAGES", messages);
        set("LANG", lang);
    }
    ~Environment() {
        for (const auto& [name, value] : _old) {
            if (value.empty()) {
                unsetenv(name.c_str());
            } else {
                setenv(name.c_str(), value.c_str(), 1);
            }
        }
    }

  private:
    void set(const char* name, const char* value) {
        const char* old = std::getenv(name);
        _old.emplace_back(name, old != nullptr ? old : "");
        if (value == nullptr) {
            unsetenv(name);
        } else {
            setenv(name, value, 1);
        }
    }
    std::vector<std::pair<std::string, std::string>> _old;
};

class Folder {
  public:
    Folder() {
        char name[] = "/tmp/tumblewash-strings-XXXXXX";
        path = mkdtemp(name);
    }
    ~Folder() { std::filesystem::remove_all(path); }
    void write(const char* name, std::string_view text) const { std::ofstream(path + "/" + name) << text; }
    std::string path;
};

std::string indString(short list, short index) {
    Str255 text;
    std::fill_n(text, 256, std::uint8_t{0xEE});
    GetIndString(text, list, index);
    return {reinterpret_cast<const char*>(text) + 1, text[0]};
}

const std::string kShipped = TUMBLEWASH_TEST_RESOURCES;

}  // namespace

TEST(StringListsTest, FileGivesItsStrings) {
    const auto lists = parse(
        "\xEF\xBB\xBF# comment\r\n[7]\r\n 1 = One \n2=a = b\\n\\\\\\s\n\n[ -3 ]\n32767 = \xC3\xA9\n1 = x");
    const StringLists want{
        {{7, 1}, "One"}, {{7, 2}, "a = b\n\\ "}, {{-3, 32767}, "\xC3\xA9"}, {{-3, 1}, "x"}};
    EXPECT_EQ(lists, want);
}

TEST(StringListsTest, LinesThatSayNothingAreSkipped) {
    EXPECT_TRUE(parse("1 = before any list").empty());
    EXPECT_TRUE(
        parse("[9]\n0 = zero\n-1 = less\nx = y\n1 =\n= 3\n40000 = far\n2 \xFF= bad\n3 = \xC3").empty());
    EXPECT_TRUE(parse("[9\n1 = a").empty());
    EXPECT_TRUE(parse("[99999]\n1 = a").empty());
    EXPECT_TRUE(parse("[]\n1 = a\n[").empty());
    EXPECT_TRUE(parse(std::string_view("[9]\n1 = a\0b", 11)).empty());
    EXPECT_TRUE(ParseStringLists({}).empty());
    EXPECT_EQ(parse("[9]\n1 = a\n[bad]\n2 = b").size(), 1U);
}

TEST(StringListsTest, FirstOfEqualNumbersCounts) {
    EXPECT_EQ(parse("[1]\n1 = a\n1 = b\n[2]\n[1]\n1 = c").at({1, 1}), "a");
}

TEST(StringListsTest, LongTextsEndOnACharacter) {
    std::string text = "[1]\n1 = x";
    for (int i = 0; i < 200; ++i) text += "\xC3\xA9";
    const auto lists = parse(text);
    EXPECT_EQ(lists.at({1, 1}).size(), 255U);
    const auto even = parse("[1]\n1 = " + text.substr(9));
    EXPECT_EQ(even.at({1, 1}).size(), 254U);
}

TEST(StringListsTest, NumberOfStringsIsLimited) {
    std::string text;
    for (int list = 0; list < 10; ++list) {
        text.append("[").append(std::to_string(list)).append("]\n");
        for (int i = 1; i <= 1000; ++i) text += std::to_string(i) + " = s\n";
    }
    EXPECT_EQ(parse(text).size(), 4096U);
}

TEST(StringListsTest, AnyBytesAreSafeAndGiveValidStrings) {
    std::mt19937 next(8);
    const std::string alphabet = "[]=#\\ns 12\n\r\t\xC3\xA9\xFF\0-";
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (std::size_t i = next() % 120; i > 0; --i) text += alphabet[next() % alphabet.size()];
        for (const auto& [key, value] : parse(text)) {
            ASSERT_GE(key.second, 1);
            ASSERT_GE(value.size(), 1U);
            ASSERT_LE(value.size(), 255U);
            ASSERT_TRUE(IsUtf8(value));
        }
    }
}

TEST(LanguagesTest, LocaleNamesGiveLanguagesInOrder) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(LanguagesForLocale("de_AT.UTF-8@euro"), (Names{"de_AT", "de", "en"}));
    EXPECT_EQ(LanguagesForLocale("fr"), (Names{"fr", "en"}));
    EXPECT_EQ(LanguagesForLocale("en_GB.UTF-8"), (Names{"en_GB", "en"}));
    for (const char* none :
         {"", "C", "POSIX", "C.UTF-8", "../../etc/passwd", "a/b", "abcdefghijklmnopqrst"}) {
        EXPECT_EQ(LanguagesForLocale(none), Names{"en"}) << none;
    }
}

TEST(ResourcesTest, LanguageFollowsTheEnvironmentInOrder) {
    const auto caption = [](const char* all, const char* messages, const char* lang) {
        const Environment environment(kShipped, all, messages, lang);
        return indString(17000, 1);
    };
    EXPECT_EQ(caption(nullptr, nullptr, nullptr), "In Progress...");
    EXPECT_EQ(caption(nullptr, nullptr, "de_DE.UTF-8"), "In Arbeit...");
    EXPECT_EQ(caption(nullptr, "fr_FR.UTF-8", "de_DE.UTF-8"), "En cours...");
    EXPECT_EQ(caption("es_ES", "fr_FR.UTF-8", "de_DE.UTF-8"), "En curso...");
    EXPECT_EQ(caption("", "", "it_IT"), "In corso...");
    EXPECT_EQ(caption("xx_YY", nullptr, "de_DE.UTF-8"), "In Progress...");
    EXPECT_EQ(caption("C", nullptr, "de_DE.UTF-8"), "In Progress...");
}

TEST(ResourcesTest, MissingStringsAreEmpty) {
    const Environment environment(kShipped, "C", nullptr, nullptr);
    EXPECT_EQ(indString(17000, 0), "");
    EXPECT_EQ(indString(17000, 2), "");
    EXPECT_EQ(indString(1, 1), "");
    GetIndString(nullptr, 17000, 1);
}

TEST(ResourcesTest, WhatALanguageLacksComesFromEnglish) {
    const Folder folder;
    folder.write("en.strings", "[5]\n1 = one\n2 = two\n");
    folder.write("de.strings", "[5]\n1 = eins\n");
    folder.write("de_AT.strings", "[5]\n3 = drei\n");
    const Environment environment(folder.path, "de_AT", nullptr, nullptr);
    EXPECT_EQ(indString(5, 1), "eins");
    EXPECT_EQ(indString(5, 2), "two");
    EXPECT_EQ(indString(5, 3), "drei");
    EXPECT_EQ(indString(17000, 1), "") << "folders are not mixed";
}

TEST(ResourcesTest, UnusableFolderFallsThroughToTheNext) {
    const Folder folder;
    std::filesystem::create_directory(folder.path + "/en.strings");
    const Environment environment(folder.path, "C", nullptr, nullptr);
    EXPECT_EQ(ResourceFolders().front(), folder.path);
    EXPECT_EQ(indString(17000, 1), "In Progress...");
}

TEST(ResourcesTest, FolderAboveTheProgramServesWithoutAnyVariable) {
    const Environment environment("", "C", nullptr, nullptr);
    EXPECT_EQ(indString(17000, 1), "In Progress...");
    for (const std::string& folder : ResourceFolders())
        EXPECT_EQ(folder.find(kShipped), std::string::npos) << "the source tree is searched: " << folder;
}

TEST(ResourcesTest, DataFoldersOfTheMachineComeLast) {
    const Environment environment("", "C", nullptr, nullptr);
    const auto last = [](const char* value) {
        setenv("XDG_DATA_DIRS", value, 1);
        const auto folders = ResourceFolders();
        unsetenv("XDG_DATA_DIRS");
        return std::pair(folders[folders.size() - 2], folders.back());
    };
    const std::pair<std::string, std::string> standard{"/usr/local/share/tumblewash/resources",
                                                       "/usr/share/tumblewash/resources"};
    EXPECT_EQ(last(""), standard);
    const std::pair<std::string, std::string> chosen{"/a/tumblewash/resources", "/b/c/tumblewash/resources"};
    EXPECT_EQ(last("/a:here:/b/c"), chosen) << "relative folders are not searched";
}

TEST(ResourcesTest, EveryShippedLanguageIsComplete) {
    std::size_t languages = 0;
    StringLists english;
    for (const auto& file : std::filesystem::directory_iterator(kShipped)) {
        if (file.path().extension() != ".strings") continue;
        ++languages;
        std::ifstream in(file.path(), std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(in)), {});
        EXPECT_TRUE(IsUtf8(text)) << file.path();
        const StringLists lists = parse(text);
        EXPECT_EQ(lists.count({kCaptionStrings, 1}), 1U) << file.path();
        for (std::int16_t i = 1; i <= 14; ++i)
            EXPECT_EQ(lists.count({kTransitionNameStrings, i}), 1U) << file.path();
        for (std::int16_t i = 1; i <= 3; ++i) EXPECT_EQ(lists.count({kKnobStrings, i}), 1U) << file.path();
        for (std::int16_t i = 1; i <= 2; ++i)
            EXPECT_EQ(lists.count({kKnobLimitStrings, i}), 1U) << file.path();
        for (std::int16_t i = 1; i <= 5; ++i)
            EXPECT_EQ(lists.count({kDirectionStrings, i}), 1U) << file.path();
        EXPECT_EQ(lists.size(), 1U + 14U + 3U + 2U + 5U) << file.path();
    }
    EXPECT_GE(languages, 5U);
}
