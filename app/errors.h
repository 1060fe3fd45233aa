// The program's exit codes and the one exception that carries a refusal to the user.
// A refusal is a finished sentence: file, what is wrong, what to do. It is no programming error
// and no plug-in result; those are turned into one of these where they reach the program.
#pragma once

#include <stdexcept>
#include <string>

namespace tumblewash {

/// What the process returns.
enum class ExitCode : int {
    Done = 0,          ///< everything asked for was made
    RenderFailed = 1,  ///< rendering or writing broke after it had begun
    BadUsage = 2,      ///< wrong usage, or a request that cannot be met
    BadInput = 3,      ///< an input cannot be read
    BadOutput = 4,     ///< the output cannot be written
    Interrupted = 130  ///< a signal ended the run
};

/// A refusal in words, printed as `tumblewash: <what>` on one line.
class Refusal : public std::runtime_error {
  public:
    Refusal(ExitCode code, const std::string& words) : std::runtime_error(words), code_(code) {}
    /// The exit code that goes with the words.
    ExitCode code() const noexcept { return code_; }

  private:
    ExitCode code_;
};

}  // namespace tumblewash
