// A settled edit as a table for people: what shows when, and which seams lie between. Text only.
#pragma once

#include <string>

#include "edit/Edit.h"
#include "edit/Request.h"

namespace tumblewash::edit {

/// Hours, minutes, seconds and milliseconds of a frame: `0:00:04.960`.
std::string clockOf(std::int64_t frame, media::FrameRate rate);

/// The timeline, one line for each clip and each seam, with a head line and a final newline.
std::string timelineTable(const Edit& edit, const MovieRequest& request);

}  // namespace tumblewash::edit
