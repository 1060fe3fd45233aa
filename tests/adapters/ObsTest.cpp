#include <gtest/gtest.h>
#include <util/bmem.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <set>
#include <thread>

#include "effects/Effect.h"
#include "pluginDistort/v1/Catalogue.h"
#include "tests/adapters/ObsHost.h"
#include "tests/adapters/Scene.h"
#include "tests/faults/LongForm.h"

namespace tumblewash {

namespace {

using plugin::effectCatalogue;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::findEffectRecord;
using test::Bytes;
using test::kObsHeight;
using test::kObsWidth;
using test::ObsHost;

ObsHost& host() {
    static ObsHost started;
    return started;
}

std::string idOf(const EffectRecord& effect) {
    std::string id = std::string("tumblewash_") + effect.id;
    std::replace(id.begin(), id.end(), '-', '_');
    return id;
}

std::vector<const EffectRecord*> ofTwoClips() {
    std::vector<const EffectRecord*> found;
    for (const EffectRecord& effect : effectCatalogue())
        if (effect.driver != EffectDriver::none && effects::joinsTwoClips(effect)) found.push_back(&effect);
    return found;
}

Bytes scene(int which) {
    return test::scene(which, kObsWidth, kObsHeight);
}

// The picture of `tumblewash frame`: effects/ on pixels in its own order.
Bytes rendered(const EffectRecord& effect, double position, const effects::EffectKnobs& knobs, int from = 0) {
    const auto turned = [](const Bytes& pixels, std::size_t by) {
        Bytes out(pixels.size());
        for (std::size_t i = 0; i < pixels.size(); ++i) out[i - i % 4 + (i + by) % 4] = pixels[i];
        return out;
    };
    const Bytes a = turned(scene(from), 1), b = turned(scene(1 - from), 1);
    Bytes out(a.size());
    const std::ptrdiff_t stride = std::ptrdiff_t{4} * kObsWidth;
    const auto done = effects::Effect(effect, knobs)
                          .render(position,
                                  {{a.data(), stride, kObsWidth, kObsHeight, effects::Alpha::opaque},
                                   {b.data(), stride, kObsWidth, kObsHeight, effects::Alpha::opaque}},
                                  {out.data(), stride, kObsWidth, kObsHeight, effects::Alpha::opaque});
    EXPECT_EQ(done, effects::Outcome::ok);
    return turned(out, 3);
}

// Frame after frame until the picture is the wanted one: libobs moves to a position and draws scenes anew
// with frames of its own, and a picture takes two. Only a picture that never comes lets this end.
bool comesTo(obs_source_t* transition, double position, const Bytes& wanted) {
    obs_transition_set_manual_time(transition, static_cast<float>(position));
    const auto last = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (std::chrono::steady_clock::now() < last) {
        if (host().shown(transition) == wanted) return true;
        std::this_thread::yield();
    }
    return false;
}

/// A transition that stands at a position between two scenes.
class Between {
  public:
    Between(const EffectRecord& effect, obs_source_t* from, obs_source_t* to, obs_data_t* settings = nullptr)
        : transition_(obs_source_create_private(idOf(effect).c_str(), effect.name, settings)) {
        obs_transition_set(transition_, from);
        obs_transition_start(transition_, OBS_TRANSITION_MODE_MANUAL, 0, to);
    }
    ~Between() { obs_source_release(transition_); }
    Between(const Between&) = delete;
    Between& operator=(const Between&) = delete;

    bool becomes(double position, const Bytes& wanted) { return comesTo(transition_, position, wanted); }
    [[nodiscard]] obs_source_t* source() const { return transition_; }

