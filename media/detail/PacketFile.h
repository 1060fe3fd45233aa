// A piece of a movie as a file: the encoder's header, its packets with their times, and a fingerprint of each
// picture. Integers are little-endian. Nothing here knows a codec.
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "media/Fingerprint.h"
#include "media/Pieces.h"
#include "media/Staging.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

/// Writes a piece into an open staged file.
class PacketFileWriter {
  public:
    /// `codec` is open: its header is kept, for whoever merges pieces of one encoder.
    PacketFileWriter(StagedFile& file, Piece kind, const AVCodecContext& codec);
    void print(const PicturePrint& picture);
    /// Times in the encoder's time base.
    void packet(const AVPacket& packet);
    /// The end mark. The file is the caller's to commit.
    void finish();

  private:
    void number(int64_t value);
    void bytes(const void* data, size_t size);
    void flush();

    StagedFile& file_;
    std::vector<char> held_;
    int64_t packets_ = 0;
    int64_t pictures_ = 0;
};

/// Reads a piece from its start to its end.
class PacketFileReader {
  public:
    /// Throws MediaError (unreadable, undecodable).
    explicit PacketFileReader(const std::string& file);

    Piece kind() const noexcept { return kind_; }
    /// The encoder's header.
    const std::vector<uint8_t>& header() const noexcept { return header_; }
    /// The next packet, with its times as they were written; null after the last one. Throws MediaError
    /// (undecodable) for a file that is cut or damaged.
    PacketPtr next();
    /// The fingerprints of the pictures met so far, in order of the pictures.
    const std::vector<PicturePrint>& prints() const noexcept { return prints_; }

  private:
    int64_t number();
    void bytes(void* data, size_t size);
    size_t length(int64_t value) const;
    [[noreturn]] void damaged() const;

    std::string file_;
    std::ifstream in_;
    uint64_t size_ = 0;
    Piece kind_ = Piece::none;
    std::vector<uint8_t> header_;
    std::vector<PicturePrint> prints_;
    int64_t packets_ = 0;
    int64_t lastDts_ = 0;
};

/// The fingerprint of a picture on its way into an encoder.
PicturePrint printOf(const AVFrame& frame);

}  // namespace tumblewash::media
