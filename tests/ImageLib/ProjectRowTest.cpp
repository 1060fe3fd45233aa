// Rows of projected positions on every instruction set of this machine: the same floats and bits as the
// scalar sibling, and the floats of a single projection.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/kernels/ProjectRow.h"
#include "ImageLib/source/PlanarProj.h"
#include "tests/ImageLib/EveryTarget.h"

namespace tumblewash::imagelib {

using kernels::OpenBounds;
using kernels::projectRow;
using kernels::projectRowScalar;

namespace {

using kernels::InstructionSet;
using test::EveryTarget;

/// Equal to the bit; which not-a-number came out does not matter.
bool same(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

PlanarProj projection(int temper, std::mt19937& random) {
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    const float identity[8] = {1, 0, 0, 0, 1, 0, 0, 0};
    PlanarProj pp;
    for (int i = 0; i < 8; ++i) {
        pp.B[i] = identity[i] + (i >= 6 ? 0.01F : i % 3 == 2 ? 9.0F : 0.3F) * unit(random);
        if (temper == 1) pp.B[i] = identity[i];
        if (temper == 2) pp.B[i] = 1.0e30F * unit(random);
        if (temper == 3 && random() % 4 == 0) pp.B[i] = std::numeric_limits<float>::quiet_NaN();
        if (temper == 4 && random() % 4 == 0) pp.B[i] = std::numeric_limits<float>::infinity();
        if (temper == 5) pp.B[i] = i == 6 ? -1.0F / 32.0F : i == 7 ? 0.0F : identity[i];  // a pole in the row
    }
    return pp;
}

TEST(ProjectRowTest, RowsAreTheScalarOnesAndThoseOfSingleProjectionsOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int count = 0; count <= 200; ++count) {
            const int temper = count % 6;
            const PlanarProj pp = projection(temper, random);
            const int y = static_cast<int>(random() % 50) - 5, first = static_cast<int>(random() % 90) - 20;
            const OpenBounds bounds = {-1.0F, 40.0F, temper == 5 ? -1.0e9F : -1.0F, 30.0F};
            const std::size_t n = static_cast<std::size_t>(count) + 16;
            const std::size_t words = (static_cast<std::size_t>(count) + 63) / 64 + 1;
            std::vector<float> x(n, 7.0F), yy(n, 8.0F), gotX = x, gotY = yy;
            std::vector<std::uint64_t> inside(words, 5), gotInside(words, 5);
            projectRowScalar(pp.B, y, first, count, bounds, x.data(), yy.data(), inside.data());
            projectRow(pp.B, y, first, count, bounds, gotX.data(), gotY.data(), gotInside.data(), set);
            ASSERT_EQ(inside, gotInside) << count;
            EXPECT_EQ(inside.back(), 5U) << count;
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_TRUE(same(x[i], gotX[i]) && same(yy[i], gotY[i])) << count << ' ' << i;
                if (i >= static_cast<std::size_t>(count)) continue;
                float oneX = 0, oneY = 0;
                pp.proj(static_cast<float>(first + static_cast<int>(i)), static_cast<float>(y), oneX, oneY);
                ASSERT_TRUE(same(oneX, gotX[i]) && same(oneY, gotY[i])) << count << ' ' << i;
                const bool within = oneX > bounds.afterX && oneX < bounds.beforeX && oneY > bounds.afterY &&
                                    oneY < bounds.beforeY;
                ASSERT_EQ(within, (gotInside[i / 64] >> (i % 64) & 1) != 0) << count << ' ' << i;
            }
        }
    });
}

TEST(ProjectRowTest, BoundsAreOpenAndNoNumberIsInside) {
    EveryTarget([](std::mt19937&, InstructionSet set) {
        PlanarProj shift;
        shift.B[0] = shift.B[4] = 1.0F;
        float x[80], y[80];
        std::uint64_t inside[2];
        projectRow(shift.B, 3, 0, 80, {4.0F, 70.0F, 2.0F, 4.0F}, x, y, inside, set);
        EXPECT_EQ(inside[0], ~std::uint64_t{0} << 5);
        EXPECT_EQ(inside[1], 63U);
        projectRow(shift.B, 3, 0, 80, {4.0F, 70.0F, 3.0F, 4.0F}, x, y, inside, set);
        EXPECT_EQ(inside[0] | inside[1], 0U);
        shift.B[2] = std::numeric_limits<float>::quiet_NaN();
        projectRow(shift.B, 3, 0, 80, {4.0F, 70.0F, 2.0F, 4.0F}, x, y, inside, set);
        EXPECT_EQ(inside[0] | inside[1], 0U);
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
