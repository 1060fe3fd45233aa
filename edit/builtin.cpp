#include "edit/builtin.h"

#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::edit {

bool isBuiltIn(const host::PluginModule& module) {
    static const host::PluginModule own(HYPluginEntry);
    return module.name() == own.name();
}

}  // namespace tumblewash::edit
