// A two-clip effect for live use: the host hands over the pictures of one moment whenever its frame comes, a
// thread of this object's own renders, and the newest finished picture is there for the taking. Nobody ever
// waits. It knows no host interface, no textures and no clock: Plugin.cpp has those.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

#include "adapters/common/Canvas.h"
#include "adapters/common/TransitionRenderer.h"

namespace tumblewash::adapters {

/// A scene as a host shows it: bytes red, green, blue, alpha, colours premultiplied, rows `stride` bytes
/// apart.
struct LivePicture {
    const std::uint8_t* pixels = nullptr;  ///< the top row; null is a scene with nothing in it
    std::size_t stride = 0;                ///< bytes from one row to the next
};

/// What a frame of the host asks for, see `LiveTransition::frame`.
struct LiveMoment {
    double position = 0;     ///< what to render, 0 to 1
    std::int64_t frame = 0;  ///< counted by the host's frames
    std::uint64_t run = 0;   ///< which transition it belongs to
};

/// How a transition went.
struct LiveCounts {
    int frames = 0;  ///< frames of the host
    int late = 0;  ///< of these, frames whose pictures were left out because an earlier one was not finished
    int failed = 0;  ///< pictures for which memory ran out: the nearer scene stood in
};

/// One transition between scenes, run after run. Every function may be called from any thread; those of a
/// frame
/// (`frame`, `take`, `submit`) from one at a time, in this order.
class LiveTransition {
  public:
    /// What renders: as `TransitionRenderer::render`, ends included; the canvases have one size.
    using Render = std::function<void(double position, const Knobs& knobs, const Canvas& from,
                                      const Canvas& to, Canvas& out)>;

    /// Renders the effect of `record`, which joins two clips.
    explicit LiveTransition(const plugin::EffectRecord& record);
    /// Renders with `render`, on the object's own thread.
    explicit LiveTransition(Render render);
    /// Waits for the picture under way.
    ~LiveTransition();
    LiveTransition(const LiveTransition&) = delete;
    LiveTransition& operator=(const LiveTransition&) = delete;

    /// A new run begins: counts are zero, and pictures of the run before are not handed out any more.
    void restart();

    /// Counts a frame of the host at `position`. A picture that is asked for now is shown some frames later,
    /// as many as the last one took; so the answer's position lies ahead by that much when the position moves
    /// evenly, and is `position` when it stands or jumps.
    [[nodiscard]] LiveMoment frame(double position);

    /// The newest finished picture of this run that was not taken yet, or null: rows of red, green, blue,
    /// alpha without gaps, premultiplied. Valid until the next call of `submit`.
    [[nodiscard]] const Canvas* take();

    /// Takes copies of both pictures, `width` x `height` (1 and up), and renders them at the moment's
    /// position; or counts the frame as late and leaves it out while the thread is busy. False then. Throws
    /// std::bad_alloc.
    bool submit(const LiveMoment& moment, const Knobs& knobs, int width, int height, const LivePicture& from,
                const LivePicture& to);

    /// How this run goes.
    [[nodiscard]] LiveCounts counts() const;

  private:
    enum class State : std::uint8_t { idle, given, finished };
    void work();
    void collect();

    Render render_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    // The thread owns the three canvases of the job while its state is `given`, and nobody else looks at
    // them.
    State state_ = State::idle;
    bool ended_ = false;
    LiveMoment job_;
    Knobs knobs_;
    Canvas from_, to_, result_;
    // The host's side.
    Canvas shown_;
    LiveMoment shownMoment_;
    bool fresh_ = false;
    std::uint64_t run_ = 0;
    std::int64_t frame_ = 0;
    std::int64_t lag_ = 2;  // a frame to come from the graphics card, a frame to render
    double last_;
    LiveCounts counts_;
    std::thread thread_;  // last: it uses all of the above
};

/// How loud the two scenes are at `position`, 0 to 1 each: in step with the picture.
struct LiveLevels {
    float from = 1;  ///< the leaving scene
    float to = 0;    ///< the arriving scene
};
/// See above.
[[nodiscard]] LiveLevels liveLevels(const plugin::EffectRecord& record, double position) noexcept;

}  // namespace tumblewash::adapters
