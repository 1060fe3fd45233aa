// Effects over deep pixels against the plug-in's own frames and against slow compositions of their own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/SamplePixRect.h"
#include "effects/DeepEffect.h"
#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "tests/effects/Deep.h"
#include "tests/whole/reference/Tumble.h"

namespace tumblewash::effects {

using imagelib::DeepTarget;
using imagelib::DeepView;
using kernels::DeepPixel;
using kernels::DeepRange;
using kernels::deepToFrameRow;
using kernels::unweighDeepRow;
using kernels::weighDeepRow;
using plugin::DeepMotion;
using plugin::effectCatalogue;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::estimateDeepMotion;
using plugin::FieldMaker;
using plugin::findEffectRecord;
using plugin::seededWashAway;
using plugin::tumbleDeep;

namespace {

using test::Bytes;
using test::Deep;
using test::deepened;
using test::noiseFrame;
using test::PluginFrames;

constexpr HYPluginDirection everyDirection[] = {kPluginDirectionUp, kPluginDirectionDown,
                                                kPluginDirectionLeft, kPluginDirectionRight};

std::vector<const EffectRecord*> effectsDrivenBy(EffectDriver driver) {
    std::vector<const EffectRecord*> found;
    for (const EffectRecord& effect : effectCatalogue())
        if (effect.driver == driver) found.push_back(&effect);
    return found;
}

/// All four channels random, at no position twice the same with any likelihood.
Deep noiseDeep(int width, int height, int gap, std::mt19937& random) {
    const auto word = [&random] { return static_cast<std::uint16_t>(random()); };
    Deep picture(width, height, gap);
    picture.fill([&](int, int) { return DeepPixel{word(), word(), word(), word()}; });
    return picture;
}

/// An opaque frame whose colours say which picture (1 or 2) and which pixel this is; never all zero.
Bytes addresses(int width, int height, int picture) {
    Bytes frame(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int number = (y * width + x) * 2 + picture;
            unsigned char* pixel = frame.at(x, y);
            pixel[0] = 255;
            for (int c = 1; c < 4; ++c) pixel[c] = static_cast<unsigned char>(number >> (8 * (c - 1)));
        }
    }
    return frame;
}

/// The deep pixels at the addresses that a frame of the plug-in holds.
Deep atAddresses(const Bytes& frame, const Deep& first, const Deep& last, const DeepPixel& nothing) {
    Deep moved(frame.width, frame.height);
    moved.fill([&](int x, int y) {
        const unsigned char* pixel = frame.at(x, y);
        const int number = (pixel[1] | pixel[2] << 8 | pixel[3] << 16) - 1;
        if (number < 0) return nothing;
        const Deep& from = number % 2 == 0 ? first : last;
        return from.at(number / 2 % frame.width, number / 2 / frame.width);
    });
    return moved;
}

struct Size {
    int width, height, gap;
};

TEST(DeepEffectTest, WashesAndTiltsMoveDeepPixelsByThePluginsOwnAddresses) {
    std::mt19937 random(41);
    const DeepRange narrow = {4096, 60160};
    constexpr int frames = 12;
    int moved = 0;
    for (const EffectRecord* effect : effectsDrivenBy(EffectDriver::distort)) {
        for (const Size& size : {Size{64, 48, 0}, Size{37, 51, 3}, Size{131, 22, 1}}) {
            for (const HYPluginDirection direction : everyDirection) {
                if (effect->field != FieldMaker::washAway && direction != kPluginDirectionUp) continue;
                const EffectKnobs knobs = {direction, static_cast<unsigned>(random() % 1000), false};
                PluginFrames plugin(*effect, knobs, frames, addresses(size.width, size.height, 1),
                                    addresses(size.width, size.height, 2));
                const Deep first = noiseDeep(size.width, size.height, size.gap, random);
                const Deep last = noiseDeep(size.width, size.height, 2 * size.gap, random);
                const DeepEffect deep(*effect, size.width, size.height, knobs, narrow);
                for (int k = 0; k < frames; ++k) {
                    Deep out(size.width, size.height, size.gap);
                    deep.renderFrame(static_cast<double>(k) / frames, {first.view(), last.view()},
                                     out.target());
                    const Deep expected = atAddresses(plugin.render(k), first, last, narrow.nothing());
                    ASSERT_TRUE(out == expected) << effect->id << ' ' << size.width << 'x' << size.height
                                                 << " direction " << direction << " frame " << k;
                    ASSERT_TRUE(out.guardsIntact());
                    moved += out == first || out == last ? 0 : 1;
                }
            }
        }
    }
    EXPECT_GT(moved, 500);
}

/// The largest and smallest difference between a deep picture's nearest bytes and a frame's, colours only.
struct Difference {
    int least = 0, most = 0;
    void join(const Deep& deep, const Bytes& frame) {
        Bytes near(frame.width, frame.height);
        for (int y = 0; y < frame.height; ++y)
            deepToFrameRow(deep.view().row(y), near.at(0, y), frame.width, {});
        for (std::size_t i = 0; i < near.data.size(); ++i) {
            if (i % 4 == 0) continue;
            least = std::min(least, near.data[i] - frame.data[i]);
            most = std::max(most, near.data[i] - frame.data[i]);
        }
    }
};

void expectAtMostFourAbove(EffectDriver driver, int frames) {
    std::mt19937 random(42);
    Difference all;
    for (const EffectRecord* effect : effectsDrivenBy(driver)) {
        for (const Size& size : {Size{80, 60, 0}, Size{53, 45, 2}, Size{41, 18, 0}}) {
            const Bytes first = noiseFrame(size.width, size.height, random);
            Bytes last = noiseFrame(size.width, size.height, random);
            // Something to follow: the last picture's middle is the first one's, moved.
            for (int y = 8; y < size.height - 8; ++y)
                for (int x = 8; x < size.width - 8; ++x)
                    std::copy_n(first.at(x - 3, y - 2), 4, last.at(x, y));
            PluginFrames plugin(*effect, {}, frames, first, last);
            const Deep deepFirst = deepened(first, {}, size.gap), deepLast = deepened(last);
            const DeepEffect deep(*effect, size.width, size.height);
            const bool morph = driver == EffectDriver::morph;
            const DeepPictures pictures = {deepFirst.view(), deepLast.view()};
            const auto motion = morph ? deep.motionBetween(pictures) : nullptr;
            for (int k = 0; k < frames; ++k) {
                Deep out(size.width, size.height, size.gap);
                const double position = static_cast<double>(morph ? k + 1 : k) / frames;
                deep.renderFrame(position, pictures, out.target(), motion.get());
                Difference difference;
                difference.join(out, plugin.render(k));
                ASSERT_GE(difference.least, 0) << effect->id << ' ' << size.width << " frame " << k;
                ASSERT_LE(difference.most, 4) << effect->id << ' ' << size.width << " frame " << k;
                all.most = std::max(all.most, difference.most);
                ASSERT_TRUE(out.guardsIntact());
            }
        }
    }
    EXPECT_GE(all.most, 1) << "the frames of four bytes truncate";
}

TEST(DeepEffectTest, TumblesLieZeroToFourAboveTheTruncatedFrames) {
    expectAtMostFourAbove(EffectDriver::tumble, 23);
}

TEST(DeepEffectTest, MorphsLieZeroToFourAboveTheTruncatedFrames) {
    expectAtMostFourAbove(EffectDriver::morph, 10);
}

/// One channel of a bilinear reading, from its definition.
std::uint16_t channelOf(const DeepPixel& p, int channel) {
    return channel == 0 ? p.alpha : channel == 1 ? p.red : channel == 2 ? p.green : p.blue;
}
DeepPixel slowReading(const std::function<DeepPixel(int, int)>& at, int columns, int rows, float x, float y) {
    const float fx = std::floor(x), fy = std::floor(y);
    if (std::ceil(x) >= static_cast<float>(columns) || std::ceil(y) >= static_cast<float>(rows))
        return at(static_cast<int>(x), static_cast<int>(y));
    const float dx = x - fx, dy = y - fy, nx = 1.0F - dx, ny = 1.0F - dy;
    const int left = static_cast<int>(fx), right = static_cast<int>(std::ceil(x));
    const int top = static_cast<int>(fy), bottom = static_cast<int>(std::ceil(y));
    std::uint16_t sums[4];
    for (int c = 0; c < 4; ++c) {
        const auto value = [&](int px, int py) { return static_cast<float>(channelOf(at(px, py), c)); };
        const float leftSum = value(left, top) * (nx * ny) + value(left, bottom) * (nx * dy);
        const float rightSum = value(right, top) * (dx * ny) + value(right, bottom) * (dx * dy);
        sums[c] = static_cast<std::uint16_t>(leftSum + rightSum + 0.5F);
    }
    return {sums[0], sums[1], sums[2], sums[3]};
}

/// The picture with its rim painted: opaque pictures only.
Deep withRim(const Deep& picture) {
    const int w = picture.width(), h = picture.height();
    double sums[3] = {0, 0, 0};
    int count = 0;
    for (int x = 0; x < w; x += std::max(1, w / 16)) {
        for (int y = 0; y < h; y += std::max(1, h / 16), ++count)
            for (int c = 0; c < 3; ++c) sums[c] += channelOf(picture.at(x, y), c + 1);
    }
    std::uint16_t mean[3];
    for (int c = 0; c < 3; ++c) mean[c] = static_cast<std::uint16_t>(257 * std::floor(sums[c] / count / 257));
    Deep painted = picture;
    painted.fill([&](int x, int y) {
        const bool rim = x < 2 || y < 2 || x >= w - 2 || y >= h - 2;
        return rim ? DeepPixel{65535, mean[0], mean[1], mean[2]} : picture.at(x, y);
    });
    return painted;
}

/// The tumble pixel by pixel, column by column.
Deep slowTumble(const Deep& picture, const Deep& below, float factor, bool progressive) {
    const int w = picture.width(), h = picture.height(), lines = progressive ? 1 : 2, rows = h / lines;
    const Deep painted = withRim(picture);
    const reference::Corners spun =
        reference::spunCorners(reference::platesCorners(w, rows, factor), w / 2, rows / 2, factor, rows != h);
    float fromX[4], fromY[4];
    for (int i = 0; i < 4; ++i) {
        fromX[i] = static_cast<float>(spun.x[i]);
        fromY[i] = static_cast<float>(spun.y[i]);
    }
    const auto fw = static_cast<float>(w), fh = static_cast<float>(rows);
    float toX[4] = {0, fw, fw, 0}, toY[4] = {0, 0, fh, fh};
    PlanarProj pp;
    pp.solvefor(fromX, fromY, toX, toY);
    const auto [minX, maxX] = std::minmax_element(spun.x, spun.x + 4);
    const auto [minY, maxY] = std::minmax_element(spun.y, spun.y + 4);
    Deep out = below;
    for (int line = 0; line < lines; ++line) {
        const int fieldRows = (h + lines - 1 - line) / lines;
        const auto at = [&](int x, int y) {
            return x < 0 || y < 0 ? DeepPixel{} : painted.at(x, lines * y + line);
        };
        for (int x = std::max(0, *minX); x <= std::min(w - 1, *maxX); ++x) {
            for (int y = std::max(0, *minY); y <= std::min(fieldRows - 1, *maxY); ++y) {
                float sx = 0, sy = 0;
                pp.proj(static_cast<float>(x), static_cast<float>(y), sx, sy);
                if (!(std::fabs(sx) < 1.0e9F) || !(std::fabs(sy) < 1.0e9F)) continue;
                const int ix = static_cast<int>(sx), iy = static_cast<int>(sy);
                if (ix < 0 || ix >= w || iy < 0 || iy >= fieldRows) continue;
                out.set(x, lines * y + line,
                        progressive ? at(ix, iy) : slowReading(at, w, fieldRows, sx, sy));
            }
        }
    }
    return out;
}

TEST(DeepEffectTest, TumblesEqualTheSlowComposition) {
    std::mt19937 random(43);
    for (const Size& size : {Size{64, 48, 0}, Size{61, 47, 5}, Size{90, 21, 0}}) {
        for (const bool progressive : {false, true}) {
            Deep picture = noiseDeep(size.width, size.height, size.gap, random);
            picture.fill([&](int x, int y) {
                DeepPixel pixel = picture.at(x, y);
                pixel.alpha = 65535;
                return pixel;
            });
            const Deep below = noiseDeep(size.width, size.height, 0, random);
            for (int k = 0; k <= 20; ++k) {
                const float factor = static_cast<float>(k) / 20.0F;
                Deep out = below;
                tumbleDeep(picture.view(), out.target(), factor, progressive, {}, {});
                ASSERT_TRUE(out == slowTumble(picture, below, factor, progressive))
                    << size.width << 'x' << size.height << ' ' << factor << ' ' << progressive;
            }
        }
    }
}

/// One picture on its way along a motion, by the views over the field.
Deep slowMorphed(const Deep& picture, PixRectRW<RGBPixel<float>>& flow, float t) {
    const int w = picture.width(), h = picture.height();
    ContImageRef<RGBPixel<float>> image(flow, SIInterpBilinear);
    const float xs = static_cast<float>(flow.width()) / static_cast<float>(w);
    const float ys = static_cast<float>(flow.height()) / static_cast<float>((h + 1) / 2);
    SamplePixRectNC<RGBPixel<float>, RGBPixel<float>> field(image, static_cast<double>(xs),
                                                            static_cast<double>(ys), SIBestSample);
    Deep out(w, h);
    out.fill([&](int x, int line) {
        const int y = line / 2, rows = (h + 1 - line % 2) / 2;
        if (y >= h / 2) return DeepPixel{};
        const RGBPixel<float> v = field.pix(x, y);
        const float sx = t * v.getred() + static_cast<float>(x);
        const float sy = t * v.getgreen() + static_cast<float>(y);
        if (!(sx > -1.0F && sy > -1.0F && sx < static_cast<float>(w) && sy < static_cast<float>(rows)))
            return DeepPixel{};
        return slowReading(
            [&](int px, int py) {
                return px < 0 || py < 0 ? DeepPixel{} : picture.at(px, 2 * py + line % 2);
            },
            w, rows, sx, sy);
    });
    return out;
}

TEST(DeepEffectTest, MorphsEqualTheSlowComposition) {
    std::mt19937 random(44);
    const EffectRecord& effect = *findEffectRecord("morph");
    for (const Size& size : {Size{80, 64, 0}, Size{67, 83, 3}}) {
        const Deep first = noiseDeep(size.width, size.height, size.gap, random);
        Deep last(size.width, size.height);
        last.fill([&](int x, int y) {
            return first.at(std::min(x + 2, size.width - 1), std::min(y + 4, size.height - 1));
        });
        const DeepEffect deep(effect, size.width, size.height);
        const DeepMotion motion = estimateDeepMotion(first.view(), last.view(), {});
        for (int k = 1; k <= 8; ++k) {
            const double p = k / 8.0;
            Deep out(size.width, size.height, size.gap);
            deep.renderFrame(p, {first.view(), last.view()}, out.target());
            const Deep away = slowMorphed(first, *motion.forward, static_cast<float>(p));
            const Deep towards = slowMorphed(last, *motion.backward, static_cast<float>(1 - p));
            const auto level = static_cast<float>(static_cast<int>(p * 255));
            const auto blend = [&](std::uint16_t a, std::uint16_t b) {
                const float sum = static_cast<float>(b) * level + static_cast<float>(a) * (255.0F - level);
                return static_cast<std::uint16_t>(sum * (1.0F / 255.0F) + 0.5F);
            };
            Deep expected(size.width, size.height);
            expected.fill([&](int x, int y) {
                const DeepPixel a = away.at(x, y), b = towards.at(x, y);
                return DeepPixel{blend(a.alpha, b.alpha), blend(a.red, b.red), blend(a.green, b.green),
                                 blend(a.blue, b.blue)};
            });
            ASSERT_TRUE(out == expected) << size.width << ' ' << k;
        }
    }
}

TEST(DeepEffectTest, BothEndsAreThePicturesThemselves) {
    std::mt19937 random(45);
    const DeepRange narrow = {4096, 60160};
    const Deep first = noiseDeep(45, 33, 1, random), last = noiseDeep(45, 33, 0, random);
    Deep nothing(45, 33);
    nothing.fill([&](int, int) { return narrow.nothing(); });
    for (const EffectRecord& effect : effectCatalogue()) {
        const DeepEffect deep(effect, 45, 33, {}, narrow);
        const bool joins = effect.type == kPluginTransitionBetweenType;
        const bool arrives = effect.type == kPluginTransitionBeforeType;
        for (const double position : {-1.0, 0.0, 1.0, 7.0}) {
            Deep out(45, 33, 2);
            deep.render(position, {first.view(), last.view()}, out.target());
            const bool end = position >= 1;
            const Deep& expected = joins ? (end ? last : first) : (end == arrives ? first : nothing);
            EXPECT_TRUE(out == expected) << effect.id << ' ' << position;
            EXPECT_TRUE(out.guardsIntact());
        }
    }
}

TEST(DeepEffectTest, TheResultMayTakeThePlaceOfThePictureThatLiesBelow) {
    std::mt19937 random(46);
    Deep first = noiseDeep(45, 33, 1, random), last = noiseDeep(45, 33, 1, random);
    int seen = 0;
    for (const EffectRecord& effect : effectCatalogue()) {
        const DeepEffect deep(effect, 45, 33);
        const DeepPictures pictures{first.view(), last.view()};
        const DeepView* below = deep.lyingBelow(pictures);
        const bool moves = effect.driver == EffectDriver::distort || effect.driver == EffectDriver::tumble;
        EXPECT_EQ(below != nullptr, moves && effect.overnext) << effect.id;
        if (below == nullptr) continue;
        ++seen;
        Deep apart(45, 33);
        deep.render(0.4, pictures, apart.target());
        Deep both[2] = {first, last};
        Deep& over = both[below == &pictures.first ? 0 : 1];
        deep.render(0.4, {both[0].view(), both[1].view()}, over.target());
        EXPECT_TRUE(over == apart) << effect.id;
        EXPECT_TRUE(over.guardsIntact());
        EXPECT_TRUE(below == &pictures.first ? both[1] == last : both[0] == first) << effect.id;
    }
    EXPECT_EQ(seen, 6);
}

TEST(DeepEffectTest, TheSeededFieldIsThePluginsOwn) {
    for (const unsigned seed : {0U, 1U, 7U, 123456789U}) {
        for (const HYPluginDirection direction : everyDirection) {
            std::srand(seed);
            const std::unique_ptr<PixRectRW<RGBPixel<float>>> shared(makeWashAway(direction));
            const auto own = seededWashAway(direction, seed);
            for (int y = 0; y < 64; ++y) {
                for (int x = 0; x < 64; ++x) {
                    ASSERT_EQ(own->pix(x, y).getred(), shared->pix(x, y).getred());
                    ASSERT_EQ(own->pix(x, y).getgreen(), shared->pix(x, y).getgreen());
                }
            }
        }
    }
}

TEST(DeepEffectTest, ThreadsShareOneEffectAndItsMotion) {
    std::mt19937 random(46);
    const Deep first = noiseDeep(64, 48, 0, random), last = noiseDeep(64, 48, 0, random);
    const DeepPictures pictures = {first.view(), last.view()};
    for (const char* id : {"morph", "wash-away", "tilt-reveal", "tumble-away"}) {
        const DeepEffect deep(*findEffectRecord(id), 64, 48);
        const auto motion = deep.motionBetween(pictures);
        std::vector<Deep> alone, together(8, Deep(64, 48));
        for (int k = 0; k < 8; ++k) {
            alone.emplace_back(64, 48);
            deep.render(k / 8.0, pictures, alone.back().target(), motion.get());
        }
        std::vector<std::thread> threads;
        for (std::size_t k = 0; k < 8; ++k)
            threads.emplace_back([&, k] {
                deep.render(static_cast<double>(k) / 8.0, pictures, together[k].target(), motion.get());
            });
        for (std::thread& thread : threads) thread.join();
        EXPECT_TRUE(alone == together) << id;
    }
}

TEST(DeepEffectTest, OpaquePicturesStayOpaqueAndARampOfAlphaStaysMonotone) {
    const DeepRange narrow = {4096, 60160};
    Deep opaque(96, 64), ramp(96, 64);
    opaque.fill([](int x, int y) {
        return DeepPixel{65535, static_cast<std::uint16_t>(600 * x), static_cast<std::uint16_t>(900 * y), 9};
    });
    ramp.fill([](int x, int) {
        return DeepPixel{static_cast<std::uint16_t>(x * 65535 / 95), 4096, 4096, 4096};
    });
    for (const char* id : {"morph", "wash-away", "tilt-away", "tumble-away", "tumble-reveal"}) {
        const DeepEffect deep(*findEffectRecord(id), 96, 64, {}, narrow);
        for (int k = 1; k < 8; ++k) {
            Deep out(96, 64);
            deep.render(k / 8.0, {opaque.view(), opaque.view()}, out.target());
            for (int y = 0; y < 64; ++y)
                for (int x = 0; x < 96; ++x) ASSERT_EQ(out.at(x, y).alpha, 65535) << id << k;
        }
    }
    const DeepEffect morph(*findEffectRecord("morph"), 96, 64, {}, narrow);
    Deep out(96, 64);
    morph.render(0.5, {ramp.view(), ramp.view()}, out.target());
    for (int y = 0; y < 64; ++y) {
        for (int x = 1; x < 96; ++x) {
            ASSERT_GE(out.at(x, y).alpha + 2 * 257, out.at(x - 1, y).alpha) << x << ' ' << y;
            ASSERT_NEAR(out.at(x, y).alpha, ramp.at(x, y).alpha, 1);
        }
    }
}

TEST(DeepEffectTest, ATransparentPlateHasNoDarkFringesAndNoVisibleRim) {
    // A white disc on nothing: whatever is seen of it stays white, and the plate's rim is as clear as before.
    const DeepRange narrow = {4096, 60160};
    Deep disc(90, 70);
    disc.fill([&](int x, int y) {
        const int dx = x - 45, dy = y - 35;
        const int alpha = std::clamp(65535 - 3000 * (dx * dx + dy * dy - 400) / 40, 0, 65535);
        DeepPixel pixel = {static_cast<std::uint16_t>(alpha), 60160, 60160, 60160};
        weighDeepRow(reinterpret_cast<unsigned char*>(&pixel), 1, narrow);
        return pixel;
    });
    const DeepEffect deep(*findEffectRecord("tumble-out"), 90, 70, {}, narrow);
    for (int k = 1; k < 20; ++k) {
        Deep out(90, 70);
        deep.render(k / 20.0, {disc.view(), {}}, out.target());
        long seen = 0;
        for (int y = 0; y < 70; ++y) {
            unweighDeepRow(out.target().row(y), 90, narrow);
            for (int x = 0; x < 90; ++x) {
                const DeepPixel pixel = out.at(x, y);
                if (pixel.alpha < 2570) continue;
                ++seen;
                ASSERT_NEAR(pixel.red, 60160, 25) << x << ' ' << y;
                const int dx = x - 45, dy = y - 35;
                ASSERT_LT(dx * dx + dy * dy, 1300) << "a rim at " << x << ' ' << y;
            }
        }
        EXPECT_GT(seen, k < 10 ? 100 : -1) << k;
    }
}

TEST(DeepEffectTest, WhatDoesNotFitIsRefusedInWords) {
    const EffectRecord& wash = *findEffectRecord("wash-away");
    const auto refusal = [](const auto& call) -> std::string {
        try {
            call();
        } catch (const std::invalid_argument& problem) {
            return problem.what();
        }
        return "";
    };
    EXPECT_EQ(refusal([&] { DeepEffect(wash, 0, 20); }), "no picture has 0 x 20 pixels");
    EXPECT_EQ(refusal([&] { DeepEffect(wash, 65536, 65536); }), "no picture has 65536 x 65536 pixels");
    EXPECT_EQ(refusal([&] { DeepEffect(wash, 20, 20, {}, {9, 9}); }), "white is not above black");
    const DeepEffect deep(wash, 20, 20);
    Deep right(20, 20), narrow(19, 20);
    DeepView odd = right.view();
    odd.stride += 4;
    const auto render = [&](const DeepView& a, const DeepView& b, const DeepTarget& out) {
        return refusal([&] { deep.render(0.5, {a, b}, out); });
    };
    EXPECT_EQ(render(right.view(), right.view(), Deep(20, 20).target()), "");
    EXPECT_EQ(render(narrow.view(), right.view(), Deep(20, 20).target()),
              "the first picture is not one of 20 x 20 deep pixels with rows of whole pixels");
    EXPECT_NE(render(right.view(), odd, Deep(20, 20).target()).find("the second picture"), std::string::npos);
    EXPECT_NE(render(right.view(), right.view(), narrow.target()).find("the resulting picture"),
              std::string::npos);
    EXPECT_NE(render({}, right.view(), right.target()).find("the first picture"), std::string::npos);
}

TEST(DeepEffectTest, SmallestSizesRenderWithoutReadingOutside) {
    std::mt19937 random(47);
    for (int width = 1; width <= 5; ++width) {
        for (int height = 1; height <= 5; ++height) {
            const Deep first = noiseDeep(width, height, 0, random),
                       last = noiseDeep(width, height, 1, random);
            for (const EffectRecord& effect : effectCatalogue()) {
                const DeepEffect deep(effect, width, height);
                for (int k = 0; k <= 4; ++k) {
                    Deep out(width, height, 1);
                    deep.renderFrame(k / 4.0, {first.view(), last.view()}, out.target());
                    ASSERT_TRUE(out.guardsIntact()) << effect.id << ' ' << width << 'x' << height;
                }
            }
        }
    }
}

}  // namespace
}  // namespace tumblewash::effects
