// By which an input is known to be the file it was: device, inode, size and time of its last change.
// Plain data, taken from an open file; a file that was replaced or rewritten differs in one of them.
#pragma once

#include <cstdint>

namespace tumblewash::media {

struct FileIdentity {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t bytes = 0;
    int64_t seconds = 0;  ///< time of the last change
    int64_t nanoseconds = 0;
    bool operator==(const FileIdentity&) const = default;
};

}  // namespace tumblewash::media
