// Folders that are this user's alone, and the name that a document has in them. What lies there is decided by
// whoever asks.
#pragma once

#include <string>

namespace tumblewash::studio {

/// For what ends with the session: in XDG_RUNTIME_DIR, else among temporary files. Empty where there is no
/// folder that others cannot write to.
std::string runtimeFolder();

/// For what outlives it: in XDG_STATE_HOME, else in ~/.local/state. Empty where it cannot be made.
std::string stateFolder();

/// 16 hexadecimal digits of a document's real path; empty where it has none. Saving makes a new file each
/// time, so it is the name that counts.
std::string nameFor(const std::string& document);

}  // namespace tumblewash::studio
