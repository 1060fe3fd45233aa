#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ImageLib/source/LogHook.h"

namespace {

std::vector<std::string> heard;

void hear(const char* line) {
    heard.emplace_back(line);
}

void ignore(const char*) {}

TEST(LogHookTest, WithoutASinkLinesAreDiscarded) {
    const tumblewash::imagelib::LogSink before = tumblewash::imagelib::setLogSink(nullptr);
    heard.clear();
    tumblewash::imagelib::logLine("lost");
    EXPECT_TRUE(heard.empty());
    tumblewash::imagelib::setLogSink(before);
}

TEST(LogHookTest, TheSinkHearsEveryLineInOrder) {
    heard.clear();
    const tumblewash::imagelib::LogSink before = tumblewash::imagelib::setLogSink(hear);
    tumblewash::imagelib::logLine("one\n\r");
    tumblewash::imagelib::logLine("two");
    EXPECT_EQ(tumblewash::imagelib::setLogSink(ignore), hear);
    tumblewash::imagelib::logLine("three");
    EXPECT_EQ(tumblewash::imagelib::setLogSink(before), ignore);
    EXPECT_EQ(heard, (std::vector<std::string>{"one\n\r", "two"}));
}

}  // namespace
