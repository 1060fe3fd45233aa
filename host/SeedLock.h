// The one thing that sessions share: the order in which they use the C library's random generator, and how
// its numbers are put back. Internal to this room.
#pragma once

#include <array>
#include <cstdlib>
#include <mutex>

namespace tumblewash::host {

/// Held from seeding until the plug-in has drawn its random field. The generator belongs to the process, so
/// the lock does too: an inline variable that is visible outside its library is one object even when several
/// modules of one process carry a copy of this room.
struct [[gnu::visibility("default")]] SeedLock {
    /// Held while a seed is set and a field is drawn.
    static inline std::mutex mutex;
};

/// While it lives, `rand()` gives what it gives after `srand(seed)`; afterwards the numbers of the process go
/// on where they stood. Made with the lock held.
class SeededNumbers {
  public:
    /// As `srand(seed)`, in memory of its own.
    explicit SeededNumbers(unsigned seed) noexcept : before_(initstate(seed, state_.data(), state_.size())) {}
    ~SeededNumbers() { setstate(before_); }
    SeededNumbers(const SeededNumbers&) = delete;
    SeededNumbers& operator=(const SeededNumbers&) = delete;

  private:
    // 128 bytes select the additive generator behind the library's rand().
    std::array<char, 128> state_{};
    char* before_;
};

}  // namespace tumblewash::host
