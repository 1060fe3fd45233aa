#include "tests/faults/FailingAllocator.h"

#include <cstdlib>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size);
void __wrap_free(void* block);
}

namespace tumblewash::faults {

namespace {

struct State {
    long nth = 0;
    long asked = 0;
    bool armed = false;
    bool lasting = false;
    bool failed = false;
    int paused = 0;
    long live = 0;
};
thread_local State state;

/// Counts one allocation; true when it is to fail.
bool fails() {
    if (!state.armed || state.paused > 0) return false;
    ++state.asked;
    const bool fail = state.nth > 0 && (state.lasting ? state.asked >= state.nth : state.asked == state.nth);
    state.failed = state.failed || fail;
    return fail;
}

void* counted(void* block) {
    if (block != nullptr) ++state.live;
    return block;
}

void release(void* block) {
    if (block != nullptr) --state.live;
    __real_free(block);
}

void* orThrow(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* take(std::size_t size) {
    return fails() ? nullptr : counted(__real_malloc(size == 0 ? 1 : size));
}

void* take(std::size_t size, std::align_val_t alignment) {
    const auto line = static_cast<std::size_t>(alignment);
    return fails() ? nullptr : counted(__real_aligned_alloc(line, (size + line - 1) / line * line));
}

}  // namespace

FailingAllocations::FailingAllocations(long nth, Kind kind) {
    const long live = state.live;
    state = State{};
    state.live = live;
    state.nth = nth;
    state.lasting = kind == Kind::fromThereOn;
    state.armed = true;
}
FailingAllocations::~FailingAllocations() {
    state.armed = false;
}
long FailingAllocations::asked() const {
    return state.asked;
}
bool FailingAllocations::failed() const {
    return state.failed;
}
void pauseFailing() {
    ++state.paused;
}
void resumeFailing() {
    --state.paused;
}
long liveBlocks() {
    return state.live;
}

}  // namespace tumblewash::faults

using namespace tumblewash;
using namespace tumblewash::faults;

void* __wrap_malloc(std::size_t size) {
    return fails() ? nullptr : counted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* block, std::size_t size) {
    if (fails()) return nullptr;
    void* moved = __real_realloc(block, size);
    return block == nullptr ? counted(moved) : moved;
}
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails() ? nullptr : counted(__real_aligned_alloc(alignment, size));
}
void __wrap_free(void* block) {
    release(block);
}

void* operator new(std::size_t size) {
    return orThrow(take(size));
}
void* operator new[](std::size_t size) {
    return orThrow(take(size));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return orThrow(take(size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return orThrow(take(size, alignment));
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block);
}
