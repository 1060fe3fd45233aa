// Deep pictures: what a Y'CbCr picture holds beyond black and white goes there and back, code for code.
#include <cmath>
#include <random>

#include "media/detail/Av.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::ColourMatrix;
using media::FieldOrder;
using media::fromDeep;
using media::kDeepOpaque;
using media::MediaError;
using media::MediaErrorCode;
using media::PictureRef;
using media::PixelLayout;
using media::toArgb;
using media::toDeep;

namespace {

struct Weights {
    double kr, kb;
};
Weights weights(ColourMatrix matrix) {
    if (matrix == ColourMatrix::bt2020) return {0.2627, 0.0593};
    return matrix == ColourMatrix::bt709 ? Weights{0.2126, 0.0722} : Weights{0.299, 0.114};
}

/// Deep words of a 10-bit Y'CbCr triple in exact arithmetic.
std::array<double, 3> exactWords(double y, double cb, double cr, ColourMatrix matrix) {
    const auto [kr, kb] = weights(matrix);
    const double luma = (y - 64) / 876, u = (cb - 512) / 896, v = (cr - 512) / 896;
    const double red = luma + 2 * (1 - kr) * v, blue = luma + 2 * (1 - kb) * u;
    const double green = (luma - kr * red - kb * blue) / (1 - kr - kb);
    return {4096 + 56064 * red, 4096 + 56064 * green, 4096 + 56064 * blue};
}

bool fits(int y, int cb, int cr, ColourMatrix matrix) {
    for (const double word : exactWords(y, cb, cr, matrix))
        if (word < 0 || word > 65535) return false;
    return true;
}

constexpr ColourMatrix kMatrices[] = {ColourMatrix::bt601, ColourMatrix::bt709, ColourMatrix::bt2020};

/// A planar picture of 10 or 8 bits with the chroma of each block and the luma of each pixel drawn at random
/// from what deep words can hold.
PictureRef randomPicture(PixelLayout layout, ColourMatrix matrix, FieldOrder fields, int width, int height) {
    const PictureRef out = fromDeep(toDeep(solid(width, height, {90, 90, 90})), layout, matrix, fields);
    AVFrame& frame = *out.storage()->frame;
    const int scale = layout == PixelLayout::yuv420 ? 4 : 1;
    std::mt19937 random(7);
    const auto put = [&](int plane, int x, int y, int code) {
        uint8_t* row = frame.data[plane] + y * frame.linesize[plane];
        if (scale == 4)
            row[x] = static_cast<uint8_t>(code);
        else
            reinterpret_cast<uint16_t*>(row)[x] = static_cast<uint16_t>(code);
    };
    const auto any = [&] { return static_cast<int>(random() % static_cast<unsigned>(1024 / scale)); };
    for (int row = 0; row < height / 2; ++row)
        for (int x = 0; x < width / 2; ++x) {
            int cb = 0, cr = 0;
            do {
                cb = any();
                cr = any();
            } while (!fits(400, cb * scale, cr * scale, matrix) ||
                     !fits(600, cb * scale, cr * scale, matrix));
            put(1, x, row, cb);
            put(2, x, row, cr);
        }
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) put(0, x, y, (400 + static_cast<int>(random() % 200)) / scale);
    return out;
}

void expectSameCodes(const PictureRef& a, const PictureRef& b) {
    const AVFrame& left = *a.storage()->frame;
    const AVFrame& right = *b.storage()->frame;
    ASSERT_EQ(left.format, right.format);
    const int bytes = a.layout() == PixelLayout::yuv420 ? 1 : 2;
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < (plane == 0 ? a.height() : a.height() / 2); ++y)
            ASSERT_EQ(0, memcmp(left.data[plane] + y * left.linesize[plane],
                                right.data[plane] + y * right.linesize[plane],
                                static_cast<size_t>(bytes * (plane == 0 ? a.width() : a.width() / 2))))
                << "plane " << plane << " line " << y;
}

}  // namespace

TEST(DeepPictureTest, ThereAndBackKeepsEveryCode) {
    for (const PixelLayout layout : {PixelLayout::yuv420, PixelLayout::yuv420p10})
        for (const ColourMatrix matrix : kMatrices)
            for (const FieldOrder fields : {FieldOrder::progressive, FieldOrder::topFirst})
                for (const int height : {16, 18}) {
                    const PictureRef native = randomPicture(layout, matrix, fields, 38, height);
                    expectSameCodes(native, fromDeep(toDeep(native), layout, matrix, fields));
                }
}

