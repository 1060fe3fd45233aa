// Clips that were opened and counted for one plan, kept for the next plan of the same edit: counting a long
// file means reading all of it. It holds no open files, and a file that has changed is not found.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "edit/clips.h"

namespace tumblewash::edit {

/// Known clips. Safe from several threads.
class ClipShelf {
  public:
    /// The untrimmed clip of `file` as it would be opened with `settings`; nothing where it is not known or
    /// the file is another one by now. How many pictures there are depends on the rate alone, so that a clip
    /// kept for other sizes or colours will do, unless its lines are kept apart.
    std::optional<Clip> find(const std::string& file, const media::ReaderSettings& settings) const;
    /// Keeps a clip that was opened with `settings` and is not trimmed. The oldest goes when there are many.
    void keep(const media::ReaderSettings& settings, const Clip& clip);

  private:
    struct Kept {
        media::ReaderSettings settings;
        Clip clip;
    };
    mutable std::mutex lock_;
    std::vector<Kept> kept_;
};

}  // namespace tumblewash::edit
