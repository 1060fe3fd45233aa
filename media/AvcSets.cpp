#include "media/detail/AvcSets.h"

#include <algorithm>
#include <array>

#include "media/detail/Bits.h"

namespace tumblewash::media {

namespace {

constexpr int kMostBlocks = 16384 / 16;
constexpr int kBufferingPeriod = 0;

bool saysChroma(int profile) {
    constexpr std::array profiles{100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(profiles.begin(), profiles.end(), profile) != profiles.end();
}

void skipScalingLists(BitReader& bits, int lists) {
    for (int i = 0; i < lists; ++i) {
        if (!bits.bit()) continue;
        int last = 8;
        int next = 8;
        for (int k = 0; k < (i < 6 ? 16 : 64) && !bits.failed(); ++k) {
            if (next != 0) next = (last + bits.se() % 256 + 256) % 256;
            last = next == 0 ? last : next;
        }
    }
}

void skipHrd(BitReader& bits) {
    const uint32_t count = bits.ue() + 1;
    if (count > 32) return bits.skip(SIZE_MAX);
    bits.skip(8);
    for (uint32_t i = 0; i < count; ++i) {
        bits.ue();
        bits.ue();
        bits.skip(1);
    }
    bits.skip(20);
}

void readVui(BitReader& bits, AvcSps& sps) {
    if (bits.bit() && bits.bits(8) == 255) bits.skip(32);  // shape of a pixel
    if (bits.bit()) bits.skip(1);                          // overscan
    if (bits.bit()) {
        bits.skip(4);
        if (bits.bit()) bits.skip(24);
    }
    if (bits.bit()) {
        bits.ue();
        bits.ue();
    }
    if (bits.bit()) bits.skip(65);  // timing
    const bool nalHrd = bits.bit();
    if (nalHrd) skipHrd(bits);
    const bool vclHrd = bits.bit();
    if (vclHrd) skipHrd(bits);
    if (nalHrd || vclHrd) bits.skip(1);
    bits.skip(1);
    sps.restrictionAt = bits.position();
    sps.restricted = bits.bit();
    if (!sps.restricted) return;
    bits.skip(1);
    for (int i = 0; i < 4; ++i) bits.ue();
    sps.limitsAt = bits.position();
    sps.reorder = static_cast<int>(std::min(bits.ue(), 64U));
    sps.buffering = static_cast<int>(std::min(bits.ue(), 64U));
}

/// What a set says of the order of pictures, without which their headers could not be read.
void readOrder(BitReader& bits, AvcSps& sps) {
    bits.ue();
    sps.order = static_cast<int>(std::min(bits.ue(), 3U));
    if (sps.order == 0) bits.ue();
    if (sps.order != 1) return;
    bits.skip(1);
    bits.se();
    bits.se();
    const uint32_t cycle = bits.ue();
    if (cycle > 255) return bits.skip(SIZE_MAX);
    for (uint32_t i = 0; i < cycle; ++i) bits.se();
}

int dpbBlocksOf(int level) {
    struct Row {
        int level;
        int blocks;
    };
    constexpr std::array rows{Row{10, 396},   Row{11, 900},    Row{20, 2376},   Row{21, 4752},
                              Row{30, 8100},  Row{31, 18000},  Row{32, 20480},  Row{41, 32768},
                              Row{42, 34816}, Row{50, 110400}, Row{52, 184320}, Row{255, 696320}};
    return std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return level <= row.level; })->blocks;
}

void writeLimits(BitWriter& out, const AvcLimits& limits) {
    out.ue(static_cast<uint32_t>(limits.reorder));
    out.ue(static_cast<uint32_t>(std::max(limits.buffering, limits.reorder)));
}

/// A restriction that restricts nothing but these two.
void writeRestriction(BitWriter& out, const AvcLimits& limits) {
    out.bit(true);
    out.bit(true);
    out.ue(0);
    out.ue(0);
    out.ue(15);
    out.ue(15);
    writeLimits(out, limits);
}

}  // namespace

