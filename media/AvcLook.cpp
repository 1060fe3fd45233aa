// H.264 packets: where instantaneous refreshes stand, and whether slices and parameter sets are such as can
// be copied.
#include <set>

#include "media/detail/AvcSets.h"
#include "media/detail/PacketLook.h"

namespace tumblewash::media {

namespace {

constexpr const char* kBroken = "is damaged";

class AvcLooker final : public PacketLooker {
  public:
    explicit AvcLooker(AvcSets sets) : sets_(std::move(sets)) {}

    PacketLook look(ByteView packet) override {
        const auto units = splitNalUnits(packet, sets_.lengthSize);
        if (!units) return {PacketKind::other, kBroken};
        PacketLook out;
        int64_t block = -1;
        for (const ByteView unit : *units) {
            const int type = avcTypeOf(unit);
            if (type == kAvcSps || type == kAvcPps) {
                out.trouble = troubleOf(sets_.add(unit));
            } else if (type == kAvcSlice || type == kAvcIdr) {
                if (type == kAvcIdr) out.kind = PacketKind::entry;
                takeSlice(unit, block, out);
            } else if (type >= 2 && type <= 4) {
                out.trouble = "is coded in data partitions, which the encoder of the seams does not write";
            } else if (type == 14 || type == 15 || type == 20 || type == 21) {
                out.trouble = "holds layers or views beside its pictures: copies would be incomplete";
            }
            if (!out.trouble.empty()) return out;
        }
        if (block < 0) out.trouble = kBroken;
        return out;
    }

    TrackHeader header() const override {
        TrackHeader out;
        out.lengthSize = sets_.lengthSize;
        const auto add = [&](const Bytes& set) { appendStarted(out.bytes, set); };
        for (const int id : usedSps()) add(sets_.sps.at(id).bytes);
        for (const int id : used_) add(sets_.pps.at(id).bytes);
        return out;
    }

    std::string trouble() const override {
        const std::set<int> sequences = usedSps();
        if (sequences.size() > 1) return "uses several sets of coding parameters by turns";
        for (const int id : sequences) {
            const AvcSps& sps = sets_.sps.at(id);
            if (sps.profile != 66 && sps.profile != 77 && sps.profile != 100)
                return "has a profile of H.264 that the encoder of the seams does not write";
            if (!sps.framesOnly) return "is coded for interlaced pictures, and the seams' frames are whole";
            if (sps.chroma != 1 || sps.depth != 8)
                return "has a profile of H.264 that the encoder of the seams does not write";
        }
        for (const int id : used_)
            if (sets_.pps.at(id).sliceGroups || sets_.pps.at(id).redundant)
                return "orders its slices in a way that the encoder of the seams does not write";
        return {};
    }

    bool reorders() const override {
        // Without B pictures encoders choose an order that needs no numbers of its own, and some decoders
        // lose pictures where the two kinds meet.
        for (const int id : usedSps())
            if (sets_.sps.at(id).order != 2) return true;
        return false;
    }

  private:
    void takeSlice(ByteView unit, int64_t& block, PacketLook& out) {
        const auto slice = readAvcSlice(unit);
        if (!slice || !sets_.pps.contains(slice->pps) || !sets_.sps.contains(sets_.pps.at(slice->pps).sps)) {
            out.trouble = kBroken;
            return;
        }
        if (slice->firstBlock <= block) {
            out.trouble = "orders its slices in a way that the encoder of the seams does not write";
            return;
        }
        block = slice->firstBlock;
        used_.insert(slice->pps);
    }

    std::set<int> usedSps() const { return sequencesOf(used_, sets_.pps); }

    AvcSets sets_;
    std::set<int> used_;
};

}  // namespace

std::unique_ptr<PacketLooker> makeAvcLooker(ByteView header) {
    auto sets = readAvcHeader(header);
    return sets ? std::make_unique<AvcLooker>(std::move(*sets)) : nullptr;
}

}  // namespace tumblewash::media
