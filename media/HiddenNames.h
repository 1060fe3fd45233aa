// The hidden files and folders that are under way at this moment, for an end that runs no destructors: a
// signal handler removes them all. It makes nothing and knows no contents; whoever makes a hidden name keeps
// it here. Registering is for any thread; removing is for signal handlers too.
#pragma once

#include <string>

namespace tumblewash::media {

/// Keeps one hidden name on the list while it lives. Movable, not copyable.
class HiddenName {
  public:
    HiddenName() = default;
    /// `folder` is an open folder, which must stay open as long, or AT_FDCWD; `name` a file in it, or a
    /// folder with plain files, as a path of at most PATH_MAX. To be made before the file is. Throws
    /// std::bad_alloc.
    HiddenName(int folder, const std::string& name);
    ~HiddenName() { forget(); }
    HiddenName(HiddenName&& other) noexcept : slot_(other.slot_) { other.slot_ = nullptr; }
    HiddenName& operator=(HiddenName&& other) noexcept;

    /// From now on the name is being put in place, and may stand for what was there before: the end waits for
    /// it a little and leaves it alone.
    void hold() noexcept;
    /// Off the list: the file has gone or has another name.
    void forget() noexcept;

    struct Slot;

  private:
    Slot* slot_ = nullptr;
};

/// Removes all names on the list but those on hold. Safe in a signal handler, whatever the threads are doing.
void removeHiddenNames() noexcept;

/// True while a name is on hold. Safe in a signal handler.
bool puttingInPlace() noexcept;

}  // namespace tumblewash::media
