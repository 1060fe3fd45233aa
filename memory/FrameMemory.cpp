#include "memory/FrameMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TUMBLEWASH_ADDRESS_SANITIZER
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TUMBLEWASH_ADDRESS_SANITIZER
#endif
#if defined(TUMBLEWASH_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

namespace tumblewash::memory {

namespace {

constexpr std::size_t kLine = 64;
constexpr std::size_t kLargePage = std::size_t{1} << 21;
constexpr std::size_t kMostBlocks = 4;
#if defined(TUMBLEWASH_ADDRESS_SANITIZER)
constexpr std::size_t kMostBytes = 0;
#else
constexpr std::size_t kMostBytes = std::size_t{128} << 20;
#endif

// A block begins with its size, on a line of its own; the memory handed out follows.
struct Block {
    std::size_t bytes;  // with this line
};

void* memoryOf(Block* block) {
    return reinterpret_cast<std::byte*>(block) + kLine;
}

Block* blockOf(void* memory) {
    return reinterpret_cast<Block*>(static_cast<std::byte*>(memory) - kLine);
}

bool isLarge(std::size_t bytes) {
    return bytes >= kLargePage;
}

Block* newBlock(std::size_t bytes) {
    const std::size_t alignment = isLarge(bytes) ? kLargePage : kLine;
    void* memory = std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
    if (memory == nullptr) return nullptr;
#if defined(MADV_HUGEPAGE)
    // A mere wish. A last page that the frame fills by less than half stays made of small ones.
    if (isLarge(bytes)) madvise(memory, (bytes + kLargePage / 2) / kLargePage * kLargePage, MADV_HUGEPAGE);
#endif
    auto* block = static_cast<Block*>(memory);
    block->bytes = bytes;
    return block;
}

// What lies before a frame is as far out of bounds as what lies behind it.
void fence([[maybe_unused]] Block* block) {
#if defined(TUMBLEWASH_ADDRESS_SANITIZER)
    __asan_poison_memory_region(block, kLine);
#endif
}

void unfence([[maybe_unused]] Block* block) {
#if defined(TUMBLEWASH_ADDRESS_SANITIZER)
    __asan_unpoison_memory_region(block, kLine);
#endif
}

// The blocks that wait for the next frame, the one kept longest first. A file that is unloaded gives them
// back.
class Kept {
  public:
    constexpr Kept() = default;
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
    ~Kept() {
        drop();
        most_ = 0;
    }

    Block* take(std::size_t bytes) {
        const std::lock_guard lock(mutex_);
        const auto end = blocks_.begin() + static_cast<std::ptrdiff_t>(count_);
        const auto found =
            std::find_if(blocks_.begin(), end, [bytes](Block* b) { return b->bytes == bytes; });
        return found == end ? nullptr : remove(static_cast<std::size_t>(found - blocks_.begin()));
    }

    /// False when the block is too large to be kept.
    bool give(Block* block) {
        const std::lock_guard lock(mutex_);
        if (block->bytes > most_) return false;
        while (count_ == kMostBlocks || bytes_ + block->bytes > most_) std::free(remove(0));
        blocks_[count_++] = block;
        bytes_ += block->bytes;
        return true;
    }

    void drop() {
        const std::lock_guard lock(mutex_);
        while (count_ > 0) std::free(remove(0));
    }

  private:
    Block* remove(std::size_t index) {
        Block* block = blocks_[index];
        std::copy(blocks_.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                  blocks_.begin() + static_cast<std::ptrdiff_t>(count_),
                  blocks_.begin() + static_cast<std::ptrdiff_t>(index));
        --count_;
        bytes_ -= block->bytes;
        return block;
    }

    std::mutex mutex_;
    std::array<Block*, kMostBlocks> blocks_{};
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
    std::size_t most_ = kMostBytes;
};

constinit Kept kept;

}  // namespace

void* newFrameMemory(std::size_t bytes) noexcept {
    if (bytes > PTRDIFF_MAX - 2 * kLargePage) return nullptr;
    const std::size_t whole = bytes + kLine;
    Block* block = isLarge(whole) ? kept.take(whole) : nullptr;
    if (block == nullptr) block = newBlock(whole);
    if (block == nullptr) return nullptr;
    fence(block);
    return memoryOf(block);
}

void freeFrameMemory(void* memory) noexcept {
    if (memory == nullptr) return;
    Block* block = blockOf(memory);
    unfence(block);
    if (!isLarge(block->bytes) || !kept.give(block)) std::free(block);
}

void dropKeptFrames() noexcept {
    kept.drop();
}

}  // namespace tumblewash::memory