  private:
    obs_source_t* transition_;
};

/// Two scenes.
struct Scenes {
    obs_source_t* a = host().picture(scene(0));
    obs_source_t* b = host().picture(scene(1));
    Scenes() = default;
    ~Scenes() {
        obs_source_release(a);
        obs_source_release(b);
    }
    Scenes(const Scenes&) = delete;
    Scenes& operator=(const Scenes&) = delete;
};

std::size_t residentBytes() {
    std::ifstream file("/proc/self/statm");
    std::size_t all = 0, resident = 0;
    file >> all >> resident;
    return resident * 4096;
}

}  // namespace

TEST(ObsTest, EveryEffectOfTwoClipsIsATransitionWithItsKnobs) {
    (void)host();
    std::set<std::string> listed;
    const char* id = nullptr;
    for (std::size_t i = 0; obs_enum_transition_types(i, &id); ++i) listed.insert(id);
    EXPECT_EQ(ofTwoClips().size(), 7U);
    for (const EffectRecord* effect : ofTwoClips()) {
        EXPECT_TRUE(listed.contains(idOf(*effect))) << effect->id;
        EXPECT_STREQ(obs_source_get_display_name(idOf(*effect).c_str()),
                     (std::string("tumblewash ") + effect->name).c_str());
        obs_properties_t* page = obs_get_source_properties(idOf(*effect).c_str());
        const bool direction = obs_properties_get(page, "direction") != nullptr;
        const bool seed = obs_properties_get(page, "seed") != nullptr;
        obs_properties_destroy(page);
        EXPECT_EQ(direction, effects::hasKnobs(*effect)) << effect->id;
        EXPECT_EQ(seed, effects::hasKnobs(*effect)) << effect->id;
    }
    EXPECT_EQ(listed.size(), 7U);
}

TEST(ObsTest, PictureAtAPositionIsTheProgramsFrame) {
    const Scenes scenes;
    for (const EffectRecord* effect : ofTwoClips()) {
        Between between(*effect, scenes.a, scenes.b);
        EXPECT_TRUE(between.becomes(0, scene(0))) << effect->id;
        for (const double position : {0.25, 0.6875})
            EXPECT_TRUE(between.becomes(position, rendered(*effect, position, {})))
                << effect->id << " at " << position;
    }
    EXPECT_EQ(host().complaints(), "");
}

TEST(ObsTest, KnobsReachThePicture) {
    const Scenes scenes;
    const EffectRecord& effect = *findEffectRecord("wash-reveal");
    obs_data_t* settings = obs_data_create();
    obs_data_set_string(settings, "direction", "up");
    obs_data_set_int(settings, "seed", 42);
    Between between(effect, scenes.a, scenes.b, settings);
    const Bytes wanted = rendered(effect, 0.5, {kPluginDirectionUp, 42});
    EXPECT_NE(wanted, rendered(effect, 0.5, {}));
    EXPECT_TRUE(between.becomes(0.5, wanted));
    obs_data_set_string(settings, "direction", "left");
    obs_source_update(between.source(), settings);
    EXPECT_TRUE(between.becomes(0.5, rendered(effect, 0.5, {kPluginDirectionLeft, 42})));
    obs_data_release(settings);
}

// A texture or a picture that stays from each switch is more: three allocations, 60 KB.
TEST(ObsTest, ManySwitchesHoldNoMoreThanAHundred) {
    const int switches = faults::amount(300, 1000);
    const Scenes scenes;
    obs_source_t* transition = obs_source_create_private("tumblewash_tumble_away", "switches", nullptr);
    obs_transition_set(transition, scenes.a);
    const EffectRecord& effect = *findEffectRecord("tumble-away");
    const std::array<Bytes, 2> halfway{rendered(effect, 0.5, {}, 0), rendered(effect, 0.5, {}, 1)};
    long allocations = 0;
    std::size_t resident = 0;
    for (int k = 0; k < switches; ++k) {
        ASSERT_TRUE(obs_transition_start(transition, OBS_TRANSITION_MODE_MANUAL, 0,
                                         k % 2 == 0 ? scenes.b : scenes.a));
        const Bytes first = host().shown(transition);
        ASSERT_FALSE(first == halfway[0] || first == halfway[1])
            << k << " begins with a picture of the switch before";
        ASSERT_TRUE(comesTo(transition, 0.5, halfway[static_cast<std::size_t>(k % 2)])) << "switch " << k;
        obs_transition_force_stop(transition);
        obs_transition_set(transition, k % 2 == 0 ? scenes.b : scenes.a);
        if (k == 99) {
            allocations = bnum_allocs();
            resident = residentBytes();
        }
    }
    EXPECT_LT(bnum_allocs(), allocations + 100);
    EXPECT_LT(residentBytes(), resident + (std::size_t{24} << 20));
    EXPECT_EQ(host().complaints(), "");
    obs_source_release(transition);
}

}  // namespace tumblewash
