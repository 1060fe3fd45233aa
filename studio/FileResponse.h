// Files as answers: whole, or the one range that a request asks for. Who may have which file is decided
// elsewhere.
#pragma once

#include <string>

#include "studio/Http.h"

namespace tumblewash::studio {

/// An answer that holds a file, or the one range of it that the request asks for; several ranges give the
/// whole file. 404 where it cannot be opened, 416 where the range lies outside.
Response fileResponse(const Request& request, const std::string& file, const std::string& type);

}  // namespace tumblewash::studio
