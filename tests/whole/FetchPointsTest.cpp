#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "ImageLib/source/FetchPoints.h"
#include "tests/whole/Frames.h"

namespace tumblewash {

using imagelib::FetchPoints;
using imagelib::FieldRows;
using kernels::kLeavePixel;
using kernels::warpIndexRowScalar;
using kernels::WarpShape;

namespace {

using test::Field;
using test::FieldKind;
using test::randomField;
using test::randomUnit;

/// Compares every row, strip by strip, with what the exact fetch points give.
::testing::AssertionResult exactEverywhere(const WarpShape& shape, Field& field, int strip) {
    FetchPoints points(shape, field);
    FieldRows rows(field, shape.stride, shape.fieldRows, shape.stride);
    std::vector<std::int32_t> expected(static_cast<std::size_t>(shape.stride));
    for (int first = 0; first < shape.stride; first += strip) {
        const int end = std::min(first + strip, shape.stride);
        for (int y = 0; y < shape.fieldRows; ++y) {
            rows.select(y);
            warpIndexRowScalar(shape, rows.red(), rows.green(), y, 0, shape.stride, expected.data());
            const std::int32_t* got = points.row(y, first, end);
            for (int x = first; x < end; ++x) {
                const std::int32_t index = got == nullptr ? kLeavePixel : got[x];
                if (index != expected[static_cast<std::size_t>(x)]) {
                    return ::testing::AssertionFailure()
                           << shape.stride << '/' << shape.width << 'x' << shape.height << " strength "
                           << shape.strength << " field " << field.width() << 'x' << field.height() << " at "
                           << x << ',' << y << ": " << index << ", exactly "
                           << expected[static_cast<std::size_t>(x)];
                }
            }
        }
    }
    return ::testing::AssertionSuccess();
}

WarpShape shapeOf(int stride, int height, float strength) {
    return {stride, stride, height, (height + 1) / 2, strength};
}

/// A field whose cells are given by place.
std::unique_ptr<Field> fieldOf(int w, int h, const std::function<RGBPixel<float>(int, int)>& cell) {
    auto field = std::make_unique<Field>(w, h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) field->set(x, y, cell(x, y));
    }
    return field;
}

TEST(FetchPointsTest, RandomFieldsGiveTheExactIndicesAtEverySize) {
    std::mt19937 random(51);
    const FieldKind kinds[] = {FieldKind::smooth, FieldKind::redOnly, FieldKind::greenOnly,
                               FieldKind::zero,   FieldKind::wild,    FieldKind::notFinite};
    const float strengths[] = {0.5F, 1.0F, -0.7F, 0.0F, 30.0F};
    for (int size = 1; size <= 67; ++size) {
        for (std::size_t kind = 0; kind < std::size(kinds); ++kind) {
            const auto field = randomField(1 + size % 64, 1 + (size * 7) % 40, kinds[kind], 0.4F, random);
            WarpShape shape =
                shapeOf(size, 2 + (size * 11) % 60, strengths[(static_cast<std::size_t>(size) + kind) % 5]);
            shape.width -= size % 3;
            ASSERT_TRUE(exactEverywhere(shape, *field, size % 2 == 0 ? size : 16));
        }
    }
}

TEST(FetchPointsTest, StrengthsOfEveryKindGiveTheExactIndices) {
    std::mt19937 random(52);
    const float infinite = std::numeric_limits<float>::infinity();
    for (const FieldKind kind :
         {FieldKind::smooth, FieldKind::zero, FieldKind::greenOnly, FieldKind::redOnly}) {
        for (const float strength : {0.0F, -0.0F, 1.0e-44F, 1.0e-30F, -1.0F, 1.0e4F, 1.0e6F, 3.0e38F,
                                     infinite, -infinite, std::numeric_limits<float>::quiet_NaN()}) {
            for (const float reach : {1.0e-44F, 1.0e-6F, 0.5F, 1.0e30F, 3.0e38F}) {
                const auto field = randomField(16, 16, kind, reach, random);
                ASSERT_TRUE(exactEverywhere(shapeOf(67, 40, strength), *field, 32)) << reach;
            }
        }
    }
}

// The estimate and the exact point round differently, so next to a whole number only the exact one will do.
TEST(FetchPointsTest, DisplacementsAHairBesideWholePixelsGiveTheExactIndices) {
    std::mt19937 random(53);
    for (const int stride : {97, 300, 720, 1023}) {
        const int height = 90;
        for (int round = 0; round < 6; ++round) {
            const auto field = fieldOf(5 + 9 * round, 7 + 5 * round, [&](int, int) {
                const auto hair = [&random](float value) {
                    const auto dice = random() % 3;
                    return dice == 0 ? value : std::nextafter(value, dice == 1 ? 1.0e9F : -1.0e9F);
                };
                const float red = std::nearbyint(randomUnit(random) * 40.0F) / static_cast<float>(stride);
                const float green = std::nearbyint(randomUnit(random) * 15.0F) / 45.0F;
                return RGBPixel<float>(hair(red), hair(green), 0.0F);
            });
            ASSERT_TRUE(
                exactEverywhere(shapeOf(stride, height, 1.0F), *field, round % 2 == 0 ? 256 : stride));
            ASSERT_TRUE(exactEverywhere(shapeOf(stride, height, 0.5F), *field, 256));
        }
    }
}

TEST(FetchPointsTest, SlopesThatRunThroughWholeNumbersGiveTheExactIndices) {
    for (const int stride : {320, 640, 1080}) {
        for (const float strength : {0.5F, 0.25F, 1.0F, -0.5F, 0.3F}) {
            const auto plate = fieldOf(32, 32, [](int x, int y) {
                return RGBPixel<float>(static_cast<float>((x - 16) * (33 - y)) / 128.0F,
                                       static_cast<float>(4 * y - 128) / 32.0F, 0.0F);
            });
            ASSERT_TRUE(exactEverywhere(shapeOf(stride, 240, strength), *plate, stride));
            ASSERT_TRUE(exactEverywhere(shapeOf(stride, 241, strength), *plate, 256));
        }
    }
}

TEST(FetchPointsTest, LevelRowsGiveTheExactIndicesWhereTheirSumRoundsEitherWay) {
    std::mt19937 random(54);
    for (int round = 0; round < 40; ++round) {
        const float above = randomUnit(random), below = randomUnit(random) / 3.0F;
        const auto field = fieldOf(9, 9, [&](int, int y) {
            return RGBPixel<float>(y % 2 == 0 ? below : above, y % 2 == 0 ? above : below, 0.0F);
        });
        ASSERT_TRUE(exactEverywhere(shapeOf(131, 150, 0.9F), *field, 64));
        const auto still = fieldOf(9, 9, [&](int, int) { return RGBPixel<float>(0.0F, 0.0F, 0.0F); });
        still->set(4, 4, RGBPixel<float>(above, 0.0F, 0.0F));
        ASSERT_TRUE(exactEverywhere(shapeOf(131, 150, 0.9F), *still, 131));
    }
}

TEST(FetchPointsTest, WideFramesGiveTheExactIndices) {
    std::mt19937 random(55);
    for (const FieldKind kind : {FieldKind::smooth, FieldKind::redOnly, FieldKind::greenOnly}) {
        const auto field = randomField(64, 64, kind, 1.3F, random);
        ASSERT_TRUE(exactEverywhere(shapeOf(4095, 130, 0.5F), *field, 256));
    }
}

TEST(FetchPointsTest, FieldsThatTheViewDoesNotCoverGiveTheExactIndices) {
    std::mt19937 random(56);
    const auto field = randomField(12, 7, FieldKind::smooth, 0.4F, random);
    for (const int dx : {-30, -5, 3, 40}) {
        field->shiftorigin(dx, dx / 2);
        ASSERT_TRUE(exactEverywhere(shapeOf(53, 41, 0.9F), *field, 16));
        field->zeroorigin();
    }
    WarpShape shape = shapeOf(40, 30, 1.0F);
    for (const int width : {60, 0, -3}) {
        shape.width = width;
        ASSERT_TRUE(exactEverywhere(shape, *field, 40));
    }
}

}  // namespace
}  // namespace tumblewash