std::optional<AvcSps> readAvcSps(ByteView unit) {
    AvcSps sps;
    sps.bytes = unescaped(unit);
    sps.end = closingBit(sps.bytes);
    BitReader bits(sps.bytes);
    bits.skip(8);
    sps.profile = static_cast<int>(bits.bits(8));
    sps.compatibility = static_cast<int>(bits.bits(8));
    sps.level = static_cast<int>(bits.bits(8));
    sps.idAt = bits.position();
    const uint32_t id = bits.ue();
    sps.afterId = bits.position();
    if (saysChroma(sps.profile)) {
        sps.chroma = static_cast<int>(std::min(bits.ue(), 4U));
        if (sps.chroma == 3) bits.skip(1);
        sps.lumaDepth = 8 + static_cast<int>(std::min(bits.ue(), 7U));
        sps.chromaDepth = 8 + static_cast<int>(std::min(bits.ue(), 7U));
        sps.depth = std::max(sps.lumaDepth, sps.chromaDepth);
        bits.skip(1);
        if (bits.bit()) skipScalingLists(bits, sps.chroma == 3 ? 12 : 8);
    }
    readOrder(bits, sps);
    sps.references = static_cast<int>(std::min(bits.ue(), 17U));
    bits.skip(1);
    const uint32_t across = bits.ue();
    const uint32_t down = bits.ue();
    sps.framesOnly = bits.bit();
    if (!sps.framesOnly) bits.skip(1);
    bits.skip(1);
    if (bits.bit())
        for (int i = 0; i < 4; ++i) bits.ue();
    sps.vuiAt = bits.position();
    sps.vui = bits.bit();
    if (sps.vui) readVui(bits, sps);
    if (bits.failed() || id > 31 || across >= kMostBlocks || down >= kMostBlocks || sps.order > 2 ||
        sps.references > 16 || sps.chroma > 3 || bits.position() > sps.end)
        return std::nullopt;
    sps.id = static_cast<int>(id);
    sps.widthInBlocks = static_cast<int>(across) + 1;
    sps.heightInBlocks = (static_cast<int>(down) + 1) * (sps.framesOnly ? 1 : 2);
    return sps;
}

std::optional<AvcPps> readAvcPps(ByteView unit) {
    AvcPps pps;
    pps.bytes = unescaped(unit);
    pps.end = closingBit(pps.bytes);
    BitReader bits(pps.bytes);
    bits.skip(8);
    const uint32_t id = bits.ue();
    const uint32_t sps = bits.ue();
    pps.afterIds = bits.position();
    pps.cabac = bits.bit();
    bits.skip(1);
    pps.sliceGroups = bits.ue() > 0;
    if (!pps.sliceGroups) {
        bits.ue();
        bits.ue();
        bits.skip(3);
        bits.se();
        bits.se();
        bits.se();
        bits.skip(2);
        pps.redundant = bits.bit();
    }
    if (bits.failed() || id > 255 || sps > 31 || bits.position() > pps.end) return std::nullopt;
    pps.id = static_cast<int>(id);
    pps.sps = static_cast<int>(sps);
    return pps;
}

std::optional<AvcSlice> readAvcSlice(ByteView unit) {
    // Three codes of at most 17 and 7 bits and what keeps start codes out of them.
    const Bytes head = unescaped(unit, 24);
    BitReader bits(head);
    bits.skip(8);
    AvcSlice slice;
    slice.firstBlock = bits.ue();
    const uint32_t kind = bits.ue();
    slice.ppsAt = bits.position();
    const uint32_t pps = bits.ue();
    slice.afterPps = bits.position();
    if (bits.failed() || kind > 9 || pps > 255) return std::nullopt;
    slice.kind = static_cast<int>(kind % 5);
    slice.pps = static_cast<int>(pps);
    return slice;
}

int avcBuffering(const AvcSps& sps) noexcept {
    if (sps.restricted) return std::max(sps.buffering, sps.references);
    const int fits = dpbBlocksOf(sps.level) / (sps.widthInBlocks * sps.heightInBlocks);
    return std::clamp(fits, std::max(sps.references, 1), 16);
}

