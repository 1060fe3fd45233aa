#include "platform/Utf8.h"

#include <cstdint>

namespace tumblewash::platform {
namespace {

std::uint8_t byteAt(std::string_view text, std::size_t at) {
    return static_cast<std::uint8_t>(text[at]);
}

bool isTrail(std::uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

// The second byte's range rules out overlong forms, surrogates and values beyond the last plane.
bool secondFits(std::uint8_t lead, std::uint8_t second) {
    if (lead == 0xE0) return second >= 0xA0;
    if (lead == 0xED) return second < 0xA0;
    if (lead == 0xF0) return second >= 0x90;
    if (lead == 0xF4) return second < 0x90;
    return true;
}

}  // namespace

std::size_t Utf8CharacterLength(std::string_view text, std::size_t at) {
    if (at >= text.size()) return 0;
    const std::uint8_t lead = byteAt(text, at);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() - at < length || !secondFits(lead, byteAt(text, at + 1))) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isTrail(byteAt(text, at + i))) return 0;
    }
    return length;
}

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = Utf8CharacterLength(text, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

std::string PrintableUtf8(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = Utf8CharacterLength(text, at);
        const bool control = length == 1 && (byteAt(text, at) < 0x20 || byteAt(text, at) == 0x7F);
        out += length == 0 || control ? std::string_view("\xEF\xBF\xBD") : text.substr(at, length);
        at += length == 0 ? 1 : length;
    }
    return out;
}

std::string_view Utf8Prefix(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    while (bytes > 0 && isTrail(byteAt(text, bytes))) --bytes;
    return text.substr(0, bytes);
}

}  // namespace tumblewash::platform
