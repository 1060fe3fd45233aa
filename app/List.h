// The catalogue as the plug-in reports it, for people and for programs.
// Texts only; printing is the program's.
#pragma once

#include <string>

#include "app/Options.h"

namespace tumblewash::app {

/// A table with one line per transition. Throws Refusal or HostError when the plug-in cannot be asked.
std::string listText(const Options& options);

/// The same as JSON, with the commands and options of this program beside it.
std::string listJson(const Options& options);

}  // namespace tumblewash::app
