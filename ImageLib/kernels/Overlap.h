// Overlap: whether one row lies in another's memory in such a way that the order of writes matters. Addresses
// alone.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tumblewash::kernels {

/// True where the source shows pixels that are changed before their turn: a vector would read them too early.
inline bool trails(const unsigned char* src, const unsigned char* dst, std::size_t bytes) {
    const auto from = reinterpret_cast<std::uintptr_t>(src), to = reinterpret_cast<std::uintptr_t>(dst);
    return from < to && to - from < bytes;
}

}  // namespace tumblewash::kernels
