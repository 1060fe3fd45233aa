// The estimates and the gatherless fetches of a warp's rows on every instruction set of this machine.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "ImageLib/kernels/FieldRow.h"
#include "ImageLib/kernels/WarpRow.h"
#include "tests/ImageLib/EveryTarget.h"

namespace tumblewash::imagelib {

using kernels::enlargeCellRow;
using kernels::enlargeCellRowScalar;
using kernels::estimateIndexRow;
using kernels::estimateIndexRowScalar;
using kernels::FieldRun;
using kernels::kLeavePixel;
using kernels::kZeroPixel;
using kernels::WarpEstimate;
using kernels::warpFetchRow;
using kernels::warpFetchRowGathering;
using kernels::warpFetchRowScalar;
using kernels::warpFetchRowSingly;
using kernels::WarpShape;

namespace {

using kernels::InstructionSet;
using test::EveryTarget;

float between(std::mt19937& random, float low, float high) {
    return std::uniform_real_distribution<float>(low, high)(random);
}

/// Estimated displacements of a row, a good part of them whole numbers or a hair beside one.
std::vector<float> displacements(int count, std::mt19937& random) {
    std::vector<float> out;
    for (int x = 0; x < count; ++x) {
        float value = between(random, -40.0F, 40.0F);
        const auto dice = random() % 4;
        if (dice != 0) value = std::nearbyint(value);
        if (dice == 2) value = std::nextafter(value, 1.0e9F);
        if (dice == 3) value += between(random, -2.0e-3F, 2.0e-3F);
        out.push_back(value);
    }
    return out;
}

TEST(WarpKernelTest, RowsOfCellsAreTheScalarOnesOnEveryTargetAndStayBeforeTheLimit) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int columns = 1; columns <= 67; ++columns) {
            const std::vector<float> cells = displacements(columns + 1, random);
            std::vector<double> near, far;
            for (int x = 0; x < columns; ++x) {
                far.push_back(static_cast<double>(between(random, 0.0F, 1.0F)) / 3.0);
                near.push_back(1.0 - far.back());
            }
            std::vector<FieldRun> runs;
            for (int x = 0; x < columns; x = runs.back().end) {
                const int end = std::min(columns, x + 1 + static_cast<int>(random() % 19));
                const int cell = static_cast<int>(runs.size());
                runs.push_back({x, end, cell, cell + 1});
            }
            std::vector<float> expected(static_cast<std::size_t>(columns) + 16, 5.0F), got = expected;
            const int runCount = static_cast<int>(runs.size());
            enlargeCellRowScalar(runs.data(), runCount, {near.data(), far.data()}, cells.data(),
                                 expected.data(), columns);
            enlargeCellRow(runs.data(), runCount, {near.data(), far.data()}, cells.data(), got.data(),
                           columns, set);
            ASSERT_EQ(expected, got) << columns;
        }
    });
}

TEST(WarpKernelTest, EstimatesAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int stride = 1; stride <= 67; ++stride) {
            const int height = 2 + static_cast<int>(random() % 40);
            const int width = stride - static_cast<int>(random() % 2);
            const WarpShape shape = {stride, width, height, (height + 1) / 2, 1.0F};
            const std::vector<float> a = displacements(stride, random), b = displacements(stride, random),
                                     c = displacements(stride, random), d = displacements(stride, random);
            const float fixed[] = {0.0F, 0.75F, -3.0F, -1.0e30F, 1.0e30F};
            for (int kind = 0; kind < 8; ++kind) {
                const float bound = 1.0e-3F;
                WarpEstimate red = {a.data(), b.data(), 0.0F, bound};
                WarpEstimate green = {c.data(), d.data(), 0.0F, bound};
                if ((kind & 1) != 0) red = {nullptr, nullptr, fixed[random() % 5], 0.0F};
                if ((kind & 2) != 0) green = {nullptr, nullptr, fixed[random() % 5], 0.0F};
                const float farY = kind < 4 ? between(random, 0.0F, 1.0F) : 0.0F;
                const int first = random() % 2 == 0 ? 0 : stride / 3;
                const int y = static_cast<int>(random() % static_cast<unsigned>(height));
                const std::size_t room = static_cast<std::size_t>(stride) + 16;
                std::vector<std::int32_t> expected(room, 99), got = expected;
                std::vector<int> doubtful(room, 77), gotDoubtful = doubtful;
                const int count = estimateIndexRowScalar(shape, red, green, 1.0F - farY, farY, y, first,
                                                         stride, expected.data(), doubtful.data());
                ASSERT_EQ(estimateIndexRow(shape, red, green, 1.0F - farY, farY, y, first, stride, got.data(),
                                           gotDoubtful.data(), set),
                          count)
                    << stride << ' ' << kind;
                ASSERT_EQ(expected, got) << stride << ' ' << kind;
                ASSERT_TRUE(std::equal(doubtful.begin(), doubtful.begin() + count, gotDoubtful.begin()));
            }
        }
    });
}

