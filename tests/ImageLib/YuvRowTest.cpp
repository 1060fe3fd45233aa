// Rows between Y'CbCr and packed pixels on every instruction set, against the rule told pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "ImageLib/kernels/YuvRow.h"
#include "tests/ImageLib/EveryTarget.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {
namespace {

using kernels::InstructionSet;
using test::EveryTarget;
using test::noise;
using Row = std::vector<unsigned char>;

/// BT.709 in 16.16.
constexpr kernels::YuvMatrix bt709 = {76309, 117489, -13975, -34925, 138438, 11966,  40254,
                                      4064,  -6596,  -22189, 28785,  28785,  -26145, -2640};

unsigned char held(int value) {
    return static_cast<unsigned char>(std::clamp(value >> 16, 0, 255));
}

/// Opaque pixels of a row.
Row pixelsOf(const Row& y, const Row& cb, const Row& cr) {
    Row out;
    for (std::size_t x = 0; x < y.size(); ++x) {
        const int grey = (y[x] - 16) * bt709.luma, u = cb[x / 2] - 128, v = cr[x / 2] - 128;
        out.insert(out.end(), {255, held(grey + bt709.redCr * v + 32768),
                               held(grey + bt709.greenCb * u + bt709.greenCr * v + 32768),
                               held(grey + bt709.blueCb * u + 32768)});
    }
    return out;
}

TEST(YuvRowTest, PixelsAreThoseOfTheRuleOnEveryTarget) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (std::size_t pixels = 0; pixels <= 131; ++pixels) {
            // Exactly as long as they must be, so that a sanitizer hears a read past the end.
            const Row y = noise(pixels, random), cb = noise((pixels + 1) / 2, random),
                      cr = noise((pixels + 1) / 2, random);
            std::vector<int> red(pixels), green(pixels), blue(pixels);
            const kernels::ChromaTerms terms{red.data(), green.data(), blue.data()};
            Row expected = pixelsOf(y, cb, cr), scalar(4 * pixels + 5, 99), got = scalar;
            kernels::chromaTermsRowScalar(bt709, cb.data(), cr.data(), pixels, terms);
            kernels::argbRowFromYuvScalar(bt709, y.data(), terms, pixels, scalar.data());
            std::fill(red.begin(), red.end(), 7);
            std::fill(green.begin(), green.end(), 7);
            std::fill(blue.begin(), blue.end(), 7);
            kernels::chromaTermsRow(bt709, cb.data(), cr.data(), pixels, terms, set);
            kernels::argbRowFromYuv(bt709, y.data(), terms, pixels, got.data(), set);
            expected.resize(4 * pixels + 5, 99);  // nothing behind the row is written
            ASSERT_EQ(expected, scalar) << pixels;
            ASSERT_EQ(expected, got) << pixels;
        }
    });
}

TEST(YuvRowTest, CodesAreThoseOfTheRuleOnEveryTarget) {
    const auto luma = [](const unsigned char* p) {
        return static_cast<unsigned char>(
            16 + ((bt709.yRed * p[1] + bt709.yGreen * p[2] + bt709.yBlue * p[3] + 32768) >> 16));
    };
    EveryTarget([&](std::mt19937& random, InstructionSet set) {
        for (std::size_t pixels = 0; pixels <= 131; ++pixels) {
            Row above = noise(4 * pixels, random), below = noise(4 * pixels, random);
            if (pixels % 3 == 0) std::fill(above.begin(), above.end(), pixels % 2 == 0 ? 255 : 0);
            Row expected(pixels + 3, 99), scalar = expected, got = expected;
            for (std::size_t x = 0; x < pixels; ++x) expected[x] = luma(above.data() + 4 * x);
            kernels::lumaRowFromArgbScalar(bt709, above.data(), pixels, scalar.data());
            kernels::lumaRowFromArgb(bt709, above.data(), pixels, got.data(), set);
            ASSERT_EQ(expected, scalar) << pixels;
            ASSERT_EQ(expected, got) << pixels;
            const std::size_t samples = pixels / 2;
            Row cb(samples + 3, 98), cr(samples + 3, 97);
            Row scalarCb = cb, scalarCr = cr, gotCb = cb, gotCr = cr;
            for (std::size_t x = 0; x < samples; ++x) {
                const auto sum = [&](std::size_t c) {
                    return above[8 * x + c] + above[8 * x + 4 + c] + below[8 * x + c] + below[8 * x + 4 + c];
                };
                const int red = sum(1), green = sum(2), blue = sum(3);
                cb[x] = static_cast<unsigned char>(
                    128 +
                    ((bt709.cbRed * red + bt709.cbGreen * green + bt709.cbBlue * blue + (1 << 17)) >> 18));
                cr[x] = static_cast<unsigned char>(
                    128 +
                    ((bt709.crRed * red + bt709.crGreen * green + bt709.crBlue * blue + (1 << 17)) >> 18));
            }
            kernels::chromaRowFromArgbScalar(bt709, above.data(), below.data(), samples, scalarCb.data(),
                                             scalarCr.data());
            kernels::chromaRowFromArgb(bt709, above.data(), below.data(), samples, gotCb.data(), gotCr.data(),
                                       set);
            ASSERT_EQ(cb, scalarCb) << pixels;
            ASSERT_EQ(cr, scalarCr) << pixels;
            ASSERT_EQ(cb, gotCb) << pixels;
            ASSERT_EQ(cr, gotCr) << pixels;
        }
    });
}

}  // namespace
}  // namespace tumblewash::imagelib
