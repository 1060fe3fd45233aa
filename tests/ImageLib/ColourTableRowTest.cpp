// The rows of the colour table on every instruction set of this machine, and what the table means.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "ImageLib/kernels/ColourTableRow.h"
#include "tests/ImageLib/EveryTarget.h"

namespace tumblewash::imagelib {

using namespace kernels;

namespace {

using kernels::InstructionSet;
using test::EveryTarget;
using Plane = std::vector<std::uint16_t>;

constexpr int kSide = kColourTableSide;

std::vector<std::int16_t> randomTable() {
    std::mt19937 random(3);
    std::vector<std::int16_t> table(kColourTableWords);
    for (std::int16_t& word : table) word = static_cast<std::int16_t>(random());
    return table;
}

/// The table that changes nothing.
std::vector<std::int16_t> identity() {
    std::vector<std::int16_t> table(kColourTableWords);
    for (int r = 0; r < kSide; ++r)
        for (int g = 0; g < kSide; ++g)
            for (int b = 0; b < kSide; ++b) {
                std::int16_t* node = &table[static_cast<std::size_t>(4 * ((r * kSide + g) * kSide + b))];
                // The last node would be one past the words; nothing reaches it but the remainder before.
                const auto word = [](int k) {
                    return static_cast<std::int16_t>(std::min(1024 * k, 65535) - 32768);
                };
                node[0] = word(r), node[1] = word(g), node[2] = word(b);
            }
    return table;
}

Plane randomPlane(std::size_t pixels, std::mt19937& random) {
    Plane out(pixels);
    for (std::uint16_t& word : out) {
        // Equal remainders, nodes and both ends come up often.
        const unsigned kind = random() % 8;
        word = static_cast<std::uint16_t>(kind == 0   ? 65535
                                          : kind == 1 ? random() % 65 * 1024
                                          : kind == 2 ? 512
                                                      : random());
    }
    return out;
}

}  // namespace

TEST(ColourTableRowTest, EveryTargetGivesTheScalarWords) {
    const std::vector<std::int16_t> table = randomTable();
    std::mt19937 words(7);
    Plane lasts(65536);
    for (std::uint16_t& word : lasts) word = static_cast<std::uint16_t>(words());
    EveryTarget([&](std::mt19937& random, InstructionSet set) {
        for (const std::uint16_t* last :
             {static_cast<const std::uint16_t*>(nullptr), std::as_const(lasts).data()})
            for (std::size_t pixels = 0; pixels <= 100; ++pixels) {
                std::array<Plane, 3> in;
                for (Plane& plane : in) plane = randomPlane(pixels + 1, random);
                std::array<Plane, 3> plain = in, quick = in;
                colourTableRowScalar(table.data(), last, plain[0].data(), plain[1].data(), plain[2].data(),
                                     pixels);
                colourTableRow(table.data(), last, quick[0].data(), quick[1].data(), quick[2].data(), pixels,
                               set);
                ASSERT_EQ(plain, quick) << pixels;  // the word behind the row included
                for (std::size_t c = 0; c < 3; ++c) ASSERT_EQ(in[c][pixels], quick[c][pixels]);
            }
    });
}

TEST(ColourTableRowTest, TheIdentityTableChangesNothing) {
    const std::vector<std::int16_t> table = identity();
    std::mt19937 random(5);
    std::array<Plane, 3> in;
    for (Plane& plane : in) plane = randomPlane(4096, random);
    std::array<Plane, 3> out = in;
    colourTableRow(table.data(), nullptr, out[0].data(), out[1].data(), out[2].data(), 4096);
    for (std::size_t c = 0; c < 3; ++c)
        for (std::size_t i = 0; i < 4096; ++i) EXPECT_NEAR(in[c][i], out[c][i], in[c][i] > 64512 ? 1 : 0);
}

TEST(ColourTableRowTest, ValuesBetweenNodesAreBarycentric) {
    // A function that is linear in each of the six tetrahedra: the greatest of the three, the least, their
    // sum.
    std::vector<std::int16_t> table(kColourTableWords);
    for (int r = 0; r < kSide; ++r)
        for (int g = 0; g < kSide; ++g)
            for (int b = 0; b < kSide; ++b) {
                std::int16_t* node = &table[static_cast<std::size_t>(4 * ((r * kSide + g) * kSide + b))];
                node[0] = static_cast<std::int16_t>(512 * std::max({r, g, b}) - 32768);
                node[1] = static_cast<std::int16_t>(512 * std::min({r, g, b}) - 32768);
                node[2] = static_cast<std::int16_t>(256 * (r + g + b) - 32768);
            }
    std::mt19937 random(6);
    std::array<Plane, 3> in;
    for (Plane& plane : in) plane = randomPlane(4096, random);
    std::array<Plane, 3> out = in;
    colourTableRow(table.data(), nullptr, out[0].data(), out[1].data(), out[2].data(), 4096);
    for (std::size_t i = 0; i < 4096; ++i) {
        const double r = in[0][i], g = in[1][i], b = in[2][i];
        EXPECT_NEAR(out[0][i], std::max({r, g, b}) / 2, 0.51);
        EXPECT_NEAR(out[1][i], std::min({r, g, b}) / 2, 0.51);
        EXPECT_NEAR(out[2][i], (r + g + b) / 4, 0.51);
    }
}

}  // namespace tumblewash::imagelib
