#include "edit/Decibels.h"

#include <fmt/format.h>

#include <cmath>
#include <optional>

#include "edit/Errors.h"
#include "edit/Times.h"

namespace tumblewash::edit {
namespace {

/// A number with a sign and a unit in any case, a blank between them or not.
std::optional<double> number(const std::string& text, const std::string& unit) {
    std::string digits = text;
    if (digits.size() > unit.size()) {
        std::string end = digits.substr(digits.size() - unit.size());
        for (char& c : end) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if (end == unit) digits.resize(digits.size() - unit.size());
    }
    while (!digits.empty() && digits.back() == ' ') digits.pop_back();
    const bool minus = !digits.empty() && digits.front() == '-';
    if (minus || (!digits.empty() && digits.front() == '+')) digits.erase(0, 1);
    std::int64_t micros = 0;
    if (!parseDecimal(digits, micros)) return std::nullopt;
    return (minus ? -1 : 1) * static_cast<double>(micros) / 1e6;
}

std::string shortest(double value) {
    std::string text = fmt::format("{:.3f}", value);
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text;
}

}  // namespace

double parseDecibels(const std::string& text) {
    const std::optional<double> value = number(text, "db");
    if (!value || *value < -96 || *value > 24)
        throw Refusal(Problem::BadRequest,
                      fmt::format("'{}' is not a level; write -96dB to 24dB, e.g. -6dB", text));
    return *value;
}

double parseLoudness(const std::string& text) {
    const std::optional<double> value = number(text, "lufs");
    if (!value || *value < -50 || *value > -5)
        throw Refusal(Problem::BadRequest,
                      fmt::format("'{}' is not a loudness; write -50LUFS to -5LUFS, e.g. -16LUFS", text));
    return *value;
}

std::string decibelWords(double decibels) {
    return shortest(decibels) + "dB";
}

std::string loudnessWords(double lufs) {
    return shortest(lufs) + "LUFS";
}

double linearOf(double decibels) {
    return std::pow(10.0, decibels / 20);
}

double decibelsOf(double linear) {
    return 20 * std::log10(linear);
}

}  // namespace tumblewash::edit
