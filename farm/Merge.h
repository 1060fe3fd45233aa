// Puts the parts of a plan together: every receipt and every piece is checked, then packets are copied into
// one file. What comes out is a function of the plan alone.
#pragma once

#include <string>

#include "farm/FarmPlan.h"
#include "farm/PartFiles.h"
#include "media/Pieces.h"

namespace tumblewash::farm {

/// A movie that was put together.
struct Merged {
    media::MergedPrints prints;
    PartWords words;  ///< what the parts' receipts tell, each line once
};

/// Merges the parts in `folder` into `output`, a movie of the plan's kind. Sound that is not among them is
/// rendered first. Throws Refusal or MediaError, with every part that cannot be used in one line; an old
/// output is then as it was.
Merged mergeParts(const FarmPlan& plan, const std::string& folder, const std::string& output, bool force,
                  media::CancelFlag cancel);

}  // namespace tumblewash::farm
