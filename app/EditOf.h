// A command line as an edit: clips with their media fragments, effects and durations that go round the seams,
// openings and closings. No clip is opened; that a file exists is asked only where a name holds a #.
#pragma once

#include <string>
#include <vector>

#include "app/Options.h"
#include "edit/Edit.h"

namespace tumblewash::app {

/// The edit that join, out, in or plan asks for, with files as they were typed. Throws Refusal (BadRequest).
edit::Edit editOf(const Options& options);

/// The edit in the document of another program, with what the options say beside it. Lines about what could
/// not be taken over go to `remarks`. Throws Refusal or MediaError.
edit::Edit exchangedEdit(const Options& options, std::vector<std::string>& remarks);

/// `edit` with its files named from the folder of the document `document`, which becomes its own folder.
edit::Edit movedTo(const std::string& document, const edit::Edit& edit);

}  // namespace tumblewash::app
