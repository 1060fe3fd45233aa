// A word as a POSIX shell reads it back. Which words need quotes is their user's.
#pragma once

#include <string>
#include <string_view>

namespace tumblewash::edit {

/// The word between single quotes, whatever it holds.
std::string shellQuoted(std::string_view word);

}  // namespace tumblewash::edit
