// The row kernels on every instruction set of this machine: the same bytes as their scalar siblings.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/kernels/BlockMatch.h"
#include "ImageLib/kernels/BlockMean.h"
#include "ImageLib/kernels/FieldRow.h"
#include "ImageLib/kernels/WarpRow.h"
#include "tests/ImageLib/EveryTarget.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {

using kernels::addBlockRuns;
using kernels::addBlockRunsScalar;
using kernels::BlockRun;
using kernels::enlargeFieldRow;
using kernels::enlargeFieldRowScalar;
using kernels::FieldChannel;
using kernels::FieldColumns;
using kernels::FieldRun;
using kernels::kLeavePixel;
using kernels::kMostRowsInColumns;
using kernels::kZeroPixel;
using kernels::matchSums;
using kernels::matchSumsScalar;
using kernels::sumColumns;
using kernels::sumColumnsScalar;
using kernels::warpFetchRow;
using kernels::warpFetchRowScalar;
using kernels::warpIndexRow;
using kernels::warpIndexRowScalar;
using kernels::WarpShape;

namespace {

using kernels::InstructionSet;
using test::between;
using test::EveryTarget;
using test::noise;

/// Floats equal to the bit, not-a-numbers included.
bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// --- field rows

struct FieldCase {
    std::vector<FieldRun> runs;
    std::vector<double> near, far;
    std::vector<float> cells[4];
    double farY;

    FieldCase(int columns, int cellCount, std::mt19937& random) : farY(between(random, 0.0F, 1.0F)) {
        int x = columns > 3 ? static_cast<int>(random() % 3) : 0;
        for (int cell = 0; cell + 1 < cellCount && x < columns; ++cell) {
            const int end = std::min(columns, x + 1 + static_cast<int>(random() % 19));
            runs.push_back({x, end, cell, cell + 1});
            x = end;
        }
        for (int i = 0; i < columns; ++i) {
            far.push_back(static_cast<double>(between(random, 0.0F, 1.0F)) / 3.0);
            near.push_back(1.0 - far.back());
        }
        for (std::vector<float>& row : cells) {
            for (int i = 0; i < cellCount; ++i) row.push_back(between(random, -1.0F, 1.0F));
            row[random() % row.size()] = -0.0F;
            if (random() % 4 == 0) row[random() % row.size()] = std::numeric_limits<float>::infinity();
        }
    }
};

TEST(KernelTest, FieldRowsAreTheScalarOnesToTheBitOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int columns = 1; columns <= 67; ++columns) {
            const FieldCase c(columns, 2 + columns % 9, random);
            for (int channelCount = 1; channelCount <= 2; ++channelCount) {
                const std::size_t poisoned = static_cast<std::size_t>(columns) + 16;
                std::vector<float> expected[2] = {std::vector<float>(poisoned, 77.0F),
                                                  std::vector<float>(poisoned, 78.0F)};
                std::vector<float> got[2] = {expected[0], expected[1]};
                const auto channels = [&c](std::vector<float>(&out)[2]) {
                    return std::array<FieldChannel, 2>{
                        {{c.cells[0].data(), c.cells[1].data(), out[0].data()},
                         {c.cells[2].data(), c.cells[3].data(), out[1].data()}}};
                };
                const int limit = c.runs.back().end;
                const FieldColumns at = {c.near.data(), c.far.data()};
                const int runCount = static_cast<int>(c.runs.size());
                enlargeFieldRowScalar(c.runs.data(), runCount, at, 1.0 - c.farY, c.farY,
                                      channels(expected).data(), channelCount, limit);
                enlargeFieldRow(c.runs.data(), runCount, at, 1.0 - c.farY, c.farY, channels(got).data(),
                                channelCount, limit, set);
                ASSERT_TRUE(sameBits(expected[0], got[0])) << columns;
                ASSERT_TRUE(sameBits(expected[1], got[1])) << columns;
            }
        }
    });
}

