// A thousand random parameter blocks, every frame between forbidden pages: a legal code each time, and no
// byte read or written outside.
#include <gtest/gtest.h>

#include "ImageLib/source/SICommon.h"
#include "platform/Carbon.h"
#include "tests/faults/LongForm.h"
#include "tests/faults/RandomBlock.h"

namespace tumblewash::faults {
namespace {

TEST(RandomBlockTest, EveryBlockGivesALegalCodeAndStaysInside) {
    const int lives = amount(250, 5000);  // of up to eight requests each
    for (int seed = 1; seed <= lives; ++seed) {
        SeededChoice choice(static_cast<std::uint32_t>(seed));
        ASSERT_EQ(runRandomBlocks(choice, 8), "") << "seed " << seed;
    }
}

TEST(RandomBlockTest, MissingRecordsAreRefused) {
    GuardedHost host;
    _HYProcs* const procs = host.params.procs;
    const GWorldPtr frame = host.params.frame;
    for (int which = 0; which < 14; ++which) {
        ASSERT_EQ(host.call(which, kPlugInitialize), kPluginOK);
        host.params.procs = nullptr;
        for (const int selector :
             {kPlugGetInfo, kPlugInitialize, kPlugFilePlaceHolder, kPlugDoFrame, kPlugTerminate})
            EXPECT_EQ(host.call(which, selector), kPluginBadParams) << which << " " << selector;
        EXPECT_EQ(host.call(which, kPlugDrawIcon), kPluginOK);
        host.params.procs = procs;
        host.params.frame = nullptr;
        EXPECT_EQ(host.render(which, 1), which == 0 ? kPluginOK : kPluginBadParams) << which;
        EXPECT_EQ(host.framesLent(), 0);
        EXPECT_EQ(host.call(which, kPlugFilePlaceHolder), kPluginOK);
        host.params.frame = frame;
        EXPECT_EQ(host.call(which, kPlugTerminate), kPluginOK);
    }
}

/// The guards do their work: a byte beside a frame is noticed.
TEST(RandomBlockTest, AByteBesideAFrameIsNoticed) {
    GuardedMemory memory(1000);
    std::uint8_t* bytes = memory.place(800, GuardedMemory::Against::behind);
    EXPECT_TRUE(memory.gapUntouched());
    bytes[-1] = 0;
    EXPECT_FALSE(memory.gapUntouched());
    bytes = memory.place(800, GuardedMemory::Against::behind);
    EXPECT_DEATH(bytes[800] = 1, "");
    bytes = memory.place(800, GuardedMemory::Against::before);
    EXPECT_DEATH(bytes[-1] = 1, "");
}

}  // namespace
}  // namespace tumblewash::faults
