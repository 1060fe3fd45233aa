// The mixing rows on every instruction set of this machine: every byte there can be, and every shape of row.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "ImageLib/kernels/BlendRow.h"
#include "tests/ImageLib/EveryTarget.h"
#include "tests/ImageLib/Noise.h"
#include "tests/support/Sampled.h"

namespace tumblewash::imagelib {

using kernels::blendByAlphaRow;
using kernels::blendByAlphaRowScalar;
using kernels::blendInProportionRow;
using kernels::blendInProportionRowScalar;

namespace {

using kernels::InstructionSet;
using test::EveryTarget;
using test::noise;

using Row = std::vector<unsigned char>;

/// A row in which the second and third colour run through all pairs of bytes, and the source's alpha is a.
struct AllPairs {
    Row mine = Row(65536 * 4), from = Row(65536 * 4);

    explicit AllPairs(unsigned alpha) {
        for (std::size_t i = 0; i < 65536; ++i) {
            const auto low = static_cast<unsigned char>(i), high = static_cast<unsigned char>(i >> 8);
            mine[4 * i] = low, from[4 * i] = static_cast<unsigned char>(alpha);
            mine[4 * i + 1] = high, from[4 * i + 1] = low;
            mine[4 * i + 2] = low, from[4 * i + 2] = high;
            mine[4 * i + 3] = static_cast<unsigned char>(255 - high), from[4 * i + 3] = low;
        }
    }
};

/// Proportions that are used, that end at a channel's range and that are no proportions at all.
std::vector<float> proportions(std::mt19937& random) {
    using Limits = std::numeric_limits<float>;
    std::vector<float> out = {0.0F,
                              1.0F,
                              1.1F,
                              1.5F,
                              1.0F / 3.0F,
                              41.0F,
                              -0.0F,
                              -1.0F,
                              -2.0F,
                              -0.5F,
                              1e-30F,
                              Limits::denorm_min(),
                              Limits::max(),
                              1.0e9F,
                              -1.0e30F,
                              16777216,
                              0.025F,
                              Limits::infinity(),
                              -Limits::infinity(),
                              Limits::quiet_NaN()};
    for (int i = 0; i < 30; ++i) out.push_back(static_cast<float>(random() % 100000) / 9973.0F);
    return out;
}

TEST(BlendKernelTest, EveryPairOfBytesMixesInProportionAsTheScalarRuleSays) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const AllPairs pairs(77);
        for (const float p : proportions(random)) {
            Row expected = pairs.mine, got = expected;
            blendInProportionRowScalar(expected.data(), pairs.from.data(), 65536, p);
            blendInProportionRow(got.data(), pairs.from.data(), 65536, p, set);
            ASSERT_TRUE(expected == got) << p;
        }
    });
}

TEST(BlendKernelTest, EveryPairOfBytesAndEveryAlphaMixesAsTheScalarRuleSays) {
    // 255 is a multiple of both steps.
    for (unsigned alpha = 0; alpha < 256; alpha += test::sampled() ? 15 : 1) {
        const AllPairs pairs(alpha);
        Row expected = pairs.mine;
        blendByAlphaRowScalar(expected.data(), pairs.from.data(), 65536);
        EveryTarget([&](std::mt19937&, InstructionSet set) {
            Row got = pairs.mine;
            blendByAlphaRow(got.data(), pairs.from.data(), 65536, set);
            ASSERT_TRUE(expected == got) << alpha;
        });
        if (HasFatalFailure()) return;
    }
}

TEST(BlendKernelTest, RowsOfEveryWidthAreMixedAndNothingBehindThem) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (std::size_t width = 0; width <= 67; ++width) {
            for (std::size_t offset = 0; offset < 4; ++offset) {
                const Row mine = noise(offset + width * 4 + 64, random);
                // Exactly as long as it must be, so that a sanitizer hears a read past the end.
                const Row from = noise(offset + width * 4, random);
                Row expected = mine, got = mine;
                blendInProportionRowScalar(expected.data() + offset, from.data() + offset, width, 0.7F);
                blendInProportionRow(got.data() + offset, from.data() + offset, width, 0.7F, set);
                ASSERT_EQ(expected, got) << width;
                expected = got = mine;
                blendByAlphaRowScalar(expected.data() + offset, from.data() + offset, width);
                blendByAlphaRow(got.data() + offset, from.data() + offset, width, set);
                ASSERT_EQ(expected, got) << width;
            }
        }
    });
}

TEST(BlendKernelTest, ASourceThatShowsTheDestinationSeesEveryPixelMixedBefore) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (std::size_t width = 1; width <= 69; ++width) {
            for (int apart = -39; apart <= 39; ++apart) {
                const Row start = noise(4 * 150, random);
                for (const bool byAlpha : {false, true}) {
                    Row expected = start, got = start;
                    const auto mix = [&](Row& row, auto proportionRow, auto alphaRow, auto... version) {
                        unsigned char* mine = row.data() + std::ptrdiff_t{4} * 40;
                        if (byAlpha)
                            alphaRow(mine, mine + std::ptrdiff_t{4} * apart, width, version...);
                        else
                            proportionRow(mine, mine + std::ptrdiff_t{4} * apart, width, 1.25F, version...);
                    };
                    mix(expected, blendInProportionRowScalar, blendByAlphaRowScalar);
                    mix(got, blendInProportionRow, blendByAlphaRow, set);
                    ASSERT_EQ(expected, got) << width << " pixels, " << apart << " apart";
                }
            }
        }
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
