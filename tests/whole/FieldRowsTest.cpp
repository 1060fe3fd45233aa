#include <gtest/gtest.h>

#include <cstring>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/FieldRows.h"
#include "ImageLib/source/SamplePixRect.h"
#include "tests/whole/Frames.h"

namespace tumblewash {

using imagelib::FieldRows;

namespace {

using test::Field;
using test::FieldKind;
using test::randomField;

/// Compares every row, and one above and one below, with the sampled view bit for bit.
void expectTheViewsNumbers(Field& field, int width, int height, int columns) {
    ContImageRef<RGBPixel<float>> image(field, SIInterpBilinear);
    const float xs = static_cast<float>(field.width()) / static_cast<float>(width);
    const float ys = static_cast<float>(field.height()) / static_cast<float>(height);
    const SamplePixRectNC<RGBPixel<float>, RGBPixel<float>> view(image, static_cast<double>(xs),
                                                                 static_cast<double>(ys), SIBestSample);
    FieldRows rows(field, width, height, columns);
    for (int y = -1; y <= height; ++y) {
        rows.select(y);
        for (int x = 0; x < columns; ++x) {
            const RGBPixel<float> expected = view.pix(x, y);
            const float red = expected.getred();
            const float green = expected.getgreen();
            if (red == red && green == green) {
                ASSERT_EQ(std::memcmp(&red, rows.red() + x, sizeof red), 0) << x << ',' << y;
                ASSERT_EQ(std::memcmp(&green, rows.green() + x, sizeof green), 0) << x << ',' << y;
            } else {
                ASSERT_EQ(red == red, rows.red()[x] == rows.red()[x]) << x << ',' << y;
                ASSERT_EQ(green == green, rows.green()[x] == rows.green()[x]) << x << ',' << y;
            }
        }
    }
}

TEST(FieldRowsTest, RowsAreTheSampledViewBitForBit) {
    std::mt19937 random(41);
    const int cells[][2] = {{1, 1}, {12, 7}, {40, 40}, {64, 64}, {32, 32}, {1, 9}};
    const FieldKind kinds[] = {FieldKind::smooth, FieldKind::redOnly, FieldKind::wild, FieldKind::notFinite};
    for (int width = 1; width <= 67; width += 3) {
        const int height = 1 + (width * 17) % 40;
        for (const auto& cell : cells) {
            const auto field = randomField(cell[0], cell[1], kinds[width % 4], 3.0F, random);
            expectTheViewsNumbers(*field, width, height, width);
            expectTheViewsNumbers(*field, width, height, width + 5);
            field->shiftorigin(width % 7 - 3, height % 5 - 2);
            expectTheViewsNumbers(*field, width, height, width);
        }
    }
}

TEST(FieldRowsTest, ACopyOfTheCellsWhereTheSizesAreEqual) {
    std::mt19937 random(42);
    const auto field = randomField(40, 40, FieldKind::smooth, 3.0F, random);
    FieldRows rows(*field, 40, 40, 40);
    for (int y = 0; y < 40; ++y) {
        rows.select(y);
        for (int x = 0; x < 40; ++x) {
            ASSERT_EQ(rows.red()[x], field->pix(x, y).getred());
            ASSERT_EQ(rows.green()[x], field->pix(x, y).getgreen());
        }
    }
}

TEST(FieldRowsTest, AConstantFieldStaysExactAtEverySize) {
    for (int width = 1; width <= 300; width += 7) {
        Field field(40, 40);
        field.fillWith(RGBPixel<float>(0.1F, -18.0F, 0.0F));
        FieldRows rows(field, width, 2 + width / 3, width);
        for (int y = 0; y < 2 + width / 3; ++y) {
            rows.select(y);
            for (int x = 0; x < width; ++x) {
                ASSERT_EQ(rows.red()[x], 0.1F) << width << ": " << x << ',' << y;
                ASSERT_EQ(rows.green()[x], -18.0F) << width << ": " << x << ',' << y;
            }
        }
    }
}

}  // namespace
}  // namespace tumblewash
