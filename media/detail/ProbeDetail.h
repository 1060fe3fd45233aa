// What this room knows of an input beyond the public MediaInfo: times and tags in the libraries' own terms.
// Found once, by `probeDetail`; readers start from it.
// Plain data.
#pragma once

#include <optional>

#include "media/Pattern.h"
#include "media/Probe.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

struct ProbeDetail {
    MediaInfo info;
    std::optional<DrawnScene> pattern;  ///< set for drawn sources
    int videoStream = -1;
    int audioStream = -1;
    AVRational timeBase{1, 25};
    int64_t firstPts = 0;  ///< of the first decoded picture, stream units
    AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
};

ProbeDetail probeDetail(const std::string& path, CancelFlag cancel);

/// Field order of one decoded frame.
FieldOrder fieldsOf(const AVFrame& frame) noexcept;

}  // namespace tumblewash::media
