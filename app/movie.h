// The commands that make movies: join, out and in. Everything is checked first; then one pass over the plan
// copies or renders frame after frame. Decoding, rendering and encoding run at the same time.
#pragma once

#include "app/options.h"

namespace tumblewash::app {

/// Runs join, out or in. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeMovie(const Options& options);

}  // namespace tumblewash::app
