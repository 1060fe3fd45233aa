#include "adapters/common/TransitionRenderer.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "memory/FrameMemory.h"

namespace tumblewash::adapters {

using effects::Effect;
using effects::Outcome;
using memory::dropKeptFrames;
using plugin::EffectDriver;
using plugin::EffectRecord;

namespace {

constexpr int kLeastSide = 16;

}  // namespace

Phase phaseOf(double position) noexcept {
    if (position >= 1) return Phase::last;
    return position > 0 ? Phase::between : Phase::first;
}

TransitionRenderer::TransitionRenderer(const EffectRecord& effect, int width, int height,
                                       const effects::Threads& threads)
    : effect_(effect), width_(width), height_(height), threads_(threads) {
    if (width < kLeastSide || height < kLeastSide)
        note_ = "tumblewash: " + std::to_string(width) + " x " + std::to_string(height) +
                " is smaller than 16 x 16, so a plain cross-dissolve is shown; use another size";
}

// A host that is done with one may not come back: its frames need not wait in memory.
TransitionRenderer::~TransitionRenderer() {
    dropKeptFrames();
}

std::shared_ptr<const Effect> TransitionRenderer::prepared(const Knobs& knobs) {
    {
        const std::lock_guard lock(mutex_);
        if (lastUsed_ != nullptr && lastUsed_->knobs() == knobs) return lastUsed_;
    }
    auto made = std::make_shared<const Effect>(effect_, knobs, threads_);
    const std::lock_guard lock(mutex_);
    lastUsed_ = made;
    return made;
}

void TransitionRenderer::dissolve(double position, const Canvas& from, const Canvas* to, Canvas& out) const {
    const bool arrives = pictureArrives(effect_);
    const auto level = static_cast<unsigned>(std::lround(std::clamp(position, 0.0, 1.0) * 255));
    const unsigned fromWeight = arrives ? level : 255 - level;
    for (int y = 0; y < height_; ++y) {
        const std::uint8_t* a = from.row(y);
        const std::uint8_t* b = to != nullptr ? to->row(y) : nullptr;
        std::uint8_t* o = out.row(y);
        for (int i = 0; i < 4 * width_; ++i)
            o[i] = static_cast<std::uint8_t>((a[i] * fromWeight + (b != nullptr ? b[i] * level : 0) + 127) /
                                             255);
    }
}

void TransitionRenderer::render(double position, const Knobs& knobs, const Canvas& from, const Canvas* to,
                                Canvas& out) {
    out.resize(width_, height_);
    out.setOpaque(false);
    if (!note_.empty() && effect_.driver != EffectDriver::none) return dissolve(position, from, to, out);
    bool opaque = false;
    const effects::Pictures pictures{from.picture(), to != nullptr ? to->picture() : effects::Picture{}};
    const Outcome outcome = prepared(knobs)->render(position, pictures, out.target(), nullptr, &opaque);
    if (outcome != Outcome::ok) throw std::bad_alloc();
    out.setOpaque(opaque);
}

}  // namespace tumblewash::adapters
