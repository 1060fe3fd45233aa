#include "app/List.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "app/Help.h"
#include "app/OptionTable.h"
#include "edit/Effects.h"
#include "edit/Report.h"
#include "media/Codecs.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::allEffects;
using edit::directionName;
using edit::Effect;
using edit::kindOf;
using edit::openPlugin;
using edit::Placement;
using edit::placementOf;
using host::PluginModule;
using media::quotedName;

namespace {

using Json = nlohmann::ordered_json;

std::string placementName(Placement placement) {
    switch (placement) {
        case Placement::Cut:
            return "cut";
        case Placement::Overlap:
            return "overlap";
        case Placement::Halves:
            return "halves";
        case Placement::After:
            return "after";
        case Placement::Before:
            return "before";
    }
    return "cut";
}

Json effectJson(const Effect& effect, const Effect& slowest) {
    return {{"index", effect.index},
            {"id", effect.id},
            {"name", effect.name},
            {"type", static_cast<int>(effect.info.type)},
            {"placement", placementName(placementOf(effect))},
            {"clips", effect.info.clips()},
            {"direction", effect.info.flags != 0},
            {"defaultDirection", directionName(effect.info.direction)},
            {"minFrames", effect.info.minFrames},
            {"maxFrames", effect.info.maxFrames},
            {"speeds",
             {{{"speed", 0},
               {"frames", effect.info.frames},
               {"takeBefore", effect.info.takeBefore},
               {"takeAfter", effect.info.takeAfter}},
              {{"speed", 1},
               {"frames", slowest.info.frames},
               {"takeBefore", slowest.info.takeBefore},
               {"takeAfter", slowest.info.takeAfter}}}}};
}

Json optionJson(const OptionRow& row) {
    Json json{{"name", row.name}, {"help", row.help}};
    if (*row.letter) json["letter"] = row.letter;
    if (*row.value) json["value"] = row.value;
    const std::vector<std::string> choices = choicesOf(row);
    if (!choices.empty()) json["choices"] = choices;
    Json commands = Json::array();
    for (const CommandRow& command : commandTable())
        if (row.commands & commandBit(command.id)) commands.push_back(command.name);
    json["commands"] = std::move(commands);
    return json;
}

// What the kinds of movie file hold.
Json outputsJson() {
    Json all = Json::array();
    for (const media::MovieKind& kind : media::movieKinds()) {
        Json codecs = Json::array();
        for (const media::Codec id : kind.codecs) {
            const media::CodecFacts& facts = media::factsOf(id);
            Json depths = Json::array();
            if (facts.eight) depths.push_back(8);
            if (facts.ten) depths.push_back(10);
            const bool alpha = std::find(kind.alpha.begin(), kind.alpha.end(), id) != kind.alpha.end();
            Json alphaDepths = Json::array();
            if (alpha) alphaDepths.push_back(8);
            if (alpha && facts.tenAlpha) alphaDepths.push_back(10);
            codecs.push_back({{"codec", facts.word},
                              {"name", facts.name},
                              {"depths", depths},
                              {"hdr", facts.ten},
                              {"alpha", alpha},
                              {"alphaDepths", alphaDepths},
                              {"default", id == kind.codecs.front()},
                              {"defaultFor10", id == kind.deepCodec}});
        }
        all.push_back({{"ending", kind.ending}, {"codecs", codecs}});
    }
    return all;
}

}  // namespace

std::string listText(const Options& options) {
    const PluginModule module = openPlugin(options.plugin);
    std::string out = fmt::format("{:>5}  {:14} {:24} {:36} {}\n", "index", "id", "name", "kind", "frames");
    const std::vector<Effect> longest = allEffects(module, 1.0F);
    for (const Effect& effect : allEffects(module, 0.0F)) {
        const Effect& other = longest[static_cast<std::size_t>(effect.index)];
        const std::string frames =
            effect.info.frames > 0 ? fmt::format("{}-{}", effect.info.frames, other.info.frames) : "-";
        out += fmt::format("{:>5}  {:14} {:24} {:36} {}\n", effect.index, effect.id, effect.name,
                           kindOf(effect), frames);
    }
    return out;
}

std::string listJson(const Options& options) {
    const PluginModule module = openPlugin(options.plugin);
    Json json{{"program", versionWords()}, {"plugin", quotedName(module.name())}};
    const std::vector<Effect> longest = allEffects(module, 1.0F);
    for (const Effect& effect : allEffects(module, 0.0F))
        json["effects"].push_back(effectJson(effect, longest[static_cast<std::size_t>(effect.index)]));
    for (const CommandRow& row : commandTable())
        json["commands"].push_back({{"name", row.name}, {"inputs", row.inputs}, {"summary", row.summary}});
    for (const OptionRow& row : optionTable()) json["options"].push_back(optionJson(row));
    json["outputs"] = outputsJson();
    return json.dump(2) + "\n";
}

}  // namespace tumblewash::app
