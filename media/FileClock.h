// What a file says of its own clock: its start time code and the moment at which it begins. Nothing is
// decoded.
#pragma once

#include <cstdint>
#include <string>

#include "media/Picture.h"

namespace tumblewash::media {

/// A file's own clock.
struct FileClock {
    std::string timeCode;                ///< `HH:MM:SS:FF` of the first picture; empty: none
    FrameRate rate;                      ///< of the pictures; 0 when unknown
    std::int64_t startMicroseconds = 0;  ///< the moment that the container counts from
};

/// Reads a file's headers. A file that cannot be read has no clock of its own: the result is empty.
FileClock readFileClock(const std::string& path);

}  // namespace tumblewash::media
