// Rows between deep pixels and frames of four bytes, and colours weighed and unweighed, against the rules
// told pixel by pixel in double precision, which holds every quotient and every half of theirs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "ImageLib/kernels/DeepConvertRow.h"
#include "tests/ImageLib/Noise.h"

namespace tumblewash::imagelib {
namespace {

using kernels::DeepPixel;
using kernels::DeepRange;
using kernels::kDeepPixelBytes;
using test::noise;
using Bytes = std::vector<unsigned char>;

constexpr DeepRange kRanges[] = {{0, 65535}, {4096, 60160}, {0, 1}, {65534, 65535}};
constexpr int kMost = 67;

std::uint16_t held(double value, double most) {
    return static_cast<std::uint16_t>(std::clamp(std::round(value), 0.0, most));
}

double weighed(double colour, double alpha, double black) {
    return black + std::round((colour - black) * alpha / 65535);
}

DeepPixel eachColour(const DeepPixel& p, auto rule) {
    return {p.alpha, rule(p.red), rule(p.green), rule(p.blue)};
}

/// Every alpha that is a rule of its own, and any.
std::uint16_t anyAlpha(std::mt19937& random) {
    const auto kind = random() % 6;
    return static_cast<std::uint16_t>(kind == 0 ? 0 : kind == 1 ? 65535 : kind == 2 ? 1 : random());
}

/// A row of deep pixels without a neighbour, from any address.
struct DeepPixels {
    DeepPixels(int count, std::mt19937& random) {
        for (int i = 0; i < count; ++i) {
            const auto word = [&] {
                return static_cast<std::uint16_t>(random() % 5 == 0 ? 65535 : random());
            };
            pixels.push_back({anyAlpha(random), word(), word(), word()});
        }
        bytes.resize(pixels.size() * kDeepPixelBytes + 1);
        for (std::size_t i = 0; i < pixels.size(); ++i) storeDeep(at(i), pixels[i]);
    }
    unsigned char* at(std::size_t i) { return bytes.data() + 1 + i * kDeepPixelBytes; }

    std::vector<DeepPixel> pixels;
    Bytes bytes;
};

TEST(DeepConvertRowTest, FramesBecomeTheWordsOfTheRule) {
    std::mt19937 random(11);
    for (const DeepRange& range : kRanges) {
        for (int count = 0; count <= kMost; ++count) {
            Bytes frame = noise(static_cast<std::size_t>(count) * 4, random);
            for (std::size_t i = 0; i < frame.size(); i += 4) frame[i] = random() % 2 == 0 ? 255 : frame[i];
            DeepPixels out(count, random);
            frameToDeepRow(frame.data(), out.at(0), count, range);
            for (std::size_t i = 0; i < out.pixels.size(); ++i) {
                const auto alpha = static_cast<std::uint16_t>(frame[4 * i] * 257);
                const auto word = [&](std::size_t c) {
                    const double full =
                        range.black + std::round(frame[4 * i + c] * (range.white - range.black) / 255.0);
                    return held(weighed(full, alpha, range.black), 65535);
                };
                ASSERT_EQ(kernels::loadDeep(out.at(i)), (DeepPixel{alpha, word(1), word(2), word(3)})) << i;
            }
        }
    }
}

TEST(DeepConvertRowTest, WordsBecomeTheFramesOfTheRule) {
    std::mt19937 random(12);
    for (const DeepRange& range : kRanges) {
        for (int count = 0; count <= kMost; ++count) {
            DeepPixels from(count, random);
            const std::size_t bytes = from.pixels.size() * 4;
            const Bytes start = noise(bytes + 16, random);
            Bytes laid = start, straight = start, expectedLaid = start, expectedStraight = start;
            for (std::size_t i = 0; i < from.pixels.size(); ++i) {
                const DeepPixel& p = from.pixels[i];
                const auto byte = [&](double word, double alpha) {
                    const double above = (word - range.black) * 255 * 65535;
                    const double span = (range.white - range.black) * alpha;
                    return static_cast<unsigned char>(alpha == 0 ? 0 : held(above / span, 255));
                };
                const auto alpha = static_cast<unsigned char>(std::round(p.alpha / 257.0));
                expectedLaid[4 * i] = expectedStraight[4 * i] = alpha;
                const std::uint16_t colours[] = {p.red, p.green, p.blue};
                for (std::size_t c = 0; c < 3; ++c) {
                    expectedLaid[4 * i + c + 1] = byte(colours[c], 65535);
                    expectedStraight[4 * i + c + 1] = byte(colours[c], p.alpha);
                }
            }
            deepToFrameRow(from.at(0), laid.data(), count, range);
            deepToStraightFrameRow(from.at(0), straight.data(), count, range);
            ASSERT_EQ(laid, expectedLaid) << count;
            ASSERT_EQ(straight, expectedStraight) << count;
        }
    }
}

TEST(DeepConvertRowTest, ColoursAreWeighedAndUnweighedByTheRule) {
    std::mt19937 random(13);
    for (const DeepRange& range : kRanges) {
        const double black = range.black;
        for (int count = 0; count <= kMost; ++count) {
            DeepPixels heavier(count, random);
            DeepPixels lighter = heavier;
            weighDeepRow(heavier.at(0), count, range);
            unweighDeepRow(lighter.at(0), count, range);
            for (std::size_t i = 0; i < heavier.pixels.size(); ++i) {
                const DeepPixel& p = heavier.pixels[i];
                const double alpha = p.alpha;
                const DeepPixel with =
                    eachColour(p, [&](double c) { return held(weighed(c, alpha, black), 65535); });
                const DeepPixel without = eachColour(p, [&](double c) {
                    return alpha == 0 ? range.black
                                      : held(black + std::round((c - black) * 65535 / alpha), 65535);
                });
                ASSERT_EQ(kernels::loadDeep(heavier.at(i)), with) << i << ' ' << alpha;
                ASSERT_EQ(kernels::loadDeep(lighter.at(i)), without) << i << ' ' << alpha;
            }
        }
    }
}

}  // namespace
}  // namespace tumblewash::imagelib
