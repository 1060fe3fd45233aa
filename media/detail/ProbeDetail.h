// What this room knows of an input beyond the public MediaInfo: times and tags in the libraries' own terms.
// Found once, by `probeDetail`; readers start from it.
// Plain data.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "media/Pattern.h"
#include "media/Probe.h"
#include "media/detail/Av.h"
#include "media/detail/InputBytes.h"
#include "media/detail/StillPicture.h"

namespace tumblewash::media {

struct ProbeDetail {
    MediaInfo info;
    std::shared_ptr<const InputBytes> bytes;  ///< the file itself, open; null for drawn sources
    std::optional<DrawnScene> pattern;        ///< set for drawn sources
    int videoStream = -1;
    int audioStream = -1;
    AVRational timeBase{1, 25};
    int64_t firstPts = 0;  ///< of the first decoded picture, stream units
    AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
    std::shared_ptr<const StillPicture> still;  ///< a photo's one picture, already decoded
    std::vector<int> milliseconds;              ///< of an animated WebP: how long each picture is shown
    std::string damage;                         ///< what a photo or an animated WebP has lost, in words
};

/// As `probe`; with `identity`, a file that is another by now is refused (unreadable).
ProbeDetail probeDetail(const std::string& path, CancelFlag cancel,
                        const std::optional<FileIdentity>& identity = std::nullopt);

/// The standard rate within half a percent of a measured one, else the measured one in small numbers.
AVRational standardRate(AVRational measured);

/// The matrix of this room for one of the library's; BT.601 stands for those that have none here.
ColourMatrix matrixOf(AVColorSpace space) noexcept;

/// Field order of one decoded frame.
FieldOrder fieldsOf(const AVFrame& frame) noexcept;

}  // namespace tumblewash::media
