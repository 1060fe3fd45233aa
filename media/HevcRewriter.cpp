// HEVC of several sources in one track: one table of parameter sets, equal ones shared, and slices that name
// the ids of that table.
#include <algorithm>
#include <map>

#include "media/detail/Bits.h"
#include "media/detail/HevcSets.h"
#include "media/detail/PacketRewriter.h"
#include "media/detail/SetIds.h"
#include "media/detail/UnitRewriting.h"

namespace tumblewash::media {

namespace {

constexpr int kMostBuffered = 15;
constexpr size_t kBufferingPeriod = 0;
constexpr size_t kActiveSets = 129;

/// A source with the ids that its sets have in the track.
struct Source {
    HevcSets sets;
    bool fresh = false;
    std::map<int, int> vps, sps, pps;
};

/// Ids in the one track. Sets are compared as they would be written under a common id.
class Table {
  public:
    explicit Table(HevcLimits limits) : limits_(limits) {}

    /// False when there are no ids left, or a set names one that is missing.
    bool take(Source& source) {
        const auto any = [](int) { return true; };
        for (const auto& [id, set] : source.sets.vps)
            if ((source.vps[id] = vps_.take(writeHevcVps(set, 0, limits_), id, any)) < 0) return false;
        for (const auto& [id, set] : source.sets.sps) {
            if (!source.vps.contains(set.vps)) return false;
            if ((source.sps[id] = sps_.take(writeHevcSps(set, 0, source.vps[set.vps], limits_), id, any)) < 0)
                return false;
        }
        for (const auto& [id, set] : source.sets.pps) {
            if (!source.sps.contains(set.sps)) return false;
            const auto fits = [own = id](int other) { return sameAlignment(own, other); };
            if ((source.pps[id] = pps_.take(writeHevcPps(set, 0, source.sps[set.sps]), id, fits)) < 0)
                return false;
        }
        return true;
    }
    bool hasRoom() const {
        const auto any = [](int) { return true; };
        return vps_.hasRoom(any) && sps_.hasRoom(any) &&
               pps_.hasRoom([](int id) { return sameAlignment(0, id); });
    }

  private:
    HevcLimits limits_;
    SetIds vps_{16};
    SetIds sps_{16};
    SetIds pps_{64};
};

HevcLimits limitsOf(const std::vector<PacketSource>& from, const std::vector<Source>& sources) {
    HevcLimits out;
    for (size_t i = 0; i < sources.size(); ++i) {
        out.reorder = std::max(out.reorder, static_cast<int>(std::min<int64_t>(from[i].lag, kMostBuffered)));
        for (const auto& [id, sps] : sources[i].sets.sps) {
            out.high = out.high || sps.high;
            out.level = std::max(out.level, sps.level);
            out.reorder = std::max(out.reorder, sps.reorder);
            out.buffering = std::max(out.buffering, sps.buffering);
        }
    }
    out.buffering = std::max(out.buffering, out.reorder);
    return out;
}

class HevcRewriter final : public PacketRewriter {
  public:
    HevcRewriter(std::vector<Source> sources, HevcLimits limits, bool room)
        : sources_(std::move(sources)), limits_(limits), room_(room) {
        for (const Source& source : sources_) {
            for (const auto& [id, set] : source.sets.vps)
                units_[kHevcVps][source.vps.at(id)] = writeHevcVps(set, source.vps.at(id), limits_);
            for (const auto& [id, set] : source.sets.sps) {
                units_[kHevcSps][source.sps.at(id)] =
                    writeHevcSps(set, source.sps.at(id), source.vps.at(set.vps), limits_);
                if (first_ == nullptr || set.profile > first_->profile) first_ = &set;
                layers_ = std::max(layers_, set.layers);
                nested_ = nested_ && set.nested;
            }
            for (const auto& [id, set] : source.sets.pps)
                units_[kHevcPps][source.pps.at(id)] =
                    writeHevcPps(set, source.pps.at(id), source.sps.at(set.sps));
        }
    }

