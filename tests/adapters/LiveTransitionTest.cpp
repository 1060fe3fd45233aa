#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <new>
#include <stdexcept>
#include <vector>

#include "adapters/common/Rgba.h"
#include "adapters/obs/LiveTransition.h"
#include "tests/adapters/Scene.h"

namespace tumblewash::adapters {

using plugin::effectCatalogue;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::findEffectRecord;

namespace {

using test::scene;
using test::SceneAlpha;
using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

LivePicture live(const Bytes& rgba, int width = kWidth) {
    return {rgba.data(), static_cast<std::size_t>(width) * 4};
}

Bytes bytesOf(const Canvas& canvas) {
    return {canvas.row(0), canvas.row(0) + std::ptrdiff_t{canvas.width()} * 4 * canvas.height()};
}

// Only a thread that never ends lets this fail.
const Canvas* awaited(LiveTransition& transition) {
    const auto last = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (std::chrono::steady_clock::now() < last) {
        if (const Canvas* picture = transition.take()) return picture;
        std::this_thread::yield();
    }
    throw std::runtime_error("no picture was finished");
}

Bytes shownAt(LiveTransition& transition, double position, const Bytes& a, const Bytes& b,
              const Knobs& knobs = {}) {
    EXPECT_TRUE(transition.submit({position, 0, 0}, knobs, kWidth, kHeight, live(a), live(b)));
    return bytesOf(*awaited(transition));
}

Bytes renderedAt(const EffectRecord& effect, double position, const Bytes& a, const Bytes& b,
                 const Knobs& knobs) {
    Canvas from(kWidth, kHeight), to(kWidth, kHeight), out;
    bool opaque = true;
    for (int y = 0; y < kHeight; ++y) {
        opaque &= rowFromRgba(a.data() + std::ptrdiff_t{y} * kWidth * 4, kWidth, AlphaKind::premultiplied,
                              from.row(y));
        opaque &= rowFromRgba(b.data() + std::ptrdiff_t{y} * kWidth * 4, kWidth, AlphaKind::premultiplied,
                              to.row(y));
    }
    from.setOpaque(opaque);
    to.setOpaque(opaque);
    TransitionRenderer(effect, kWidth, kHeight).render(position, knobs, from, &to, out);
    for (int y = 0; y < kHeight; ++y)
        rowToRgbaInPlace(out.row(y), kWidth, kindFor(out, AlphaKind::premultiplied));
    return bytesOf(out);
}

// Colours that do not exceed alpha, as hosts hand them over.
Bytes premultipliedScene(int which, SceneAlpha alpha) {
    Bytes rgba = scene(which, kWidth, kHeight, alpha);
    for (std::size_t i = 0; i < rgba.size(); i += 4)
        for (std::size_t c = 0; c < 3; ++c) rgba[i + c] = premultiplied(rgba[i + c], rgba[i + 3]);
    return rgba;
}

// Hands out the first scene and notes what it was asked for; waits where a gate is set.
struct Recorder {
    std::vector<double> positions;
    std::shared_future<void> gate;
    LiveTransition::Render render() {
        return [this](double position, const Knobs&, const Canvas& from, const Canvas&, Canvas& out) {
            if (gate.valid()) gate.wait();
            positions.push_back(position);
            out = from;
        };
    }
};

}  // namespace

TEST(LiveTransitionTest, PicturesAreTheRenderersAndEndsTheScenes) {
    for (const SceneAlpha alpha : {SceneAlpha::opaque, SceneAlpha::soft}) {
        const Bytes a = premultipliedScene(0, alpha);
        const Bytes b = premultipliedScene(1, alpha);
        int tried = 0;
        for (const EffectRecord& effect : effectCatalogue()) {
            if (effect.driver == EffectDriver::none || !joinsTwoClips(effect)) continue;
            ++tried;
            LiveTransition transition(effect);
            const Knobs knobs{kPluginDirectionUp, 7};
            EXPECT_EQ(shownAt(transition, 0, a, b, knobs), a) << effect.id;
            EXPECT_EQ(shownAt(transition, 0.4, a, b, knobs), renderedAt(effect, 0.4, a, b, knobs))
                << effect.id;
            EXPECT_EQ(shownAt(transition, 1, a, b, knobs), b) << effect.id;
        }
        EXPECT_EQ(tried, 7);
    }
}

TEST(LiveTransitionTest, SizesMayChangeFromPictureToPicture) {
    LiveTransition transition(*findEffectRecord("tumble-away"));
    for (const int width : {64, 80, 64}) {
        const Bytes a = scene(0, width, kHeight), b = scene(1, width, kHeight);
        ASSERT_TRUE(transition.submit({0.5, 0, 0}, {}, width, kHeight, live(a, width), live(b, width)));
        const Canvas* picture = awaited(transition);
        EXPECT_EQ(picture->width(), width);
        EXPECT_EQ(picture->height(), kHeight);
    }
}

TEST(LiveTransitionTest, SceneThatIsNotThereIsTransparent) {
    LiveTransition transition(*findEffectRecord("wash-away"));
    const Bytes b = scene(1, kWidth, kHeight);
    ASSERT_TRUE(transition.submit({0, 0, 0}, {}, kWidth, kHeight, {}, live(b)));
    EXPECT_EQ(bytesOf(*awaited(transition)), Bytes(b.size(), 0));
    ASSERT_TRUE(transition.submit({0.5, 0, 0}, {}, kWidth, kHeight, {}, live(b)));
    EXPECT_NE(bytesOf(*awaited(transition)), Bytes(b.size(), 0));
}

TEST(LiveTransitionTest, PositionThatMovesEvenlyIsAskedForAhead) {
    Recorder recorder;
    LiveTransition transition(recorder.render());
    EXPECT_EQ(transition.frame(0.125).position, 0.125);
    EXPECT_EQ(transition.frame(0.125).position, 0.125);
    EXPECT_EQ(transition.frame(0.25).position, 0.5);       // two frames from the scenes to the picture
    EXPECT_EQ(transition.frame(0.1875).position, 0.0625);  // also backwards
    EXPECT_EQ(transition.frame(0.75).position, 0.75);      // set by hand
    EXPECT_EQ(transition.frame(0.9375).position, 1);
    EXPECT_EQ(transition.frame(0.9375).position, 0.9375);
}

TEST(LiveTransitionTest, PicturesThatTakeLongerAreAskedForFurtherAhead) {
    Recorder recorder;
    LiveTransition transition(recorder.render());
    const Bytes a = scene(0, kWidth, kHeight);
    LiveMoment moment = transition.frame(0);
    ASSERT_TRUE(transition.submit(moment, {}, kWidth, kHeight, live(a), live(a)));
    for (int k = 1; k < 5; ++k) moment = transition.frame(k / 32.0);
    (void)awaited(transition);  // shown four frames later
    EXPECT_EQ(transition.frame(5 / 32.0).position, 9 / 32.0);
}

TEST(LiveTransitionTest, BusyThreadMakesFramesLateAndNobodyWaits) {
    std::promise<void> open;
    Recorder recorder;
    recorder.gate = open.get_future().share();
    LiveTransition transition(recorder.render());
    const Bytes a = scene(0, kWidth, kHeight), b = scene(1, kWidth, kHeight);
    transition.restart();
    const LiveMoment first = transition.frame(0.25);
    EXPECT_TRUE(transition.submit(first, {}, kWidth, kHeight, live(a), live(b)));
    for (int k = 0; k < 3; ++k) {
        const LiveMoment moment = transition.frame(0.5);
        EXPECT_EQ(transition.take(), nullptr);
        EXPECT_FALSE(transition.submit(moment, {}, kWidth, kHeight, live(b), live(a)));
    }
    EXPECT_EQ(transition.counts().frames, 4);
    EXPECT_EQ(transition.counts().late, 3);
    open.set_value();
    EXPECT_EQ(bytesOf(*awaited(transition)), a);
    EXPECT_EQ(recorder.positions, std::vector<double>{0.25});
    EXPECT_EQ(transition.counts().failed, 0);
}

TEST(LiveTransitionTest, NewRunShowsNothingOfTheRunBefore) {
    Recorder recorder;
    LiveTransition transition(recorder.render());
    const Bytes a = scene(0, kWidth, kHeight), b = scene(1, kWidth, kHeight);
    transition.restart();
    ASSERT_TRUE(transition.submit(transition.frame(0.25), {}, kWidth, kHeight, live(a), live(a)));
    transition.restart();
    EXPECT_EQ(transition.counts().frames, 0);
    // Given as soon as the thread is free; what it finished before is not handed out.
    const LiveMoment moment = transition.frame(0.25);
    EXPECT_EQ(moment.position, 0.25);
    while (!transition.submit(moment, {}, kWidth, kHeight, live(b), live(b))) {
        EXPECT_EQ(transition.take(), nullptr);
        std::this_thread::yield();
    }
    EXPECT_EQ(bytesOf(*awaited(transition)), b);
}

TEST(LiveTransitionTest, SceneStandsInWhereMemoryRanOut) {
    LiveTransition transition(
        [](double, const Knobs&, const Canvas&, const Canvas&, Canvas&) { throw std::bad_alloc(); });
    const Bytes a = scene(0, kWidth, kHeight), b = scene(1, kWidth, kHeight);
    EXPECT_EQ(shownAt(transition, 0.25, a, b), a);
    EXPECT_EQ(shownAt(transition, 0.75, a, b), b);
    EXPECT_EQ(transition.counts().failed, 2);
}

TEST(LiveTransitionTest, SoundKeepsStepWithThePicture) {
    for (const EffectRecord& effect : effectCatalogue()) {
        EXPECT_EQ(liveLevels(effect, 0).from,
                  effect.driver == EffectDriver::none ? 1 : liveLevels(effect, -1).from);
        if (!joinsTwoClips(effect)) continue;
        EXPECT_FLOAT_EQ(liveLevels(effect, 0).to, 0) << effect.id;
        EXPECT_FLOAT_EQ(liveLevels(effect, 1).to, 1) << effect.id;
        for (const double p : {0.0, 0.25, 0.5, 1.0})
            EXPECT_FLOAT_EQ(liveLevels(effect, p).from + liveLevels(effect, p).to, 1) << effect.id;
    }
    EXPECT_FLOAT_EQ(liveLevels(*findEffectRecord("morph"), 0.25).to, 0.25F);
    EXPECT_FLOAT_EQ(liveLevels(*findEffectRecord("wash-away"), 0.25).to, 0.25F);
    EXPECT_FLOAT_EQ(liveLevels(*findEffectRecord("wash-reveal"), 0.25).to, 0.25F);
    EXPECT_FLOAT_EQ(liveLevels(*findEffectRecord("tumble-away"), 0.25).to, 0.0625F);
    EXPECT_FLOAT_EQ(liveLevels(*findEffectRecord("tilt-reveal"), 0.25).to, 0.4375F);
}

}  // namespace tumblewash::adapters
