// Names of files in words: nothing of a name reaches a terminal that it would obey, and nothing of it is
// lost.
#include <random>

#include "media/MediaError.h"
#include "media/Quoting.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::isUtf8;
using media::MediaError;
using media::printable;
using media::probe;
using media::quotedName;
using media::unquotedName;

TEST(QuotingTest, NamesThatCanBeShownAreShownAsTheyAre) {
    for (const char* name : {"clip.mp4", "./a b.mp4", "Köln-東京-😀.mov", "it's.png", "back\\slash.png",
                             "a\"b.png", "-o", "%d.png", "\xC2\xA0.png"})
        EXPECT_EQ(quotedName(name), name);
}

TEST(QuotingTest, ControlCharactersEscapesAndBytesThatAreNoUtf8AreQuoted) {
    const std::pair<std::string, std::string> cases[] = {
        {"a\nb.mp4", "\"a\\nb.mp4\""},
        {"\x1B[2Jx", "\"\\033[2Jx\""},
        {"\a\b\t\v\f\r", "\"\\a\\b\\t\\v\\f\\r\""},
        {"del\x7F", "\"del\\177\""},
        {"caf\xE9", "\"caf\\351\""},
        {"csi\xC2\x9B"
         "2J",
         "\"csi\\302\\2332J\""},
        {"turned\xE2\x80\xAEgnp.mp4", "\"turned\\342\\200\\256gnp.mp4\""},
        {"line\xE2\x80\xA8", "\"line\\342\\200\\250\""},
        {"\"quoted\"", "\"\\\"quoted\\\"\""},
        {"both\\\n\"", "\"both\\\\\\n\\\"\""},
        {"\n\xC3\xA4", "\"\\n\xC3\xA4\""},
        {"", "\"\""},
    };
    for (const auto& [name, form] : cases) {
        EXPECT_EQ(quotedName(name), form);
        EXPECT_EQ(unquotedName(form), name);
    }
}

TEST(QuotingTest, BytesThatOnlyLookLikeUtf8AreNone) {
    // Longer than need be, half a pair, past the last character, cut off, without a lead.
    for (const char* name : {"\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                             "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
                             "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\x80",
                             "\xC3"
                             "a",
                             "\xE2\x82"
                             "a"}) {
        EXPECT_FALSE(isUtf8(name)) << ::testing::PrintToString(name);
        EXPECT_NE(quotedName(name), name);
        EXPECT_TRUE(isUtf8(quotedName(name)));
    }
    for (const char* name : {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "plain"})
        EXPECT_TRUE(isUtf8(name)) << ::testing::PrintToString(name);
}

TEST(QuotingTest, EveryNameHasAFormOfItsOwnThatLeadsBackToIt) {
    std::mt19937 random(8);
    const auto bytes = [&](std::size_t length) {
        std::string out;
        const std::string often = "\"\\\n0127anr\xC3\xA4\xE2\x80\xA8\x1B";
        for (std::size_t i = 0; i < length; ++i)
            out += random() % 2 == 0 ? often[random() % often.size()] : static_cast<char>(1 + random() % 255);
        return out;
    };
    for (int i = 0; i < 20000; ++i) {
        const std::string name = bytes(random() % 12);
        const std::string form = quotedName(name);
        ASSERT_EQ(unquotedName(form), name);
        ASSERT_TRUE(isUtf8(form));
        for (const char c : form) ASSERT_TRUE(static_cast<unsigned char>(c) >= 32 && c != 127) << form;
    }
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name(1, static_cast<char>(byte));
        EXPECT_EQ(unquotedName(quotedName(name)), name);
    }
}

TEST(QuotingTest, WhatIsNoFormIsANameOfItsOwn) {
    for (const char* text :
         {"plain", "\"", "\"open", "\"a\"b\"", "\"\\q\"", "\"\\400\"", "\"\\12\"", "\"\\\"", "\"\\18x\"", ""})
        EXPECT_EQ(unquotedName(text), text);
}

TEST(QuotingTest, PrintableWordsKeepQuotesAndBackslashes) {
    EXPECT_EQ(printable("'\x1B]0;x\a' is no \"size\" \\ \xFF\n"),
              "'\\033]0;x\\a' is no \"size\" \\ \\377\\n");
    EXPECT_EQ(printable("Köln 😀"), "Köln 😀");
}

TEST(QuotingTest, TheLineOfAnErrorShowsAQuotedNameAndKeepsTheTrueOne) {
    const TempDir dir;
    const std::string path = dir / "no\nsuch \x1B[31m.mp4";
    try {
        probe(path);
        FAIL() << "nothing was refused";
    } catch (const MediaError& error) {
        EXPECT_EQ(error.file(), path);
        EXPECT_EQ(error.what(), quotedName(path) + ": no such file; check the name");
    }
}

}  // namespace tumblewash::test
