// File names that nobody expects: control characters, escapes, line ends, bytes that are no UTF-8. Everything
// said is one line that a terminal shows as it stands, and nothing written is broken by a name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>

#include "media/Quoting.h"
#include "tests/app/ProgramRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {

using media::isUtf8;
using media::quotedName;
using media::unquotedName;

namespace {

using testing::HasSubstr;

/// Names that would move a cursor, clear a screen, end a line or leave UTF-8, without their ending.
const std::string kWildNames[] = {"two\nlines",
                                  "\x1B[2J\x1B[31mred",
                                  "title\x1B]0;x\a",
                                  "caf\xE9",
                                  "csi\xC2\x9B"
                                  "2J",
                                  "turned\xE2\x80\xAEgnp",
                                  "tab\there",
                                  "\x7F",
                                  "\"quoted\"",
                                  "\r\bover"};

bool canBeShown(const std::string& text) {
    for (const char c : text)
        if (std::iscntrl(static_cast<unsigned char>(c)) != 0 && c != '\n') return false;
    return isUtf8(text) && text.find("\xC2\x9B") == std::string::npos &&
           text.find("\xE2\x80\xAE") == std::string::npos;
}

/// A drawn picture under each wild name.
struct WildPictures {
    WildPictures() {
        EXPECT_EQ(shop.run({"frame", scene("harbour", 1), scene("city", 1), "-o", shop.file("plain.png"),
                            "--frame", "0", "--of", "10"})
                      .code,
                  0);
        for (const std::string& name : kWildNames)
            std::filesystem::copy_file(shop.file("plain.png"), shop.file(name + ".png"));
    }
    Workshop shop;
};

TEST(NamesTest, WhatIsSaidOfAWildNameIsOneLineThatShowsIt) {
    const Workshop shop;
    for (const std::string& name : kWildNames) {
        const std::string missing = shop.file(name + ".mp4");
        const RunResult result = shop.run({"join", missing, missing, "-o", shop.file("o.mp4")});
        EXPECT_EQ(result.code, 3);
        EXPECT_EQ(result.err, "tumblewash: " + quotedName(missing) + ": no such file; check the name\n");
        EXPECT_TRUE(canBeShown(result.err)) << result.err;
    }
}

TEST(NamesTest, WordsThatAreNoNamesAreShownToo) {
    const Workshop shop;
    for (const std::vector<std::string>& words : {std::vector<std::string>{"\x1B[2Jjoin"},
                                                  {"join", "a", "b", "-o", "null:", "-e", "\x1B[31m\nwash"},
                                                  {"join", "a", "b", "-o", "null:", "--size", "1\n\xFF"},
                                                  {"join", "a", "b", "--\x1B[2J"},
                                                  {"list", "extra\n\x9B"},
                                                  {"list", "--plugin", "no\nsuch.so"},
                                                  {"join", "a", "b", "-o", "o.mp4", "-d", "\r1s"},
                                                  {"demo", "/dev/null/\x1B[2J"}}) {
        const RunResult result = shop.run(words);
        EXPECT_NE(result.code, 0);
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
        EXPECT_TRUE(canBeShown(result.err)) << result.err;
    }
}

TEST(NamesTest, RunsWithWildNamesSayAndReportThemQuoted) {
    const WildPictures pictures;
    const Workshop& shop = pictures.shop;
    for (const std::string& name : test::sampledRows(kWildNames, 3)) {
        const std::string input = shop.file(name + ".png");
        const std::string output = shop.file("out " + name + ".mkv");
        const std::string report = shop.file("report " + name + ".json");
        const RunResult result = shop.run({"join", input, input, "-o", output, "-e", "wash-away", "-d", "4f",
                                           "--still", "6f", "--report", report, "-v"});
        ASSERT_EQ(result.code, 0) << result.err;
        EXPECT_TRUE(canBeShown(result.err)) << result.err;
        EXPECT_THAT(result.err, HasSubstr(quotedName(output) + ": "));
        EXPECT_THAT(result.err, HasSubstr(quotedName(input) + " from its frame 0"));
        const std::string text = bytesOf(report);
        EXPECT_TRUE(canBeShown(text)) << text;
        const auto json = nlohmann::json::parse(text);
        EXPECT_EQ(unquotedName(json["output"].get<std::string>()), output);
        EXPECT_EQ(unquotedName(json["clips"][0]["file"].get<std::string>()), input);
    }
}

TEST(NamesTest, PicturesOfWildNamesAreMadeAndSaidQuoted) {
    const WildPictures pictures;
    const Workshop& shop = pictures.shop;
    for (const std::string& name : test::sampledRows(kWildNames, 3)) {
        const std::string input = shop.file(name + ".png");
        for (const char* command : {"frame", "sheet", "field"}) {
            const std::string output = shop.file(command + name + ".png");
            std::vector<std::string> words{command, input, input, "-o", output, "-e", "wash-away"};
            if (command == std::string("frame")) words.insert(words.end(), {"--frame", "3"});
            const RunResult result = shop.run(words);
            ASSERT_EQ(result.code, 0) << result.err;
            EXPECT_TRUE(canBeShown(result.err)) << result.err;
            EXPECT_THAT(result.err, HasSubstr(quotedName(output) + ": "));
        }
    }
}

/// What an XML reader that is not ours finds as the clips' names, one line of escapes each.
std::vector<std::string> resourcesOf(const Workshop& shop) {
    const std::string script =
        "import os,sys,xml.etree.ElementTree as t\n"
        "for p in t.parse(sys.argv[1]).iter('producer'):\n"
        "  for r in p.findall('property'):\n"
        "    if r.get('name')=='resource': print(os.fsencode(r.text).hex())\n";
    writeBytes(shop.file("read.py"), script);
    EXPECT_EQ(shell("python3 -X utf8 '" + shop.file("read.py") + "' '" + shop.file("p.mlt") + "' > '" +
                    shop.file("names") + "'"),
              0);
    std::vector<std::string> out;
    for (const std::string& line : linesOf(bytesOf(shop.file("names")))) {
        std::string name;
        for (std::size_t i = 0; i + 1 < line.size(); i += 2)
            name += static_cast<char>(std::stoi(line.substr(i, 2), nullptr, 16));
        out.push_back(name);
    }
    return out;
}

TEST(NamesTest, AProjectIsWellFormedAndNamesTheTrueFileOrIsRefused) {
    const WildPictures pictures;
    const Workshop& shop = pictures.shop;
    int written = 0;
    for (const std::string& name : kWildNames) {
        const std::string input = shop.file(name + ".png");
        const RunResult result =
            shop.run({"join", shop.file("plain.png"), input, "--mlt", shop.file("p.mlt"), "-d", "4f", "-f"});
        EXPECT_TRUE(canBeShown(result.err)) << result.err;
        const bool xmlHoldsIt = isUtf8(name) && name.find_first_of("\x1B\a\b") == std::string::npos;
        if (!xmlHoldsIt) {
            EXPECT_EQ(result.code, 2);
            EXPECT_EQ(result.err,
                      "tumblewash: " + quotedName(input) +
                          ": an MLT project cannot hold this name; rename the file or its folder\n");
            EXPECT_FALSE(std::filesystem::exists(shop.file("p.mlt")));
            continue;
        }
        ASSERT_EQ(result.code, 0) << result.err;
        for (const char c : bytesOf(shop.file("p.mlt")))
            EXPECT_TRUE(c == '\n' || std::iscntrl(static_cast<unsigned char>(c)) == 0) << name;
        EXPECT_THAT(resourcesOf(shop), testing::ElementsAre(shop.file("plain.png"), input, "black"));
        std::filesystem::remove(shop.file("p.mlt"));
        ++written;
    }
    EXPECT_GE(written, 5);
}

TEST(NamesTest, AProjectNamesAFileBehindALinkAndItsParentAsItIs) {
    const WildPictures pictures;
    const Workshop& shop = pictures.shop;
    std::filesystem::create_directories(shop.file("elsewhere/inner"));
    std::filesystem::create_directory_symlink(shop.file("elsewhere/inner"), shop.file("link"));
    std::filesystem::copy_file(shop.file("plain.png"), shop.file("elsewhere/behind.png"));
    // `link/..` is `elsewhere`, not the folder that holds the link.
    const std::string input = shop.file("link/../behind.png");
    ASSERT_EQ(
        shop.run({"join", input, shop.file("plain.png"), "--mlt", shop.file("p.mlt"), "-d", "4f", "-q"}).code,
        0);
    const std::vector<std::string> names = resourcesOf(shop);
    ASSERT_EQ(names.size(), 3U);
    EXPECT_EQ(names[0], input);
    EXPECT_TRUE(std::filesystem::equivalent(names[0], shop.file("elsewhere/behind.png")));
}

}  // namespace
}  // namespace tumblewash::app
