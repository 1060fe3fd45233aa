// Single frames of a plan in any order: pictures of clips, and transitions rendered from them, over readers
// that stay open and a cache that all lanes share. One object for each thread.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "effects/Effect.h"
#include "media/DecodedPicture.h"
#include "media/Reader.h"
#include "studio/BoundedCache.h"
#include "studio/Plan.h"

namespace tumblewash::studio {

/// A picture of a clip that is kept: as its decoder left it, for every size, or made for one.
struct KeptPicture {
    media::DecodedPicture decoded;
    media::PictureRef picture;
};

/// Pictures of clips, by clip, frame and, where they are made for one, size. Open decoders count against its
/// bound.
using PictureCache = BoundedCache<KeptPicture>;

/// The caches of all lanes. Thumbnails have one of their own, so that no long seam drives out what stands for
/// the frames of all others.
struct PictureCaches {
    /// `bytes` for both together.
    explicit PictureCaches(std::size_t bytes)
        : pictures(bytes - std::min(kThumbnailBytes, bytes / 4)),
          thumbnails(std::min(kThumbnailBytes, bytes / 4)) {}

    PictureCache pictures;
    PictureCache thumbnails;

  private:
    static constexpr std::size_t kThumbnailBytes = std::size_t{24} << 20;
};

/// What of a picture that was read goes into the cache.
enum class Keep {
    decoded,  ///< the picture as its decoder left it, where that takes less than one of the movie's size
    made,     ///< the picture as it was asked for: for small ones that are asked for once
    nothing
};

/// Renders frames of plans. One thread at a time.
class Frames {
  public:
    /// `cancel` ends decoding when it is raised; both outlive this. Pictures are made by up to `threads`
    /// threads, and decoded by two where that leaves processors to others.
    Frames(PictureCaches& caches, media::CancelFlag cancel, int threads = 1)
        : cache_(caches.pictures),
          thumbnails_(caches.thumbnails),
          cancel_(cancel),
          threads_(threads),
          maker_(threads) {}

    /// Frame `frame` of the movie as ARGB of `size`. At the plan's own size the bytes are those of the
    /// command `frame`. Throws MediaError, Refusal, or Refused (404) outside of the movie.
    media::PictureRef ofMovie(const Plan& plan, std::int64_t frame, edit::PixelSize size,
                              Keep keep = Keep::decoded);

    /// The same from the nearest pictures of the clips that are in the cache; nothing is decoded. Empty where
    /// there are none.
    media::PictureRef nearMovie(const Plan& plan, std::int64_t frame, edit::PixelSize size);

    /// Frame `k` of a stretch of `plan`, or of what it would be with another effect.
    media::PictureRef ofSegment(const Plan& plan, const edit::Segment& segment, const edit::Effect& effect,
                                std::size_t seam, std::int64_t k, edit::PixelSize size,
                                Keep keep = Keep::decoded);

    /// Picture `frame` of clip `clip`, counted from where the edit begins to use it; those before and after
    /// what is used can be had too.
    media::PictureRef ofClip(const Plan& plan, std::size_t clip, std::int64_t frame, edit::PixelSize size,
                             Keep keep = Keep::decoded);

    /// How a seam's effect moves pictures, at full strength, in a picture of this size; without cells where
    /// the effect has no field. A morph's is found between its two pictures.
    effects::VectorField fieldOf(const Plan& plan, std::size_t seam, edit::PixelSize size);

    /// The longer side of the pictures of the strip.
    static constexpr int kThumbnail = 160;

    /// Closes the files, which hold the memory of their decoders. What is needed is opened again.
    void close();

    /// How many frames of this stretch can be prepared: two thirds of what the cache has room for.
    std::int64_t mostPrepared(const Plan& plan, const edit::Segment& segment) const;

    /// Decodes what a stretch is made of into the cache, as many frames as `mostPrepared` says, around frame
    /// `k`; stops when `stop` says so.
    template <class Stop>
    void prepare(const Plan& plan, const edit::Segment& segment, std::int64_t k, Stop stop) {
        const std::int64_t most = mostPrepared(plan, segment);
        const std::int64_t first = std::max<std::int64_t>(0, std::min(k - most / 3, segment.count - most));
        const std::int64_t end = std::min(segment.count, first + most);
        for (std::int64_t i = first; i < end && !stop(); ++i) prepareOne(plan, segment, i);
    }

  private:
    /// Which pictures of which clips a frame of a stretch is made of.
    struct Source {
        std::size_t clip = 0;
        std::int64_t frame = 0;
    };
    struct Sources {
        Source a;
        std::optional<Source> b;
    };
    struct Pair {
        media::PictureRef a;
        media::PictureRef b;
    };
    /// What a picture of a clip is called in the cache, and how it is read.
    struct Wanted {
        media::ReaderSettings settings;
        std::string key;
        std::int64_t frame = 0;
        bool ofAnySize = false;  ///< its pictures are as decoded, and serve every size
    };
    /// A still that moves: its pictures differ from frame to frame.
    struct Moving {
        std::string key;
        edit::Clip clip;
    };
    struct OpenReader {
        std::string key;
        media::Reader reader;
        std::shared_ptr<void> memory;  ///< its part of the cache's bound
    };

    static Sources sourcesOf(const edit::Segment& segment, std::int64_t k);
    Wanted wantedOf(const Plan& plan, std::size_t clip, std::int64_t frame, edit::PixelSize size) const;
    std::optional<media::PictureRef> known(const Wanted& wanted, edit::PixelSize size);
    KeptPicture read(const edit::Clip& clip, const Wanted& wanted);
    /// Keeps a picture as its decoder left it, where that is wanted and serves every size, else as it is made
    /// for `size`.
    void store(const Plan& plan, const Wanted& wanted, const KeptPicture& got, edit::PixelSize size,
               Keep keep);
    void prepareOne(const Plan& plan, const edit::Segment& segment, std::int64_t k);
    media::PictureRef nearClip(const Plan& plan, const Source& source, edit::PixelSize size);
    media::PictureRef rendered(const Plan& plan, const edit::Segment& segment, const edit::Effect& effect,
                               std::size_t seam, std::int64_t k, edit::PixelSize size, const Pair& from);
    const effects::Effect& effectFor(const Plan& plan, const edit::Segment& segment,
                                     const edit::Effect& effect, std::size_t seam, edit::PixelSize size,
                                     const effects::Pictures& pictures);
    media::PictureRef moved(const edit::Clip& clip, const Wanted& wanted);
    media::Reader& readerOf(const edit::Clip& clip, const Wanted& wanted);

    /// Where pictures that are made for this size are kept.
    PictureCache& madeFor(edit::PixelSize size);

    PictureCache& cache_;
    PictureCache& thumbnails_;
    media::CancelFlag cancel_;
    int threads_;
    media::PictureMaker maker_;
    std::vector<OpenReader> readers_;  ///< the most recently used first
    std::vector<Moving> moving_;       ///< the same
    std::string effectKey_;
    std::unique_ptr<effects::Effect> effect_;
    std::shared_ptr<const effects::MorphMotion> motion_;
};

}  // namespace tumblewash::studio
