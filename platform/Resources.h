// Localised string lists: numbered lists of numbered strings, read from one UTF-8 file per language.
// Looked for in $TUMBLEWASH_RESOURCES, in share/tumblewash/resources above the program, then in
// $XDG_DATA_DIRS. The language follows LC_ALL, LC_MESSAGES, LANG; what a language lacks comes from English.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Types.h"

/// Puts string `index` (from 1) of list `list` into `text` as a length-prefixed string; length 0 when there
/// is none.
void GetIndString(Str255 text, short list, short index);

namespace tumblewash::platform {

inline constexpr short kCaptionStrings = 17000;         ///< 1: the caption of a frame that is not ready
inline constexpr short kTransitionNameStrings = 17001;  ///< 1 .. 14: display names by effect index + 1
inline constexpr short kKnobStrings = 17002;  ///< names of the settings: 1 speed, 2 direction, 3 seed
inline constexpr short kKnobLimitStrings =
    17003;  ///< ends of setting k: 2k - 1 and 2k; only the speed has them
inline constexpr short kDirectionStrings =
    17004;  ///< 1 .. 5: direction code + 1: none, up, down, left, right

/// Strings of one language by list and index; each holds 1 to 255 bytes of valid UTF-8.
using StringLists = std::map<std::pair<std::int16_t, std::int16_t>, std::string>;

/// Reads a string-list file. `[17000]` opens a list, `1 = text` is a string of it, `#` starts a comment line;
/// blanks around the parts do not count; `\n`, `\\` and `\s` (a blank) stand for what cannot be written
/// plainly. Lines that say nothing of this, are no UTF-8 or carry a NUL are skipped; the first of equal
/// numbers counts; longer texts end at 255 bytes, on a character's boundary; at most 4096 strings are kept.
/// Any bytes are safe.
[[nodiscard]] StringLists ParseStringLists(std::span<const std::uint8_t> bytes);

/// Languages to try in order for a locale name such as `de_AT.UTF-8@euro`: `de_AT`, `de`, `en`.
/// Names that are no plain locale give `en` alone.
[[nodiscard]] std::vector<std::string> LanguagesForLocale(std::string_view locale);

/// Folders that may hold string lists, in the order in which they are tried; they need not exist.
[[nodiscard]] std::vector<std::string> ResourceFolders();

/// The localised string as UTF-8; empty when there is none.
[[nodiscard]] std::string LocalizedString(short list, short index);

}  // namespace tumblewash::platform
