// Whether a JPEG photo carries a gain map, the second picture from which displays make an HDR one.
// It reads the file's markers, no pixels.
#pragma once

#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// True when the markers of the JPEG file's first picture announce a gain map. False for other formats.
bool jpegHasGainMap(const InputBytes& file);

}  // namespace tumblewash::media
