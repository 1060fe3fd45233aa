// One transition from beginning to end: the parameter block, the callbacks, the loans, the sound, the clip
// record. A session is used by one thread at a time; any number of sessions run side by side and none knows
// of another. It knows no files and no codecs: pictures come from a FrameSource and go to memory of the
// caller's.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/AudioMix.h"
#include "host/FrameSource.h"
#include "host/HostError.h"
#include "host/PluginModule.h"
#include "hostapi/HYPlugin.h"

namespace tumblewash {

/// How the clips of a transition lie to each other.
enum class ClipLayout {
    leaving,   ///< One clip, the effect at its end.
    arriving,  ///< One clip, the effect at its start.
    overlap,   ///< Two clips, each shown over the whole length.
    split      ///< Two clips, the first half from one and the second half from the other (morph, plain cut).
};

/// A variant as the plug-in reports it at a given speed.
struct TransitionInfo {
    HYPluginType type = kPluginUnknownType;
    std::int32_t frames = 0;      ///< Frames the plug-in renders; 0 when it renders none (effect 0).
    std::int32_t takeBefore = 0;  ///< Frames taken from the end of the clip before it.
    std::int32_t takeAfter = 0;   ///< Frames taken from the start of the clip after it.
    std::int32_t minFrames = 0;   ///< Ends of the speed mapping.
    std::int32_t maxFrames = 0;
    std::uint32_t flags = 0;  ///< 7: the user may choose a direction.
    bool singleClips = false;
    HYPluginDirection direction = kPluginDirectionNone;  ///< Default direction.
    ClipLayout layout = ClipLayout::split;
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
    int rate = 0;
    int channels = 2;
    int fpsNumerator = 30000;
    int fpsDenominator = 1001;
    /// Number, in the whole output, of the transition's first frame: sample counts follow the output's clock.
    std::int32_t firstOutputFrame = 0;
    AudioPolicy policy = AudioPolicy::natural;
    /// Levels in force before the first frame; without them the first frame starts at its own level.
    std::optional<AudioLevels> before;
};

inline constexpr std::int32_t kFramesUnlimited = std::numeric_limits<std::int32_t>::max();
inline constexpr int kMinPictureSide = 16;
inline constexpr int kMaxPictureWidth = 4095;    ///< Row bytes keep two flag bits.
inline constexpr int kMaxPictureHeight = 32767;  ///< Rectangles are 16 bits wide.

/// What one transition is to be.
struct SessionSettings {
    int effect = 3;
    int width = 0;
    int height = 0;
    /// First frame's number, equal to its index in the outgoing (or only) clip.
    std::int32_t startFrame = 0;
    std::int32_t frameCount = 0;
    bool proxy = false;  ///< Preview: cheaper pictures, no sound asked for by the plug-in.
    HYPluginDirection direction = kPluginDirectionRight;
    float speed = 0.5F;  ///< Passed to the plug-in; frameCount alone decides the length.
    unsigned seed = 1;   ///< Of the random field: equal seeds give equal pictures, everywhere.
    /// Frames that the outgoing (or only) and the incoming clip can lend.
    std::array<std::int32_t, 2> sourceFrames{kFramesUnlimited, kFramesUnlimited};
    AudioSettings audio;
    HYPluginClipInfo clip = defaultClipInfo();  ///< The clip record that the plug-in reads and writes back.

    /// Full volume, forwards, no fades, no name.
    [[nodiscard]] static HYPluginClipInfo defaultClipInfo() noexcept;
};

/// Where a frame number lies, see locateFrame.
struct FramePlace {
    int clip;
    std::int32_t index;
};

/// Maps a number that the plug-in asks for to a clip and an index in it; nothing when it lies outside.
/// Numbers startFrame + k are the outgoing (or only) clip's frame startFrame + k; startFrame + frameCount + k
/// are frame k of the incoming clip. In a split the numbers startFrame + k run on: below half they are the
/// outgoing clip's startFrame + k, from half = frameCount / 2 on the incoming clip's k - half.
[[nodiscard]] std::optional<FramePlace> locateFrame(const SessionSettings& settings, ClipLayout layout,
                                                    std::int32_t number) noexcept;

/// Refuses in words (HostError) what cannot be rendered: effect outside 0..13, width below 16 or above 4095,
/// height below 16 or above 32767, frame counts not positive, negative starts, a speed that is no number or
/// outside 0..1, more frames than a clip has, numbers past 32 bits, sound without channels or frame rate.
void checkSettings(const SessionSettings& settings, ClipLayout layout);

/// The outcome of one frame.
struct FrameResult {
    HYPluginResult code = kPluginOK;  ///< The plug-in's answer.
    /// Empty when all is well, else one line for people. A frame that the plug-in kept borrowed although it
    /// reported success is not well.
    std::string problem;
    /// Something the plug-in got over by itself, such as a key frame that could not be had; may be empty.
    std::string warning;
    int framesLent = 0;
    int framesCopied = 0;    ///< Of those, how many had to be copied (foreign stride, or not writable).
    int loansTakenBack = 0;  ///< Frames that the plug-in left borrowed and the session returned itself.
    std::optional<AudioLevels> asked;  ///< What the plug-in asked; nothing when it asked for no sound.
    AudioLevels levels;                ///< What the policy made of it and the samples carry.
    /// The mixed sound: exactly the sample frames of this output frame, interleaved.
    std::vector<float> samples;

    [[nodiscard]] bool ok() const noexcept { return problem.empty(); }
};

/// One transition instance.
class Session {
  public:
    /// Keeps a reference to `source`, which must outlive the session. Nothing is called yet.
    Session(PluginModule module, const SessionSettings& settings, FrameSource& source);
    /// Closes quietly when close was not called.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Asks the plug-in for the variant's description, checks the settings against it, seeds the random
    /// numbers and initialises. Seeding and initialising hold one lock of the whole process, since the
    /// generator is shared. Throws HostError; the session stays closed then. A second call is an error.
    void open();

    /// What get-info reported at open.
    [[nodiscard]] const TransitionInfo& info() const;

    /// Renders frame k, 0 <= k < frameCount, into `destination`, whose size must be the session's and whose
    /// stride may be any. Frames may come in any order; sound ramps from the previous frame's level only when
    /// k follows the frame rendered last. Throws HostError on misuse (not open, k or size wrong); everything
    /// that goes wrong in the plug-in or the source is in the result. After a failed frame the destination's
    /// bytes are whatever the plug-in left.
    FrameResult renderFrame(std::int32_t k, const Picture& destination);

    /// Draws the caption that stands in for frames not ready yet. Needs no open session. Throws HostError.
    void drawPlaceholder(const Picture& destination);

    /// Terminates: the plug-in frees its state and writes its fades into the clip record. Throws HostError
    /// when it reports a failure or keeps its state. Closing a closed session does nothing.
    void close();

    [[nodiscard]] bool isOpen() const noexcept;
    [[nodiscard]] const SessionSettings& settings() const noexcept;
    /// The clip record as it stands: the settings' one until the plug-in writes it.
    [[nodiscard]] const HYPluginClipInfo& clipInfo() const noexcept;
    /// The levels at the end of the frame rendered last: sound that follows ramps on from here (addRamped).
    [[nodiscard]] AudioLevels levels() const noexcept;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash
