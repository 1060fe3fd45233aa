#include "media/detail/SoundSlide.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace tumblewash::media {

namespace {

constexpr std::size_t kReach = 16;   // samples on each side of a place between two
constexpr std::size_t kSlide = 200;  // over which one sample is won or lost

/// A sinc under a window of Hann: what a sample at distance `x` gives.
double weight(double x) {
    if (std::abs(x) < 1e-12) return 1;
    const double angle = std::numbers::pi * x;
    const double window = 0.5 + 0.5 * std::cos(angle / (kReach + 1));
    return std::sin(angle) / angle * window;
}

}  // namespace

/// Goes from the place of the next sample to one that lies `by` samples behind, in kSlide steps.
void SoundSlide::slide(std::vector<float>& out, int by) {
    const std::size_t count = kSlide;
    for (std::size_t i = 0; i < count; ++i) {
        const double late = by * static_cast<double>(i + 1) / count;  // in samples, towards the past
        const double place = static_cast<double>(passed_ + i) - late;
        const auto base = static_cast<std::int64_t>(std::floor(place));
        std::vector<double> sum(width_, 0.0);
        double total = 0;
        for (std::int64_t n = base - static_cast<std::int64_t>(kReach) + 1;
             n <= base + static_cast<std::int64_t>(kReach); ++n) {
            const double w = weight(place - static_cast<double>(n));
            total += w;
            if (n < 0 || static_cast<std::size_t>(n) >= held_.size() / width_) continue;
            for (std::size_t c = 0; c < width_; ++c)
                sum[c] += w * static_cast<double>(held_[static_cast<std::size_t>(n) * width_ + c]);
        }
        for (std::size_t c = 0; c < width_; ++c) out.push_back(static_cast<float>(sum[c] / total));
    }
    passed_ = static_cast<std::size_t>(static_cast<std::int64_t>(passed_ + count) - by);
    owed_ -= by;
}

void SoundSlide::pass(const float* interleaved, std::size_t frames, std::vector<float>& out) {
    held_.insert(held_.end(), interleaved, interleaved + frames * width_);
    while (std::abs(owed_) >= 1 && held_.size() / width_ >= passed_ + kSlide + kReach + 2)
        slide(out, owed_ > 0 ? 1 : -1);
    if (std::abs(owed_) < 1) {
        out.insert(out.end(), held_.begin() + static_cast<std::ptrdiff_t>(passed_ * width_), held_.end());
        passed_ = held_.size() / width_;
    }
    const std::size_t past = passed_ > kReach + 2 ? passed_ - kReach - 2 : 0;
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(past * width_));
    passed_ -= past;
}

void SoundSlide::flush(std::vector<float>& out) {
    out.insert(out.end(), held_.begin() + static_cast<std::ptrdiff_t>(passed_ * width_), held_.end());
    held_.clear();
    passed_ = 0;
    owed_ = 0;
}

}  // namespace tumblewash::media
