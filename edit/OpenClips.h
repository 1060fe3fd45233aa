// The clips of an edit as files: probed, opened, counted and trimmed. What is made of them, and how long
// seams and held stills become, is the request's matter.
#pragma once

#include <vector>

#include "edit/ClipShelf.h"
#include "edit/Clips.h"
#include "edit/Edit.h"
#include "media/Reader.h"

namespace tumblewash::edit {

/// The probed facts of the clips that the size and the rate come from: up to the first that moves. Throws
/// Refusal for an edit among them and MediaError for a file that cannot be read.
std::vector<media::MediaInfo> probeFirst(const Edit& edit, media::CancelFlag cancel);

/// Opens all clips, each file once, and trims them. `infos` are what `probeFirst` found: sizes, rates and
/// sound were settled by these very files, and no other will do. `shelf` may be null. Throws Refusal for
/// trims that leave nothing and for damaged times, and MediaError.
std::vector<Clip> openClips(const Edit& edit, const std::vector<media::MediaInfo>& infos,
                            const media::ReaderSettings& settings, media::FieldOrder fields,
                            ClipShelf* shelf);

}  // namespace tumblewash::edit
