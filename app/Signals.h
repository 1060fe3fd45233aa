// The signals that stop a run, as a flag that all rooms look at; SIGPIPE and SIGXFSZ as ordinary write
// errors. The first signal only raises the flag: work in hand is dropped at the next frame and cleaned up as
// usual. A second one, or a second without an end, removes the outputs under way and ends the process where
// it stands.
#pragma once

#include <atomic>

namespace tumblewash::app {

/// Installs the handlers, once for the process. Signals that are ignored by then stay ignored.
void installSignalHandlers();

/// Raised by the first of SIGHUP, SIGINT, SIGTERM, SIGXCPU and SIGALRM; never lowered. Static storage.
const std::atomic<bool>& interruptFlag();

/// What the process returns after a signal: 128 and its number.
int interruptStatus() noexcept;

/// Says on standard error which signal ended the run and `written`, once. Safe in a signal handler.
void sayInterrupted(const char* written) noexcept;

}  // namespace tumblewash::app
