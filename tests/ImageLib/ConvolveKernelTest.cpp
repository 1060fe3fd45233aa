// The filtering rows on every instruction set of this machine, and the multipliers that stand for tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "ImageLib/kernels/ConvolveRow.h"
#include "tests/ImageLib/EveryTarget.h"

namespace tumblewash::imagelib {

using kernels::convolveRow;
using kernels::convolveRowScalar;
using kernels::ConvolveTap;
using kernels::ConvolveWeights;
using kernels::makeConvolveTap;

namespace {

using kernels::InstructionSet;
using test::EveryTarget;

/// What a tap's three numbers make of a byte.
unsigned multiplied(const ConvolveTap& tap, unsigned c) {
    const unsigned product = tap.whole * c + ((tap.fraction * c) >> 16);
    return (tap.negative ? 0U - product : product) & 255U;
}

void expectExact(float weight) {
    const ConvolveTap tap = makeConvolveTap(1, 2, weight);
    ASSERT_TRUE(tap.exact) << weight;
    for (unsigned c = 0; c < 256; ++c) {
        const auto product = static_cast<std::int64_t>(static_cast<double>(c) * static_cast<double>(weight));
        const auto weighed = static_cast<unsigned>(product & 255);
        // Millions of products are compared: an assertion of its own for each would take longer than they do.
        if (weighed == tap.weighed[c] && weighed == multiplied(tap, c)) continue;
        FAIL() << weight << " x " << c << " is " << weighed << ", not " << unsigned{tap.weighed[c]} << " or "
               << multiplied(tap, c);
    }
}

TEST(ConvolveKernelTest, EveryFractionThatABytesProductCanTellHasAMultiplier) {
    // Weights between the same two neighbours of these fractions truncate alike for every byte.
    for (int q = 1; q <= 255; ++q) {
        for (int p = 0; p <= q; ++p) {
            const float at = static_cast<float>(p) / static_cast<float>(q);
            for (const float weight : {std::nextafter(at, -1.0F), at, std::nextafter(at, 2.0F)}) {
                expectExact(weight);
                if (p % 16 == 0) expectExact(-weight - static_cast<float>(q % 5));
            }
            if (HasFatalFailure()) return;
        }
    }
}

TEST(ConvolveKernelTest, WeightsOfEverySizeHaveAMultiplierUntilTheirProductsPassInt) {
    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        const float size = std::ldexp(1.0F + static_cast<float>(random() % 65536) / 65536.0F,
                                      static_cast<int>(random() % 48) - 26);
        if (size >= 8388608.0F) continue;
        expectExact(random() % 2 == 0 ? size : -size);
        if (HasFatalFailure()) return;
    }
    for (const float wild : {8388608.0F, 1.0e30F, std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()})
        for (const float weight : {wild, -wild}) EXPECT_FALSE(makeConvolveTap(0, 0, weight).exact) << weight;
}

TEST(ConvolveKernelTest, ProductsThatPassIntAreHeldToItsRange) {
    EXPECT_EQ(255, makeConvolveTap(0, 0, 1.0e30F).weighed[3]);
    EXPECT_EQ(0, makeConvolveTap(0, 0, -1.0e30F).weighed[3]);
    EXPECT_EQ(0, makeConvolveTap(0, 0, 1.0e30F).weighed[0]);
    EXPECT_EQ(0, makeConvolveTap(0, 0, std::numeric_limits<float>::quiet_NaN()).weighed[9]);
}

/// Five rows of noise of their own, each exactly as long as it must be.
struct Neighbourhoods {
    std::vector<unsigned char> memory[5];
    const unsigned char* rows[5];

