// What a clip holds besides the picture and the sound that are used: told, so that nobody misses it too late.
// It reads the container's lists only.
#pragma once

#include <string>
#include <vector>

#include "media/detail/Av.h"

namespace tumblewash::media {

/// Names what is left out of a clip of which the streams `video` and `audio` (-1: none) are used, in words
/// that follow "left out:"; empty for an ordinary clip.
std::vector<std::string> restOfClip(const AVFormatContext& file, int video, int audio);

/// "5.1", "mono" and so on, or "6 channels" where the order has no name.
std::string channelsWord(const AVChannelLayout& layout);

}  // namespace tumblewash::media
