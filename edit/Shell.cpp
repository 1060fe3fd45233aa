#include "edit/Shell.h"

#include <algorithm>

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

std::string shellWord(std::string_view word) {
    const bool plain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               std::string_view("_-./,:=+@%").find(c) != std::string_view::npos;
    });
    return plain ? std::string(word) : shellQuoted(word);
}

}  // namespace tumblewash::edit
