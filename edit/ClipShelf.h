// Clips that were opened and counted for one plan, kept for the next plan of the same edit: counting a long
// file means reading all of it. It holds no open files, and a file that has changed is not found.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "edit/Clips.h"
#include "media/Loudness.h"

namespace tumblewash::edit {

/// A stretch of a clip's sound as it was listened to.
struct HeardStretch {
    std::int64_t in = 0;
    std::int64_t frames = 0;
    media::FrameRate rate;
    int sampleRate = 0;
    int channels = 0;
    bool operator==(const HeardStretch&) const = default;
};

/// Known clips. Safe from several threads.
class ClipShelf {
  public:
    /// The untrimmed clip of `file` as it would be opened with `settings`; nothing where it is not known or
    /// the file is another one by now. How many pictures there are depends on the rate alone, so that a clip
    /// kept for other sizes or colours will do, unless its lines are kept apart.
    std::optional<Clip> find(const std::string& file, const media::ReaderSettings& settings) const;
    /// Keeps a clip that was opened with `settings` and is not trimmed. The oldest goes when there are many.
    void keep(const media::ReaderSettings& settings, const Clip& clip);

    /// How loud this stretch of a clip's file is; nothing where it was not measured or the file is another
    /// one by now.
    std::optional<media::Loudness> loudness(const Clip& clip, const HeardStretch& stretch) const;
    /// Keeps what was measured. The oldest goes when there are many.
    void keepLoudness(const Clip& clip, const HeardStretch& stretch, const media::Loudness& heard);

  private:
    struct Kept {
        media::ReaderSettings settings;
        Clip clip;
    };
    struct Heard {
        std::string file;
        std::optional<media::FileIdentity> identity;
        HeardStretch stretch;
        media::Loudness loudness;
    };
    mutable std::mutex lock_;
    std::vector<Heard> heard_;
    std::vector<Kept> kept_;
};

}  // namespace tumblewash::edit
