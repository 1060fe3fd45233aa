// Whether a plug-in is the one inside this program, whose pictures can be had without a session.
#pragma once

#include "host/PluginModule.h"

namespace tumblewash::edit {

/// True for what `openPlugin` gives for an empty path. Modules are called by the path of their file.
bool isBuiltIn(const host::PluginModule& module);

}  // namespace tumblewash::edit
