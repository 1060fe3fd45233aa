#include "media/Quoting.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tumblewash::media {

namespace {

/// Control characters with a letter of their own.
constexpr std::array<std::pair<char, char>, 7> kLetters{
    {{'\a', 'a'}, {'\b', 'b'}, {'\t', 't'}, {'\n', 'n'}, {'\v', 'v'}, {'\f', 'f'}, {'\r', 'r'}}};

/// The character that begins a text: its bytes, and whether they may be shown.
struct Character {
    std::size_t bytes = 1;
    bool utf8 = false;
    bool shown = false;
};

bool controls(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E ||
           code == 0x200F || (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

Character firstOf(std::string_view text) {
    const auto at = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = at(0);
    const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (bytes == 0 || lead > 0xF4 || text.size() < bytes) return {};
    std::uint32_t code = bytes == 1 ? lead : lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((at(i) & 0xC0) != 0x80) return {};
        code = code << 6 | (at(i) & 0x3FU);
    }
    // Written longer than need be, half a pair, or past the last character there is.
    if ((bytes == 3 && code < 0x800) || (bytes == 4 && (code < 0x10000 || code > 0x10FFFF)) ||
        (code >= 0xD800 && code <= 0xDFFF))
        return {};
    return {bytes, true, !controls(code)};
}

void appendEscaped(std::string& out, char byte) {
    out += '\\';
    for (const auto& [control, letter] : kLetters)
        if (control == byte) {
            out += letter;
            return;
        }
    const auto value = static_cast<std::uint8_t>(byte);
    for (const int shift : {6, 3, 0}) out += static_cast<char>('0' + (value >> shift & 7));
}

/// Calls each(character, its bytes) through the text.
template <class Each>
void walk(std::string_view text, Each each) {
    for (std::size_t i = 0; i < text.size();) {
        const Character character = firstOf(text.substr(i));
        each(character, text.substr(i, character.bytes));
        i += character.bytes;
    }
}

std::string escaped(std::string_view text, std::string_view alsoEscaped) {
    std::string out;
    walk(text, [&](const Character& character, std::string_view bytes) {
        if (!character.shown) {
            for (const char byte : bytes) appendEscaped(out, byte);
            return;
        }
        if (alsoEscaped.find(bytes.front()) != std::string_view::npos) out += '\\';
        out += bytes;
    });
    return out;
}

bool allShown(std::string_view text) {
    bool all = true;
    walk(text, [&](const Character& character, std::string_view) { all = all && character.shown; });
    return all;
}

/// The byte that an escape stands for, with the escape taken off `text`; false when there is no such escape.
bool takeEscape(std::string_view& text, char& byte) {
    if (text.empty()) return false;
    const char letter = text.front();
    for (const auto& [control, known] : kLetters)
        if (known == letter) {
            byte = control;
            text.remove_prefix(1);
            return true;
        }
    if (letter == '"' || letter == '\\') {
        byte = letter;
        text.remove_prefix(1);
        return true;
    }
    const auto octal = [](char c) { return c >= '0' && c <= '7'; };
    if (text.size() < 3 || letter > '3' || !std::all_of(text.begin(), text.begin() + 3, octal)) return false;
    byte = static_cast<char>((text[0] - '0') * 64 + (text[1] - '0') * 8 + (text[2] - '0'));
    text.remove_prefix(3);
    return true;
}

}  // namespace

std::string quotedName(std::string_view name) {
    if (!name.empty() && name.front() != '"' && allShown(name)) return std::string(name);
    return '"' + escaped(name, "\"\\") + '"';
}

std::string unquotedName(std::string_view text) {
    std::string out;
    std::string_view rest = text;
    if (rest.size() < 2 || rest.front() != '"' || rest.back() != '"') return std::string(text);
    rest = rest.substr(1, rest.size() - 2);
    while (!rest.empty()) {
        char byte = rest.front();
        rest.remove_prefix(1);
        if (byte == '"' || (byte == '\\' && !takeEscape(rest, byte))) return std::string(text);
        out += byte;
    }
    return out;
}

std::string printable(std::string_view text) {
    return escaped(text, "");
}

bool isUtf8(std::string_view text) noexcept {
    bool all = true;
    walk(text, [&](const Character& character, std::string_view) { all = all && character.utf8; });
    return all;
}

}  // namespace tumblewash::media
