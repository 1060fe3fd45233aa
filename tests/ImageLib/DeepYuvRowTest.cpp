// The rows between Y'CbCr and deep words on every instruction set of this machine, and what they mean.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "ImageLib/kernels/DeepYuvRow.h"
#include "tests/ImageLib/EveryTarget.h"

namespace tumblewash::imagelib {

using namespace kernels;

namespace {

using kernels::InstructionSet;
using test::EveryTarget;
using Words = std::vector<std::uint16_t>;

constexpr std::size_t kWidths[] = {0, 1, 2, 3, 14, 16, 17, 30, 31, 32, 33, 34, 46, 62, 64, 66, 300, 574};

/// BT.709 between codes and words of limited range: 56064 words of R'G'B' to 896 codes of chroma.
DeepMatrix bt709() {
    const double kr = 0.2126, kb = 0.0722, kg = 1 - kr - kb, up = 56064.0 / 896;
    const auto fixed = [](double value, int bits) {
        return static_cast<int>(std::lround(value * (1 << bits)));
    };
    DeepMatrix c{};
    c.redCr = fixed(2 * (1 - kr) * up, kToDeepBits);
    c.blueCb = fixed(2 * (1 - kb) * up, kToDeepBits);
    c.greenCb = fixed(-2 * (1 - kb) * kb / kg * up, kToDeepBits);
    c.greenCr = fixed(-2 * (1 - kr) * kr / kg * up, kToDeepBits);
    c.yRed = fixed(kr, kLumaBits);
    c.yBlue = fixed(kb, kLumaBits);
    c.yGreen = (1 << kLumaBits) - c.yRed - c.yBlue;
    c.cbBlue = fixed(0.5 / up, kChromaBits);
    c.cbRed = fixed(-0.5 * kr / (1 - kb) / up, kChromaBits);
    c.crRed = c.cbBlue;
    c.crBlue = fixed(-0.5 * kb / (1 - kr) / up, kChromaBits);
    return c;
}

/// Any samples of the depth; words also such as ten bits do not hold.
template <typename Sample>
std::vector<Sample> samples(std::size_t count, std::mt19937& random) {
    std::vector<Sample> out(count);
    for (Sample& v : out)
        v = static_cast<Sample>(sizeof(Sample) == 2 && random() % 16 != 0 ? random() % 1024 : random());
    return out;
}

Words words(std::size_t count, std::mt19937& random) {
    Words out(count);
    for (std::uint16_t& v : out) {
        const unsigned kind = random() % 8;
        v = static_cast<std::uint16_t>(kind == 0 ? 65535 : kind == 1 ? 0 : random());
    }
    return out;
}

/// Three planes of words.
struct Planes {
    Words red, green, blue;
    DeepRow row() const { return {red.data(), green.data(), blue.data()}; }
    bool operator==(const Planes&) const = default;
};
Planes planes(std::size_t count, std::mt19937& random) {
    return {words(count, random), words(count, random), words(count, random)};
}

template <typename Sample>
void fromYuvIsTheScalar(std::size_t pixels, bool halved, std::mt19937& random, InstructionSet set) {
    const std::size_t chroma = halved ? (pixels + 1) / 2 : pixels;
    const auto y = samples<Sample>(pixels, random);
    const auto cb = samples<Sample>(chroma, random), cr = samples<Sample>(chroma, random);
    Planes plain = planes(pixels + 1, random), quick = plain;  // the word behind the row included
    deepRowFromYuvScalar(bt709(), y.data(), cb.data(), cr.data(), halved, 0, pixels, plain.red.data(),
                         plain.green.data(), plain.blue.data());
    deepRowFromYuv(bt709(), y.data(), cb.data(), cr.data(), halved, pixels, quick.red.data(),
                   quick.green.data(), quick.blue.data(), set);
    ASSERT_EQ(plain, quick) << pixels << (halved ? " halved" : "");
}

template <typename Sample>
void toYuvIsTheScalar(std::size_t pixels, bool dither, std::mt19937& random, InstructionSet set) {
    const Planes above = planes(pixels, random), below = planes(pixels, random);
    const auto line = static_cast<unsigned>(random() % 1000);
    std::vector<Sample> plain = samples<Sample>(pixels + 1, random), quick = plain;
    lumaRowFromDeepScalar(bt709(), above.row(), 0, pixels, line, dither, plain.data());
    lumaRowFromDeep(bt709(), above.row(), pixels, line, dither, quick.data(), set);
    ASSERT_EQ(plain, quick) << pixels << (dither ? " dithered" : "");
    std::vector<Sample> plainCb = samples<Sample>(pixels / 2 + 1, random), plainCr = plainCb;
    std::vector<Sample> quickCb = plainCb, quickCr = plainCr;
    chromaRowFromDeepScalar(bt709(), above.row(), below.row(), 0, pixels, line, dither, plainCb.data(),
                            plainCr.data());
    chromaRowFromDeep(bt709(), above.row(), below.row(), pixels, line, dither, quickCb.data(), quickCr.data(),
                      set);
    ASSERT_EQ(plainCb, quickCb) << pixels;
    ASSERT_EQ(plainCr, quickCr) << pixels;
}

}  // namespace

TEST(DeepYuvRowTest, EveryTargetGivesTheScalarWords) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (std::size_t pixels = 0; pixels <= 67; ++pixels)
            for (const bool halved : {true, false}) {
                fromYuvIsTheScalar<std::uint8_t>(pixels, halved, random, set);
                fromYuvIsTheScalar<std::uint16_t>(pixels, halved, random, set);
            }
    });
}

TEST(DeepYuvRowTest, EveryTargetGivesTheScalarCodes) {
    EveryTarget([](std::mt19937& random, InstructionSet set) {
        for (const std::size_t pixels : kWidths)
            for (const bool dither : {true, false}) {
                toYuvIsTheScalar<std::uint8_t>(pixels, dither, random, set);
                toYuvIsTheScalar<std::uint16_t>(pixels, dither, random, set);
            }
    });
}

TEST(DeepYuvRowTest, CodesComeBackAsTheyWere) {
    // Every grey of 10 bits, and colours near the middle, where no channel leaves its range.
    const DeepMatrix matrix = bt709();
    Words y, cb, cr;
    for (std::uint16_t code = 0; code < 1023; ++code) {
        y.insert(y.end(), 2, code);
        const auto colour = static_cast<std::uint16_t>(code > 300 && code < 600 ? 412 + code % 200 : 512);
        cb.push_back(colour);
        cr.push_back(static_cast<std::uint16_t>(1024 - colour));
    }
    Planes deep{Words(y.size()), Words(y.size()), Words(y.size())};
    deepRowFromYuv(matrix, y.data(), cb.data(), cr.data(), true, y.size(), deep.red.data(), deep.green.data(),
                   deep.blue.data());
    Words luma(y.size()), backCb(cb.size()), backCr(cr.size());
    lumaRowFromDeep(matrix, deep.row(), y.size(), 0, false, luma.data());
    chromaRowFromDeep(matrix, deep.row(), deep.row(), y.size(), 0, false, backCb.data(), backCr.data());
    EXPECT_EQ(luma, y);
    EXPECT_EQ(backCb, cb);
    EXPECT_EQ(backCr, cr);
}

}  // namespace tumblewash::imagelib
