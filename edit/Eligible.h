// Whether the packets of clips can follow one another in one movie without being encoded again, and the one
// sentence that says why not. It compares facts; it opens nothing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "edit/Request.h"
#include "media/PacketIndex.h"

namespace tumblewash::edit {

/// Why nothing is copied.
struct NoCopies {
    std::string why;        ///< a sentence; empty: nothing stands in the way
    bool expected = false;  ///< it follows from what was asked for
};

/// What an edit or a run asks for that copies cannot have; before any clip is opened. Copies that are
/// demanded leave the encoder's settings to the seams. Empty when there is nothing.
std::string whyNotAsked(const Edit& edit, const RenderSettings& settings, CopyBodies bodies);

/// The first thing that forbids copies as far as it shows without reading the clips' packets.
NoCopies whyNotCopiedAtOnce(const Edit& edit, const RenderSettings& settings, CopyBodies bodies,
                            const MovieRequest& request);

/// The same for what their packets tell. `clips` are the request's in their order, of which none is black.
NoCopies whyNotCopied(const Edit& edit, const RenderSettings& settings, const MovieRequest& request,
                      const std::vector<std::shared_ptr<const media::PacketIndex>>& clips);

}  // namespace tumblewash::edit
