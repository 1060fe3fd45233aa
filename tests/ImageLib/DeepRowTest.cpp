// Rows of deep pixels: vectors against scalars on every instruction set, fetches against their definition,
// conversions there and back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/kernels/DeepBilinearRow.h"
#include "ImageLib/kernels/DeepConvertRow.h"
#include "ImageLib/kernels/DeepFetchRow.h"
#include "tests/ImageLib/EveryTarget.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {

using kernels::deepBilinearRow;
using kernels::deepBilinearRowScalar;
using kernels::deepBlendRow;
using kernels::deepBlendRowScalar;
using kernels::deepFetchRow;
using kernels::DeepField;
using kernels::DeepPixel;
using kernels::DeepRange;
using kernels::DeepReading;
using kernels::DeepRim;
using kernels::deepToFrameRow;
using kernels::deepToStraightFrameRow;
using kernels::frameToDeepRow;
using kernels::kDeepPixelBytes;
using kernels::kLeavePixel;
using kernels::kZeroPixel;
using kernels::loadDeep;
using kernels::unweighDeepRow;
using kernels::WarpShape;
using kernels::weighDeepRow;

namespace {

using kernels::InstructionSet;
using test::between;
using test::EveryTarget;
using test::noise;

std::size_t size(std::ptrdiff_t n) {
    return static_cast<std::size_t>(n);
}

float anyPosition(int last, std::mt19937& random) {
    const auto end = static_cast<float>(last);
    switch (random() % 16) {
        case 0:
            return end;
        case 1:
            return between(random, -1.5F, 0.0F);
        case 2:
            return end + between(random, 0.0F, 1.5F);
        case 3:
            return static_cast<float>(random() % (static_cast<unsigned>(last) + 1));
        case 4:
            return std::numeric_limits<float>::quiet_NaN();
        default:
            return between(random, 0.0F, std::max(end, 0.1F));
    }
}

TEST(DeepRowTest, BilinearRowsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int count = 0; count <= 67; ++count) {
            const int columns = 1 + static_cast<int>(random() % 50),
                      height = 2 + static_cast<int>(random() % 29);
            const std::ptrdiff_t pitch = columns * kDeepPixelBytes + 8 * (count % 3);
            // Exactly as large as it must be.
            const std::vector<unsigned char> frame =
                noise(size((height - 1) * pitch + columns * kDeepPixelBytes), random);
            const DeepRim rim = count % 2 == 0 ? DeepRim{} : DeepRim{2, 1, {65535, 60000, 7, 65535}};
            const DeepPixel nothing = {0, 4096, 4096, 4096};
            const DeepField even = {frame.data(), 2 * pitch, columns, (height + 1) / 2, nothing, rim};
            const DeepField odd = {frame.data() + pitch, 2 * pitch, columns, height / 2, nothing, rim};
            std::vector<float> x, y;
            const bool inside = random() % 2 == 0 && columns > 8 && height > 12;
            for (int i = 0; i < count; ++i) {
                x.push_back(inside ? between(random, 2.0F, static_cast<float>(columns - 4))
                                   : anyPosition(columns - 1, random));
                y.push_back(inside ? between(random, 1.0F, static_cast<float>(height / 2 - 3))
                                   : anyPosition(height / 2 - 1, random));
            }
            for (int fieldCount = 0; fieldCount <= 2; ++fieldCount) {
                std::vector<unsigned char> a(size(count * 8) + 40, 11), b(a.size(), 22), gotA = a, gotB = b;
                const DeepReading expected[2] = {{even, a.data() + 2}, {odd, b.data() + 2}};
                const DeepReading got[2] = {{even, gotA.data() + 2}, {odd, gotB.data() + 2}};
                deepBilinearRowScalar(expected, fieldCount, x.data(), y.data(), count);
                deepBilinearRow(got, fieldCount, x.data(), y.data(), count, set);
                ASSERT_EQ(a, gotA) << count << ' ' << fieldCount;
                ASSERT_EQ(b, gotB) << count << ' ' << fieldCount;
            }
        }
    });
}

TEST(DeepRowTest, BlendsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int count = 0; count <= 67; ++count) {
            const std::vector<unsigned char> over = noise(size(count * 8 + 2), random);
            std::vector<unsigned char> expected = noise(size(count * 8 + 32), random), got = expected;
            const int level = static_cast<int>(random() % 256);
            deepBlendRowScalar(expected.data() + 2, over.data() + 2, count, level);
            deepBlendRow(got.data() + 2, over.data() + 2, count, level, set);
            ASSERT_EQ(expected, got) << count << ' ' << level;
        }
    });
}

TEST(DeepRowTest, ABlendOfEqualPixelsChangesNothingAndItsEndsAreThePixels) {
    std::mt19937 random(5);
    for (int level = 0; level <= 255; ++level) {
        const std::vector<unsigned char> a = noise(512, random), b = noise(512, random);
        std::vector<unsigned char> out = a;
        deepBlendRow(out.data(), a.data(), 64, level);
        ASSERT_EQ(out, a) << level;
        out = a;
        deepBlendRow(out.data(), b.data(), 64, level == 0 ? 0 : 255);
        ASSERT_EQ(out, level == 0 ? a : b);
    }
}

