// The frames of one transition, rendered by several sessions side by side and handed out in order.
// The result does not depend on the number of sessions. It knows neither files nor sound samples:
// pictures come in, pictures and the levels that the plug-in asked for go out.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "edit/Effects.h"
#include "edit/Times.h"
#include "host/Session.h"
#include "media/Picture.h"

namespace tumblewash::edit {

/// What one transition is to be.
struct TransitionJob {
    Effect effect;
    PixelSize size;
    std::int64_t frames = 0;   ///< n
    std::int64_t firstA = 0;   ///< first frame taken from the outgoing (or only) clip
    std::int64_t framesA = 0;  ///< length of that clip
    std::int64_t framesB = 0;  ///< length of the incoming clip, 0 without one
    HYPluginDirection direction = kPluginDirectionRight;
    float speed = 0.5F;
    std::uint32_t seed = 1;
    bool proxy = false;
    media::PixelLayout layout = media::PixelLayout::argb;       ///< of the pictures handed out
    media::ColourMatrix matrix = media::ColourMatrix::bt601;    ///< of planar pictures handed out
    media::FieldOrder fields = media::FieldOrder::progressive;  ///< of planar pictures handed out
    bool alpha = false;  ///< pictures come and go with straight alpha, which moves with them

    /// Pictures hold codes beyond black or white, which the plug-in's colours have not got. Where such a
    /// picture comes only later, the transition changes to deep pixels there by itself.
    bool beyondWhite = false;
    bool ownEffects = true;  ///< the plug-in is the built-in one, whose effects deep pixels repeat

    /// True when the pictures are rendered over deep pixels (deepframes.h) instead of by the plug-in, which
    /// knows 8 bits and no transparency.
    bool deep() const noexcept {
        return alpha || beyondWhite || layout == media::PixelLayout::deep ||
               layout == media::PixelLayout::yuv420p10;
    }
};

/// One finished frame.
struct TransitionFrame {
    media::PictureRef picture;
    std::optional<host::AudioLevels> asked;  ///< what the plug-in asked; nothing in a preview
    std::string warning;                     ///< something the plug-in got over by itself, or empty
};

/// Session settings of a job, without sound: levels are asked for, samples are mixed by the caller. Where the
/// pictures are rendered over deep pixels, the session has the smallest pictures there are: it is asked for
/// its levels and its clip record only.
host::SessionSettings sessionSettings(const TransitionJob& job);

/// Renders in threads of its own, or in the caller's. One thread submits and takes.
class ParallelRenderer {
  public:
    /// Opens `sessions` sessions with a thread each; 0: one without, which renders within `take`. `key` is
    /// the last frame of a morph, empty for others. Throws HostError or Refusal.
    ParallelRenderer(const host::PluginModule& module, const TransitionJob& job, int sessions,
                     media::PictureRef key = {}, const std::atomic<bool>* cancel = nullptr);
    ~ParallelRenderer();
    ParallelRenderer(const ParallelRenderer&) = delete;
    ParallelRenderer& operator=(const ParallelRenderer&) = delete;

    /// Frames that may be submitted and not yet taken.
    std::size_t window() const noexcept;
    /// Hands over the source pictures of the next frame, in order from 0; `b` is empty without a second clip.
    void submit(media::PictureRef a, media::PictureRef b);
    /// The next finished frame, in order. Waits. Throws Refusal (RenderFailed) when it could not be rendered.
    TransitionFrame take();
    /// Closes all sessions; the clip record as the plug-in left it. Throws HostError.
    HYPluginClipInfo finish();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::edit
