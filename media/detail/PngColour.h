// What a PNG says of its colours outside of an ICC profile: the chunks cICP, gAMA and cHRM (PNG, third
// edition, 11.3.2). Pictures are read as sRGB; a header that says otherwise is told about, not followed.
#pragma once

#include <string>

#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// What is told of a PNG whose header describes other colours than sRGB's, without the file's name; empty for
/// others. `profiled`: it has an ICC profile, which counts before gAMA and cHRM.
std::string pngColourRemark(const InputBytes& file, bool profiled);

}  // namespace tumblewash::media
