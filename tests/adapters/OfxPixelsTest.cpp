// The pixels that the OpenFX plug-ins write: the renderer's own in every depth, layout, size and kind of
// alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "adapters/common/Rgba.h"
#include "adapters/common/TransitionRenderer.h"
#include "effects/DeepEffect.h"
#include "tests/adapters/OfxPictures.h"
#include "tests/adapters/OfxTestHost.h"
#include "tests/adapters/Scene.h"

namespace tumblewash::test {

using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::effectRecord;

namespace {

using adapters::AlphaKind;
using adapters::Canvas;
using adapters::joinsTwoClips;
using adapters::pictureArrives;
using namespace ofx;

// The renderer's own answer for two opaque scenes, as bytes red, green, blue, alpha.
std::vector<std::uint8_t> expectedBytes(const EffectRecord& effect, double position, int w, int h) {
    const auto canvasOf = [&](int which) {
        const auto rgba = scene(which, w, h);
        Canvas canvas(w, h);
        for (int y = 0; y < h; ++y)
            adapters::rowFromRgba(rgba.data() + static_cast<std::ptrdiff_t>(y) * w * 4, w,
                                  AlphaKind::straight, canvas.row(y));
        return canvas;
    };
    Canvas from = canvasOf(0);
    Canvas to = canvasOf(1);
    Canvas out;
    adapters::TransitionRenderer renderer(effect, w, h);
    renderer.render(position, {}, from, joinsTwoClips(effect) ? &to : nullptr, out);
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
    for (int y = 0; y < h; ++y)
        adapters::rowToRgba(out.row(y), w, adapters::kindFor(out, AlphaKind::straight),
                            rgba.data() + static_cast<std::ptrdiff_t>(y) * w * 4);
    return rgba;
}

/// The images of two scenes over deep pixels, straight from the effect.
std::vector<std::uint16_t> expectedDeep(const EffectRecord& effect, double position, const TestImage& from,
                                        const TestImage& to) {
    const int w = from.width(), h = from.height();
    const auto words = [&](const TestImage& image) {
        std::vector<std::uint16_t> made;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                std::uint16_t rgba[4];
                std::memcpy(rgba, image.fromTop(x, y), 8);
                made.insert(made.end(), {rgba[3], rgba[0], rgba[1], rgba[2]});
            }
        return made;
    };
    const std::vector<std::uint16_t> a = words(from), b = words(to);
    std::vector<std::uint16_t> out(a.size());
    effects::DeepEffect(effect, w, h)
        .render(position, {{a.data(), w * 8, w, h}, {b.data(), w * 8, w, h}, false},
                {out.data(), w * 8, w, h});
    return out;
}

TEST_P(EveryPlugin, EndsAreOnePictureBitForBit) {
    for (const char* depth : {kDepthByte, kDepthShort, kDepthFloat}) {
        OfxTestHost host(kBundle);
        host.bringUp(index, contextFor(effect));
        TestImage from = TestImage::make(40, 24, depth);
        TestImage to = TestImage::make(40, 24, depth, true, 12);
        fill(from, scene(0, 40, 24, SceneAlpha::soft));
        fill(to, scene(1, 40, 24, SceneAlpha::soft));
        // What hosts say of alpha does not count here.
        from.alpha = kImagePreMultiplied;
        to.alpha = kImageOpaque;
        for (const double position : {0.0, 1.0}) {
            TestImage out = TestImage::make(40, 24, depth);
            ASSERT_EQ(host.render(index, position, &from, &to, out), kOK);
            std::string clip;
            const OfxStatus identity = host.identity(index, position, clip);
            const bool first = position < 0.5;
            const bool nothing = !joinsTwoClips(effect) && first == pictureArrives(effect);
            EXPECT_EQ(identity, nothing ? kReplyDefault : kOK);
            if (!nothing) {
                EXPECT_EQ(clip, !joinsTwoClips(effect) ? "Source" : first ? "SourceFrom" : "SourceTo");
            }
            const TestImage& shown = first || !joinsTwoClips(effect) ? from : to;
            for (int y = 0; y < 24; ++y) {
                for (int x = 0; x < 40; ++x) {
                    if (nothing) {
                        ASSERT_EQ(bytesAt(out, x, y), (std::array<int, 4>{}));
                    } else {
                        ASSERT_EQ(std::memcmp(out.fromTop(x, y), shown.fromTop(x, y),
                                              static_cast<std::size_t>(out.pixelBytes())),
                                  0)
                            << effect.id << ' ' << depth << ' ' << x << ',' << y;
                    }
                }
            }
        }
        EXPECT_EQ(host.imagesOut, 0);
        host.takeDown(index);
    }
}

TEST_P(EveryPlugin, PixelsAreTheRenderersInEveryDepthAndLayout) {
    const int w = 48;
    const int h = 32;
    const auto expected = expectedBytes(effect, 0.375, w, h);
    for (const char* depth : {kDepthByte, kDepthShort, kDepthFloat}) {
        for (const bool topDown : {false, true}) {
            OfxTestHost host(kBundle);
            host.bringUp(index, contextFor(effect));
            TestImage from = TestImage::make(w, h, depth, topDown, 16);
            TestImage to = TestImage::make(w, h, depth, !topDown);
            TestImage out = TestImage::make(w, h, depth, topDown, 8);
            fill(from, scene(0, w, h));
            fill(to, scene(1, w, h));
            ASSERT_EQ(host.render(index, 0.375, &from, &to, out), kOK);
            if (depth == std::string(kDepthShort) && index != 0) {
                const std::vector<std::uint16_t> deep = expectedDeep(effect, 0.375, from, to);
                for (int y = 0; y < h; ++y) {
                    for (int x = 0; x < w; ++x) {
                        const std::uint16_t* p = deep.data() + (y * w + x) * 4;
                        std::uint16_t rgba[4];
                        std::memcpy(rgba, out.fromTop(x, y), 8);
                        ASSERT_EQ(rgba[3], p[0]) << effect.id << ' ' << x << ',' << y;
                        // Straight colours come from weighed ones.
                        for (std::size_t c = 0; c < 3; ++c) {
                            if (p[0] == 0) {
                                ASSERT_EQ(rgba[c], 0);
                            } else {
                                ASSERT_NEAR(rgba[c], p[c + 1] * 65535.0 / p[0], 65535.0 / p[0] + 0.51)
                                    << effect.id << ' ' << x << ',' << y;
                            }
                        }
                    }
                }
            }
            // Deep pixels are rounded once where bytes truncate four times, and count in finer steps.
            const bool exact =
                depth == std::string(kDepthByte) || effect.driver == EffectDriver::distort || index == 0;
            for (int y = 0; exact && y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    const std::uint8_t* p = expected.data() + (y * w + x) * 4;
                    ASSERT_EQ(bytesAt(out, x, y), (std::array<int, 4>{p[0], p[1], p[2], p[3]}))
                        << effect.id << ' ' << depth << ' ' << x << ',' << y;
                }
            }
            // The gap after each row is the host's.
            const auto rowBytes = static_cast<std::size_t>(std::abs(out.rowBytes));
            for (std::size_t row = 0; row < static_cast<std::size_t>(h); ++row)
                for (std::size_t i = rowBytes - 8; i < rowBytes; ++i)
                    ASSERT_EQ(out.memory[row * rowBytes + i], 0xA5);
            EXPECT_EQ(host.imagesOut, 0);
            host.takeDown(index);
        }
    }
}

