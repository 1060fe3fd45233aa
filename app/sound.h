// The sound across a transition: levels of single frames become ramps without a step.
// Within a frame the level runs from its own to the next frame's, and in the last one to what follows, so
// nothing jumps at either seam. Samples come from the caller; nothing is decoded or written here.
#pragma once

#include <vector>

#include "host/AudioMix.h"

namespace tumblewash {

/// The samples of one frame from each clip, interleaved left and right; an empty one is silence.
struct FrameSound {
    std::vector<float> outgoing;
    std::vector<float> incoming;
};

/// Holds each frame back until the next one's levels are known.
class SoundRamp {
  public:
    /// Takes a frame and gives back the one before it, mixed; empty for the first.
    std::vector<float> push(AudioLevels levels, FrameSound sound);
    /// Gives back the last frame, mixed toward the levels that follow the transition.
    std::vector<float> finish(AudioLevels after);

  private:
    std::vector<float> mix(AudioLevels next);

    bool holding_ = false;
    AudioLevels levels_;
    FrameSound sound_;
};

}  // namespace tumblewash
