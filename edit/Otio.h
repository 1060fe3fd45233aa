// OpenTimelineIO: an edit as nested JSON objects that name their own schemas. Written as the oldest versions
// that every reader takes; both the old and the newer ones are read.
#pragma once

#include <string>
#include <vector>

#include "edit/CutList.h"
#include "edit/Exchange.h"
#include "edit/MediaFinder.h"

namespace tumblewash::edit {

/// The timeline of a cut list, indented by four blanks.
std::string otioText(const CutList& list, std::vector<std::string>& remarks);

/// Reads the text of a document named `name`. Throws Refusal (BadRequest) with the line of what is wrong.
CutList readOtio(const std::string& text, const std::string& name, const ExchangeSettings& settings,
                 MediaFinder& finder, std::vector<std::string>& remarks);

/// A name as a `file:` address (RFC 8089), its bytes percent-encoded (RFC 3986).
std::string fileUrl(const std::string& path);

/// The name behind a `file:` address or a plain path, decoded once. Throws Refusal (BadRequest) for other
/// addresses.
std::string pathOfUrl(const std::string& url);

}  // namespace tumblewash::edit
