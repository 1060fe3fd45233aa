#include "edit/sound.h"

#include <algorithm>
#include <utility>

#include "media/Reader.h"

namespace tumblewash::edit {

using host::addRamped;
using host::AudioLevels;
using host::saturate;
using media::kChannels;

void fadeEnd(std::vector<float>& sound, int sampleRate, SoundEnd end) {
    const std::size_t pairs = sound.size() / kChannels;
    const std::size_t fade = std::min(pairs, static_cast<std::size_t>(sampleRate) / 200);
    for (std::size_t i = 0; i < fade; ++i) {
        const float gain = static_cast<float>(i) / static_cast<float>(fade);
        const std::size_t pair = end == SoundEnd::Head ? i : pairs - 1 - i;
        for (std::size_t c = 0; c < kChannels; ++c) sound[pair * kChannels + c] *= gain;
    }
}

std::vector<float> SoundRamp::push(AudioLevels levels, FrameSound sound) {
    std::vector<float> before = holding_ ? mix(levels) : std::vector<float>{};
    if (started_) levels_ = levels;
    started_ = true;
    sound_ = std::move(sound);
    holding_ = true;
    return before;
}

std::vector<float> SoundRamp::finish(AudioLevels after) {
    std::vector<float> last = holding_ ? mix(after) : std::vector<float>{};
    holding_ = false;
    return last;
}

std::vector<float> SoundRamp::mix(AudioLevels next) {
    std::vector<float> out(std::max(sound_.outgoing.size(), sound_.incoming.size()), 0.0F);
    addRamped(out, sound_.outgoing, kChannels, levels_.outgoing, next.outgoing);
    addRamped(out, sound_.incoming, kChannels, levels_.incoming, next.incoming);
    saturate(out);
    return out;
}

}  // namespace tumblewash::edit
