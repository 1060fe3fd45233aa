// The sound of one input as an endless run of stereo samples on the clock of its pictures.
// It starts with the first picture: what sounds before is cut, what is missing is silence.
// It runs where it is called and keeps a few thousand samples at most.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/Reader.h"
#include "media/detail/ProbeDetail.h"

namespace tumblewash::media {

class SoundSource {
  public:
    virtual ~SoundSource() = default;
    /// Fills `frames` stereo sample frames.
    virtual void read(float* interleaved, size_t frames) = 0;
    /// Starts over and drops everything before sample frame `first`.
    virtual void seek(int64_t first) = 0;
    /// Packets that could not be decoded so far.
    virtual int64_t damaged() const { return 0; }
    /// Why there is no sound at all although the file claims some; empty otherwise.
    virtual std::string failure() const { return {}; }
};

/// Silence for inputs without sound.
std::unique_ptr<SoundSource> openSound(const ProbeDetail& facts, int sampleRate, CancelFlag cancel);

}  // namespace tumblewash::media
