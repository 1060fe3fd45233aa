#include <gtest/gtest.h>

#include "Utility/PluginUtils.h"
#include "tests/platform/TestPicture.h"

using tumblewash::platform::DisposedMaster;
using tumblewash::platform::PretendSystemVersion;
using tumblewash::test::World;

namespace {

GWorldPtr smallWorld() {
    GWorldPtr world = nullptr;
    const Rect bounds{0, 0, 4, 4};
    EXPECT_EQ(noErr, NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0));
    return world;
}

// Restoring puts a changed pixel state back to the one saved.
bool restorePutsStateBack(GWorldFlags saved) {
    const World world(4, 4);
    PixMapHandle map = GetGWorldPixMap(world);
    SetPixelsState(map, saved);
    StGWorldLock lock(world);
    const GWorldFlags other = pixelsPurgeable | 0x100;
    SetPixelsState(map, other);
    lock.Restore();
    return GetPixelsState(map) == saved;
}

}  // namespace

TEST(StGWorldLockTest, NullWorldLocksNothingAndRestoresNothing) {
    const std::size_t blocks = tumblewash::platform::HandleBlocksInMemory();
    StGWorldLock lock(nullptr);
    lock.Restore();
    lock.Restore();
    EXPECT_EQ(tumblewash::platform::HandleBlocksInMemory(), blocks);
}

TEST(StGWorldLockTest, LocksAndRestoresThePixels) {
    const World world(4, 4);
    PixMapHandle map = GetGWorldPixMap(world);
    StGWorldLock lock(world);
    EXPECT_EQ(GetPixelsState(map), pixelsLocked);
    StGWorldLock inner(world);
    inner.Restore();
    EXPECT_EQ(GetPixelsState(map), pixelsLocked);
    lock.Restore();
    EXPECT_EQ(GetPixelsState(map), 0);
}

TEST(StGWorldLockTest, NegativeSavedStateIsNotRestored) {
    EXPECT_TRUE(restorePutsStateBack(pixelsPurgeable));
    EXPECT_FALSE(restorePutsStateBack(static_cast<GWorldFlags>(0x80000040)));
}

TEST(StGWorldLockTest, HandleOfADisposedWorldIsLeftAlone) {
    for (const SInt32 version : {-1, 0x0920, 0}) {
        PretendSystemVersion(version);
        GWorldPtr world = smallWorld();
        PixMapHandle map = GetGWorldPixMap(world);
        StGWorldLock lock(world);
        DisposeGWorld(world);
        const World other(1, 1);
        LockPixels(GetGWorldPixMap(other));
        lock.Restore();
        EXPECT_EQ(QDError(), version == 0x0920 ? nilHandleErr : noErr)
            << "only an older system touches the handle";
        EXPECT_EQ(reinterpret_cast<Ptr>(*map), DisposedMaster());
        EXPECT_TRUE(restorePutsStateBack(0)) << "any system restores a world that is there";
    }
    PretendSystemVersion(-1);
}

TEST(StGWorldLockTest, FieldsStandInTheirOrder) {
    struct Mirror {
        GWorldPtr world;
        PixMapHandle map;
        GWorldFlags state;
    };
    static_assert(sizeof(StGWorldLock) == sizeof(Mirror));
    const World world(2, 2);
    SetPixelsState(GetGWorldPixMap(world), pixelsPurgeable);
    StGWorldLock lock(world);
    Mirror seen;
    std::memcpy(&seen, static_cast<const void*>(&lock), sizeof seen);
    EXPECT_EQ(seen.world, static_cast<GWorldPtr>(world));
    EXPECT_EQ(seen.map, GetGWorldPixMap(world));
    EXPECT_EQ(seen.state, pixelsPurgeable);
    StGWorldLock none(nullptr);
    std::memcpy(&seen, static_cast<const void*>(&none), sizeof seen);
    EXPECT_EQ(static_cast<std::uint32_t>(seen.state), 0x80000000U);
    lock.Restore();
}

TEST(StColorPushTest, ColoursAreSetAndPutBack) {
    const World world(2, 2);
    SetGWorld(world, nullptr);
    const RGBColor fore{1, 2, 3}, back{4, 5, 6}, newFore{7, 8, 9}, newBack{10, 11, 12};
    RGBForeColor(&fore);
    RGBBackColor(&back);
    RGBColor seen{};
    StColorPush push(&newFore, &newBack);
    GetForeColor(&seen);
    EXPECT_EQ(seen.green, 8);
    GetBackColor(&seen);
    EXPECT_EQ(seen.green, 11);
    push.Restore();
    GetForeColor(&seen);
    EXPECT_EQ(seen.green, 2);
    GetBackColor(&seen);
    EXPECT_EQ(seen.green, 5);
    RGBForeColor(&newFore);
    push.Save();
    RGBForeColor(&fore);
    push.Restore();
    GetForeColor(&seen);
    EXPECT_EQ(seen.green, 8);
    SetGWorld(nullptr, nullptr);
}

