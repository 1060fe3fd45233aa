// Pictures with transparency as encoders take them: which encoder keeps it in which kind of file, and
// straight alpha carried over without a rounding of its own: opaque stays opaque, nothing stays nothing. It
// encodes nothing.
#pragma once

#include <string>

#include "media/detail/Av.h"

namespace tumblewash::media {

/// The encoder that keeps transparency in one kind of movie file.
struct AlphaEncoder {
    const char* ending;    ///< of the file's name
    const char* name;      ///< for readers
    const char* encoder;   ///< the library's
    AVPixelFormat format;  ///< what it is given
    AVPixelFormat deep;    ///< the same for 10 bits; none: it has no such
    bool crf;              ///< it has such a scale

    AVPixelFormat formatFor(int depth) const noexcept { return depth > 8 ? deep : format; }
};

/// The one for `output`, a movie. Throws MediaError (badRequest), naming those there are, for files that hold
/// no transparency.
const AlphaEncoder& alphaEncoderFor(const std::string& output);

/// A new frame of an encoder's format from a picture with straight alpha. Where chroma is shared by a block,
/// pixels that do not show take no part in it.
FramePtr alphaFrame(const PictureRef& picture, AVPixelFormat format, ColourMatrix matrix);

}  // namespace tumblewash::media
