#include "edit/sound.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace tumblewash::edit {

using host::AudioCircumstances;
using host::AudioPolicy;

namespace {

constexpr double kQuarter = std::numbers::pi / 2;

/// Adds `in` at a gain that runs over out's n sample frames: sample frame i stands at from + (to - from) * (i + 1)
/// / n, so that the next block goes on without a step. What `in` is short of `out` is silence.
void addRamp(std::vector<float>& out, const std::vector<float>& in, int channels, double from, double to,
             RampShape shape) {
    const auto width = static_cast<std::size_t>(channels);
    const std::size_t length = out.size() / width;
    const double slope = (to - from) / static_cast<double>(std::max<std::size_t>(length, 1));
    for (std::size_t i = 0; i < std::min(length, in.size() / width); ++i) {
        const double along = from + slope * static_cast<double>(i + 1);
        const auto gain = static_cast<float>(shape == RampShape::straight ? along : std::sin(kQuarter * along));
        for (std::size_t c = 0; c < width; ++c) out[i * width + c] += in[i * width + c] * gain;
    }
}

}  // namespace

RampShape rampShape(AudioPolicy policy) noexcept {
    return policy == AudioPolicy::equalPower ? RampShape::quarterSine : RampShape::straight;
}

MixMoment mixMoment(AudioPolicy policy, const AudioCircumstances& now) {
    constexpr double kUnity = 256;
    if (policy != AudioPolicy::equalPower) {
        const host::AudioLevels levels = host::decideLevels(policy, now);
        return {levels.outgoing / kUnity, levels.incoming / kUnity};
    }
    const double outgoing = now.steady ? 1 : now.arriving ? now.fraction : 1 - now.fraction;
    const double incoming = now.steady ? 1 : now.arriving ? 0 : now.fraction;
    return {now.hasOutgoing ? outgoing : 0, now.hasIncoming ? incoming : 0};
}

void fadeEnd(std::vector<float>& sound, int channels, int sampleRate, SoundEnd end, double seconds) {
    const auto width = static_cast<std::size_t>(channels);
    const std::size_t frames = sound.size() / width;
    const std::size_t fade = std::min(frames, static_cast<std::size_t>(sampleRate * seconds + 0.5));
    for (std::size_t i = 0; i < fade; ++i) {
        const float gain = static_cast<float>(i) / static_cast<float>(fade);
        const std::size_t frame = end == SoundEnd::Head ? i : frames - 1 - i;
        for (std::size_t c = 0; c < width; ++c) sound[frame * width + c] *= gain;
    }
}

std::vector<float> SoundRamp::push(MixMoment moment, FrameSound sound) {
    std::vector<float> before = holding_ ? mix(moment) : std::vector<float>{};
    if (started_) moment_ = moment;
    started_ = true;
    sound_ = std::move(sound);
    holding_ = true;
    return before;
}

std::vector<float> SoundRamp::finish(MixMoment after) {
    std::vector<float> last = holding_ ? mix(after) : std::vector<float>{};
    holding_ = false;
    return last;
}

std::vector<float> SoundRamp::mix(MixMoment next) {
    std::vector<float> out(std::max(sound_.outgoing.size(), sound_.incoming.size()), 0.0F);
    addRamp(out, sound_.outgoing, channels_, moment_.outgoing, next.outgoing, shape_);
    addRamp(out, sound_.incoming, channels_, moment_.incoming, next.incoming, shape_);
    for (float& sample : out)
        if (!std::isfinite(sample)) sample = 0;
    return out;
}

}  // namespace tumblewash::edit
