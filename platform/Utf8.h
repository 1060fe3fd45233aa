// Walking and repairing UTF-8 bytes. Strict: overlong forms, surrogates and values above U+10FFFF are no
// characters. No conversion to other encodings.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tumblewash::platform {

/// Length in bytes of the UTF-8 character that starts at `text[at]`; 0 when the bytes there are none.
[[nodiscard]] std::size_t Utf8CharacterLength(std::string_view text, std::size_t at);

/// True when the whole text is UTF-8.
[[nodiscard]] bool IsUtf8(std::string_view text);

/// The text with each byte that belongs to no character, and each control character, replaced by U+FFFD.
[[nodiscard]] std::string PrintableUtf8(std::string_view text);

/// The longest beginning of at most `bytes` bytes that does not cut a character of a valid text.
[[nodiscard]] std::string_view Utf8Prefix(std::string_view text, std::size_t bytes);

}  // namespace tumblewash::platform
