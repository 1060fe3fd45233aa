// Replaces the program's operator new and wraps the C allocation calls of the code linked into it: counts
// what lives, and lets the n-th allocation of an armed stretch fail. Allocations inside shared libraries are
// theirs and neither counted nor failed.
#pragma once

#include <cstddef>

namespace tumblewash::faults {

/// While it lives, the `nth` allocation (from 1; 0: none) of this thread fails, once or from there on.
class FailingAllocations {
  public:
    enum class Kind { once, fromThereOn };
    explicit FailingAllocations(long nth, Kind kind = Kind::once);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
    /// How many allocations were asked for meanwhile.
    long asked() const;
    /// True when one failed.
    bool failed() const;
};

/// Allocations that belong to the test itself: between the two nothing is counted or fails.
void pauseFailing();
void resumeFailing();

/// Blocks that this thread holds at the moment, by operator new or by the C calls.
long liveBlocks();

}  // namespace tumblewash::faults
