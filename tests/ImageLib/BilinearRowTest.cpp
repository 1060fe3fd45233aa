// Rows of bilinear readings on every instruction set of this machine: the same bytes as the scalar sibling.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "tests/ImageLib/EveryTarget.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {

using kernels::bilinearMovedRow;
using kernels::bilinearRow;
using kernels::bilinearRowGathering;
using kernels::bilinearRowScalar;
using kernels::bilinearRowSingly;
using kernels::FieldPixels;
using kernels::FieldReading;
using kernels::RepeatedFractions;

namespace {

using kernels::InstructionSet;
using test::between;
using test::EveryTarget;
using test::noise;

/// Both fields of a frame that is exactly as large as it must be.
struct TwoFields {
    std::vector<unsigned char> frame;
    FieldPixels even, odd;

    TwoFields(int columns, int height, std::mt19937& random)
        : frame(noise(static_cast<std::size_t>(columns * height) * 4, random)),
          even{frame.data(), std::ptrdiff_t{columns} * 8, columns, (height + 1) / 2},
          odd{frame.data() + std::ptrdiff_t{columns} * 4, std::ptrdiff_t{columns} * 8, columns, height / 2} {}
};

/// Reads as a morph does, `rounds` times: fractions that repeat are learnt on the way.
int readMoved(const FieldReading* fields, int fieldCount, const float* atX, const float* atY, int count,
              bool finely, InstructionSet set, int rounds = 3) {
    RepeatedFractions repeated;
    int doubts = 0;
    for (int i = 0; i < rounds; ++i)
        doubts = bilinearMovedRow(fields, fieldCount, atX, atY, count, repeated, finely, set);
    return doubts;
}

/// Positions of every kind: fractions, whole ones, edges, outside, no numbers.
float position(int kind, int last, std::mt19937& random) {
    const float end = static_cast<float>(last);
    switch (kind == 3 ? random() % 8 : static_cast<unsigned>(kind)) {
        case 0:
            return between(random, 0.0F, end);
        case 1:
            return static_cast<float>(random() % (static_cast<unsigned>(last) + 1));
        case 2:
            return static_cast<float>(random() % (static_cast<unsigned>(last) + 1)) / 2.0F;
        case 4:
            return end;
        case 5:
            return between(random, -1.5F, 0.0F);
        case 6:
            return end + between(random, 0.0F, 1.5F);
        case 7:
            return random() % 2 == 0 ? std::numeric_limits<float>::quiet_NaN() : -1.0e30F;
        default:
            return between(random, 0.0F, 1.0F) * 1.0e-9F;
    }
}

TEST(BilinearRowTest, RowsAreTheScalarOnesOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int count = 1; count <= 67; ++count) {
            for (int kind = 0; kind < 4; ++kind) {
                const int columns = 1 + static_cast<int>(random() % 70);
                const TwoFields fields(columns, 2 + static_cast<int>(random() % 21), random);
                std::vector<float> x, y;
                for (int i = 0; i < count; ++i) {
                    x.push_back(position(kind, columns - 1, random));
                    y.push_back(position(kind, fields.odd.rows - 1, random));
                }
                for (int fieldCount = 0; fieldCount <= 2; ++fieldCount) {
                    const std::size_t bytes = static_cast<std::size_t>(count) * 4 + 64;
                    std::vector<unsigned char> a(bytes, 11), b(bytes, 22), gotA = a, gotB = b;
                    const FieldReading expected[2] = {{fields.even, a.data() + 1},
                                                      {fields.odd, b.data() + 1}};
                    const FieldReading got[2] = {{fields.even, gotA.data() + 1},
                                                 {fields.odd, gotB.data() + 1}};
                    bilinearRowScalar(expected, fieldCount, x.data(), y.data(), count);
                    bilinearRow(got, fieldCount, x.data(), y.data(), count, set);
                    ASSERT_EQ(a, gotA) << count << ' ' << kind << ' ' << fieldCount;
                    ASSERT_EQ(b, gotB) << count << ' ' << kind << ' ' << fieldCount;
                    for (const bool finely : {false, true}) {
                        std::fill(gotA.begin(), gotA.end(), static_cast<unsigned char>(11));
                        readMoved(got, fieldCount, x.data(), y.data(), count, finely, set);
                        ASSERT_EQ(a, gotA) << count << ' ' << kind << ' ' << fieldCount << ' ' << finely;
                        ASSERT_EQ(b, gotB) << count << ' ' << kind << ' ' << fieldCount << ' ' << finely;
                    }
                }
            }
        }
    });
}

