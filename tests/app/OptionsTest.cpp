#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/OptionTable.h"
#include "app/Options.h"
#include "edit/Errors.h"

namespace tumblewash::app {

using edit::parseTime;
using edit::PixelSize;
using edit::Problem;
using edit::Refusal;
using edit::TimeSpan;
using host::AudioPolicy;
using media::Fit;
using media::FrameRate;

namespace {

using testing::HasSubstr;

std::string refusalOf(const std::vector<std::string>& words) {
    try {
        parseOptions(words);
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.problem(), Problem::BadRequest);
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos) << "one line";
        return refusal.what();
    }
    return "";
}

TEST(OptionsTest, EveryOptionOfAJoinIsRead) {
    const Options o = parseOptions({"join",       "a.mp4",      "b.mp4",       "c.mp4",
                                    "-o",         "out.mp4",    "--effect",    "wash-away,morph",
                                    "--duration", "45f",        "--direction", "up",
                                    "--seed",     "4294967295", "--size",      "640x480",
                                    "--fps",      "29.97",      "--fit",       "cover",
                                    "--still",    "3s",         "--audio",     "equal-power",
                                    "--proxy",    "--crf",      "18",          "--preset",
                                    "slow",       "-f",         "--report",    "r.json",
                                    "--plugin",   "p.so",       "--threads",   "3",
                                    "--progress", "kv",         "-q"});
    EXPECT_EQ(o.command, Command::Join);
    EXPECT_THAT(o.inputs, testing::ElementsAre("a.mp4", "b.mp4", "c.mp4"));
    EXPECT_EQ(o.output, "out.mp4");
    EXPECT_THAT(o.effects, testing::ElementsAre("wash-away", "morph"));
    EXPECT_THAT(o.durations, testing::ElementsAre(TimeSpan{TimeSpan::Unit::Frames, 45}));
    EXPECT_EQ(o.direction, kPluginDirectionUp);
    EXPECT_EQ(o.seed, 4294967295U);
    EXPECT_EQ(o.size, (PixelSize{640, 480}));
    EXPECT_EQ(o.fps, (FrameRate{30000, 1001}));
    EXPECT_EQ(o.fit, Fit::cover);
    EXPECT_EQ(o.still, (TimeSpan{TimeSpan::Unit::Microseconds, 3000000}));
    EXPECT_EQ(o.audio, AudioPolicy::equalPower);
    EXPECT_TRUE(o.proxy);
    EXPECT_EQ(o.crf, 18);
    EXPECT_EQ(o.preset, "slow");
    EXPECT_TRUE(o.force);
    EXPECT_EQ(o.report, "r.json");
    EXPECT_EQ(o.plugin, "p.so");
    EXPECT_EQ(o.threads, 3);
    EXPECT_EQ(o.progress, ProgressStyle::KeyValue);
    EXPECT_TRUE(o.quiet);
}

TEST(OptionsTest, OptionsMayStandBetweenInputsAndAfterEquals) {
    const Options o = parseOptions({"join", "--seed=7", "a.mp4", "-o", "x.mp4", "b.mp4"});
    EXPECT_THAT(o.inputs, testing::ElementsAre("a.mp4", "b.mp4"));
    EXPECT_EQ(o.seed, 7U);
}

TEST(OptionsTest, AfterTwoDashesEverythingIsAnInput) {
    const Options o = parseOptions({"join", "-o", "x.mp4", "--", "-a.mp4", "--b.mp4"});
    EXPECT_THAT(o.inputs, testing::ElementsAre("-a.mp4", "--b.mp4"));
}

TEST(OptionsTest, DefaultsAreTheDocumentedOnes) {
    const Options o = parseOptions({"join", "a", "b", "-o", "x.mp4"});
    EXPECT_EQ(o.seed, 1U);
    EXPECT_FALSE(!o.durations.empty() || o.speed || o.size || o.fps || o.direction || o.crf);
    EXPECT_EQ(o.still, parseTime("4s"));
    EXPECT_FALSE(o.fit);
    EXPECT_FALSE(o.audio) << "the command decides";
    EXPECT_EQ(o.columns, 6);
}

