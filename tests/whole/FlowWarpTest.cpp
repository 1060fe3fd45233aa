#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ImageLib/source/FlowWarp.h"
#include "tests/whole/Frames.h"
#include "tests/whole/Listener.h"
#include "tests/whole/reference/FlowWarp.h"

namespace tumblewash {
namespace {

using test::everyKind;
using test::Field;
using test::FieldKind;
using test::Frame;
using test::Listener;
using test::randomField;

struct Shape {
    int stride;
    int width;
    int height;
};

/// Runs both roads over equal destinations and compares all of the memory.
::testing::AssertionResult roadsAgree(const Shape& shape, Field& field, float fac, std::mt19937& random) {
    Frame source(shape.stride, shape.height);
    source.randomise(random);
    const Frame before = source;
    Frame plain(shape.stride, shape.height);
    plain.randomise(random);
    Frame shipped = plain;
    reference::DistortUsingFlow(source.data(), plain.data(), shape.stride, shape.width, shape.height, &field,
                                fac);
    ::DistortUsingFlow(source.data(), shipped.data(), shape.stride, shape.width, shape.height, &field, fac);
    if (!(source == before)) {
        return ::testing::AssertionFailure() << "the source was written";
    }
    if (!plain.guardsIntact() || !shipped.guardsIntact()) {
        return ::testing::AssertionFailure() << "memory around the frame was written";
    }
    if (plain == shipped) {
        return ::testing::AssertionSuccess();
    }
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.stride; ++x) {
            if (plain.at(shape.stride, x, y) != shipped.at(shape.stride, x, y)) {
                return ::testing::AssertionFailure()
                       << shape.stride << '/' << shape.width << 'x' << shape.height << " fac " << fac
                       << " field " << field.width() << 'x' << field.height() << ": first difference at " << x
                       << ',' << y;
            }
        }
    }
    return ::testing::AssertionFailure();
}

TEST(FlowWarpTest, ShippedRoadEqualsTheCompositionOfViewsAtEverySize) {
    std::mt19937 random(11);
    const int cells[][2] = {{1, 1}, {12, 7}, {40, 40}, {64, 64}, {32, 32}, {3, 50}};
    const float strengths[] = {0.0F, 0.25F, 1.0F, -0.5F, 3.0e5F};
    for (int size = 1; size <= 67; size += 1) {
        const Shape shape = {size + size % 5, size, 1 + (size * 29) % 68};
        for (int k = 0; k < 3; ++k) {
            const auto pick = static_cast<std::size_t>(size + k);
            const auto& cell = cells[pick % std::size(cells)];
            const auto field =
                randomField(cell[0], cell[1], everyKind[(pick * 5 + 1) % std::size(everyKind)], 0.7F, random);
            ASSERT_TRUE(roadsAgree(shape, *field, strengths[pick % std::size(strengths)], random)) << size;
        }
    }
}

TEST(FlowWarpTest, ShippedRoadEqualsTheCompositionOfViewsForEveryField) {
    std::mt19937 random(12);
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    for (const FieldKind kind : everyKind) {
        for (const float fac :
             {0.0F, 1.0e-3F, 0.37F, 1.0F, -1.0F, 1.0e30F, infinite, -infinite, notANumber}) {
            const auto field = randomField(64, 64, kind, 0.3F, random);
            ASSERT_TRUE(roadsAgree({101, 97, 67}, *field, fac, random));
            const auto square = randomField(32, 32, kind, 5.0F, random);
            ASSERT_TRUE(roadsAgree({64, 64, 64}, *square, fac, random));
            ASSERT_TRUE(roadsAgree({32, 32, 64}, *square, fac, random));
        }
    }
}

TEST(FlowWarpTest, ShippedRoadEqualsTheCompositionOfViewsAtPictureSize) {
    std::mt19937 random(13);
    const auto field = randomField(64, 64, FieldKind::smooth, 0.2F, random);
    EXPECT_TRUE(roadsAgree({724, 720, 481}, *field, 0.8F, random));
    const auto plate = randomField(32, 32, FieldKind::smooth, 2.0F, random);
    EXPECT_TRUE(roadsAgree({640, 640, 480}, *plate, 0.1F, random));
}

