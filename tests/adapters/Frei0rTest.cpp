#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include "adapters/common/Rgba.h"
#include "adapters/common/TransitionRenderer.h"
#include "tests/adapters/Frei0rFile.h"
#include "tests/adapters/Scene.h"
#include "tests/adapters/Shell.h"

namespace tumblewash::test {

using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::effectRecord;

namespace {

using adapters::joinsTwoClips;
using adapters::pictureArrives;

#define F0R(library, name) (library).entry<decltype(name)>(#name)

class EveryFile : public testing::TestWithParam<int> {
  protected:
    const EffectRecord& effect = effectRecord(static_cast<short>(GetParam()));
    const Frei0rFile library{effect};

    f0r_instance_t construct(unsigned w, unsigned h) const { return library.construct(w, h); }
    void destruct(f0r_instance_t instance) const { library.destruct(instance); }
    void set(f0r_instance_t instance, int index, double value) const { library.set(instance, index, value); }
    std::vector<std::uint8_t> update(f0r_instance_t instance, const std::vector<std::uint8_t>& a,
                                     const std::vector<std::uint8_t>& b) const {
        return library.update(instance, a, b);
    }
};
INSTANTIATE_TEST_SUITE_P(Catalogue, EveryFile, testing::Range(1, 14));

TEST_P(EveryFile, InfoComesFromTheCatalogue) {
    ASSERT_EQ(F0R(library, f0r_init)(), 1);
    f0r_plugin_info_t info{};
    F0R(library, f0r_get_plugin_info)(&info);
    EXPECT_EQ(info.name, std::string("tumblewash ") + effect.name);
    EXPECT_STREQ(info.explanation, effect.sentence);
    EXPECT_EQ(info.plugin_type, joinsTwoClips(effect) ? F0R_PLUGIN_TYPE_MIXER2 : F0R_PLUGIN_TYPE_FILTER);
    EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_RGBA8888);
    EXPECT_EQ(info.num_params, adapters::hasKnobs(effect) ? 3 : 1);
    f0r_param_info_t parameter{};
    F0R(library, f0r_get_param_info)(&parameter, 0);
    EXPECT_STREQ(parameter.name, "position");
    EXPECT_EQ(parameter.type, F0R_PARAM_DOUBLE);
    F0R(library, f0r_deinit)();
}

TEST_P(EveryFile, OnlyTheStandardsEntriesLeaveTheFile) {
    EXPECT_NE(library.symbol("f0r_update"), nullptr);
    EXPECT_NE(library.symbol("f0r_update2"), nullptr);
    EXPECT_EQ(library.symbol("_ZN10tumblewash15effectCatalogueEv"), nullptr);
}

// What a file brings along stays in the host's memory, and may clash with what the host has of it.
TEST_P(EveryFile, NeedsNeitherTextStackNorLapackNorHighway) {
    const auto needed = printedBy("readelf -d '" + Frei0rFile::pathOf(effect) + "' | grep NEEDED");
    for (const std::string& line : needed)
        for (const char* foreign : {"pango", "fontconfig", "gobject", "lapack", "blas", "hwy", "gfortran"})
            EXPECT_EQ(line.find(foreign), std::string::npos) << line;
    EXPECT_FALSE(needed.empty());
}

// Hosts construct every plug-in once to read its defaults.
TEST_P(EveryFile, DefaultsCanBeReadRightAfterConstruction) {
    const f0r_instance_t instance = construct(720, 576);
    double position = -1;
    F0R(library, f0r_get_param_value)(instance, &position, 0);
    EXPECT_EQ(position, 0);
    if (adapters::hasKnobs(effect)) {
        char* direction = nullptr;
        F0R(library, f0r_get_param_value)(instance, &direction, 1);
        EXPECT_STREQ(direction, "right");
    }
    destruct(instance);
}

TEST_P(EveryFile, EndsAreOnePictureBitForBit) {
    const auto a = scene(0, 50, 30, SceneAlpha::soft);
    const auto b = scene(1, 50, 30, SceneAlpha::soft);
    const std::vector<std::uint8_t> nothing(a.size(), 0);
    const f0r_instance_t instance = construct(50, 30);
    const bool two = joinsTwoClips(effect);
    EXPECT_EQ(update(instance, a, b), two || !pictureArrives(effect) ? a : nothing);
    set(instance, 0, 1.0);
    EXPECT_EQ(update(instance, a, b), two ? b : pictureArrives(effect) ? a : nothing);
    set(instance, 0, 7.0);
    EXPECT_EQ(update(instance, a, b), two                      ? b
                                      : pictureArrives(effect) ? a
                                                               : nothing)
        << "values are limited to 0..1";
    destruct(instance);
}

TEST_P(EveryFile, PixelsAreTheRenderersAndOrderDoesNotMatter) {
    const int w = 52;
    const int h = 40;
    const auto a = scene(0, w, h);
    const auto b = scene(1, w, h);
    adapters::TransitionRenderer renderer(effect, w, h);
    auto canvasOf = [&](const std::vector<std::uint8_t>& rgba) {
        adapters::Canvas canvas(w, h);
        for (int y = 0; y < h; ++y)
            adapters::rowFromRgba(rgba.data() + static_cast<std::ptrdiff_t>(y) * w * 4, w,
                                  adapters::AlphaKind::straight, canvas.row(y));
        return canvas;
    };
    const f0r_instance_t instance = construct(w, h);
    for (const double position : {0.875, 0.125, 0.5}) {
        adapters::Canvas from = canvasOf(a);
        adapters::Canvas to = canvasOf(b);
        adapters::Canvas out;
        renderer.render(position, {}, from, joinsTwoClips(effect) ? &to : nullptr, out);
        set(instance, 0, position);
        const auto got = update(instance, a, b);
        std::vector<std::uint8_t> row(static_cast<std::size_t>(w) * 4);
        for (int y = 0; y < h; ++y) {
            adapters::rowToRgba(out.row(y), w, adapters::kindFor(out, adapters::AlphaKind::straight),
                                row.data());
            ASSERT_EQ(
                std::memcmp(row.data(), got.data() + static_cast<std::ptrdiff_t>(y) * w * 4, row.size()), 0)
                << effect.id << " at " << position << ", row " << y;
        }
    }
    destruct(instance);
}

TEST_P(EveryFile, OpaqueClipsGiveAnOpaqueResult) {
    if (!joinsTwoClips(effect)) return;
    const f0r_instance_t instance = construct(61, 47);
    for (const double position : {1e-12, 0.25, 0.5, 0.9}) {
        set(instance, 0, position);
        const auto out = update(instance, scene(0, 61, 47), scene(1, 61, 47));
        for (std::size_t i = 3; i < out.size(); i += 4)
            ASSERT_EQ(out[i], 255) << effect.id << " at " << position;
    }
    destruct(instance);
}

// A white disc with a hard edge over nothing: whatever is left of it is white, not greyed by its
// surroundings.
TEST_P(EveryFile, CutOutsHaveNoDarkFringe) {
    if (effect.driver == EffectDriver::tumble) return;  // its plate wears a rim of the average colour
    const int w = 131;
    const int h = 77;
    auto disc = [&](int which) {
        auto rgba = scene(which, w, h, SceneAlpha::cutOut);
        for (std::size_t i = 0; i < rgba.size(); ++i)
            if (i % 4 != 3)
                rgba[i] = rgba[i | 3] != 0 ? 255 : 0;  // black where nothing is, as editors store it
        return rgba;
    };
    const f0r_instance_t instance = construct(w, h);
    int shown = 0;
    for (const double position : {0.25, 0.4, 0.625}) {
        set(instance, 0, position);
        const auto out = update(instance, disc(0), disc(1));
        for (std::size_t i = 0; i < out.size(); i += 4) {
            if (out[i + 3] < 16) continue;
            ++shown;
            for (std::size_t c = 0; c < 3; ++c) ASSERT_GE(out[i + c], 251) << effect.id << " pixel " << i / 4;
        }
    }
    EXPECT_GT(shown, 300) << effect.id;
    destruct(instance);
}

TEST_P(EveryFile, KnobsChooseTheField) {
    if (!adapters::hasKnobs(effect)) return;
    const auto a = scene(0, 64, 48);
    const auto b = scene(1, 64, 48);
    const f0r_instance_t instance = construct(64, 48);
    set(instance, 0, 0.3);
    const auto plain = update(instance, a, b);
    set(instance, 2, 0.001);
    const auto seeded = update(instance, a, b);
    EXPECT_NE(plain, seeded);
    set(instance, 2, 0.0);
    library.set(instance, 1, "up");
    EXPECT_NE(update(instance, a, b), plain);
    library.set(instance, 1, "sideways");
    EXPECT_EQ(update(instance, a, b), plain) << "an unknown direction is the default";
    destruct(instance);
}

TEST_P(EveryFile, EverySizeFromOnePixelOn) {
    for (const auto& [w, h] : {std::pair{1, 1}, {7, 3}, {15, 200}, {16, 16}, {17, 31}, {5000, 2}}) {
        const auto a = scene(0, w, h);
        const auto b = scene(1, w, h);
        const f0r_instance_t instance = construct(static_cast<unsigned>(w), static_cast<unsigned>(h));
        ASSERT_NE(instance, nullptr);
        set(instance, 0, 0.5);
        const auto out = update(instance, a, b);
        EXPECT_NE(out, std::vector<std::uint8_t>(a.size(), 0xA5));
        destruct(instance);
    }
    EXPECT_EQ(construct(0, 5), nullptr);
}

TEST_P(EveryFile, WhereAPictureIsMissingTheNearerOneIsShown) {
    const auto known = scene(0, 32, 32);
    const f0r_instance_t instance = construct(32, 32);
    std::vector<std::uint8_t> out(known.size());
    const auto shown = [&](double position, const std::vector<std::uint8_t>* a,
                           const std::vector<std::uint8_t>* b) {
        const auto words = [](const std::vector<std::uint8_t>* picture) {
            return picture ? reinterpret_cast<const std::uint32_t*>(picture->data()) : nullptr;
        };
        set(instance, 0, position);
        F0R(library, f0r_update2)
        (instance, 0, words(a), words(b), nullptr, reinterpret_cast<std::uint32_t*>(out.data()));
        return out;
    };
    const std::vector<std::uint8_t> nothing(known.size(), 0);
    if (joinsTwoClips(effect)) {
        EXPECT_EQ(shown(0.4, &known, nullptr), known);
        EXPECT_EQ(shown(0.6, &known, nullptr), nothing);
        EXPECT_EQ(shown(0.4, nullptr, &known), nothing);
        EXPECT_EQ(shown(0.6, nullptr, &known), known);
    } else {
        EXPECT_EQ(shown(0.4, nullptr, nullptr), nothing);
    }
    destruct(instance);
}

TEST_P(EveryFile, NullsAreForgiven) {
    const f0r_instance_t instance = construct(32, 32);
    std::vector<std::uint8_t> out(32 * 32 * 4, 0xA5);
    set(instance, 0, 0.5);
    F0R(library, f0r_update2)
    (instance, 0, nullptr, nullptr, nullptr, reinterpret_cast<std::uint32_t*>(out.data()));
    EXPECT_EQ(out, std::vector<std::uint8_t>(out.size(), 0));
    F0R(library, f0r_update)(instance, 0, nullptr, nullptr);
    F0R(library, f0r_update)(nullptr, 0, nullptr, nullptr);
    F0R(library, f0r_set_param_value)(instance, nullptr, 0);
    F0R(library, f0r_get_param_value)(instance, nullptr, 99);
    F0R(library, f0r_get_param_info)(nullptr, 0);
    F0R(library, f0r_get_plugin_info)(nullptr);
    destruct(instance);
    destruct(nullptr);
}

}  // namespace
}  // namespace tumblewash::test