TEST(OptionsTest, AMistypedWordNamesTheNearestKnownOne) {
    EXPECT_THAT(refusalOf({"jion", "a", "b"}), HasSubstr("did you mean join?"));
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o", "x.mp4", "--durration", "1s"}),
                HasSubstr("did you mean --duration?"));
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o", "x.mp4", "--fit", "contian"}),
                HasSubstr("did you mean contain?"));
    EXPECT_THAT(refusalOf({"a.mp4", "b.mp4"}), HasSubstr("no such command"));
    EXPECT_THAT(refusalOf({"-o", "x.mp4"}), HasSubstr("command comes first"));
}

TEST(OptionsTest, AnOptionOfAnotherCommandIsRefused) {
    EXPECT_THAT(refusalOf({"list", "--seed", "3"}), HasSubstr("--seed"));
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o", "x.mp4", "--columns", "4"}),
                HasSubstr("--columns: no such option of join"));
}

TEST(OptionsTest, ValuesOutsideTheirRangeAreRefused) {
    const auto join = [](std::initializer_list<std::string> more) {
        std::vector<std::string> words{"join", "a", "b", "-o", "x.mp4"};
        words.insert(words.end(), more);
        return refusalOf(words);
    };
    EXPECT_THAT(join({"--speed", "1.01"}), HasSubstr("from 0 to 1"));
    EXPECT_THAT(join({"--speed", "-0.1"}), HasSubstr("from 0 to 1"));
    EXPECT_THAT(join({"--speed", "nan"}), HasSubstr("from 0 to 1"));
    EXPECT_EQ(join({"--speed", "1"}), "");
    EXPECT_EQ(join({"--speed", "0"}), "");
    EXPECT_THAT(join({"--seed", "4294967296"}), HasSubstr("--seed"));
    EXPECT_THAT(join({"--seed", "-1"}), HasSubstr("--seed"));
    EXPECT_THAT(join({"--seed", "1x"}), HasSubstr("--seed"));
    EXPECT_THAT(join({"--threads", "0"}), HasSubstr("--threads"));
    EXPECT_THAT(join({"--crf", "64"}), HasSubstr("--crf"));
    EXPECT_THAT(join({"--effect", "wash-away,,morph"}), HasSubstr("an id is missing"));
    EXPECT_THAT(join({"--effect", ""}), HasSubstr("an id is missing"));
    EXPECT_THAT(join({"--duration", "soon"}), HasSubstr("not a time"));
    EXPECT_THAT(join({"--size", "big"}), HasSubstr("not a size"));
    EXPECT_THAT(join({"--fps", "0"}), HasSubstr("not a frame rate"));
}

TEST(OptionsTest, WhatIsMissingIsNamed) {
    EXPECT_THAT(refusalOf({"join", "a.mp4", "-o", "x.mp4"}), HasSubstr("at least 2 inputs"));
    EXPECT_THAT(refusalOf({"join", "a", "b"}), HasSubstr("-o FILE"));
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o"}), HasSubstr("--output needs a value"));
    EXPECT_THAT(refusalOf({"out", "-o", "x.mp4"}), HasSubstr("one input"));
    EXPECT_THAT(refusalOf({"out", "a", "b", "-o", "x.mp4"}), HasSubstr("b: one input too many"));
    EXPECT_THAT(refusalOf({"join", "", "b", "-o", "x.mp4"}), HasSubstr("empty"));
    EXPECT_THAT(refusalOf({"--generate", "tex"}), HasSubstr("man, bash, zsh, fish"));
}

TEST(OptionsTest, WhatExcludesEachOtherIsRefused) {
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o", "x.mp4", "--speed", "1", "--duration", "1s"}),
                HasSubstr("one of them"));
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o", "x.mp4", "-q", "-v"}),
                HasSubstr("cannot be used together"));
    EXPECT_THAT(refusalOf({"join", "a", "b", "-o", "x.mp4", "-o", "y.mp4"}), HasSubstr("more than once"));
    EXPECT_THAT(refusalOf({"frame", "a", "b", "-o", "f.png", "--frame", "30", "--of", "30"}),
                HasSubstr("past the end"));
}

