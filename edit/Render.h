// One pass over a plan: frames are copied or rendered, mixed with their sound and handed to the writer, in
// order. Decoding, rendering and encoding run at the same time. It tells nobody but its hooks.
#pragma once

#include <cstdint>
#include <functional>

#include "edit/Report.h"
#include "edit/Request.h"

namespace tumblewash::edit {

/// What the caller wants to hear while the work goes on. May be empty.
struct RenderHooks {
    std::function<void(std::int64_t done)> advance;  ///< frames of the result that are finished
};

/// What is known of a run before it begins: inputs, size, rate, length. The command is the caller's to fill
/// in.
Report beginReport(const Edit& edit, const RenderSettings& settings, const MovieRequest& request);

/// Makes the movie and completes the report, all but its total time. Throws Refusal, MediaError or HostError;
/// an old output is then as it was.
void renderMovie(const RenderSettings& settings, MovieRequest& request, Report& report,
                 const RenderHooks& hooks);

}  // namespace tumblewash::edit
