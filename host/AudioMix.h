// Levels and mixing: pure functions from the levels that a plug-in asked for to the samples of one output
// frame. Levels are 0 to 256, 256 being unity gain; samples are interleaved float, nominally -1 to 1, and
// pass beyond that unchanged: what becomes of a whole result that is too loud is no single frame's business.
// The one law of time: inside a stretch of samples the gains run from those at its beginning to those at its
// end, in the policy's shape, and the next stretch begins where this one ended. Who mixes says what the two
// ends are, out of what is known then. Nothing here keeps a state or knows clips.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tumblewash::host {

/// Who decides the two clips' levels.
enum class AudioPolicy {
    natural,     ///< The plug-in's, exchanged for 5, 9 and 13 so that the outgoing sound always leaves.
    plugin,      ///< Exactly what the plug-in asks.
    equalPower,  ///< cos and sin of the fraction: the same loudness all the way through.
    none         ///< Silence.
};

/// "natural", "plugin", "equal-power" or "none"; nothing for other words.
[[nodiscard]] std::optional<AudioPolicy> audioPolicyFromName(std::string_view name) noexcept;
/// The word of a policy.
[[nodiscard]] std::string_view audioPolicyName(AudioPolicy policy) noexcept;

/// The levels of the outgoing (or only) clip and of the incoming one, 0 to 256 each.
struct AudioLevels {
    int outgoing = 0;  ///< of the outgoing (or only) clip, 256 is full
    int incoming = 0;  ///< of the incoming clip, 256 is full
    /// Equal in both levels.
    friend bool operator==(const AudioLevels&, const AudioLevels&) = default;
};

/// What a policy decides from, for one output frame.
struct AudioCircumstances {
    int effect = 0;                      ///< Catalogue index.
    double fraction = 0;                 ///< renderFrame / frameCount, 0 up to but not including 1.
    bool hasOutgoing = true;             ///< A sound of that clip is at hand in this frame.
    bool hasIncoming = false;            ///< the request had a second frame
    bool arriving = false;               ///< One clip whose picture arrives (wash-in, tilt-in, tumble-in).
    bool steady = false;                 ///< One running sound, no cross-fade (the morph, a plain cut).
    int outgoingVolume = 255;            ///< The clips' own volumes, 0 to 255.
    int incomingVolume = 255;            ///< the incoming clip's volume, 255 is full
    std::optional<AudioLevels> asked{};  ///< What the plug-in asked; nothing when it made no call (preview).
};

/// The levels that a policy gives a frame. `natural` without anything asked (the plug-in is silent while it
/// previews) is the straight cross-fade (1 - fraction, fraction); `plugin` without anything asked is silence.
/// `natural` for 5, 9, 13 exchanges the two levels when the volumes are equal, else each clip keeps its
/// volume and gets what the plug-in's level leaves of it.
[[nodiscard]] AudioLevels decideLevels(AudioPolicy policy, const AudioCircumstances& now);

/// Sample frames before output frame `frame`: floor(frame * rate * fpsDenominator / fpsNumerator). The length
/// of frame k is samplesBefore(k + 1) - samplesBefore(k), so no rounding piles up over a file. frame >= 0,
/// rate >= 0.
[[nodiscard]] std::int64_t samplesBefore(std::int64_t frame, int rate, int fpsNumerator, int fpsDenominator);

/// How a gain runs from the beginning of a stretch of samples to its end.
enum class RampShape {
    straight,    ///< in a straight line
    quarterSine  ///< sin(pi/2 x), x running in a straight line: the squares of x and 1 - x add up to one
};

/// Where both clips stand at one moment: gains of 0 to 1 for a straight ramp, x for a quarter sine.
struct MixMoment {
    double outgoing = 0;  ///< of the outgoing (or only) clip
    double incoming = 0;  ///< of the incoming clip
    /// Equal in both.
    friend bool operator==(const MixMoment&, const MixMoment&) = default;
};

/// The shape that a policy gives its ramps: a quarter sine for equal power, else straight.
[[nodiscard]] RampShape rampShape(AudioPolicy policy) noexcept;

/// The levels of decideLevels as gains; for equal power the place on the quarter sine that gives them,
/// unrounded.
[[nodiscard]] MixMoment mixMoment(AudioPolicy policy, const AudioCircumstances& now);

/// The moment at which a ramp of this policy has these levels, each limited to 0 to 256.
[[nodiscard]] MixMoment momentOf(AudioPolicy policy, AudioLevels levels);

/// Adds `in` to `out` (both interleaved, `channels` wide) at a gain that runs over out's n sample frames:
/// sample frame i stands at from + (to - from) * (i + 1) / n, so the last one has reached `to` and the next
/// block goes on from there without a step. Samples missing from `in` are silence.
void addRamped(std::span<float> out, std::span<const float> in, int channels, double from, double to,
               RampShape shape = RampShape::straight);

/// Replaces samples that are no number, or infinite, by silence.
void heal(std::span<float> samples) noexcept;

}  // namespace tumblewash::host
