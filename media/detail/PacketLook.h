// What single packets of a codec tell without being decoded: where copying may begin, and what forbids it.
// One looker for each codec that can be copied; the index asks it packet by packet.
#pragma once

#include <memory>
#include <string>

#include "media/Codecs.h"
#include "media/PacketIndex.h"
#include "media/detail/NalUnits.h"

namespace tumblewash::media {

/// One packet. `trouble` are words that follow the name of the file, without the moment; empty when all is
/// well.
struct PacketLook {
    PacketKind kind = PacketKind::other;
    std::string trouble;
};

/// A track's headers in one piece, as `PacketRewriter` takes them.
struct TrackHeader {
    Bytes bytes;         ///< parameter sets with start codes; nothing for codecs that have none
    int lengthSize = 4;  ///< of the packets' units; 0: start codes
};

class PacketLooker {
  public:
    virtual ~PacketLooker() = default;
    virtual PacketLook look(ByteView packet) = 0;
    /// The headers that any packet so far needs, those between the packets among them.
    virtual TrackHeader header() const { return {}; }
    /// Why nothing of the whole track can be copied, as far as its headers tell; words as above.
    virtual std::string trouble() const { return {}; }
    /// Which of its codec's kinds the track is of, where packets say so and the library does not; 0
    /// elsewhere.
    virtual int kind() const { return 0; }
    /// True when pictures may come in another order than they are shown in.
    virtual bool reorders() const { return false; }
};

/// For H.264 and HEVC. Null when the header is broken.
std::unique_ptr<PacketLooker> makeAvcLooker(ByteView header);
std::unique_ptr<PacketLooker> makeHevcLooker(ByteView header);
std::unique_ptr<PacketLooker> makeVp9Looker();
std::unique_ptr<PacketLooker> makeProresLooker();
std::unique_ptr<PacketLooker> makeMjpegLooker();
std::unique_ptr<PacketLooker> makeDnxhrLooker();
std::unique_ptr<PacketLooker> makeFfv1Looker(ByteView header);

/// For any codec that is copied. Null when the header is broken.
std::unique_ptr<PacketLooker> makeLooker(Codec codec, ByteView header);

}  // namespace tumblewash::media
