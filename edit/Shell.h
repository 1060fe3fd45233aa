// A word as a POSIX shell reads it back.
// It knows nothing of options: a file name that begins with a dash is its user's affair.
#pragma once

#include <string>
#include <string_view>

namespace tumblewash::edit {

/// The word between single quotes, whatever it holds.
std::string shellQuoted(std::string_view word);
/// The same without quotes where no shell sees anything in it but a word.
std::string shellWord(std::string_view word);

}  // namespace tumblewash::edit
