#include "platform/Handles.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace tumblewash::platform {
namespace {

class Pool;

// What a handle points into. The master pointer comes first, so that a handle's address is its block's
// address.
struct Block {
    Ptr master;
    Size size;
    SInt8 state;
    Pool* home;
    Block* next;
};

// Sizes had 31 bits where handles come from; nothing larger is meant seriously.
constexpr Size kLargestBlock = 0x7FFFFFF0;

thread_local OSErr lastError = noErr;

void report(OSErr error) {
    lastError = error;
}

// First in, first out, strung through the blocks themselves: putting one in needs no memory and cannot fail.
class Queue {
  public:
    void push(Block* block) {
        block->next = nullptr;
        (_last == nullptr ? _first : _last->next) = block;
        _last = block;
        ++_length;
    }
    Block* pop() {
        Block* block = _first;
        _first = block->next;
        if (_first == nullptr) _last = nullptr;
        --_length;
        return block;
    }
    std::size_t length() const { return _length; }

  private:
    Block* _first = nullptr;
    Block* _last = nullptr;
    std::size_t _length = 0;
};

// Master pointers of one program or module. Disposed blocks queue up and the oldest is used again once more
// than `kResting` of them wait, so that late readers of a disposed handle find its mark. A pool whose module
// is unloaded lives on until its last handle is disposed, since that may happen in another module.
class Pool {
  public:
    Block* take() {
        const std::lock_guard hold(_mutex);
        if (_resting.length() <= kResting && _fresh.length() == 0) grow();
        Block* block = _resting.length() > kResting ? _resting.pop() : _fresh.pop();
        ++_live;
        return block;
    }

    void rest(Block* block) {
        bool last = false;
        {
            const std::lock_guard hold(_mutex);
            _resting.push(block);
            --_live;
            last = _abandoned && _live == 0;
        }
        if (last) delete this;
    }

    void abandon() {
        bool last = false;
        {
            const std::lock_guard hold(_mutex);
            _abandoned = true;
            last = _live == 0;
        }
        if (last) delete this;
    }

    std::size_t live() {
        const std::lock_guard hold(_mutex);
        return _live;
    }

    std::size_t blocks() {
        const std::lock_guard hold(_mutex);
        return _slabs.size() * kSlab;
    }

  private:
    static constexpr std::size_t kResting = 1024;
    static constexpr std::size_t kSlab = 64;

    void grow() {
        _slabs.reserve(_slabs.size() + 1);
        auto slab = std::make_unique<Block[]>(kSlab);
        for (std::size_t i = 0; i < kSlab; ++i) {
            slab[i].home = this;
            _fresh.push(&slab[i]);
        }
        _slabs.push_back(std::move(slab));
    }

    std::mutex _mutex;
    std::vector<std::unique_ptr<Block[]>> _slabs;
    Queue _fresh;
    Queue _resting;
    std::size_t _live = 0;
    bool _abandoned = false;
};

std::atomic<Pool*> thePool{nullptr};

struct PoolKeeper {
    ~PoolKeeper() {
        if (Pool* pool = thePool.exchange(nullptr)) pool->abandon();
    }
};

Pool& pool() {
    static PoolKeeper keeper;
    Pool* existing = thePool.load();
    if (existing != nullptr) return *existing;
    auto made = std::make_unique<Pool>();
    if (thePool.compare_exchange_strong(existing, made.get())) return *made.release();
    return *existing;
}

Block* blockOf(Handle h) {
    return reinterpret_cast<Block*>(h);
}

Handle adopt(Ptr memory, Size size) {
    Block* block = nullptr;
    try {
        block = pool().take();
    } catch (const std::bad_alloc&) {
        std::free(memory);
        report(memFullErr);
        return nullptr;
    }
    block->master = memory;
    block->size = size;
    block->state = 0;
    report(noErr);
    return &block->master;
}

}  // namespace

Ptr DisposedMaster() {
    return reinterpret_cast<Ptr>(~std::uintptr_t{0});
}

bool IsLiveHandle(Handle h) {
    return h != nullptr && *h != nullptr && *h != DisposedMaster();
}

std::size_t HandleBlocksInMemory() {
    return pool().blocks();
}

std::size_t LiveHandles() {
    return pool().live();
}

}  // namespace tumblewash::platform

using namespace tumblewash::platform;

Handle NewHandle(Size size) {
    if (size < 0) {
        report(paramErr);
        return nullptr;
    }
    if (size > kLargestBlock) {
        report(memFullErr);
        return nullptr;
    }
    auto* memory = static_cast<Ptr>(std::calloc(size == 0 ? 1 : static_cast<std::size_t>(size), 1));
    if (memory == nullptr) {
        report(memFullErr);
        return nullptr;
    }
    return adopt(memory, size);
}

Size GetHandleSize(Handle h) {
    report(IsLiveHandle(h) ? noErr : nilHandleErr);
    return IsLiveHandle(h) ? blockOf(h)->size : 0;
}

void DisposeHandle(Handle h) {
    if (!IsLiveHandle(h)) {
        report(h == nullptr ? nilHandleErr : memWZErr);
        return;
    }
    Block* block = blockOf(h);
    std::free(block->master);
    block->master = DisposedMaster();
    block->size = 0;
    block->state = 0;
    block->home->rest(block);
    report(noErr);
}

OSErr HandToHand(Handle* h) {
    if (h == nullptr) {
        report(paramErr);
    } else if (!IsLiveHandle(*h)) {
        report(nilHandleErr);
    } else if (Handle copy = NewHandle(blockOf(*h)->size)) {
        std::memcpy(*copy, **h, static_cast<std::size_t>(blockOf(*h)->size));
        *h = copy;
    }
    return MemError();
}

SInt8 HGetState(Handle h) {
    report(IsLiveHandle(h) ? noErr : nilHandleErr);
    return IsLiveHandle(h) ? blockOf(h)->state : SInt8{0};
}

void HSetState(Handle h, SInt8 state) {
    report(IsLiveHandle(h) ? noErr : nilHandleErr);
    if (IsLiveHandle(h)) blockOf(h)->state = state;
}

void HLock(Handle h) {
    HSetState(h, static_cast<SInt8>(HGetState(h) | kHandleLocked));
}

void HUnlock(Handle h) {
    HSetState(h, static_cast<SInt8>(HGetState(h) & ~kHandleLocked));
}

void MoveHHi(Handle h) {
    report(IsLiveHandle(h) ? noErr : nilHandleErr);
}

OSErr MemError() {
    return lastError;
}
