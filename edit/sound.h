// The sound across a transition: levels of single frames become ramps without a step.
// Within a frame the level runs from its own to the next frame's; the first one starts from what was before
// and the last one ends at what follows, so nothing jumps at either seam. Samples come from the caller;
// nothing is decoded or written here.
#pragma once

#include <vector>

#include "host/AudioMix.h"

namespace tumblewash::edit {

/// The samples of one frame from each clip, interleaved left and right; an empty one is silence.
struct FrameSound {
    std::vector<float> outgoing;
    std::vector<float> incoming;
};

/// Which end of a frame's sound.
enum class SoundEnd { Head, Tail };

/// Fades the first or last 5 milliseconds (fewer in a shorter frame) from or to silence: where one clip's
/// sound stops and another's begins without an overlap, the step between the two would be heard as a click.
void fadeEnd(std::vector<float>& sound, int sampleRate, SoundEnd end);

/// Holds each frame back until the next one's levels are known.
class SoundRamp {
  public:
    /// `before` are the levels ahead of the transition: its first frame starts from there, whatever its own.
    explicit SoundRamp(host::AudioLevels before) : levels_(before) {}
    /// Takes a frame and gives back the one before it, mixed; empty for the first.
    std::vector<float> push(host::AudioLevels levels, FrameSound sound);
    /// Gives back the last frame, mixed toward the levels that follow the transition.
    std::vector<float> finish(host::AudioLevels after);

  private:
    std::vector<float> mix(host::AudioLevels next);

    bool holding_ = false;
    bool started_ = false;
    host::AudioLevels levels_;
    FrameSound sound_;
};

}  // namespace tumblewash::edit
