// Pictures in the order of their times, whatever they come from: a file's video stream or a drawn scene.
// Time 0 is the first picture; times never go backwards and never jump absurdly.
// The rate here is the source's own; nothing is repeated, dropped or converted yet.
#pragma once

#include <memory>
#include <optional>

#include "media/Pattern.h"
#include "media/detail/Input.h"
#include "media/detail/ProbeDetail.h"

namespace tumblewash::media {

/// One picture of a source with its time and length in the source's time base. An empty frame is the end.
struct TimedFrame {
    FramePtr frame;
    int64_t pts = 0;
    int64_t duration = 1;
};

class StreamSource {
  public:
    virtual ~StreamSource() = default;
    virtual TimedFrame next() = 0;
    /// Continues with a picture at or before `pts`. False when the source can only start over.
    virtual bool seek(int64_t pts) = 0;
    /// Where a seek to `pts` would continue; nothing where that is not known beforehand.
    virtual std::optional<int64_t> keyBefore(int64_t) const { return std::nullopt; }
    virtual int64_t damaged() const { return 0; }
    virtual int64_t patched() const { return 0; }
};

/// `facts` as `probeDetail` gave them for this path.
std::unique_ptr<StreamSource> openSource(const ProbeDetail& facts, int threads, CancelFlag cancel,
                                         bool deep = false);

/// Where a file's pictures end, and what seems to be missing.
struct Extent {
    int64_t lastPts = 0;  ///< time of the last picture, from the first one on, in the source's time base
    int64_t lastDuration = 1;
    bool seekable =
        true;             ///< times are regular, so that going to one finds the same picture as walking there
    std::string warning;  ///< what the container promises and the file does not hold; empty when whole
};

/// Reads all packets of the file once. Where they alone do not tell the end, decodes the last group of
/// pictures, and everything when the times are irregular or the file cannot seek. Throws MediaError
/// (cancelled).
Extent measureExtent(const ProbeDetail& facts, int threads, CancelFlag cancel);

}  // namespace tumblewash::media
