#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "pluginDistort/v1/DistortProcess.h"

namespace {

using Field = std::unique_ptr<PixRectRW<RGBPixel<float>>>;

Field washAway(int direction) {
    return Field(makeWashAway(static_cast<hyPluginDirection>(direction)));
}

void expectBounds(const PixRectRW<RGBPixel<float>>& field, int n) {
    EXPECT_EQ(field.lx(), 0);
    EXPECT_EQ(field.ly(), 0);
    EXPECT_EQ(field.width(), n);
    EXPECT_EQ(field.height(), n);
}

TEST(WashAwayTest, OneDrawPerCellInRowOrderWhateverTheDirection) {
    for (const int direction : {0, 1, 2, 3, 4, 77}) {
        SCOPED_TRACE(direction);
        std::srand(42);
        const Field field = washAway(direction);
        const int next = std::rand();
        expectBounds(*field, 64);
        std::srand(42);
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                const int n = std::rand() % 25 + 1;
                const float rr = static_cast<float>(n + 3) / static_cast<float>(n + 1);
                const int reach = direction == 1   ? 65 - y
                                  : direction == 2 ? -(y + 1)
                                  : direction == 3 ? 65 - x
                                                   : -(x + 1);
                const float move = (rr * static_cast<float>(reach)) * 0.015625f;
                const bool vertical = direction == 1 || direction == 2;
                const RGBPixel<float> cell = field->pix(x, y);
                ASSERT_EQ(cell._red, vertical ? 0.0f : move);
                ASSERT_EQ(cell._green, vertical ? move : 0.0f);
                ASSERT_EQ(cell._blue, 0.0f);
            }
        }
        EXPECT_EQ(std::rand(), next);  // 4096 draws, no more and no fewer
    }
}

TEST(WashAwayTest, SpeedsStayBetweenTheSlowestAndTwice) {
    const Field field = washAway(kPluginDirectionUp);
    for (int x = 0; x < 64; ++x) {
        EXPECT_GE(field->pix(x, 0)._green, 65.0f / 64 * 28 / 26 * 0.99999f);
        EXPECT_LE(field->pix(x, 0)._green, 65.0f / 64 * 2);
        EXPECT_GE(field->pix(x, 63)._green, 2.0f / 64 * 28 / 26 * 0.99999f);
        EXPECT_LE(field->pix(x, 63)._green, 2.0f / 64 * 2);
    }
}

TEST(WashAwayTest, TheGeneratorRunsOn) {
    std::srand(5);
    const Field first = washAway(4), second = washAway(4);
    int differing = 0;
    for (int x = 0; x < 64; ++x) differing += first->pix(x, 9)._red != second->pix(x, 9)._red ? 1 : 0;
    EXPECT_GT(differing, 32);
}

TEST(TiltPlateTest, CellsFollowTheFormula) {
    const Field field(makeTiltPlate(5.0f, 32));
    expectBounds(*field, 32);
    EXPECT_EQ(field->pix(0, 0)._red, -20.625f);
    EXPECT_EQ(field->pix(0, 0)._green, -20.0f);
    EXPECT_EQ(field->pix(9, 31)._green, -0.625f);
    EXPECT_EQ(field->pix(0, 31)._red, 5.0f * -16 * 2 * 0.25f / 32);
    for (int y = 0; y < 32; ++y) {
        EXPECT_EQ(field->pix(16, y)._red, 0.0f);
        for (int x = 0; x < 32; ++x) {
            EXPECT_EQ(field->pix(x, y)._red, 5.0f * static_cast<float>((x - 16) * (33 - y)) * 0.25f / 32);
            EXPECT_EQ(field->pix(x, y)._green, 5.0f * static_cast<float>(4 * y - 128) / 32);
            EXPECT_EQ(field->pix(x, y)._blue, 0.0f);
        }
    }
}

TEST(TiltPlateTest, OddSizesHaveTheirMiddleBetweenCells) {
    const Field field(makeTiltPlate(3.0f, 7));
    expectBounds(*field, 7);
    EXPECT_EQ(field->pix(3, 0)._red, 3.0f * -0.5f * 8 * 0.25f / 7);
    EXPECT_EQ(field->pix(4, 6)._red, 3.0f * 0.5f * 2 * 0.25f / 7);
    EXPECT_EQ(field->pix(0, 6)._green, 3.0f * -4 / 7);
}

TEST(MagnifyingGlassTest, TheCentreOfAnEvenFieldStandsStill) {
    for (const int n : {2, 8, 32, 64}) {
        const Field field(makeMagnifyingGlass(2.0f, n));
        expectBounds(*field, n);
        EXPECT_EQ(field->pix(n / 2, n / 2)._red, 0.0f);
        EXPECT_EQ(field->pix(n / 2, n / 2)._green, 0.0f);
    }
}

TEST(MagnifyingGlassTest, InsideTheLensTheGainFallsFromTheCentre) {
    const Field field(makeMagnifyingGlass(2.0f, 40));  // radius 8 half-cell units, 16 cells
    const float zoomv = 3.0f;
    for (const int off : {1, 5, 15}) {
        const float dx = -static_cast<float>(off) * 0.5f, d = -dx;
        const auto l = static_cast<float>((static_cast<double>(d * 0.25f) + 3.5) /
                                          (static_cast<double>(d * 0.25f) + 1.0));
        EXPECT_EQ(field->pix(20 + off, 20)._red, dx * (zoomv * l) / 40);
        EXPECT_EQ(field->pix(20 + off, 20)._green, 0.0f);
        EXPECT_EQ(field->pix(20, 20 + off)._green, dx * (zoomv * l) / 40);
    }
}

TEST(MagnifyingGlassTest, TheRimBelongsToTheOutsideAndIsAStep) {
    const Field field(makeMagnifyingGlass(2.0f, 40));
    EXPECT_EQ(std::fabs(field->pix(36, 20)._red), 0.0f);  // exactly on the rim
    EXPECT_LT(field->pix(35, 20)._red, -0.5f);            // just inside
    EXPECT_LT(field->pix(39, 20)._red, 0.0f);             // outside it grows again
    EXPECT_GT(field->pix(39, 20)._red, field->pix(35, 20)._red);
    const float d = 9.5f, d3 = 1.0f - 8.0f / d;
    const auto d4 = static_cast<float>((static_cast<double>(d3) + 2.5) / (static_cast<double>(d3) + 1.0));
    EXPECT_EQ(field->pix(39, 20)._red, 3.0f * (d4 * (-9.5f * d3)) / 40);
}

}  // namespace
