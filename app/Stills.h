// The command `frame`: one frame of a transition as a picture file.
#pragma once

#include "app/Options.h"
#include "edit/StillRender.h"

namespace tumblewash::app {

/// Runs `frame`. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeFrame(const Options& options);

/// Tells standard error what could not be had of the inputs.
void sayWarnings(const Options& options, const edit::StillPair& inputs);

/// Checks shared by the commands that make one picture: a .png output in a writable folder that is no input.
void checkPictureOutput(const Options& options);

}  // namespace tumblewash::app
