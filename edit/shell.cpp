#include "edit/shell.h"

namespace tumblewash::edit {

std::string shellQuoted(std::string_view word) {
    std::string out = "'";
    for (const char c : word) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

}  // namespace tumblewash::edit
