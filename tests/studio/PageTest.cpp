#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>

#include "studio/Page.h"

namespace tumblewash::studio {
namespace {

std::string textOf(const char* name) {
    const PageFile* file = pageFile(name);
    return file ? std::string(file->text) : std::string();
}

std::vector<std::smatch> matches(const std::string& text, const std::regex& pattern) {
    return {std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()};
}

/// The rows of the table of words: key -> English, German.
std::map<std::string, std::pair<std::string, std::string>> words(const std::string& table) {
    static const std::regex kRow(R"(^  '?([\w.-]+)'?: \['([^']*)',\s*'([^']*)'\],$)",
                                 std::regex::ECMAScript | std::regex::multiline);
    std::map<std::string, std::pair<std::string, std::string>> rows;
    for (const std::smatch& row : matches(table, kRow)) rows[row[1]] = {row[2], row[3]};
    return rows;
}

std::multiset<std::string> placesIn(const std::string& text) {
    static const std::regex kPlace(R"(\{(\w+)\})");
    std::multiset<std::string> places;
    for (const std::smatch& place : matches(text, kPlace)) places.insert(place[1]);
    return places;
}

TEST(PageTest, EveryWordIsThereInBothLanguagesWithTheSamePlaces) {
    const std::string table = textOf("i18n.js");
    const auto rows = words(table);
    ASSERT_GT(rows.size(), 100U);
    static const std::regex kAnyRow(R"(^  '?[\w.-]+'?: \[)", std::regex::ECMAScript | std::regex::multiline);
    EXPECT_EQ(rows.size(), matches(table, kAnyRow).size());
    for (const auto& [key, row] : rows) {
        EXPECT_NE(row.first, "") << key;
        EXPECT_NE(row.second, "") << key;
        EXPECT_EQ(placesIn(row.first), placesIn(row.second)) << key;
    }
}

TEST(PageTest, EveryWordThatIsAskedForIsInTheTableAndNoneIsIdle) {
    const auto rows = words(textOf("i18n.js"));
    static const std::regex kQuoted(R"('([A-Za-z][\w.-]*)')");
    static const std::regex kAsked(R"(\bt\('([\w.-]+)'[,)])");
    std::set<std::string> quoted;
    for (const PageFile& file : pageFiles()) {
        if (file.name == "i18n.js" || !file.name.ends_with(".js")) continue;
        const std::string text(file.text);
        for (const std::smatch& key : matches(text, kAsked)) EXPECT_TRUE(rows.contains(key[1])) << key[1];
        for (const std::smatch& key : matches(text, kQuoted)) quoted.insert(key[1]);
    }
    for (const auto& [key, row] : rows) {
        // Families are asked for by their first part: step.move, render.done.
        const std::string family = key.substr(0, key.find('.') + 1);
        const bool ofFamily =
            key.find('.') != std::string::npos &&
            std::set<std::string>{"step.", "render.", "sound.", "fit.", "direction."}.contains(family);
        EXPECT_TRUE(ofFamily || key == "seconds" || quoted.contains(key)) << key << " is never shown";
    }
}

TEST(PageTest, ThePageStaysSmallAndLoadsOnlyItself) {
    std::size_t bytes = 0;
    std::set<std::string> names;
    for (const PageFile& file : pageFiles()) {
        bytes += file.text.size();
        names.insert(std::string(file.name));
    }
    EXPECT_LT(bytes, 80000U);
    static const std::regex kImport(R"(from '\./([\w.]+)')");
    static const std::regex kLink(R"re((?:href|src)="([^"]+)")re");
    for (const PageFile& file : pageFiles()) {
        const std::string text(file.text);
        for (const std::smatch& name : matches(text, kImport))
            EXPECT_TRUE(names.contains(name[1])) << name[1];
        if (file.name != "index.html") continue;
        for (const std::smatch& name : matches(text, kLink)) EXPECT_TRUE(names.contains(name[1])) << name[1];
        EXPECT_EQ(text.find("<script>"), std::string::npos);
        EXPECT_EQ(text.find("<style"), std::string::npos);
        EXPECT_EQ(text.find(" style="), std::string::npos);
    }
}

}  // namespace
}  // namespace tumblewash::studio
