#include "media/detail/SteadyPictures.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tumblewash::media {

namespace {

// A seek goes this many source pictures further back, so that filters over time see their neighbours.
constexpr int64_t kLeadIn = 4;

// Closer than this many pictures ahead, walking is cheaper than seeking.
constexpr int64_t kWalk = 24;

int64_t stillCount(const ReaderSettings& settings) {
    if (settings.stillFrames > 0) return settings.stillFrames;
    return std::max<int64_t>(1, std::llround(settings.stillSeconds * settings.rate.value()));
}

/// The picture, at base `frameBase`, that time `pts` falls on.
int64_t pictureAt(int64_t pts, const ProbeDetail& facts, AVRational frameBase) {
    return av_rescale_q_rnd(pts, facts.timeBase, frameBase,
                            static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

}  // namespace

int64_t pictureCount(const ProbeDetail& facts, const ReaderSettings& settings, const Extent& extent) {
    if (facts.info.kind == MediaKind::still) return stillCount(settings);
    return std::max<int64_t>(
        1, pictureAt(extent.lastPts + extent.lastDuration, facts, av_inv_q(asAv(settings.rate))));
}

SteadyPictures::SteadyPictures(const ProbeDetail& facts, const ReaderSettings& settings, const Extent& extent)
    : facts_(facts),
      settings_(settings),
      frameBase_(av_inv_q(asAv(settings.rate))),
      seekable_(extent.seekable),
      count_(pictureCount(facts, settings, extent)),
      source_(openSource(facts, settings.threads, settings.cancel, isDeep(settings.layout))),
      graph_(facts, settings) {
    advance();
}

int64_t SteadyPictures::indexOf(int64_t pts) const {
    return pictureAt(pts, facts_, frameBase_);
}

/// Makes `coming_` the source's next converted picture, empty when there is none.
void SteadyPictures::advance() {
    coming_ = {};
    for (;;) {
        TimedPicture done = graph_.pull();
        if (done.picture) {
            coming_ = {nullptr, done.pts, std::move(done.picture)};
            comingIndex_ = indexOf(done.pts);
            return;
        }
        if (drained_) return;
        TimedFrame timed = source_->next();
        if (timed.frame)
            endIndex_ = std::max({endIndex_, int64_t{1}, indexOf(timed.pts + timed.duration)});
        else
            drained_ = true;
        if (timed.frame && graph_.takesAlone(*timed.frame)) {
            comingIndex_ = indexOf(timed.pts);
            coming_ = {std::move(timed.frame), timed.pts, {}};
            return;
        }
        if (!timed.frame && !graph_.holdsBack()) return;
        // Behind this one the graph could not make the picture that was left for later.
        develop(current_);
        graph_.push(std::move(timed));
    }
}

void SteadyPictures::develop(Waiting& waiting) {
    if (!waiting.frame) return;
    graph_.push({std::move(waiting.frame), waiting.pts, 1});
    waiting.picture = graph_.pull().picture;
    waiting.frame.reset();
    if (!waiting.picture)
        throw MediaError(MediaErrorCode::encoding, facts_.info.path, "a picture cannot be converted");
}

FieldOrder SteadyPictures::fields() {
    return coming_.frame ? graph_.fieldsOf(*coming_.frame) : graph_.fieldsOut();
}

/// True when the picture after this one is the same one.
bool SteadyPictures::wantedAgain() const {
    return next_ + 1 < count_ && !(coming_ && comingIndex_ <= next_ + 1);
}

/// The current picture, as the receiver's own when its bytes may be written to.
PictureRef SteadyPictures::give() {
    develop(current_);
    const bool again = wantedAgain();
    if (!isPacked(settings_.layout)) return again ? current_.picture : std::move(current_.picture);
    if (again) return copyPicture(current_.picture);
    PictureRef out = std::move(current_.picture);
    current_ = {};
    return ownsBytes(out) ? out : copyPicture(out);
}

PictureRef SteadyPictures::next() {
    if (!arrive()) return {};
    PictureRef out = give();
    ++next_;
    return out;
}

SteadyPictures::Undeveloped SteadyPictures::nextUndeveloped() {
    Undeveloped out;
    if (!arrive()) return out;
    if (!current_.frame)
        out.picture = give();
    else if (wantedAgain())
        out.frame = shareFrame(*current_.frame);
    else
        out.frame = std::exchange(current_, {}).frame;
    ++next_;
    return out;
}

/// Makes the picture at `next_` the current one. False at the end.
bool SteadyPictures::arrive() {
    if (next_ >= count_) return false;
    while (coming_ && comingIndex_ <= next_) {
        current_ = std::move(coming_);
        advance();
    }
    const bool still = facts_.info.kind == MediaKind::still;
    if (!current_ || (!still && !coming_ && drained_ && next_ >= endIndex_)) {
        missing_ = count_ - next_;
        next_ = count_;
        return false;
    }
    return true;
}

void SteadyPictures::restart() {
    damagedBefore_ += source_->damaged();
    patchedBefore_ += source_->patched();
    source_ = openSource(facts_, settings_.threads, settings_.cancel, isDeep(settings_.layout));
    graph_.reset();
    current_ = {};
    drained_ = false;
    endIndex_ = 0;
    next_ = 0;
    advance();
}

/// False when going to `index` by a seek would begin no later than here.
bool SteadyPictures::seekGainsGround(int64_t index) const {
    const std::optional<int64_t> key =
        source_->keyBefore(av_rescale_q(index, frameBase_, facts_.timeBase) - kLeadIn * frameLength());
    return !key || indexOf(*key) > next_;
}

/// Length of a picture in the source's time base.
int64_t SteadyPictures::frameLength() const {
    return std::max<int64_t>(1, av_rescale_q(1, av_inv_q(asAv(facts_.info.rate)), facts_.timeBase));
}

/// Seeks in the source. False when the place found is not early enough to know the picture wanted.
bool SteadyPictures::jump(int64_t index) {
    if (!seekable_) return false;
    const int64_t wanted = av_rescale_q(index, frameBase_, facts_.timeBase) - kLeadIn * frameLength();
    if (wanted <= 0 || !source_->seek(wanted)) return false;
    graph_.reset();
    current_ = {};
    drained_ = false;
    endIndex_ = 0;
    advance();
    return coming_ && comingIndex_ < index - 1;
}

void SteadyPictures::seek(int64_t index) {
    index = std::clamp<int64_t>(index, 0, count_);
    if (index == next_) return;
    if (facts_.info.kind == MediaKind::still) {
        next_ = index;
        if (!current_ && !coming_) restart();
        next_ = index;
        return;
    }
    const bool near = index - next_ <= kWalk || !seekGainsGround(index);
    const bool ahead = index > next_ && near && (current_ || (coming_ && comingIndex_ <= index));
    if (!ahead && !jump(index)) restart();
    // The pictures before it are decoded and let go, not delivered.
    next_ = index;
    while (coming_ && comingIndex_ < index) {
        current_ = std::move(coming_);
        advance();
    }
}

}  // namespace tumblewash::media
