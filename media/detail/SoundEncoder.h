// Samples into packets of sound: one encoder, fed in pieces of the length it takes, whose clock may begin at
// any sample. It knows no file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "media/Writer.h"
#include "media/detail/Av.h"
#include "media/detail/EncodedCount.h"

namespace tumblewash::media {

class SoundEncoder {
  public:
    /// Takes a packet; its times count sample frames.
    using Emit = std::function<void(AVPacket&)>;

    /// `encoder` is the library's name, `bitRate` that of two channels, 0 where it has none. The first sample
    /// that comes is number `first`. Throws MediaError (encoding) when it does not start.
    SoundEncoder(const std::string& output, const WriterSettings& settings, const char* encoder,
                 int64_t bitRate, int64_t first, Emit emit);

    const AVCodecContext& codec() const noexcept { return *codec_; }
    /// The next sample frames, interleaved. Throws MediaError.
    void samples(const float* interleaved, size_t frames);
    /// Encodes what is held back. No samples may come afterwards.
    void finish();
    /// True when as many packets came out as went in.
    bool whole() const noexcept { return count_.whole(codec_->frame_size, codec_->initial_padding); }

  private:
    void encode(size_t frames);
    void send(const AVFrame* frame);

    const std::string output_;
    const CancelFlag cancel_;
    const size_t width_;
    const Emit emit_;
    CodecPtr codec_;
    PacketPtr packet_ = newPacket();
    EncodedCount count_;
    int64_t next_;
    std::vector<float> pending_;  // interleaved, less than one piece between calls
};

}  // namespace tumblewash::media
