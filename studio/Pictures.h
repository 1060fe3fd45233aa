// Pictures for the page as JPEG: true frames of the movie, frames of clips, and the strips of the effects'
// cards. Frames come first and newest first, all else in a lane of its own.
#pragma once

#include <atomic>
#include <string>

#include "studio/Frames.h"
#include "studio/Http.h"
#include "studio/Lane.h"
#include "studio/Plan.h"

namespace tumblewash::studio {

/// Answers requests for pictures.
class Pictures {
  public:
    /// Keeps at most `cacheBytes` of decoded pictures. `cancel` ends decoding when it is raised.
    Pictures(std::size_t cacheBytes, const std::atomic<bool>& cancel);

    /// `frame?f=FRAME&w=WIDTH&page=P`: frame f of the movie, rendered at the movie's size and scaled. 204
    /// when the same page has asked for a newer one before this one was begun.
    void frame(PlanRef plan, const Target& target, Answer answer);
    /// `clip?clip=I&f=FRAME&w=WIDTH[&page=P]`: frame f of a clip, counted from the start of its file. With a
    /// page it comes as quickly as `frame`, else when there is time.
    void clip(PlanRef plan, const Target& target, Answer answer);
    /// `card?seam=I&effect=ID`: what seam I would look like, 16 frames side by side, each 240 pixels wide.
    void card(PlanRef plan, const Target& target, Answer answer);

    /// Pictures in one strip of a card.
    static constexpr int kCardFrames = 16;

  private:
    using JpegCache = BoundedCache<std::string>;

    std::string jpeg(const media::PictureRef& picture, int width) const;
    void prepareSeam(PlanRef plan, std::int64_t frame);

    const std::atomic<bool>& cancel_;
    PictureCache cache_;
    JpegCache jpegs_;
    Frames first_;       ///< of the lane `frames_`
    Frames background_;  ///< of the lane `others_`
    Frames ahead_;       ///< of the lane `preparing_`
    std::atomic<std::uint64_t> prepared_{0};
    Lane frames_;
    Lane others_;
    Lane preparing_;
};

}  // namespace tumblewash::studio
