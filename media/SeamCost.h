// How long this machine takes for pictures that are encoded around seams, found by doing some of them.
// Nothing is written.
#pragma once

#include <memory>

#include "media/PacketIndex.h"
#include "media/Reader.h"

namespace tumblewash::media {

/// Seconds for one picture.
struct SeamCost {
    double decoding = 0;
    double encoding = 0;
};

/// Decodes and encodes the first pictures of the clip, as `reading` reads them. Throws MediaError.
SeamCost measureSeams(const std::shared_ptr<const PacketIndex>& clip, const ReaderSettings& reading);

}  // namespace tumblewash::media
