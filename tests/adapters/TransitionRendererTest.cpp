#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <thread>

#include "adapters/common/Rgba.h"
#include "adapters/common/TransitionRenderer.h"
#include "host/Session.h"
#include "pluginDistort/v1/Transitions.h"
#include "tests/adapters/Scene.h"

namespace tumblewash::adapters {

using host::FrameRequest;
using host::FrameResult;
using host::FrameSource;
using host::LentFrame;
using host::PluginModule;
using host::Session;
using host::SessionSettings;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::effectRecord;
using plugin::findEffectRecord;

namespace {

using test::scene;
using test::SceneAlpha;

Canvas canvasOf(const std::vector<std::uint8_t>& rgba, int width, int height) {
    Canvas canvas(width, height);
    for (int y = 0; y < height; ++y)
        rowFromRgba(rgba.data() + static_cast<std::ptrdiff_t>(y) * width * 4, width, AlphaKind::straight,
                    canvas.row(y));
    return canvas;
}

Canvas rendered(TransitionRenderer& renderer, const EffectRecord& effect, double position, SceneAlpha alpha,
                const Knobs& knobs = {}) {
    const int w = renderer.width();
    const int h = renderer.height();
    Canvas from = canvasOf(scene(0, w, h, alpha), w, h);
    Canvas to = canvasOf(scene(1, w, h, alpha), w, h);
    Canvas out;
    renderer.render(position, knobs, from, joinsTwoClips(effect) ? &to : nullptr, out);
    return out;
}

host::Picture lent(Canvas& canvas) {
    return {canvas.row(0), std::ptrdiff_t{canvas.width()} * 4, canvas.width(), canvas.height()};
}

bool same(const Canvas& a, const Canvas& b) {
    for (int y = 0; y < a.height(); ++y)
        if (!std::equal(a.row(y), a.row(y) + 4 * a.width(), b.row(y))) return false;
    return a.width() == b.width() && a.height() == b.height();
}

class EveryEffect : public testing::TestWithParam<int> {
  protected:
    const EffectRecord& effect = effectRecord(static_cast<short>(GetParam()));
};
INSTANTIATE_TEST_SUITE_P(Catalogue, EveryEffect, testing::Range(1, 14));

TEST(PhaseTest, EndsAreExactAndNonsenseIsFirst) {
    EXPECT_EQ(phaseOf(0), Phase::first);
    EXPECT_EQ(phaseOf(-1e30), Phase::first);
    EXPECT_EQ(phaseOf(std::numeric_limits<double>::quiet_NaN()), Phase::first);
    EXPECT_EQ(phaseOf(1), Phase::last);
    EXPECT_EQ(phaseOf(std::numeric_limits<double>::infinity()), Phase::last);
    EXPECT_EQ(phaseOf(std::nextafter(1.0, 0.0)), Phase::between);
    EXPECT_EQ(phaseOf(std::numeric_limits<double>::denorm_min()), Phase::between);
}

TEST_P(EveryEffect, OpaqueClipsGiveAnOpaqueResult) {
    if (!joinsTwoClips(effect)) return;
    TransitionRenderer renderer(effect, 96, 64);
    for (const double position : {1e-12, 0.25, 0.5, 0.75, 1 - 1e-12}) {
        const Canvas out = rendered(renderer, effect, position, SceneAlpha::opaque);
        std::vector<std::uint8_t> rgba(96 * 4);
        for (int y = 0; y < 64; ++y) {
            rowToRgba(out.row(y), 96, kindFor(out, AlphaKind::straight), rgba.data());
            for (std::size_t x = 0; x < 96; ++x)
                ASSERT_EQ(rgba[4 * x + 3], 255) << effect.id << " at " << position;
        }
    }
}

// Opaque pictures take a shorter way: with one pixel that is not, the rest must look the same.
TEST_P(EveryEffect, TheWayWithoutMattesGivesTheSamePixels) {
    if (effect.driver == EffectDriver::morph) return;  // the one pixel would move what is matched
    for (const int h : {64, 65}) {
        TransitionRenderer renderer(effect, 96, h);
        Canvas from = canvasOf(scene(0, 96, h), 96, h);
        Canvas to = canvasOf(scene(1, 96, h), 96, h);
        Canvas* second = joinsTwoClips(effect) ? &to : nullptr;
        Canvas shorter, longer;
        renderer.render(0.375, {}, from, second, shorter);
        from = canvasOf(scene(0, 96, h), 96, h);
        to = canvasOf(scene(1, 96, h), 96, h);
        from.row(2)[4 * 50] = 254;
        renderer.render(0.375, {}, from, second, longer);
        int same = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < 96; ++x)
                same += std::equal(shorter.row(y) + 4 * x + 1, shorter.row(y) + 4 * x + 4,
                                   longer.row(y) + 4 * x + 1) &&
                        (shorter.opaque() || shorter.row(y)[4 * x] == longer.row(y)[4 * x]);
        // The odd pixel itself, twice in a tumble's neighbourhood, and the row that an odd height lacks.
        EXPECT_GE(same, 96 * h - 8 - (h % 2) * 96) << effect.id;
    }
}

TEST_P(EveryEffect, ColoursNeverExceedAlpha) {
    TransitionRenderer renderer(effect, 90, 61);
    for (const auto alpha : {SceneAlpha::opaque, SceneAlpha::cutOut, SceneAlpha::soft}) {
        const Canvas out = rendered(renderer, effect, 0.375, alpha);
        if (out.opaque()) continue;  // alpha bytes do not count then
        for (int y = 0; y < 61; ++y) {
            for (int x = 0; x < 90; ++x) {
                const std::uint8_t* p = out.row(y) + 4 * x;
                ASSERT_LE(p[1], p[0]) << effect.id;
                ASSERT_LE(p[2], p[0]) << effect.id;
                ASSERT_LE(p[3], p[0]) << effect.id;
            }
        }
    }
}

// Four truncated shares of a full alpha come to one to three less, which must not show.
TEST_P(EveryEffect, WhatIsOpaqueStaysOpaqueWhereItIsInterpolated) {
    if (effect.driver == EffectDriver::distort) return;
    TransitionRenderer renderer(effect, 90, 61);
    for (const double position : {0.2, 0.375, 0.7}) {
        const Canvas out = rendered(renderer, effect, position, SceneAlpha::cutOut);
        int opaque = 0, nearly = 0;
        for (int y = 0; y < 61; ++y)
            for (int x = 0; x < 90; ++x) {
                const int alpha = out.row(y)[4 * x];
                opaque += alpha == 255 ? 1 : 0;
                nearly += alpha >= 252 && alpha < 255 ? 1 : 0;
            }
        EXPECT_GT(opaque, 50) << effect.id << " at " << position;
        EXPECT_EQ(nearly, 0) << effect.id << " at " << position;
    }
}

TEST_P(EveryEffect, ASingleClipUncoversNothingness) {
    if (joinsTwoClips(effect)) return;
    TransitionRenderer renderer(effect, 128, 96);
    const double nearlyGone = pictureArrives(effect) ? 0.1 : 0.9;
    const Canvas out = rendered(renderer, effect, nearlyGone, SceneAlpha::opaque);
    int clear = 0;
    for (int y = 0; y < 96; ++y) {
        for (int x = 0; x < 128; ++x) {
            const std::uint8_t* p = out.row(y) + 4 * x;
            if (p[0] != 0) continue;
            ++clear;
            ASSERT_EQ(p[1] + p[2] + p[3], 0);
        }
    }
    EXPECT_GT(clear, 128 * 96 / 2) << effect.id;
}

TEST_P(EveryEffect, FramesDependOnNothingThatCameBefore) {
    TransitionRenderer inOrder(effect, 80, 48);
    TransitionRenderer backwards(effect, 80, 48);
    std::vector<Canvas> first, second;
    const std::vector<double> positions{0.1, 0.3, 0.5, 0.7, 0.9};
    for (const double p : positions) first.push_back(rendered(inOrder, effect, p, SceneAlpha::soft));
    for (auto p = positions.rbegin(); p != positions.rend(); ++p)
        second.push_back(rendered(backwards, effect, *p, SceneAlpha::soft));
    for (std::size_t i = 0; i < positions.size(); ++i)
        EXPECT_TRUE(same(first[i], second[positions.size() - 1 - i])) << effect.id << " at " << positions[i];
}

TEST_P(EveryEffect, PixelsAreTheSessionsOwn) {
    TransitionRenderer renderer(effect, 96, 64);
    Canvas from = canvasOf(scene(0, 96, 64), 96, 64);
    Canvas to = canvasOf(scene(1, 96, 64), 96, 64);
    Canvas expected(96, 64);

    struct Source final : FrameSource {
        Canvas *from = nullptr, *to = nullptr;
        LentFrame lend(const FrameRequest& request) override {
            LentFrame frame;
            const bool second = request.number >= 4 || (morph && request.number == 3);
            frame.picture = lent(*(second ? to : from));
            return frame;
        }
        void giveBack(const LentFrame&) noexcept override {}
        bool morph = false;
    } source;
    source.from = &from;
    source.to = &to;
    source.morph = effect.driver == EffectDriver::morph;
    SessionSettings settings;
    settings.effect = effect.index;
    settings.width = 96;
    settings.height = 64;
    settings.frameCount = 4;
    Session session(PluginModule(HYPluginEntry), settings, source);
    session.open();
    // A quarter of the way: the morph counts from one.
    const FrameResult result = session.renderFrame(source.morph ? 0 : 1, lent(expected));
    ASSERT_TRUE(result.ok()) << result.problem;

    const Canvas out = rendered(renderer, effect, 0.25, SceneAlpha::opaque);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 96; ++x)
            for (int c = 1; c < 4; ++c)
                ASSERT_EQ(out.row(y)[4 * x + c], expected.row(y)[4 * x + c])
                    << effect.id << ' ' << x << ',' << y;
}

