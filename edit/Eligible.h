// Whether the packets of clips can follow one another in one movie without being encoded again, and the one
// sentence that says why not. It compares facts; it opens nothing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "edit/Request.h"
#include "media/PacketIndex.h"

namespace tumblewash::edit {

/// The sentence for the first thing that forbids copies as far as it shows without reading the clips'
/// packets; empty when nothing does.
std::string whyNotCopiedAtOnce(const RenderSettings& settings, const MovieRequest& request);

/// The same for what their packets tell. `clips` are the request's in their order, of which none is black.
std::string whyNotCopied(const MovieRequest& request,
                         const std::vector<std::shared_ptr<const media::PacketIndex>>& clips);

}  // namespace tumblewash::edit
