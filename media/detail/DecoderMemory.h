// What the pictures inside one decoder take, counted where the decoder asks for them.
// A picture that is too large, or one too many, is refused there: what a file claims before is not relied on.
// Pictures that the decoder has given away are the receiver's and count no more.
#pragma once

#include <memory>
#include <string>

#include "media/detail/Av.h"

namespace tumblewash::media {

/// The bytes of a picture of this format, or a guess for a format that is not known yet.
int64_t pictureBytes(int width, int height, int format) noexcept;

class DecoderMemory {
  public:
    enum class Kind { photo, clip };
    explicit DecoderMemory(Kind kind);

    /// Counts all pictures of `codec`, which is not open yet. The object must outlive it.
    void watch(AVCodecContext& codec);
    /// False for sides and areas that no input of this kind may have.
    bool fitsLimits(int width, int height) const noexcept;
    /// Further bytes that the decoder takes for each picture, known from the file's header, for each sample
    /// of it.
    void addWorking(double bytes) noexcept;
    /// True once a picture was refused. Throws std::bad_alloc once the machine had no memory for one.
    bool refused() const;
    /// What is wrong with the refused picture and what to do.
    std::string reason() const;
    /// The picture leaves the decoder.
    static void release(AVFrame& frame) noexcept { av_buffer_unref(&frame.opaque_ref); }

  private:
    struct Count;
    static int buffer(AVCodecContext* codec, AVFrame* frame, int flags);
    int admit(AVFrame& frame, AVCodecID codec) const;
    std::shared_ptr<Count> count_;
};

}  // namespace tumblewash::media
