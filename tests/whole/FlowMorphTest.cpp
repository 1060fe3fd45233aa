#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ImageLib/source/FlowMorph.h"
#include "tests/whole/Frames.h"
#include "tests/whole/Listener.h"
#include "tests/whole/reference/FlowMorph.h"

namespace tumblewash {
namespace {

using test::everyKind;
using test::Field;
using test::FieldKind;
using test::Frame;
using test::Listener;
using test::randomField;
using test::randomUnit;

using Wrap = PixRectWrap<ARGBVal>;

Wrap wrapped(Frame& frame, int w, int h) {
    return Wrap(reinterpret_cast<ARGBVal*>(frame.data()), w, h, SIAllLines);
}

using Road = void (*)(Wrap&, Wrap&, Wrap&, Field*, float);

void run(Road road, Frame& source, Frame& other, Frame& dest, int w, int h, Field& field, float t) {
    Wrap from = wrapped(source, w, h);
    Wrap to = wrapped(other, w, h);
    Wrap out = wrapped(dest, w, h);
    road(from, to, out, &field, t);
}

/// Runs both roads over equal destinations, with different second frames, and compares all of the memory.
::testing::AssertionResult roadsAgree(int w, int h, Field& field, float t, std::mt19937& random) {
    Frame source(w, h);
    source.randomise(random);
    const Frame before = source;
    Frame other(w, h);
    other.randomise(random);
    Frame plain(w, h);
    plain.randomise(random);
    Frame shipped = plain;
    run(reference::MorphBetween, source, other, plain, w, h, field, t);
    other.randomise(random);
    run(::MorphBetween, source, other, shipped, w, h, field, t);
    if (!(source == before) || !plain.guardsIntact() || !shipped.guardsIntact()) {
        return ::testing::AssertionFailure() << "memory other than the destination was written";
    }
    if (plain == shipped) {
        return ::testing::AssertionSuccess();
    }
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            if (plain.at(w, x, y) != shipped.at(w, x, y)) {
                return ::testing::AssertionFailure()
                       << w << 'x' << h << " t " << t << " field " << field.width() << 'x' << field.height()
                       << ": first difference at " << x << ',' << y;
            }
        }
    }
    return ::testing::AssertionFailure();
}

TEST(FlowMorphTest, ShippedRoadEqualsTheCompositionOfViewsAtEverySize) {
    std::mt19937 random(31);
    const int cells[][2] = {{40, 40}, {1, 1}, {12, 7}, {64, 64}, {32, 32}, {5, 60}};
    const float fractions[] = {0.5F, 0.0F, 1.0F, 0.123F, -0.75F, 7.0F};
    for (int size = 1; size <= 67; ++size) {
        const int h = 1 + (size * 31) % 68;
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t pick = static_cast<std::size_t>(size) + k;
            const auto& cell = cells[(pick + k) % std::size(cells)];
            const auto field =
                randomField(cell[0], cell[1], everyKind[(pick * 5 + 1) % std::size(everyKind)], 6.0F, random);
            ASSERT_TRUE(roadsAgree(size, h, *field, fractions[pick % std::size(fractions)], random));
        }
    }
}

TEST(FlowMorphTest, ShippedRoadEqualsTheCompositionOfViewsForEveryField) {
    std::mt19937 random(32);
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    for (const FieldKind kind : everyKind) {
        for (const float t : {0.0F, 1.0e-6F, 0.37F, 1.0F, -1.0F, 1.0e30F, infinite, -infinite, notANumber}) {
            const auto field = randomField(40, 40, kind, 18.0F, random);
            ASSERT_TRUE(roadsAgree(97, 67, *field, t, random));
            ASSERT_TRUE(roadsAgree(20, 40, *field, t, random));
            ASSERT_TRUE(roadsAgree(40, 80, *field, t, random));
        }
    }
}

TEST(FlowMorphTest, ShippedRoadEqualsTheCompositionOfViewsAtPictureSize) {
    std::mt19937 random(33);
    const auto field = randomField(40, 40, FieldKind::smooth, 36.0F, random);
    EXPECT_TRUE(roadsAgree(720, 481, *field, 0.4F, random));
    EXPECT_TRUE(roadsAgree(641, 360, *field, 0.9F, random));
}

TEST(FlowMorphTest, MotionAmongStretchesThatStandStillIsReadAsTheViewsReadIt) {
    std::mt19937 random(39);
    for (const int w : {90, 333, 1024, 1500}) {
        for (const unsigned oneIn : {2U, 9U, 40U, 300U}) {
            Field field(40, 40);
            for (int y = 0; y < 40; ++y) {
                for (int x = 0; x < 40; ++x) {
                    const bool moves = random() % oneIn == 0;
                    const auto share = [&] {
                        return moves && random() % 3 != 0 ? static_cast<float>(random() % 97) - 48 : 0.0F;
                    };
                    field.set(x, y, RGBPixel<float>(share(), share(), 0.0F));
                }
            }
            for (const float t : {0.5F, 0.31F, -0.2F, std::numeric_limits<float>::infinity()}) {
                ASSERT_TRUE(roadsAgree(w, 31, field, t, random)) << "one in " << oneIn;
            }
            field.shiftorigin(3, -2);
            ASSERT_TRUE(roadsAgree(w, 22, field, 0.4F, random)) << "one in " << oneIn << ", shifted";
        }
    }
}

