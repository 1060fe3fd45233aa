// Pages printed from the option table: help, the man page and shell completions.
// Texts only; nothing is read or written here.
#pragma once

#include <string>

#include "app/Options.h"

namespace tumblewash::app {

/// The version as `--version` prints it.
std::string versionText();

/// The same without the line end.
std::string versionWords();

/// Help for one command, or the overview for Command::None. Ends with a newline.
std::string helpText(Command command);

/// The man page tumblewash(1) in roff.
std::string manPage();

/// A completion script for `bash`, `zsh` or `fish`; empty for any other shell.
std::string completionScript(const std::string& shell);

}  // namespace tumblewash::app
