// The command `batch`: a list of edits, one a line, each rendered by a run of its own, and a report a line.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs batch. Throws Refusal, also at its end when a line failed.
void runBatch(const Options& options);

}  // namespace tumblewash::app
