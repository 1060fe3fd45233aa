// Time codes, HH:MM:SS:FF, and the frames that they count at a rate, with dropped numbers where television
// drops them. The arithmetic is docs/edit-exchange.md's. No files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/Picture.h"

namespace tumblewash::edit {

/// A time code as it is written, before its rate is known.
struct TimeCode {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
    bool drop = false;  ///< said by a `;` or `,` before the frames
    bool operator==(const TimeCode&) const = default;
};

/// Reads `01:02:03:04`, `01:02:03;04`, `01:02:03,04` (drop) and `01:02:03.04` (a first field); nothing for
/// other texts.
std::optional<TimeCode> parseTimeCode(const std::string& text);

/// Frames in a second of time code: 30 at 29.97.
int nominalRate(media::FrameRate rate);

/// True for the two rates whose time code drops numbers: 30000/1001 and 60000/1001.
bool dropsFrames(media::FrameRate rate);

/// The frame that a time code names. `drop` at a rate that has none counts as none. Nothing for numbers that
/// do not exist: a frame field of the nominal rate or more, a dropped number.
std::optional<std::int64_t> frameOf(const TimeCode& code, media::FrameRate rate, bool drop);

/// The time code of a frame (0 or more), `HH:MM:SS:FF`, or `HH:MM:SS;FF` with dropped numbers. Hours run on
/// beyond 24.
std::string timeCodeOf(std::int64_t frame, media::FrameRate rate, bool drop);

}  // namespace tumblewash::edit
