// How many threads render one picture. Not how many pictures are rendered side by side: that is up to the
// callers, who may share an effect among threads of their own.
#pragma once

#include <cstdint>

namespace tumblewash::effects {

/// Most threads that one picture is shared by.
inline constexpr int kMostThreads = 64;

/// Whether, and by how many threads, one picture is rendered. The bytes are the same for all of them. Threads
/// are started for the first picture that is large enough, wait between two pictures without using the
/// processor, block signals (but those of their own faults), and end with the effect. Threads that the system
/// refuses are done without. A process that was forked off has none of its parent's: effects made before
/// render in one thread there.
struct Threads {
    int count = 1;                   ///< threads, the calling one among them; limited to 1 ... kMostThreads
    std::int64_t above = 1'000'000;  ///< pictures of no more pixels are the calling thread's alone
};

}  // namespace tumblewash::effects