TEST_P(EveryEffect, ThreadsShareARenderer) {
    TransitionRenderer renderer(effect, 64, 48);
    const Canvas expected = rendered(renderer, effect, 0.6, SceneAlpha::cutOut);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 4; ++i)
                if (!same(expected, rendered(renderer, effect, 0.6, SceneAlpha::cutOut))) ++wrong;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

// A hard-edged white cut-out over nothing: wherever anything is left of it, it is still white.
TEST_P(EveryEffect, CutOutsHaveNoDarkFringe) {
    const int w = 120;
    const int h = 80;
    auto white = [&](int) {
        auto rgba = scene(0, w, h, SceneAlpha::cutOut);
        for (std::size_t i = 0; i < rgba.size(); ++i)
            if (i % 4 != 3) rgba[i] = 255;
        return canvasOf(rgba, w, h);
    };
    // The tumbling plate wears a rim of the average colour by design, which is not the picture's white.
    if (effect.driver == EffectDriver::tumble) return;
    TransitionRenderer renderer(effect, w, h);
    Canvas from = white(0);
    Canvas to = white(1);
    Canvas out;
    renderer.render(0.4, {}, from, joinsTwoClips(effect) ? &to : nullptr, out);
    int shown = 0;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const std::uint8_t* p = out.row(y) + 4 * x;
            if (p[0] < 16) continue;
            ++shown;
            ASSERT_GE(straight(p[1], p[0]), 251) << effect.id << ' ' << x << ',' << y;
        }
    }
    EXPECT_GT(shown, 100) << effect.id;
}

