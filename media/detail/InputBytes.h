// One input file, opened by its name once; every reading of it goes through that descriptor, each from a
// place of its own. What is put under the name afterwards is never looked at, and a file that was rewritten
// in place is noticed when its reading begins again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "media/Descriptor.h"
#include "media/FileIdentity.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

/// Frees a way into the file that `InputBytes::open` made.
struct FreeInputIo {
    void operator()(AVIOContext* io) const noexcept;
};
using InputIoPtr = std::unique_ptr<AVIOContext, FreeInputIo>;

class InputBytes {
  public:
    /// Throws MediaError (unreadable) unless `path` is a regular, non-empty, readable file.
    explicit InputBytes(const std::string& path);

    const std::string& path() const noexcept { return path_; }
    const FileIdentity& identity() const noexcept { return identity_; }
    /// Throws MediaError (unreadable) when the file was rewritten since it was opened.
    void checkUnchanged() const;
    /// A way into the file from its beginning, for the library. Reading ends early when `interrupt` says so.
    InputIoPtr open(const AVIOInterruptCB& interrupt) const;
    /// Reads what stands at `at` into `to`. How many bytes there were: fewer at the file's end and where it
    /// cannot be read.
    size_t read(uint64_t at, std::span<uint8_t> to) const noexcept;
    /// All bytes at one reading, for the formats whose libraries go back and forth in them: what is checked
    /// is then what is decoded. Throws MediaError: unreadable (it ends early, or was rewritten since it was
    /// opened), undecodable (more than `most` bytes).
    std::vector<uint8_t> whole(size_t most) const;

  private:
    std::string path_;
    Descriptor file_;
    FileIdentity identity_;
};

/// The one sentence about an input that is not what it was.
[[noreturn]] void throwChanged(const std::string& path);

}  // namespace tumblewash::media