TEST(WarpKernelTest, PointsWithinTheBoundOfAWholeNumberAreUndecided) {
    EveryTarget([](std::mt19937&, InstructionSet set) {
        const WarpShape shape = {64, 64, 64, 32, 1.0F};
        constexpr float bound = 0.01F;
        const float beside[] = {0.0F, 0.009F, -0.009F, 0.011F, -0.011F, 0.5F, -0.5F};
        for (const float aside : beside) {
            const std::vector<float> moved(64, 3.0F + aside);
            const WarpEstimate estimated = {moved.data(), moved.data(), 0.0F, bound};
            const WarpEstimate still = {nullptr, nullptr, 0.0F, 0.0F};
            std::vector<std::int32_t> index(64);
            std::vector<int> undecided(80);
            const int expected = std::fabs(aside) < bound ? 64 : 0;
            EXPECT_EQ(estimateIndexRow(shape, estimated, still, 1.0F, 0.0F, 5, 0, 64, index.data(),
                                       undecided.data(), set),
                      expected);
            EXPECT_EQ(estimateIndexRow(shape, still, estimated, 0.0F, 1.0F, 5, 0, 64, index.data(),
                                       undecided.data(), set),
                      expected);
            if (expected != 0) continue;
            const int rows = static_cast<int>(std::floor(8.0F + aside));
            for (int x = 0; x < 64; ++x) ASSERT_EQ(index[static_cast<std::size_t>(x)], rows * 128 + x);
        }
    });
}

TEST(WarpKernelTest, FetchesWithAndWithoutGathersAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int count = 1; count <= 200; count += count < 67 ? 1 : 19) {
            for (int kind = 0; kind < 4; ++kind) {
                const int height = 2 + static_cast<int>(random() % 9);
                const WarpShape shape = {count, count, height, (height + 1) / 2, 1.0F};
                const auto pixels = static_cast<unsigned>(count * height);
                std::vector<unsigned char> frame(std::size_t{pixels} * 4);
                for (unsigned char& byte : frame) byte = static_cast<unsigned char>(random());
                std::vector<std::int32_t> index;
                auto at = static_cast<std::int32_t>(random() % pixels);
                for (int x = 0; x < count; ++x) {
                    at = static_cast<std::int32_t>(
                        kind == 0 ? random() % pixels : (static_cast<unsigned>(at) + random() % 3) % pixels);
                    index.push_back(kind == 2 && random() % 16 == 0   ? kLeavePixel
                                    : kind == 3 && random() % 16 == 0 ? kZeroPixel
                                                                      : at);
                }
                if (kind == 2)
                    std::fill_n(index.begin(), std::min<std::size_t>(index.size(), 40), kLeavePixel);
                const std::size_t bytes = static_cast<std::size_t>(count) * 4;
                std::vector<unsigned char> even(bytes + 64, 1), odd(bytes + 64, 2);
                const std::vector<unsigned char> evenBefore = even, oddBefore = odd;
                warpFetchRowScalar(shape, frame.data(), index.data(), count, even.data() + 1, odd.data() + 1);
                for (const auto fetch : {warpFetchRowSingly, warpFetchRowGathering, warpFetchRow}) {
                    std::vector<unsigned char> gotEven = evenBefore, gotOdd = oddBefore;
                    fetch(shape, frame.data(), index.data(), count, gotEven.data() + 1, gotOdd.data() + 1,
                          set);
                    ASSERT_EQ(even, gotEven) << count << ' ' << kind;
                    ASSERT_EQ(odd, gotOdd) << count << ' ' << kind;
                }
            }
        }
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
