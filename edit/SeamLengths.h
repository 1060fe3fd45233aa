// How long seams are that nobody gave a length: as long as their clips allow, at most a second. What a clip
// has left beside seams of given lengths is shared evenly among the others. Pure counting in frames.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "edit/Plan.h"

namespace tumblewash::edit {

/// What is known of a seam, an opening or a closing before its length is.
struct SeamWish {
    std::string id;  ///< of its effect, for messages
    Placement placement = Placement::Overlap;
    std::optional<std::int64_t> frames;  ///< a length that was given; even, 2 or more
};

/// The lengths of all seams: `between` (one fewer than clips), then the opening and the closing, where there
/// is one. A seam without a length gets `usual` frames (even) or the smaller of its clips' shares, twice that
/// for Halves, made even downward; a cut gets 0. The order of evaluation cannot matter, and a clip changes
/// only its own seams. Throws Refusal (BadRequest) with the numbers where a share is too small.
std::vector<std::int64_t> fitSeams(const std::vector<PlannedClip>& clips,
                                   const std::vector<SeamWish>& between,
                                   const std::optional<SeamWish>& opening,
                                   const std::optional<SeamWish>& closing, std::int64_t usual);

}  // namespace tumblewash::edit