// Each product is truncated on its own, so weights that come out a hair below a whole product matter. These
// are the fractions at which products of weight and byte are whole or nearly so.
TEST(BilinearRowTest, ProductsNextToWholeNumbersAreTruncatedAlike) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const TwoFields fields(64, 16, random);
        for (int divisor = 1; divisor <= 255; ++divisor) {
            std::vector<float> x, y;
            for (int i = 0; i < 61; ++i) {
                const float fraction = static_cast<float>(random() % 256) / static_cast<float>(divisor);
                x.push_back(std::min(62.0F, static_cast<float>(i) + fraction - std::floor(fraction)));
                const float other = static_cast<float>(random() % 256) / static_cast<float>(divisor);
                y.push_back(static_cast<float>(random() % 6) + other - std::floor(other));
            }
            std::vector<unsigned char> a(244, 1), b(244, 2), gotA(244, 3), gotB(244, 4);
            const FieldReading expected[2] = {{fields.even, a.data()}, {fields.odd, b.data()}};
            const FieldReading got[2] = {{fields.even, gotA.data()}, {fields.odd, gotB.data()}};
            bilinearRowScalar(expected, 2, x.data(), y.data(), 61);
            bilinearRow(got, 2, x.data(), y.data(), 61, set);
            ASSERT_EQ(a, gotA) << divisor;
            ASSERT_EQ(b, gotB) << divisor;
            std::fill(gotA.begin(), gotA.end(), static_cast<unsigned char>(5));
            readMoved(got, 2, x.data(), y.data(), 61, true, set);
            ASSERT_EQ(a, gotA) << divisor;
            ASSERT_EQ(b, gotB) << divisor;
        }
    });
}

// With fractions of a fifth and two fifths, a weight times every 25th colour is whole.
TEST(BilinearRowTest, DoubtsAreCountedWhereProductsAreWhole) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const TwoFields fields(400, 12, random);
        std::vector<float> fifthsX, fifthsY, anyX, anyY;
        for (int i = 0; i < 320; ++i) {
            fifthsX.push_back(static_cast<float>(i + 10) + 0.2F);
            fifthsY.push_back(2.4F);
            anyX.push_back(static_cast<float>(i + 10) + between(random, 0.1F, 0.9F));
            anyY.push_back(2.0F + between(random, 0.1F, 0.9F));
        }
        std::vector<unsigned char> a(1280), b(1280);
        const FieldReading readings[2] = {{fields.even, a.data()}, {fields.odd, b.data()}};
        const int many = bilinearRow(readings, 2, fifthsX.data(), fifthsY.data(), 320, set);
        const int few = bilinearRow(readings, 2, anyX.data(), anyY.data(), 320, set);
        EXPECT_LE(many, 640);
        EXPECT_LT(few, 640 / 8);
        // A machine of single numbers reads every pixel by the rule itself and has none in doubt.
        EXPECT_TRUE(many > 640 / 8 || (many == 0 && few == 0)) << many << ' ' << few;
    });
}

// Where a stretch has one displacement its fractions repeat: once they are known nothing is in doubt.
TEST(BilinearRowTest, FractionsThatComeBackLeaveNoDoubt) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const TwoFields fields(400, 12, random);
        std::vector<float> x, y(320, 2.4F);
        for (int i = 0; i < 320; ++i) x.push_back(static_cast<float>(i + 10) + 0.25F);
        std::vector<unsigned char> a(1280), b(1280);
        const FieldReading readings[2] = {{fields.even, a.data()}, {fields.odd, b.data()}};
        EXPECT_EQ(readMoved(readings, 2, x.data(), y.data(), 320, false, set), 0);
        EXPECT_EQ(readMoved(readings, 2, x.data(), y.data(), 320, true, set), 0);
    });
}

/// Two fields of their own memory, each exactly as large as it must be; rows `gap` bytes apart.
struct LooseFields {
    std::vector<unsigned char> memory[2];
    FieldPixels field[2];

