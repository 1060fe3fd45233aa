// The commands that make movies: join, out and in out of a command line, render out of a document. Everything
// is checked first; then one pass over the plan copies or renders frame after frame.
#pragma once

#include <string>
#include <vector>

#include "app/Options.h"
#include "edit/Edit.h"

namespace tumblewash::app {

/// Runs join, out or in. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeMovie(const Options& options);

/// Runs render. Errors as `makeMovie` has them.
void renderDocument(const Options& options);

/// Gives the memory of pictures back to the system one by one. Once for a process that makes movies.
void keepHeapSmall();

/// The edit in the document that is the one input, this program's or another's; says which of its files
/// changed since it was planned, and what could not be taken over. Throws Refusal or MediaError.
edit::Edit openDocument(const Options& options);

/// Tells standard error what the user should know of a plan; many shortened seams in one line.
void sayRemarks(const std::vector<std::string>& remarks, bool quiet);

}  // namespace tumblewash::app
