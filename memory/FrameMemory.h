// FrameMemory: the memory of whole frames, on cache lines and on large pages, kept for the next frame.
// A transition makes and drops frames of one size for each picture, and getting one from the system costs
// several times what filling it does. Not an allocator for anything else: small blocks go straight to and
// from the C library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace tumblewash::memory {

/// `bytes` bytes that begin on a cache line, with undefined values; null when there are none. From any
/// thread. The caller owns them and gives them back with freeFrameMemory.
[[nodiscard]] void* newFrameMemory(std::size_t bytes) noexcept;

/// Takes back what newFrameMemory gave, from any thread; null is nothing. Up to four blocks of 2 MiB and
/// more, and of 128 MiB together (three frames of 3840x2160), are kept until they are asked for again,
/// dropped, or pushed out by later ones. Builds with the address sanitizer keep none, so that it sees every
/// use of a frame that is gone.
void freeFrameMemory(void* memory) noexcept;

/// Gives what is kept back to the system. What is in use stays.
void dropKeptFrames() noexcept;

/// The same for containers. All are one: what one took, another may give back.
template <typename T>
struct FrameAllocator {
    /// What containers ask for.
    using value_type = T;
    FrameAllocator() = default;
    /// Holds nothing of the other.
    template <typename U>
    FrameAllocator(const FrameAllocator<U>&) noexcept {}

    /// Throws std::bad_alloc.
    [[nodiscard]] T* allocate(std::size_t count) {
        void* memory = count > PTRDIFF_MAX / sizeof(T) ? nullptr : newFrameMemory(count * sizeof(T));
        if (memory == nullptr) throw std::bad_alloc();
        return static_cast<T*>(memory);
    }
    /// Takes back what `allocate` gave; the count is not looked at.
    void deallocate(T* memory, std::size_t) noexcept { freeFrameMemory(memory); }
    /// Always.
    template <typename U>
    bool operator==(const FrameAllocator<U>&) const noexcept {
        return true;
    }
};

}  // namespace tumblewash::memory
