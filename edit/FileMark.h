// What a file was like when an edit was planned: size, time and a hash of its head, so that a file that was
// replaced since then is noticed. It proves nothing; it is cheap.
#pragma once

#include <string>
#include <vector>

#include "edit/Edit.h"

namespace tumblewash::edit {

/// The mark of a file; nothing when it cannot be read.
std::optional<FileMark> markOf(const std::string& file);

/// Gives every clip of a file its mark of now.
void markFiles(Edit& edit);

/// The files whose mark differs from the one in the edit, in the order of the clips, each once. A file of the
/// same size and time counts as the same; of another time, the head decides.
std::vector<std::string> changedFiles(const Edit& edit);

}  // namespace tumblewash::edit
