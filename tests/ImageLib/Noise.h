// Noise: random bytes and floats for the tests of row kernels.
// The generator is the caller's, so that a run can be repeated.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

namespace tumblewash::test {

inline std::vector<unsigned char> noise(std::size_t bytes, std::mt19937& random) {
    std::vector<unsigned char> out(bytes);
    for (unsigned char& byte : out) byte = static_cast<unsigned char>(random());
    return out;
}

inline float between(std::mt19937& random, float low, float high) {
    return std::uniform_real_distribution<float>(low, high)(random);
}

}  // namespace tumblewash::test
