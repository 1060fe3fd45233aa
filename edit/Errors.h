// The one exception that carries a refusal to whoever asked, and what kind of refusal it is.
// A refusal is a finished sentence: file, what is wrong, what to do. It is no programming error
// and no plug-in result; those are turned into one of these where they reach the user.
#pragma once

#include <stdexcept>
#include <string>

namespace tumblewash::edit {

/// What a refusal is about.
enum class Problem {
    RenderFailed,  ///< rendering or writing broke after it had begun
    BadRequest,    ///< wrong usage, or a request that cannot be met
    BadInput,      ///< an input cannot be read
    BadOutput,     ///< the output cannot be written
    Interrupted    ///< the caller's cancel flag was raised
};

/// A refusal in words, fit to be shown on one line.
class Refusal : public std::runtime_error {
  public:
    Refusal(Problem problem, const std::string& words) : std::runtime_error(words), problem_(problem) {}
    /// What it is about.
    Problem problem() const noexcept { return problem_; }

  private:
    Problem problem_;
};

}  // namespace tumblewash::edit
