// The command `frame`: one frame of a transition as a picture file.
#pragma once

#include "app/options.h"

namespace tumblewash {

/// Runs `frame`. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeFrame(const Options& options);

/// Checks shared by the commands that make one picture: a .png output in a writable folder that is no input.
void checkPictureOutput(const Options& options);

}  // namespace tumblewash
