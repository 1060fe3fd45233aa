#include <charconv>
#include <optional>

#include "platform/Resources.h"
#include "platform/Utf8.h"

namespace tumblewash::platform {
namespace {

constexpr std::size_t kMostStrings = 4096;
constexpr std::size_t kLongestString = 255;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<std::int16_t> number(std::string_view text) {
    std::int16_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string unescaped(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char next = text[++i];
        out += next == 'n' ? '\n' : next == 's' ? ' ' : next;
    }
    return out;
}

// Adds `index = text` to the list; anything else is left out.
void addString(StringLists& lists, std::int16_t list, std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || lists.size() >= kMostStrings) return;
    const auto index = number(trimmed(line.substr(0, equals)));
    const std::string text = unescaped(trimmed(line.substr(equals + 1)));
    if (!index || *index < 1 || text.empty()) return;
    lists.try_emplace({list, *index}, Utf8Prefix(text, kLongestString));
}

}  // namespace

StringLists ParseStringLists(std::span<const std::uint8_t> bytes) {
    std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (rest.substr(0, 3) == "\xEF\xBB\xBF") rest.remove_prefix(3);
    StringLists lists;
    std::optional<std::int16_t> list;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        const std::string_view line = trimmed(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (line.empty() || line[0] == '#' || line.find('\0') != std::string_view::npos || !IsUtf8(line))
            continue;
        if (line[0] == '[') {
            list = line.back() == ']' ? number(trimmed(line.substr(1, line.size() - 2))) : std::nullopt;
        } else if (list) {
            addString(lists, *list, line);
        }
    }
    return lists;
}

}  // namespace tumblewash::platform
