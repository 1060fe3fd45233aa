// The pictures of one transition over deep pixels: what a movie of more than 8 bits or with transparency
// shows where an ordinary one shows the plug-in's own frames. The same effect at the same moments; sound and
// levels stay the plug-in's. It reads no files and holds no session.
#pragma once

#include <cstdint>
#include <memory>

#include "edit/Transition.h"
#include "media/Picture.h"

namespace tumblewash::edit {

/// Renders the frames of a job, any frame on any thread.
class DeepFrames {
  public:
    /// `first` and `last` are a morph's key pictures, empty for other effects. Throws std::bad_alloc,
    /// MediaError.
    explicit DeepFrames(const TransitionJob& job, const media::PictureRef& first = {},
                        const media::PictureRef& last = {});
    ~DeepFrames();
    DeepFrames(DeepFrames&&) noexcept;

    /// Frame k from the outgoing (or only) picture `a` and the incoming one `b`, in the job's layout. One
    /// that nobody else refers to may become the result, others are not written. A morph looks at its key
    /// pictures alone. Throws std::bad_alloc, MediaError.
    media::PictureRef render(std::int64_t k, media::PictureRef a, media::PictureRef b) const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::edit