TEST(FlowWarpTest, FieldsAwayFromTheOriginAndWithoutStorageAreReadAsTheViewsReadThem) {
    std::mt19937 random(14);
    const auto field = randomField(12, 7, FieldKind::smooth, 0.4F, random);
    for (const int dx : {-30, -5, 3, 40}) {
        for (const int dy : {-20, -2, 4}) {
            field->shiftorigin(dx, dy);
            ASSERT_TRUE(roadsAgree({53, 50, 41}, *field, 0.9F, random)) << dx << ' ' << dy;
            field->zeroorigin();
        }
    }
    Field none;
    EXPECT_TRUE(roadsAgree({31, 31, 20}, none, 1.0F, random));
    Field empty(0, 0);
    EXPECT_TRUE(roadsAgree({31, 31, 20}, empty, 1.0F, random));
}

TEST(FlowWarpTest, AVisibleWidthBeyondTheStrideIsReadAsTheViewsReadIt) {
    std::mt19937 random(15);
    const auto field = randomField(12, 7, FieldKind::smooth, 0.9F, random);
    EXPECT_TRUE(roadsAgree({40, 60, 30}, *field, 1.0F, random));
    EXPECT_TRUE(roadsAgree({40, 0, 30}, *field, 1.0F, random));
    EXPECT_TRUE(roadsAgree({40, -3, 30}, *field, 1.0F, random));
}

/// A field of one value everywhere.
std::unique_ptr<Field> constantField(int w, int h, float red, float green) {
    auto field = std::make_unique<Field>(w, h);
    field->fillWith(RGBPixel<float>(red, green, 0.0F));
    return field;
}

/// What a whole-position read makes of a pixel's memory.
std::uint32_t mapped(std::uint32_t word) {
    unsigned char bytes[4];
    std::memcpy(bytes, &word, 4);
    bytes[0] = static_cast<unsigned char>(255 + 4 * bytes[0]);
    std::memcpy(&word, bytes, 4);
    return word;
}

class FlowWarpLaws : public ::testing::Test {
  protected:
    void warp(const Shape& shape, Field& field, float fac) {
        std::mt19937 random(21);
        source = std::make_unique<Frame>(shape.stride, shape.height);
        source->randomise(random);
        dest = std::make_unique<Frame>(shape.stride, shape.height);
        dest->randomise(random);
        before = std::make_unique<Frame>(*dest);
        ::DistortUsingFlow(source->data(), dest->data(), shape.stride, shape.width, shape.height, &field,
                           fac);
    }
    std::unique_ptr<Frame> source;
    std::unique_ptr<Frame> dest;
    std::unique_ptr<Frame> before;
};

TEST_F(FlowWarpLaws, NoStrengthCopiesTheVisibleColumnsInPlace) {
    const Shape shape = {44, 40, 30};
    std::mt19937 random(22);
    const auto field = randomField(64, 64, FieldKind::smooth, 2.0F, random);
    const auto zeros = randomField(64, 64, FieldKind::zero, 0.0F, random);
    for (const bool zeroField : {false, true}) {
        warp(shape, zeroField ? *zeros : *field, zeroField ? 1.0F : 0.0F);
        for (int y = 0; y < shape.height; ++y) {
            for (int x = 0; x < shape.stride; ++x) {
                const std::uint32_t expected =
                    x < shape.width ? mapped(source->at(shape.stride, x, y)) : before->at(shape.stride, x, y);
                ASSERT_EQ(dest->at(shape.stride, x, y), expected) << x << ' ' << y;
            }
        }
    }
}

TEST_F(FlowWarpLaws, FetchPointsAreTruncatedNotRounded) {
    // 0.1 of 30 columns is 3 whole ones; 0.13 is 3.9, read at 3.
    const Shape shape = {30, 30, 20};
    const auto field = constantField(8, 8, 0.13F, 0.19F);
    warp(shape, *field, 1.0F);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 30; ++x) {
            const bool inside = x + 3.9 < 30.0 && y / 2 + 1.9 < 10.0;
            const std::uint32_t expected =
                inside ? mapped(source->at(30, x + 3, y + 2)) : before->at(30, x, y);
            ASSERT_EQ(dest->at(30, x, y), expected) << x << ' ' << y;
        }
    }
}

TEST_F(FlowWarpLaws, AWholeFrameOfDisplacementLeavesEverything) {
    for (const Shape& shape : {Shape{30, 30, 20}, Shape{721, 721, 37}, Shape{67, 61, 22}}) {
        for (const float sign : {1.0F, -1.0F}) {
            warp(shape, *constantField(64, 64, sign, 0.0F), 1.0F);
            EXPECT_TRUE(*dest == *before) << shape.stride;
            warp(shape, *constantField(64, 64, 0.0F, sign), 1.0F);
            EXPECT_TRUE(*dest == *before) << shape.stride;
        }
    }
}

