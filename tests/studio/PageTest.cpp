#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "studio/Page.h"

namespace tumblewash::studio {
namespace {

std::string_view textOf(const char* name) {
    const PageFile* file = pageFile(name);
    return file ? file->text : std::string_view();
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
/// What the key of a word is made of.
bool isOfKey(char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
}

/// Every longest run of such characters that stands between `before` and `after`.
std::vector<std::string> wordsBetween(std::string_view text, std::string_view before,
                                      std::string_view after) {
    std::vector<std::string> found;
    for (std::size_t at = 0; (at = text.find(before, at)) != std::string_view::npos; ++at) {
        std::size_t end = at + before.size();
        while (end < text.size() && isOfKey(text[end])) ++end;
        const std::size_t start = at + before.size();
        if (end > start && text.substr(end).starts_with(after))
            found.emplace_back(text.substr(start, end - start));
    }
    return found;
}

/// A quoted text at the start of `line`, which goes on behind it; nothing where there is none.
bool takeQuoted(std::string_view& line, std::string& into) {
    if (!line.starts_with('\'')) return false;
    const std::size_t end = line.find('\'', 1);
    if (end == std::string_view::npos) return false;
    into = line.substr(1, end - 1);
    line.remove_prefix(end + 1);
    return true;
}

bool take(std::string_view& line, std::string_view what) {
    if (!line.starts_with(what)) return false;
    line.remove_prefix(what.size());
    return true;
}

struct Words {
    std::map<std::string, std::pair<std::string, std::string>> rows;  ///< key -> English, German
    std::vector<std::string> faulty;  ///< lines of the table that are no such row
};

/// Reads the table: lines of two blanks, the key, and both texts in brackets.
Words readWords(std::string_view table) {
    Words words;
    table = table.substr(table.find("const words = {\n") + 16);
    table = table.substr(0, table.find("\n};") + 1);
    while (!table.empty()) {
        const std::size_t end = table.find('\n');
        std::string_view line = table.substr(0, end);
        const std::string whole(line);
        table.remove_prefix(end + 1);
        std::string key;
        std::pair<std::string, std::string> row;
        bool good = take(line, "  ");
        if (good && !takeQuoted(line, key))
            while (!line.empty() && isOfKey(line.front())) {
                key += line.front();
                line.remove_prefix(1);
            }
        good = good && !key.empty() && take(line, ": [") && takeQuoted(line, row.first) && take(line, ", ") &&
               takeQuoted(line, row.second) && line == "],";
        if (!good || !words.rows.emplace(key, row).second) words.faulty.push_back(whole);
    }
    return words;
}

std::vector<std::string> placesIn(std::string_view text) {
    std::vector<std::string> places = wordsBetween(text, "{", "}");
    std::sort(places.begin(), places.end());
    return places;
}

TEST(PageTest, EveryWordIsThereInBothLanguagesWithTheSamePlaces) {
    const Words words = readWords(textOf("i18n.js"));
    ASSERT_GT(words.rows.size(), 100U);
    EXPECT_EQ(words.faulty, std::vector<std::string>{});
    for (const auto& [key, row] : words.rows) {
        EXPECT_NE(row.first, "") << key;
        EXPECT_NE(row.second, "") << key;
        EXPECT_EQ(placesIn(row.first), placesIn(row.second)) << key;
    }
}

TEST(PageTest, EveryWordThatIsAskedForIsInTheTableAndNoneIsIdle) {
    const Words words = readWords(textOf("i18n.js"));
    std::set<std::string> quoted;
    std::size_t asked = 0;
    for (const PageFile& file : pageFiles()) {
        if (file.name == "i18n.js" || !file.name.ends_with(".js")) continue;
        for (const char* after : {"')", "',"})
            for (const std::string& key : wordsBetween(file.text, "t('", after)) {
                // Not the end of another function's name.
                const std::size_t at = file.text.find("t('" + key + after);
                if (at > 0 && isLetter(file.text[at - 1])) continue;
                EXPECT_TRUE(words.rows.contains(key)) << key;
                ++asked;
            }
        for (std::string& key : wordsBetween(file.text, "'", "'")) quoted.insert(std::move(key));
    }
    EXPECT_GT(asked, 80U);
    const std::set<std::string> families{"step", "render", "sound", "fit", "direction", "motion"};
    for (const auto& [key, row] : words.rows) {
        // Families are asked for by their first part: step.move, render.done.
        const std::size_t dot = key.find('.');
        const bool ofFamily = dot != std::string::npos && families.contains(key.substr(0, dot));
        // A form for one thing stands beside that for many.
        const bool single = key.ends_with(".one") && words.rows.contains(key.substr(0, key.size() - 4));
        EXPECT_TRUE(ofFamily || single || key == "seconds" || quoted.contains(key))
            << key << " is never shown";
    }
}

TEST(PageTest, ThePageStaysSmallAndLoadsOnlyItself) {
    std::size_t bytes = 0;
    std::size_t packed = 0;
    std::size_t links = 0;
    std::set<std::string> names;
    for (const PageFile& file : pageFiles()) {
        bytes += file.text.size();
        packed += file.packed.size();
        names.insert(std::string(file.name));
    }
    // What a browser loads, and what people read.
    EXPECT_LT(packed, 60000U);
    EXPECT_LT(bytes, 100000U);
    const auto expectOurs = [&](std::string_view text, std::string_view before, std::string_view after) {
        for (const std::string& name : wordsBetween(text, before, after)) {
            EXPECT_TRUE(names.contains(name)) << name;
            ++links;
        }
    };
    for (const PageFile& file : pageFiles()) {
        expectOurs(file.text, "from './", "'");
        if (file.name != "index.html") continue;
        expectOurs(file.text, "href=\"", "\"");
        expectOurs(file.text, "src=\"", "\"");
        for (const char* inside : {"<script>", "<style", " style="})
            EXPECT_EQ(file.text.find(inside), std::string_view::npos) << inside;
    }
    EXPECT_GT(links, 20U);
}

}  // namespace
}  // namespace tumblewash::studio
