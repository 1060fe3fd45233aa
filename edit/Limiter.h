// The end of a result's sound: a limiter that looks ahead, so that no peak, between the samples included, is
// above -1 dB of full scale. What never comes near passes bit by bit. One object for one run of samples; what
// goes in comes out later, as many samples in all. It knows no clips and writes nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <utility>
#include <vector>

namespace tumblewash::edit {

/// What a limiter has seen and done.
struct LimiterTold {
    double truePeak = 0;  ///< the highest of the sound that went in, 4 times oversampled; 1 is full scale
    double gain = 1;      ///< the lowest that was applied; 1: nothing was
    std::int64_t limited = 0;    ///< sample frames that were turned down
    std::int64_t over = 0;       ///< sample frames beyond full scale that came out
    std::int64_t untouched = 0;  ///< sample frames from the first on that came out as they went in
};

class Limiter {
  public:
    /// The highest true peak that comes out, in dB of full scale.
    static constexpr double kCeilingDb = -1.0;

    /// `on` false: everything passes as it is, and is only measured. `sampleRate` 8000 or more.
    Limiter(int channels, int sampleRate, bool on);

    /// Takes interleaved sample frames and appends to `out` those that are decided.
    void pass(std::span<const float> interleaved, std::vector<float>& out);
    /// Appends what was held back.
    void flush(std::vector<float>& out);

    const LimiterTold& told() const noexcept { return told_; }

  private:
    using Gain = std::int64_t;  // of 2^30: sums of it are exact

    void advance(std::vector<float>& out, std::int64_t known);
    void wishFor(double peak);
    void shapeNext(std::vector<float>& out);
    void giveNext(std::vector<float>& out, double gain);
    void forget();

    const std::size_t width_;
    const std::int64_t window_;  // of looking ahead, in sample frames
    const double release_;       // of what is missing to full gain, given back in each sample frame
    const bool on_;
    std::vector<std::vector<float>> held_;  // of each channel, from sample frame `first_` on
    std::int64_t first_ = 0;
    std::int64_t taken_ = 0;     // sample frames that came in
    std::int64_t measured_ = 0;  // whose peaks are known
    std::int64_t shaped_ = 0;    // whose gain before smoothing is known; begins a window before the sound
    std::int64_t given_ = 0;     // that went out
    std::deque<std::pair<std::int64_t, Gain>> lowest_;  // candidates for the least wish in the window
    std::deque<Gain> recent_;                           // gains before smoothing, one window of them
    Gain sum_ = 0;
    Gain current_ = 0;
    LimiterTold told_;
};

}  // namespace tumblewash::edit
