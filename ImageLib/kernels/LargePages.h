// LargePages: a wish for large memory pages under a big block that is about to be written for the first time.
// Copies of frames live for a few pictures; the page faults of small pages cost several times the copying.
// It allocates nothing, and where the system knows no such wish it does nothing.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

namespace tumblewash {

/// Asks for large pages under the part of `bytes` bytes from `block` on that whole ones can hold. The block's
/// bytes stay as they are.
inline void preferLargePages([[maybe_unused]] void* block, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t page = std::uintptr_t{1} << 21;
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (address + page - 1) / page * page;
    const std::uintptr_t end = (address + bytes) / page * page;
    if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

}  // namespace tumblewash
