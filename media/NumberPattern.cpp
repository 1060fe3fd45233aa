#include "media/NumberPattern.h"

#include <cstdlib>
#include <regex>

namespace tumblewash::media {

namespace {

const std::regex& numberSign() {
    static const std::regex sign("%(0?[1-9]?)d");
    return sign;
}

}  // namespace

bool isNumberPattern(const std::string& output) {
    const auto slash = output.rfind('/');
    const std::string name = slash == std::string::npos ? output : output.substr(slash + 1);
    return std::regex_search(name, numberSign()) && output.find('%') == output.rfind('%');
}

std::string numbered(const std::string& pattern, int64_t number) {
    std::smatch found;
    if (!std::regex_search(pattern, found, numberSign())) return pattern;
    const std::string width = found[1].str();
    const int columns = width.empty() || width == "0" ? 0 : width.back() - '0';
    const char fill = !width.empty() && width.front() == '0' ? '0' : ' ';
    std::string digits = std::to_string(number);
    if (static_cast<int>(digits.size()) < columns)
        digits.insert(0, static_cast<size_t>(columns) - digits.size(), fill);
    return found.prefix().str() + digits + found.suffix().str();
}

int64_t numberOf(const std::string& pattern, const std::string& name) {
    std::smatch found;
    if (!std::regex_search(pattern, found, numberSign())) return 0;
    const auto before = static_cast<size_t>(found.prefix().length());
    const auto after = static_cast<size_t>(found.suffix().length());
    if (name.size() <= before + after) return 0;
    const std::string digits = name.substr(before, name.size() - before - after);
    const int64_t number = std::strtoll(digits.c_str(), nullptr, 10);
    return number > 0 && numbered(pattern, number) == name ? number : 0;
}

}  // namespace tumblewash::media
