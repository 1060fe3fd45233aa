#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "memory/FrameMemory.h"

// What a sanitizer changes: with that for addresses nothing is kept, and both bring heaps of their own.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TUMBLEWASH_KEEPS_NONE
#endif
#if __has_feature(thread_sanitizer)
#define TUMBLEWASH_OTHER_HEAP
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TUMBLEWASH_KEEPS_NONE
#endif
#if defined(__SANITIZE_THREAD__) || defined(TUMBLEWASH_KEEPS_NONE)
#define TUMBLEWASH_OTHER_HEAP
#endif

namespace tumblewash::memory {
namespace {

constexpr std::size_t kFrame = std::size_t{1920} * 1080 * 4;

class FrameMemoryTest : public testing::Test {
  protected:
    void SetUp() override { dropKeptFrames(); }
    void TearDown() override { dropKeptFrames(); }
};

}  // namespace

TEST_F(FrameMemoryTest, EveryBlockBeginsOnACacheLineAndHoldsItsBytes) {
    std::vector<void*> blocks;
    for (const std::size_t bytes :
         {std::size_t{0}, std::size_t{1}, std::size_t{63}, std::size_t{4096}, (std::size_t{2} << 20) - 65,
          (std::size_t{2} << 20) - 64, std::size_t{2} << 20, (std::size_t{3} << 20) + 1, kFrame}) {
        auto* memory = static_cast<std::uint8_t*>(newFrameMemory(bytes));
        ASSERT_NE(memory, nullptr) << bytes;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 64, 0U) << bytes;
        std::memset(memory, 0xA5, bytes);
        for (std::size_t i = 0; i < bytes; i += 997) ASSERT_EQ(memory[i], 0xA5) << bytes;
        blocks.push_back(memory);
    }
    for (void* memory : blocks) freeFrameMemory(memory);
}

TEST_F(FrameMemoryTest, NothingIsGivenBackForNull) {
    freeFrameMemory(nullptr);
    // Nor is null kept for the next picture.
    void* const next = newFrameMemory(kFrame);
    EXPECT_NE(next, nullptr);
    freeFrameMemory(next);
    freeFrameMemory(nullptr);
    void* const smallest = newFrameMemory(0);
    EXPECT_NE(smallest, nullptr);
    freeFrameMemory(smallest);
}

TEST_F(FrameMemoryTest, MoreThanThereIsIsRefused) {
    for (const std::size_t bytes : {SIZE_MAX, SIZE_MAX / 2, SIZE_MAX - 64, std::size_t{PTRDIFF_MAX}})
        EXPECT_EQ(newFrameMemory(bytes), nullptr) << bytes;
}

#if !defined(TUMBLEWASH_KEEPS_NONE)

TEST_F(FrameMemoryTest, AFrameComesBackForOneOfItsSizeOnly) {
    void* first = newFrameMemory(kFrame);
    freeFrameMemory(first);
    void* other = newFrameMemory(kFrame + 4);
    EXPECT_NE(other, first);
    void* again = newFrameMemory(kFrame);
    EXPECT_EQ(again, first);
    void* second = newFrameMemory(kFrame);
    EXPECT_NE(second, again);
    for (void* memory : {other, again, second}) freeFrameMemory(memory);
}

#endif

#if !defined(TUMBLEWASH_OTHER_HEAP)

/// Bytes that the C library has handed out as whole mappings and in its heap.
static std::size_t heldBytes() {
    const auto held = mallinfo2();
    return held.uordblks + held.hblkhd;
}

TEST_F(FrameMemoryTest, FourFramesWaitAndTheOldestIsPushedOut) {
    std::vector<void*> frames;
    for (std::size_t i = 0; i < 5; ++i) frames.push_back(newFrameMemory(kFrame + 4 * i));
    const std::size_t held = heldBytes();
    for (void* frame : frames) freeFrameMemory(frame);
    const std::size_t waiting = heldBytes();
    EXPECT_LE(waiting, held - kFrame);
    EXPECT_GE(waiting, held - 2 * kFrame);
    for (std::size_t i = 1; i < 5; ++i) {
        void* frame = newFrameMemory(kFrame + 4 * i);
        EXPECT_EQ(frame, frames[i]) << i;
        frames[i] = frame;
    }
    EXPECT_EQ(heldBytes(), waiting);
    for (std::size_t i = 1; i < 5; ++i) freeFrameMemory(frames[i]);
}

TEST_F(FrameMemoryTest, AHundredAndTwentyEightMebibytesAreKeptAndNoMore) {
    constexpr std::size_t large = std::size_t{48} << 20;
    const std::size_t before = heldBytes();
    std::vector<void*> frames(3);
    for (void*& frame : frames) frame = newFrameMemory(large);
    for (void* frame : frames) freeFrameMemory(frame);
    EXPECT_LE(heldBytes(), before + 2 * large + large / 2);
    EXPECT_GE(heldBytes(), before + 2 * large);
    void* huge = newFrameMemory(std::size_t{160} << 20);
    freeFrameMemory(huge);
    EXPECT_GE(heldBytes(), before + 2 * large) << "one that is not kept pushes out none";
    dropKeptFrames();
    EXPECT_LE(heldBytes(), before + (std::size_t{1} << 20));
}

#endif

TEST_F(FrameMemoryTest, DroppingLeavesFramesInUseAlone) {
    auto* used = static_cast<std::uint8_t*>(newFrameMemory(kFrame));
    std::memset(used, 7, kFrame);
    freeFrameMemory(newFrameMemory(kFrame));
    dropKeptFrames();
    EXPECT_EQ(used[0], 7);
    EXPECT_EQ(used[kFrame - 1], 7);
    freeFrameMemory(used);
}

TEST_F(FrameMemoryTest, ThreadsNeverShareAFrame) {
    std::vector<std::thread> threads;
    for (std::uint8_t id = 1; id <= 4; ++id) {
        threads.emplace_back([id] {
            constexpr std::size_t bytes = std::size_t{3} << 20;
            for (int round = 0; round < 40; ++round) {
                auto* mine = static_cast<std::uint8_t*>(newFrameMemory(bytes + (round % 2 == 0 ? 0U : 64U)));
                ASSERT_NE(mine, nullptr);
                std::memset(mine, id, bytes);
                for (std::size_t i = 0; i < bytes; i += 4096) ASSERT_EQ(mine[i], id);
                freeFrameMemory(mine);
                if (round % 16 == 7) dropKeptFrames();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace tumblewash::memory
