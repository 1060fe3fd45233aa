// What holds of every effect over deep pixels: its ends, its alpha, its memory, its threads and what it
// refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "effects/DeepEffect.h"
#include "tests/effects/Deep.h"

namespace tumblewash::effects {

using imagelib::DeepTarget;
using imagelib::DeepView;
using kernels::DeepPixel;
using kernels::DeepRange;
using kernels::unweighDeepRow;
using kernels::weighDeepRow;
using plugin::effectCatalogue;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::findEffectRecord;

namespace {

using test::Deep;
using test::noiseDeep;

TEST(DeepEffectLawsTest, BothEndsAreThePicturesThemselves) {
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

TEST(DeepEffectLawsTest, TheResultMayTakeThePlaceOfThePictureThatLiesBelow) {
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

TEST(DeepEffectLawsTest, ThreadsShareOneEffectAndItsMotion) {
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

TEST(DeepEffectLawsTest, OpaquePicturesStayOpaqueAndARampOfAlphaStaysMonotone) {
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

TEST(DeepEffectLawsTest, ATransparentPlateHasNoDarkFringesAndNoVisibleRim) {
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

TEST(DeepEffectLawsTest, WhatDoesNotFitIsRefusedInWords) {
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

TEST(DeepEffectLawsTest, SmallestSizesRenderWithoutReadingOutside) {
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
