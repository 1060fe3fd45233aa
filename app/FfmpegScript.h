// The command `ffmpeg-script`: a seam of two clips for ffmpeg's own frei0r filter, as a file of timed
// commands and the command line that uses it. Nothing is rendered here.
#pragma once

#include "app/Options.h"

namespace tumblewash::app {

/// Runs `ffmpeg-script`. Throws Refusal, MediaError or HostError; an old file is then as it was.
void makeFfmpegScript(const Options& options);

}  // namespace tumblewash::app