    LooseFields(int columns, int rows, int gap, std::mt19937& random) {
        for (int f = 0; f < 2; ++f) {
            const std::ptrdiff_t pitch = std::ptrdiff_t{columns} * 4 + gap;
            memory[f] = noise(static_cast<std::size_t>((rows - 1) * pitch + columns * 4), random);
            field[f] = {memory[f].data(), pitch, columns, rows};
        }
    }
    void paint(unsigned char value) {
        for (std::vector<unsigned char>& bytes : memory) std::fill(bytes.begin(), bytes.end(), value);
    }
};

/// Reads both fields through the scalar sibling and, by loads and by gathers, through the vectors.
testing::AssertionResult sameReadings(const LooseFields& fields, const std::vector<float>& x,
                                      const std::vector<float>& y, InstructionSet set) {
    const std::size_t bytes = x.size() * 4 + 8;
    const int count = static_cast<int>(x.size());
    std::vector<unsigned char> expected[2];
    FieldReading plain[2];
    for (int f = 0; f < 2; ++f) {
        expected[f].assign(bytes, static_cast<unsigned char>(11 + f));
        plain[f] = {fields.field[f], expected[f].data() + 3};
    }
    bilinearRowScalar(plain, 2, x.data(), y.data(), count);
    using Version = int (*)(const FieldReading*, int, const float*, const float*, int, InstructionSet);
    const std::pair<const char*, Version> versions[] = {
        {"by loads", bilinearRowSingly},
        {"by gathers", bilinearRowGathering},
        {"moved", [](const FieldReading* of, int fieldCount, const float* atX, const float* atY, int n,
                     InstructionSet which) { return readMoved(of, fieldCount, atX, atY, n, false, which, 2); }},
        {"moved, finely",
         [](const FieldReading* of, int fieldCount, const float* atX, const float* atY, int n,
            InstructionSet which) { return readMoved(of, fieldCount, atX, atY, n, true, which, 1); }}};
    for (const auto& [name, version] : versions) {
        std::vector<unsigned char> got[2];
        FieldReading shipped[2];
        for (int f = 0; f < 2; ++f) {
            got[f].assign(bytes, static_cast<unsigned char>(11 + f));
            shipped[f] = {fields.field[f], got[f].data() + 3};
        }
        version(shipped, 2, x.data(), y.data(), count, set);
        for (int f = 0; f < 2; ++f) {
            const auto at = std::mismatch(expected[f].begin(), expected[f].end(), got[f].begin()).first;
            if (at == expected[f].end()) continue;
            const auto pixel = static_cast<std::size_t>(at - expected[f].begin() - 3) / 4;
            return testing::AssertionFailure() << name << ", field " << f << ", position " << pixel << " of "
                                               << count << ": " << x[pixel] << ", " << y[pixel];
        }
    }
    return testing::AssertionSuccess();
}

// Readings of a row mostly lie side by side, which has ways of its own: every slope and every place in the
// field must give them the same bytes.
TEST(BilinearRowTest, EverySlopeReadsTheScalarBytes) {
    const float across[] = {1.0F, -1.0F, 0.98F, 1.03F, 0.5F, 1.7F, 2.1F, -0.3F, 0.0F, 9.0F};
    const float down[] = {0.0F, 0.03F, -0.03F, 0.11F, -0.2F, 0.5F, 1.0F, -1.0F};
    EveryTarget([&](std::mt19937& random, InstructionSet set) {
        for (int count = 1; count <= 67; ++count) {
            const int columns = 1 + static_cast<int>(random() % 150),
                      rows = 1 + static_cast<int>(random() % 40);
            const LooseFields fields(columns, rows, static_cast<int>(random() % 3) * 5, random);
            for (const float dx : across) {
                for (const float dy : down) {
                    const float firstX = between(random, 0.0F, static_cast<float>(columns));
                    const float firstY = between(random, 0.0F, static_cast<float>(rows));
                    std::vector<float> x, y;
                    for (int i = 0; i < count; ++i) {
                        const float step = static_cast<float>(i);
                        x.push_back(
                            std::clamp(firstX + step * dx, 0.0F, static_cast<float>(columns) - 0.25F));
                        y.push_back(std::clamp(firstY + step * dy, 0.0F, static_cast<float>(rows) - 0.25F));
                    }
                    ASSERT_TRUE(sameReadings(fields, x, y, set))
                        << columns << 'x' << rows << ' ' << dx << ' ' << dy;
                }
            }
        }
    });
}

