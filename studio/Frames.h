// Single frames of a plan in any order: pictures of clips, and transitions rendered from them, over readers
// that stay open and a cache that all lanes share. One object for each thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "effects/Effect.h"
#include "media/Reader.h"
#include "studio/BoundedCache.h"
#include "studio/Plan.h"

namespace tumblewash::studio {

/// Decoded pictures, by clip, size and frame.
using PictureCache = BoundedCache<media::PictureRef>;

/// Renders frames of plans. One thread at a time.
class Frames {
  public:
    /// `cancel` ends decoding when it is raised; both outlive this.
    Frames(PictureCache& cache, media::CancelFlag cancel) : cache_(cache), cancel_(cancel) {}

    /// Frame `frame` of the movie as ARGB of `size`. At the plan's own size the bytes are those of the
    /// command `frame`. Throws MediaError, Refusal, or Refused (404) outside of the movie.
    media::PictureRef ofMovie(const Plan& plan, std::int64_t frame, edit::PixelSize size);

    /// Frame `k` of a stretch of `plan`, or of what it would be with another effect.
    media::PictureRef ofSegment(const Plan& plan, const edit::Segment& segment, const edit::Effect& effect,
                                std::size_t seam, std::int64_t k, edit::PixelSize size);

    /// Picture `frame` of clip `clip`, counted from where the edit begins to use it; those before and after
    /// what is used can be had too.
    media::PictureRef ofClip(const Plan& plan, std::size_t clip, std::int64_t frame, edit::PixelSize size);

    /// Closes the files, which hold the memory of their decoders. What is needed is opened again.
    void close();

    /// Decodes what a stretch is made of into the cache, as far as half of the cache holds it, nearest to
    /// frame `k` first; stops when `stop` says so.
    template <class Stop>
    void prepare(const Plan& plan, const edit::Segment& segment, std::int64_t k, edit::PixelSize size,
                 Stop stop) {
        const std::size_t each =
            std::size_t{8} * static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
        const auto most = static_cast<std::int64_t>(cache_.most() / 2 / each);
        const std::int64_t first = std::max<std::int64_t>(0, std::min(k - most / 3, segment.count - most));
        const std::int64_t end = std::min(segment.count, first + most);
        for (std::int64_t i = first; i < end && !stop(); ++i) sources(plan, segment, i, size);
    }

  private:
    struct Sources {
        media::PictureRef a;
        media::PictureRef b;
    };
    /// A still that moves: its pictures differ from frame to frame.
    struct Moving {
        std::string key;
        edit::Clip clip;
    };
    struct OpenReader {
        std::string key;
        media::Reader reader;
    };

    Sources sources(const Plan& plan, const edit::Segment& segment, std::int64_t k, edit::PixelSize size);
    media::PictureRef moved(const edit::Clip& clip, const std::string& key, std::int64_t frame,
                            const media::ReaderSettings& settings);
    media::Reader& readerOf(const std::string& key, const edit::Clip& clip,
                            const media::ReaderSettings& settings);

    PictureCache& cache_;
    media::CancelFlag cancel_;
    std::vector<OpenReader> readers_;  ///< the most recently used first
    std::vector<Moving> moving_;       ///< the same
    std::string effectKey_;
    std::unique_ptr<effects::Effect> effect_;
    std::shared_ptr<const effects::MorphMotion> motion_;
};

}  // namespace tumblewash::studio
