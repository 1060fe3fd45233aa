// The look at a finished movie of copied packets before it gets its name: all packets are there at the times
// they should have, and around every splice it decodes to the very pictures of its clips.
#pragma once

#include <string>

#include "media/Writer.h"

namespace tumblewash::media {

/// Reads the movie through its open descriptor `file`. Throws CopyCheckFailed, or MediaError (cancelled).
void checkCopies(const std::string& output, int file, const WriterSettings& settings);

}  // namespace tumblewash::media