// A coordinate that is whole makes its ceiling the same pixel, whose alpha counts again.
TEST(BilinearRowTest, WholeCoordinatesBesideFractionsCountTheSamePixelTwice) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int round = 0; round < 200; ++round) {
            const LooseFields fields(80, 9, 0, random);
            std::vector<float> x, y;
            for (int i = 0; i < 40; ++i) {
                const float quarters[] = {0.0F, 0.0F, 0.25F, 0.5F, 0.75F};
                x.push_back(static_cast<float>(1 + i + static_cast<int>(random() % 3)) +
                            quarters[random() % 5]);
                y.push_back(static_cast<float>(1 + random() % 3) + quarters[random() % 5]);
            }
            ASSERT_TRUE(sameReadings(fields, x, y, set)) << round;
        }
    });
}

// Where nothing moves, positions are the pixels of a row one behind the other, up to the field's very edges;
// a single fraction or a step beyond the edge among them is read as such.
TEST(BilinearRowTest, RunsOfWholePixelsAreReadAlikeUpToTheEdges) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (int round = 0; round < 400; ++round) {
            const int columns = 1 + static_cast<int>(random() % 90),
                      rows = 1 + static_cast<int>(random() % 6);
            LooseFields fields(columns, rows, static_cast<int>(random() % 2) * 8, random);
            if (rows > 1 && round % 2 == 0) --fields.field[1].rows;
            const int start = static_cast<int>(random() % 9) - 4, row = static_cast<int>(random() % 8) - 1;
            std::vector<float> x, y;
            for (int i = 0; i < columns + 3; ++i) {
                x.push_back(static_cast<float>(start + i));
                y.push_back(static_cast<float>(row));
            }
            ASSERT_TRUE(sameReadings(fields, x, y, set))
                << columns << 'x' << rows << " from " << start << ',' << row;
            std::fill(y.begin(), y.end(), static_cast<float>(row) + 0.5F);
            ASSERT_TRUE(sameReadings(fields, x, y, set)) << columns << 'x' << rows << " between rows";
            std::fill(y.begin(), y.end(), static_cast<float>(row));
            const std::size_t spoiled = random() % x.size();
            (round % 3 == 0 ? y : x)[spoiled] += round % 4 == 0 ? 0.5F : -0.0009765625F;
            ASSERT_TRUE(sameReadings(fields, x, y, set))
                << columns << 'x' << rows << " spoiled at " << spoiled;
            std::fill(y.begin(), y.end(), -0.0F);
            ASSERT_TRUE(sameReadings(fields, x, y, set));
            std::fill(y.begin(), y.end(), std::numeric_limits<float>::quiet_NaN());
            ASSERT_TRUE(sameReadings(fields, x, y, set));
            for (float& at : x) at += 16777216.0F;
            std::fill(y.begin(), y.end(), 0.0F);
            ASSERT_TRUE(sameReadings(fields, x, y, set));
        }
    });
}

// Stretches with one displacement, as a morph's equal cells make them: simple fractions, hairs beside whole
// numbers and none at all, up to the edges, where a column's float is coarser than the one before it, and
// with more pairs of fractions than a row keeps.
TEST(BilinearRowTest, StretchesWithOneDisplacementReadTheScalarBytes) {
    const float fractions[] = {0.0F,  0.2F,        0.4F, 0.6F,     0.8F,       0.5F,
                               0.25F, 1.0F / 3.0F, 0.1F, 0x1p-12F, 0.99951172F};
    EveryTarget([&](std::mt19937& random, InstructionSet set) {
        const LooseFields fields(1100, 9, 4, random);
        RepeatedFractions kept[2];
        for (int round = 0; round < 240; ++round) {
            std::vector<float> x, y;
            const int wanted = 1 + static_cast<int>(random() % 180),
                      start = static_cast<int>(random() % 1100);
            float moveX = 0.0F, moveY = 0.0F;
            for (int i = 0; i < wanted; ++i) {
                if (i % 40 == 0) {
                    const auto pick = [&] {
                        return random() % 3 == 0 ? between(random, 0.0F, 1.0F) : fractions[random() % 11];
                    };
                    moveX = static_cast<float>(random() % 5) - 2.0F + pick();
                    moveY =
                        static_cast<float>(random() % 9) - 0.5F * static_cast<float>(random() % 2) + pick();
                }
                x.push_back(static_cast<float>((start + i) % 1101) + moveX);
                y.push_back(moveY);
            }
            if (round % 5 == 0) x[random() % x.size()] += 0x1p-14F;
            if (round % 7 == 0) y[random() % y.size()] = std::numeric_limits<float>::quiet_NaN();
            ASSERT_TRUE(sameReadings(fields, x, y, set)) << round;
            // What one row taught is used by the next, whatever its fields' colours.
            std::vector<unsigned char> expected(x.size() * 4, 1), got(x.size() * 4, 2);
            const FieldReading plain = {fields.field[1], expected.data()},
                               shipped = {fields.field[1], got.data()};
            bilinearRowScalar(&plain, 1, x.data(), y.data(), wanted);
            bilinearMovedRow(&shipped, 1, x.data(), y.data(), wanted, kept[round % 2], round % 2 != 0, set);
            ASSERT_EQ(expected, got) << round;
        }
    });
}

