// What of a settled edit's sound goes into the movie as it is coded, where pictures are copied: the first
// clip's packets up to the first change of its sound, or all of it without a loss where the clips' own is so.
// How packets are copied is media's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "edit/Request.h"

namespace tumblewash::edit {

/// Tells the request's writer. The request's copies and gains are settled. Throws MediaError.
void settleSoundCopies(MovieRequest& request, const RenderSettings& settings);

/// The rate of a movie's sound where copies are asked for: 44.1 kHz where all of it is so, or the packets of
/// the first AAC are and can be kept, else 48 kHz.
int soundRateOf(const std::vector<media::MediaInfo>& clips, const std::string& output);

/// How many frames from the request's first on have the first clip's sound alone, as it is: up to the first
/// transition, or a frame short of a cut, where sound fades. 0 where something is added to all of it.
std::int64_t unchangedFrames(const MovieRequest& request);

}  // namespace tumblewash::edit
