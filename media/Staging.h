// One output file made beside its final name and put in place in one step.
// Order of a commit: write, fsync, close, rename, fsync of the folder; the old file stays at hand until the
// last of them has gone well. Whoever is destroyed before leaves no trace. Nothing here knows what is in the
// file: movies, pictures and the program's texts all come this way. Numbered runs are StagedSequence's.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "media/AccessRights.h"
#include "media/OutputPlace.h"

namespace tumblewash::media {

/// Throws MediaError (notWritable) when `path` could not become a file: missing, closed or no folder, a
/// folder itself, no regular file, a link that leads nowhere, already there without `force`.
void checkTarget(const std::string& path, bool force);

/// One file under way.
class StagedFile {
  public:
    /// Makes an empty file beside `path` with a hidden name; a link is followed to the file it names. `force`
    /// as above.
    StagedFile(const std::string& path, bool force);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    /// The open file, to read and write by whoever knows its format. Nobody opens it by a name: others may
    /// put a link there.
    int descriptor() const noexcept { return file_.get(); }
    /// Adds bytes where the file stands.
    void write(const void* bytes, size_t size);
    /// Puts the file in place with the rights of the one it replaces, or tighter ones. Throws MediaError, and
    /// then the old file is as it was.
    void commit();

  private:
    void checkStillMine() const;
    bool place(bool replaces);

    OutputPlace place_;
    bool force_;
    std::optional<AccessRights> before_;
    std::string hidden_;  // empty when there is nothing to remove
    HiddenName listed_;
    Descriptor file_;
};

}  // namespace tumblewash::media
