// Who may speak to the studio: the rules that every request passes before anything else looks at it, and the
// headers that every answer carries. Pure functions over requests; the secret is made elsewhere, once.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "studio/Http.h"

namespace tumblewash::studio {

/// 32 random bytes of the system as 43 characters that may stand in an address. Throws std::system_error.
std::string randomSecret();

/// Equal texts, found out in a time that depends on the lengths only.
bool equalSecrets(std::string_view a, std::string_view b);

/// What a request is refused with; nothing where it may pass. In this order: `Host` names this machine and
/// stands there once (421); `Origin`, where there is one, is that host (403); `Sec-Fetch-Site`, where there
/// is one, is the page itself, or somebody who opens the page (403); the first part of the path is `token`
/// (404); what is no GET or HEAD is a POST (405) of JSON (415) from the page (403).
std::optional<Response> refusedAtTheGate(const Request& request, const Target& target,
                                         std::string_view token);

/// The same for an address that the browser is opened with, `/open/CODE`, which has no token yet.
std::optional<Response> refusedAtTheDoor(const Request& request);

/// The headers of every answer: nothing of another place is loaded, nobody frames or reads the page.
const std::vector<std::pair<std::string, std::string>>& safeHeaders();

}  // namespace tumblewash::studio
