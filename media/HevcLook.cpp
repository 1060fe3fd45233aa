// HEVC packets: where pictures that refresh decoding stand, and whether slices and parameter sets are such as
// can be copied.
#include <set>

#include "media/detail/HevcSets.h"
#include "media/detail/PacketLook.h"

namespace tumblewash::media {

namespace {

constexpr const char* kBroken = "is damaged";
constexpr const char* kProfile = "has a profile of HEVC that the encoder of the seams does not write";

class HevcLooker final : public PacketLooker {
  public:
    explicit HevcLooker(HevcSets sets) : sets_(std::move(sets)) {}

    PacketLook look(ByteView packet) override {
        const auto units = splitNalUnits(packet, sets_.lengthSize);
        if (!units) return {PacketKind::other, kBroken};
        PacketLook out;
        int pictures = 0;
        for (const ByteView unit : *units) {
            const int type = hevcTypeOf(unit);
            if (hevcLayerOf(unit) > 0)
                out.trouble = "holds layers or views beside its pictures: copies would be incomplete";
            else if (type >= kHevcVps && type <= kHevcPps)
                out.trouble = troubleOf(sets_.add(unit));
            else if (hevcIsSlice(type))
                takeSlice(unit, pictures, out);
            if (!out.trouble.empty()) return out;
        }
        if (pictures != 1) out.trouble = kBroken;
        return out;
    }

    TrackHeader header() const override {
        TrackHeader out;
        out.lengthSize = sets_.lengthSize;
        const auto add = [&](const Bytes& set) { appendStarted(out.bytes, set); };
        const std::set<int> sequences = usedSps();
        std::set<int> videos;
        for (const int id : sequences) videos.insert(sets_.sps.at(id).vps);
        for (const int id : videos)
            if (const auto found = sets_.vps.find(id); found != sets_.vps.end()) add(found->second.bytes);
        for (const int id : sequences) add(sets_.sps.at(id).bytes);
        for (const int id : used_) add(sets_.pps.at(id).bytes);
        return out;
    }

    std::string trouble() const override {
        const std::set<int> sequences = usedSps();
        if (sequences.size() > 1) return "uses several sets of coding parameters by turns";
        for (const int id : sequences) {
            const HevcSps& sps = sets_.sps.at(id);
            if (!sets_.vps.contains(sps.vps)) return kBroken;
            const bool deep = sps.lumaDepth == 10;
            if (sps.profile != 1 && sps.profile != 2) return kProfile;
            if (sps.chroma != 1 || sps.lumaDepth != sps.chromaDepth || (sps.lumaDepth != 8 && !deep))
                return kProfile;
        }
        return {};
    }

    // Unlike H.264's, its pictures are numbered in one way, whatever their order.
    bool reorders() const override { return true; }

  private:
    void takeSlice(ByteView unit, int& pictures, PacketLook& out) {
        const auto slice = readHevcSlice(unit);
        if (!slice || !sets_.pps.contains(slice->pps) || !sets_.sps.contains(sets_.pps.at(slice->pps).sps)) {
            out.trouble = kBroken;
            return;
        }
        const int type = hevcTypeOf(unit);
        if (slice->first) ++pictures;
        if (hevcRefreshes(type))
            out.kind = type == kHevcIdrNoLeading || type == kHevcBlaNoLeading ? PacketKind::entry
                                                                              : PacketKind::openEntry;
        used_.insert(slice->pps);
    }

    std::set<int> usedSps() const { return sequencesOf(used_, sets_.pps); }

    HevcSets sets_;
    std::set<int> used_;
};

}  // namespace

std::unique_ptr<PacketLooker> makeHevcLooker(ByteView header) {
    auto sets = readHevcHeader(header);
    return sets ? std::make_unique<HevcLooker>(std::move(*sets)) : nullptr;
}

}  // namespace tumblewash::media
