#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "platform/World.h"
#include "tests/platform/TestPicture.h"

using tumblewash::platform::DisposedMaster;
using tumblewash::platform::NewGWorldOver;
using tumblewash::test::World;

namespace {

OSErr make(GWorldPtr* world, Rect bounds, short depth = 32) {
    return NewGWorld(world, depth, &bounds, nullptr, nullptr, 0);
}

}  // namespace

TEST(WorldTest, FreshWorldIsTransparentBlackWithoutPadding) {
    for (const Rect bounds : {Rect{0, 0, 5, 7}, Rect{-3, 10, 8, 11}, Rect{0, 0, 2, 4095}}) {
        const World world(bounds);
        const PixMap& map = world.map();
        EXPECT_EQ(map.rowBytes & 0x3FFF, (bounds.right - bounds.left) * 4);
        EXPECT_EQ(map.pixelSize, 32);
        Rect seen;
        EXPECT_EQ(GetPortBounds(world, &seen), &seen);
        EXPECT_TRUE(EqualRect(&seen, &bounds));
        for (int y = bounds.top; y < bounds.bottom; ++y) {
            for (int x = bounds.left; x < bounds.right; ++x) ASSERT_EQ(world.pixel(x, y), 0U);
        }
    }
}

// Large frames keep their memory, small ones may get theirs back by chance.
TEST(WorldTest, ReusedMemoryIsZeroedAgain) {
    for (const auto& [width, height] : {std::pair{64, 64}, std::pair{1200, 900}}) {
        for (int i = 0; i < 4; ++i) {
            const World world(width, height);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) ASSERT_EQ(world.pixel(x, y), 0U);
            }
            world.fillWithNumbers(7);
        }
    }
}

TEST(WorldTest, StrideBeyondTheFlagBitsIsRefused) {
    GWorldPtr world = reinterpret_cast<GWorldPtr>(8);
    EXPECT_EQ(make(&world, Rect{0, 0, 4, 4096}), paramErr);
    EXPECT_EQ(world, nullptr);
    EXPECT_EQ(make(&world, Rect{0, 0, 4, 4095}), noErr);
    DisposeGWorld(world);
}

TEST(WorldTest, EmptyRectanglesOtherDepthsAndNullsAreRefused) {
    for (const Rect bounds : {Rect{0, 0, 0, 4}, Rect{0, 0, 4, 0}, Rect{4, 0, 0, 4}, Rect{0, 4, 4, 0}}) {
        GWorldPtr world = reinterpret_cast<GWorldPtr>(8);
        EXPECT_EQ(make(&world, bounds), paramErr);
        EXPECT_EQ(world, nullptr);
    }
    GWorldPtr world = nullptr;
    EXPECT_EQ(make(&world, Rect{0, 0, 4, 4}, 16), cDepthErr);
    EXPECT_EQ(NewGWorld(&world, 32, nullptr, nullptr, nullptr, 0), paramErr);
    const Rect bounds{0, 0, 4, 4};
    EXPECT_EQ(NewGWorld(nullptr, 32, &bounds, nullptr, nullptr, 0), paramErr);
}

TEST(WorldTest, WorldOverMemoryLooksAtItAndLeavesItAlone) {
    std::vector<std::uint8_t> memory(40 * 3, 9);
    GWorldPtr world = nullptr;
    const Rect bounds{0, 0, 3, 5};
    ASSERT_EQ(NewGWorldOver(&world, memory.data(), 40, &bounds), noErr);
    EXPECT_EQ(GetPixBaseAddr(GetGWorldPixMap(world)), reinterpret_cast<Ptr>(memory.data()));
    EXPECT_EQ((*GetGWorldPixMap(world))->rowBytes, 40);
    SetGWorld(world, nullptr);
    const RGBColor red{0xFFFF, 0, 0};
    RGBBackColor(&red);
    EraseRect(&bounds);
    DisposeGWorld(world);
    for (std::size_t i = 0; i < memory.size(); ++i) {
        const std::uint8_t erased[4] = {255, 255, 0, 0};
        EXPECT_EQ(memory[i], i % 40 < 20 ? erased[i % 4] : 9) << i;
    }
}

