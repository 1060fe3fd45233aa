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
    /// `cacheBytes` bounds decoded pictures, open decoders and finished JPEGs together. `cancel` ends
    /// decoding when it is raised.
    Pictures(std::size_t cacheBytes, const std::atomic<bool>& cancel);

    /// Decodes what frame `frame` is made of before anybody asks for it.
    void expect(PlanRef plan, std::int64_t frame);

    /// `frame?f=FRAME&w=WIDTH&page=P`: frame f of the movie, rendered at the movie's size and scaled. 204
    /// when the same page has asked for a newer one before this one was begun.
    void frame(PlanRef plan, const Target& target, Answer answer);
    /// `near?f=FRAME&page=P`: about what frame f will look like, small and at once, made of the nearest
    /// pictures that are here. 204 where there are none.
    void near(PlanRef plan, const Target& target, Answer answer);
    /// `clip?clip=I&f=FRAME&w=WIDTH[&page=P]`: frame f of a clip, counted from the start of its file. With a
    /// page it comes as quickly as `frame`, else when there is time.
    void clip(PlanRef plan, const Target& target, Answer answer);
    /// `field?seam=I`: how seam I moves its pictures, as JSON: `arrows`, each from x, y to x, y in parts of
    /// the picture's sides, at most 32 x 24 of them; none where the effect has no field.
    void field(PlanRef plan, const Target& target, Answer answer);
    /// `card?seam=I&effect=ID`: what seam I would look like, 16 frames side by side, each 240 pixels wide.
    void card(PlanRef plan, const Target& target, Answer answer);

    /// Pictures of clips, for whoever shows them too.
    PictureCaches& caches() noexcept { return caches_; }

    /// Pictures in one strip of a card.
    static constexpr int kCardFrames = 16;

  private:
    using JpegCache = BoundedCache<std::string>;

    std::string jpeg(const media::PictureRef& picture, int width) const;
    void prepareSeam(PlanRef plan, std::int64_t frame);

    const std::atomic<bool>& cancel_;
    PictureCaches caches_;
    JpegCache jpegs_;
    Frames first_;       ///< of the lane `frames_`
    Frames background_;  ///< of the lane `others_`, which waits while `frames_` has work
    Frames atHand_;      ///< of the lane `nears_`; opens no files
    std::atomic<std::uint64_t> prepared_{0};
    Lane frames_;
    Lane others_;
    Lane nears_;
};

}  // namespace tumblewash::studio
