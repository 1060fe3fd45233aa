#include "media/detail/NalUnits.h"

#include <algorithm>

#include "media/detail/Bits.h"

namespace tumblewash::media {

namespace {

std::optional<std::vector<ByteView>> splitByLength(ByteView packet, size_t lengthSize) {
    std::vector<ByteView> units;
    while (!packet.empty()) {
        if (packet.size() < lengthSize) return std::nullopt;
        size_t length = 0;
        for (size_t i = 0; i < lengthSize; ++i) length = length << 8 | packet[i];
        packet = packet.subspan(lengthSize);
        if (length > packet.size()) return std::nullopt;
        if (length > 0) units.push_back(packet.first(length));
        packet = packet.subspan(length);
    }
    return units;
}

/// Where the next start code's first zero stands, or the end.
size_t nextStart(ByteView bytes, size_t from) {
    for (size_t i = from; i + 2 < bytes.size(); ++i)
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) return i;
    return bytes.size();
}

std::optional<std::vector<ByteView>> splitByStart(ByteView packet) {
    std::vector<ByteView> units;
    size_t start = nextStart(packet, 0);
    const auto isZero = [](uint8_t byte) { return byte == 0; };
    const auto before = packet.first(start);
    if (!std::all_of(before.begin(), before.end(), isZero)) return std::nullopt;
    while (start < packet.size()) {
        const size_t begin = start + 3;
        start = nextStart(packet, begin);
        size_t end = start;
        while (end > begin && packet[end - 1] == 0) --end;
        if (end > begin) units.push_back(packet.subspan(begin, end - begin));
    }
    return units;
}

}  // namespace

std::optional<std::vector<ByteView>> splitNalUnits(ByteView packet, int lengthSize) {
    return lengthSize == 0 ? splitByStart(packet) : splitByLength(packet, static_cast<size_t>(lengthSize));
}

Bytes unescaped(ByteView unit, size_t most) {
    unit = unit.first(std::min(unit.size(), most));
    Bytes out;
    out.reserve(unit.size());
    int zeros = 0;
    for (const uint8_t byte : unit) {
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        out.push_back(byte);
    }
    return out;
}

Bytes escaped(ByteView bytes) {
    Bytes out;
    out.reserve(bytes.size() + bytes.size() / 64 + 1);
    int zeros = 0;
    for (const uint8_t byte : bytes) {
        if (zeros == 2 && byte <= 3) {
            out.push_back(3);
            zeros = 0;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        out.push_back(byte);
    }
    // Zeros at the end, which pad coded blocks, would be taken for what stands between units.
    if (zeros == 2) out.push_back(3);
    return out;
}

Bytes withoutMessages(ByteView unit, size_t header, const std::function<bool(size_t)>& dropped) {
    const Bytes bytes = unescaped(unit);
    if (bytes.size() < header) return {};
    const size_t end = closingBit(bytes) / 8;
    const auto place = [&](size_t at) { return bytes.begin() + static_cast<ptrdiff_t>(at); };
    Bytes out(place(0), place(header));
    size_t at = header;
    const auto number = [&] {
        size_t value = 0;
        while (at < end && bytes[at] == 255) {
            value += 255;
            ++at;
        }
        return at < end ? value + bytes[at++] : value;
    };
    while (at < end) {
        const size_t from = at;
        const size_t kind = number();
        const size_t length = number();
        // Nothing there that decoding needs.
        if (length > end - at) break;
        at += length;
        if (!dropped(kind)) out.insert(out.end(), place(from), place(at));
    }
    if (out.size() == header) return {};
    out.push_back(0x80);
    return escaped(out);
}

void appendNalUnit(Bytes& packet, ByteView unit) {
    const size_t length = unit.size();
    for (int shift = 24; shift >= 0; shift -= 8) packet.push_back(static_cast<uint8_t>(length >> shift));
    packet.insert(packet.end(), unit.begin(), unit.end());
}

}  // namespace tumblewash::media
