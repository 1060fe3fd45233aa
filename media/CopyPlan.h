// Which pictures of a movie are packets of a clip as they are, and which are encoded. Plain data: `edit`
// draws it up, the writer obeys it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "media/MediaError.h"
#include "media/PacketIndex.h"

namespace tumblewash::media {

/// Pictures that follow one another in the movie and come from one place.
struct CopyRun {
    static constexpr int kEncoded = -1;
    int clip = kEncoded;  ///< of the plan's clips; or pictures that the writer is given
    PacketRange range;    ///< of that clip; of encoded pictures their number alone
    int64_t pictures() const noexcept { return range.pictures; }
};

struct CopyPlan {
    std::vector<std::shared_ptr<const PacketIndex>> clips;
    std::vector<CopyRun> runs;  ///< in order; neighbours that are encoded are one run
};

/// FFmpeg's name of the pixel format in which pictures beside such a clip's are encoded.
std::string seamPixels(const TrackFacts& clip);

/// Why these clips cannot be copied into one track by reasons that only their packets tell; words that need
/// no name. Empty when they can.
std::string trackTrouble(const std::vector<std::shared_ptr<const PacketIndex>>& clips);

/// A finished movie of copied packets that turned out not to hold its sources' pictures. Nothing was put in
/// place.
class CopyCheckFailed : public MediaError {
  public:
    CopyCheckFailed(const std::string& output, const std::string& check)
        : MediaError(MediaErrorCode::encoding, output, check) {}
};

}  // namespace tumblewash::media
