// The program as a function: arguments in, exit code out. Prints one line for every refusal.
#pragma once

#include <string>
#include <vector>

#include "app/exitcode.h"

namespace tumblewash::app {

/// Runs the program with the arguments behind its name. Never throws.
ExitCode runProgram(const std::vector<std::string>& arguments) noexcept;

}  // namespace tumblewash::app