TEST(StFontPushTest, FontAndSizeAreSetAndPutBack) {
    const World world(2, 2);
    SetGWorld(world, nullptr);
    TextFont(20);
    TextSize(18);
    StFontPush push(4, 24);
    EXPECT_EQ(GetPortTextFont(world), 4);
    EXPECT_EQ(GetPortTextSize(world), 24);
    push.Restore();
    EXPECT_EQ(GetPortTextFont(world), 20);
    EXPECT_EQ(GetPortTextSize(world), 18);
    TextSize(30);
    push.Save();
    TextSize(31);
    push.Restore();
    EXPECT_EQ(GetPortTextSize(world), 30);
    SetGWorld(nullptr, nullptr);
}

TEST(CopyGWorldBitsTest, RectanglesAreScaledAndLocksPutBack) {
    const World source(8, 6), destination(8, 6);
    source.fillWithNumbers(1);
    const Rect from{0, 0, 2, 2}, to{1, 1, 5, 5};
    CopyGWorldBits(source, destination, &from, &to);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 8; ++x) {
            const bool in = x >= 1 && x < 5 && y >= 1 && y < 5;
            EXPECT_EQ(destination.pixel(x, y), in ? source.pixel((x - 1) / 2, (y - 1) / 2) : 0U);
        }
    }
    EXPECT_EQ(GetPixelsState(GetGWorldPixMap(source)), 0);
    EXPECT_EQ(GetPixelsState(GetGWorldPixMap(destination)), 0);
}

TEST(CopyGWorldBitsTest, WholeWorldIsScaledOntoTheWholeWorld) {
    const World source(Rect{10, 20, 13, 25}), destination(Rect{-1, -1, 8, 13});
    source.fillWithNumbers(2);
    CopyGWorldBits(source, destination);
    for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 14; ++x) {
            EXPECT_EQ(destination.pixel(x - 1, y - 1), source.pixel(20 + x * 5 / 14, 10 + y * 3 / 9));
        }
    }
    CopyGWorldBits(nullptr, destination);
    CopyGWorldBits(source, nullptr);
    EXPECT_EQ(destination.pixel(-1, -1), source.pixel(20, 10));
}

TEST(DuplicateGWorldTest, CopyHasTheSameBoundsAndPixels) {
    const World source(Rect{-4, 3, 7, 12});
    source.fillWithNumbers(3);
    GWorldPtr copy = nullptr;
    ASSERT_EQ(DuplicateGWorld(source, copy), kPluginOK);
    Rect bounds;
    GetPortBounds(copy, &bounds);
    EXPECT_TRUE(EqualRect(&bounds, &source.map().bounds));
    EXPECT_EQ(0, std::memcmp(GetPixBaseAddr(GetGWorldPixMap(copy)), source.map().baseAddr, 11 * 9 * 4));
    DisposeGWorld(copy);
}

TEST(DuplicateGWorldTest, WorldThatCannotBeMadeIsOutOfMemory) {
    GWorldPtr copy = reinterpret_cast<GWorldPtr>(8);
    EXPECT_EQ(DuplicateGWorld(nullptr, copy), kPluginOutOfMemory);
    EXPECT_EQ(copy, nullptr);
}

TEST(CopyPMHTest, BoundsAreScaledOntoBounds) {
    const World source(4, 4), destination(2, 2);
    source.fillWithNumbers(4);
    CopyPMH(GetGWorldPixMap(source), GetGWorldPixMap(destination));
    EXPECT_EQ(destination.pixel(1, 1), source.pixel(2, 2));
    EXPECT_EQ(destination.pixel(0, 1), source.pixel(0, 2));
    CopyPMH(nullptr, GetGWorldPixMap(destination));
    CopyPMH(GetGWorldPixMap(source), nullptr);
    EXPECT_EQ(destination.pixel(0, 0), source.pixel(0, 0));
}

TEST(ApplyTitleBlurTest, BlursDoNothing) {
    const World source(4, 4), destination(4, 4);
    source.fillWithNumbers(1);
    ApplyTitleBlur(source, destination, Rect{0, 0, 4, 4});
    ApplyTitleBlurFade(source, destination, Rect{0, 0, 4, 4});
    for (int i = 0; i < 16; ++i) EXPECT_EQ(destination.pixel(i % 4, i / 4), 0U);
}