TEST(WorldTest, WorldOverMemoryChecksItsStride) {
    std::vector<std::uint8_t> memory(64);
    const Rect bounds{0, 0, 1, 4};
    GWorldPtr world = nullptr;
    EXPECT_EQ(NewGWorldOver(&world, memory.data(), 12, &bounds), paramErr);
    EXPECT_EQ(NewGWorldOver(&world, memory.data(), 18, &bounds), paramErr);
    EXPECT_EQ(NewGWorldOver(&world, memory.data(), 0x4000, &bounds), paramErr);
    EXPECT_EQ(NewGWorldOver(&world, nullptr, 16, &bounds), paramErr);
    EXPECT_EQ(NewGWorldOver(&world, memory.data(), 16, nullptr), paramErr);
    EXPECT_EQ(NewGWorldOver(nullptr, memory.data(), 16, &bounds), paramErr);
    EXPECT_EQ(NewGWorldOver(&world, memory.data(), 0x3FFC, &bounds), noErr);
    DisposeGWorld(world);
}

TEST(WorldTest, LockingSetsTheStateBitAndStateIsRestored) {
    const World world(4, 4);
    PixMapHandle map = GetGWorldPixMap(world);
    EXPECT_EQ(GetPixelsState(map), 0);
    EXPECT_TRUE(LockPixels(map));
    EXPECT_EQ(GetPixelsState(map), pixelsLocked);
    SetPixelsState(map, pixelsPurgeable);
    LockPixels(map);
    UnlockPixels(map);
    EXPECT_EQ(GetPixelsState(map), pixelsPurgeable);
    EXPECT_EQ(GetPortPixMap(world), map);
    EXPECT_EQ(GetPortBitMapForCopyBits(world), *map);
}

TEST(WorldTest, DisposedWorldLeavesAReadableMarkedHandle) {
    GWorldPtr world = nullptr;
    ASSERT_EQ(make(&world, Rect{0, 0, 4, 4}), noErr);
    PixMapHandle map = GetGWorldPixMap(world);
    DisposeGWorld(world);
    EXPECT_EQ(reinterpret_cast<Ptr>(*map), DisposedMaster());
    SetPixelsState(map, 0);
    UnlockPixels(map);
    EXPECT_FALSE(LockPixels(map));
    EXPECT_EQ(QDError(), nilHandleErr);
    EXPECT_EQ(GetPixelsState(map), 0);
    EXPECT_EQ(GetPixBaseAddr(map), nullptr);
}

TEST(WorldTest, NullsAnswerHarmlessly) {
    DisposeGWorld(nullptr);
    EXPECT_EQ(GetGWorldPixMap(nullptr), nullptr);
    EXPECT_EQ(GetPortBitMapForCopyBits(nullptr), nullptr);
    Rect bounds{1, 2, 3, 4};
    GetPortBounds(nullptr, &bounds);
    EXPECT_TRUE(EmptyRect(&bounds));
    EXPECT_EQ(GetPortBounds(nullptr, nullptr), nullptr);
    EXPECT_FALSE(LockPixels(nullptr));
    UnlockPixels(nullptr);
    SetPixelsState(nullptr, 1);
    EXPECT_EQ(GetPixelsState(nullptr), 0);
    EXPECT_EQ(GetPixBaseAddr(nullptr), nullptr);
    GetGWorld(nullptr, nullptr);
}

TEST(WorldTest, CurrentWorldIsKeptPerThreadAndForgottenWhenDisposed) {
    const World one(2, 2);
    GDHandle device = reinterpret_cast<GDHandle>(8);
    CGrafPtr current = nullptr;
    SetGWorld(one, nullptr);
    GetGWorld(&current, &device);
    EXPECT_EQ(current, static_cast<GWorldPtr>(one));
    EXPECT_EQ(device, nullptr);
    std::thread([] {
        CGrafPtr theirs = reinterpret_cast<CGrafPtr>(8);
        GetGWorld(&theirs, nullptr);
        EXPECT_EQ(theirs, nullptr);
    }).join();
    GWorldPtr brief = nullptr;
    ASSERT_EQ(make(&brief, Rect{0, 0, 1, 1}), noErr);
    SetGWorld(brief, nullptr);
    DisposeGWorld(brief);
    GetGWorld(&current, nullptr);
    EXPECT_EQ(current, nullptr);
}

