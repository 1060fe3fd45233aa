// Codecs whose packets need no rewriting to follow one another: VP9, whose key pictures forget all before
// them, FFV1, whose key pictures do so too, and those that have no others (IntraPackets.cpp).
#include <algorithm>
#include <array>

#include "media/detail/Bits.h"
#include "media/detail/PacketLook.h"
#include "media/detail/PacketRewriter.h"

namespace tumblewash::media {

namespace {

constexpr const char* kBroken = "is damaged";
constexpr const char* kChanges = "changes its coding parameters";

/// The frames of a VP9 packet: more than one where it ends with an index, Annex B of the bitstream's
/// description.
std::vector<ByteView> vp9Frames(ByteView packet) {
    const uint8_t mark = packet.back();
    if ((mark & 0xE0) != 0xC0) return {packet};
    const size_t count = (mark & 7U) + 1;
    const size_t width = (mark >> 3 & 3U) + 1;
    const size_t index = 2 + count * width;
    if (packet.size() < index || packet[packet.size() - index] != mark) return {packet};
    std::vector<ByteView> frames;
    ByteView sizes = packet.subspan(packet.size() - index + 1);
    ByteView rest = packet.first(packet.size() - index);
    for (size_t i = 0; i < count; ++i) {
        size_t size = 0;
        for (size_t k = 0; k < width; ++k) size |= static_cast<size_t>(sizes[i * width + k]) << (8 * k);
        if (size > rest.size()) return {};
        if (size > 0) frames.push_back(rest.first(size));
        rest = rest.subspan(size);
    }
    return frames;
}

/// What a VP9 frame's header says, 6.2 of the bitstream's description.
struct Vp9Frame {
    bool valid = false;
    bool shown = false;
    bool key = false;
    std::array<uint32_t, 5> coding{};  ///< of key frames: profile, depth, colours and chroma, width, height
};

Vp9Frame readVp9(ByteView bytes) {
    constexpr uint32_t kSync = 0x498342;
    constexpr uint32_t kRgb = 7;
    BitReader bits(bytes);
    Vp9Frame out;
    const bool marked = bits.bits(2) == 2;
    uint32_t profile = bits.bits(1);
    profile |= bits.bits(1) << 1;
    if (profile == 3) bits.skip(1);
    if (bits.bit()) {
        out.shown = true;
        out.valid = marked && !bits.failed();
        return out;
    }
    out.key = !bits.bit();
    out.shown = bits.bit();
    bits.skip(1);
    if (out.key) {
        const bool synchronised = bits.bits(24) == kSync;
        const uint32_t depth = profile >= 2 ? 10 + 2 * bits.bits(1) : 8;
        const uint32_t space = bits.bits(3);
        uint32_t colour = space << 4;
        if (space != kRgb) colour |= bits.bits(1) << 3;
        if (profile == 1 || profile == 3) colour |= space == kRgb ? bits.bits(1) : bits.bits(3);
        const uint32_t width = bits.bits(16);
        const uint32_t height = bits.bits(16);
        out.coding = {profile, depth, colour, width, height};
        out.valid = synchronised;
    } else {
        out.valid = true;
    }
    out.valid = out.valid && marked && !bits.failed();
    return out;
}

class Vp9Looker final : public PacketLooker {
  public:
    PacketLook look(ByteView packet) override {
        PacketLook out;
        const std::vector<ByteView> frames = packet.empty() ? std::vector<ByteView>{} : vp9Frames(packet);
        if (frames.empty()) out.trouble = kBroken;
        int shown = 0;
        for (size_t i = 0; i < frames.size() && out.trouble.empty(); ++i) {
            const Vp9Frame frame = readVp9(frames[i]);
            if (!frame.valid) out.trouble = kBroken;
            shown += frame.shown ? 1 : 0;
            if (!frame.key) continue;
            if (i == 0) out.kind = PacketKind::entry;
            if (known_ && *known_ != frame.coding) out.trouble = kChanges;
            known_ = frame.coding;
        }
        if (shown != 1 && out.trouble.empty())
            out.trouble = "holds packets of which none or several pictures are shown";
        return out;
    }

