// --resume: a movie rendered in parts on this machine, which stay beside the output when the run breaks off
// and are used by the next one. Merged and removed at the end.
#pragma once

#include "app/Options.h"
#include "edit/Edit.h"

namespace tumblewash::app {

/// Renders the edit in parts. Throws Refusal, MediaError or HostError; the parts that are done are then kept.
void resumeMovie(const Options& options, const edit::Edit& edit);

}  // namespace tumblewash::app
