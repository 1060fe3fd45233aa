// The encoder of the pictures between copied ones: set up like the encoder that made the clips, so that
// decoders meet no change where the two follow one another.
#pragma once

#include <string>

#include "media/CopyPlan.h"
#include "media/Writer.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

/// An opened encoder for one run of encoded pictures of a plan; each run needs a new one, and all have the
/// same headers. `settings` are the movie's. Throws MediaError (encoding).
CodecPtr openSeamEncoder(const std::string& output, const WriterSettings& settings, const CopyPlan& plan);

/// False when this encoder writes no header, or no kind of pictures, like the clip's where packets depend on
/// it.
bool matchesClip(const PacketIndex& clip);

/// How many pictures at most one of this encoder's stands before its turn.
int64_t seamLag(const AVCodecContext& codec);

}  // namespace tumblewash::media
