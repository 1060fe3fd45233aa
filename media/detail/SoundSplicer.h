// A sound track that begins with a clip's own packets and goes on with encoded ones. Packets are copied as
// long as all samples that they reach are the clip's; the encoder starts a while earlier, so that its first
// packet that counts follows the last copied one without a click: their halves of the overlap have one
// window, and decode to the very signal. It writes no file.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "media/detail/SoundEncoder.h"

namespace tumblewash::media {

class SoundSplicer {
  public:
    using Emit = SoundEncoder::Emit;
    /// An encoder whose first sample has this number.
    using MakeEncoder = std::function<std::unique_ptr<SoundEncoder>(int64_t first, Emit emit)>;

    /// `settings.soundCopy` is what is copied. Throws MediaError.
    SoundSplicer(const std::string& output, const WriterSettings& settings, MakeEncoder make, Emit emit);
    ~SoundSplicer();
    SoundSplicer(const SoundSplicer&) = delete;
    SoundSplicer& operator=(const SoundSplicer&) = delete;

    /// Fills in the track's parameters.
    void describe(AVStream& stream) const;
    /// Sample frames of the track before time 0, which are not heard.
    int64_t lead() const noexcept;
    /// The next sample frames. They are the clip's `own` as they are until the first that are not. Throws
    /// SoundCopyFailed.
    void samples(const float* interleaved, size_t frames, bool own);
    void finish();
    /// True when the encoder gave back all that it was given.
    bool whole() const noexcept;
    /// Sample frames whose packets were copied.
    int64_t copied() const noexcept;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::media
