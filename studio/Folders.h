// The folders that were named at the start, and the files below them: what the page may choose from. Names
// come as a folder's number and a path in it; nothing leads out, neither dots nor links. It opens no media.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/Descriptor.h"
#include "media/FileIdentity.h"

namespace tumblewash::studio {

/// What is looked for.
enum class Wanted {
    clips,  ///< clips and stills
    music   ///< files with sound, clips among them
};

/// One entry of a folder.
struct FolderEntry {
    std::string name;
    bool folder = false;
    std::uint64_t bytes = 0;
};

/// The named folders.
class Folders {
  public:
    /// Opens the folders. Throws Refusal (BadInput) for one that cannot be opened; a folder named twice
    /// counts once.
    explicit Folders(const std::vector<std::string>& folders);

    /// Their real paths, in order.
    const std::vector<std::string>& paths() const noexcept { return paths_; }

    /// Folders and files that look by their endings like what is wanted, below folder `root`, in natural
    /// order; no hidden ones. Throws Refused: 404 for what is not there or lies elsewhere.
    std::vector<FolderEntry> list(std::size_t root, const std::string& path,
                                  Wanted wanted = Wanted::clips) const;

    /// Which plain file lies under this name below one of the folders, wherever links lead on the way;
    /// nothing where none does.
    std::optional<media::FileIdentity> find(const std::string& file) const;

  private:
    media::Descriptor open(std::size_t root, const std::string& path, int flags) const;

    std::vector<std::string> paths_;
    std::vector<media::Descriptor> open_;
};

}  // namespace tumblewash::studio
