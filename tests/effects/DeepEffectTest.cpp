// Effects over deep pixels against the plug-in's own frames and against slow compositions of their own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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
using test::noiseDeep;
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

}  // namespace
}  // namespace tumblewash::effects
