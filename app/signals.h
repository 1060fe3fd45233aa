// SIGINT and SIGTERM as a flag that all rooms look at; SIGPIPE and SIGXFSZ as ordinary write errors.
// The handler only raises the flag: work in hand is dropped at the next frame and cleaned up as usual.
#pragma once

#include <atomic>

namespace tumblewash::app {

/// Installs the handlers, once for the process.
void installSignalHandlers();

/// Raised by the first SIGINT or SIGTERM; never lowered. Static storage.
const std::atomic<bool>& interruptFlag();

/// The name of the signal that raised the flag, or "a signal".
const char* interruptName();

}  // namespace tumblewash::app
