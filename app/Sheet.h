// The command `sheet`: a labelled contact sheet, one row per effect, columns at even steps of its length.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs `sheet`. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeSheet(const Options& options);

/// The effects named by the options; "all" and nothing mean every one that draws.
std::vector<std::string> sheetEffectIds(const Options& options);

}  // namespace tumblewash::app