  private:
    std::optional<std::array<uint32_t, 5>> known_;
};

/// FFV1 of version 3, RFC 9043: what the pictures are stands in the header alone. Earlier versions have none.
class Ffv1Looker final : public PacketLooker {
  public:
    explicit Ffv1Looker(ByteView header) { header_.bytes.assign(header.begin(), header.end()); }

    PacketLook look(ByteView packet) override {
        PacketLook out;
        if (header_.bytes.empty())
            out.trouble = "is FFV1 of a version before 3, which has no header of its own";
        else if (packet.size() < 2)
            out.trouble = kBroken;
        else if (startsKey(packet))
            out.kind = PacketKind::entry;
        return out;
    }
    TrackHeader header() const override { return header_; }

  private:
    /// RFC 9043, 3.8.1 and 4.3: the first symbol, with the range coder's range of 0xFF00 and a state of 128.
    static bool startsKey(ByteView packet) {
        const uint32_t low = static_cast<uint32_t>(packet[0]) << 8 | packet[1];
        constexpr uint32_t kRange = 0xFF00;
        return low >= kRange - (kRange * 128U >> 8);
    }

    TrackHeader header_;
};

class PlainRewriter final : public PacketRewriter {
  public:
    explicit PlainRewriter(Bytes header) : header_(std::move(header)) {}
    Bytes header() const override { return header_; }
    int profile() const override { return kEncoders; }
    int level() const override { return kEncoders; }
    std::optional<Bytes> rewritten(size_t, ByteView packet, bool) const override {
        return Bytes(packet.begin(), packet.end());
    }

  private:
    Bytes header_;
};

}  // namespace

std::unique_ptr<PacketLooker> makeVp9Looker() {
    return std::make_unique<Vp9Looker>();
}

std::unique_ptr<PacketLooker> makeFfv1Looker(ByteView header) {
    return std::make_unique<Ffv1Looker>(header);
}

bool sameHeader(ByteView a, ByteView b) noexcept {
    const auto filled = [](ByteView one, ByteView other) {
        return one.size() == other.size() + 1 && one.back() == 0 &&
               std::equal(other.begin(), other.end(), one.begin());
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end()) || filled(a, b) || filled(b, a);
}

std::unique_ptr<PacketRewriter> makePlainRewriter(const std::vector<PacketSource>& sources) {
    const bool alike = std::all_of(sources.begin(), sources.end(), [&](const PacketSource& source) {
        return sameHeader(source.header.bytes, sources.front().header.bytes);
    });
    return alike ? std::make_unique<PlainRewriter>(sources.empty() ? Bytes() : sources.front().header.bytes)
                 : nullptr;
}

std::unique_ptr<PacketLooker> makeLooker(Codec codec, ByteView header) {
    switch (codec) {
        case Codec::h264:
            return makeAvcLooker(header);
        case Codec::hevc:
            return makeHevcLooker(header);
        case Codec::vp9:
            return makeVp9Looker();
        case Codec::prores:
            return makeProresLooker();
        case Codec::mjpeg:
            return makeMjpegLooker();
        case Codec::dnxhr:
            return makeDnxhrLooker();
        case Codec::ffv1:
            return makeFfv1Looker(header);
        case Codec::av1:
            break;
    }
    return nullptr;
}

std::unique_ptr<PacketRewriter> makeRewriter(Codec codec, const std::vector<PacketSource>& sources) {
    switch (codec) {
        case Codec::h264:
            return makeAvcRewriter(sources);
        case Codec::hevc:
            return makeHevcRewriter(sources);
        case Codec::ffv1:
            return makePlainRewriter(sources);
        case Codec::vp9:
        case Codec::prores:
        case Codec::mjpeg:
        case Codec::dnxhr:
            // What the seams' encoder says of itself is true of the clips as well.
            return makePlainRewriter({});
        case Codec::av1:
            break;
    }
    return nullptr;
}

}  // namespace tumblewash::media
