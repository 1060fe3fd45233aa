#include "edit/Limiter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "edit/Decibels.h"

namespace tumblewash::edit {
namespace {

constexpr std::int64_t kOne = std::int64_t{1} << 30;
constexpr std::int64_t kReach = 12;  // samples on each side that a value between two is told from
constexpr std::size_t kPlaces = 3;   // places between two samples that are looked at
constexpr double kWindowSeconds = 0.005;
constexpr double kReleaseSeconds = 0.1;
// Below the ceiling by what gains that differ from sample to sample, and other meters' filters, may add.
constexpr double kTargetDb = Limiter::kCeilingDb - 0.1;
// Full scale 36 dB and more away is no sound any more.
constexpr float kWildest = 64.0F;

constexpr std::size_t kTaps = 2 * kReach;
constexpr std::int64_t kBlock = 128;  // sample frames that are measured at once

/// A filter for one place between two samples.
struct Between {
    std::array<float, kTaps> taps{};
    float most = 0;  // by which it can exceed what goes in
};

/// Windowed sincs for the places 1/4, 1/2 and 3/4.
std::array<Between, kPlaces> makeFilters() {
    std::array<Between, kPlaces> filters{};
    for (std::size_t i = 0; i < filters.size(); ++i) {
        const double place = static_cast<double>(i + 1) / (kPlaces + 1);
        std::array<double, kTaps> taps{};
        double sum = 0;
        for (std::size_t n = 0; n < kTaps; ++n) {
            const double x = static_cast<double>(n) - (kReach - 1) - place;
            const double window = std::cos(std::numbers::pi * x / (2 * (kReach + 1)));
            taps[n] = std::sin(std::numbers::pi * x) / (std::numbers::pi * x) * window * window;
            sum += taps[n];
        }
        for (std::size_t n = 0; n < kTaps; ++n) {
            filters[i].taps[n] = static_cast<float>(taps[n] / sum);
            filters[i].most += std::abs(filters[i].taps[n]);
        }
    }
    return filters;
}

/// Raises `peaks[i]` to the highest value at x[i] and between it and x[i + 1]; x may be read from kReach - 1
/// before to kReach behind. Loops run over the samples, so that each sum keeps its order in any vector width.
/// Where no filter could pass `known`, it looks at the samples alone.
void raisePeaks(const float* x, std::size_t count, float known, float* peaks) {
    static const std::array<Between, kPlaces> kFilters = makeFilters();
    float most = 0;
    for (std::size_t i = 0; i < count + kTaps - 1; ++i) most = std::max(most, std::abs(x[i]));
    const float* here = x + (kReach - 1);
    for (std::size_t i = 0; i < count; ++i) peaks[i] = std::max(peaks[i], std::abs(here[i]));
    for (const Between& between : kFilters) {
        if (most * between.most <= known) continue;
        std::array<float, kBlock> sums{};
        for (std::size_t n = 0; n < kTaps; ++n)
            for (std::size_t i = 0; i < count; ++i) sums[i] += between.taps[n] * x[i + n];
        for (std::size_t i = 0; i < count; ++i) peaks[i] = std::max(peaks[i], std::abs(sums[i]));
    }
}

const double kTarget = linearOf(kTargetDb);

}  // namespace

Limiter::Limiter(int channels, int sampleRate, bool on)
    : width_(static_cast<std::size_t>(channels)),
      window_(static_cast<std::int64_t>(sampleRate * kWindowSeconds)),
      release_(1 - std::exp(-1.0 / (sampleRate * kReleaseSeconds))),
      on_(on),
      // Silence before the beginning, for the filters.
      held_(width_, std::vector<float>(kReach, 0.0F)),
      first_(-kReach),
      shaped_(1 - window_),
      current_(kOne) {
    recent_.assign(static_cast<std::size_t>(window_), kOne);
    sum_ = kOne * window_;
}

void Limiter::wishFor(double peak) {
    const Gain wish = peak > kTarget ? static_cast<Gain>(static_cast<double>(kOne) * (kTarget / peak)) : kOne;
    while (!lowest_.empty() && lowest_.back().second >= wish) lowest_.pop_back();
    lowest_.emplace_back(measured_, wish);
}

void Limiter::giveNext(std::vector<float>& out, double gain) {
    const auto index = static_cast<std::size_t>(given_ - first_);
    bool over = false;
    for (std::size_t c = 0; c < width_; ++c) {
        const float sample = held_[c][index];
        out.push_back(gain == 1 ? sample : static_cast<float>(static_cast<double>(sample) * gain));
        over = over || std::abs(out.back()) > 1.0F;
    }
    told_.over += over ? 1 : 0;
    if (told_.untouched == given_ && gain == 1) ++told_.untouched;
    ++given_;
}

/// The gain of the next sample frame: the least that is wished within reach, given back slowly, and the mean
/// of one window of that. A mean of gains none of which is above the wish is not above it either.
void Limiter::shapeNext(std::vector<float>& out) {
    while (!lowest_.empty() && lowest_.front().first < shaped_ - kReach) lowest_.pop_front();
    const Gain least = lowest_.empty() ? kOne : lowest_.front().second;
    const Gain missing = kOne - current_;
    // The last 0.001 dB are given back at once.
    const auto step = static_cast<Gain>(static_cast<double>(missing) * release_);
    current_ = std::min(least, missing < kOne / 10000 ? kOne : current_ + step);
    sum_ += current_ - recent_.front();
    recent_.pop_front();
    recent_.push_back(current_);
    // Before the first sample frame the gain only falls towards what it asks for.
    if (shaped_++ < 0) return;
    const bool whole = sum_ == kOne * window_;
    const double gain =
        whole ? 1 : static_cast<double>(sum_) / (static_cast<double>(kOne) * static_cast<double>(window_));
    if (!whole) {
        ++told_.limited;
        told_.gain = std::min(told_.gain, gain);
    }
    giveNext(out, gain);
}

/// Measures the sample frames before `known`, behind each of which kReach more are held, and gives out what
/// is settled by that. One by one, so that it does not matter in what pieces the sound comes.
void Limiter::advance(std::vector<float>& out, std::int64_t known) {
    while (measured_ < known) {
        const auto count = static_cast<std::size_t>(std::min(kBlock, known - measured_));
        std::array<float, kBlock> peaks{};
        const auto from = static_cast<std::size_t>(measured_ - (kReach - 1) - first_);
        const auto enough = static_cast<float>(std::min(told_.truePeak, kTarget));
        for (const std::vector<float>& channel : held_)
            raisePeaks(channel.data() + from, count, enough, peaks.data());
        for (std::size_t i = 0; i < count; ++i) {
            const auto peak = static_cast<double>(peaks[i]);
            told_.truePeak = std::max(told_.truePeak, peak);
            if (!on_) {
                ++measured_;
                giveNext(out, 1);
                continue;
            }
            wishFor(peak);
            ++measured_;
            while (shaped_ + window_ + kReach < measured_) shapeNext(out);
        }
    }
    forget();
}

void Limiter::forget() {
    const std::int64_t drop = std::min(given_, measured_) - kReach - first_;
    if (drop < 4096) return;
    for (std::vector<float>& channel : held_) channel.erase(channel.begin(), channel.begin() + drop);
    first_ += drop;
}

void Limiter::pass(std::span<const float> interleaved, std::vector<float>& out) {
    const std::size_t frames = interleaved.size() / width_;
    for (std::size_t i = 0; i < frames; ++i)
        for (std::size_t c = 0; c < width_; ++c) {
            const float sample = interleaved[i * width_ + c];
            held_[c].push_back(std::isfinite(sample) ? std::clamp(sample, -kWildest, kWildest) : 0.0F);
        }
    taken_ += static_cast<std::int64_t>(frames);
    advance(out, taken_ - kReach);
}

void Limiter::flush(std::vector<float>& out) {
    for (std::vector<float>& channel : held_) channel.insert(channel.end(), kReach, 0.0F);
    advance(out, taken_);
    while (given_ < taken_) shapeNext(out);
}

}  // namespace tumblewash::edit
