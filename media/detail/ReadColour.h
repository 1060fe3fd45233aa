// What container and first decoded picture say of a clip's colour, made into a ClipColour.
// It decides nothing about the output; colours that cannot be converted at all are refused here, in words.
#pragma once

#include <string>

#include "media/Colour.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

/// The colour of a clip whose first picture is `frame`. The picture's own tags count before the stream's:
/// some phones say only within the pictures that they are HLG. `still`: its alpha channel is looked through
/// for pixels that are not opaque. Throws MediaError (undecodable) for matrices that nothing here converts
/// and for Dolby Vision without an ordinary base picture.
ClipColour readColour(const std::string& path, const AVStream& stream, const AVFrame& frame, bool still);

/// The same of a photo that another library decoded into `frame`, which has its tags.
ClipColour readPhotoColour(const std::string& path, const AVFrame& frame);

/// What the format of the pixels alone tells: depth, chroma, alpha.
void describeFormat(const AVFrame& frame, bool still, ClipColour& out);

}  // namespace tumblewash::media