Bytes writeAvcSps(const AvcSps& sps, int id, const AvcLimits& limits) {
    BitWriter out;
    constexpr int kLevelBetween = 0x10;  // of the first profiles: makes level 1.1 one of its own
    const bool first = sps.profile == 66 || sps.profile == 77 || sps.profile == 88;
    const bool moved = first && limits.level != sps.level;
    out.copy(sps.bytes, 0, 16);
    out.bits(static_cast<uint32_t>(moved ? sps.compatibility & ~kLevelBetween : sps.compatibility), 8);
    out.bits(static_cast<uint32_t>(limits.level), 8);
    out.ue(static_cast<uint32_t>(id));
    if (sps.restricted) {
        out.copy(sps.bytes, sps.afterId, sps.limitsAt);
        writeLimits(out, limits);
    } else if (sps.vui) {
        out.copy(sps.bytes, sps.afterId, sps.restrictionAt);
        writeRestriction(out, limits);
    } else {
        out.copy(sps.bytes, sps.afterId, sps.vuiAt);
        out.bit(true);
        out.bits(0, 8);  // no shape, overscan, signal, place of chroma, timing, buffers, structure
        writeRestriction(out, limits);
    }
    out.trailing();
    return escaped(out.take());
}

Bytes writeAvcPps(const AvcPps& pps, int id, int sps) {
    BitWriter out;
    out.copy(pps.bytes, 0, 8);
    out.ue(static_cast<uint32_t>(id));
    out.ue(static_cast<uint32_t>(sps));
    out.copy(pps.bytes, pps.afterIds, pps.end);
    out.trailing();
    return escaped(out.take());
}

Bytes writeAvcSlice(ByteView unit, const AvcSlice& slice, int pps) {
    const Bytes bytes = unescaped(unit);
    BitWriter out;
    out.copy(bytes, 0, slice.ppsAt);
    out.ue(static_cast<uint32_t>(pps));
    out.copy(bytes, slice.afterPps, bytes.size() * 8);
    return escaped(out.take());
}

Bytes withoutBufferingPeriods(ByteView unit) {
    return withoutMessages(unit, 1, [](size_t kind) { return kind == kBufferingPeriod; });
}

AvcSets::Added AvcSets::add(ByteView unit) {
    return avcTypeOf(unit) == kAvcSps ? takeSet(sps, readAvcSps(unit)) : takeSet(pps, readAvcPps(unit));
}

namespace {

/// Takes up `count` sets with lengths of two bytes. False when they are cut off or broken.
bool takeSets(ByteView& header, size_t count, int type, AvcSets& sets) {
    for (size_t i = 0; i < count; ++i) {
        if (header.size() < 2) return false;
        const size_t length = static_cast<size_t>(header[0]) << 8 | header[1];
        if (length > header.size() - 2) return false;
        const ByteView unit = header.subspan(2, length);
        header = header.subspan(2 + length);
        if (avcTypeOf(unit) == type && !isTaken(sets.add(unit))) return false;
    }
    return true;
}

bool takeRecord(ByteView header, AvcSets& sets) {
    if (header.size() < 7) return false;
    sets.lengthSize = (header[4] & 3) + 1;
    const size_t count = header[5] & 31;
    header = header.subspan(6);
    if (!takeSets(header, count, kAvcSps, sets) || header.empty()) return false;
    const size_t pictures = header[0];
    header = header.subspan(1);
    return takeSets(header, pictures, kAvcPps, sets);
}

/// Takes up a header's unit; what is no set is passed over. False when it is broken.
bool takeUnit(ByteView unit, AvcSets& sets) {
    const int type = avcTypeOf(unit);
    return (type != kAvcSps && type != kAvcPps) || isTaken(sets.add(unit));
}

}  // namespace

std::optional<AvcSets> readAvcHeader(ByteView header) {
    AvcSets sets;
    if (header.empty()) return std::nullopt;
    const bool whole = header.front() == 1
                           ? takeRecord(header, sets)
                           : takeUnits(header, sets, [&](ByteView unit) { return takeUnit(unit, sets); });
    if (!whole || sets.sps.empty() || sets.pps.empty()) return std::nullopt;
    return sets;
}

}  // namespace tumblewash::media
