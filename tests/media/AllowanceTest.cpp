// What looking into an input may cost, and the files that would cost more.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <system_error>
#include <thread>
#include <vector>

#include "media/detail/Allowance.h"
#include "media/detail/CostlyInput.h"

namespace tumblewash::media {
namespace {

using Clock = std::chrono::steady_clock;

TEST(AllowanceTest, ResultsAndExceptionsComeThrough) {
    EXPECT_EQ(withinAllowance<int>("a", nullptr, [](CancelFlag) { return 7; }), 7);
    EXPECT_THROW(withinAllowance<int>("a", nullptr, [](CancelFlag) -> int { throw std::bad_alloc(); }),
                 std::bad_alloc);
}

TEST(AllowanceTest, RaisedBeforeNothingBegins) {
    const std::atomic<bool> raised{true};
    bool begun = false;
    EXPECT_THROW(runWithinAllowance("a", &raised, [&](CancelFlag) { begun = true; }), MediaError);
    EXPECT_FALSE(begun);
}

TEST(AllowanceTest, WorkThatNeverLooksUpIsLeftBehindSoon) {
    std::atomic<bool> raised{false};
    const auto mayEnd = std::make_shared<std::atomic<bool>>(false);
    std::thread signal([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        raised = true;
    });
    const Clock::time_point start = Clock::now();
    try {
        runWithinAllowance("stuck", &raised, [mayEnd](CancelFlag) {
            while (!*mayEnd) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        });
        ADD_FAILURE() << "came back";
    } catch (const MediaError& problem) {
        EXPECT_EQ(problem.code(), MediaErrorCode::cancelled);
    }
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    signal.join();
    *mayEnd = true;
}

TEST(AllowanceTest, WorkIsToldWhenItIsGivenUp) {
    std::atomic<bool> raised{false};
    std::atomic<bool> told{false};
    std::thread signal([&] { raised = true; });
    EXPECT_THROW(runWithinAllowance("polite", &raised,
                                    [&](CancelFlag flag) {
                                        while (!*flag) std::this_thread::yield();
                                        told = true;
                                    }),
                 MediaError);
    signal.join();
    EXPECT_TRUE(told);
}

std::vector<uint8_t> jpeg(std::vector<uint8_t> frame, int scans) {
    // The first block carries a small picture of its own, whose scans are not this one's.
    std::vector<uint8_t> bytes{0xFF, 0xD8, 0xFF, 0xE1, 0, 10, 0xFF, 0xDA, 0, 2, 0xFF, 0xDA, 0, 2, 0xFF};
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    const uint8_t scan[] = {0, 3, 0, 0x12, 0xFF, 0, 0x34, 0xFF, 0xD0, 0x56, 0xFF};
    for (int i = 0; i < scans; ++i) {
        bytes.push_back(0xDA);
        bytes.insert(bytes.end(), std::begin(scan), std::end(scan));
    }
    bytes.push_back(0xD9);
    return bytes;
}

TEST(CostlyInputTest, ScansArePassesOverThePictureItself) {
    const JpegScans progressive = scansOf(jpeg({0xC2, 0, 3, 8, 0xFF}, 12), false);
    EXPECT_EQ(progressive.count, 12);
    EXPECT_TRUE(progressive.progressive);
    const JpegScans sequential = scansOf(jpeg({0xC0, 0, 3, 8, 0xFF}, 12), true);
    EXPECT_EQ(sequential.count, 12);
    EXPECT_FALSE(sequential.progressive);
    EXPECT_EQ(scansOf(jpeg({0xC0, 0, 3, 8, 0xFF}, 12), false).count, 1);
}

TEST(CostlyInputTest, AnyBytesAreCountedWithinTheirBounds) {
    const std::vector<uint8_t> whole = jpeg({0xC2, 0, 3, 8, 0xFF}, 2);
    for (size_t size = 0; size <= whole.size(); ++size) {
        const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_LE(scansOf(cut, true).count, 2) << size;
    }
    EXPECT_EQ(scansOf({}, true).count, 0);
}

}  // namespace
}  // namespace tumblewash::media
