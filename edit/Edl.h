// CMX 3600 edit decision lists: numbered events of a reel, a kind and four time codes. No rate, no file names
// but in comments; docs/edit-exchange.md tells how both are found. Read line by line, written as old editors
// take it.
#pragma once

#include <string>
#include <vector>

#include "edit/CutList.h"
#include "edit/Exchange.h"
#include "edit/MediaFinder.h"

namespace tumblewash::edit {

/// The list of a cut list, its record time from 01:00:00:00.
std::string edlText(const CutList& list, std::vector<std::string>& remarks);

/// Reads the text of a document named `name`. Throws Refusal (BadRequest) with the line of what is wrong.
CutList readEdl(const std::string& text, const std::string& name, const ExchangeSettings& settings,
                MediaFinder& finder, std::vector<std::string>& remarks);

/// The word before our own settings in comments: `* TUMBLEWASH: effect=wash-away seed=7`.
inline constexpr const char* kEdlComment = "TUMBLEWASH:";

}  // namespace tumblewash::edit
