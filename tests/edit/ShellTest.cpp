#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

#include "edit/Shell.h"

namespace tumblewash::edit {
namespace {

/// What sh makes of a word.
std::string readBack(const std::string& word) {
    std::FILE* shell = popen(("printf %s " + word).c_str(), "r");
    if (shell == nullptr) return "no shell";
    std::string out;
    std::array<char, 256> some{};
    while (const std::size_t got = std::fread(some.data(), 1, some.size(), shell))
        out.append(some.data(), got);
    pclose(shell);
    return out;
}

TEST(ShellTest, AWordIsReadBackAsItWas) {
    for (const std::string word : {"", "plain-1.5_a/b,c:d=e+f@g%", "two words", "it's", "$HOME", "`id`",
                                   "a;b", "a&b", "*", "~", "#x", "a\\b", "\"", "ä", "a\nb", "!"}) {
        EXPECT_EQ(readBack(shellWord(word)), word);
        EXPECT_EQ(readBack(shellQuoted(word)), word);
    }
    EXPECT_EQ(shellWord("movie-1.mp4"), "movie-1.mp4");
    EXPECT_EQ(shellWord(""), "''");
}

}  // namespace
}  // namespace tumblewash::edit