// A host may ask for bytes of deep pictures.
TEST(OfxDepthTest, DeepPicturesAreRoundedToTheNearestByte) {
    const int index = plugin::findEffectRecord("wash-away")->index;
    for (const char* depth : {kDepthShort, kDepthFloat}) {
        OfxTestHost host(kBundle);
        host.bringUp(index, kContextTransition);
        TestImage from = TestImage::make(48, 32, depth, false);
        TestImage to = TestImage::make(48, 32, depth, false);
        TestImage out = TestImage::make(48, 32);
        for (TestImage* image : {&from, &to})
            for (int y = 0; y < 32; ++y)
                for (int x = 0; x < 48; ++x)
                    for (int c = 0; c < 4; ++c) {
                        // 100.7 of 255, and nearly opaque: 254.6.
                        const std::uint16_t wide = c < 3 ? 25880 : 65432;
                        const float real = c < 3 ? 0.3949F : 0.99844F;
                        if (image->depth == kDepthShort) std::memcpy(image->fromTop(x, y) + 2 * c, &wide, 2);
                        if (image->depth == kDepthFloat) std::memcpy(image->fromTop(x, y) + 4 * c, &real, 4);
                    }
        ASSERT_EQ(host.render(index, 0.375, &from, &to, out), kOK);
        EXPECT_EQ(bytesAt(out, 30, 20), (std::array<int, 4>{101, 101, 101, 255})) << depth;
        host.takeDown(index);
    }
}

