// FFmpeg's concat lists (`ffconcat version 1.0`): files one after another, with in and out points on their
// own clocks. Seams cannot be said; they are written as cuts in their middle.
#pragma once

#include <string>
#include <vector>

#include "edit/CutList.h"
#include "edit/Edit.h"
#include "edit/Exchange.h"

namespace tumblewash::edit {

/// The list of a cut list, to stand in `folder`: files below it get relative names.
std::string concatText(const CutList& list, const std::string& folder, std::vector<std::string>& remarks);

/// Reads the text of a list named `name`. Files must be plain files below the list's own folder unless
/// `settings.unsafePaths`. Throws Refusal (BadRequest) with the line of what is wrong.
Edit readConcat(const std::string& text, const std::string& name, const ExchangeSettings& settings,
                std::vector<std::string>& remarks);

}  // namespace tumblewash::edit