    /// The decoder configuration record of ISO/IEC 14496-15, 8.3.3.1.
    Bytes header() const override {
        // Profile, compatibility and constraints stand in the set as the record wants them.
        Bytes out(first_->bytes.begin() + 2, first_->bytes.begin() + 14);
        out[0] = 1;
        out[1] = static_cast<uint8_t>((out[1] & ~0x20) | (limits_.high ? 0x20 : 0));
        const auto add = [&](unsigned value) { out.push_back(static_cast<uint8_t>(value)); };
        const auto addTwo = [&](size_t value) {
            add(static_cast<unsigned>(value >> 8 & 255));
            add(static_cast<unsigned>(value & 255));
        };
        add(static_cast<unsigned>(limits_.level));
        addTwo(0xF000);  // no least size of segments
        add(0xFC);       // nor a way of decoding in parallel
        add(0xFCU | static_cast<unsigned>(first_->chroma));
        add(0xF8U | static_cast<unsigned>(first_->lumaDepth - 8));
        add(0xF8U | static_cast<unsigned>(first_->chromaDepth - 8));
        addTwo(0);  // the container says how fast pictures come
        add(static_cast<unsigned>(layers_) << 3 | (nested_ ? 4U : 0U) | 3U);
        add(static_cast<unsigned>(units_.size()));
        for (const auto& [type, sets] : units_) {
            add(0x80U | static_cast<unsigned>(type));
            addTwo(sets.size());
            for (const auto& [id, unit] : sets) {
                addTwo(unit.size());
                out.insert(out.end(), unit.begin(), unit.end());
            }
        }
        return out;
    }
    int profile() const override { return first_->profile; }
    int level() const override { return limits_.level; }
    bool hasRoom() const override { return room_; }

    std::optional<Bytes> rewritten(size_t source, ByteView packet, bool begins) const override {
        const Source& from = sources_[source];
        return rewrittenUnits(packet, from.sets.lengthSize, [&](ByteView unit, Bytes& out) {
            const int type = hevcTypeOf(unit);
            if (hevcIsSlice(type)) return addSlice(from, unit, begins, out);
            if ((type == kHevcSei || type == kHevcSuffixSei) && !from.fresh) addInformation(from, unit, out);
            return UnitFate::done;
        });
    }

  private:
    static UnitFate addSlice(const Source& from, ByteView unit, bool begins, Bytes& out) {
        const auto slice = readHevcSlice(unit);
        if (!slice || (begins && !hevcRefreshes(hevcTypeOf(unit)))) return UnitFate::broken;
        const auto mapped = from.pps.find(slice->pps);
        if (mapped == from.pps.end()) return UnitFate::broken;
        if (mapped->second == slice->pps && !begins)
            appendNalUnit(out, unit);
        else
            appendNalUnit(out, writeHevcSlice(unit, *slice, mapped->second, begins));
        return UnitFate::pictured;
    }

    /// Messages that name sets are left out where those have other ids now.
    static void addInformation(const Source& from, ByteView unit, Bytes& out) {
        if (allKept(from.vps) && allKept(from.sps)) return appendNalUnit(out, unit);
        const Bytes rest = withoutMessages(
            unit, 2, [](size_t kind) { return kind == kBufferingPeriod || kind == kActiveSets; });
        if (!rest.empty()) appendNalUnit(out, rest);
    }

    std::vector<Source> sources_;
    HevcLimits limits_;
    bool room_;
    const HevcSps* first_ = nullptr;
    int layers_ = 1;
    bool nested_ = true;
    std::map<int, std::map<int, Bytes>> units_;  // by type, then id
};

}  // namespace

std::unique_ptr<PacketRewriter> makeHevcRewriter(const std::vector<PacketSource>& from) {
    std::vector<Source> sources;
    for (const PacketSource& one : from) {
        auto sets = readHevcHeader(one.header.bytes);
        if (!sets) return nullptr;
        sets->lengthSize = one.header.lengthSize;
        sources.push_back({std::move(*sets), one.fresh, {}, {}, {}});
    }
    const HevcLimits limits = limitsOf(from, sources);
    Table table(limits);
    for (Source& source : sources)
        if (!table.take(source)) return nullptr;
    return std::make_unique<HevcRewriter>(std::move(sources), limits, table.hasRoom());
}

}  // namespace tumblewash::media
