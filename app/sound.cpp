#include "app/sound.h"

#include <algorithm>
#include <utility>

#include "media/Reader.h"

namespace tumblewash {

std::vector<float> SoundRamp::push(AudioLevels levels, FrameSound sound) {
    std::vector<float> before = holding_ ? mix(levels) : std::vector<float>{};
    levels_ = levels;
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

}  // namespace tumblewash