TEST(OptionsTest, HelpWinsOverEverythingElse) {
    EXPECT_TRUE(parseOptions({}).help);
    EXPECT_TRUE(parseOptions({"--help"}).help);
    EXPECT_TRUE(parseOptions({"join", "--help"}).help);
    EXPECT_EQ(parseOptions({"join", "-h"}).command, Command::Join);
    EXPECT_EQ(parseOptions({"help", "sheet"}).command, Command::Sheet);
    EXPECT_TRUE(parseOptions({"--version"}).version);
}

TEST(OptionTableTest, NamesAreUniqueWithinACommandAndWellFormed) {
    for (const CommandRow& command : commandTable()) {
        std::vector<std::string> seen;
        for (const OptionRow* row : optionsOf(command.id)) {
            EXPECT_EQ(std::string(row->name).rfind("--", 0), 0U);
            EXPECT_THAT(seen, testing::Not(testing::Contains(row->name)));
            seen.emplace_back(row->name);
            if (!*row->letter) continue;
            EXPECT_THAT(seen, testing::Not(testing::Contains(row->letter))) << row->letter;
            seen.emplace_back(row->letter);
        }
    }
    for (const OptionRow& row : optionTable()) {
        EXPECT_NE(row.commands, 0U) << row.name;
        EXPECT_NE(row.help[0], '\0') << row.name;
        const bool optional = row.kind == ValueKind::OptionalChoice;
        EXPECT_EQ(row.kind == ValueKind::Choice || optional, !choicesOf(row).empty()) << row.name;
        EXPECT_EQ(row.kind == ValueKind::None || optional, *row.value == '\0') << row.name;
    }
}

TEST(OptionTableTest, EveryChoiceIsAcceptedAndNothingElse) {
    for (const OptionRow& row : optionTable()) {
        if (row.kind != ValueKind::Choice && row.kind != ValueKind::OptionalChoice) continue;
        for (const std::string& word : choicesOf(row)) {
            Options o;
            EXPECT_NO_THROW(row.store(o, word)) << row.name << ' ' << word;
        }
        Options o;
        EXPECT_THROW(row.store(o, "sideways"), Refusal) << row.name;
    }
}

TEST(OptionTest, CopyBodiesMeansAutoAloneAndTakesNoOtherWord) {
    using edit::CopyBodies;
    const auto asked = [](const std::string& word) {
        return parseOptions({"join", word, "a.mp4", "b.mp4", "-o", "x.mp4"}).copyBodies;
    };
    EXPECT_EQ(parseOptions({"join", "a.mp4", "b.mp4", "-o", "x.mp4"}).copyBodies, std::nullopt);
    EXPECT_EQ(asked("--copy-bodies"), CopyBodies::automatic);
    EXPECT_EQ(asked("--copy-bodies=auto"), CopyBodies::automatic);
    EXPECT_EQ(asked("--copy-bodies=always"), CopyBodies::always);
    EXPECT_EQ(asked("--copy-bodies=never"), CopyBodies::never);
    EXPECT_THROW(asked("--copy-bodies=alwys"), Refusal);
    EXPECT_EQ(parseOptions({"join", "a.mp4", "-o", "x.mp4", "--copy-bodies"}).inputs.size(), 1U);
}

TEST(OptionTableTest, EveryExampleParses) {
    for (const CommandRow& command : commandTable())
        for (const Example& example : command.examples) {
            std::vector<std::string> words;
            std::string line = example.line;
            for (std::size_t start = 0; start < line.size();) {
                const std::size_t space = std::min(line.find(' ', start), line.size());
                words.push_back(line.substr(start, space - start));
                start = space + 1;
            }
            ASSERT_EQ(words.front(), "tumblewash");
            words.erase(words.begin());
            EXPECT_NO_THROW(EXPECT_EQ(parseOptions(words).command, command.id)) << line;
        }
}

}  // namespace
}  // namespace tumblewash::app
