// A photo told by its first and last bytes alone: enough to plan with a thousand of them. Nothing is decoded;
// whatever is not quite usual is left to `probe`.
#pragma once

#include <optional>
#include <string>

#include "media/Probe.h"

namespace tumblewash::media {

/// What `probe` would say of an ordinary JPEG or PNG file: kind, sizes, orientation, alpha. Nothing for other
/// files, for those whose head or end is not as it should be, and for those that say more than an ordinary
/// photo does (pixels that are not square, more than 8 bits, palettes, animation).
std::optional<MediaInfo> probeHead(const std::string& path);

}  // namespace tumblewash::media
