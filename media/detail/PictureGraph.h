// One filter graph from a source's pictures to the reader's: upright, square pixels, size, colour, layout.
// It changes no times and no counts. A source that changes its pictures' size or format gets a new graph.
// Pictures with alpha are scaled premultiplied, so that hidden colours do not bleed into edges.
#pragma once

#include <deque>

#include "media/Reader.h"
#include "media/detail/ColourRoad.h"
#include "media/detail/Source.h"

namespace tumblewash::media {

/// A finished picture with its source time.
struct TimedPicture {
    PictureRef picture;
    int64_t pts = 0;
};

class PictureGraph {
  public:
    /// `settings` with width and height filled in.
    PictureGraph(const ProbeDetail& facts, const ReaderSettings& settings);

    /// Takes a picture, or the end when its frame is empty. Throws MediaError (encoding).
    void push(TimedFrame timed);
    /// A finished picture, or an empty one when more input is wanted (or all is done).
    TimedPicture pull();
    /// Forgets everything under way.
    void reset();
    /// True when the picture that comes out depends on this frame alone and can be had at once: nothing is
    /// made progressive from its neighbours, now or on the way.
    bool takesAlone(const AVFrame& frame) const;
    /// True while it may owe pictures for frames that it was given.
    bool holdsBack() const noexcept { return graph_ && deinterlaces_; }
    /// Line order of the pictures that come out, by the source's tags.
    FieldOrder fieldsOut() const noexcept { return fieldsOut_; }
    /// What it will be for such a frame.
    FieldOrder fieldsOf(const AVFrame& frame) const;

  private:
    struct Plan;
    Plan plan(const AVFrame& frame) const;
    std::string describe(const AVFrame& frame, const Plan& plan) const;
    std::string blurredBeside(const Plan& plan) const;
    void build(const AVFrame& frame);
    void drain();
    void collect(FramePtr frame);
    FramePtr grown(FramePtr frame) const;
    FramePtr prepareAlpha(FramePtr frame, bool premultiply) const;
    bool fits(const AVFrame& frame) const;

    const ProbeDetail& facts_;
    const ReaderSettings& settings_;
    const ColourRoad road_;
    const bool grows_;  // the pictures miss one line or column of the size asked
    GraphPtr graph_;
    AVFilterContext* in_ = nullptr;
    AVFilterContext* out_ = nullptr;
    // The input the graph was built for.
    int width_ = 0, height_ = 0, format_ = -1;
    bool interlaced_ = false;
    bool alpha_ = false;
    bool premultiplied_ = false;
    bool onRoad_ = false;
    bool deepAlpha_ = false;  // with alpha, 16 bits a channel on the way
    bool deinterlaces_ = false;
    FieldOrder fieldsOut_ = FieldOrder::progressive;
    std::deque<TimedPicture> ready_;
};

}  // namespace tumblewash::media
