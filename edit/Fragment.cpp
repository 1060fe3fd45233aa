#include "edit/Fragment.h"

#include <fmt/format.h>

#include <filesystem>
#include <vector>

#include "edit/Errors.h"

namespace tumblewash::edit {
namespace {

[[noreturn]] void refuse(const std::string& name, const std::string& words) {
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: {}; write #t=5,20, #t=,20, #t=5 or #t=00:00:05,00:00:20.5", name, words));
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool digits(const std::string& text, std::size_t least, std::size_t most) {
    if (text.size() < least || text.size() > most) return false;
    for (const char c : text)
        if (c < '0' || c > '9') return false;
    return true;
}

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == at)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

/// One `t` of a fragment; false when it is none, so that an earlier one counts.
bool readTime(const std::string& value, Fragment& into) {
    const std::size_t comma = value.find(',');
    const std::string first = value.substr(0, comma);
    const bool two = comma != std::string::npos;
    const std::string second = two ? value.substr(comma + 1) : "";
    if ((first.empty() && !two) || (two && second.empty())) return false;
    std::optional<TimeSpan> in;
    std::optional<TimeSpan> out;
    if (!first.empty() && !(in = parseFragmentTime(first))) return false;
    if (two && !(out = parseFragmentTime(second))) return false;
    into.in.reset();
    into.out.reset();
    if (in) into.in = EditTime{*in, {}};
    if (out) into.out = EditTime{*out, {}};
    return true;
}

}  // namespace

std::string percentDecoded(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool triple =
            text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0;
        if (!triple) {
            out += text[i];
            continue;
        }
        out += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
        i += 2;
    }
    return out;
}

std::optional<TimeSpan> parseFragmentTime(const std::string& text) {
    const std::vector<std::string> parts = split(text, ':');
    if (parts.size() > 3) return std::nullopt;
    const std::size_t dot = parts.back().find('.');
    const std::string seconds = parts.back().substr(0, dot);
    const std::string fraction = dot == std::string::npos ? "" : parts.back().substr(dot + 1);
    if (dot != std::string::npos && !digits(fraction, 0, 100)) return std::nullopt;
    std::int64_t whole = 0;
    if (parts.size() == 1) {
        if (!digits(seconds, 1, 6)) return std::nullopt;
        whole = std::stoll(seconds);
    } else {
        const std::string& minutes = parts[parts.size() - 2];
        if (!digits(seconds, 2, 2) || !digits(minutes, 2, 2)) return std::nullopt;
        if (parts.size() == 3 && !digits(parts[0], 1, 4)) return std::nullopt;
        const std::int64_t hours = parts.size() == 3 ? std::stoll(parts[0]) : 0;
        const std::int64_t mm = std::stoll(minutes);
        const std::int64_t ss = std::stoll(seconds);
        if (mm > 59 || ss > 59) return std::nullopt;
        whole = (hours * 60 + mm) * 60 + ss;
    }
    if (whole > 360000) return std::nullopt;  // the longest time, 100 hours
    std::string micros = fraction.substr(0, 6);
    micros.resize(6, '0');
    return TimeSpan{TimeSpan::Unit::Microseconds, whole * 1000000 + std::stoll(micros)};
}

Fragment splitFragment(const std::string& name) {
    const std::size_t hash = name.rfind('#');
    std::error_code ignored;
    if (hash == std::string::npos || hash == 0 || std::filesystem::exists(name, ignored))
        return {name, {}, {}};
    Fragment fragment{name.substr(0, hash), {}, {}};
    bool said = false;
    bool tried = false;
    for (const std::string& pair : split(name.substr(hash + 1), '&')) {
        if (pair.rfind("t=", 0) != 0) continue;
        tried = true;
        std::string value = percentDecoded(pair.substr(2));
        for (const char* unit : {"smpte", "clock:"})
            if (value.rfind(unit, 0) == 0) refuse(name, "only plain times are supported");
        if (value.rfind("npt:", 0) == 0) value = value.substr(4);
        said = readTime(value, fragment) || said;
    }
    // A # is an ordinary character of file names; the refusal of a missing file then shows the whole name.
    if (!tried) return {name, {}, {}};
    if (!said) refuse(name, "the fragment says no time");
    const auto micros = [](const std::optional<EditTime>& time) { return time ? time->value.count : 0; };
    if (fragment.out && micros(fragment.out) <= micros(fragment.in))
        refuse(name, "the end is not after the start");
    return fragment;
}

}  // namespace tumblewash::edit
