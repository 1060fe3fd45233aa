// The order of names as people count: 2 before 10. No locale, no files.
#pragma once

#include <string_view>

namespace tumblewash::edit {

/// True when `a` comes before `b`: runs of digits compare as numbers, other bytes with ASCII letters folded;
/// of names that are equal so, the one with fewer leading zeros first, then by bytes.
bool comesBefore(std::string_view a, std::string_view b);

}  // namespace tumblewash::edit
