// The C program's heap to the byte: what malloc and its kin have given out in the whole process and not got
// back, whoever asked. With a sanitizer its own books are read.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/faults/foreign_records.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TUMBLEWASH_SANITIZER_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TUMBLEWASH_SANITIZER_HEAP 1
#endif
#endif

#ifdef TUMBLEWASH_SANITIZER_HEAP

#include <sanitizer/allocator_interface.h>

size_t foreign_heap_in_use() {
    return __sanitizer_get_current_allocated_bytes();
}

#else

#include <malloc.h>

#include <cerrno>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

std::atomic<size_t> inUse{0};

void* counted(void* block) {
    inUse += malloc_usable_size(block);
    return block;
}

}  // namespace

extern "C" {
void* malloc(size_t size) {
    return counted(__libc_malloc(size));
}
void* calloc(size_t count, size_t size) {
    return counted(__libc_calloc(count, size));
}
void* realloc(void* block, size_t size) {
    const size_t before = malloc_usable_size(block);
    void* moved = __libc_realloc(block, size);
    if (moved == nullptr && size != 0) return nullptr;
    inUse -= before;
    return counted(moved);
}
void* memalign(size_t alignment, size_t size) {
    return counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(size_t alignment, size_t size) {
    return counted(__libc_memalign(alignment, size));
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = counted(__libc_memalign(alignment, size));
    return *block == nullptr ? ENOMEM : 0;
}
void free(void* block) {
    inUse -= malloc_usable_size(block);
    __libc_free(block);
}
}

size_t foreign_heap_in_use() {
    return inUse;
}

#endif

namespace {

constexpr int kThreadsAtOnce = 32;

void runThreadsAtOnce() {
    std::mutex lock;
    std::condition_variable all;
    int running = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreadsAtOnce; ++i) {
        threads.emplace_back([&] {
            std::unique_lock hold(lock);
            if (++running == kThreadsAtOnce) all.notify_all();
            all.wait(hold, [&] { return running == kThreadsAtOnce; });
        });
    }
    for (std::thread& thread : threads) thread.join();
}

auto threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

// An emulator has threads of its own, which stay.
const auto threadsAtStart = threads();

}  // namespace

int foreign_heap_settle(int fill) {
    if (fill != 0) runThreadsAtOnce();
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (threads() > threadsAtStart) {
        if (std::chrono::steady_clock::now() > end) return 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return 1;
}
