// The timeline of an edit as a picture: clips as strips with pictures and sound, in two lanes that overlap
// where the clips do, seams between them, times underneath.
#pragma once

#include "app/Canvas.h"
#include "app/Options.h"
#include "edit/Request.h"

namespace tumblewash::app {

/// Draws a settled edit. `name` stands at the top where the edit has no title. Long edits go on in further
/// rows. Throws MediaError for a clip that cannot be read.
media::PictureRef drawTimeline(const edit::Edit& edit, const edit::MovieRequest& request,
                               const std::string& name, Theme theme, int threads);

}  // namespace tumblewash::app