/// The float whose fraction is nearest to `fraction`, `ulps` floats further, between whole and whole + 1.
float near(int whole, double fraction, int ulps) {
    float value = static_cast<float>(whole + std::clamp(fraction, 0.0, 0.9999));
    for (; ulps > 0; --ulps) value = std::nextafter(value, 1.0e9F);
    for (; ulps < 0; ++ulps) value = std::nextafter(value, 0.0F);
    return std::clamp(value, static_cast<float>(whole), std::nextafter(static_cast<float>(whole + 1), 0.0F));
}

// The hardest fractions: a weight times a byte of the very pixel that it weighs is whole, or one float away
// from it on either side, for each of the four weights.
TEST(BilinearRowTest, ProductsOneFloatBesideWholeNumbersAreTruncatedAlike) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        LooseFields fields(64, 8, 0, random);
        for (int painted = 0; painted < 3; ++painted) {
            if (painted == 1) fields.paint(255);
            if (painted == 2) fields.paint(254);
            for (int round = 0; round < 600; ++round) {
                std::vector<float> x, y;
                const int neighbour = round % 4;
                for (int i = 0; i < 48; ++i) {
                    const int px = 1 + i, py = 1 + static_cast<int>(random() % 6);
                    const int right = neighbour == 1 || neighbour == 2, below = neighbour >= 2;
                    const std::ptrdiff_t at = (py + below) * fields.field[0].pitch + (px + right) * 4;
                    const int byte =
                        std::max<int>(1, fields.memory[0][static_cast<std::size_t>(at + 1 + i % 3)]);
                    const double weight = static_cast<double>(random() % static_cast<unsigned>(byte)) / byte;
                    // Vertical share first; the horizontal one is what the product then asks for.
                    const float atY =
                        random() % 4 == 0 ? static_cast<float>(py) : between(random, 0.01F, 0.99F);
                    const float yy = atY >= 1.0F ? atY : static_cast<float>(py) + atY;
                    const double dy = static_cast<double>(yy) - py;
                    const double share = weight / (below != 0 ? std::max(dy, 0.01) : 1.0 - dy);
                    x.push_back(
                        near(px, right != 0 ? share : 1.0 - share, static_cast<int>(random() % 3) - 1));
                    y.push_back(yy);
                }
                ASSERT_TRUE(sameReadings(fields, x, y, set)) << painted << ' ' << round;
            }
        }
    });
}

// Fractions next to 0 and 1: a weight that rounds down to 0, one whose rounding up would be 1.
TEST(BilinearRowTest, WeightsNextToNothingAndToEverythingAreTruncatedAlike) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        LooseFields fields(64, 8, 0, random);
        for (int painted = 0; painted < 2; ++painted) {
            if (painted == 1) fields.paint(255);
            for (int round = 0; round < 300; ++round) {
                const auto tiny = [&] {
                    return std::ldexp(between(random, 0.5F, 1.0F), -static_cast<int>(random() % 24));
                };
                std::vector<float> x, y;
                for (int i = 0; i < 48; ++i) {
                    const auto place = [&](int whole) {
                        const double fraction = static_cast<double>(tiny());
                        return near(whole, random() % 2 == 0 ? fraction : 1.0 - fraction, 0);
                    };
                    x.push_back(place(1 + i));
                    y.push_back(place(1 + static_cast<int>(random() % 6)));
                }
                ASSERT_TRUE(sameReadings(fields, x, y, set)) << painted << ' ' << round;
            }
        }
    });
}

