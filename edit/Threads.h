// How the threads that a run may use are shared out among decoding, rendering and encoding. Who starts them
// is the readers', the renderer's and the writer's matter.
#pragma once

#include <cstdint>

#include "media/Reader.h"
#include "media/Writer.h"

namespace tumblewash::edit {

/// `threads` is each time what `RenderSettings` says: 0 by the machine, 1 nothing beside the caller.

/// For readers of a known size and layout, whose pictures go into `movie`.
void settleThreads(int threads, const media::MovieColour& movie, media::ReaderSettings& reader);

/// For a writer of a known size and codec. The bytes that most encoders make depend on their number of
/// threads, as they do where it is the machine's.
void settleThreads(int threads, media::WriterSettings& writer);

/// Sessions of a transition of `frames` frames, for `ParallelRenderer`, whose pictures go to such a writer.
int sessionsFor(int threads, const media::WriterSettings& writer, std::int64_t frames);

}  // namespace tumblewash::edit
