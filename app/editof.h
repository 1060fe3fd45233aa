// A command line as an edit: clips with their media fragments, effects and durations that go round the seams,
// openings and closings. No clip is opened; that a file exists is asked only where a name holds a #.
#pragma once

#include "app/options.h"
#include "edit/edit.h"

namespace tumblewash::app {

/// The edit that join, out, in or plan asks for, with files as they were typed. Throws Refusal (BadRequest).
edit::Edit editOf(const Options& options);

/// `edit` with its files named from the folder of the document `document`, which becomes its own folder.
edit::Edit movedTo(const std::string& document, const edit::Edit& edit);

}  // namespace tumblewash::app
