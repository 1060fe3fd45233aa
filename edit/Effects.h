// The transitions as this program speaks of them: ids typed by people, resolved against the catalogue,
// described by the plug-in in use. Not what they do to pictures.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/Plan.h"
#include "host/Session.h"

namespace tumblewash::edit {

/// One transition, named and described.
struct Effect {
    int index = 0;
    std::string id;
    std::string name;
    host::TransitionInfo info;  ///< as the plug-in reports it at the speed asked for
};

/// The plug-in to render with: the module `path`, or the built-in one when that is empty.
/// Throws Refusal (BadInput) when the module cannot be loaded.
host::PluginModule openPlugin(const std::string& path);

/// Ids of all transitions in catalogue order.
std::vector<std::string> effectIds();

/// The id of a transition named by its id or by its index in decimal. Throws Refusal (BadRequest) with the
/// nearest id.
std::string effectId(const std::string& text);

/// The ids from which effects are drawn by lot, in catalogue order: all that stand between two clips and
/// draw.
std::vector<std::string> shuffledEffectIds();

/// The transition with an id, or an index in decimal. Throws Refusal (BadRequest) with the nearest id.
Effect findEffect(const host::PluginModule& module, const std::string& text, float speed = 0.5F);

/// Every transition that draws (all but none), in catalogue order.
std::vector<Effect> drawingEffects(const host::PluginModule& module, float speed = 0.5F);

/// Every transition, in catalogue order.
std::vector<Effect> allEffects(const host::PluginModule& module, float speed = 0.5F);

/// Where a transition takes its frames from.
Placement placementOf(const Effect& effect);

/// The direction for a session: the one `wished`, else the effect's default, else right.
HYPluginDirection directionFor(std::optional<HYPluginDirection> wished, const Effect& effect);

/// "morph", "between two clips" and so on for the list.
std::string kindOf(const Effect& effect);

}  // namespace tumblewash::edit
