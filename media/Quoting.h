// File names in words: a name may hold any byte but zero, and a terminal obeys some of them.
// One form serves the terminal, logs, captions and JSON: a name as it is, or in double quotes with the
// escapes of C, as git shows paths. It is no quoting for a shell, and no file is opened by a quoted name.
#pragma once

#include <string>
#include <string_view>

namespace tumblewash::media {

/// `name` unchanged when it is UTF-8, holds no control character and does not begin with a double quote; else
/// in double quotes, with `"` and `\` behind a backslash, the control characters of C as \a \b \t \n \v \f
/// \r, and every byte of other control characters and of what is no UTF-8 as a backslash and three octal
/// digits. Control characters are those of ASCII and Latin-1, marks that turn the direction of writing, and
/// the two separators of lines and paragraphs. Different names have different forms.
std::string quotedName(std::string_view name);

/// The name that `quotedName` gave this form; `text` itself when it does not begin with a double quote or is
/// no such form.
std::string unquotedName(std::string_view text);

/// `text` with the escapes of `quotedName`, but no quotes around it, and `"` and `\` as they are: for words
/// that repeat what somebody else wrote. Nothing in it moves a cursor or ends a line.
std::string printable(std::string_view text);

/// True when `text` is UTF-8 throughout.
bool isUtf8(std::string_view text) noexcept;

}  // namespace tumblewash::media