TEST(FlowMorphTest, MotionInOneRowOfCellsIsReadAsTheViewsReadItInEveryRowBetweenThem) {
    // Fields of 120 rows and more: three rows and more lie below one row of cells, the first of them on it.
    std::mt19937 random(40);
    for (const int h : {240, 320, 480}) {
        for (const int row : {0, 1, 2, 19, 38, 39}) {
            Field field(40, 40);
            for (int x = 3; x < 37; x += 5) {
                field.set(x, row,
                          RGBPixel<float>(9.0F * randomUnit(random), 5.0F * randomUnit(random), 0.0F));
            }
            ASSERT_TRUE(roadsAgree(96, h, field, 0.5F, random)) << "row " << row;
        }
    }
}

TEST(FlowMorphTest, SmallPositionsKeepEveryBitOfTheirFractions) {
    // Tiny displacements: fractions with exponents far below the pixel grid, above and below whole positions.
    std::mt19937 random(34);
    for (const float reach : {1.0e-1F, 1.0e-3F, 1.0e-6F, 1.0e-10F, 1.0e-30F, 1.0e-44F}) {
        const auto field = randomField(40, 40, FieldKind::smooth, reach, random);
        ASSERT_TRUE(roadsAgree(67, 34, *field, 1.0F, random)) << reach;
        ASSERT_TRUE(roadsAgree(67, 35, *field, 0.3F, random)) << reach;
    }
}

TEST(FlowMorphTest, FieldsAwayFromTheOriginAndWithoutStorageAreReadAsTheViewsReadThem) {
    std::mt19937 random(35);
    const auto field = randomField(12, 7, FieldKind::smooth, 5.0F, random);
    for (const int dx : {-30, -5, 3, 40}) {
        for (const int dy : {-20, -2, 4}) {
            field->shiftorigin(dx, dy);
            ASSERT_TRUE(roadsAgree(53, 41, *field, 0.9F, random)) << dx << ' ' << dy;
            field->zeroorigin();
        }
    }
    Field none;
    EXPECT_TRUE(roadsAgree(31, 20, none, 1.0F, random));
    Field empty(0, 0);
    EXPECT_TRUE(roadsAgree(31, 20, empty, 1.0F, random));
}

TEST(FlowMorphTest, FractionZeroAndAFieldOfZerosKeepEveryColour) {
    std::mt19937 random(36);
    const auto moving = randomField(40, 40, FieldKind::smooth, 9.0F, random);
    const auto still = randomField(40, 40, FieldKind::zero, 0.0F, random);
    for (const bool zeroField : {false, true}) {
        Frame source(50, 20);
        source.randomise(random);
        Frame dest(50, 20);
        run(::MorphBetween, source, source, dest, 50, 20, zeroField ? *still : *moving,
            zeroField ? 0.8F : 0.0F);
        for (std::size_t i = 0; i < source.size(); i += 4) {
            ASSERT_EQ(dest.data()[i], static_cast<unsigned char>(255 + 4 * source.data()[i]));
            ASSERT_EQ(std::memcmp(dest.data() + i + 1, source.data() + i + 1, 3), 0) << i;
        }
    }
}

TEST(FlowMorphTest, ASteadyMotionMovesByWholeColumnsAndLeavesZeroBehind) {
    std::mt19937 random(37);
    for (const int w : {40, 97, 720}) {
        Field field(40, 40);
        field.fillWith(RGBPixel<float>(18.0F, 0.0F, 0.0F));
        Frame source(w, 12);
        source.randomise(random);
        Frame dest(w, 12);
        dest.fill(0x77);
        run(::MorphBetween, source, source, dest, w, 12, field, 0.5F);
        for (int y = 0; y < 12; ++y) {
            for (int x = 0; x < w; ++x) {
                std::uint32_t expected = 0;
                if (x + 9 < w) {
                    expected = source.at(w, x + 9, y);
                    unsigned char bytes[4];
                    std::memcpy(bytes, &expected, 4);
                    bytes[0] = static_cast<unsigned char>(255 + 4 * bytes[0]);
                    std::memcpy(&expected, bytes, 4);
                }
                ASSERT_EQ(dest.at(w, x, y), expected) << w << ": " << x << ',' << y;
            }
        }
    }
}

