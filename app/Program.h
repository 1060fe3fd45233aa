// The program as a function: arguments in, exit code out. Prints one line for every refusal.
#pragma once

namespace tumblewash::app {

/// Runs the program with the words of `main` and returns what the process is to return: an ExitCode, or 128
/// and the number of the signal that ended the run. Never throws.
int runProgram(int argc, char** argv) noexcept;

}  // namespace tumblewash::app
