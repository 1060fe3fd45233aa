#include "effects/DeepEffect.h"

#include <atomic>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "effects/Displacement.h"
#include "effects/MorphMotion.h"
#include "effects/RowThreads.h"
#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"

namespace tumblewash::effects {

namespace {

using imagelib::LineBand;

void copyLines(const imagelib::DeepView& from, const imagelib::DeepTarget& to, const LineBand& band) {
    for (int y = band.first; y < band.endIn(to.height); ++y)
        std::memcpy(to.row(y), from.row(y), static_cast<std::size_t>(to.width * kernels::kDeepPixelBytes));
}

void clearLines(const imagelib::DeepTarget& to, const kernels::DeepPixel& nothing, const LineBand& band) {
    for (int y = band.first; y < band.endIn(to.height); ++y)
        for (int x = 0; x < to.width; ++x)
            kernels::storeDeep(to.row(y) + x * kernels::kDeepPixelBytes, nothing);
}

bool isOpaque(const imagelib::DeepView& picture, const LineBand& band) {
    for (int y = band.first; y < band.endIn(picture.height); ++y)
        for (int x = 0; x < picture.width; ++x)
            if (kernels::loadDeep(picture.row(y) + x * kernels::kDeepPixelBytes).alpha != 65535) return false;
    return true;
}

void checkShape(const char* what, const imagelib::DeepView& picture, int width, int height) {
    const bool fits = picture.data != nullptr && picture.width == width && picture.height == height &&
                      picture.stride >= width * kernels::kDeepPixelBytes &&
                      picture.stride % kernels::kDeepPixelBytes == 0;
    if (!fits)
        throw std::invalid_argument(std::string("the ") + what + " picture is not one of " +
                                    std::to_string(width) + " x " + std::to_string(height) +
                                    " deep pixels with rows of whole pixels");
}

}  // namespace

struct DeepEffect::Impl {
    const plugin::EffectRecord& effect;
    int width;
    int height;
    EffectKnobs knobs;
    kernels::DeepRange range;
    std::unique_ptr<DisplacementField> field;
    RowThreads threads;

    void eachBand(const std::function<void(const LineBand&)>& work) const {
        threads.eachBand(width, height, work);
    }

    bool joins() const { return effect.type == kPluginTransitionBetweenType; }
    bool arrives() const { return effect.type == kPluginTransitionBeforeType; }

    void check(const DeepPictures& pictures) const {
        checkShape("first", pictures.first, width, height);
        if (joins()) checkShape("second", pictures.last, width, height);
    }

    /// What a moment at an end shows.
    void renderEnd(bool last, const DeepPictures& pictures, const imagelib::DeepTarget& out) const {
        const imagelib::DeepView& shown = joins() && last ? pictures.last : pictures.first;
        const bool nothing = !joins() && last != arrives();
        eachBand([&](const LineBand& band) {
            if (nothing)
                clearLines(out, range.nothing(), band);
            else
                copyLines(shown, out, band);
        });
    }

    bool opaqueEverywhere(const imagelib::DeepView& picture) const {
        std::atomic<bool> opaque = true;
        eachBand([&](const LineBand& band) {
            if (opaque && !isOpaque(picture, band)) opaque = false;
        });
        return opaque;
    }

    /// What lies outside of the pictures.
    kernels::DeepPixel outside(const DeepPictures& pictures) const {
        kernels::DeepPixel nothing = range.nothing();
        const bool opaque =
            joins() &&
            (pictures.opaque || (opaqueEverywhere(pictures.first) && opaqueEverywhere(pictures.last)));
        if (opaque) nothing.alpha = 65535;
        return nothing;
    }

    const imagelib::DeepView* below(const DeepPictures& pictures) const {
        const bool moves =
            effect.driver == plugin::EffectDriver::distort || effect.driver == plugin::EffectDriver::tumble;
        if (!moves || !effect.overnext) return nullptr;
        return effect.reveal ? &pictures.first : &pictures.last;
    }

