// The transitions as this program speaks of them: ids typed by people, resolved against the catalogue,
// described by the plug-in in use. Not what they do to pictures.
#pragma once

#include <string>
#include <vector>

#include "app/options.h"
#include "app/plan.h"
#include "host/Session.h"

namespace tumblewash {

/// One transition, named and described.
struct Effect {
    int index = 0;
    std::string id;
    std::string name;
    TransitionInfo info;  ///< as the plug-in reports it at the speed asked for
};

/// The plug-in that the options ask for: the built-in one, or the module of --plugin.
/// Throws Refusal (BadInput) when the module cannot be loaded.
PluginModule openPlugin(const Options& options);

/// Ids of all transitions in catalogue order.
std::vector<std::string> effectIds();

/// The transition with an id, or an index in decimal. Throws Refusal (BadUsage) with the nearest id.
Effect findEffect(const PluginModule& module, const std::string& text, float speed = 0.5F);

/// Every transition that draws (all but none), in catalogue order.
std::vector<Effect> drawingEffects(const PluginModule& module, float speed = 0.5F);

/// Every transition, in catalogue order.
std::vector<Effect> allEffects(const PluginModule& module, float speed = 0.5F);

/// Where a transition takes its frames from.
Placement placementOf(const Effect& effect);

/// The direction for a session: the options' one, else the effect's default, else right.
HYPluginDirection directionFor(const Options& options, const Effect& effect);

/// "morph", "between two clips" and so on for the list.
std::string kindOf(const Effect& effect);

}  // namespace tumblewash
