// Packets of several sources as packets of one track with one header: parameter sets get ids of their own,
// what names them is rewritten, and lengths take four bytes. It reads and writes no file.
#pragma once

#include <memory>
#include <vector>

#include "media/detail/PacketLook.h"

namespace tumblewash::media {

/// One source of packets.
struct PacketSource {
    TrackHeader header;
    int64_t lag = 0;     ///< how far its pictures are out of order
    bool fresh = false;  ///< made for this track: what its encoder says of itself is left out
};

class PacketRewriter {
  public:
    virtual ~PacketRewriter() = default;
    /// The track's header.
    virtual Bytes header() const = 0;
    /// What the track says of itself; `kEncoders` where that is what the seams' encoder says.
    static constexpr int kEncoders = -1;
    virtual int profile() const = 0;
    virtual int level() const = 0;
    /// True when one more source with sets of its own, numbered 0 as encoders do, would fit.
    virtual bool hasRoom() const { return true; }
    /// A packet of source `source`. `begins` is set for the first one of a stretch. Nothing when the packet
    /// is not such as the source's header and the index promise.
    virtual std::optional<Bytes> rewritten(size_t source, ByteView packet, bool begins) const = 0;
};

/// For H.264 and HEVC. Null when the sources need more parameter sets than one header holds.
std::unique_ptr<PacketRewriter> makeAvcRewriter(const std::vector<PacketSource>& sources);
std::unique_ptr<PacketRewriter> makeHevcRewriter(const std::vector<PacketSource>& sources);
/// True when two headers of FFV1 say the same: containers fill them up to an even number of bytes.
bool sameHeader(ByteView a, ByteView b) noexcept;

/// For codecs whose packets stand for themselves. Null when the sources' headers differ.
std::unique_ptr<PacketRewriter> makePlainRewriter(const std::vector<PacketSource>& sources);

/// For any codec that is copied.
std::unique_ptr<PacketRewriter> makeRewriter(Codec codec, const std::vector<PacketSource>& sources);

}  // namespace tumblewash::media
