#include "edit/DeepFrames.h"

#include "ImageLib/kernels/DeepConvertRow.h"
#include "effects/DeepEffect.h"

namespace tumblewash::edit {

using effects::DeepEffect;
using effects::DeepPictures;
using effects::EffectKnobs;
using imagelib::DeepTarget;
using kernels::DeepRange;
using media::PictureRef;

namespace {

constexpr DeepRange kRange{media::kDeepBlack, media::kDeepWhite};

DeepTarget pixelsOf(const PictureRef& picture) {
    return {picture.words(), picture.stride(), picture.width(), picture.height()};
}

/// A change of every row of a deep picture.
void eachRow(const PictureRef& picture, void (*change)(unsigned char*, int, const DeepRange&)) {
    const DeepTarget pixels = pixelsOf(picture);
    for (int y = 0; y < pixels.height; ++y) change(pixels.row(y), pixels.width, kRange);
}

EffectKnobs knobsOf(const TransitionJob& job) {
    return {job.direction, job.seed, job.proxy};
}

}  // namespace

struct DeepFrames::Impl {
    TransitionJob job;
    DeepEffect effect;
    bool morph;
    bool weighs;  ///< the effect mixes pixels, so that colours must count by their alpha
    PictureRef first;
    PictureRef last;
    std::shared_ptr<const effects::MorphMotion> motion;

    /// A picture that may be weighed without changing anybody else's.
    PictureRef deepened(PictureRef picture) const {
        if (!picture) return {};
        if (!weighs && picture.layout() == media::PixelLayout::deep) return picture;
        PictureRef deep = toDeep(picture);
        if (weighs) eachRow(deep, kernels::weighDeepRow);
        return deep;
    }

    DeepPictures pair(const PictureRef& a, const PictureRef& b) const {
        return {pixelsOf(a), b ? DeepTarget(pixelsOf(b)) : DeepTarget(), !job.alpha};
    }
};

DeepFrames::DeepFrames(const TransitionJob& job, const PictureRef& first, const PictureRef& last)
    : impl_(new Impl{job,
                     DeepEffect(plugin::effectRecord(static_cast<short>(job.effect.index)), job.size.width,
                                job.size.height, knobsOf(job), kRange),
                     placementOf(job.effect) == Placement::Halves,
                     job.alpha && plugin::effectRecord(static_cast<short>(job.effect.index)).driver !=
                                      plugin::EffectDriver::distort,
                     {},
                     {},
                     nullptr}) {
    if (!impl_->morph) return;
    impl_->first = impl_->deepened(first);
    impl_->last = impl_->deepened(last);
    impl_->motion = impl_->effect.motionBetween(impl_->pair(impl_->first, impl_->last));
}

DeepFrames::~DeepFrames() = default;
DeepFrames::DeepFrames(DeepFrames&&) noexcept = default;

PictureRef DeepFrames::render(std::int64_t k, PictureRef a, PictureRef b) const {
    const TransitionJob& job = impl_->job;
    const PictureRef from = impl_->morph ? impl_->first : impl_->deepened(std::move(a));
    const PictureRef to = impl_->morph ? impl_->last : impl_->deepened(std::move(b));
    const DeepPictures pictures = impl_->pair(from, to);
    // Each of these is 17 MB of a large picture: the result takes the place of the one that lies below.
    const imagelib::DeepView* below = impl_->effect.lyingBelow(pictures);
    const PictureRef& lying = below == &pictures.first ? from : to;
    const PictureRef out =
        below != nullptr && lying.isUnique() ? lying : PictureRef::makeDeep(job.size.width, job.size.height);
    // The plug-in counts a morph's frames from one.
    const double position = static_cast<double>(impl_->morph ? k + 1 : k) / static_cast<double>(job.frames);
    impl_->effect.renderFrame(position, pictures, pixelsOf(out), impl_->motion.get());
    if (impl_->weighs) eachRow(out, kernels::unweighDeepRow);
    if (job.layout == media::PixelLayout::deep) return out;
    return job.layout == media::PixelLayout::argb ? toArgb(out)
                                                  : fromDeep(out, job.layout, job.matrix, job.fields);
}

}  // namespace tumblewash::edit