TEST(KernelTest, PartOfAFieldRowLeavesTheColumnsBeforeItAndBehindTheLimit) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const FieldCase c(67, 12, random);
        const int runCount = static_cast<int>(c.runs.size());
        for (int first = 0; first < runCount; ++first) {
            std::vector<float> expected(83, 5.0F), got = expected;
            const FieldColumns at = {c.near.data(), c.far.data()};
            const FieldChannel to = {c.cells[0].data(), c.cells[1].data(), expected.data()};
            const FieldChannel also = {c.cells[0].data(), c.cells[1].data(), got.data()};
            const int limit = c.runs.back().end;
            enlargeFieldRowScalar(&c.runs[static_cast<std::size_t>(first)], 1, at, 0.25, 0.75, &to, 1, limit);
            enlargeFieldRow(&c.runs[static_cast<std::size_t>(first)], 1, at, 0.25, 0.75, &also, 1, limit,
                            set);
            const FieldRun& run = c.runs[static_cast<std::size_t>(first)];
            for (int x = 0; x < 83; ++x) {
                if (x >= run.end && x < limit) continue;
                ASSERT_EQ(expected[static_cast<std::size_t>(x)], got[static_cast<std::size_t>(x)]) << x;
            }
        }
    });
}

// --- warp rows

TEST(KernelTest, WarpIndicesAreTheScalarOnesOnEveryTarget) {
    const float wild[] = {0.0F,
                          -0.0F,
                          1.0e30F,
                          -1.0e30F,
                          std::numeric_limits<float>::infinity(),
                          std::numeric_limits<float>::quiet_NaN()};
    EveryTarget([&wild](std::mt19937& random, InstructionSet set) {
        for (int stride = 1; stride <= 67; ++stride) {
            const int height = 2 + static_cast<int>(random() % 40);
            const int width = stride + static_cast<int>(random() % 5) - 2;
            const float strength = random() % 9 == 0 ? wild[random() % 6] : between(random, -1.5F, 1.5F);
            const WarpShape shape = {stride, width, height, (height + 1) / 2, strength};
            std::vector<float> red, green;
            for (int x = 0; x < stride; ++x) {
                red.push_back(random() % 16 == 0 ? wild[random() % 6] : between(random, -0.5F, 0.5F));
                green.push_back(random() % 16 == 0 ? wild[random() % 6] : between(random, -0.5F, 0.5F));
            }
            for (int without = 0; without < 4; ++without) {
                const float* r = (without & 1) != 0 ? nullptr : red.data();
                const float* g = (without & 2) != 0 ? nullptr : green.data();
                const int first = static_cast<int>(random()) % 2 == 0 ? 0 : stride / 3;
                const int y = static_cast<int>(random() % static_cast<unsigned>(height));
                std::vector<std::int32_t> expected(static_cast<std::size_t>(stride) + 16, 99), got = expected;
                warpIndexRowScalar(shape, r, g, y, first, stride, expected.data());
                warpIndexRow(shape, r, g, y, first, stride, got.data(), set);
                ASSERT_EQ(expected, got) << stride << ' ' << without;
            }
        }
    });
}

/// Indices as a warp makes them: smooth, backwards, scattered, with gaps, to the very end of the frame.
std::vector<std::int32_t> indices(int kind, int count, const WarpShape& shape, std::mt19937& random) {
    const int pixels = shape.stride * shape.height;
    std::vector<std::int32_t> out;
    int at = static_cast<int>(random() % static_cast<unsigned>(pixels));
    for (int x = 0; x < count; ++x) {
        switch (kind) {
            case 0:
                at += static_cast<int>(random() % 3);
                break;
            case 1:
                at -= static_cast<int>(random() % 3);
                break;
            case 2:
                at = static_cast<int>(random() % static_cast<unsigned>(pixels));
                break;
            default:
                at = pixels - 1 - static_cast<int>(random() % 40);
                break;
        }
        at = std::clamp(at, 0, pixels - 1);
        const auto dice = random() % 40;
        out.push_back(kind == 4 && dice < 20 ? (dice < 10 ? kLeavePixel : kZeroPixel)
                                             : (dice == 0 ? kLeavePixel : at));
    }
    return out;
}

TEST(KernelTest, WarpFetchesAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int count = 1; count <= 67; ++count) {
            for (int kind = 0; kind < 6; ++kind) {
                const int height = 2 + static_cast<int>(random() % 9);
                const WarpShape shape = {count, count, height, (height + 1) / 2, 1.0F};
                // The frame is exactly as large as it must be, so that a sanitizer hears any other read.
                const std::vector<unsigned char> frame =
                    noise(static_cast<std::size_t>(count * height) * 4, random);
                std::vector<std::int32_t> index = indices(kind, count, shape, random);
                if (kind == 5) std::fill(index.begin(), index.end(), kLeavePixel);
                const std::size_t bytes = static_cast<std::size_t>(count) * 4;
                std::vector<unsigned char> even = noise(bytes + 64, random), odd = noise(bytes + 64, random);
                std::vector<unsigned char> gotEven = even, gotOdd = odd;
                // One byte off: memory needs no alignment.
                warpFetchRowScalar(shape, frame.data(), index.data(), count, even.data() + 1, odd.data() + 1);
                warpFetchRow(shape, frame.data(), index.data(), count, gotEven.data() + 1, gotOdd.data() + 1,
                             set);
                ASSERT_EQ(even, gotEven) << count << ' ' << kind;
                ASSERT_EQ(odd, gotOdd) << count << ' ' << kind;
            }
        }
    });
}

