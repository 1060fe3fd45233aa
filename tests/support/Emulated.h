// Whether an emulator runs this program: sweeps whose points all take the same way then try fewer of them. No
// expectation depends on it.
#pragma once

#include <cstdlib>
#include <cstring>

namespace tumblewash::test {

/// True where TUMBLEWASH_EMULATED is 1 and the long form was not asked for.
inline bool emulated() {
    const auto isOne = [](const char* name) {
        const char* wish = std::getenv(name);
        return wish != nullptr && std::strcmp(wish, "1") == 0;
    };
    return isOne("TUMBLEWASH_EMULATED") && !isOne("TUMBLEWASH_LONG");
}

}  // namespace tumblewash::test