    void draw(double position, const DeepPictures& pictures, const imagelib::DeepTarget& out) const {
        const kernels::DeepPixel nothing = outside(pictures);
        const imagelib::DeepView& moving = effect.overnext && effect.reveal ? pictures.last : pictures.first;
        const imagelib::DeepView* lying = below(pictures);
        const auto factor = static_cast<float>(plugin::effectFractionAt(effect.fraction, position));
        eachBand([&](const LineBand& band) {
            if (lying == nullptr)
                clearLines(out, nothing, band);
            else if (lying->data != out.data)
                copyLines(*lying, out, band);
            if (effect.driver == plugin::EffectDriver::distort)
                imagelib::warpDeep(moving, out, *field, factor, nothing, band);
            else
                plugin::tumbleDeep(moving, out, factor, knobs.preview, range, nothing, band);
        });
    }

    void morph(double position, const DeepPictures& pictures, const imagelib::DeepTarget& out,
               const plugin::DeepMotion& motion, const kernels::DeepPixel& nothing) const {
        const imagelib::DeepMorph both = {pictures.first, pictures.last, motion.forward.get(),
                                          motion.backward.get()};
        eachBand([&](const LineBand& band) {
            imagelib::morphDeep(both, out, static_cast<float>(position), static_cast<float>(1 - position),
                                static_cast<int>(position * 255), nothing, band);
        });
    }
};

DeepEffect::DeepEffect(const plugin::EffectRecord& effect, int width, int height, const EffectKnobs& knobs,
                       const kernels::DeepRange& range, const Threads& threads) {
    const bool countable =
        width > 0 && height > 0 &&
        static_cast<std::int64_t>(width) * height <= std::numeric_limits<std::int32_t>::max();
    if (!countable)
        throw std::invalid_argument("no picture has " + std::to_string(width) + " x " +
                                    std::to_string(height) + " pixels");
    if (range.white <= range.black) throw std::invalid_argument("white is not above black");
    impl_.reset(
        new Impl{effect, width, height, knobs, range, displacementOf(effect, knobs), RowThreads(threads)});
}

DeepEffect::~DeepEffect() = default;
DeepEffect::DeepEffect(DeepEffect&&) noexcept = default;
DeepEffect& DeepEffect::operator=(DeepEffect&&) noexcept = default;

const plugin::EffectRecord& DeepEffect::record() const noexcept {
    return impl_->effect;
}

const imagelib::DeepView* DeepEffect::lyingBelow(const DeepPictures& pictures) const noexcept {
    return impl_->below(pictures);
}

const kernels::DeepRange& DeepEffect::range() const noexcept {
    return impl_->range;
}

std::shared_ptr<const MorphMotion> DeepEffect::motionBetween(const DeepPictures& pictures) const {
    impl_->check(pictures);
    return std::make_shared<const MorphMotion>(
        plugin::estimateDeepMotion(pictures.first, pictures.last, impl_->range));
}

void DeepEffect::render(double position, const DeepPictures& pictures, const imagelib::DeepTarget& out,
                        const MorphMotion* motion) const {
    if (position > 0 && position < 1) return renderFrame(position, pictures, out, motion);
    impl_->check(pictures);
    checkShape("resulting", out, impl_->width, impl_->height);
    impl_->renderEnd(position >= 1, pictures, out);
}

void DeepEffect::renderFrame(double position, const DeepPictures& pictures, const imagelib::DeepTarget& out,
                             const MorphMotion* motion) const {
    impl_->check(pictures);
    checkShape("resulting", out, impl_->width, impl_->height);
    switch (impl_->effect.driver) {
        case plugin::EffectDriver::distort:
        case plugin::EffectDriver::tumble:
            return impl_->draw(position, pictures, out);
        case plugin::EffectDriver::morph: {
            const auto own = motion != nullptr ? nullptr : motionBetween(pictures);
            const MorphMotion& used = motion != nullptr ? *motion : *own;
            return impl_->morph(position, pictures, out, used.fields, impl_->outside(pictures));
        }
        case plugin::EffectDriver::none:
            return impl_->renderEnd(!(position < 0.5), pictures, out);
    }
}

}  // namespace tumblewash::effects
