#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using Clock = std::chrono::steady_clock;

int trials(int few, int many) {
    return std::getenv("TUMBLEWASH_LONG") ? many : few;
}

std::vector<std::string> longJoin(const Workshop& shop) {
    return {"join",
            scene("harbour", 60, "320x240"),
            scene("city", 60, "320x240"),
            "-o",
            shop.file("o.mp4"),
            "-e",
            "tumble-away",
            "--speed",
            "1",
            "--force",
            "--report",
            shop.file("r.json")};
}

TEST(SignalTest, AnInterruptEndsTheRunSaysSoAndLeavesNothing) {
    const int count = trials(6, 25);
    for (int i = 0; i < count; ++i) {
        const Workshop shop;
        writeBytes(shop.file("o.mp4"), "old");
        RunningProgram program(longJoin(shop), shop.folder());
        program.waitForHandler(SIGTERM);
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 60));
        program.signal(i % 2 ? SIGTERM : SIGINT);
        const Clock::time_point sent = Clock::now();
        const RunResult result = program.wait();
        EXPECT_LT(Clock::now() - sent, std::chrono::seconds(2));
        EXPECT_EQ(result.code, i % 2 ? 128 + SIGTERM : 128 + SIGINT) << result.err;
        EXPECT_THAT(result.err,
                    testing::HasSubstr(i % 2 ? "interrupted by SIGTERM" : "interrupted by SIGINT"));
        EXPECT_EQ(bytesOf(shop.file("o.mp4")), "old");
        EXPECT_THAT(shop.names(), testing::ElementsAre("o.mp4"));
    }
}

TEST(SignalTest, AKilledRunLeavesTheOldFileOrACompleteNewOne) {
    const int count = trials(8, 200);
    for (int i = 0; i < count; ++i) {
        const Workshop shop;
        writeBytes(shop.file("o.mp4"), "old");
        RunningProgram program(
            {"join", scene("harbour", 2), scene("city", 2), "-o", shop.file("o.mp4"), "-f", "-q"},
            shop.folder());
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + i * 37 % 700));
        program.signal(SIGKILL);
        program.wait();
        if (bytesOf(shop.file("o.mp4")) == "old") continue;
        EXPECT_EQ(streamOf(probeJson(shop.file("o.mp4")), "video")["nb_read_frames"], "74");
    }
}

TEST(SignalTest, AnInterruptedSequenceOrPictureLeavesNothing) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"join", scene("harbour", 60, "320x240"), scene("city", 60, "320x240"),
                                   "-o", "p%04d.png"},
          {"sheet", scene("harbour", 5, "960x720"), scene("city", 5, "960x720"), "-o", "s.png", "--columns",
           "12"}}) {
        const Workshop shop;
        std::vector<std::string> here = words;
        for (std::string& word : here)
            if (word.ends_with(".png")) word = shop.file(word);
        RunningProgram program(here, shop.folder());
        program.waitForHandler(SIGINT);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        program.signal(SIGINT);
        const RunResult result = program.wait();
        EXPECT_EQ(result.code, 130) << result.err;
        EXPECT_TRUE(shop.names().empty()) << testing::PrintToString(shop.names());
    }
}

}  // namespace
}  // namespace tumblewash::app
