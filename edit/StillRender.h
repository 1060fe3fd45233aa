// Single frames of transitions, in any order, from stills or clips: what frame, sheet and field draw from.
// Pictures are fetched once and kept; movies go through ParallelRenderer instead.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "edit/Clips.h"
#include "edit/PictureSource.h"
#include "edit/Transition.h"
#include "effects/Effect.h"

namespace tumblewash::edit {

/// An input whose pictures are asked for by index. Stills give their one picture for every index. Safe from
/// several threads.
class StillInput {
  public:
    /// Opens the input for ARGB pictures of one size at one rate. Throws MediaError.
    StillInput(const std::string& path, PixelSize size, media::Fit fit, media::FrameRate rate, bool keepAlpha,
               media::CancelFlag cancel = nullptr, media::ToneMap toneMap = media::ToneMap::natural);

    /// Length in pictures; a still is as long as anybody asks.
    std::int64_t frames() const noexcept { return frames_; }
    const std::string& path() const noexcept { return clip_.path(); }
    const Clip& clip() const noexcept { return clip_; }
    /// What is damaged or missing of the input, one line each with its name.
    std::vector<std::string> warnings() const { return clip_.warnings(); }
    /// Picture `index`. Throws MediaError, or Refusal (BadRequest) past the end.
    media::PictureRef at(std::int64_t index);

  private:
    Clip clip_;
    bool still_;
    std::int64_t frames_;
    std::mutex lock_;
    std::map<std::int64_t, media::PictureRef> kept_;
};

/// The inputs of an effect: effects of one clip take A when the picture leaves and B, where given, when it
/// arrives.
struct StillPair {
    StillInput* a = nullptr;
    StillInput* b = nullptr;  ///< may be null for effects of one clip
};

/// Renders chosen frames of a transition of `frames` frames, over plain pictures where the job has its own
/// effects and nobody asks what the session says; else by one session. The bytes are the same. With the
/// job's alpha, frames of pictures that are transparent somewhere are rendered over deep pixels; those of
/// opaque pictures are the plug-in's own bytes as ever.
class StillRenderer {
  public:
    /// Checks the lengths (Refusal with the numbers) and opens the session of a module (HostError), which
    /// must outlive this. Where the job has its own effects the session waits until it is asked.
    StillRenderer(const host::PluginModule& module, TransitionJob job, StillPair inputs);
    ~StillRenderer();

    /// Frame k with what the session says about it. Throws Refusal, MediaError or HostError.
    media::PictureRef render(std::int64_t k, host::FrameResult* result = nullptr);
    /// The source pictures of frame k: the outgoing (or only) one and the incoming one, where there is one.
    media::PictureRef sourceA(std::int64_t k);
    media::PictureRef sourceB(std::int64_t k);
    /// The transition as it was settled: the clips' lengths and first frames filled in.
    const TransitionJob& job() const noexcept { return job_; }
    /// Ends the session where there was one; the clip record as the plug-in left it, else an empty one.
    HYPluginClipInfo finish();

  private:
    host::Session& session();
    host::FramePlace place(std::int64_t k) const;
    media::PictureRef pictureAt(host::FramePlace place);
    host::FrameResult renderInto(std::int64_t k, const media::PictureRef& picture);
    void renderPlainly(std::int64_t k, const media::PictureRef& picture);
    media::PictureRef withAlpha(std::int64_t k, const media::PictureRef& picture);
    bool transparent(std::int64_t k);

    const host::PluginModule& module_;
    TransitionJob job_;
    bool alpha_;
    StillInput* clips_[2] = {nullptr, nullptr};
    PictureSource source_;
    std::unique_ptr<host::Session> session_;
    std::unique_ptr<effects::Effect> effect_;  ///< null where a module renders
    std::shared_ptr<const effects::MorphMotion> motion_;
    bool keyed_ = false;
};

}  // namespace tumblewash::edit
