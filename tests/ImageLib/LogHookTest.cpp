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
    const tumblewash::LogSink before = tumblewash::setLogSink(nullptr);
    heard.clear();
    tumblewash::logLine("lost");
    EXPECT_TRUE(heard.empty());
    tumblewash::setLogSink(before);
}

TEST(LogHookTest, TheSinkHearsEveryLineInOrder) {
    heard.clear();
    const tumblewash::LogSink before = tumblewash::setLogSink(hear);
    tumblewash::logLine("one\n\r");
    tumblewash::logLine("two");
    EXPECT_EQ(tumblewash::setLogSink(ignore), hear);
    tumblewash::logLine("three");
    EXPECT_EQ(tumblewash::setLogSink(before), ignore);
    EXPECT_EQ(heard, (std::vector<std::string>{"one\n\r", "two"}));
}

}  // namespace