    Neighbourhoods(int pixels, int offset, std::mt19937& random) {
        for (int j = 0; j < 5; ++j) {
            memory[j].resize(static_cast<std::size_t>(offset + (pixels + 4) * 4));
            for (unsigned char& byte : memory[j])
                byte = static_cast<unsigned char>(random() % 8 == 0 ? 255 : random());
            rows[j] = memory[j].data() + offset;
        }
    }
};

/// A kernel of one of several kinds, and a factor.
ConvolveWeights someWeights(int kind, std::mt19937& random) {
    float kernel[5][5], sum = 0.0F;
    for (auto& column : kernel) {
        for (float& w : column) {
            const float unit = static_cast<float>(random() % 1000) / 1000.0F;
            const float kinds[] = {
                unit, unit * 3.0F - 1.0F, 1.0F, random() % 3 == 0 ? unit : 0.0F, unit * 1000.0F - 300.0F,
                -unit};
            w = kinds[kind % 6];
            sum += w;
        }
    }
    if (kind == 6) kernel[2][3] = 1.0e20F;
    if (kind == 7) kernel[0][4] = std::numeric_limits<float>::quiet_NaN();
    using Limits = std::numeric_limits<float>;
    const float wild[] = {0.0F,
                          -0.02F,
                          Limits::max(),
                          Limits::infinity(),
                          -Limits::infinity(),
                          Limits::quiet_NaN(),
                          Limits::denorm_min(),
                          0.05F};
    return ConvolveWeights(kernel, random() % 4 == 0 ? wild[random() % 8] : 1.0F / sum);
}

TEST(ConvolveKernelTest, FilteredRowsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        // Every width up to 67, and two as long as a picture's.
        for (int width = 0; width <= 69; ++width) {
            const int pixels = width <= 67 ? width : 5 * width;
            for (int kind = 0; kind < 8; ++kind) {
                const int offset = static_cast<int>(random() % 5), other = random() % 2 == 0 ? 0 : 3;
                const Neighbourhoods from(pixels, offset, random);
                const ConvolveWeights weights = someWeights(kind, random);
                std::vector<unsigned char> expected(static_cast<std::size_t>(pixels) * 4 + 64, 171);
                std::vector<unsigned char> got = expected;
                convolveRowScalar(weights, from.rows, pixels, other, expected.data());
                convolveRow(weights, from.rows, pixels, other, got.data(), set);
                ASSERT_EQ(expected, got) << pixels << " pixels, kind " << kind;
            }
        }
    });
}

TEST(ConvolveKernelTest, TheLargestSumsStayWhole) {
    EveryTarget([](std::mt19937&, InstructionSet set) {
        for (const float weight : {1.0F, -1.0F, 255.0F}) {
            float kernel[5][5];
            for (auto& column : kernel) std::fill_n(column, 5, weight);
            for (const int level : {255, 1, 128}) {
                const std::vector<unsigned char> row(71 * 4, static_cast<unsigned char>(level));
                const unsigned char* const rows[5] = {row.data(), row.data(), row.data(), row.data(),
                                                      row.data()};
                std::vector<unsigned char> expected(67 * 4, 9), got = expected;
                const ConvolveWeights weights(kernel, 1.0F / 25.0F);
                convolveRowScalar(weights, rows, 67, 0, expected.data());
                convolveRow(weights, rows, 67, 0, got.data(), set);
                ASSERT_EQ(expected, got) << weight;
            }
        }
    });
}

TEST(ConvolveKernelTest, OnlyWhereNumbersStandForEveryTableDoesAKernelMultiply) {
    float kernel[5][5] = {{0.5F, 0.0F, -3.25F}};
    EXPECT_TRUE(ConvolveWeights(kernel, 0.25F).multiplies);
    EXPECT_EQ(2, ConvolveWeights(kernel, 0.25F).count);
    EXPECT_FALSE(ConvolveWeights(kernel, std::numeric_limits<float>::infinity()).multiplies);
    kernel[4][1] = 1.0e12F;
    EXPECT_FALSE(ConvolveWeights(kernel, 0.25F).multiplies);
}

}  // namespace
}  // namespace tumblewash::imagelib
