// H.264 of several sources in one track: one table of parameter sets, equal ones shared, and slices that name
// the ids of that table.
#include <algorithm>
#include <map>

#include "media/detail/AvcSets.h"
#include "media/detail/Bits.h"
#include "media/detail/PacketRewriter.h"
#include "media/detail/SetIds.h"
#include "media/detail/UnitRewriting.h"

namespace tumblewash::media {

namespace {

constexpr int kSpsIds = 32;
constexpr int kPpsIds = 256;
constexpr size_t kMostSps = 31;  // that a header can list
constexpr size_t kMostPps = 255;

/// Sets under their ids in the one track, and the keys by which equal ones are known.
class Table {
  public:
    explicit Table(AvcLimits limits) : limits_(limits) {}

    /// The id that this set has here; -1 when there is none left.
    int take(const AvcSps& sps) {
        return sps_.take(writeAvcSps(sps, 0, limits_), sps.id, [](int) { return true; });
    }
    int take(const AvcPps& pps, int sps) {
        return pps_.take(writeAvcPps(pps, 0, sps), pps.id, [&](int id) { return sameAlignment(pps.id, id); });
    }

    bool fits() const { return sps_.size() <= kMostSps && pps_.size() <= kMostPps; }
    bool hasRoom() const {
        return sps_.size() < kMostSps && pps_.size() < kMostPps &&
               pps_.hasRoom([](int id) { return sameAlignment(0, id); });
    }

  private:
    AvcLimits limits_;
    SetIds sps_{kSpsIds};
    SetIds pps_{kPpsIds};
};

/// A source with the ids that its sets have in the track.
struct Source {
    AvcSets sets;
    bool fresh = false;
    std::map<int, int> sps, pps;
};

AvcLimits limitsOf(const std::vector<PacketSource>& from, const std::vector<Source>& sources) {
    AvcLimits out;
    for (size_t i = 0; i < sources.size(); ++i) {
        out.reorder = std::max(out.reorder, static_cast<int>(std::min<int64_t>(from[i].lag, 16)));
        for (const auto& [id, sps] : sources[i].sets.sps) {
            out.level = std::max(out.level, sps.level);
            if (sps.restricted) out.reorder = std::max(out.reorder, std::min(sps.reorder, 16));
            out.buffering = std::max(out.buffering, std::min(avcBuffering(sps), 16));
        }
    }
    return out;
}

class AvcRewriter final : public PacketRewriter {
  public:
    AvcRewriter(std::vector<Source> sources, AvcLimits limits, bool room)
        : sources_(std::move(sources)), limits_(limits), room_(room) {
        for (const Source& source : sources_) {
            for (const auto& [id, sps] : source.sets.sps) {
                profile_ = std::max(profile_, sps.profile);
                compatibility_ &= sps.compatibility;
                spsUnits_[source.sps.at(id)] = writeAvcSps(sps, source.sps.at(id), limits_);
                first_ = first_ == nullptr ? &sps : first_;
            }
            for (const auto& [id, pps] : source.sets.pps)
                ppsUnits_[source.pps.at(id)] = writeAvcPps(pps, source.pps.at(id), source.sps.at(pps.sps));
        }
    }

    /// The decoder configuration record of ISO/IEC 14496-15, 5.3.3.1.
    Bytes header() const override {
        Bytes out{1,
                  static_cast<uint8_t>(profile_),
                  static_cast<uint8_t>(compatibility_),
                  static_cast<uint8_t>(limits_.level),
                  0xFF,
                  static_cast<uint8_t>(0xE0 | spsUnits_.size())};
        const auto add = [&](const Bytes& unit) {
            out.push_back(static_cast<uint8_t>(unit.size() >> 8));
            out.push_back(static_cast<uint8_t>(unit.size()));
            out.insert(out.end(), unit.begin(), unit.end());
        };
        for (const auto& [id, unit] : spsUnits_) add(unit);
        out.push_back(static_cast<uint8_t>(ppsUnits_.size()));
        for (const auto& [id, unit] : ppsUnits_) add(unit);
        if (profile_ >= 100) {
            out.push_back(static_cast<uint8_t>(0xFC | first_->chroma));
            out.push_back(static_cast<uint8_t>(0xF8 | (first_->lumaDepth - 8)));
            out.push_back(static_cast<uint8_t>(0xF8 | (first_->chromaDepth - 8)));
            out.push_back(0);
        }
        return out;
    }
    int profile() const override { return profile_; }
    int level() const override { return limits_.level; }
    bool hasRoom() const override { return room_; }

    std::optional<Bytes> rewritten(size_t source, ByteView packet, bool) const override {
        const Source& from = sources_[source];
        return rewrittenUnits(packet, from.sets.lengthSize, [&](ByteView unit, Bytes& out) {
            const int type = avcTypeOf(unit);
            if (type == kAvcSlice || type == kAvcIdr) return addSlice(from, unit, out);
            if (type == kAvcSei && !from.fresh) addInformation(from, unit, out);
            return UnitFate::done;
        });
    }

  private:
    static UnitFate addSlice(const Source& from, ByteView unit, Bytes& out) {
        const auto slice = readAvcSlice(unit);
        if (!slice) return UnitFate::broken;
        const auto mapped = from.pps.find(slice->pps);
        if (mapped == from.pps.end()) return UnitFate::broken;
        if (mapped->second == slice->pps)
            appendNalUnit(out, unit);
        else
            appendNalUnit(out, writeAvcSlice(unit, *slice, mapped->second));
        return UnitFate::pictured;
    }

    /// Messages about buffering name a sequence parameter set, and are left out where that has another id
    /// now.
    static void addInformation(const Source& from, ByteView unit, Bytes& out) {
        if (allKept(from.sps)) return appendNalUnit(out, unit);
        const Bytes rest = withoutBufferingPeriods(unit);
        if (!rest.empty()) appendNalUnit(out, rest);
    }

    std::vector<Source> sources_;
    AvcLimits limits_;
    bool room_;
    int profile_ = 0;
    int compatibility_ = 0xFF;
    const AvcSps* first_ = nullptr;
    std::map<int, Bytes> spsUnits_, ppsUnits_;
};

}  // namespace

std::unique_ptr<PacketRewriter> makeAvcRewriter(const std::vector<PacketSource>& from) {
    std::vector<Source> sources;
    for (const PacketSource& one : from) {
        auto sets = readAvcHeader(one.header.bytes);
        if (!sets) return nullptr;
        sets->lengthSize = one.header.lengthSize;
        sources.push_back({std::move(*sets), one.fresh, {}, {}});
    }
    const AvcLimits limits = limitsOf(from, sources);
    Table table(limits);
    for (Source& source : sources) {
        for (const auto& [id, sps] : source.sets.sps)
            if ((source.sps[id] = table.take(sps)) < 0) return nullptr;
        for (const auto& [id, pps] : source.sets.pps) {
            if (!source.sps.contains(pps.sps)) return nullptr;
            if ((source.pps[id] = table.take(pps, source.sps[pps.sps])) < 0) return nullptr;
        }
    }
    if (!table.fits()) return nullptr;
    return std::make_unique<AvcRewriter>(std::move(sources), limits, table.hasRoom());
}

}  // namespace tumblewash::media
