// A host whose every frame and state block lies between forbidden pages, whose callbacks answer as they are
// told, and that takes no memory of its own while a request runs. It paints, counts and lends; it judges
// nothing.
#pragma once

#include <array>
#include <memory>

#include "hostapi/HYPlugin.h"
#include "tests/faults/GuardedMemory.h"

namespace tumblewash::faults {

/// What a lent frame looks like.
struct FrameShape {
    int width = 0;
    int height = 0;
    int stride = 0;  ///< in pixels
    int left = 0;
    int top = 0;
};

/// What the callbacks answer.
struct Script {
    HYPluginResult getFrame = kPluginOK;
    HYPluginResult releaseFrame = kPluginOK;
    HYPluginResult mixAudio = kPluginOK;
    HYPluginResult getTransition = kPluginOK;
    HYPluginResult releaseTransition = kPluginOK;
    HYPluginResult getClip = kPluginOK;
    HYPluginResult setClip = kPluginOK;
    HYPluginResult blit = kPluginOK;
    HYPluginResult getString = kPluginOK;
    HYPluginResult disposePtr = kPluginOK;
    bool nullTransition = false;
    bool nullWorld = false;
    bool nullBlock = false;
    bool ownShapes = false;  ///< frames have `shapes` in turn, not the size asked for
    std::array<FrameShape, 2> shapes{};
    std::int16_t volume = 255;
    std::uint8_t captionLength = 9;
    GuardedMemory::Against side = GuardedMemory::Against::behind;
};

class GuardedHost {
  public:
    static constexpr int kMostSide = 96;  ///< of frames and destination
    static constexpr int kFrames = 4;     ///< lent at once at most

    GuardedHost();
    ~GuardedHost();
    GuardedHost(const GuardedHost&) = delete;
    GuardedHost& operator=(const GuardedHost&) = delete;

    HYPluginParams params{};
    HYPluginTransitionInfo transition{};
    HYPluginClipInfo clip{};
    Script script;
    /// Called around every callback where not null, so that a test can tell the plug-in's doings from the
    /// host's.
    void (*entering)() = nullptr;
    void (*leaving)() = nullptr;

    /// Makes the destination anew; bounds begin at (left, top).
    void makeDestination(const FrameShape& shape);
    /// The destination's bytes, padding included.
    const std::uint8_t* pixels() const { return destination_.pixels; }
    std::size_t pixelBytes() const { return destination_.bytes; }

    /// One request through `entry`.
    int call(int which, int selector);
    int render(int which, std::int32_t frame) {
        params.renderFrame = frame;
        return call(which, kPlugDoFrame);
    }
    /// Ends every loan, lets go of a kept effect world and unlocks the destination.
    void takeBack();

    int framesLent() const;
    bool destinationLocked() const;
    bool blockOut() const { return blockOut_; }
    bool recordLent() const { return recordsLent_ != 0; }
    _EffectData* state() const { return static_cast<_EffectData*>(params.clientData); }
    /// False when something wrote beside a frame or the block.
    bool gapsUntouched() const;

    int (*entry)(short, HYPluginParams*);

  private:
    struct Frame {
        Frame() : memory(static_cast<std::size_t>(kMostSide) * kMostSide * 4 + 64) {}
        GuardedMemory memory;
        std::uint8_t* pixels = nullptr;
        std::size_t bytes = 0;
        GWorldPtr world = nullptr;
    };
    struct Callbacks;

    bool make(Frame& frame, const FrameShape& shape);
    static void drop(Frame& frame);
    HYPluginResult lend(std::int32_t number, GWorldPtr* world, int width, int height, std::int16_t* volume,
                        HYFrameCookie* cookie);

    std::array<Frame, kFrames> frames_;
    Frame destination_;
    GuardedMemory blockMemory_;
    _HYProcs procs_{};
    bool blockOut_ = false;
    int recordsLent_ = 0;
    int lentSoFar_ = 0;
};

}  // namespace tumblewash::faults
