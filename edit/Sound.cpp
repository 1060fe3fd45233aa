#include "edit/Sound.h"

#include <algorithm>
#include <utility>

namespace tumblewash::edit {

using host::addRamped;
using host::heal;
using host::MixMoment;

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
    addRamped(out, sound_.outgoing, channels_, moment_.outgoing, next.outgoing, shape_);
    addRamped(out, sound_.incoming, channels_, moment_.incoming, next.incoming, shape_);
    heal(out);
    return out;
}

}  // namespace tumblewash::edit
