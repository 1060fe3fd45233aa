// Whether the index of a finished QuickTime or MP4 file leads to the packets that went into it: FFmpeg's
// muxer passes over some want of memory while it writes the index, and says that all is well. It reads the
// index and the first packet of each stream, which is decoded when the file holds other parameters than the
// encoder gave; nothing further.
#pragma once

#include <array>
#include <cstdint>

#include "media/detail/Av.h"
#include "media/detail/MuxerFile.h"

namespace tumblewash::media {

class IndexCheck {
  public:
    /// A packet on its way to the muxer. Streams count from 0; those beyond the second are not looked at.
    /// `entries`: how many the index has for it, one for each sample frame where they are not coded.
    void note(const AVPacket& packet, int64_t entries) noexcept;
    /// True when the file in `bytes` has as many packets in each stream, begins with the same ones, and says
    /// how they are decoded. Throws std::bad_alloc.
    bool holds(const MuxerFile& bytes, const AVFormatContext& muxer) const;

  private:
    static constexpr int kTail = 16;
    struct Stream {
        int64_t packets = 0;
        int64_t entries = 0;
        int tailBytes = 0;
        std::array<uint8_t, kTail> tail{};  // of the first packet: what stands before it is coded anew
    };
    bool sameStream(AVFormatContext& file, int index, const AVStream& written) const;
    bool sameBeginnings(AVFormatContext& file, const AVFormatContext& muxer) const;

    std::array<Stream, 2> streams_;
};

}  // namespace tumblewash::media
