// Byte arithmetic and luminances of packed rows on every instruction set: the same as their scalar siblings,
// which are the rules themselves.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ImageLib/kernels/PackedRows.h"
#include "tests/ImageLib/EveryTarget.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {
namespace {

using kernels::InstructionSet;
using kernels::LuminanceDifferences;
using test::EveryTarget;
using test::noise;
using Row = std::vector<unsigned char>;

bool same(const LuminanceDifferences& a, const LuminanceDifferences& b) {
    return a.squares == b.squares && a.smallest == b.smallest && a.largest == b.largest;
}

TEST(PackedRowsTest, BytesAreTheScalarOnesOnEveryTargetAndNothingBehindThem) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (std::size_t pixels = 0; pixels <= 67; ++pixels) {
            for (std::size_t offset = 0; offset < 4; ++offset) {
                const std::size_t bytes = 4 * pixels + offset;  // rows of bytes may end inside a pixel
                const Row start = noise(offset + bytes + 64, random), from = noise(offset + bytes, random);
                const unsigned char value[4] = {from.empty() ? std::uint8_t{3} : from.front(), 200, 7, 255};
                const auto compare = [&](auto scalar, auto version) {
                    Row expected = start, got = start;
                    scalar(expected.data() + offset);
                    version(got.data() + offset);
                    ASSERT_EQ(expected, got) << pixels << " pixels from " << offset;
                };
                const unsigned char* source = from.data() + offset;
                compare([&](unsigned char* to) { kernels::addBytesRowScalar(to, source, bytes); },
                        [&](unsigned char* to) { kernels::addBytesRow(to, source, bytes, set); });
                compare([&](unsigned char* to) { kernels::subtractBytesRowScalar(to, source, bytes); },
                        [&](unsigned char* to) { kernels::subtractBytesRow(to, source, bytes, set); });
                compare([&](unsigned char* to) { kernels::addPixelRowScalar(to, pixels, value); },
                        [&](unsigned char* to) { kernels::addPixelRow(to, pixels, value, set); });
                compare([&](unsigned char* to) { kernels::fillPixelRowScalar(to, pixels, value); },
                        [&](unsigned char* to) { kernels::fillPixelRow(to, pixels, value, set); });
            }
        }
    });
}

TEST(PackedRowsTest, ASourceThatShowsTheDestinationSeesEveryByteChangedBefore) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int apart = -150; apart <= 150; ++apart) {
            const Row start = noise(700, random);
            Row expected = start, got = start;
            for (std::size_t i = 200; i < 500; ++i)
                expected[i] = static_cast<unsigned char>(
                    expected[i] + expected[static_cast<std::size_t>(static_cast<int>(i) + apart)]);
            kernels::addBytesRow(got.data() + 200, got.data() + 200 + apart, 300, set);
            ASSERT_EQ(expected, got) << apart << " apart";
            expected = got = start;
            for (std::size_t i = 200; i < 500; ++i)
                expected[i] = static_cast<unsigned char>(
                    expected[i] - expected[static_cast<std::size_t>(static_cast<int>(i) + apart)]);
            kernels::subtractBytesRow(got.data() + 200, got.data() + 200 + apart, 300, set);
            ASSERT_EQ(expected, got) << apart << " apart";
        }
    });
}

TEST(PackedRowsTest, LuminancesAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (std::size_t pixels = 0; pixels <= 67; ++pixels) {
            // Exactly as long as they must be, so that a sanitizer hears a read past the end.
            const Row a = noise(4 * pixels, random), b = noise(4 * pixels, random);
            ASSERT_EQ(kernels::sumLuminanceRowScalar(a.data(), pixels),
                      kernels::sumLuminanceRow(a.data(), pixels, set))
                << pixels;
            LuminanceDifferences expected, got;
            for (int twice = 0; twice < 2; ++twice) {  // a second row adds to the first
                kernels::luminanceDifferencesRowScalar(a.data(), b.data(), pixels, expected);
                kernels::luminanceDifferencesRow(a.data(), b.data(), pixels, got, set);
                ASSERT_TRUE(same(expected, got)) << pixels;
            }
        }
    });
}

// A hundredth is made without a division: every colour that it can be made of is tried, 64 to a sum. An error
// could only make luminances smaller, so that none hides another.
TEST(PackedRowsTest, EveryHundredthIsTruncatedAsTheRuleSays) {
    Row pixels;
    for (int red = 0; red < 256; ++red)
        for (int green = 0; green < 256; ++green)
            pixels.insert(pixels.end(),
                          {255, static_cast<unsigned char>(red), static_cast<unsigned char>(green),
                           static_cast<unsigned char>((red * 7 + green * 13) % 256)});
    EveryTarget([&](std::mt19937&, InstructionSet set) {
        for (std::size_t at = 0; at < pixels.size(); at += 256)
            ASSERT_EQ(kernels::sumLuminanceRowScalar(pixels.data() + at, 64),
                      kernels::sumLuminanceRow(pixels.data() + at, 64, set))
                << at / 4;
    });
}

TEST(PackedRowsTest, LongRowsOverflowNoSum) {
    constexpr std::size_t pixels = 1'100'000;  // 65025 times a sixteenth of them is more than 32 bits hold
    const Row white(4 * pixels, 255), black(4 * pixels, 0);
    EveryTarget([&](std::mt19937&, InstructionSet set) {
        EXPECT_EQ(kernels::sumLuminanceRow(white.data(), pixels, set), pixels * 255);
        LuminanceDifferences got;
        kernels::luminanceDifferencesRow(white.data(), black.data(), pixels, got, set);
        EXPECT_EQ(got.squares, std::uint64_t{pixels} * 65025);
        EXPECT_EQ(got.smallest, 255U);
        EXPECT_EQ(got.largest, 255U);
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
