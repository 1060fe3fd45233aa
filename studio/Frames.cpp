#include "studio/Frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <thread>

#include "edit/Effects.h"
#include "media/MediaError.h"
#include "studio/Http.h"

namespace tumblewash::studio {

using edit::Clip;
using edit::PixelSize;
using edit::Placement;
using edit::Segment;
using edit::SettledSeam;
using media::MediaKind;
using media::PictureRef;
using media::Reader;
using media::ReaderSettings;

namespace {

/// Both sides of a seam.
constexpr std::size_t kOpenReaders = 2;
/// What a decoder holds: so many pictures, and what it works with.
constexpr std::size_t kDecodersPictures = 14;
constexpr std::size_t kDecodersOwn = std::size_t{6} << 20;
/// How far from a frame one that stands for it may lie.
constexpr std::int64_t kFarthest = 600;

/// As the command `frame` reads its clips, so that its bytes are ours.
ReaderSettings settingsFor(const Plan& plan, bool still, PixelSize size, int threads,
                           media::CancelFlag cancel) {
    ReaderSettings s;
    s.width = size.width;
    s.height = size.height;
    s.fit = edit::fitOf(plan.edit, still);
    s.rate = plan.request.rate;
    s.stillFrames = 1;
    s.layout = media::PixelLayout::argb;
    s.toneMap = plan.edit.output.colour.map();
    s.prefetch = 0;
    s.sound = false;
    s.threads = std::thread::hardware_concurrency() < 4 ? std::min(threads, 2) : 2;
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

/// The pictures of the strip: what a clip is known by before anything else of it.
PixelSize thumbnailOf(const Plan& plan) {
    return sizeWithin(plan.request.size, Frames::kThumbnail, Frames::kThumbnail);
}

std::size_t bytesOf(PixelSize size) {
    return std::size_t{4} * static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

/// What a picture takes as its decoder leaves it.
std::size_t decodedBytes(const Clip& clip) {
    const auto samples =
        static_cast<std::size_t>(clip.info().codedWidth) * static_cast<std::size_t>(clip.info().codedHeight);
    return clip.info().colour.depth > 8 ? 3 * samples : 3 * samples / 2;
}

/// The name of a picture in the cache: as decoded, or made for a size.
std::string nameOf(const std::string& key, std::int64_t frame) {
    return fmt::format("{}#{}", key, frame);
}
std::string nameOf(const std::string& key, std::int64_t frame, PixelSize size) {
    return fmt::format("{}#{}@{}x{}", key, frame, size.width, size.height);
}

effects::Picture asRead(const PictureRef& picture) {
    if (!picture) return {};
    return {picture.data(), picture.stride(), picture.width(), picture.height()};
}

}  // namespace

Reader& Frames::readerOf(const Clip& clip, const Wanted& wanted) {
    const auto found = std::find_if(readers_.begin(), readers_.end(),
                                    [&](const OpenReader& open) { return open.key == wanted.key; });
    if (found != readers_.end()) {
        std::rotate(readers_.begin(), found, found + 1);
        return readers_.front().reader;
    }
    if (readers_.size() >= kOpenReaders) readers_.pop_back();
    std::shared_ptr<void> memory = cache_.setAside(kDecodersPictures * decodedBytes(clip) + kDecodersOwn);
    readers_.insert(readers_.begin(), OpenReader{wanted.key, clip.open(wanted.settings), std::move(memory)});
    return readers_.front().reader;
}

PictureCache& Frames::madeFor(PixelSize size) {
    return std::max(size.width, size.height) <= kThumbnail ? thumbnails_ : cache_;
}

void Frames::close() {
    readers_.clear();
    moving_.clear();
    maker_.forget();
}

PictureRef Frames::moved(const Clip& clip, const Wanted& wanted) {
    auto found =
        std::find_if(moving_.begin(), moving_.end(), [&](const Moving& m) { return m.key == wanted.key; });
    if (found == moving_.end()) {
        if (moving_.size() >= kOpenReaders) moving_.pop_back();
        found = moving_.insert(moving_.begin(), Moving{wanted.key, Clip(clip.info(), wanted.settings)});
        found->clip.last(clip.frames());
        found->clip.move(*clip.way());
    }
    return found->clip.pictureAt(wanted.frame);
}

// Pictures that stay as they were decoded belong to the clip at the movie's size, whatever they are wanted
// for: a strip, a card and the scrubber share them.
Frames::Wanted Frames::wantedOf(const Plan& plan, std::size_t index, std::int64_t frame,
                                PixelSize size) const {
    const Clip& clip = plan.request.clips.at(index);
    const bool still = clip.info().kind == MediaKind::still;
    Wanted wanted;
    wanted.ofAnySize = !still && clip.info().fields == media::FieldOrder::progressive;
    wanted.settings =
        settingsFor(plan, still, wanted.ofAnySize ? plan.request.size : size, threads_, cancel_);
    wanted.settings.identity = clip.info().identity;
    wanted.frame =
        still && !clip.way() ? 0 : std::clamp<std::int64_t>(clip.in() + frame, 0, clip.wholeFrames() - 1);
    wanted.key = keyOf(clip, wanted.settings);
    // The way depends on the clip's place, its length and the seed.
    if (clip.way()) wanted.key += fmt::format("|{}|{}|{}", index, clip.frames(), plan.revision);
    return wanted;
}

std::optional<PictureRef> Frames::known(const Wanted& wanted, PixelSize size) {
    if (const std::optional<KeptPicture> kept = cache_.find(nameOf(wanted.key, wanted.frame)))
        return maker_.make(kept->decoded, size.width, size.height);
    if (const std::optional<KeptPicture> kept = madeFor(size).find(nameOf(wanted.key, wanted.frame, size)))
        return kept->picture;
    return std::nullopt;
}

KeptPicture Frames::read(const Clip& clip, const Wanted& wanted) {
    KeptPicture out;
    try {
        if (clip.way()) {
            out.picture = moved(clip, wanted);
        } else {
            Reader& reader = readerOf(clip, wanted);
            reader.seekPictures(wanted.frame);
            out.decoded = reader.readDecoded();
        }
    } catch (...) {
        std::erase_if(readers_, [&](const OpenReader& open) { return open.key == wanted.key; });
        throw;
    }
    if (!out.picture && !out.decoded)
        throw media::MediaError(media::MediaErrorCode::undecodable, clip.path(),
                                fmt::format("picture {} cannot be decoded", wanted.frame));
    return out;
}

PictureRef Frames::ofClip(const Plan& plan, std::size_t index, std::int64_t frame, PixelSize size,
                          Keep keep) {
    const Clip& clip = plan.request.clips.at(index);
    Wanted wanted = wantedOf(plan, index, frame, size);
    if (clip.isBlack()) return Clip::black(1, wanted.settings, media::FieldOrder::progressive).nextPicture();
    if (std::optional<PictureRef> here = known(wanted, size)) return *std::move(here);
    KeptPicture got = read(clip, wanted);
    const bool otherSize = wanted.settings.width != size.width || wanted.settings.height != size.height;
    if (!got.picture && !got.decoded.anySize() && otherSize) {
        // Some of its pictures are made progressive after all.
        wanted.settings.width = size.width;
        wanted.settings.height = size.height;
        wanted.key = keyOf(clip, wanted.settings);
        if (std::optional<PictureRef> here = known(wanted, size)) return *std::move(here);
        got = read(clip, wanted);
    }
    if (!got.picture) got.picture = maker_.make(got.decoded, size.width, size.height);
    if (keep != Keep::nothing) store(plan, wanted, got, size, keep);
    return got.picture;
}

void Frames::store(const Plan& plan, const Wanted& wanted, const KeptPicture& got, PixelSize size,
                   Keep keep) {
    const bool servesAll = wanted.ofAnySize && got.decoded && got.decoded.anySize() &&
                           got.decoded.bytes() <= bytesOf(plan.request.size);
    if (servesAll && keep == Keep::decoded)
        cache_.keep(nameOf(wanted.key, wanted.frame), {got.decoded, {}}, got.decoded.bytes());
    else
        madeFor(size).keep(
            nameOf(wanted.key, wanted.frame, size),
            {{}, got.picture ? got.picture : maker_.make(got.decoded, size.width, size.height)},
            bytesOf(size));
}

// The plan's rules: an overlap takes both clips' frames side by side, a morph the first and last of its
// halves, an opening and a closing those of their one clip.
Frames::Sources Frames::sourcesOf(const Segment& segment, std::int64_t k) {
    const auto a = static_cast<std::size_t>(segment.clipA);
    if (segment.clipB == Segment::kNone) return {{a, segment.firstA + k}, std::nullopt};
    const auto b = static_cast<std::size_t>(segment.clipB);
    if (segment.countA != segment.count)
        return {{a, segment.firstA}, Source{b, segment.firstB + segment.count - segment.countA - 1}};
    return {{a, segment.firstA + k}, Source{b, segment.firstB + k}};
}

std::int64_t Frames::mostPrepared(const Plan& plan, const Segment& segment) const {
    std::size_t each = 1;
    for (const int clip : {segment.clipA, segment.clipB})
        if (clip != Segment::kNone)
            each += std::min(decodedBytes(plan.request.clips.at(static_cast<std::size_t>(clip))),
                             bytesOf(plan.request.size));
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(cache_.room() / 3 * 2 / each));
}

void Frames::prepareOne(const Plan& plan, const Segment& segment, std::int64_t k) {
    const Sources from = sourcesOf(segment, k);
    for (const std::optional<Source>& source : {std::optional(from.a), from.b}) {
        if (!source || plan.request.clips.at(source->clip).isBlack()) continue;
        const PixelSize size = plan.request.size;
        const Wanted wanted = wantedOf(plan, source->clip, source->frame, size);
        if (cache_.find(nameOf(wanted.key, wanted.frame)) ||
            madeFor(size).find(nameOf(wanted.key, wanted.frame, size)))
            continue;
        store(plan, wanted, read(plan.request.clips[source->clip], wanted), size, Keep::decoded);
    }
}

PictureRef Frames::nearClip(const Plan& plan, const Source& source, PixelSize size) {
    const Clip& clip = plan.request.clips.at(source.clip);
    Wanted wanted = wantedOf(plan, source.clip, source.frame, size);
    if (clip.isBlack()) return Clip::black(1, wanted.settings, media::FieldOrder::progressive).nextPicture();
    const std::int64_t last = clip.wholeFrames() - 1;
    const std::int64_t middle = wanted.frame;
    for (std::int64_t by = 0; by <= std::min(kFarthest, last); ++by)
        for (const std::int64_t frame : {middle - by, middle + by}) {
            if (frame < 0 || frame > last) continue;
            wanted.frame = frame;
            if (std::optional<PictureRef> here = known(wanted, size)) return *std::move(here);
        }
    return {};
}

PictureRef Frames::nearMovie(const Plan& plan, std::int64_t frame, PixelSize size) {
    const Segment* segment = segmentAt(plan.request.plan, frame);
    if (segment == nullptr) return {};
    const std::int64_t k = frame - segment->first;
    const Sources from = sourcesOf(*segment, k);
    for (const PixelSize side : {size, thumbnailOf(plan)}) {
        Pair pictures{nearClip(plan, from.a, side), {}};
        if (!pictures.a) continue;
        if (segment->transition == Segment::kNone) return pictures.a;
        if (from.b && !(pictures.b = nearClip(plan, *from.b, side))) continue;
        const auto seam = static_cast<std::size_t>(segment->transition);
        return rendered(plan, *segment, plan.request.seams[seam].effect, seam, k, side, pictures);
    }
    return {};
}

PictureRef Frames::ofSegment(const Plan& plan, const Segment& segment, const edit::Effect& effect,
                             std::size_t seam, std::int64_t k, PixelSize size, Keep keep) {
    const Sources from = sourcesOf(segment, k);
    Pair pictures{ofClip(plan, from.a.clip, from.a.frame, size, keep), {}};
    if (from.b) pictures.b = ofClip(plan, from.b->clip, from.b->frame, size, keep);
    if (segment.transition == Segment::kNone) return pictures.a;
    return rendered(plan, segment, effect, seam, k, size, pictures);
}

const effects::Effect& Frames::effectFor(const Plan& plan, const Segment& segment, const edit::Effect& effect,
                                         std::size_t seam, PixelSize size,
                                         const effects::Pictures& pictures) {
    const SettledSeam& settled = plan.request.seams.at(seam);
    const std::string key = fmt::format("{}|{}|{}|{}|{}x{}|{}", plan.revision, seam, effect.id, segment.count,
                                        size.width, size.height, segment.firstA);
    if (key == effectKey_) return *effect_;
    effectKey_.clear();
    effect_ = std::make_unique<effects::Effect>(
        plugin::effectRecord(static_cast<short>(effect.index)),
        effects::EffectKnobs{directionFor(settled.direction, effect), settled.seed, false});
    motion_ = placementOf(effect) == Placement::Halves ? effect_->motionBetween(pictures) : nullptr;
    effectKey_ = key;
    return *effect_;
}

PictureRef Frames::rendered(const Plan& plan, const Segment& segment, const edit::Effect& effect,
                            std::size_t seam, std::int64_t k, PixelSize size, const Pair& from) {
    if (placementOf(effect) == Placement::Cut) return from.a;
    const effects::Pictures pictures{asRead(from.a), asRead(from.b)};
    const effects::Effect& prepared = effectFor(plan, segment, effect, seam, size, pictures);
    const PictureRef picture = PictureRef::makeArgb(size.width, size.height);
    const bool morph = placementOf(effect) == Placement::Halves;
    const double position = static_cast<double>(morph ? k + 1 : k) / static_cast<double>(segment.count);
    const effects::Target target{picture.data(), picture.stride(), picture.width(), picture.height()};
    if (prepared.renderFrame(position, pictures, target, motion_.get()) != effects::Outcome::ok)
        throw std::bad_alloc();
    return picture;
}

effects::VectorField Frames::fieldOf(const Plan& plan, std::size_t seam, PixelSize size) {
    const Segment* segment = segmentOf(plan.request.plan, seam);
    if (segment == nullptr) throw Refused{404, "cut", "a cut has no frames of its own"};
    const edit::Effect& effect = plan.request.seams.at(seam).effect;
    Pair from;
    if (placementOf(effect) == Placement::Halves) {
        const Sources sources = sourcesOf(*segment, 0);
        from.a = ofClip(plan, sources.a.clip, sources.a.frame, size);
        if (sources.b) from.b = ofClip(plan, sources.b->clip, sources.b->frame, size);
    }
    const effects::Effect& prepared =
        effectFor(plan, *segment, effect, seam, size, {asRead(from.a), asRead(from.b)});
    return prepared.field(size.width, size.height, motion_.get());
}

PictureRef Frames::ofMovie(const Plan& plan, std::int64_t frame, PixelSize size, Keep keep) {
    const Segment* segment = segmentAt(plan.request.plan, frame);
    if (segment == nullptr) throw Refused{404, "no-such-frame", "the movie has no such frame"};
    const std::int64_t k = frame - segment->first;
    const auto a = static_cast<std::size_t>(segment->clipA);
    if (segment->transition == Segment::kNone) return ofClip(plan, a, segment->firstA + k, size, keep);
    const auto seam = static_cast<std::size_t>(segment->transition);
    return ofSegment(plan, *segment, plan.request.seams[seam].effect, seam, k, size, keep);
}

}  // namespace tumblewash::studio
