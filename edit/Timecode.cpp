#include "edit/Timecode.h"

#include <fmt/format.h>

#include <cmath>

namespace tumblewash::edit {

using media::FrameRate;

std::optional<TimeCode> parseTimeCode(const std::string& text) {
    if (text.size() != 11) return std::nullopt;
    const auto field = [&](std::size_t at) -> int {
        const char tens = text[at];
        const char ones = text[at + 1];
        if (tens < '0' || tens > '9' || ones < '0' || ones > '9') return -1;
        return (tens - '0') * 10 + (ones - '0');
    };
    const char last = text[8];
    if (text[2] != ':' || text[5] != ':' || (last != ':' && last != ';' && last != ',' && last != '.'))
        return std::nullopt;
    const TimeCode code{field(0), field(3), field(6), field(9), last == ';' || last == ','};
    if (code.hours < 0 || code.minutes < 0 || code.minutes > 59 || code.seconds < 0 || code.seconds > 59 ||
        code.frames < 0)
        return std::nullopt;
    return code;
}

int nominalRate(FrameRate rate) {
    return static_cast<int>(std::lround(rate.value()));
}

bool dropsFrames(FrameRate rate) {
    return rate == FrameRate{30000, 1001} || rate == FrameRate{60000, 1001};
}

std::optional<std::int64_t> frameOf(const TimeCode& code, FrameRate rate, bool drop) {
    const int nominal = nominalRate(rate);
    if (code.frames >= nominal) return std::nullopt;
    const std::int64_t minutes = std::int64_t{60} * code.hours + code.minutes;
    const std::int64_t frame = (60 * minutes + code.seconds) * nominal + code.frames;
    if (!drop || !dropsFrames(rate)) return frame;
    const int dropped = nominal / 15;
    if (code.seconds == 0 && code.frames < dropped && minutes % 10 != 0) return std::nullopt;
    return frame - dropped * (minutes - minutes / 10);
}

std::string timeCodeOf(std::int64_t frame, FrameRate rate, bool drop) {
    const int nominal = nominalRate(rate);
    const bool dropping = drop && dropsFrames(rate);
    if (dropping) {
        const std::int64_t dropped = nominal / 15;
        const std::int64_t tens = frame / (600 * nominal - 9 * dropped);
        const std::int64_t rest = frame % (600 * nominal - 9 * dropped);
        frame += 9 * dropped * tens;
        if (rest >= dropped) frame += dropped * ((rest - dropped) / (60 * nominal - dropped));
    }
    const std::int64_t seconds = frame / nominal;
    return fmt::format("{:02}:{:02}:{:02}{}{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60,
                       dropping ? ';' : ':', frame % nominal);
}

}  // namespace tumblewash::edit
