// The number that other programs give the first picture of a file: its start time code, where it has one.
#pragma once

#include <cstdint>
#include <string>

#include "media/Picture.h"

namespace tumblewash::edit {

/// The start time code of a file as a frame at `rate`; 0 without one, and for drawn sources.
std::int64_t startFrameOf(const std::string& file, media::FrameRate rate);

}  // namespace tumblewash::edit
