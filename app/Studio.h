// The command `studio`: options into a document and folders, the browser, the end by Ctrl-C or from the page.
// What the studio does is studio/'s.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs `studio` until it is ended. Throws Refusal, the interrupted one after a signal.
void runStudio(const Options& options);

}  // namespace tumblewash::app
