// The one thing that sessions share: the order in which they use the C library's random generator.
// Internal to this room.
#pragma once

#include <mutex>

namespace tumblewash::host {

/// Held from seeding until the plug-in has drawn its random field. The generator belongs to the process, so
/// the lock does too: an inline variable that is visible outside its library is one object even when several
/// modules of one process carry a copy of this room.
struct [[gnu::visibility("default")]] SeedLock {
    /// Held while a seed is set and a field is drawn.
    static inline std::mutex mutex;
};

}  // namespace tumblewash::host