TEST(FlowMorphTest, PositionsAreNotTruncatedBeforeReading) {
    Field field(40, 40);
    field.fillWith(RGBPixel<float>(0.5F, 0.0F, 0.0F));
    Frame source(4, 2);
    const unsigned char row[16] = {255, 10, 20, 30, 255, 21, 40, 50, 255, 0, 0, 0, 9, 90, 91, 92};
    std::memcpy(source.data(), row, 16);
    std::memcpy(source.data() + 16, row, 16);
    Frame dest(4, 2);
    run(::MorphBetween, source, source, dest, 4, 2, field, 1.0F);
    // Half of each of two neighbours, truncated apart; the last column has no right neighbour and stays as it
    // is.
    const unsigned char expected[16] = {251, 15, 30, 40, 251, 10, 20, 25, 15, 45, 45, 46, 9, 90, 91, 92};
    EXPECT_EQ(std::memcmp(dest.data(), expected, 16), 0);
    EXPECT_EQ(std::memcmp(dest.data() + 16, expected, 16), 0);
}

TEST(FlowMorphTest, TheLastRowOfAnOddFrameKeepsItsContentsAndIsReported) {
    std::mt19937 random(38);
    const auto field = randomField(40, 40, FieldKind::smooth, 4.0F, random);
    Frame source(16, 481);
    source.randomise(random);
    Frame dest(16, 481);
    dest.fill(0x5A);
    for (const Road road : {Road{::MorphBetween}, Road{reference::MorphBetween}}) {
        std::FILE* trace = std::tmpfile();
        ASSERT_NE(trace, nullptr);
        Wrap from = wrapped(source, 16, 481);
        Wrap out = wrapped(dest, 16, 481);
        Wrap in = wrapped(source, 16, 481);
        out.debugon(DBGProblem);
        SICommon_H::traceto(trace);
        road(in, from, out, field.get(), 0.5F);
        out.debugoff(DBGProblem);
        road(in, from, out, field.get(), 0.5F);
        SICommon_H::traceto(nullptr);
        std::string text(static_cast<std::size_t>(std::ftell(trace)), ' ');
        std::rewind(trace);
        ASSERT_EQ(std::fread(text.data(), 1, text.size(), trace), text.size());
        std::fclose(trace);
        const std::string message = "MorphBetween2- Last Row = Even=240 Odd=239\n";
        const std::size_t at = text.find(message);
        ASSERT_NE(at, std::string::npos) << text;
        EXPECT_EQ(text.find(message, at + 1), std::string::npos);
        for (int x = 0; x < 16; ++x) {
            EXPECT_EQ(dest.at(16, x, 480), 0x5A5A5A5AU);
        }
    }
}

TEST(FlowMorphTest, FramesWithoutTwoRowsOrPixelsAreLeftAlone) {
    Field field(40, 40);
    Frame frame(9, 1);
    frame.fill(3);
    Frame dest(9, 1);
    dest.fill(7);
    const Frame before = dest;
    run(::MorphBetween, frame, frame, dest, 9, 1, field, 1.0F);
    EXPECT_TRUE(dest == before);
    run(::MorphBetween, frame, frame, dest, 0, 9, field, 1.0F);
    EXPECT_TRUE(dest == before);
    Wrap none;
    Wrap whole = wrapped(dest, 3, 3);
    ::MorphBetween(none, none, whole, &field, 1.0F);
    ::MorphBetween(whole, none, none, &field, 1.0F);
    EXPECT_TRUE(dest == before);
}

TEST(FlowMorphTest, TheLogTellsTheStepsInOrder) {
    Field field(40, 40);
    Frame frame(8, 6);
    Frame dest(8, 6);
    const std::vector<std::string> expected = {"MorphBetween1\n\r", "MorphBetween2\n\r", "MorphBetween3\n\r"};
    for (const Road road : {Road{::MorphBetween}, Road{reference::MorphBetween}}) {
        const Listener listener;
        run(road, frame, frame, dest, 8, 6, field, 0.5F);
        EXPECT_EQ(listener.heard(), expected);
    }
}

TEST(FlowMorphTest, TheSharedZeroPixelStaysZero) {
    Field field(1, 1);
    field.fillWith(RGBPixel<float>(1.0e6F, 0.0F, 0.0F));
    Frame frame(8, 6);
    Frame dest(8, 6);
    dest.fill(9);
    run(::MorphBetween, frame, frame, dest, 8, 6, field, 1.0F);
    for (std::size_t i = 0; i < dest.size(); ++i) {
        ASSERT_EQ(dest.data()[i], 0);
    }
    const ARGBVal& black = PixRect<ARGBVal>::blackpixel;
    EXPECT_EQ(black.getalpha() | black.getred() | black.getgreen() | black.getblue(), 0);
}

}  // namespace
}  // namespace tumblewash
