// The files of an edit, and what is said when some of them are not there.
#pragma once

#include <string>
#include <vector>

#include "edit/Edit.h"

namespace tumblewash::edit {

/// The files that an edit opens, in the order of its clips and then its music, each once; drawn scenes and
/// black are none.
std::vector<std::string> filesOf(const Edit& edit);

/// Refuses (BadInput) files that do not exist: all of them in one line, each with the nearest name in its
/// folder; of many the first ones and their number. Whether those that exist can be read is not asked.
void refuseMissing(const std::vector<std::string>& files);

}  // namespace tumblewash::edit
