// Any bytes as parameter sets, slices, messages and packets of H.264: read, written again under other ids, and
// put into one track with the sets of another source. What is written reads back the same, and escaping is undone
// by its reverse.

#include <algorithm>

#include "fuzz/Target.h"
#include "media/detail/AvcSets.h"
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

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(data, size);
    escape(bytes);
    readSets(bytes);
    // A header, then a packet: the first two bytes say where the one ends.
    if (size < 3) return 0;
    const std::size_t cut = std::min<std::size_t>(size - 2, std::size_t{data[0]} << 8 | data[1]);
    const ByteView header = bytes.subspan(2, cut);
    const ByteView packet = bytes.subspan(2 + cut);
    auto looker = tumblewash::media::makeAvcLooker(header);
    if (!looker) return 0;
    looker->look(packet);
    const PacketSource one{looker->header(), 1, false};
    PacketSource other = one;
    other.header.bytes.assign(header.begin(), header.end());
    if (const auto rewriter = tumblewash::media::makeAvcRewriter({one, other})) {
        demand(rewriter->header().size() >= 7, "a header without its beginning");
        if (const auto made = rewriter->rewritten(1, packet, true))
            demand(tumblewash::media::splitNalUnits(*made, 4).has_value(), "a packet whose lengths lie");
    }
    return 0;
}