TEST(ColorTest, EraseUsesTheHighBytesAndAlpha255InsideTheWorld) {
    const World world(Rect{-2, -1, 4, 5});
    world.fillWithNumbers(3);
    const World before(Rect{-2, -1, 4, 5});
    before.fillWithNumbers(3);
    SetGWorld(world, nullptr);
    const RGBColor grey{0x2FFF, 0x2F00, 0x30FF};
    RGBBackColor(&grey);
    const Rect r{-9, 1, 2, 99};
    EraseRect(&r);
    EraseRect(nullptr);
    for (int y = -2; y < 4; ++y) {
        for (int x = -1; x < 5; ++x) {
            EXPECT_EQ(world.pixel(x, y), x >= 1 && y < 2 ? 0xFF2F2F30U : before.pixel(x, y)) << x << ',' << y;
        }
    }
    SetGWorld(nullptr, nullptr);
    EraseRect(&r);
}

TEST(ColorTest, ColoursBelongToTheWorld) {
    const World one(1, 1), two(1, 1);
    const RGBColor mine{1, 2, 3};
    RGBColor seen{};
    SetGWorld(one, nullptr);
    RGBForeColor(&mine);
    RGBBackColor(nullptr);
    GetBackColor(&seen);
    EXPECT_EQ(seen.red & seen.green & seen.blue, 0xFFFF);
    SetGWorld(two, nullptr);
    GetForeColor(&seen);
    EXPECT_EQ(seen.red | seen.green | seen.blue, 0);
    SetGWorld(one, nullptr);
    GetForeColor(&seen);
    EXPECT_EQ(seen.blue, 3);
    SetGWorld(nullptr, nullptr);
}

TEST(ColorTest, NamedColoursHaveTheirNumbers) {
    const World world(1, 1);
    SetGWorld(world, nullptr);
    RGBColor seen{};
    const auto fore = [&](SInt32 number) {
        ForeColor(number);
        GetForeColor(&seen);
        return (seen.red >> 8) << 16 | (seen.green >> 8) << 8 | seen.blue >> 8;
    };
    EXPECT_EQ(fore(30), 0xFFFFFF);
    EXPECT_EQ(fore(33), 0x000000);
    EXPECT_EQ(fore(redColor), 0xFF0000);
    EXPECT_EQ(fore(greenColor), 0x00FF00);
    EXPECT_EQ(fore(blueColor), 0x0000FF);
    EXPECT_EQ(fore(1234), 0x0000FF);
    BackColor(yellowColor);
    GetBackColor(&seen);
    EXPECT_EQ(seen.blue, 0);
    EXPECT_EQ(seen.green, 0xFFFF);
    SetGWorld(nullptr, nullptr);
}

TEST(RectsTest, RectanglesMoveMeetAndCompare) {
    Rect r;
    SetRect(&r, 1, 2, 3, 4);
    EXPECT_EQ(r.left, 1);
    EXPECT_EQ(r.top, 2);
    EXPECT_EQ(r.right, 3);
    EXPECT_EQ(r.bottom, 4);
    OffsetRect(&r, static_cast<short>(-r.left), static_cast<short>(-r.top));
    const Rect moved{0, 0, 2, 2};
    EXPECT_TRUE(EqualRect(&r, &moved));
    Rect wide{0, 0, 10, 32767};
    OffsetRect(&wide, 1, 0);
    EXPECT_EQ(wide.right, -32768);
    Rect common;
    const Rect other{1, 1, 9, 9}, far{5, 5, 6, 6};
    EXPECT_TRUE(SectRect(&r, &other, &common));
    const Rect one{1, 1, 2, 2};
    EXPECT_TRUE(EqualRect(&common, &one));
    EXPECT_FALSE(SectRect(&r, &far, &common));
    EXPECT_TRUE(EmptyRect(&common));
    EXPECT_FALSE(EqualRect(&r, &other));
}

TEST(GestaltTest, SystemVersionIsModernUnlessPretended) {
    SInt32 version = 0;
    ASSERT_EQ(Gestalt(0x73797376, &version), noErr);
    EXPECT_GE(version, 0x1000);
    EXPECT_EQ(Gestalt(0x71647276, &version), gestaltUndefSelectorErr);
    EXPECT_EQ(Gestalt(gestaltSystemVersion, nullptr), paramErr);
    tumblewash::platform::PretendSystemVersion(0x0920);
    ASSERT_EQ(Gestalt(gestaltSystemVersion, &version), noErr);
    EXPECT_EQ(version, 0x0920);
    tumblewash::platform::PretendSystemVersion(0);
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), gestaltUndefSelectorErr);
    tumblewash::platform::PretendSystemVersion(-1);
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), noErr);
}
