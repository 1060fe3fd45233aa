#include "edit/Effects.h"

#include <fmt/format.h>

#include <charconv>

#include "edit/Errors.h"
#include "edit/Nearest.h"
#include "pluginDistort/v1/Catalogue.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::edit {

using host::ClipLayout;
using host::HostError;
using host::PluginModule;
using plugin::effectCatalogue;
using plugin::EffectRecord;
using plugin::TakeRule;

namespace {

Effect effectOf(const PluginModule& module, const EffectRecord& entry, float speed) {
    Effect effect;
    effect.index = entry.index;
    effect.id = entry.id;
    effect.name = entry.name;
    effect.info = describe(module, entry.index, speed);
    return effect;
}

const EffectRecord& recordOf(const std::string& text) {
    int index = -1;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), index);
    const bool number = problem == std::errc{} && end == text.data() + text.size();
    for (const EffectRecord& entry : effectCatalogue())
        if (text == entry.id || (number && index == entry.index)) return entry;
    throw Refusal(Problem::BadRequest, fmt::format("unknown effect '{}'{}; tumblewash list shows all", text,
                                                   didYouMean(text, effectIds())));
}

}  // namespace

PluginModule openPlugin(const std::string& path) {
    if (path.empty()) return PluginModule(HYPluginEntry);
    try {
        return PluginModule::load(path);
    } catch (const HostError& problem) {
        throw Refusal(Problem::BadInput, problem.what());
    }
}

std::vector<std::string> effectIds() {
    std::vector<std::string> ids;
    for (const EffectRecord& entry : effectCatalogue()) ids.emplace_back(entry.id);
    return ids;
}

std::string effectId(const std::string& text) {
    return recordOf(text).id;
}

std::vector<std::string> shuffledEffectIds() {
    std::vector<std::string> ids;
    for (const EffectRecord& entry : effectCatalogue()) {
        if (entry.index != 0 && entry.takeBefore != TakeRule::nothing && entry.takeAfter != TakeRule::nothing)
            ids.emplace_back(entry.id);
    }
    return ids;
}

Effect findEffect(const PluginModule& module, const std::string& text, float speed) {
    return effectOf(module, recordOf(text), speed);
}

std::vector<Effect> allEffects(const PluginModule& module, float speed) {
    std::vector<Effect> effects;
    for (const EffectRecord& entry : effectCatalogue()) effects.push_back(effectOf(module, entry, speed));
    return effects;
}

std::vector<Effect> drawingEffects(const PluginModule& module, float speed) {
    std::vector<Effect> effects = allEffects(module, speed);
    std::erase_if(effects, [](const Effect& e) { return placementOf(e) == Placement::Cut; });
    return effects;
}

Placement placementOf(const Effect& effect) {
    switch (effect.info.layout) {
        case ClipLayout::leaving:
            return Placement::After;
        case ClipLayout::arriving:
            return Placement::Before;
        case ClipLayout::overlap:
            return Placement::Overlap;
        case ClipLayout::split:
            break;
    }
    return effect.info.frames > 0 ? Placement::Halves : Placement::Cut;
}

HYPluginDirection directionFor(std::optional<HYPluginDirection> wished, const Effect& effect) {
    if (wished) return *wished;
    return effect.info.direction == kPluginDirectionNone ? kPluginDirectionRight : effect.info.direction;
}

std::string kindOf(const Effect& effect) {
    switch (placementOf(effect)) {
        case Placement::After:
            return "leaves at a clip's end";
        case Placement::Before:
            return "arrives at a clip's start";
        case Placement::Overlap:
            return "between two clips, overlapping";
        case Placement::Halves:
            return "between two clips, half of each";
        case Placement::Cut:
            break;
    }
    return "between two clips, a plain cut";
}

}  // namespace tumblewash::edit
