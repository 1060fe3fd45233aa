// The command `demo`: movies and a contact sheet from pictures that the program draws itself.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs `demo`. Replaces the demo's own files in the folder and nothing else.
void makeDemo(const Options& options);

}  // namespace tumblewash::app
