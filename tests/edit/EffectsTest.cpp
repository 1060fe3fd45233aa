// Transitions by their names, and where each takes its frames from.
#include <gmock/gmock.h>

#include "edit/Effects.h"
#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using testing::HasSubstr;

TEST(EffectsTest, ANameThatIsNoneIsRefusedWithTheNearest) {
    const host::PluginModule module = openPlugin("");
    EXPECT_EQ(findEffect(module, "wash-away").id,
              findEffect(module, std::to_string(findEffect(module, "wash-away").index)).id)
        << "by its index as well";
    const Refused refused = refusedBy([&] { findEffect(module, "wash-awy"); });
    EXPECT_EQ(refused.problem, Problem::BadRequest);
    EXPECT_THAT(refused.words, HasSubstr("unknown effect 'wash-awy'"));
    EXPECT_THAT(refused.words, HasSubstr("wash-away"));
    EXPECT_THAT(refused.words, HasSubstr("; tumblewash list shows all"));
    for (const char* wrong : {"", "14", "-1", "2x"})
        EXPECT_EQ(refusedBy([&] { effectId(wrong); }).problem, Problem::BadRequest) << wrong;
}

TEST(EffectsTest, AllButTheCutDraw) {
    const host::PluginModule module = openPlugin("");
    const std::vector<Effect> all = allEffects(module), drawing = drawingEffects(module);
    EXPECT_EQ(all.size(), effectIds().size());
    EXPECT_EQ(drawing.size(), all.size() - 1);
    for (const Effect& effect : drawing) EXPECT_NE(effect.id, "none");
}

TEST(EffectsTest, TheListTellsEachPlace) {
    const host::PluginModule module = openPlugin("");
    const auto kind = [&](const char* id) { return kindOf(findEffect(module, id)); };
    EXPECT_EQ(kind("none"), "between two clips, a plain cut");
    EXPECT_EQ(kind("morph"), "between two clips, half of each");
    EXPECT_EQ(kind("wash-away"), "between two clips, overlapping");
    EXPECT_EQ(kind("tumble-in"), "arrives at a clip's start");
    EXPECT_EQ(kind("tilt-out"), "leaves at a clip's end");
}

TEST(EffectsTest, ADirectionIsTheOneAskedForOrTheEffectsOwn) {
    const host::PluginModule module = openPlugin("");
    const Effect wash = findEffect(module, "wash-away"), morph = findEffect(module, "morph");
    EXPECT_EQ(directionFor(kPluginDirectionUp, wash), kPluginDirectionUp);
    EXPECT_EQ(directionFor({}, wash), wash.info.direction);
    EXPECT_EQ(morph.info.direction, kPluginDirectionNone);
    EXPECT_EQ(directionFor({}, morph), kPluginDirectionRight);
}

}  // namespace
}  // namespace tumblewash::edit
