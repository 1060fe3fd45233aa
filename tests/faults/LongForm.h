// How much a test of this room does: the short form on every run, the long one when TUMBLEWASH_LONG is 1.
#pragma once

#include <cstdlib>
#include <cstring>

namespace tumblewash::faults {

/// `longForm` when the long form is asked for, else `shortForm`.
inline int amount(int shortForm, int longForm) {
    const char* wish = std::getenv("TUMBLEWASH_LONG");
    return wish != nullptr && std::strcmp(wish, "1") == 0 ? longForm : shortForm;
}

}  // namespace tumblewash::faults
