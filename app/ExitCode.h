// What the process returns. How a refusal or an error of a room becomes one of these is the program's matter.
#pragma once

namespace tumblewash::app {

/// What the process returns.
enum class ExitCode : int {
    Done = 0,          ///< everything asked for was made
    RenderFailed = 1,  ///< rendering or writing broke after it had begun
    BadUsage = 2,      ///< wrong usage, or a request that cannot be met
    BadInput = 3,      ///< an input cannot be read
    BadOutput = 4,     ///< the output cannot be written
    Interrupted = 130  ///< a signal ended the run; the process returns 128 and its number
};

}  // namespace tumblewash::app
