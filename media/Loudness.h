// How loud a run of sound is, by EBU R 128 (ITU-R BS.1770): its integrated loudness and its true peak.
// It takes samples and tells two numbers at the end; what is done about them is decided elsewhere.
#pragma once

#include <memory>
#include <span>

namespace tumblewash::media {

/// What a measurement comes to.
struct Loudness {
    double integrated = -70;  ///< LUFS; -70 for silence and for less than 0.4 s
    double truePeak = 0;      ///< 1 is full scale
};

class LoudnessMeter {
  public:
    /// For interleaved samples of 1, 2 or 6 channels. Throws MediaError (encoding) where FFmpeg lacks
    /// ebur128.
    LoudnessMeter(int channels, int sampleRate);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    void add(std::span<const float> interleaved);
    /// Everything was added.
    Loudness finish();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::media
