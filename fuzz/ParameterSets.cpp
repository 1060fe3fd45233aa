// Any bytes as parameter sets, slices, messages and packets of H.264 and HEVC, and as packets of VP9: read,
// written again under other ids, and put into one track with the sets of another source. What is written
// reads back the same, and escaping is undone by its reverse.

#include <algorithm>

#include "fuzz/Target.h"
#include "media/detail/AvcSets.h"
#include "media/detail/Bits.h"
#include "media/detail/HevcSets.h"
#include "media/detail/PacketRewriter.h"

namespace {

using tumblewash::fuzz::demand;
using tumblewash::media::AvcLimits;
using tumblewash::media::Bytes;
using tumblewash::media::ByteView;
using tumblewash::media::PacketSource;

void escape(ByteView bytes) {
    const Bytes unit = tumblewash::media::escaped(bytes);
    demand(std::equal(bytes.begin(), bytes.end(), tumblewash::media::unescaped(unit).begin()) &&
               tumblewash::media::unescaped(unit).size() == bytes.size(),
           "escaped bytes do not come back");
}

void readSets(ByteView bytes) {
    const AvcLimits limits{51, 3, 7};
    if (const auto sps = tumblewash::media::readAvcSps(bytes)) {
        const auto again = tumblewash::media::readAvcSps(tumblewash::media::writeAvcSps(*sps, 9, limits));
        demand(again && again->id == 9 && again->level == 51, "a sequence set that cannot be read again");
        demand(again->widthInBlocks == sps->widthInBlocks && again->order == sps->order &&
                   again->references == sps->references && again->reorder == 3,
               "a sequence set that has changed");
        demand(tumblewash::media::avcBuffering(*sps) >= 1 || sps->restricted, "no room for pictures");
    }
    if (const auto pps = tumblewash::media::readAvcPps(bytes)) {
        const auto again = tumblewash::media::readAvcPps(tumblewash::media::writeAvcPps(*pps, 200, 11));
        demand(again && again->id == 200 && again->sps == 11 && again->cabac == pps->cabac,
               "a picture set that has changed");
    }
    if (const auto slice = tumblewash::media::readAvcSlice(bytes))
        for (const int id : {0, 15, 31, 63, 255}) {
            if (!tumblewash::media::sameAlignment(slice->pps, id)) continue;
            const Bytes moved = tumblewash::media::writeAvcSlice(bytes, *slice, id);
            const auto there = tumblewash::media::readAvcSlice(moved);
            demand(there && there->pps == id, "a slice that names another set than it was told");
            const Bytes back = tumblewash::media::writeAvcSlice(moved, *there, slice->pps);
            demand(tumblewash::media::unescaped(back) == tumblewash::media::unescaped(bytes),
                   "a slice that does not come back");
        }
    tumblewash::media::withoutBufferingPeriods(bytes);
}

void readHevcSets(ByteView bytes) {
    const tumblewash::media::HevcLimits limits{true, 153, 9, 4};
    if (const auto vps = tumblewash::media::readHevcVps(bytes)) {
        const auto again = tumblewash::media::readHevcVps(tumblewash::media::writeHevcVps(*vps, 11, limits));
        demand(again && again->id == 11, "a video set that cannot be read again");
    }
    if (const auto sps = tumblewash::media::readHevcSps(bytes)) {
        const auto again =
            tumblewash::media::readHevcSps(tumblewash::media::writeHevcSps(*sps, 9, 11, limits));
        demand(again && again->id == 9 && again->vps == 11 && again->level == 153 && again->high,
               "a sequence set that cannot be read again");
        demand(again->width == sps->width && again->height == sps->height && again->chroma == sps->chroma &&
                   again->lumaDepth == sps->lumaDepth && again->reorder == 4 && again->buffering == 9,
               "a sequence set that has changed");
    }
    if (const auto pps = tumblewash::media::readHevcPps(bytes)) {
        const auto again = tumblewash::media::readHevcPps(tumblewash::media::writeHevcPps(*pps, 60, 11));
        demand(again && again->id == 60 && again->sps == 11, "a picture set that has changed");
    }
    if (const auto slice = tumblewash::media::readHevcSlice(bytes))
        for (const int id : {0, 15, 31, 62}) {
            if (!tumblewash::media::sameAlignment(slice->pps, id)) continue;
            const Bytes moved = tumblewash::media::writeHevcSlice(bytes, *slice, id, false);
            const auto there = tumblewash::media::readHevcSlice(moved);
            demand(there && there->pps == id && there->first == slice->first, "a slice that has changed");
            const Bytes back = tumblewash::media::writeHevcSlice(moved, *there, slice->pps, false);
            demand(tumblewash::media::unescaped(back) == tumblewash::media::unescaped(bytes),
                   "a slice that does not come back");
        }
}

/// A header, then a packet.
void copyPacket(tumblewash::media::Codec codec, ByteView header, ByteView packet) {
    const auto looker = tumblewash::media::makeLooker(codec, header);
    if (!looker) return;
    looker->look(packet);
    const PacketSource one{looker->header(), 1, false};
    PacketSource other = one;
    other.header.bytes.assign(header.begin(), header.end());
    const auto rewriter = tumblewash::media::makeRewriter(codec, {one, other});
    if (!rewriter) return;
    const Bytes made = rewriter->header();
    if (codec == tumblewash::media::Codec::vp9) return;
    demand(made.size() >= 7, "a header without its beginning");
    demand(tumblewash::media::makeLooker(codec, made) != nullptr, "a header that cannot be read again");
    if (const auto copied = rewriter->rewritten(1, packet, true))
        demand(tumblewash::media::splitNalUnits(*copied, 4).has_value(), "a packet whose lengths lie");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(data, size);
    escape(bytes);
    readSets(bytes);
    readHevcSets(bytes);
    // The first two bytes say where a header ends.
    if (size < 3) return 0;
    const std::size_t cut = std::min<std::size_t>(size - 2, std::size_t{data[0]} << 8 | data[1]);
    for (const auto codec :
         {tumblewash::media::Codec::h264, tumblewash::media::Codec::hevc, tumblewash::media::Codec::vp9})
        copyPacket(codec, bytes.subspan(2, cut), bytes.subspan(2 + cut));
    return 0;
}
