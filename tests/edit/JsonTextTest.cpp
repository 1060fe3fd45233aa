#include <gtest/gtest.h>
#include <sys/stat.h>

#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "tests/edit/ExchangeFolder.h"

namespace tumblewash::edit {
namespace {

std::string refusalOf(const std::string& text) {
    try {
        parseJson(text, "x.json");
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.problem(), Problem::BadRequest);
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos) << "one line";
        return refusal.what();
    }
    return "";
}

TEST(JsonTextTest, AKeyGivenTwiceIsRefusedWithItsLine) {
    EXPECT_EQ(refusalOf("{\n\"a\": {\n  \"b\": 1,\n  \"c\": 2,\n  \"b\": 3}\n}"),
              "x.json:5: /a/b: is given twice");
    EXPECT_EQ(refusalOf("[{\"a\": 1}, {\"a\": 2}]"), "") << "two objects may have the same key";
}

TEST(JsonTextTest, NestingEndsAtItsLimitAtOnce) {
    EXPECT_EQ(refusalOf(std::string(1000000, '[')), "x.json:1: nested more than 64 deep");
    EXPECT_EQ(refusalOf(std::string(64, '[') + std::string(64, ']')), "");
    std::string objects;
    for (int i = 0; i < 100; ++i) objects += "{\"a\":\n";
    EXPECT_EQ(refusalOf(objects), "x.json:65: nested more than 64 deep");
}

TEST(JsonTextTest, WhatIsNoJsonIsRefusedOnItsLine) {
    for (const char* text : {"", "{", "{\"a\": 1,}", "[1, 2] 3", "{\"a\": NaN}", "// no\n1", "\"\xff\"",
                             "\"\\ud800\"", "{\"a\": 1e999}"})
        EXPECT_NE(refusalOf(text), "") << text;
    EXPECT_EQ(refusalOf("{\n \"a\": 1,\n \"b\" 2\n}").rfind("x.json:3: not valid JSON: ", 0), 0U);
    EXPECT_EQ(refusalOf("{\n \"a\": tru\n}").rfind("x.json:2: ", 0), 0U)
        << "not the line behind the bad word";
    EXPECT_EQ(parseJson("\xEF\xBB\xBF{\"a\": 1}", "x")["a"], 1) << "a byte order mark is skipped";
}

TEST(JsonTextTest, APointerLeadsToTheLineOfItsValue) {
    const std::string text =
        "{\n  \"a/b\": [1,\n    {\"x\": \"} ] \\\" ,\"},\n    [true,\n false]],\n  \"c~d\": null\n}";
    ASSERT_EQ(refusalOf(text), "");
    EXPECT_EQ(lineOf(text, ""), 1U);
    EXPECT_EQ(lineOf(text, pointerTo("", "a/b")), 2U);
    EXPECT_EQ(lineOf(text, "/a~1b/1"), 3U);
    EXPECT_EQ(lineOf(text, "/a~1b/1/x"), 3U);
    EXPECT_EQ(lineOf(text, "/a~1b/2/1"), 5U);
    EXPECT_EQ(lineOf(text, pointerTo("", "c~d")), 6U);
    EXPECT_EQ(lineOf(text, "/a~1b/7"), 2U) << "what leads nowhere ends at the last part that was found";
    EXPECT_EQ(lineOf("[[[[{\"a\":", "/0/0/0/0/a"), 1U) << "broken texts end quietly";
}

TEST(JsonTextTest, ADocumentIsASmallPlainFile) {
    const ExchangeFolder folder({"sub/x.json"});
    const auto refused = [&](const std::string& name) {
        try {
            readDocument(folder.path(name));
        } catch (const Refusal& refusal) {
            EXPECT_EQ(refusal.problem(), Problem::BadInput);
            return std::string(refusal.what()).substr(folder.path(name).size());
        }
        return std::string();
    };
    EXPECT_EQ(refused("nowhere.json"), ": no such file");
    EXPECT_EQ(refused("sub"), ": is a folder; give an edit");
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(refused("pipe"), ": is not a regular file") << "and nobody waits for a writer";
    EXPECT_EQ(readDocument(folder.path("sub/x.json")), "no media");
    std::filesystem::resize_file(folder.path("sub/x.json"), kLargestDocument);
    EXPECT_EQ(readDocument(folder.path("sub/x.json")).size(), kLargestDocument);
    std::filesystem::resize_file(folder.path("sub/x.json"), kLargestDocument + 1);
    EXPECT_EQ(refused("sub/x.json"), ": is larger than 64 MiB; an edit is a small text");
}

}  // namespace
}  // namespace tumblewash::edit
