#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/app/ProgramRun.h"

// Sanitizers keep freed memory for their own purposes, so only a plain build can tell what the program keeps.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TUMBLEWASH_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TUMBLEWASH_SANITIZED
#endif

#ifndef TUMBLEWASH_SANITIZED
namespace tumblewash::app {
namespace {

long residentKiB(long pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}

TEST(MemoryTest, NothingGrowsFromFrameOneThousandToTenThousand) {
    const std::string command = std::string("sh -c 'echo $$; exec \"") + TUMBLEWASH_PROGRAM + "\" join \"" +
                                scene("harbour", 220) + "\" \"" + scene("city", 220) +
                                "\" -o null: -q --progress kv'";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::array<char, 256> line{};
    ASSERT_NE(std::fgets(line.data(), line.size(), pipe), nullptr);
    const long pid = std::stol(line.data());
    long early = -1;
    long late = -1;
    while (std::fgets(line.data(), line.size(), pipe)) {
        const std::string text = line.data();
        if (text.rfind("frame=", 0) != 0) continue;
        const long frame = std::stol(text.substr(6));
        const long resident = residentKiB(pid);
        if (resident < 0) continue;
        if (early < 0 && frame >= 1000) early = resident;
        if (frame <= 10000) late = resident;
    }
    EXPECT_EQ(::pclose(pipe), 0);
    ASSERT_GT(early, 0);
    EXPECT_LE(late - early, 1024) << "KiB more than the " << early << " at frame 1000";
}

}  // namespace
}  // namespace tumblewash::app
#endif
