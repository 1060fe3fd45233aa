// The packets of one clip's sound that can open a movie's sound track as they are: where each of them is
// heard, and which is the first one that is needed. Found from the packets and from decoding the first of
// them; no packet is kept.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media/FileIdentity.h"
#include "media/MediaError.h"
#include "media/Writer.h"

namespace tumblewash::media {

class SoundCopy {
  public:
    /// For a movie of these settings that begins with sample frame `from` of the clip, at the movie's rate.
    /// Null when the movie's track is of another codec, rate or number of channels, when the clip's packets
    /// are not all of one length or their times have gaps, and when it begins later than the movie. Throws
    /// MediaError (unreadable, when the file is another by now; cancelled).
    static std::shared_ptr<const SoundCopy> of(const std::string& clip,
                                               const std::optional<FileIdentity>& identity,
                                               const std::string& output, const WriterSettings& settings,
                                               int64_t from);

    /// Known inside this room only.
    struct Detail;
    explicit SoundCopy(std::unique_ptr<Detail> detail) noexcept;
    ~SoundCopy();
    const Detail& detail() const noexcept { return *detail_; }

  private:
    std::unique_ptr<Detail> detail_;
};

/// Copied sound that cannot be joined to what follows it. Nothing was put in place.
class SoundCopyFailed : public MediaError {
  public:
    explicit SoundCopyFailed(const std::string& output)
        : MediaError(MediaErrorCode::encoding, output, "copied sound cannot be joined to what follows it") {}
};

}  // namespace tumblewash::media
