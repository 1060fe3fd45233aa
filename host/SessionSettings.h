// What one transition is to be, what the plug-in says about it, and which of the user's wishes are refused.
// Plain data and pure checks; running a transition is Session.h.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

#include "host/AudioMix.h"
#include "host/HostError.h"  // IWYU pragma: export
#include "host/PluginModule.h"
#include "hostapi/HYPlugin.h"

namespace tumblewash::host {

/// How the clips of a transition lie to each other.
enum class ClipLayout {
    leaving,   ///< One clip, the effect at its end.
    arriving,  ///< One clip, the effect at its start.
    overlap,   ///< Two clips, each shown over the whole length.
    split      ///< Two clips, the first half from one and the second half from the other (morph, plain cut).
};

/// A variant as the plug-in reports it at a given speed.
struct TransitionInfo {
    HYPluginType type = kPluginUnknownType;  ///< what kind of effect it is
    std::int32_t frames = 0;      ///< Frames the plug-in renders; 0 when it renders none (effect 0).
    std::int32_t takeBefore = 0;  ///< Frames taken from the end of the clip before it.
    std::int32_t takeAfter = 0;   ///< Frames taken from the start of the clip after it.
    std::int32_t minFrames = 0;   ///< Ends of the speed mapping.
    std::int32_t maxFrames = 0;   ///< the other end
    std::uint32_t flags = 0;      ///< 7: the user may choose a direction.
    bool singleClips = false;     ///< frames may only come from single clips
    HYPluginDirection direction = kPluginDirectionNone;  ///< Default direction.
    ClipLayout layout = ClipLayout::split;               ///< how the frames of the two clips are taken
    /// Clips that lend frames: 2 for overlap and split, else 1.
    [[nodiscard]] int clips() const noexcept {
        return layout == ClipLayout::overlap || layout == ClipLayout::split ? 2 : 1;
    }
};

/// Asks the plug-in about one variant. speed 0 to 1 gives 10 to 120 frames. Throws HostError on an index
/// outside 0..13, a speed that is no number or outside 0..1, or a result other than kPluginOK.
[[nodiscard]] TransitionInfo describe(const PluginModule& module, int effect, float speed = 0.5F);

/// The sound of a session. `rate` 0 means no sound at all.
struct AudioSettings {
    int rate = 0;               ///< samples per second and channel; 0 for none
    int channels = 2;           ///< 1 or more, interleaved
    int fpsNumerator = 30000;   ///< frame rate, upper part
    int fpsDenominator = 1001;  ///< frame rate, lower part
    /// Number, in the whole output, of the transition's first frame: sample counts follow the output's clock.
    std::int32_t firstOutputFrame = 0;
    AudioPolicy policy = AudioPolicy::natural;  ///< how levels become sound
    /// Levels in force before the first frame; without them the first frame starts at its own level.
    std::optional<AudioLevels> before{};
};

/// For a clip that never runs out of frames.
inline constexpr std::int32_t kFramesUnlimited = std::numeric_limits<std::int32_t>::max();
inline constexpr int kMinPictureSide = 16;       ///< Below it a picture has no field worth moving.
inline constexpr int kMaxPictureWidth = 4095;    ///< Row bytes keep two flag bits.
inline constexpr int kMaxPictureHeight = 32767;  ///< Rectangles are 16 bits wide.

/// What one transition is to be.
struct SessionSettings {
    int effect = 3;  ///< index of the catalogue
    int width = 0;   ///< pixels
    int height = 0;  ///< rows
    /// First frame's number, equal to its index in the outgoing (or only) clip.
    std::int32_t startFrame = 0;
    std::int32_t frameCount = 0;  ///< frames of the transition
    bool proxy = false;           ///< Preview: cheaper pictures, no sound asked for by the plug-in.
    HYPluginDirection direction = kPluginDirectionRight;  ///< of the effects that have one
    float speed = 0.5F;  ///< Passed to the plug-in; frameCount alone decides the length.
    unsigned seed = 1;   ///< Of the random field: equal seeds give equal pictures, everywhere.
    /// Frames that the outgoing (or only) and the incoming clip can lend.
    std::array<std::int32_t, 2> sourceFrames{kFramesUnlimited, kFramesUnlimited};
    AudioSettings audio;                        ///< the sound to mix
    HYPluginClipInfo clip = defaultClipInfo();  ///< The clip record that the plug-in reads and writes back.

    /// Full volume, forwards, no fades, no name.
    [[nodiscard]] static HYPluginClipInfo defaultClipInfo() noexcept;
};

/// Where a frame number lies, see locateFrame.
struct FramePlace {
    int clip;            ///< 0 outgoing, 1 incoming
    std::int32_t index;  ///< frame within what the transition takes from the clip
};

/// Maps a number that the plug-in asks for to a clip and an index in it; nothing when it lies outside.
/// Numbers startFrame + k are the outgoing (or only) clip's frame startFrame + k; startFrame + frameCount + k
/// are frame k of the incoming clip. In a split the numbers startFrame + k run on: below half they are the
/// outgoing clip's startFrame + k, from half = frameCount / 2 on the incoming clip's k - half.
[[nodiscard]] std::optional<FramePlace> locateFrame(const SessionSettings& settings, ClipLayout layout,
                                                    std::int32_t number) noexcept;

/// Refuses in words (HostError) a side below 16 pixels, a width above 4095 and a height above 32767.
void checkPictureSize(int width, int height);

/// Refuses in words (HostError) what cannot be rendered: effect outside 0..13, width below 16 or above 4095,
/// height below 16 or above 32767, frame counts not positive, negative starts, a speed that is no number or
/// outside 0..1, more frames than a clip has, numbers past 32 bits, sound without channels or frame rate.
void checkSettings(const SessionSettings& settings, ClipLayout layout);

}  // namespace tumblewash::host
