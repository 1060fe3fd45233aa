#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "Utility/PluginUtils.h"
#include "tests/platform/TestPicture.h"

using tumblewash::platform::IsLiveHandle;
using tumblewash::platform::NewGWorldOver;
using tumblewash::test::World;

namespace {

// A handle to a map over nothing in particular, for tests that never touch a pixel.
class Frame {
  public:
    Frame(const Rect& bounds, int rowBytes) {
        handle = reinterpret_cast<PixMapHandle>(NewHandle(sizeof(PixMap)));
        **handle = PixMap{memory, static_cast<std::int16_t>(rowBytes), bounds, 32, 0};
    }
    ~Frame() { DisposeHandle(reinterpret_cast<Handle>(handle)); }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    char memory[1024] = {};
    PixMapHandle handle;
};

// How many handles an interlaced copy leaves behind.
int handlesLeftBy(GWorldPtr source, GWorldPtr destination) {
    const std::size_t before = tumblewash::platform::LiveHandles();
    CopyGWorldBitsInterlaced(source, destination);
    return static_cast<int>(tumblewash::platform::LiveHandles() - before);
}

}  // namespace

TEST(FieldsTest, FiveLinesSplitIntoThreeEvenAndTwoOdd) {
    const Frame frame(Rect{0, 0, 5, 8}, 32);
    InterlacedPMH fields{};
    ASSERT_EQ(CreateOddAndEvenPixMapHandles(frame.handle, fields), 0);
    EXPECT_EQ((*fields.even)->bounds.bottom, 3);
    EXPECT_EQ((*fields.odd)->bounds.bottom, 2);
    EXPECT_EQ((*fields.even)->baseAddr, frame.memory);
    EXPECT_EQ((*fields.odd)->baseAddr, frame.memory + 32);
    EXPECT_EQ((*frame.handle)->bounds.bottom, 5);
    ReleaseOddAndEvenPixMapHandles(fields);
}

TEST(FieldsTest, StrideDoublesAndFlagsStay) {
    for (const int flags : {0, 0x4000, 0x8000, 0xC000}) {
        const Frame frame(Rect{0, 0, 4, 8}, 40 | flags);
        InterlacedPMH fields{};
        ASSERT_EQ(CreateOddAndEvenPixMapHandles(frame.handle, fields), 0);
        for (PixMapHandle field : {fields.even, fields.odd}) {
            EXPECT_EQ(static_cast<std::uint16_t>((*field)->rowBytes), 80 | flags);
        }
        ReleaseOddAndEvenPixMapHandles(fields);
    }
}

TEST(FieldsTest, LeftCountsInBytesAndOnlyTheOddFieldMoves) {
    const Frame frame(Rect{0, 0, 9, 8}, 32 | 0x8000);
    const Rect r{2, 3, 7, 8};
    InterlacedPMH fields{};
    ASSERT_EQ(CreateOddAndEvenPixMapHandles(frame.handle, fields, &r), 0);
    EXPECT_EQ((*fields.even)->baseAddr, frame.memory);
    EXPECT_EQ((*fields.odd)->baseAddr, frame.memory + 3 + 32 * 3);
    EXPECT_EQ((*fields.even)->bounds.bottom, 3);
    EXPECT_EQ((*fields.odd)->bounds.bottom, 2);
    EXPECT_EQ((*fields.odd)->bounds.right, 8);
    ReleaseOddAndEvenPixMapHandles(fields);
}

TEST(FieldsTest, HeightIsAbsoluteAndCountsFromTheMapsTop) {
    const Frame frame(Rect{10, 0, 18, 8}, 32);
    const Rect upsideDown{6, 0, -1, 8};
    InterlacedPMH fields{};
    ASSERT_EQ(CreateOddAndEvenPixMapHandles(frame.handle, fields, &upsideDown), 0);
    EXPECT_EQ((*fields.even)->bounds.bottom, 10 + 4);
    EXPECT_EQ((*fields.odd)->bounds.bottom, 10 + 3);
    ReleaseOddAndEvenPixMapHandles(fields);
    ASSERT_EQ(CreateOddAndEvenPixMapHandles(frame.handle, fields), 0);
    EXPECT_EQ((*fields.odd)->baseAddr, frame.memory + 32 * 11);
    ReleaseOddAndEvenPixMapHandles(fields);
}

TEST(FieldsTest, NullFrameAndTooWideAStrideAreParameterErrors) {
    InterlacedPMH fields{};
    EXPECT_EQ(CreateOddAndEvenPixMapHandles(nullptr, fields), -50);
    EXPECT_EQ(fields.even, nullptr);
    const Frame wide(Rect{0, 0, 4, 2048}, 0x2000);
    EXPECT_EQ(CreateOddAndEvenPixMapHandles(wide.handle, fields), -50);
    EXPECT_EQ(fields.even, nullptr);
    const Frame widest(Rect{0, 0, 4, 2047}, 0x1FFC | 0x8000);
    ASSERT_EQ(CreateOddAndEvenPixMapHandles(widest.handle, fields), 0);
    EXPECT_EQ((*fields.even)->rowBytes & 0x3FFF, 0x3FF8);
    ReleaseOddAndEvenPixMapHandles(fields);
}

TEST(FieldsTest, ErrorOfTheFirstCopyIsPassedOnAndNothingUndone) {
    PixMapHandle gone = nullptr;
    {
        const Frame frame(Rect{0, 0, 4, 4}, 16);
        gone = frame.handle;
    }
    InterlacedPMH fields{};
    EXPECT_EQ(CreateOddAndEvenPixMapHandles(gone, fields), nilHandleErr);
    EXPECT_EQ(fields.even, gone);
    EXPECT_EQ(fields.odd, gone);
}

TEST(FieldsTest, ReleaseDisposesBothAndSkipsNull) {
    const Frame frame(Rect{0, 0, 4, 4}, 16);
    InterlacedPMH fields{};
    ASSERT_EQ(CreateOddAndEvenPixMapHandles(frame.handle, fields), 0);
    const InterlacedPMH seen = fields;
    ReleaseOddAndEvenPixMapHandles(fields);
    EXPECT_EQ(fields.even, nullptr);
    EXPECT_EQ(fields.odd, nullptr);
    EXPECT_FALSE(IsLiveHandle(reinterpret_cast<Handle>(seen.even)));
    EXPECT_FALSE(IsLiveHandle(reinterpret_cast<Handle>(seen.odd)));
    EXPECT_TRUE(IsLiveHandle(reinterpret_cast<Handle>(frame.handle)));
    ReleaseOddAndEvenPixMapHandles(fields);
}

TEST(FieldsTest, MaskPicksTheFieldsAndColoursComeBack) {
    for (std::int32_t mask = 0; mask < 4; ++mask) {
        const World source(6, 5), destination(6, 5);
        source.fillWithNumbers(1);
        SetGWorld(destination, nullptr);
        const RGBColor red{0xFFFF, 0, 0};
        RGBForeColor(&red);
        InterlacedPMH from{}, to{};
        ASSERT_EQ(CreateOddAndEvenPixMapHandles(GetGWorldPixMap(source), from), 0);
        ASSERT_EQ(CreateOddAndEvenPixMapHandles(GetGWorldPixMap(destination), to), 0);
        CopyInterlacedPMH(from, to, mask);
        for (int y = 0; y < 5; ++y) {
            const bool copied = (mask & (y % 2 == 0 ? 1 : 2)) != 0;
            for (int x = 0; x < 6; ++x) EXPECT_EQ(destination.pixel(x, y), copied ? source.pixel(x, y) : 0U);
        }
        RGBColor seen{};
        GetForeColor(&seen);
        EXPECT_EQ(seen.red, 0xFFFF);
        EXPECT_EQ(seen.green, 0);
        ReleaseOddAndEvenPixMapHandles(from);
        ReleaseOddAndEvenPixMapHandles(to);
    }
    SetGWorld(nullptr, nullptr);
}

TEST(FieldsTest, InterlacedCopyMovesEveryLineOfOddAndEvenHeights) {
    for (short height = 1; height < 9; ++height) {
        const World source(Rect{0, 0, height, 7}), destination(Rect{0, 0, height, 7});
        source.fillWithNumbers(static_cast<unsigned>(height));
        CopyGWorldBitsInterlaced(source, destination);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < 7; ++x) ASSERT_EQ(destination.pixel(x, y), source.pixel(x, y)) << height;
        }
        EXPECT_EQ(GetPixelsState(GetGWorldPixMap(source)), 0);
        EXPECT_EQ(GetPixelsState(GetGWorldPixMap(destination)), 0);
    }
}

TEST(FieldsTest, FieldsOfAnotherHeightAreScaledFieldByField) {
    const World source(3, 8), destination(3, 4);
    source.fillWithNumbers(5);
    CopyGWorldBitsInterlaced(source, destination);
    const int from[4] = {0, 1, 4, 5};
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 3; ++x) EXPECT_EQ(destination.pixel(x, y), source.pixel(x, from[y])) << y;
    }
}

// Run in a process of its own, since the source's pair of handles stays behind by design.
TEST(FieldsDeathTest, UnusableDestinationCopiesNothingAndLeavesTheFirstPair) {
    const auto run = [] {
        const World source(4, 4);
        std::vector<std::uint8_t> memory(0x2000 * 4, 7);
        GWorldPtr wide = nullptr;
        const Rect bounds{0, 0, 4, 4};
        if (NewGWorldOver(&wide, memory.data(), 0x2000, &bounds) != noErr) std::_Exit(1);
        if (handlesLeftBy(source, wide) != 2) std::_Exit(2);
        if (memory != std::vector<std::uint8_t>(0x2000 * 4, 7)) std::_Exit(3);
        if (GetPixelsState(GetGWorldPixMap(wide)) != 0) std::_Exit(4);
        if (GetPixelsState(GetGWorldPixMap(source)) != 0) std::_Exit(5);
        if (handlesLeftBy(source, nullptr) != 2) std::_Exit(6);
        std::_Exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(FieldsTest, CopyingBothFieldsOrNoneLeavesNoHandle) {
    const World world(4, 4), other(4, 4);
    world.fillWithNumbers(1);
    EXPECT_EQ(handlesLeftBy(world, other), 0);
    EXPECT_EQ(handlesLeftBy(nullptr, other), 0);
    EXPECT_EQ(other.pixel(3, 3), world.pixel(3, 3));
}
