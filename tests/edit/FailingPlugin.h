// A plug-in whose frames fail: everything else is the built-in one's.
#pragma once

#include "hostapi/HYPlugin.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::edit {

inline int failingFrames(short which, HYPluginParams* params) {
    if (params != nullptr && params->selector == kPlugDoFrame) return kPluginFailed;
    return HYPluginEntry(which, params);
}

}  // namespace tumblewash::edit
