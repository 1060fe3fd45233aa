// The command `field`: what moves where, as arrows over the dimmed picture, or a plate's path.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs `field`. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeField(const Options& options);

}  // namespace tumblewash::app
