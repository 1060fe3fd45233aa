// The picture encoder of a movie: which one, with what settings and tags, and pictures in the form it takes.
// It writes no file: packets are the muxer's.
#pragma once

#include <string>

#include "media/Writer.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

/// The colours of a movie with these settings: as set, else ordinary ones in the file's usual codec.
MovieColour movieColourOf(const std::string& output, const WriterSettings& settings);

/// Checks quality, preset and line order against the codec. Throws MediaError (badRequest).
void checkVideo(const std::string& output, const WriterSettings& settings);

/// An encoder context with everything set, not opened. Throws MediaError (encoding) when this FFmpeg lacks
/// it.
CodecPtr makeVideoEncoder(const std::string& output, const WriterSettings& settings, bool globalHeader);

/// The marks that belong to the file rather than to the codec: light data, the codec's tag. Call it when the
/// encoder has been opened and its parameters were copied.
void markVideoStream(const std::string& output, const WriterSettings& settings, AVStream& stream);

/// A picture as this encoder takes it, without time.
FramePtr encoderFrame(const PictureRef& picture, const WriterSettings& settings, const AVCodecContext& codec,
                      const MovieColour& colour);

}  // namespace tumblewash::media
