// The last error of each thread: the sentence behind tw_last_error.
#pragma once

#include "capi/tumblewash.h"

namespace tumblewash::capi {

/// Keeps the sentence for this thread and hands the status back. Where there is no memory for it, a static
/// sentence stands in.
tw_status failed(tw_status status, const char* sentence) noexcept;

/// The sentence kept.
const char* lastError() noexcept;

}  // namespace tumblewash::capi
