// A source's pictures at a constant rate: picture k is the last one whose time, rounded to the rate, is k or
// before. A gap holds the picture before it; the end comes when the last picture's own length is over, even
// where its rounded time is the end itself. It runs where it is called; the prefetching thread is Reader's.
#pragma once

#include <string>

#include "media/detail/PictureGraph.h"

namespace tumblewash::media {

/// How many pictures `extent` comes to at the rate of complete `settings`.
int64_t pictureCount(const ProbeDetail& facts, const ReaderSettings& settings, const Extent& extent);

class SteadyPictures {
  public:
    /// `settings` complete; both references must outlive the object. Throws MediaError.
    SteadyPictures(const ProbeDetail& facts, const ReaderSettings& settings, const Extent& extent);

    /// How many pictures there are by `extent`.
    int64_t count() const noexcept { return count_; }
    /// The next picture, empty at the end. ARGB pictures belong to the receiver alone.
    PictureRef next();
    /// The same as its decoder left it, where it can be converted by itself; without `frame` and `picture` at
    /// the end.
    struct Undeveloped {
        FramePtr frame;      ///< as decoded; null where only the converted picture can be had
        PictureRef picture;  ///< as `next` gives it; empty beside a frame
    };
    Undeveloped nextUndeveloped();
    /// Makes `index` the next one.
    void seek(int64_t index);
    int64_t position() const noexcept { return next_; }

    /// Pictures of the source that could not be decoded.
    int64_t damaged() const { return damagedBefore_ + source_->damaged(); }
    /// Pictures of the source that were decoded from damaged data.
    int64_t patched() const { return patchedBefore_ + source_->patched(); }
    /// Pictures promised by `count` that never came; known at the end.
    int64_t missing() const noexcept { return missing_; }
    FieldOrder fields();

  private:
    /// A picture that is waited for. One that its graph makes from this frame alone stays a frame until its
    /// pixels are wanted: most pictures that a seek passes never are.
    struct Waiting {
        FramePtr frame;
        int64_t pts = 0;
        PictureRef picture;
        explicit operator bool() const noexcept { return frame || picture; }
    };

    int64_t indexOf(int64_t pts) const;
    void advance();
    void restart();
    int64_t frameLength() const;
    bool seekGainsGround(int64_t index) const;
    bool jump(int64_t index);
    bool arrive();
    void develop(Waiting& waiting);
    bool wantedAgain() const;
    PictureRef give();

    const ProbeDetail& facts_;
    const ReaderSettings& settings_;
    AVRational frameBase_;
    bool seekable_;
    int64_t count_ = 0;
    std::unique_ptr<StreamSource> source_;
    PictureGraph graph_;
    Waiting current_, coming_;
    int64_t comingIndex_ = 0;
    int64_t endIndex_ = 0;  // where the pictures decoded so far end
    int64_t next_ = 0;
    int64_t missing_ = 0;
    int64_t damagedBefore_ = 0;
    int64_t patchedBefore_ = 0;
    bool drained_ = false;  // the source has no more
};

}  // namespace tumblewash::media