TEST(KernelTest, LongRowsOfScatteredFetchesAreMappedToTheEnd) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const WarpShape shape = {1500, 1500, 4, 2, 1.0F};
        const std::vector<unsigned char> frame = noise(std::size_t{1500} * 4 * 4, random);
        std::vector<std::int32_t> index;
        for (int x = 0; x < 1500; ++x) index.push_back(static_cast<std::int32_t>(random() % 4500));
        std::vector<unsigned char> even(6000, 1), odd(6000, 2), gotEven(6000, 3), gotOdd(6000, 4);
        warpFetchRowScalar(shape, frame.data(), index.data(), 1500, even.data(), odd.data());
        warpFetchRow(shape, frame.data(), index.data(), 1500, gotEven.data(), gotOdd.data(), set);
        EXPECT_EQ(even, gotEven);
        EXPECT_EQ(odd, gotOdd);
    });
}

// --- sums of columns

TEST(KernelTest, ColumnSumsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int bytes = 1; bytes <= 4 * 67; ++bytes) {
            std::vector<std::uint16_t> expected(static_cast<std::size_t>(bytes) + 8, 7), got = expected;
            const int rowCount = bytes % 27;
            std::vector<std::vector<unsigned char>> pixels;
            std::vector<const unsigned char*> rows;
            for (int row = 0; row < rowCount; ++row) {
                pixels.push_back(noise(static_cast<std::size_t>(bytes), random));
                rows.push_back(pixels.back().data());
            }
            sumColumnsScalar(rows.data(), rowCount, bytes, expected.data());
            sumColumns(rows.data(), rowCount, bytes, got.data(), set);
            ASSERT_EQ(expected, got) << bytes;
        }
    });
}

TEST(KernelTest, ColumnsHoldAsManyRowsOfWhiteAsTheySay) {
    EveryTarget([](std::mt19937&, InstructionSet set) {
        const std::vector<unsigned char> white(300, 255);
        const std::vector<const unsigned char*> rows(kMostRowsInColumns, white.data());
        std::vector<std::uint16_t> columns(300, 1);
        sumColumns(rows.data(), kMostRowsInColumns, 300, columns.data(), set);
        EXPECT_EQ(columns, std::vector<std::uint16_t>(300, 65535));
    });
}

TEST(KernelTest, BlockSumsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int width = 1; width <= 67; ++width) {
            std::vector<std::uint16_t> columns;
            for (int i = 0; i < width * 4; ++i) columns.push_back(static_cast<std::uint16_t>(random()));
            std::vector<BlockRun> runs;
            for (int first = 0; first < width;) {
                const int count = std::min(width - first, static_cast<int>(random() % 9));
                runs.push_back({first, count, static_cast<int>(random() % 5)});
                first += count + static_cast<int>(random() % 2);
            }
            std::vector<std::uint32_t> expected(16, 5), got = expected;
            addBlockRunsScalar(columns.data(), runs.data(), static_cast<int>(runs.size()), expected.data());
            addBlockRuns(columns.data(), runs.data(), static_cast<int>(runs.size()), got.data(), set);
            ASSERT_EQ(expected, got) << width;
        }
    });
}

// --- sums of blocks that are matched

TEST(KernelTest, MatchSumsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int pitch = 32; pitch <= 160; ++pitch) {
            // Seven rows of seven pixels and the pixel behind the last, and no byte more.
            const auto size = static_cast<std::size_t>(6 * pitch + 32);
            std::vector<unsigned char> block = noise(size, random), around = noise(size, random);
            if (pitch % 3 == 0) std::fill(block.begin(), block.end(), static_cast<unsigned char>(255));
            if (pitch % 6 == 0) std::fill(around.begin(), around.end(), static_cast<unsigned char>(0));
            std::vector<std::uint32_t> expected(26, 9), got = expected;
            matchSumsScalar(block.data(), around.data(), pitch, expected.data());
            matchSums(block.data(), around.data(), pitch, got.data(), set);
            ASSERT_EQ(expected, got) << pitch;
        }
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
