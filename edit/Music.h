// The music under a movie: looped or cut to its length, faded in and out, lowered where clips sound. Levels
// are counted in samples from the plan alone, so that a part of a movie has the music of the whole.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "edit/Request.h"
#include "media/MusicFile.h"

namespace tumblewash::edit {

/// Sample frames [first, end) of the result.
struct SoundingStretch {
    std::int64_t first = 0;
    std::int64_t end = 0;
    bool operator==(const SoundingStretch&) const = default;
};

/// Where the clips of a request sound; stretches less than 1.5 s apart are one.
std::vector<SoundingStretch> soundingStretches(const MovieRequest& request);

/// The music's level over time. Pure arithmetic.
class MusicLevel {
  public:
    /// `length` in sample frames; `duck` in dB, 0 or more.
    MusicLevel(std::vector<SoundingStretch> sounding, std::int64_t length, int sampleRate, double duck);

    /// What sample frame `at` is multiplied by: 300 ms down before a stretch that sounds, 800 ms up after it,
    /// a raised cosine of decibels; 1 s in and 2 s out, each at most a third of the length, in straight
    /// lines. Calls go forward.
    double at(std::int64_t at);

  private:
    const std::vector<SoundingStretch> sounding_;
    const std::int64_t length_;
    const double down_, up_, in_, out_;  // in sample frames
    const double duck_;
    std::size_t next_ = 0;  // the first stretch that does not lie behind
};

class Music {
  public:
    /// Throws MediaError. The request must outlive the object.
    explicit Music(const MovieRequest& request);

    /// Adds the music to the sound of a frame of the plan; frames come in order.
    void addTo(std::int64_t frame, std::vector<float>& samples);
    /// What was lost of it, one line each, beginning with the file's name.
    std::vector<std::string> warnings() const;

  private:
    const MovieRequest& request_;
    media::MusicFile file_;
    MusicLevel level_;
    std::int64_t at_ = 0;  // sample frames of the whole result that were passed
    std::vector<float> block_;
};

}  // namespace tumblewash::edit