TEST(TransitionRendererTest, DirectionAndSeedChangeTheWash) {
    const EffectRecord& effect = *findEffectRecord("wash-away");
    TransitionRenderer renderer(effect, 96, 64);
    const Canvas right = rendered(renderer, effect, 0.3, SceneAlpha::opaque, {kPluginDirectionRight, 1});
    const Canvas up = rendered(renderer, effect, 0.3, SceneAlpha::opaque, {kPluginDirectionUp, 1});
    const Canvas other = rendered(renderer, effect, 0.3, SceneAlpha::opaque, {kPluginDirectionRight, 2});
    const Canvas again = rendered(renderer, effect, 0.3, SceneAlpha::opaque, {kPluginDirectionRight, 1});
    EXPECT_FALSE(same(right, up));
    EXPECT_FALSE(same(right, other));
    EXPECT_TRUE(same(right, again));
}

// Hosts' programs draw random numbers of their own, on other threads, at any time.
TEST(TransitionRendererTest, ForeignRandomNumbersDoNotMoveTheField) {
    const EffectRecord& effect = *findEffectRecord("wash-away");
    TransitionRenderer quiet(effect, 64, 48);
    const Canvas expected = rendered(quiet, effect, 0.4, SceneAlpha::opaque);
    const std::jthread foreign([](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            if (rand() % 97 == 0) srand(5);
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
    });
    for (int i = 0; i < 50; ++i) {
        TransitionRenderer renderer(effect, 64, 48);
        EXPECT_TRUE(same(expected, rendered(renderer, effect, 0.4, SceneAlpha::opaque)));
    }
}

