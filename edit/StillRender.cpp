#include "edit/StillRender.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "edit/DeepFrames.h"
#include "edit/Errors.h"
#include "edit/Plan.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using host::FramePlace;
using host::FrameResult;
using host::kFramesUnlimited;
using host::locateFrame;
using host::PluginModule;
using host::Session;
using host::SessionSettings;
using media::CancelFlag;
using media::Fit;
using media::FrameRate;
using media::MediaKind;
using media::PictureRef;
using media::PixelLayout;
using media::quotedName;
using media::ReaderSettings;
using media::ToneMap;

namespace {

ReaderSettings stillSettings(PixelSize size, Fit fit, FrameRate rate, bool keepAlpha, CancelFlag cancel,
                             ToneMap toneMap) {
    ReaderSettings s;
    s.width = size.width;
    s.height = size.height;
    s.fit = fit;
    s.rate = rate;
    s.stillFrames = 1;
    s.layout = PixelLayout::argb;
    s.keepAlpha = keepAlpha;
    s.prefetch = 0;
    s.cancel = cancel;
    s.toneMap = toneMap;
    return s;
}

}  // namespace

StillInput::StillInput(const std::string& path, PixelSize size, Fit fit, FrameRate rate, bool keepAlpha,
                       CancelFlag cancel, ToneMap toneMap)
    : clip_(path, stillSettings(size, fit, rate, keepAlpha, cancel, toneMap)),
      still_(clip_.info().kind == MediaKind::still),
      frames_(still_ ? kFramesUnlimited : clip_.frames()) {}

PictureRef StillInput::at(std::int64_t index) {
    const std::scoped_lock hold(lock_);
    const std::int64_t wanted = still_ ? 0 : index;
    PictureRef& picture = kept_[wanted];
    if (!picture) picture = clip_.pictureAt(wanted);
    if (!picture)
        throw Refusal(Problem::BadInput,
                      fmt::format("{}: picture {} cannot be decoded", quotedName(clip_.path()), wanted));
    return picture;
}

StillRenderer::StillRenderer(const PluginModule& module, TransitionJob job, StillPair inputs)
    : module_(module), job_(std::move(job)), alpha_(job_.alpha) {
    job_.alpha = false;
    const Placement placement = placementOf(job_.effect);
    const bool two = placement == Placement::Overlap || placement == Placement::Halves;
    if (placement == Placement::Cut)
        throw Refusal(Problem::BadRequest, fmt::format("{} is not an effect; choose one", job_.effect.id));
    if (two && !inputs.b)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{} needs two pictures; give a second one", job_.effect.id));
    clips_[0] = placement == Placement::Before && inputs.b ? inputs.b : inputs.a;
    clips_[1] = two ? inputs.b : nullptr;

    // The same plan as a join of the two, so that a frame here is the frame there.
    const std::int64_t n = job_.frames;
    const auto refuse = [&](const StillInput& input, std::int64_t needs) {
        if (input.frames() < needs)
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}: {}: {} takes {}; use fewer frames", quotedName(input.path()),
                                      tooFewFrames(input.frames()), job_.effect.id, needs));
    };
    const std::int64_t takenA = placement == Placement::Halves ? n / 2 : n;
    refuse(*clips_[0], takenA);
    if (two) refuse(*clips_[1], placement == Placement::Halves ? n - n / 2 : n);
    job_.framesA = clips_[0]->frames();
    job_.framesB = two ? clips_[1]->frames() : 0;
    const bool still = clips_[0]->frames() == kFramesUnlimited;
    job_.firstA = placement == Placement::Before || still ? 0 : clips_[0]->frames() - takenA;
    if (job_.ownEffects)
        effect_ =
            std::make_unique<effects::Effect>(plugin::effectRecord(static_cast<short>(job_.effect.index)),
                                              effects::EffectKnobs{job_.direction, job_.seed, job_.proxy});
    else
        session();
}

StillRenderer::~StillRenderer() = default;

Session& StillRenderer::session() {
    if (session_ == nullptr) {
        session_ = std::make_unique<Session>(module_, sessionSettings(job_), source_);
        session_->open();
    }
    return *session_;
}

