#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "ImageLib/source/PlanarProj.h"

namespace {

struct Quad {
    float x[4];
    float y[4];
};

const Quad unitSquare = {{0, 1, 1, 0}, {0, 0, 1, 1}};

void expectCarries(PlanarProj& pp, const Quad& from, const Quad& to, float tolerance) {
    for (int i = 0; i < 4; ++i) {
        float x = 0;
        float y = 0;
        pp.proj(from.x[i], from.y[i], x, y);
        EXPECT_NEAR(x, to.x[i], tolerance) << i;
        EXPECT_NEAR(y, to.y[i], tolerance) << i;
    }
}

void solve(PlanarProj& pp, Quad from, Quad to) {
    pp.solvefor(from.x, from.y, to.x, to.y);
}

TEST(PlanarProjTest, FourPointsOntoThemselvesIsTheIdentity) {
    PlanarProj pp;
    solve(pp, unitSquare, unitSquare);
    const float identity[8] = {1, 0, 0, 0, 1, 0, 0, 0};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(pp.B[i], identity[i]) << i;
    }
    float x = 0;
    float y = 0;
    pp.proj(0.375F, 12.5F, x, y);
    EXPECT_EQ(x, 0.375F);
    EXPECT_EQ(y, 12.5F);
}

TEST(PlanarProjTest, CarriesATrapezoidOntoTheFrame) {
    const Quad screen = {{72, 648, 792, -72}, {24, 24, 216, 216}};
    const Quad picture = {{0, 720, 720, 0}, {0, 0, 240, 240}};
    PlanarProj pp;
    solve(pp, screen, picture);
    expectCarries(pp, screen, picture, 0.05F);
    // Straight lines stay straight: the middle of the bottom edge goes to the middle of the bottom edge.
    float x = 0;
    float y = 0;
    pp.proj(360, 216, x, y);
    EXPECT_NEAR(x, 360.0F, 0.05F);
    EXPECT_NEAR(y, 240.0F, 0.05F);
}

TEST(PlanarProjTest, TheSystemStandsRowByRowAndItsTransposeIsFactored) {
    const Quad from = {{2, 7, 6, 1}, {3, 2, 9, 8}};
    const Quad to = {{1, 5, 4, 2}, {1, 2, 6, 5}};
    PlanarProj pp;
    solve(pp, from, to);
    for (int i = 0; i < 4; ++i) {
        const float even[8] = {from.x[i], from.y[i], 1, 0, 0, 0, -to.x[i] * from.x[i], -to.x[i] * from.y[i]};
        const float odd[8] = {0, 0, 0, from.x[i], from.y[i], 1, -to.y[i] * from.x[i], -to.y[i] * from.y[i]};
        for (int c = 0; c < 8; ++c) {
            EXPECT_EQ(pp.A[2 * i * 8 + c], even[c]);
            EXPECT_EQ(pp.A[(2 * i + 1) * 8 + c], odd[c]);
        }
    }
    expectCarries(pp, from, to, 1.0e-4F);
    // The solver leaves its factors, not the transpose it was given.
    bool factored = false;
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            factored = factored || pp.At[c * 8 + r] != pp.A[r * 8 + c];
        }
    }
    EXPECT_TRUE(factored);
}

TEST(PlanarProjTest, ASingularSystemKeepsTheRightHandSide) {
    // Three points on a line through the origin.
    const Quad line = {{0, 1, 2, 0}, {0, 0, 0, 1}};
    const Quad to = {{3, 4, 5, 6}, {7, 8, 9, 10}};
    PlanarProj pp;
    solve(pp, line, to);
    const float rightHandSide[8] = {3, 7, 4, 8, 5, 9, 6, 10};
    EXPECT_EQ(std::memcmp(pp.B, rightHandSide, sizeof rightHandSide), 0);
    float x = 0;
    float y = 0;
    pp.proj(1, 1, x, y);
    EXPECT_EQ(x, (3.0F + 7.0F + 4.0F) / (6.0F + 10.0F + 1.0F));
    EXPECT_EQ(y, (8.0F + 5.0F + 9.0F) / 17.0F);
    const Quad point = {{5, 5, 5, 5}, {5, 5, 5, 5}};
    solve(pp, point, to);
    EXPECT_EQ(std::memcmp(pp.B, rightHandSide, sizeof rightHandSide), 0);
}

TEST(PlanarProjTest, OnlyTheFactorisationJudges) {
    // Collinear, but not through the origin: the factorisation succeeds, so its answer counts.
    const Quad line = {{1, 1, 1, 3}, {1, 2, 3, 5}};
    const Quad to = {{1, 1, 1, 7}, {2, 4, 6, 3}};
    PlanarProj pp;
    solve(pp, line, to);
    const float rightHandSide[8] = {1, 2, 1, 4, 1, 6, 7, 3};
    EXPECT_NE(std::memcmp(pp.B, rightHandSide, sizeof rightHandSide), 0);
}

TEST(PlanarProjTest, AFactorOfZeroIsNotGuarded) {
    PlanarProj pp;
    pp.B[0] = 1.0F;
    pp.B[6] = -1.0F;
    float x = 0;
    float y = 0;
    pp.proj(1, 0, x, y);
    EXPECT_TRUE(std::isinf(x));
    EXPECT_TRUE(std::isnan(y));
}

TEST(PlanarProjTest, IsPlainDataWithoutASystemAtFirst) {
    const PlanarProj fresh;
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(fresh.B[i], 0.0F);
    }
    PlanarProj pp;
    solve(pp, unitSquare, {{0, 2, 2, 0}, {0, 0, 2, 2}});
    const PlanarProj copy = pp;
    float x = 0;
    float y = 0;
    copy.proj(1, 1, x, y);
    EXPECT_FLOAT_EQ(x, 2.0F);
    EXPECT_FLOAT_EQ(y, 2.0F);
}

TEST(PlanarProjTest, EveryProductIsRoundedOnItsOwn) {
    // With a fused multiply-add the sums below would keep the product's low bits.
    PlanarProj pp;
    const float a = 1.0F + std::ldexp(1.0F, -12);
    pp.B[0] = a;
    pp.B[2] = -(1.0F + std::ldexp(1.0F, -11));
    float x = 1;
    float y = 1;
    pp.proj(a, 0, x, y);
    EXPECT_EQ(x, 0.0F);
    EXPECT_EQ(y, 0.0F);
}

}  // namespace
