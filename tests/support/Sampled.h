// Whether this program runs slowly, in an emulator or with a sanitizer: sweeps whose points all take the same
// way then try fewer of them. No expectation depends on it, and the release build tries them all.
#pragma once

#include <cstdlib>
#include <cstring>

namespace tumblewash::test {

/// True where TUMBLEWASH_SAMPLED is 1 and the long form was not asked for.
inline bool sampled() {
    const auto isOne = [](const char* name) {
        const char* wish = std::getenv(name);
        return wish != nullptr && std::strcmp(wish, "1") == 0;
    };
    return isOne("TUMBLEWASH_SAMPLED") && !isOne("TUMBLEWASH_LONG");
}

}  // namespace tumblewash::test