FramePlace StillRenderer::place(std::int64_t k) const {
    const SessionSettings s = sessionSettings(job_);
    const auto found = locateFrame(s, job_.effect.info.layout, s.startFrame + static_cast<std::int32_t>(k));
    return found.value_or(FramePlace{0, static_cast<std::int32_t>(job_.firstA + k)});
}

PictureRef StillRenderer::pictureAt(FramePlace place) {
    return clips_[place.clip]->at(place.index);
}

PictureRef StillRenderer::sourceA(std::int64_t k) {
    return pictureAt(place(k));
}

PictureRef StillRenderer::sourceB(std::int64_t k) {
    if (!clips_[1]) return {};
    if (placementOf(job_.effect) == Placement::Halves) return pictureAt(place(job_.frames - 1));
    return clips_[1]->at(k);
}

FrameResult StillRenderer::renderInto(std::int64_t k, const PictureRef& picture) {
    source_ = {};
    source_.put(place(k), sourceA(k));
    const PictureRef second = sourceB(k);
    if (second && placementOf(job_.effect) == Placement::Halves)
        source_.put(place(job_.frames - 1), second);
    else if (second)
        source_.put({1, static_cast<std::int32_t>(k)}, second);
    FrameResult result = session().renderFrame(
        static_cast<std::int32_t>(k), {picture.data(), picture.stride(), job_.size.width, job_.size.height});
    if (!result.ok())
        throw Refusal(Problem::RenderFailed, fmt::format("{}: frame {} of {} cannot be rendered: {}",
                                                         job_.effect.id, k, job_.frames, result.problem));
    return result;
}

// Frame k as the plug-in draws it; a morph's frames count from one.
void StillRenderer::renderPlainly(std::int64_t k, const PictureRef& picture) {
    const bool morph = placementOf(job_.effect) == Placement::Halves;
    const PictureRef a = sourceA(morph ? 0 : k), b = sourceB(k);
    const auto read = [](const PictureRef& from) {
        return from ? effects::Picture{from.data(), from.stride(), from.width(), from.height()}
                    : effects::Picture{};
    };
    const effects::Pictures pictures{read(a), read(b)};
    if (morph && motion_ == nullptr) motion_ = effect_->motionBetween(pictures);
    const double position = static_cast<double>(morph ? k + 1 : k) / static_cast<double>(job_.frames);
    const effects::Target target{picture.data(), picture.stride(), picture.width(), picture.height()};
    if (effect_->renderFrame(position, pictures, target, motion_.get()) != effects::Outcome::ok)
        throw std::bad_alloc();
}

PictureRef StillRenderer::render(std::int64_t k, FrameResult* result) {
    PictureRef picture = PictureRef::makeArgb(job_.size.width, job_.size.height);
    if (effect_ != nullptr && result == nullptr) {
        renderPlainly(k, picture);
        return withAlpha(k, picture);
    }
    // A morph's key pictures are fixed by the first frame rendered.
    if (placementOf(job_.effect) == Placement::Halves && !keyed_ && k != 0) renderInto(0, picture);
    keyed_ = true;
    FrameResult done = renderInto(k, picture);
    if (result) *result = std::move(done);
    return withAlpha(k, picture);
}

PictureRef StillRenderer::withAlpha(std::int64_t k, const PictureRef& picture) {
    if (!alpha_ || !transparent(k)) return picture;
    TransitionJob deep = job_;
    deep.alpha = true;
    const bool morph = placementOf(job_.effect) == Placement::Halves;
    return DeepFrames(deep, morph ? sourceA(0) : PictureRef(), sourceB(k)).render(k, sourceA(k), sourceB(k));
}

bool StillRenderer::transparent(std::int64_t k) {
    const std::int64_t first = placementOf(job_.effect) == Placement::Halves ? 0 : k;
    for (const PictureRef& picture : {sourceA(first), sourceB(k)}) {
        if (!picture) continue;
        for (int y = 0; y < picture.height(); ++y) {
            const std::uint8_t* row = picture.data() + y * picture.stride();
            for (int x = 0; x < picture.width(); ++x)
                if (row[4 * x] != 255) return true;
        }
    }
    return false;
}

HYPluginClipInfo StillRenderer::finish() {
    if (session_ == nullptr) return {};
    session_->close();
    return session_->clipInfo();
}

}  // namespace tumblewash::edit
