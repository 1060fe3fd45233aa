// Media fragments: `A.mp4#t=5,20` names a stretch of a file by time. Only the standard's `t` in normal play
// time is understood. Whether the file exists is asked for one reason: a file that really bears the whole
// name wins.
#pragma once

#include <optional>
#include <string>

#include "edit/Edit.h"

namespace tumblewash::edit {

/// A name taken apart.
struct Fragment {
    std::string file;
    std::optional<EditTime> in;
    std::optional<EditTime> out;  ///< outside of the stretch
};

/// Takes `#t=...` off a name, at its last `#`; a name without one, and a name that a file bears, stays whole.
/// Forms: `t=5,20`, `t=,20`, `t=5`, `t=npt:00:00:05,00:00:20.5`. Throws Refusal (BadRequest) with the forms
/// for other units, an end that is not after the start, and a fragment that says no time.
Fragment splitFragment(const std::string& name);

/// `text` with each %XX as the byte that it stands for, decoded once; other percent signs stay.
std::string percentDecoded(const std::string& text);

/// The fragment's own words: `5`, `5.5`, `01:02`, `1:02:03.5`; nothing for other texts.
std::optional<TimeSpan> parseFragmentTime(const std::string& text);

}  // namespace tumblewash::edit
