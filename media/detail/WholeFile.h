// A file's bytes at one reading, for the formats whose libraries go back and forth in them: what is checked
// is then what is read, even in a file that changes meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tumblewash::media {

/// Throws MediaError: unreadable (see `checkReadable`, or it ends early), undecodable (more than `most`
/// bytes).
std::vector<uint8_t> wholeFile(const std::string& path, size_t most);

}  // namespace tumblewash::media
