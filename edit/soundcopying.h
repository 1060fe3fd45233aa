// What of a settled edit's sound goes into the movie as it is coded, where pictures are copied: the first clip's
// packets up to the first change of its sound, or all of it without a loss where the clips' own is so. How packets
// are copied is media's.
#pragma once

#include <cstdint>

#include "edit/request.h"

namespace tumblewash::edit {

/// Tells the request's writer. The request's copies and gains are settled. Throws MediaError.
void settleSoundCopies(MovieRequest& request, const RenderSettings& settings);

/// How many frames from the request's first on have the first clip's sound alone, as it is: up to the first
/// transition, or a frame short of a cut, where sound fades. 0 where something is added to all of it.
std::int64_t unchangedFrames(const MovieRequest& request);

}  // namespace tumblewash::edit