TEST(DeepRowTest, AConstantPictureReadsAsItselfEverywhere) {
    std::mt19937 random(6);
    for (const std::uint16_t value :
         std::initializer_list<std::uint16_t>{0, 1, 255, 4096, 32767, 65534, 65535}) {
        std::vector<DeepPixel> picture(20 * 12, DeepPixel{value, value, value, value});
        const auto* bytes = reinterpret_cast<const unsigned char*>(picture.data());
        const DeepField field = {bytes, 160, 20, 12, {}, {}};
        std::vector<float> x, y;
        for (int i = 0; i < 500; ++i) {
            x.push_back(between(random, 0.0F, 19.0F));
            y.push_back(between(random, 0.0F, 11.0F));
        }
        std::vector<DeepPixel> out(500);
        const DeepReading reading = {field, reinterpret_cast<unsigned char*>(out.data())};
        deepBilinearRow(&reading, 1, x.data(), y.data(), 500);
        for (const DeepPixel& pixel : out) ASSERT_EQ(pixel, picture[0]);
    }
}

TEST(DeepRowTest, FetchesTakeTheIndexedPixelAndTheOneBelow) {
    std::mt19937 random(7);
    const DeepPixel nothing = {0, 9, 9, 9}, untouched = {1, 2, 3, 4};
    for (int round = 0; round < 300; ++round) {
        const int stride = 1 + static_cast<int>(random() % 60), height = 2 + static_cast<int>(random() % 9);
        const std::ptrdiff_t pitch = stride * kDeepPixelBytes + 8 * (round % 3);
        const std::vector<unsigned char> picture =
            noise(size((height - 1) * pitch + stride * kDeepPixelBytes), random);
        const WarpShape shape = {stride, stride, height, (height + 1) / 2, 1.0F};
        std::vector<std::int32_t> index;
        const int count = static_cast<int>(random() % 70);
        std::int32_t next = 0;
        for (int i = 0; i < count; ++i) {
            if (i == 0 || random() % 12 == 0)
                next = static_cast<std::int32_t>(random() % size(stride * height));
            const auto dice = random() % 40;
            index.push_back(dice == 0 ? kLeavePixel : dice == 1 ? kZeroPixel : next % (stride * height));
            ++next;
        }
        std::vector<DeepPixel> even(size(count) + 2, untouched), odd = even;
        deepFetchRow(shape, {picture.data(), pitch}, index.data(), count, nothing,
                     reinterpret_cast<unsigned char*>(even.data() + 1),
                     reinterpret_cast<unsigned char*>(odd.data() + 1));
        const auto at = [&](int row, int column) {
            return row >= height ? nothing
                                 : loadDeep(picture.data() + row * pitch + column * kDeepPixelBytes);
        };
        for (int i = 0; i < count; ++i) {
            const std::int32_t n = index[size(i)];
            const DeepPixel expectedEven = n >= 0            ? at(n / stride, n % stride)
                                           : n == kZeroPixel ? nothing
                                                             : untouched;
            const DeepPixel expectedOdd = n >= 0 ? at(n / stride + 1, n % stride) : expectedEven;
            ASSERT_EQ(even[size(i) + 1], expectedEven) << i << ' ' << n;
            ASSERT_EQ(odd[size(i) + 1], expectedOdd) << i << ' ' << n;
        }
        ASSERT_EQ(even.front(), untouched);
        ASSERT_EQ(odd.back(), untouched);
    }
}

TEST(DeepRowTest, FramesComeBackFromDeepPixelsUnchanged) {
    for (const DeepRange range : {DeepRange{}, DeepRange{4096, 60160}}) {
        for (int alpha = 0; alpha < 256; ++alpha) {
            std::vector<unsigned char> frame;
            for (int c = 0; c < 256; ++c)
                for (const int byte : {alpha, c, 255 - c, (c * 7) & 255})
                    frame.push_back(static_cast<unsigned char>(byte));
            std::vector<unsigned char> deep(256 * 8), back(frame.size()), laid(frame.size());
            frameToDeepRow(frame.data(), deep.data(), 256, range);
            deepToStraightFrameRow(deep.data(), back.data(), 256, range);
            deepToFrameRow(deep.data(), laid.data(), 256, range);
            for (std::size_t i = 0; i < frame.size(); ++i) {
                const int expected = alpha == 0 && i % 4 != 0 ? 0 : frame[i];
                ASSERT_NEAR(back[i], expected, alpha == 1 ? 1 : 0) << alpha << ' ' << i;
                const double black = i % 4 == 0 ? frame[i] : frame[i] * alpha / 255.0;
                ASSERT_NEAR(laid[i], black, 0.51) << alpha << ' ' << i;
            }
        }
    }
}

TEST(DeepRowTest, WeighingKeepsHeadroomAndComesBack) {
    const DeepRange narrow = {4096, 60160};
    for (const int alpha : {0, 257, 9000, 32768, 65534, 65535}) {
        for (int colour = 0; colour <= 65535; colour += 97) {
            const auto c = static_cast<std::uint16_t>(colour);
            DeepPixel pixel = {static_cast<std::uint16_t>(alpha), c, 4096, 65535};
            auto* bytes = reinterpret_cast<unsigned char*>(&pixel);
            weighDeepRow(bytes, 1, narrow);
            ASSERT_NEAR(pixel.red, 4096 + (colour - 4096.0) * alpha / 65535.0, 0.51);
            ASSERT_EQ(pixel.green, 4096);
            unweighDeepRow(bytes, 1, narrow);
            const double slack = alpha == 0 ? 0 : 0.5 * 65535 / alpha + 0.5;
            ASSERT_NEAR(pixel.red, alpha == 0 ? 4096 : colour, slack) << alpha;
            ASSERT_EQ(pixel.alpha, alpha);
        }
    }
}

}  // namespace
}  // namespace tumblewash::imagelib
