// One picture as the bytes of a JPEG for a screen, made smaller where it is asked for small.
// Not for results: those keep every byte, see StillIO.
#pragma once

#include <cstdint>
#include <vector>

#include "media/Picture.h"

namespace tumblewash::media {

/// A JPEG (JFIF, BT.601 full range, 4:4:4) of an ARGB picture, alpha ignored, scaled to `width` x `height`
/// by area. `quality` is the encoder's scale: 2 is best, 31 worst. Throws MediaError: badRequest for another
/// layout or a size outside 1 to 16384, encoding when the encoder fails.
std::vector<std::uint8_t> jpegOf(const PictureRef& picture, int width, int height, int quality = 3);

}  // namespace tumblewash::media
