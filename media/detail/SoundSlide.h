// Makes a run of sound longer or shorter by single samples, each of them spread over 200 samples by
// band-limited interpolation, so that nobody hears a step or a change of pitch. Between two such slides
// samples pass bit by bit. It knows no times: SoundClock says what is owed.
#pragma once

#include <cstddef>
#include <vector>

namespace tumblewash::media {

class SoundSlide {
  public:
    explicit SoundSlide(int channels) : width_(static_cast<std::size_t>(channels)) {}

    /// Lets the run grow by this many samples (below 0: shrink); fractions add up.
    void owe(double samples) noexcept { owed_ += samples; }
    /// Takes interleaved sample frames and appends what they become to `out`; may keep a few back.
    void pass(const float* interleaved, std::size_t frames, std::vector<float>& out);
    /// Appends what was kept back. The next run begins afresh.
    void flush(std::vector<float>& out);

  private:
    void slide(std::vector<float>& out, int by);

    std::size_t width_;
    double owed_ = 0;
    std::vector<float>
        held_;                // what was passed last, for the interpolation, and then what was not passed yet
    std::size_t passed_ = 0;  // sample frames of `held_` that were passed
};

}  // namespace tumblewash::media