TEST(DeepPictureTest, GreyBeyondBlackAndWhiteIsKept) {
    for (const ColourMatrix matrix : kMatrices) {
        PictureRef native = fromDeep(PictureRef::makeDeep(512, 2), PixelLayout::yuv420, matrix);
        AVFrame& frame = *native.storage()->frame;
        for (int x = 0; x < 512; ++x) {
            frame.data[0][x] = frame.data[0][frame.linesize[0] + x] = static_cast<uint8_t>(x / 2);
            frame.data[1][x / 2] = frame.data[2][x / 2] = 128;
        }
        const PictureRef deep = toDeep(native);
        for (int y = 0; y < 256; ++y) {
            const uint16_t* p = deep.words() + ptrdiff_t{8} * y;
            EXPECT_EQ(p[0], kDeepOpaque);
            EXPECT_EQ(p[1], 256 * y);
            EXPECT_EQ(p[2], 256 * y);
            EXPECT_EQ(p[3], 256 * y);
        }
        expectSameCodes(native, fromDeep(deep, PixelLayout::yuv420, matrix));
    }
}

TEST(DeepPictureTest, WordsAreTheMatrixInExactArithmetic) {
    for (const ColourMatrix matrix : kMatrices) {
        const PictureRef native =
            randomPicture(PixelLayout::yuv420p10, matrix, FieldOrder::progressive, 64, 8);
        const AVFrame& frame = *native.storage()->frame;
        const PictureRef deep = toDeep(native);
        const auto code = [&](int plane, int x, int y) {
            return reinterpret_cast<const uint16_t*>(frame.data[plane] + y * frame.linesize[plane])[x];
        };
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 64; ++x) {
                const auto exact =
                    exactWords(code(0, x, y), code(1, x / 2, y / 2), code(2, x / 2, y / 2), matrix);
                for (int c = 0; c < 3; ++c)
                    EXPECT_NEAR(deep.words()[4 * (64 * y + x) + 1 + c], exact[static_cast<size_t>(c)], 0.7);
            }
    }
}

TEST(DeepPictureTest, ArgbComesBackUnchanged) {
    const PictureRef all = PictureRef::makeArgb(256, 3);
    for (int i = 0; i < 256 * 3; ++i)
        for (int c = 0; c < 4; ++c)
            all.data()[4 * i + c] = static_cast<uint8_t>(c == 1 + i / 256 || c == 0 ? i : 255 - i);
    EXPECT_EQ(bytesOf(all), bytesOf(toArgb(toDeep(all))));
}

TEST(DeepPictureTest, ArgbOfATenBitPictureClipsAtBlackAndWhite) {
    const PictureRef deep = PictureRef::makeDeep(4, 1);
    const uint16_t words[] = {65535, 0, 4096, 60160, 65535, 65535, 32128, 4205};
    memcpy(deep.words(), words, sizeof words);
    memcpy(deep.words() + 8, words, sizeof words);
    const PictureRef argb = toArgb(deep);
    EXPECT_EQ(pixel(argb, 0, 0), (Rgb{0, 0, 255}));
    EXPECT_EQ(pixel(argb, 1, 0), (Rgb{255, 128, 0}));
    EXPECT_EQ(argb.data()[0], 255);
}

TEST(DeepPictureTest, OnlyPlanarPicturesOfEvenSidesAreMade) {
    const PictureRef deep = PictureRef::makeDeep(4, 4);
    const auto refused = [](const auto& action) {
        try {
            action();
        } catch (const MediaError& error) {
            return error.code() == MediaErrorCode::badRequest;
        }
        return false;
    };
    EXPECT_TRUE(refused([&] { fromDeep(deep, PixelLayout::argb, ColourMatrix::bt709); }));
    EXPECT_TRUE(refused([&] { fromDeep(toArgb(deep), PixelLayout::yuv420, ColourMatrix::bt709); }));
    EXPECT_TRUE(
        refused([&] { fromDeep(PictureRef::makeDeep(3, 4), PixelLayout::yuv420p10, ColourMatrix::bt709); }));
    EXPECT_TRUE(refused([&] { fromDeep({}, PixelLayout::yuv420p10, ColourMatrix::bt709); }));
    EXPECT_TRUE(refused([&] { PictureRef::makeDeep(0, 4); }));
}

}  // namespace tumblewash::test
