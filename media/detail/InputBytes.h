// One input file, opened by its name once; every reading of it goes through that descriptor, each from a place
// of its own. What is put under the name afterwards is never looked at, and a file that was rewritten in place
// is noticed when its reading begins again.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "media/Descriptor.h"
#include "media/FileIdentity.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

/// Which file it is that has these facts.
FileIdentity identityOf(const struct stat& status) noexcept;

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
    /// The same, and when the name leads elsewhere by now: for libraries that open the file themselves.
    void checkStillNamed() const;
    /// A way into the file from its beginning, for the library. Reading ends early when `interrupt` says so.
    InputIoPtr open(const AVIOInterruptCB& interrupt) const;

  private:
    std::string path_;
    Descriptor file_;
    FileIdentity identity_;
};

/// Throws MediaError (unreadable) unless `path` is a regular, non-empty, readable file.
void checkReadable(const std::string& path);

/// The one sentence about an input that is not what it was.
[[noreturn]] void throwChanged(const std::string& path);

}  // namespace tumblewash::media
