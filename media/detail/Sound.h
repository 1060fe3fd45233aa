// The sound of one input as an endless run of samples, mono, stereo or 5.1, on the clock of its pictures.
// It starts with the first picture: what sounds before is cut, what is missing is silence.
// It runs where it is called and keeps a second or two of the track.
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
    /// Fills `frames` sample frames.
    virtual void read(float* interleaved, size_t frames) = 0;
    /// As `read`, but ends with the track: the number of sample frames that there were.
    virtual size_t readSome(float* interleaved, size_t frames) {
        read(interleaved, frames);
        return frames;
    }
    /// Starts over and drops everything before sample frame `first`.
    virtual void seek(int64_t first) = 0;
    /// Packets that could not be decoded so far.
    virtual int64_t damaged() const { return 0; }
    /// Why there is no sound at all although the file claims some; empty otherwise.
    virtual std::string failure() const { return {}; }
};

/// What samples are wanted.
struct SoundShape {
    int sampleRate = 48000;
    int channels = 2;  ///< 1, 2 or 6: mono, stereo or 5.1; 0: none is wanted, and nothing is opened
};

/// The library's name of mono, stereo or 5.1 by the number of channels.
const char* soundLayoutName(int channels) noexcept;

/// Silence for inputs without sound, and where no channel is wanted.
std::unique_ptr<SoundSource> openSound(const ProbeDetail& facts, const SoundShape& shape, CancelFlag cancel);

}  // namespace tumblewash::media
