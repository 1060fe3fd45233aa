#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "app/Help.h"
#include "app/List.h"
#include "app/OptionTable.h"
#include "app/Progress.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/Report.h"

namespace tumblewash::app {

using edit::effectIds;
using edit::findEffect;
using edit::openPlugin;
using edit::Refusal;
using edit::Report;
using edit::reportJson;
using host::PluginModule;

namespace {

using testing::HasSubstr;

TEST(HelpTest, EveryCommandShowsItsOptionsAndExamples) {
    for (const CommandRow& command : commandTable()) {
        const std::string help = helpText(command.id);
        EXPECT_THAT(helpText(Command::None), HasSubstr(command.name));
        for (const OptionRow* row : optionsOf(command.id)) EXPECT_THAT(help, HasSubstr(row->name));
        for (const Example& example : command.examples) EXPECT_THAT(help, HasSubstr(example.line));
    }
}

TEST(HelpTest, WhatCommandsDoStandsInOneColumn) {
    const std::string help = helpText(Command::None);
    std::set<std::size_t> columns;
    for (const CommandRow& command : commandTable()) {
        const std::size_t name = help.find(std::string("\n  ") + command.name + " ");
        ASSERT_NE(name, std::string::npos) << command.name;
        columns.insert(help.find(command.summary, name) - name);
    }
    EXPECT_EQ(columns.size(), 1U);
}

TEST(HelpTest, LinesStayWithinAHundredColumns) {
    for (const CommandRow& command : commandTable()) {
        std::istringstream lines(helpText(command.id));
        for (std::string line; std::getline(lines, line);) {
            // Examples are kept whole, so that they can be copied.
            if (line.find("tumblewash ") == std::string::npos) {
                EXPECT_LE(line.size(), 100U) << line;
            }
        }
    }
}

TEST(HelpTest, PageAndScriptsHoldEveryOption) {
    const std::string man = manPage();
    for (const OptionRow& row : optionTable()) {
        std::string dashed;
        for (const char* c = row.name; *c; ++c) dashed += *c == '-' ? std::string("\\-") : std::string(1, *c);
        EXPECT_THAT(man, HasSubstr(dashed));
        EXPECT_THAT(completionScript("bash"), HasSubstr(row.name));
        EXPECT_THAT(completionScript("zsh"), HasSubstr(row.name));
        EXPECT_THAT(completionScript("fish"), HasSubstr(std::string("-l ") + (row.name + 2)));
    }
    EXPECT_THAT(completionScript("bash"), HasSubstr("tumble-reveal"));
    EXPECT_EQ(completionScript("tcsh"), "");
}

TEST(ListTest, EveryEffectIsListedWithWhatThePluginReports) {
    Options o;
    const auto json = nlohmann::json::parse(listJson(o));
    ASSERT_EQ(json["effects"].size(), 14U);
    EXPECT_EQ(json["effects"][3]["id"], "wash-away");
    EXPECT_EQ(json["effects"][3]["speeds"][0]["frames"], 10);
    EXPECT_EQ(json["effects"][3]["speeds"][1]["frames"], 120);
    EXPECT_EQ(json["effects"][1]["speeds"][1]["takeBefore"], 60);
    EXPECT_EQ(json["effects"][4]["type"], 102);
    EXPECT_EQ(json["options"].size(), optionTable().size());
    for (const std::string& id : effectIds()) EXPECT_THAT(listText(o), HasSubstr(id));
}

TEST(EffectsTest, AnIndexServesAsAnId) {
    const PluginModule module = openPlugin({});
    const std::vector<std::string> ids = effectIds();
    ASSERT_EQ(ids.size(), 14U);
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(findEffect(module, ids[i]).index, static_cast<int>(i));
        EXPECT_EQ(findEffect(module, std::to_string(i)).id, ids[i]);
    }
    for (const char* wrong : {"14", "-1", "", "3x", "wash", "WASH-AWAY "})
        EXPECT_THROW(findEffect(module, wrong), Refusal) << wrong;
}

TEST(ProgressTest, TheLineTellsPercentSpeedAndTimeLeft) {
    const std::string line =
        progressLine("join", {.frame = 50, .frames = 100, .elapsed = 1, .rate = {25, 1}}, 80);
    EXPECT_THAT(line, testing::AllOf(HasSubstr(" 50%"), HasSubstr("2.0x"), HasSubstr("0:01 left")));
    EXPECT_THAT(progressLine("join", {.frame = 0, .frames = 100, .elapsed = 0, .rate = {25, 1}}, 80),
                HasSubstr("--:-- left"));
}

TEST(ProgressTest, KeysStandOneToALine) {
    EXPECT_EQ(
        progressBlock({.frame = 50, .frames = 100, .elapsed = 1, .rate = {25, 1}}, false),
        "frame=50\ntotal_frames=100\nfps=50.00\nout_time_us=2000000\nspeed=2.000x\nprogress=continue\n");
    EXPECT_THAT(progressBlock({.frame = 0, .frames = 1, .elapsed = 0, .rate = {25, 1}}, true),
                HasSubstr("progress=end\n"));
}

TEST(ReportTest, AnyFileNameGivesValidJson) {
    Report report;
    report.output = "a\xff\"\n.mp4";
    report.rate = {25, 1};
    EXPECT_TRUE(nlohmann::json::accept(reportJson(report)));
}

}  // namespace
}  // namespace tumblewash::app
