// Codecs whose every packet is a picture that needs no other one: ProRes, Motion JPEG, DNxHR and DNxHD. What
// the pictures are is read from the head of each packet; what follows the head is not looked at.
#include <algorithm>
#include <array>
#include <optional>

#include "media/detail/PacketLook.h"

namespace tumblewash::media {

namespace {

constexpr const char* kBroken = "is damaged";
constexpr const char* kChanges = "changes its coding parameters";
constexpr const char* kFields = "is coded for interlaced pictures, and the seams' frames are whole";

uint32_t number(ByteView bytes, size_t at, size_t count) {
    uint32_t out = 0;
    for (size_t i = 0; i < count; ++i) out = out << 8 | bytes[at + i];
    return out;
}

/// The head of a ProRes frame as in SMPTE RDD 36, 5.1: length, mark, and what its pictures are.
class ProresLooker final : public PacketLooker {
  public:
    PacketLook look(ByteView packet) override {
        constexpr size_t kHead = 28;
        constexpr std::array<uint8_t, 4> kMark{'i', 'c', 'p', 'f'};
        PacketLook out;
        out.kind = PacketKind::entry;
        if (packet.size() < kHead || !std::equal(kMark.begin(), kMark.end(), packet.begin() + 4)) {
            out.trouble = kBroken;
            return out;
        }
        if (number(packet, 0, 4) > packet.size()) out.trouble = kBroken;
        // Width, height, and what a pixel holds; how lines follow one another has bits of its own.
        const std::array<uint8_t, 5> coding{packet[16], packet[17], packet[18], packet[19],
                                            static_cast<uint8_t>(packet[20] & 0xC0)};
        if (known_ && *known_ != coding) out.trouble = kChanges;
        known_ = coding;
        if ((packet[20] & 0x0C) != 0) out.trouble = kFields;
        return out;
    }

  private:
    std::optional<std::array<uint8_t, 5>> known_;
};

/// The segments of a JPEG picture before its samples, ITU-T T.81, B.2.
class MjpegLooker final : public PacketLooker {
  public:
    PacketLook look(ByteView packet) override {
        PacketLook out;
        out.kind = PacketKind::entry;
        const std::optional<Bytes> frame = frameOf(packet, out.trouble);
        if (!frame) {
            if (out.trouble.empty()) out.trouble = kBroken;
            return out;
        }
        if (known_ && *known_ != *frame) out.trouble = kChanges;
        known_ = *frame;
        return out;
    }

  private:
    /// Depth, height, width, and how often each component is sampled; nothing where there is no such segment,
    /// or it is of another kind than the seams' encoder writes.
    static std::optional<Bytes> frameOf(ByteView packet, std::string& trouble) {
        constexpr uint32_t kBegin = 0xFFD8;
        constexpr uint8_t kBaseline = 0xC0;
        constexpr uint8_t kLastFrame = 0xCF;
        constexpr uint8_t kApplication = 0xE0;
        if (packet.size() < 4 || number(packet, 0, 2) != kBegin) return std::nullopt;
        for (size_t at = 2; at + 4 <= packet.size();) {
            if (packet[at] != 0xFF) return std::nullopt;
            const uint8_t mark = packet[at + 1];
            if (mark == 0xFF) {  // a filling byte
                ++at;
                continue;
            }
            const size_t length = number(packet, at + 2, 2);
            if (length < 2 || at + 2 + length > packet.size()) return std::nullopt;
            const ByteView segment = packet.subspan(at + 4, length - 2);
            at += 2 + length;
            if (mark == kApplication && tellsFields(segment)) {
                trouble = kFields;
                return std::nullopt;
            }
            if (mark == kBaseline) return sampling(segment);
            // 0xC4, 0xC8 and 0xCC are tables among the marks of frames.
            if (mark < kBaseline || mark > kLastFrame || mark % 4 == 0) continue;
            trouble = "holds JPEG pictures of another kind than the encoder of the seams writes";
            return std::nullopt;
        }
        return std::nullopt;
    }

    /// The segment by which Motion JPEG in AVI says that a picture is one field of two.
    static bool tellsFields(ByteView segment) {
        constexpr std::array<uint8_t, 4> kName{'A', 'V', 'I', '1'};
        return segment.size() > kName.size() && std::equal(kName.begin(), kName.end(), segment.begin()) &&
               segment[kName.size()] != 0;
    }

    static std::optional<Bytes> sampling(ByteView segment) {
        constexpr size_t kHead = 6;
        if (segment.size() < kHead || segment.size() < kHead + size_t{3} * segment[kHead - 1])
            return std::nullopt;
        Bytes out(segment.begin(), segment.begin() + kHead);
        for (size_t i = 0; i < segment[kHead - 1]; ++i) out.push_back(segment[kHead + 3 * i + 1]);
        return out;
    }

    std::optional<Bytes> known_;
};

/// The head of a frame of DNxHD or DNxHR, SMPTE ST 2019-1.
class DnxhrLooker final : public PacketLooker {
  public:
    PacketLook look(ByteView packet) override {
        constexpr size_t kHead = 0x280;
        constexpr size_t kHeight = 0x18;
        constexpr size_t kKind = 0x28;
        constexpr uint8_t kField = 2;
        PacketLook out;
        out.kind = PacketKind::entry;
        if (packet.size() < kHead || number(packet, 0, 2) != 0 || packet[4] < 1 || packet[4] > 3) {
            out.trouble = kBroken;
            return out;
        }
        // Height and width, how many bits a sample has, which of the kinds, and how chroma is sampled.
        const std::array<uint32_t, 4> coding{number(packet, kHeight, 4), packet[0x21] & 0xE0U,
                                             number(packet, kKind, 4), packet[0x2C] & 0xC0U};
        if (known_ && *known_ != coding) out.trouble = kChanges;
        known_ = coding;
        if ((packet[5] & kField) != 0) out.trouble = kFields;
        return out;
    }
    int kind() const override { return known_ ? static_cast<int>((*known_)[2]) : 0; }

  private:
    std::optional<std::array<uint32_t, 4>> known_;
};

}  // namespace

std::unique_ptr<PacketLooker> makeProresLooker() {
    return std::make_unique<ProresLooker>();
}

std::unique_ptr<PacketLooker> makeMjpegLooker() {
    return std::make_unique<MjpegLooker>();
}

std::unique_ptr<PacketLooker> makeDnxhrLooker() {
    return std::make_unique<DnxhrLooker>();
}

}  // namespace tumblewash::media
