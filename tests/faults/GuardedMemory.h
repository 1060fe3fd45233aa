// Memory between two pages that nobody may touch: the first byte read or written outside ends the program.
// The bytes lie against one of the pages; the gap on the other side holds a mark that is looked at
// afterwards.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

namespace tumblewash::faults {

/// A guarded block of up to a fixed number of bytes.
class GuardedMemory {
  public:
    /// Which forbidden page the bytes touch.
    enum class Against { behind, before };

    explicit GuardedMemory(std::size_t most) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        room_ = (most + page - 1) / page * page;
        mapped_ = room_ + 2 * page;
        void* memory = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        base_ = static_cast<std::uint8_t*>(memory);
        inner_ = base_ + page;
        if (mprotect(inner_, room_, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    }
    ~GuardedMemory() { munmap(base_, mapped_); }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    /// Room for `bytes` bytes, a multiple of 8, holding anything; what was placed before is given up.
    std::uint8_t* place(std::size_t bytes, Against side) {
        std::fill_n(inner_, room_, kMark);
        used_ = inner_ + (side == Against::behind ? room_ - bytes : 0);
        bytes_ = bytes;
        return used_;
    }
    std::size_t most() const { return room_; }
    /// False when something wrote into the gap.
    bool gapUntouched() const {
        const auto marked = [](std::uint8_t byte) { return byte == kMark; };
        return std::all_of(inner_, used_, marked) && std::all_of(used_ + bytes_, inner_ + room_, marked);
    }

  private:
    static constexpr std::uint8_t kMark = 0xC5;
    std::size_t room_ = 0;
    std::size_t mapped_ = 0;
    std::size_t bytes_ = 0;
    std::uint8_t* base_ = nullptr;
    std::uint8_t* inner_ = nullptr;
    std::uint8_t* used_ = nullptr;
};

}  // namespace tumblewash::faults