TEST_P(EveryPlugin, OnlyTheRenderWindowIsWritten) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    auto [from, to, whole] = TwoScenes(48, 32);
    TestImage part = TestImage::make(48, 32);
    const OfxRectI window{5, 7, 30, 20};
    for (const double position : {0.0, 0.5, 1.0}) {
        std::fill(part.memory.begin(), part.memory.end(), std::uint8_t{0xA5});
        ASSERT_EQ(host.render(index, position, &from, &to, whole), kOK);
        ASSERT_EQ(host.render(index, position, &from, &to, part, &window), kOK);
        for (int y = 0; y < 32; ++y) {
            for (int x = 0; x < 48; ++x) {
                const int up = 31 - y;
                const bool inside = x >= 5 && x < 30 && up >= 7 && up < 20;
                const auto expected =
                    inside ? bytesAt(whole, x, y) : std::array<int, 4>{0xA5, 0xA5, 0xA5, 0xA5};
                ASSERT_EQ(bytesAt(part, x, y), expected) << x << ',' << y;
            }
        }
    }
    host.takeDown(index);
}

// A clip smaller than the result lies where it lies, and nothing lies beside it.
TEST_P(EveryPlugin, ClipsOfOtherSizesKeepTheirPlace) {
    OfxTestHost host(kBundle);
    host.bringUp(index, kContextGeneral);
    TestImage from = TestImage::make(40, 24), to = TestImage::make(64, 48), out = TestImage::make(64, 48);
    from.bounds = {12, 8, 52, 32};
    fill(from, scene(0, 40, 24));
    fill(to, scene(1, 64, 48));
    const double end = pictureArrives(effect) ? 1.0 : 0.0;
    ASSERT_EQ(host.render(index, end, &from, &to, out), kOK);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            const bool inside = x >= 12 && x < 52 && y >= 16 && y < 40;
            ASSERT_EQ(bytesAt(out, x, y), inside ? bytesAt(from, x - 12, y - 16) : (std::array<int, 4>{}))
                << x << ',' << y;
        }
    }
    ASSERT_EQ(host.render(index, 0.5, &from, &to, out), kOK);
    host.takeDown(index);
}

TEST_P(EveryPlugin, FloatKeepsWhatLiesBeyondWhite) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    TestImage from = TestImage::make(32, 32, kDepthFloat), to = TestImage::make(32, 32, kDepthFloat),
              out = TestImage::make(32, 32, kDepthFloat);
    constexpr float beyond[4] = {1.05F, 1.02F, -0.03F, 1.0F};
    for (TestImage* image : {&from, &to})
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x) std::memcpy(image->fromTop(x, y), beyond, sizeof beyond);
    ASSERT_EQ(host.render(index, pictureArrives(effect) ? 0.6 : 0.4, &from, &to, out), kOK);
    int kept = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            float pixel[4];
            std::memcpy(pixel, out.fromTop(x, y), sizeof pixel);
            kept += std::abs(pixel[0] - 1.05F) < 1e-4F && std::abs(pixel[2] + 0.03F) < 1e-4F;
        }
    EXPECT_GT(kept, 32) << effect.id;
    host.takeDown(index);
}

