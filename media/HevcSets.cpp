#include "media/detail/HevcSets.h"

#include <algorithm>

#include "media/detail/Bits.h"

namespace tumblewash::media {

namespace {

// Bytes of the profile with its tier and constraints, behind which the level stands.
constexpr size_t kProfileBits = 88;
// Of a video parameter set before its profile.
constexpr size_t kVpsHead = 48;
constexpr uint32_t kMostSamples = 1U << 15;
constexpr uint32_t kMostBuffered = 15;

/// The profiles and levels of lower layers.
void skipLayers(BitReader& bits, int most) {
    if (most == 0) return;
    bool profiles[8]{};
    bool levels[8]{};
    for (int i = 0; i < most; ++i) {
        profiles[i] = bits.bit();
        levels[i] = bits.bit();
    }
    bits.skip(static_cast<size_t>(2 * (8 - most)));
    for (int i = 0; i < most; ++i) bits.skip((profiles[i] ? kProfileBits : 0) + (levels[i] ? 8 : 0));
}

/// The profile and level that begin at bit `at`, with the tier and level of the limits.
void copyProfile(BitWriter& out, const Bytes& bytes, size_t at, const HevcLimits& limits) {
    out.copy(bytes, at, at + 2);
    out.bit(limits.high);
    out.copy(bytes, at + 3, at + kProfileBits);
    out.bits(static_cast<uint32_t>(limits.level), 8);
}

}  // namespace

std::optional<HevcVps> readHevcVps(ByteView unit) {
    HevcVps vps;
    vps.bytes = unescaped(unit);
    if (closingBit(vps.bytes) < kVpsHead + kProfileBits + 8) return std::nullopt;
    vps.id = vps.bytes[2] >> 4;
    return vps;
}

std::optional<HevcSps> readHevcSps(ByteView unit) {
    HevcSps sps;
    sps.bytes = unescaped(unit);
    sps.end = closingBit(sps.bytes);
    BitReader bits(sps.bytes);
    bits.skip(16);
    sps.vps = static_cast<int>(bits.bits(4));
    const int most = static_cast<int>(bits.bits(3));
    sps.layers = most + 1;
    sps.nested = bits.bit();
    bits.skip(2);
    sps.high = bits.bit();
    sps.profile = static_cast<int>(bits.bits(5));
    bits.skip(kProfileBits - 8);
    sps.level = static_cast<int>(bits.bits(8));
    skipLayers(bits, most);
    sps.idAt = bits.position();
    const uint32_t id = bits.ue();
    sps.afterId = bits.position();
    sps.chroma = static_cast<int>(std::min(bits.ue(), 4U));
    if (sps.chroma == 3) bits.skip(1);
    const uint32_t width = bits.ue();
    const uint32_t height = bits.ue();
    if (bits.bit())
        for (int i = 0; i < 4; ++i) bits.ue();
    sps.lumaDepth = 8 + static_cast<int>(std::min(bits.ue(), 9U));
    sps.chromaDepth = 8 + static_cast<int>(std::min(bits.ue(), 9U));
    bits.ue();
    sps.limitsAt = bits.position();
    uint32_t buffering = 0;
    uint32_t reorder = 0;
    for (int i = bits.bit() ? 0 : most; i <= most; ++i) {
        buffering = bits.ue();
        reorder = bits.ue();
        bits.ue();
    }
    sps.afterLimits = bits.position();
    if (bits.failed() || most > 6 || id > 15 || sps.chroma > 3 || width == 0 || width > kMostSamples ||
        height == 0 || height > kMostSamples || buffering > kMostBuffered || reorder > buffering ||
        bits.position() > sps.end)
        return std::nullopt;
    sps.id = static_cast<int>(id);
    sps.width = static_cast<int>(width);
    sps.height = static_cast<int>(height);
    sps.buffering = static_cast<int>(buffering);
    sps.reorder = static_cast<int>(reorder);
    return sps;
}

std::optional<HevcPps> readHevcPps(ByteView unit) {
    HevcPps pps;
    pps.bytes = unescaped(unit);
    pps.end = closingBit(pps.bytes);
    BitReader bits(pps.bytes);
    bits.skip(16);
    const uint32_t id = bits.ue();
    const uint32_t sps = bits.ue();
    pps.afterIds = bits.position();
    if (bits.failed() || id > 63 || sps > 15 || bits.position() > pps.end) return std::nullopt;
    pps.id = static_cast<int>(id);
    pps.sps = static_cast<int>(sps);
    return pps;
}

std::optional<HevcSlice> readHevcSlice(ByteView unit) {
    // Two flags and a code of at most 13 bits, and what keeps start codes out of them.
    const Bytes head = unescaped(unit, 16);
    BitReader bits(head);
    bits.skip(16);
    HevcSlice slice;
    slice.first = bits.bit();
    if (hevcTypeOf(unit) >= 16) bits.skip(1);
    slice.ppsAt = bits.position();
    const uint32_t pps = bits.ue();
    slice.afterPps = bits.position();
    if (bits.failed() || pps > 63) return std::nullopt;
    slice.pps = static_cast<int>(pps);
    return slice;
}

Bytes writeHevcVps(const HevcVps& vps, int id, const HevcLimits& limits) {
    BitWriter out;
    out.copy(vps.bytes, 0, 16);
    out.bits(static_cast<uint32_t>(id), 4);
    out.copy(vps.bytes, 20, kVpsHead);
    copyProfile(out, vps.bytes, kVpsHead, limits);
    out.copy(vps.bytes, kVpsHead + kProfileBits + 8, closingBit(vps.bytes));
    out.trailing();
    return escaped(out.take());
}

Bytes writeHevcSps(const HevcSps& sps, int id, int vps, const HevcLimits& limits) {
    constexpr size_t kHead = 24;
    BitWriter out;
    out.copy(sps.bytes, 0, 16);
    out.bits(static_cast<uint32_t>(vps), 4);
    out.copy(sps.bytes, 20, kHead);
    copyProfile(out, sps.bytes, kHead, limits);
    out.copy(sps.bytes, kHead + kProfileBits + 8, sps.idAt);
    out.ue(static_cast<uint32_t>(id));
    out.copy(sps.bytes, sps.afterId, sps.limitsAt);
    // One line for all layers, without a limit of how long a picture waits.
    out.bit(false);
    out.ue(static_cast<uint32_t>(limits.buffering));
    out.ue(static_cast<uint32_t>(limits.reorder));
    out.ue(0);
    out.copy(sps.bytes, sps.afterLimits, sps.end);
    out.trailing();
    return escaped(out.take());
}

Bytes writeHevcPps(const HevcPps& pps, int id, int sps) {
    BitWriter out;
    out.copy(pps.bytes, 0, 16);
    out.ue(static_cast<uint32_t>(id));
    out.ue(static_cast<uint32_t>(sps));
    out.copy(pps.bytes, pps.afterIds, pps.end);
    out.trailing();
    return escaped(out.take());
}

Bytes writeHevcSlice(ByteView unit, const HevcSlice& slice, int pps, bool begins) {
    Bytes bytes = unescaped(unit);
    if (begins) {
        constexpr uint8_t kDropsOthers = 0x40;  // no_output_of_prior_pics_flag
        if (hevcTypeOf(unit) == kHevcCra)
            bytes[0] = static_cast<uint8_t>((bytes[0] & 0x81) | kHevcBlaNoLeading << 1);
        bytes[2] = static_cast<uint8_t>(bytes[2] & ~kDropsOthers);
    }
    BitWriter out;
    out.copy(bytes, 0, slice.ppsAt);
    out.ue(static_cast<uint32_t>(pps));
    out.copy(bytes, slice.afterPps, bytes.size() * 8);
    return escaped(out.take());
}

HevcSets::Added HevcSets::add(ByteView unit) {
    switch (hevcTypeOf(unit)) {
        case kHevcVps:
            return takeSet(vps, readHevcVps(unit));
        case kHevcSps:
            return takeSet(sps, readHevcSps(unit));
        default:
            return takeSet(pps, readHevcPps(unit));
    }
}

namespace {

/// Takes up a header's unit; what is no set of the first layer is passed over. False when it is broken.
bool takeUnit(ByteView unit, HevcSets& sets) {
    const int type = hevcTypeOf(unit);
    if (type < kHevcVps || type > kHevcPps || hevcLayerOf(unit) > 0) return true;
    return isTaken(sets.add(unit));
}

/// The decoder configuration record of ISO/IEC 14496-15, 8.3.3.1.
bool takeRecord(ByteView header, HevcSets& sets) {
    constexpr size_t kHead = 23;
    if (header.size() < kHead) return false;
    sets.lengthSize = (header[21] & 3) + 1;
    size_t at = kHead;
    const auto two = [&](size_t from) { return static_cast<size_t>(header[from]) << 8 | header[from + 1]; };
    for (int arrays = header[22]; arrays > 0; --arrays) {
        if (header.size() - at < 3) return false;
        size_t units = two(at + 1);
        at += 3;
        for (; units > 0; --units) {
            if (header.size() - at < 2) return false;
            const size_t length = two(at);
            at += 2;
            if (length > header.size() - at || !takeUnit(header.subspan(at, length), sets)) return false;
            at += length;
        }
    }
    return true;
}

}  // namespace

std::optional<HevcSets> readHevcHeader(ByteView header) {
    HevcSets sets;
    if (header.empty()) return std::nullopt;
    const bool whole = header.front() == 1
                           ? takeRecord(header, sets)
                           : takeUnits(header, sets, [&](ByteView unit) { return takeUnit(unit, sets); });
    if (!whole || sets.vps.empty() || sets.sps.empty() || sets.pps.empty()) return std::nullopt;
    return sets;
}

}  // namespace tumblewash::media
