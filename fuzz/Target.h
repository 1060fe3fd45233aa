// What every fuzz target of this folder is: one function over bytes, and one way to report a finding.
// A finding ends the program, so that the input is kept by whoever drives it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tumblewash::fuzz {

/// Ends the program with `words` unless `holds`.
inline void demand(bool holds, const std::string& words) {
    if (holds) return;
    std::fprintf(stderr, "finding: %s\n", words.c_str());
    std::abort();
}

}  // namespace tumblewash::fuzz
