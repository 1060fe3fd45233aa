// The packets of one clip's pictures: in which order they are stored and shown, at which of them copying may
// begin and end, and what forbids copying at all. Read from the packets themselves; what a container claims
// of its key pictures is not believed. Nothing is decoded but the first picture, and no packet is kept.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/Codecs.h"
#include "media/Probe.h"

namespace tumblewash::media {

enum class PacketKind : uint8_t {
    other,
    entry,     ///< decoding may begin here, and nothing that follows needs or is shown before it
    openEntry  ///< decoding may begin here; pictures that follow and are shown before it need what came
               ///< before
};

/// One packet of pictures. An hour has a hundred thousand of them, and all are kept.
struct IndexedPacket {
    int64_t pts = 0;          ///< in the stream's units
    int32_t picture = -1;     ///< its picture's number among those shown, from 0; -1: hidden
    uint32_t bytes : 30 = 0;  ///< size
    PacketKind kind : 2 = PacketKind::other;
};
static_assert(sizeof(IndexedPacket) == 16);

/// A stretch of packets that can be copied: pictures [firstPicture, firstPicture + pictures) from packets
/// [firstPacket, endPacket), of which those that show earlier pictures are left out.
struct PacketRange {
    int64_t firstPacket = 0;
    int64_t endPacket = 0;
    int64_t firstPicture = 0;
    int64_t pictures = 0;
    bool operator==(const PacketRange&) const = default;
};

/// What all clips of one track must have alike, in the library's numbers where there are no own ones.
struct TrackFacts {
    std::optional<Codec> codec;  ///< none: one that is not copied
    std::string codecName;       ///< for readers
    int width = 0;               ///< as coded
    int height = 0;
    FrameRate pixelAspect{1, 1};
    std::string pixels;  ///< FFmpeg's name of the pixel format
    int range = 0;       ///< AVColorRange and so on
    int primaries = 0;
    int transfer = 0;
    int matrix = 0;
    int chromaPlace = 0;
    int profile = 0;  ///< of DNxHR and DNxHD, the number by which packets name their kind
    bool reorders = false;
};

class PacketIndex {
  public:
    /// Reads all packets of the file. With `identity`, a file that is another by now is refused. Throws
    /// MediaError as Reader::open does.
    static std::shared_ptr<const PacketIndex> read(const std::string& path,
                                                   const std::optional<FileIdentity>& identity = {},
                                                   CancelFlag cancel = nullptr);

    const MediaInfo& info() const noexcept;
    const TrackFacts& facts() const noexcept;
    const std::vector<IndexedPacket>& packets() const noexcept;
    /// How many pictures are shown.
    int64_t pictures() const noexcept;
    /// Why nothing of the clip can be copied: words that follow its name. Empty when there is no reason.
    const std::string& trouble() const noexcept;
    /// The longest stretch that can be copied of the pictures [first, end); none when nothing in them can
    /// begin one.
    std::optional<PacketRange> copyable(int64_t first, int64_t end) const;
    /// How many packets at most stand before their picture's turn in a stretch: what decoding times need to
    /// lie back.
    int64_t lag(const PacketRange& range) const;

    /// Known inside this room only.
    struct Detail;
    explicit PacketIndex(std::unique_ptr<Detail> detail) noexcept;
    ~PacketIndex();
    const Detail& detail() const noexcept { return *detail_; }

  private:
    std::unique_ptr<Detail> detail_;
};

}  // namespace tumblewash::media
