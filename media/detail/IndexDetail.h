// What an index of packets holds inside this room: where its file is and the headers of its track.
// Plain data, filled once by `PacketIndex::read`.
#pragma once

#include "media/PacketIndex.h"
#include "media/detail/PacketLook.h"
#include "media/detail/ProbeDetail.h"

namespace tumblewash::media {

struct PacketIndex::Detail {
    ProbeDetail file;
    TrackFacts facts;
    TrackHeader header;
    int64_t lag = 0;  ///< of the whole clip
    std::vector<IndexedPacket> packets;
    int64_t pictures = 0;
    std::string trouble;
};

/// Settles numbers, order and troubles once all packets are in. `base` is the unit of the times and
/// `firstShown` the time of the first picture that decoding gives; `hidden` marks packets that are not shown.
void settleIndex(PacketIndex::Detail& index, AVRational base, int64_t firstShown,
                 const std::vector<bool>& hidden);

}  // namespace tumblewash::media