// A weight less than 2^-32 below a multiple of 2^-16 at which the product would be whole: 128 times the
// weight must come out one less. Between 1 and 2 positions have 23 bits behind the point, enough for such
// pairs.
TEST(BilinearRowTest, WeightsAHairBelowSixteenBitsAreNotRoundedUp) {
    constexpr std::uint64_t unit = std::uint64_t{1} << 23;
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        LooseFields fields(48, 4, 0, random);
        fields.paint(128);
        std::vector<float> x, y;
        while (x.size() < 160) {
            // a b = k 2^30 - rest, where a and b are shares in 2^-23 and k 2^-16 is a multiple of 1 / 128.
            const std::uint64_t k = std::uint64_t{512} * (1 + random() % 126), target = k << 30;
            const std::uint64_t a = unit / 2 + random() % (unit / 2), b = target / a, rest = target % a;
            if (rest == 0 || rest >= 1U << 14 || b == 0 || b >= unit) continue;
            const auto place = [](std::uint64_t share, bool ceiling) {
                return 1.0F + static_cast<float>(ceiling ? share : unit - share) / static_cast<float>(unit);
            };
            const auto neighbour = x.size() % 4;
            x.push_back(place(a, neighbour == 1 || neighbour == 2));
            y.push_back(place(b, neighbour >= 2));
        }
        ASSERT_TRUE(sameReadings(fields, x, y, set));
    });
}

// Below 1 a float has finer fractions than 2^-23, down to the smallest numbers there are.
TEST(BilinearRowTest, TheFirstColumnAndRowKeepTheirFinestFractions) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const LooseFields fields(40, 6, 0, random);
        for (int round = 0; round < 300; ++round) {
            std::vector<float> x, y;
            for (int i = 0; i < 64; ++i) {
                const auto place = [&](int whole) {
                    const float fine =
                        std::ldexp(between(random, 0.5F, 1.0F), -static_cast<int>(random() % 149));
                    return random() % 3 == 0 ? static_cast<float>(whole) + between(random, 0.0F, 0.99F)
                                             : fine;
                };
                x.push_back(place(static_cast<int>(random() % 39)));
                y.push_back(place(static_cast<int>(random() % 5)));
            }
            ASSERT_TRUE(sameReadings(fields, x, y, set)) << round;
        }
    });
}

TEST(BilinearRowTest, FieldsOfFourThousandColumnsAndRowsAreReadAlike) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const LooseFields wide(4096, 3, 0, random), tall(3, 4096, 0, random);
        std::vector<float> alongX, alongY, short1, short2;
        for (int i = 0; i < 4095; ++i) {
            alongX.push_back(static_cast<float>(i) + between(random, 0.0F, 1.0F));
            alongY.push_back(between(random, 0.0F, 4095.5F));
            short1.push_back(between(random, 0.0F, 2.0F));
            short2.push_back(between(random, 0.0F, 2.5F));
        }
        ASSERT_TRUE(sameReadings(wide, alongX, short1, set));
        ASSERT_TRUE(sameReadings(wide, alongY, short2, set));
        ASSERT_TRUE(sameReadings(tall, short1, alongY, set));
        ASSERT_TRUE(sameReadings(tall, short2, alongX, set));
    });
}

// Pixels that cannot be decided at once are put aside and read again: all of a long row, in one field or in
// both, and single ones among others that lie outside.
TEST(BilinearRowTest, RowsFullOfDoubtfulPixelsAreReadToTheEnd) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        const LooseFields fields(300, 5, 0, random);
        for (const int count : {64, 511, 512, 513, 528, 700, 1024, 1500, 1543}) {
            std::vector<float> first, second, x, y;
            for (int i = 0; i < count; ++i) {
                first.push_back(between(random, 0.0F, 1.0F));
                second.push_back(between(random, 0.0F, 4.0F));
                x.push_back(position(3, 299, random));
                y.push_back(position(3, 4, random));
            }
            ASSERT_TRUE(sameReadings(fields, first, second, set)) << count;
            ASSERT_TRUE(sameReadings(fields, second, first, set)) << count;
            ASSERT_TRUE(sameReadings(fields, x, y, set)) << count;
        }
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
