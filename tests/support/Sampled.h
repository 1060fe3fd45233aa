// Whether this program runs slowly, in an emulator or with a sanitizer: sweeps whose points all take the same
// way then try fewer of them. No expectation depends on it, and the release build tries them all.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace tumblewash::test {

/// True where TUMBLEWASH_SAMPLED is 1 and the long form was not asked for.
inline bool sampled() {
    const auto isOne = [](const char* name) {
        const char* wish = std::getenv(name);
        return wish != nullptr && std::strcmp(wish, "1") == 0;
    };
    return isOne("TUMBLEWASH_SAMPLED") && !isOne("TUMBLEWASH_LONG");
}

/// All rows of a table, or, in the builds that sample, the first one of each `of`.
template <typename Row, std::size_t count>
std::vector<Row> sampledRows(const Row (&rows)[count], std::size_t of) {
    std::vector<Row> out;
    for (std::size_t i = 0; i < count; i += sampled() ? of : 1) out.push_back(rows[i]);
    return out;
}

}  // namespace tumblewash::test
