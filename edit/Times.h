// Times, rates and sizes as people type them, and their exact conversion to frames.
// Times are kept as whole frames or whole microseconds, rates as fractions: no rounding happens
// before a rate is known. Nothing here touches files.
#pragma once

#include <cstdint>
#include <string>

#include "media/Picture.h"

namespace tumblewash::edit {

/// A picture size in pixels.
struct PixelSize {
    int width = 0;
    int height = 0;
    bool operator==(const PixelSize&) const = default;
};

/// A length of time: whole frames, or microseconds that wait for a rate.
struct TimeSpan {
    enum class Unit { Frames, Microseconds };
    Unit unit = Unit::Microseconds;
    std::int64_t count = 0;

    /// Whole frames at `rate`, rounded to the nearest (halves up).
    std::int64_t frames(media::FrameRate rate) const;
    bool operator==(const TimeSpan&) const = default;
};

/// Reads `1.5s`, `45f`, `500ms`, `[HH:]MM:SS.m`, `.5` or `2` (seconds). Longest: 100 hours.
/// Throws Refusal (BadRequest) with the text and the accepted forms.
TimeSpan parseTime(const std::string& text);

/// Reads `25`, `30000/1001`, `12.5`; the usual short forms of the 1001 family (`23.976`, `23.98`, `29.97`,
/// `47.952`, `59.94`, `119.88`) give their exact fractions. From 1 to 240. Throws Refusal (BadRequest).
media::FrameRate parseRate(const std::string& text);

/// Reads `WIDTHxHEIGHT`, `480p`, `720p`, `1080p`, `1440p`, `2160p` or `4k`. Throws Refusal (BadRequest) when
/// it is no size; limits are refuseSize's.
PixelSize parseSize(const std::string& text);

/// Reads a decimal number without a sign, exponent or unit into `whole` + `micro` / 1e6; false when it is
/// none.
bool parseDecimal(const std::string& text, std::int64_t& micros);

/// The reduced fraction num / den.
media::FrameRate makeRate(std::int64_t num, std::int64_t den);

/// Seconds that `frames` last at `rate`.
double secondsOf(std::int64_t frames, media::FrameRate rate);

/// Microseconds that `frames` last at `rate`, rounded down.
std::int64_t microsecondsOf(std::int64_t frames, media::FrameRate rate);

/// `29.97`, `25`, ... for messages: at most three decimals, no trailing zeros.
std::string describe(media::FrameRate rate);

/// `720x480`.
std::string describe(PixelSize size);

/// The nearest size with even edges, odd edges going up: what 4:2:0 pictures need.
PixelSize evenSize(PixelSize size);

}  // namespace tumblewash::edit
