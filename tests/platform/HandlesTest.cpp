#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "platform/Handles.h"

using tumblewash::platform::DisposedMaster;
using tumblewash::platform::HandleBlocksInMemory;

TEST(HandlesTest, NewBlockIsZeroAndUnlocked) {
    Handle h = NewHandle(37);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(GetHandleSize(h), 37);
    for (int i = 0; i < 37; ++i) EXPECT_EQ((*h)[i], 0);
    EXPECT_EQ(HGetState(h), 0);
    DisposeHandle(h);
}

TEST(HandlesTest, EmptyBlockHasAMasterPointerAndNegativeSizeIsRefused) {
    Handle h = NewHandle(0);
    ASSERT_NE(h, nullptr);
    EXPECT_NE(*h, nullptr);
    EXPECT_EQ(MemError(), noErr);
    EXPECT_EQ(GetHandleSize(h), 0);
    DisposeHandle(h);
    EXPECT_EQ(NewHandle(-1), nullptr);
    EXPECT_EQ(MemError(), paramErr);
}

TEST(HandlesTest, TooLargeABlockIsMemoryFull) {
    EXPECT_EQ(NewHandle(std::numeric_limits<Size>::max()), nullptr);
    EXPECT_EQ(MemError(), memFullErr);
}

TEST(HandlesTest, StateBitsAreKeptAndLockSetsItsBit) {
    Handle h = NewHandle(4);
    HSetState(h, kHandlePurgeable);
    HLock(h);
    EXPECT_EQ(HGetState(h), static_cast<SInt8>(0xC0));
    MoveHHi(h);
    HUnlock(h);
    EXPECT_EQ(HGetState(h), kHandlePurgeable);
    DisposeHandle(h);
}

TEST(HandlesTest, HandToHandCopiesTheBlockUnlocked) {
    Handle h = NewHandle(5);
    std::memcpy(*h, "abcd", 5);
    HLock(h);
    Handle copy = h;
    ASSERT_EQ(HandToHand(&copy), noErr);
    EXPECT_NE(copy, h);
    EXPECT_NE(*copy, *h);
    EXPECT_STREQ(*copy, "abcd");
    EXPECT_EQ(HGetState(copy), 0);
    (*copy)[0] = 'z';
    EXPECT_STREQ(*h, "abcd");
    DisposeHandle(copy);
    DisposeHandle(h);
}

TEST(HandlesTest, HandToHandRefusesWhatIsNoHandle) {
    EXPECT_EQ(HandToHand(nullptr), paramErr);
    Handle none = nullptr;
    EXPECT_EQ(HandToHand(&none), nilHandleErr);
    Handle gone = NewHandle(8);
    DisposeHandle(gone);
    Handle same = gone;
    EXPECT_EQ(HandToHand(&same), nilHandleErr);
    EXPECT_EQ(same, gone);
}

TEST(HandlesTest, DisposedHandleReadsAllOnesAndIgnoresEverything) {
    Handle h = NewHandle(8);
    DisposeHandle(h);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(*h), ~std::uintptr_t{0});
    EXPECT_EQ(*h, DisposedMaster());
    HSetState(h, 0x40);
    HLock(h);
    MoveHHi(h);
    HUnlock(h);
    EXPECT_EQ(HGetState(h), 0);
    EXPECT_EQ(GetHandleSize(h), 0);
    DisposeHandle(h);
    EXPECT_EQ(MemError(), memWZErr);
    EXPECT_EQ(*h, DisposedMaster());
    DisposeHandle(nullptr);
    EXPECT_EQ(MemError(), nilHandleErr);
}

TEST(HandlesTest, DisposedHandleStaysMarkedThroughAThousandMore) {
    Handle watched = NewHandle(16);
    DisposeHandle(watched);
    for (int i = 0; i < 1000; ++i) {
        Handle h = NewHandle(16);
        ASSERT_NE(h, watched);
        DisposeHandle(h);
        ASSERT_EQ(*watched, DisposedMaster());
    }
}

TEST(HandlesTest, MasterPointersAreRecycled) {
    for (int i = 0; i < 2000; ++i) DisposeHandle(NewHandle(1));
    const std::size_t settled = HandleBlocksInMemory();
    for (int i = 0; i < 20000; ++i) DisposeHandle(NewHandle(1));
    EXPECT_EQ(HandleBlocksInMemory(), settled);
    EXPECT_LE(settled, 1024U + 256U);
}

TEST(HandlesTest, ThreadsShareThePool) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            std::vector<Handle> mine;
            for (int i = 0; i < 3000; ++i) {
                Handle h = NewHandle(sizeof(int));
                std::memcpy(*h, &t, sizeof t);
                mine.push_back(h);
                if (mine.size() > 7) {
                    int seen = -1;
                    std::memcpy(&seen, *mine.front(), sizeof seen);
                    EXPECT_EQ(seen, t);
                    DisposeHandle(mine.front());
                    mine.erase(mine.begin());
                }
            }
            for (Handle h : mine) DisposeHandle(h);
        });
    }
    for (auto& thread : threads) thread.join();
}
