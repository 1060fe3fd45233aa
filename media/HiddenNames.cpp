#include "media/HiddenNames.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstring>

namespace tumblewash::media {

namespace {
enum class State : int { free, filling, listed, held };
}

/// One place on the list. Places are used again and never given back, so that a handler may walk the list at
/// any moment.
struct HiddenName::Slot {
    std::atomic<State> state{State::filling};
    int folder = -1;
    char name[PATH_MAX] = {};
    Slot* next = nullptr;
};

namespace {

std::atomic<HiddenName::Slot*> first{nullptr};
static_assert(std::atomic<HiddenName::Slot*>::is_always_lock_free && std::atomic<State>::is_always_lock_free);

HiddenName::Slot* emptySlot() {
    for (HiddenName::Slot* slot = first.load(); slot != nullptr; slot = slot->next) {
        State free = State::free;
        if (slot->state.compare_exchange_strong(free, State::filling)) return slot;
    }
    auto* slot = new HiddenName::Slot;
    slot->next = first.load();
    while (!first.compare_exchange_weak(slot->next, slot)) {
    }
    return slot;
}

/// What getdents64 writes; the C library's readdir takes memory and locks.
struct DirectoryRecord {
    ino64_t inode;
    off64_t offset;
    unsigned short length;
    unsigned char type;
    char name[1];
};

void removeFilesIn(int folder) noexcept {
    alignas(DirectoryRecord) char records[4096];
    // Removing moves what follows: from the start again until a walk finds nothing to remove.
    for (bool removed = true; removed;) {
        removed = false;
        if (lseek(folder, 0, SEEK_SET) != 0) return;
        for (;;) {
            const long got = syscall(SYS_getdents64, folder, records, sizeof records);
            if (got <= 0) break;
            for (long at = 0; at < got;) {
                unsigned short length = 0;
                std::memcpy(&length, records + at + offsetof(DirectoryRecord, length), sizeof length);
                const char* name = records + at + offsetof(DirectoryRecord, name);
                removed = unlinkat(folder, name, 0) == 0 || removed;
                at += length;
            }
        }
    }
}

void removeNamed(int folder, const char* name) noexcept {
    if (unlinkat(folder, name, 0) == 0) return;
    const int inside = openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (inside < 0) return;
    removeFilesIn(inside);
    close(inside);
    unlinkat(folder, name, AT_REMOVEDIR);
}

}  // namespace

HiddenName::HiddenName(int folder, const std::string& name) : slot_(emptySlot()) {
    slot_->folder = folder;
    slot_->name[name.copy(slot_->name, PATH_MAX - 1)] = '\0';
    slot_->state.store(State::listed);
}

HiddenName& HiddenName::operator=(HiddenName&& other) noexcept {
    if (this != &other) {
        forget();
        slot_ = other.slot_;
        other.slot_ = nullptr;
    }
    return *this;
}

void HiddenName::hold() noexcept {
    if (slot_ != nullptr) slot_->state.store(State::held);
}

void HiddenName::forget() noexcept {
    if (slot_ == nullptr) return;
    slot_->state.store(State::free);
    slot_ = nullptr;
}

void removeHiddenNames() noexcept {
    for (HiddenName::Slot* slot = first.load(); slot != nullptr; slot = slot->next)
        if (slot->state.load() == State::listed) removeNamed(slot->folder, slot->name);
}

bool puttingInPlace() noexcept {
    for (HiddenName::Slot* slot = first.load(); slot != nullptr; slot = slot->next)
        if (slot->state.load() == State::held) return true;
    return false;
}

}  // namespace tumblewash::media
