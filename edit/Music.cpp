#include "edit/Music.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "edit/Decibels.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

constexpr double kDownSeconds = 0.3;
constexpr double kUpSeconds = 0.8;
constexpr double kApartSeconds = 1.5;
constexpr double kInSeconds = 1;
constexpr double kOutSeconds = 2;

/// From 0 to 1 without a corner at either end.
double eased(double t) {
    return 0.5 - 0.5 * std::cos(std::numbers::pi * std::clamp(t, 0.0, 1.0));
}

}  // namespace

std::vector<SoundingStretch> soundingStretches(const MovieRequest& request) {
    std::vector<SoundingStretch> out;
    if (!request.clipSound) return out;
    const auto apart = static_cast<std::int64_t>(kApartSeconds * request.writer.sampleRate);
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        const Clip& clip = request.clips[i];
        if (!clip.info().hasAudio) continue;
        const std::int64_t origin = request.plan.clipOrigins[i];
        const SoundingStretch now{request.samplesBefore(origin),
                                  request.samplesBefore(origin + clip.frames())};
        if (!out.empty() && now.first - out.back().end < apart)
            out.back().end = std::max(out.back().end, now.end);
        else
            out.push_back(now);
    }
    return out;
}

MusicLevel::MusicLevel(std::vector<SoundingStretch> sounding, std::int64_t length, int sampleRate,
                       double duck)
    : sounding_(std::move(sounding)),
      length_(length),
      down_(kDownSeconds * sampleRate),
      up_(kUpSeconds * sampleRate),
      in_(std::min(kInSeconds * sampleRate, static_cast<double>(length) / 3)),
      out_(std::min(kOutSeconds * sampleRate, static_cast<double>(length) / 3)),
      duck_(duck) {}

double MusicLevel::at(std::int64_t at) {
    while (next_ < sounding_.size() && static_cast<double>(at - sounding_[next_].end) >= up_) ++next_;
    double lowered = 0;  // 0 to 1 of what it is ducked by
    for (std::size_t i = next_; i < std::min(next_ + 2, sounding_.size()); ++i) {
        const SoundingStretch& stretch = sounding_[i];
        const double before = static_cast<double>(stretch.first - at);
        const double after = static_cast<double>(at - stretch.end);
        const double here = before > 0 ? eased(1 - before / down_) : after > 0 ? eased(1 - after / up_) : 1.0;
        lowered = std::max(lowered, here);
    }
    const double in = in_ > 0 ? std::min(1.0, static_cast<double>(at) / in_) : 1.0;
    const double out = out_ > 0 ? std::clamp(static_cast<double>(length_ - 1 - at) / out_, 0.0, 1.0) : 1.0;
    return linearOf(-duck_ * lowered) * in * out;
}

Music::Music(const MovieRequest& request)
    : request_(request),
      file_(request.musicFile, request.writer.sampleRate, request.writer.channels, request.writer.cancel),
      level_(soundingStretches(request), request.samplesBefore(request.plan.frames),
             request.writer.sampleRate, request.musicDuck) {}

void Music::addTo(std::int64_t frame, std::vector<float>& samples) {
    const auto width = static_cast<std::size_t>(request_.writer.channels);
    const std::int64_t first = request_.samplesBefore(frame);
    if (first > at_) file_.skip(first - at_);
    at_ = std::max(at_, first);
    const std::size_t frames = samples.size() / width;
    block_.resize(samples.size());
    file_.read(block_.data(), frames);
    for (std::size_t i = 0; i < frames; ++i, ++at_) {
        const auto gain = static_cast<float>(request_.musicGain * level_.at(at_));
        for (std::size_t c = 0; c < width; ++c) samples[i * width + c] += gain * block_[i * width + c];
    }
}

std::vector<std::string> Music::warnings() const {
    std::vector<std::string> lines;
    for (const std::string& line : file_.warnings())
        lines.push_back(media::quotedName(request_.musicFile) + ": " + line);
    return lines;
}

}  // namespace tumblewash::edit
