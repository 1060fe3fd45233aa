// Set-up and clean-up of the state block that the host keeps for one transition, and the plug-in's log.
// The log is silent; an observer may listen to it.
// Not the allocation of the block, which is the entry function's (Transitions.h).
#pragma once

#include "hostapi/HYPlugin.h"

/// Nulls the five owning pointers of the state. Frees nothing: what they held is forgotten.
/// @return always true. A null `ed` is left alone.
bool SISetup(_EffectData* ed);

/// Destroys what the five owning pointers hold, in the order first field, second field, first picture, last
/// picture, reference picture. The pointers keep their values and `effectGWorld` is not touched.
/// @return always true. A null `ed` is left alone.
bool SICleanup(_EffectData* ed);

/// The plug-in's log: every text marks a step. It prints nothing; the observer, if one is set, is told.
void logMessage(char* text);

/// The same for the literal texts of the plug-in, which nobody changes.
inline void logMessage(const char* text) {
    logMessage(const_cast<char*>(text));
}

namespace tumblewash::plugin {

/// Told of every text of the log, on the thread that logs. The text is the caller's and lives for the call
/// only.
using LogObserver = void (*)(const char* text);

/// Sets the log's observer (null: nobody) and returns the previous one. May be called from any thread.
LogObserver setLogObserver(LogObserver observer);

/// True when somebody listens to the log: texts that take work to make are made only then.
[[nodiscard]] bool logIsObserved();

/// Lets the image library's texts reach `logMessage`. Called by the entry function on every request.
void connectLibraryLog();

}  // namespace tumblewash::plugin
