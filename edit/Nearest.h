// The nearest word to a mistyped one, for "did you mean".
// Edit distance over bytes, with swapped neighbours counting once. No dictionaries, no locale.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tumblewash::edit {

/// Insertions, deletions, replacements and swaps of neighbours that turn `a` into `b`.
std::size_t editDistance(const std::string& a, const std::string& b);

/// The word of `words` nearest to `typed`, or an empty text when none is near enough to be meant
/// (more than a third of the longer word, at least two edits, would have to change). First of equals wins.
std::string nearestWord(const std::string& typed, const std::vector<std::string>& words);

/// What someone means who uses another program's word: one of `words`, by a table; "" where it has none.
std::string synonymOf(const std::string& typed, const std::vector<std::string>& words);

/// ` (did you mean X?)`, or nothing when no word is near.
std::string didYouMean(const std::string& typed, const std::vector<std::string>& words);

}  // namespace tumblewash::edit
