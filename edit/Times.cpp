#include "edit/Times.h"

#include <fmt/format.h>

#include <numeric>

#include "edit/Errors.h"

namespace tumblewash::edit {

using media::FrameRate;

namespace {

constexpr std::int64_t kMicro = 1000000;
constexpr std::int64_t kLongest = 100 * 3600 * kMicro;

bool allDigits(const std::string& text) {
    if (text.empty()) return false;
    for (const char c : text)
        if (c < '0' || c > '9') return false;
    return true;
}

// Whole numbers of at most nine digits: everything a user means, nothing that overflows later.
bool parseWhole(const std::string& text, std::int64_t& value) {
    if (!allDigits(text) || text.size() > 9) return false;
    value = std::stoll(text);
    return true;
}

[[noreturn]] void refuseTime(const std::string& text) {
    throw Refusal(Problem::BadRequest,
                  fmt::format("'{}' is not a time; write 1.5s, 500ms, 45f, 01:02.5, 1:02:03 or .5", text));
}

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() > tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// [HH:]MM:SS.m: the last part may carry decimals, the others are whole; below 60 after a colon.
bool parseClock(const std::string& text, std::int64_t& micros) {
    std::int64_t total = 0;
    std::size_t start = 0;
    int parts = 0;
    for (;;) {
        const std::size_t colon = text.find(':', start);
        const std::string part = text.substr(start, colon == std::string::npos ? colon : colon - start);
        ++parts;
        std::int64_t value = 0;
        if (colon == std::string::npos) {
            if (!parseDecimal(part, value) || value >= 60 * kMicro) return false;
            micros = total * 60 * kMicro + value;
            return parts == 2 || parts == 3;
        }
        if (!parseWhole(part, value) || (parts > 1 && value >= 60) || value > 6000) return false;
        total = total * 60 + value;
        start = colon + 1;
    }
}

}  // namespace

bool parseDecimal(const std::string& text, std::int64_t& micros) {
    const std::size_t dot = text.find('.');
    const std::string whole = text.substr(0, dot);
    std::string part = dot == std::string::npos ? "" : text.substr(dot + 1);
    if (whole.empty() && part.empty()) return false;
    std::int64_t value = 0;
    if (!whole.empty() && !parseWhole(whole, value)) return false;
    std::int64_t fraction = 0;
    if (!part.empty()) {
        if (!allDigits(part)) return false;
        part.resize(6, '0');
        fraction = std::stoll(part);
    }
    micros = value * kMicro + fraction;
    return true;
}

std::int64_t TimeSpan::frames(FrameRate rate) const {
    if (unit == Unit::Frames) return count;
    const std::int64_t divisor = rate.den * kMicro;
    return (count * rate.num + divisor / 2) / divisor;
}

TimeSpan parseTime(const std::string& text) {
    std::int64_t value = 0;
    if (endsWith(text, "f")) {
        if (!parseWhole(text.substr(0, text.size() - 1), value)) refuseTime(text);
        return {TimeSpan::Unit::Frames, value};
    }
    bool ok = false;
    if (endsWith(text, "ms")) {
        ok = parseDecimal(text.substr(0, text.size() - 2), value);
        value = (value + 500) / 1000;
    } else if (endsWith(text, "s")) {
        ok = parseDecimal(text.substr(0, text.size() - 1), value);
    } else if (text.find(':') != std::string::npos) {
        ok = parseClock(text, value);
    } else {
        ok = parseDecimal(text, value);
    }
    if (!ok) refuseTime(text);
    if (value > kLongest)
        throw Refusal(Problem::BadRequest,
                      fmt::format("'{}' is longer than 100 hours; give a shorter time", text));
    return {TimeSpan::Unit::Microseconds, value};
}

FrameRate makeRate(std::int64_t num, std::int64_t den) {
    const std::int64_t divisor = std::gcd(num, den);
    return divisor == 0 ? FrameRate{num, den} : FrameRate{num / divisor, den / divisor};
}

FrameRate parseRate(const std::string& text) {
    static constexpr struct {
        std::int64_t thousandths;
        FrameRate rate;
    } kFamily[] = {{23976, {24000, 1001}}, {23980, {24000, 1001}}, {29970, {30000, 1001}},
                   {47952, {48000, 1001}}, {59940, {60000, 1001}}, {119880, {120000, 1001}}};
    FrameRate rate{0, 1};
    const std::size_t slash = text.find('/');
    bool ok = false;
    if (slash != std::string::npos) {
        std::int64_t num = 0;
        std::int64_t den = 0;
        ok = parseWhole(text.substr(0, slash), num) && parseWhole(text.substr(slash + 1), den) && num > 0 &&
             den > 0 && num <= kMicro && den <= kMicro;
        if (ok) rate = makeRate(num, den);
    } else {
        std::int64_t micros = 0;
        ok = parseDecimal(text, micros);
        if (ok) rate = makeRate(micros / 1000, 1000);
        for (const auto& row : kFamily)
            if (ok && micros == row.thousandths * 1000) rate = row.rate;
    }
    if (!ok || rate.num < rate.den || rate.num > 240 * rate.den)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("'{}' is not a frame rate from 1 to 240; write 25, 29.97 or 30000/1001", text));
    return rate;
}

PixelSize parseSize(const std::string& text) {
    struct Named {
        const char* name;
        PixelSize size;
    };
    static constexpr Named kNamed[] = {
        {"480p", {854, 480}},    {"720p", {1280, 720}}, {"1080p", {1920, 1080}}, {"1440p", {2560, 1440}},
        {"2160p", {3840, 2160}}, {"4k", {3840, 2160}},  {"4K", {3840, 2160}}};
    for (const Named& named : kNamed)
        if (text == named.name) return named.size;
    const std::size_t cross = text.find_first_of("xX");
    std::int64_t width = 0;
    std::int64_t height = 0;
    if (cross == std::string::npos || !parseWhole(text.substr(0, cross), width) ||
        !parseWhole(text.substr(cross + 1), height))
        throw Refusal(
            Problem::BadRequest,
            fmt::format("'{}' is not a size; write WIDTHxHEIGHT, 720p, 1080p or 4k, e.g. 1280x720", text));
    return {static_cast<int>(width), static_cast<int>(height)};
}

double secondsOf(std::int64_t frames, FrameRate rate) {
    return static_cast<double>(frames) * static_cast<double>(rate.den) / static_cast<double>(rate.num);
}

std::int64_t microsecondsOf(std::int64_t frames, FrameRate rate) {
    return frames * rate.den * kMicro / rate.num;
}

std::string describe(FrameRate rate) {
    std::string text = fmt::format("{:.3f}", static_cast<double>(rate.num) / static_cast<double>(rate.den));
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text;
}

std::string describe(PixelSize size) {
    return fmt::format("{}x{}", size.width, size.height);
}

PixelSize evenSize(PixelSize size) {
    return {size.width + (size.width & 1), size.height + (size.height & 1)};
}

}  // namespace tumblewash::edit
