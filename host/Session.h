// One transition from beginning to end: the parameter block, the callbacks, the loans, the sound, the clip
// record. A session is used by one thread at a time; any number of sessions run side by side and none knows
// of another. It knows no files and no codecs: pictures come from a FrameSource and go to memory of the
// caller's.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/AudioMix.h"
#include "host/FrameSource.h"
#include "host/HostError.h"  // IWYU pragma: export
#include "host/PluginModule.h"
#include "host/SessionSettings.h"
#include "hostapi/HYPlugin.h"

namespace tumblewash::host {

/// The outcome of one frame.
struct FrameResult {
    HYPluginResult code = kPluginOK;  ///< The plug-in's answer.
    /// Empty when all is well, else one line for people. A frame that the plug-in kept borrowed although it
    /// reported success is not well.
    std::string problem;
    /// Something the plug-in got over by itself, such as a key frame that could not be had; may be empty.
    std::string warning;
    int framesLent = 0;      ///< loans of this request
    int framesCopied = 0;    ///< Of those, how many had to be copied (foreign stride, or not writable).
    int loansTakenBack = 0;  ///< Frames that the plug-in left borrowed and the session returned itself.
    std::optional<AudioLevels> asked;  ///< What the plug-in asked; nothing when it asked for no sound.
    AudioLevels levels;                ///< What the policy made of it and the samples carry.
    /// The mixed sound: exactly the sample frames of this output frame, interleaved; silence after a failure.
    std::vector<float> samples;

    /// True when nothing went wrong.
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
    /// bytes are whatever the plug-in left, and the sound is silence.
    FrameResult renderFrame(std::int32_t k, const Picture& destination);

    /// Draws the caption that stands in for frames not ready yet. Needs no open session. Throws HostError.
    void drawPlaceholder(const Picture& destination);

    /// Terminates: the plug-in frees its state and writes its fades into the clip record. Throws HostError
    /// when it reports a failure or keeps its state. Closing a closed session does nothing.
    void close();

    /// True between a successful initialise and the end.
    [[nodiscard]] bool isOpen() const noexcept;
    /// What the session was made with.
    [[nodiscard]] const SessionSettings& settings() const noexcept;
    /// The clip record as it stands: the settings' one until the plug-in writes it.
    [[nodiscard]] const HYPluginClipInfo& clipInfo() const noexcept;
    /// The levels at the end of the frame rendered last: sound that follows ramps on from here (addRamped).
    [[nodiscard]] AudioLevels levels() const noexcept;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::host