TEST_P(EveryEffect, TinySizesAreDissolved) {
    const bool two = joinsTwoClips(effect);
    for (const auto& [w, h] : {std::pair{1, 1}, {15, 64}, {64, 15}}) {
        TransitionRenderer renderer(effect, w, h);
        EXPECT_NE(renderer.note(), "");
        Canvas from(w, h), to(w, h), out;
        std::mt19937 random(6);
        for (Canvas* canvas : {&from, &to})
            for (int y = 0; y < h; ++y)
                for (int i = 0; i < 4 * w; ++i) canvas->row(y)[i] = static_cast<std::uint8_t>(random() >> 24);
        for (const int level : {0, 1, 77, 128, 254, 255}) {
            renderer.render(level / 255.0, {}, from, two ? &to : nullptr, out);
            // The nearest byte to the mean of both by their weights of 255ths.
            for (int y = 0; y < h; ++y) {
                for (int i = 0; i < 4 * w; ++i) {
                    const int arriving = two ? to.row(y)[i] : 0;
                    const int weight = pictureArrives(effect) ? level : 255 - level;
                    const double exact = (from.row(y)[i] * weight + arriving * level) / 255.0;
                    ASSERT_EQ(out.row(y)[i], static_cast<int>(std::floor(exact + 0.5))) << level;
                }
            }
        }
    }
    TransitionRenderer fine(effect, 16, 16);
    EXPECT_EQ(fine.note(), "");
    EXPECT_EQ(rendered(fine, effect, 0.5, SceneAlpha::opaque).width(), 16);
    // Wider than any world of the platform.
    TransitionRenderer wide(effect, 4100, 16);
    EXPECT_EQ(wide.note(), "");
    EXPECT_EQ(rendered(wide, effect, 0.5, SceneAlpha::opaque).width(), 4100);
}

TEST(TransitionRendererTest, ThePlainCutChangesInTheMiddle) {
    const EffectRecord& cut = effectRecord(0);
    TransitionRenderer renderer(cut, 32, 32);
    EXPECT_TRUE(same(rendered(renderer, cut, 0.49, SceneAlpha::opaque), canvasOf(scene(0, 32, 32), 32, 32)));
    EXPECT_TRUE(same(rendered(renderer, cut, 0.5, SceneAlpha::opaque), canvasOf(scene(1, 32, 32), 32, 32)));
}

TEST(RgbaTest, OpaqueAndClearRoundTripExactly) {
    for (int c = 0; c < 256; ++c) {
        const std::uint8_t in[4] = {static_cast<std::uint8_t>(c), static_cast<std::uint8_t>(255 - c), 7, 255};
        std::uint8_t argb[4], out[4];
        rowFromRgba(in, 1, AlphaKind::straight, argb);
        rowToRgba(argb, 1, AlphaKind::straight, out);
        EXPECT_TRUE(std::equal(in, in + 4, out));
    }
}

TEST(RgbaTest, WordOperationsEqualTheBytesOneByOne) {
    for (const auto kind : {AlphaKind::straight, AlphaKind::premultiplied, AlphaKind::opaque}) {
        for (int count = 0; count < 70; ++count) {
            for (const bool opaque : {true, false}) {
                std::vector<std::uint8_t> rgba(static_cast<std::size_t>(count) * 4);
                for (std::size_t i = 0; i < rgba.size(); ++i)
                    rgba[i] = static_cast<std::uint8_t>(opaque && i % 4 == 3 ? 255 : i * 37 + 11);
                std::vector<std::uint8_t> argb(rgba.size() + 1, 0x5A), back(rgba.size() + 1, 0x5A);
                const bool full = rowFromRgba(rgba.data(), count, kind, argb.data());
                EXPECT_EQ(full, opaque || kind == AlphaKind::opaque || count == 0);
                rowToRgba(argb.data(), count, kind, back.data());
                for (std::size_t i = 0; i < rgba.size(); i += 4) {
                    const unsigned a = kind == AlphaKind::opaque ? 255 : rgba[i + 3];
                    ASSERT_EQ(argb[i], a);
                    ASSERT_EQ(back[i + 3], a);
                    for (std::size_t c = 0; c < 3; ++c) {
                        const std::uint8_t in = rgba[i + c];
                        const unsigned pre = kind == AlphaKind::straight        ? premultiplied(in, a)
                                             : kind == AlphaKind::premultiplied ? std::min<unsigned>(in, a)
                                                                                : in;
                        ASSERT_EQ(argb[i + 1 + c], pre);
                        ASSERT_EQ(back[i + c], kind == AlphaKind::straight ? straight(pre, a) : pre);
                    }
                }
                EXPECT_EQ(argb.back(), 0x5A);
                EXPECT_EQ(back.back(), 0x5A);
            }
        }
    }
}

TEST(RgbaTest, StraightColourSurvivesWithinAlphasPrecision) {
    for (int a = 1; a < 256; ++a) {
        for (int c = 0; c < 256; c += 5) {
            const std::uint8_t pre = premultiplied(static_cast<unsigned>(c), static_cast<unsigned>(a));
            EXPECT_EQ(pre, static_cast<int>(std::lround(c * a / 255.0)));
            EXPECT_LE(std::abs(straight(pre, static_cast<unsigned>(a)) - c), 255 / (2 * a) + 1);
        }
    }
}

}  // namespace
}  // namespace tumblewash::adapters
