// What each clip's sound is multiplied by: its own gain, and what brings it to the edit's loudness. One
// factor for a clip, before seams. It measures by reading the clips; it renders nothing.
#pragma once

#include "edit/Request.h"

namespace tumblewash::edit {

/// Sets the gains of the request's clips and adds a line for each that was measured. Reads the sound of every
/// clip where the edit asks for a loudness. Throws MediaError, or Refusal (Interrupted).
/// What `settings.shelf` knows is not measured again.
void settleGains(const Edit& edit, MovieRequest& request, const RenderSettings& settings);

}  // namespace tumblewash::edit
