#include "studio/Http.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace tumblewash::studio {
namespace {

constexpr std::size_t kLongestTarget = 4096;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (lower(c) >= 'a' && lower(c) <= 'f') return lower(c) - 'a' + 10;
    return -1;
}

std::string decoded(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? digit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? digit(text[i + 2]) : -1;
        if (high < 0 || low < 0) throw Refused{400, "bad-target", "the address holds an escape that is none"};
        plain += static_cast<char>(high * 16 + low);
        i += 2;
    }
    if (plain.find('\0') != std::string::npos)
        throw Refused{400, "bad-target", "the address holds a zero byte"};
    return plain;
}

}  // namespace

std::string_view Request::header(std::string_view name) const {
    for (const auto& [key, value] : headers)
        if (sameName(key, name)) return value;
    return {};
}

std::size_t Request::headersNamed(std::string_view name) const {
    return static_cast<std::size_t>(std::count_if(
        headers.begin(), headers.end(), [&](const auto& header) { return sameName(header.first, name); }));
}

std::int64_t Target::whole(const std::string& key, std::int64_t least, std::int64_t most,
                           std::int64_t otherwise) const {
    const auto found = query.find(key);
    if (found == query.end()) return otherwise;
    const std::string& text = found->second;
    std::int64_t value = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (problem != std::errc{} || end != text.data() + text.size() || value < least || value > most)
        throw Refused{
            400, "bad-number",
            key + ": give a whole number from " + std::to_string(least) + " to " + std::to_string(most)};
    return value;
}

Target parseTarget(std::string_view text) {
    if (text.size() > kLongestTarget) throw Refused{414, "too-long", "the address is too long"};
    if (text.empty() || text.front() != '/')
        throw Refused{400, "bad-target", "the address does not begin with a slash"};
    Target target;
    const std::size_t question = std::min(text.find('?'), text.size());
    const std::string_view path = text.substr(0, question);
    target.folder = path.ends_with('/');
    for (std::size_t start = 1; start < path.size();) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        const std::string part = decoded(path.substr(start, slash - start));
        if (part == "." || part == ".." || part.find('/') != std::string::npos)
            throw Refused{400, "bad-target", "the address steps out of its folder"};
        if (!part.empty()) target.parts.push_back(part);
        start = slash + 1;
    }
    for (std::size_t start = question + 1; start < text.size();) {
        const std::size_t end = std::min(text.find('&', start), text.size());
        const std::string_view pair = text.substr(start, end - start);
        const std::size_t equals = std::min(pair.find('='), pair.size());
        const std::string key = decoded(pair.substr(0, equals));
        const std::string value = equals < pair.size() ? decoded(pair.substr(equals + 1)) : std::string();
        if (!target.query.try_emplace(key, value).second)
            throw Refused{400, "bad-target", "the address gives a value twice"};
        start = end + 1;
    }
    return target;
}

std::string jsonString(std::string_view text) {
    return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

Response refusal(int status, std::string_view code, std::string_view message) {
    Response response;
    response.status = status;
    response.type = "application/json";
    response.body = "{\"error\":{\"code\":" + jsonString(code) + ",\"message\":" + jsonString(message) + "}}";
    return response;
}

}  // namespace tumblewash::studio