TEST_F(FlowWarpLaws, TheHorizontalLimitIsTheVisibleWidthAndTheScaleTheStride) {
    const Shape shape = {40, 30, 8};
    warp(shape, *constantField(4, 4, 0.25F, 0.0F), 1.0F);
    for (int x = 0; x < 40; ++x) {
        const std::uint32_t expected = x + 10 < 30 ? mapped(source->at(40, x + 10, 3)) : before->at(40, x, 3);
        ASSERT_EQ(dest->at(40, x, 3), expected) << x;
    }
    // Columns behind the visible ones are written when they fetch from inside.
    warp(shape, *constantField(4, 4, -0.25F, 0.0F), 1.0F);
    EXPECT_EQ(dest->at(40, 39, 3), mapped(source->at(40, 29, 3)));
    EXPECT_EQ(dest->at(40, 9, 3), before->at(40, 9, 3));
    EXPECT_EQ(dest->at(40, 10, 3), mapped(source->at(40, 0, 3)));
}

TEST_F(FlowWarpLaws, TheRowThatTheOddFieldLacksReadsZeroAndIsWritten) {
    const Shape shape = {16, 16, 9};  // five even rows, four odd ones
    warp(shape, *constantField(4, 4, 0.0F, 0.2F), 1.0F);
    for (int x = 0; x < 16; ++x) {
        // Field row 3 fetches row 4: line 8 for the even field, none for the odd one.
        EXPECT_EQ(dest->at(16, x, 6), mapped(source->at(16, x, 8)));
        EXPECT_EQ(dest->at(16, x, 7), 0U);
        EXPECT_EQ(dest->at(16, x, 5), mapped(source->at(16, x, 7)));
        // The last even line is never written.
        EXPECT_EQ(dest->at(16, x, 8), before->at(16, x, 8));
    }
}

TEST_F(FlowWarpLaws, TheFieldsDoNotBlend) {
    std::mt19937 random(23);
    const auto field = randomField(64, 64, FieldKind::smooth, 0.5F, random);
    Frame stripes(16, 16);
    for (int y = 0; y < 16; ++y) {
        std::memset(stripes.data() + y * 64, y % 2 == 0 ? 0x40 : 0x80, 64);
    }
    Frame out(16, 16);
    out.fill(0);
    ::DistortUsingFlow(stripes.data(), out.data(), 16, 16, 16, field.get(), 1.0F);
    int written = 0;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            const unsigned char red = out.data()[(y * 16 + x) * 4 + 1];
            written += red != 0;
            EXPECT_TRUE(red == 0 || red == (y % 2 == 0 ? 0x40 : 0x80));
        }
    }
    EXPECT_GT(written, 64);
}

TEST_F(FlowWarpLaws, FramesWithoutTwoRowsAreLeftAlone) {
    const auto field = constantField(4, 4, 0.0F, 0.0F);
    warp({16, 16, 1}, *field, 1.0F);
    EXPECT_TRUE(*dest == *before);
    warp({16, 16, 0}, *field, 1.0F);
    EXPECT_TRUE(dest->guardsIntact());
    warp({0, 0, 16}, *field, 1.0F);
    EXPECT_TRUE(dest->guardsIntact());
}

TEST(FlowWarpTest, TheLogTellsTheStepsInOrder) {
    Frame frame(8, 6);
    frame.fill(1);
    Frame out = frame;
    const auto field = constantField(4, 4, 0.0F, 0.0F);
    const std::vector<std::string> expected = {"DistortUsingFlow dw=8 7 6 fac=0.500000\n\r", "Distort 1\n\r",
                                               "Distort 2\n\r", "Distort done\n\r"};
    {
        const Listener listener;
        ::DistortUsingFlow(frame.data(), out.data(), 8, 7, 6, field.get(), 0.5F);
        EXPECT_EQ(listener.heard(), expected);
    }
    const Listener listener;
    reference::DistortUsingFlow(frame.data(), out.data(), 8, 7, 6, field.get(), 0.5F);
    EXPECT_EQ(listener.heard(), expected);
}

TEST(FlowWarpTest, TheSharedZeroPixelStaysZero) {
    const ARGBVal& black = PixRect<ARGBVal>::blackpixel;
    EXPECT_EQ(black.getalpha() | black.getred() | black.getgreen() | black.getblue(), 0);
}

}  // namespace
}  // namespace tumblewash
