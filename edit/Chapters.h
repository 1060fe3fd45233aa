// The chapters of a movie: one for each clip of the edit. How a file holds them is media's.
#pragma once

#include <cstdint>
#include <vector>

#include "edit/Edit.h"
#include "edit/Plan.h"
#include "media/Writer.h"

namespace tumblewash::edit {

/// A chapter for each clip that begins in frames [first, end) of the plan, and one for what has begun before.
std::vector<media::Chapter> chaptersOf(const Edit& edit, const FramePlan& plan, std::int64_t first,
                                       std::int64_t end);

}  // namespace tumblewash::edit
