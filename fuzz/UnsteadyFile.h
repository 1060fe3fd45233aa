// A file with a name of any ending whose k-th reading goes wrong: it fails, comes short, or finds other
// bytes. Readings are counted at read(2) and pread(2), which this program defines itself, so whatever library
// reads the file is met. One file at a time; other files are read as ever.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tumblewash::fuzz {

/// What happens at the k-th reading.
enum class Trouble : std::uint8_t {
    none,
    fails,          ///< that reading gives EIO
    failsForEver,   ///< that one and all that follow
    comesShort,     ///< that one and all that follow give seven bytes at most
    isCutOff,       ///< the file is half as long from there on
    isWrittenOver,  ///< the file holds its bytes backwards from there on
    isReplaced,  ///< another file with the bytes backwards has its name; who has it open reads on in the old
                 ///< one
};
constexpr int kTroubles = 7;

class UnsteadyFile {
  public:
    /// Makes a file with these bytes and this ending (with its dot, or empty) in this process's folder.
    UnsteadyFile(std::span<const std::uint8_t> bytes, const std::string& ending, Trouble trouble,
                 int reading);
    ~UnsteadyFile();
    UnsteadyFile(const UnsteadyFile&) = delete;
    UnsteadyFile& operator=(const UnsteadyFile&) = delete;

    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace tumblewash::fuzz
