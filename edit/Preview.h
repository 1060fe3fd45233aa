// What a clip of a settled edit looks and sounds like at a glance: small pictures of chosen frames, and the
// loudest sample of each stretch. It reads the clip by itself and leaves the request as it is.
#pragma once

#include <cstdint>
#include <vector>

#include "edit/Edit.h"
#include "edit/Request.h"

namespace tumblewash::edit {

/// Small pictures and the shape of the sound.
struct ClipPreview {
    std::vector<media::PictureRef> pictures;  ///< one for each frame asked for; ARGB
    std::vector<float> peaks;                 ///< one for each stretch, 0 to 1; empty without sound
};

/// Pictures of `size` of the clip's frames `frames` (ascending, from 0 where the edit starts to use it), and
/// the peaks of `stretches` equal stretches of its sound, where it has any and stretches are asked for. Safe
/// for several clips at the same time. Throws MediaError or Refusal.
ClipPreview previewClip(const Edit& edit, const MovieRequest& request, std::size_t clip, PixelSize size,
                        const std::vector<std::int64_t>& frames, std::size_t stretches,
                        media::CancelFlag cancel);

}  // namespace tumblewash::edit
