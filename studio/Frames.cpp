#include "studio/Frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <thread>

#include "edit/effects.h"
#include "media/MediaError.h"
#include "studio/Http.h"

namespace tumblewash::studio {

using edit::Clip;
using edit::PixelSize;
using edit::Placement;
using edit::Segment;
using edit::SettledSeam;
using media::PictureRef;
using media::Reader;
using media::ReaderSettings;

namespace {

/// Both sides of a seam. Each holds a decoder's pictures: some 50 MB where they are large.
constexpr std::size_t kOpenReaders = 2;

/// As the command `frame` reads its clips, so that its bytes are ours.
ReaderSettings settingsFor(const Plan& plan, bool still, PixelSize size, media::CancelFlag cancel) {
    ReaderSettings s;
    s.width = size.width;
    s.height = size.height;
    s.fit = edit::fitOf(plan.edit, still);
    s.rate = plan.request.rate;
    s.stillFrames = 1;
    s.layout = media::PixelLayout::argb;
    s.toneMap = plan.edit.output.colour.map();
    s.prefetch = 0;
    s.threads = std::thread::hardware_concurrency() < 4 ? 1 : 0;
    s.cancel = cancel;
    return s;
}

std::string keyOf(const Clip& clip, const ReaderSettings& s) {
    const auto& identity = clip.info().identity;
    return fmt::format("{}|{}|{}|{}|{}x{}|{}|{}/{}|{}", clip.path(), identity ? identity->inode : 0,
                       identity ? identity->seconds : 0, identity ? identity->nanoseconds : 0, s.width,
                       s.height, static_cast<int>(s.fit), s.rate.num, s.rate.den,
                       static_cast<int>(s.toneMap));
}

effects::Picture asRead(const PictureRef& picture) {
    if (!picture) return {};
    return {picture.data(), picture.stride(), picture.width(), picture.height()};
}

}  // namespace

Reader& Frames::readerOf(const std::string& key, const Clip& clip, const ReaderSettings& settings) {
    const auto found = std::find_if(readers_.begin(), readers_.end(),
                                    [&](const OpenReader& open) { return open.key == key; });
    if (found != readers_.end()) {
        std::rotate(readers_.begin(), found, found + 1);
        return readers_.front().reader;
    }
    if (readers_.size() >= kOpenReaders) readers_.pop_back();
    readers_.insert(readers_.begin(), OpenReader{key, Reader::open(clip.path(), settings)});
    return readers_.front().reader;
}

void Frames::close() {
    readers_.clear();
    moving_.clear();
}

PictureRef Frames::moved(const Clip& clip, const std::string& key, std::int64_t frame,
                         const ReaderSettings& settings) {
    auto found = std::find_if(moving_.begin(), moving_.end(), [&](const Moving& m) { return m.key == key; });
    if (found == moving_.end()) {
        if (moving_.size() >= kOpenReaders) moving_.pop_back();
        found = moving_.insert(moving_.begin(), Moving{key, Clip(clip.info(), settings)});
        found->clip.last(clip.frames());
        found->clip.move(*clip.way());
    }
    return found->clip.pictureAt(frame);
}

PictureRef Frames::ofClip(const Plan& plan, std::size_t index, std::int64_t frame, PixelSize size) {
    const Clip& clip = plan.request.clips.at(index);
    const bool still = clip.info().kind == media::MediaKind::still;
    ReaderSettings settings = settingsFor(plan, still, size, cancel_);
    if (clip.isBlack()) return Clip::black(1, settings, media::FieldOrder::progressive).nextPicture();
    const std::int64_t wanted =
        still && !clip.way() ? 0 : std::clamp<std::int64_t>(clip.in() + frame, 0, clip.wholeFrames() - 1);
    settings.identity = clip.info().identity;
    std::string key = keyOf(clip, settings);
    // The way depends on the clip's place, its length and the seed.
    if (clip.way()) key += fmt::format("|{}|{}|{}", index, clip.frames(), plan.revision);
    const std::string name = fmt::format("{}#{}", key, wanted);
    if (std::optional<PictureRef> known = cache_.find(name)) return *known;
    PictureRef picture;
    try {
        if (clip.way()) {
            picture = moved(clip, key, wanted, settings);
        } else {
            Reader& reader = readerOf(key, clip, settings);
            reader.seekPictures(wanted);
            picture = reader.readPicture();
        }
    } catch (...) {
        std::erase_if(readers_, [&](const OpenReader& open) { return open.key == key; });
        throw;
    }
    if (!picture)
        throw media::MediaError(media::MediaErrorCode::undecodable, clip.path(),
                                fmt::format("picture {} cannot be decoded", wanted));
    cache_.keep(name, picture,
                static_cast<std::size_t>(picture.stride()) * static_cast<std::size_t>(picture.height()));
    return picture;
}

// The plan's rules: an overlap takes both clips' frames side by side, a morph the first and last of its
// halves, an opening and a closing those of their one clip.
Frames::Sources Frames::sources(const Plan& plan, const Segment& segment, std::int64_t k, PixelSize size) {
    const auto a = static_cast<std::size_t>(segment.clipA);
    if (segment.clipB == Segment::kNone) return {ofClip(plan, a, segment.firstA + k, size), {}};
    const auto b = static_cast<std::size_t>(segment.clipB);
    if (segment.countA != segment.count)
        return {ofClip(plan, a, segment.firstA, size),
                ofClip(plan, b, segment.firstB + segment.count - segment.countA - 1, size)};
    PictureRef first = ofClip(plan, a, segment.firstA + k, size);
    return {std::move(first), ofClip(plan, b, segment.firstB + k, size)};
}

PictureRef Frames::ofSegment(const Plan& plan, const Segment& segment, const edit::Effect& effect,
                             std::size_t seam, std::int64_t k, PixelSize size) {
    const Sources from = sources(plan, segment, k, size);
    if (segment.transition == Segment::kNone || placementOf(effect) == Placement::Cut) return from.a;
    const SettledSeam& settled = plan.request.seams.at(seam);
    const bool morph = placementOf(effect) == Placement::Halves;
    const std::string key = fmt::format("{}|{}|{}|{}|{}x{}|{}", plan.revision, seam, effect.id, segment.count,
                                        size.width, size.height, segment.firstA);
    const effects::Pictures pictures{asRead(from.a), asRead(from.b)};
    if (key != effectKey_) {
        effectKey_.clear();
        effect_ = std::make_unique<effects::Effect>(
            plugin::effectRecord(static_cast<short>(effect.index)),
            effects::EffectKnobs{directionFor(settled.direction, effect), settled.seed, false});
        motion_ = morph ? effect_->motionBetween(pictures) : nullptr;
        effectKey_ = key;
    }
    const PictureRef picture = PictureRef::makeArgb(size.width, size.height);
    const double position = static_cast<double>(morph ? k + 1 : k) / static_cast<double>(segment.count);
    const effects::Target target{picture.data(), picture.stride(), picture.width(), picture.height()};
    if (effect_->renderFrame(position, pictures, target, motion_.get()) != effects::Outcome::ok)
        throw std::bad_alloc();
    return picture;
}

PictureRef Frames::ofMovie(const Plan& plan, std::int64_t frame, PixelSize size) {
    const Segment* segment = segmentAt(plan.request.plan, frame);
    if (segment == nullptr) throw Refused{404, "no-such-frame", "the movie has no such frame"};
    const std::int64_t k = frame - segment->first;
    const auto a = static_cast<std::size_t>(segment->clipA);
    if (segment->transition == Segment::kNone) return ofClip(plan, a, segment->firstA + k, size);
    const auto seam = static_cast<std::size_t>(segment->transition);
    return ofSegment(plan, *segment, plan.request.seams[seam].effect, seam, k, size);
}

}  // namespace tumblewash::studio
