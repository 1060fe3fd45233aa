// The sound across a transition: levels of single frames become ramps without a step.
// The law is that of host/AudioMix.h; here each frame waits for the next one, the first starts from what was
// before and the last ends at what follows, so nothing jumps at either seam. Samples come from the caller;
// nothing is decoded or written here.
#pragma once

#include <vector>

#include "host/AudioMix.h"

namespace tumblewash::edit {

/// The samples of one frame from each clip, interleaved; an empty one is silence.
struct FrameSound {
    std::vector<float> outgoing;
    std::vector<float> incoming;
};

/// Which end of a frame's sound.
enum class SoundEnd { Head, Tail };

/// How long a clip's sound takes to stop or begin where another's begins or stops without an overlap: the
/// step between the two would be heard as a click. In the middle of a morph, and at a plain cut.
inline constexpr double kMorphFadeSeconds = 0.005;
inline constexpr double kCutFadeSeconds = 0.002;

/// Fades the first or last `seconds` (fewer in a shorter frame) from or to silence.
void fadeEnd(std::vector<float>& sound, int channels, int sampleRate, SoundEnd end, double seconds);

/// Holds each frame back until it is known where the next one begins.
class SoundRamp {
  public:
    /// `before` is where the clips stand ahead of the transition: its first frame starts from there, whatever
    /// its own.
    SoundRamp(host::MixMoment before, host::RampShape shape, int channels)
        : moment_(before), shape_(shape), channels_(channels) {}
    /// Takes a frame and gives back the one before it, mixed; empty for the first.
    std::vector<float> push(host::MixMoment moment, FrameSound sound);
    /// Gives back the last frame, mixed toward what follows the transition.
    std::vector<float> finish(host::MixMoment after);

  private:
    std::vector<float> mix(host::MixMoment next);

    bool holding_ = false;
    bool started_ = false;
    host::MixMoment moment_;
    host::RampShape shape_;
    int channels_;
    FrameSound sound_;
};

}  // namespace tumblewash::edit
