// The sound across a transition: levels of single frames become ramps without a step.
// Levels belong to a frame's first moment; inside the frame they run on to those of the next. The first one starts
// from what was before and the last ends at what follows, so nothing jumps at either seam. What is louder than full scale passes: that is for
// the whole result to decide. Samples come from the caller; nothing is decoded or written here.
#pragma once

#include <vector>

#include "host/AudioMix.h"

namespace tumblewash::edit {

/// The samples of one frame from each clip, interleaved; an empty one is silence.
struct FrameSound {
    std::vector<float> outgoing;
    std::vector<float> incoming;
};

/// How a gain runs from the first moment of a frame to that of the next.
enum class RampShape {
    straight,    ///< in a straight line
    quarterSine  ///< sin(pi/2 x), x running in a straight line: the squares for x and 1 - x add up to one
};

/// Where both clips stand at one moment: gains of 0 to 1 for a straight ramp, x for a quarter sine.
struct MixMoment {
    double outgoing = 0;  ///< of the outgoing (or only) clip
    double incoming = 0;  ///< of the incoming clip
    bool operator==(const MixMoment&) const = default;
};

/// The shape that a policy gives its ramps: a quarter sine for equal power, else straight.
RampShape rampShape(host::AudioPolicy policy) noexcept;

/// The first moment of a frame: the levels that the policy gives it as gains, for equal power the place on the
/// quarter sine, unrounded. Clips have their full volume.
MixMoment mixMoment(host::AudioPolicy policy, const host::AudioCircumstances& now);

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
    SoundRamp(MixMoment before, RampShape shape, int channels)
        : moment_(before), shape_(shape), channels_(channels) {}
    /// Takes a frame and gives back the one before it, mixed; empty for the first.
    std::vector<float> push(MixMoment moment, FrameSound sound);
    /// Gives back the last frame, mixed toward what follows the transition.
    std::vector<float> finish(MixMoment after);

  private:
    std::vector<float> mix(MixMoment next);

    bool holding_ = false;
    bool started_ = false;
    MixMoment moment_;
    RampShape shape_;
    int channels_;
    FrameSound sound_;
};

}  // namespace tumblewash::edit
