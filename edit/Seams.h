// The seams of an edit settled before any clip is known: effects found and described, what is unset taken
// from the edit's own. How long they become is settled with the clips.
#pragma once

#include <vector>

#include "edit/Edit.h"
#include "edit/Request.h"
#include "edit/SeamLengths.h"

namespace tumblewash::edit {

/// What stands where.
enum class SeamPlace { Between, Opening, Closing };

/// The effect of a place that nobody chose.
const char* usualEffect(SeamPlace place);

/// The seams between the clips, the opening and the closing, where there is one; lengths are still 0. Throws
/// Refusal (BadRequest) for effects that do not stand in such a place.
std::vector<SettledSeam> settleSeams(const Edit& edit, const host::PluginModule& module);

/// Gives the settled seams their lengths for these clips, and adds what was shortened to `remarks`.
void settleLengths(const Edit& edit, const std::vector<PlannedClip>& clips, media::FrameRate rate,
                   std::vector<SettledSeam>& seams, std::vector<std::string>& remarks);

}  // namespace tumblewash::edit