// A white disc with a hard edge over nothing: whatever is left of it is white, with either meaning of alpha.
TEST_P(EveryPlugin, CutOutsHaveNoDarkFringe) {
    if (effect.driver == EffectDriver::tumble) return;  // its plate wears a rim of the average colour
    const int w = 131;
    const int h = 77;
    for (const char* alpha : {kImagePreMultiplied, kImageUnPreMultiplied}) {
        OfxTestHost host(kBundle);
        host.bringUp(index, contextFor(effect));
        TwoScenes images(w, h);
        images.setAlpha(alpha);
        auto& [from, to, out] = images;
        auto disc = [&](int which) {
            auto rgba = scene(which, w, h, SceneAlpha::cutOut);
            for (std::size_t i = 0; i < rgba.size(); ++i)
                if (i % 4 != 3) rgba[i] = rgba[i | 3] != 0 ? 255 : 0;
            return rgba;
        };
        fill(from, disc(0));
        fill(to, disc(1));
        ASSERT_EQ(host.render(index, pictureArrives(effect) ? 0.75 : 0.4, &from, &to, out), kOK);
        int shown = 0;
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const auto p = bytesAt(out, x, y);
                if (p[3] < 16) continue;
                ++shown;
                const int full = alpha == std::string(kImagePreMultiplied) ? p[3] : 255;
                for (std::size_t c = 0; c < 3; ++c)
                    ASSERT_GE(p[c], full - 4) << effect.id << ' ' << x << ',' << y;
            }
        }
        EXPECT_GT(shown, 100) << effect.id;
        host.takeDown(index);
    }
}

TEST_P(EveryPlugin, EverySizeFromOnePixelOn) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    for (const auto& [w, h] :
         {std::pair{1, 1}, {1, 40}, {15, 200}, {16, 16}, {17, 31}, {4095, 17}, {4096, 17}}) {
        auto [from, to, out] = TwoScenes(w, h);
        std::fill(out.memory.begin(), out.memory.end(), std::uint8_t{0xA5});
        ASSERT_EQ(host.render(index, 0.5, &from, &to, out), kOK) << w << " x " << h;
        EXPECT_NE(out.memory, std::vector<std::uint8_t>(out.memory.size(), 0xA5));
    }
    EXPECT_EQ(host.imagesOut, 0);
    host.takeDown(index);
}

TEST_P(EveryPlugin, PremultipliedPicturesStayPremultiplied) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    TwoScenes images(64, 48);
    images.setAlpha(kImagePreMultiplied);
    auto& [from, to, out] = images;
    auto premultiply = [](std::vector<std::uint8_t> rgba) {
        for (std::size_t i = 0; i < rgba.size(); i += 4)
            for (std::size_t c = 0; c < 3; ++c)
                rgba[i + c] = adapters::premultiplied(rgba[i + c], rgba[i + 3]);
        return rgba;
    };
    fill(from, premultiply(scene(0, 64, 48, SceneAlpha::soft)));
    fill(to, premultiply(scene(1, 64, 48, SceneAlpha::soft)));
    ASSERT_EQ(host.render(index, 0.4, &from, &to, out), kOK);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            const auto p = bytesAt(out, x, y);
            for (std::size_t c = 0; c < 3; ++c) ASSERT_LE(p[c], p[3]);
        }
    }
    host.takeDown(index);
}

}  // namespace
}  // namespace tumblewash::test
