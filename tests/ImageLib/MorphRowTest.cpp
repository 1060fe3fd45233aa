// The positions of a morph's row against their rule, told column by column in double precision.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/kernels/MorphRow.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {
namespace {

using kernels::morphPositionRow;
using test::between;
using Floats = std::vector<float>;

constexpr float kUntouched = -77.0F;

/// t * moved + own, each step rounded to float. The product of two floats is exact in double, and a sum of
/// two floats that is rounded to double first and to float then is rounded as if once: double has more than
/// twice the digits.
float positionOf(float t, float moved, int own) {
    const auto product = static_cast<float>(double{t} * double{moved});
    return static_cast<float>(double{product} + own);
}

/// A displacement: mostly some pixels, at times none, the least, one past all pictures, or no number.
float displacement(std::mt19937& random) {
    switch (random() % 24) {
        case 0:
            return 0.0F;
        case 1:
            return -0.0F;
        case 2:
            return std::numeric_limits<float>::denorm_min();
        case 3:
            return 3.0e38F;
        case 4:
            return -std::numeric_limits<float>::infinity();
        case 5:
            return std::numeric_limits<float>::quiet_NaN();
        default:
            return between(random, -40.0F, 40.0F);
    }
}

/// The same bits, or both no number.
bool same(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) || (a != a && b != b);
}

TEST(MorphRowTest, EveryStepIsRoundedAndOtherColumnsStay) {
    std::mt19937 random(8);
    for (int end = 0; end <= 67; ++end) {
        for (const int first : {0, 1, 3, end / 2, end}) {
            if (first > end) continue;
            // Exactly as long as they must be, so that a sanitizer hears a read past the end.
            Floats red, green;
            for (int x = 0; x < end; ++x) {
                red.push_back(displacement(random));
                green.push_back(displacement(random));
            }
            const auto t = static_cast<float>(random() % 1001) / 1000.0F;
            const int y = static_cast<int>(random() % 3000);
            Floats atX(red.size() + 1, kUntouched), atY = atX;
            morphPositionRow(red.data(), green.data(), t, y, first, end, atX.data(), atY.data());
            for (int x = 0; x <= end; ++x) {
                const auto i = static_cast<std::size_t>(x);
                const bool written = x >= first && x < end;
                ASSERT_TRUE(same(atX[i], written ? positionOf(t, red[i], x) : kUntouched)) << x << ' ' << t;
                ASSERT_TRUE(same(atY[i], written ? positionOf(t, green[i], y) : kUntouched)) << x << ' ' << t;
            }
        }
    }
}

}  // namespace
}  // namespace tumblewash::imagelib
