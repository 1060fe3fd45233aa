#include "edit/Soundtrack.h"

#include <algorithm>

#include "edit/Sound.h"
#include "edit/SoundCopying.h"

namespace tumblewash::edit {
namespace {

/// The clips that a segment ends and begins with.
int lastClipOf(const Segment& segment) {
    return segment.clipB >= 0 ? segment.clipB : segment.clipA;
}

/// True when one clip goes on where the other stops in the same file, so that nothing jumps.
bool goesOn(const Clip& before, const Clip& after) {
    return !before.isBlack() && before.path() == after.path() &&
           before.in() + before.frames() == after.in() && before.gain() == after.gain();
}

}  // namespace

Soundtrack::Soundtrack(const MovieRequest& request, Sink sink)
    : request_(request),
      sink_(std::move(sink)),
      limiter_(request.writer.channels, request.writer.sampleRate, request.limiter) {
    if (!request.musicFile.empty()) music_.emplace(request);
    own_ = request.samplesBefore(request.first + unchangedFrames(request)) -
           request.samplesBefore(request.first);
    const std::vector<Segment>& segments = request.plan.segments;
    for (std::size_t i = 1; i < segments.size(); ++i) {
        const int before = lastClipOf(segments[i - 1]);
        const int after = segments[i].clipA;
        if (before == after || goesOn(request.clips[static_cast<std::size_t>(before)],
                                      request.clips[static_cast<std::size_t>(after)]))
            continue;
        ending_.insert(segments[i].first - 1);
        beginning_.insert(segments[i].first);
    }
}

void Soundtrack::add(std::int64_t frame, std::vector<float> samples) {
    const int channels = request_.writer.channels;
    const int rate = request_.writer.sampleRate;
    if (ending_.contains(frame)) fadeEnd(samples, channels, rate, SoundEnd::Tail, kCutFadeSeconds);
    if (beginning_.contains(frame)) fadeEnd(samples, channels, rate, SoundEnd::Head, kCutFadeSeconds);
    if (music_) music_->addTo(frame, samples);
    limiter_.pass(samples, limited_);
    send();
}

std::vector<std::string> Soundtrack::warnings() const {
    return music_ ? music_->warnings() : std::vector<std::string>{};
}

void Soundtrack::finish() {
    limiter_.flush(limited_);
    send();
}

void Soundtrack::send() {
    const auto width = static_cast<std::size_t>(request_.writer.channels);
    const std::span<const float> all = limited_;
    const auto frames = static_cast<std::int64_t>(all.size() / width);
    const std::int64_t own = std::clamp<std::int64_t>(std::min(own_, told().untouched) - sent_, 0, frames);
    const std::size_t values = static_cast<std::size_t>(own) * width;
    if (values > 0) sink_(all.first(values), true);
    if (values < all.size()) sink_(all.subspan(values), false);
    sent_ += frames;
    limited_.clear();
}

}  // namespace tumblewash::edit
