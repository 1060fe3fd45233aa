// The command `plan`: clips into a document, and a document into a table or a picture of its timeline.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs plan. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makePlan(const Options& options);

}  // namespace tumblewash::app
