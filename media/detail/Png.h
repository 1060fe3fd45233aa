// ARGB bytes to the bytes of a PNG file.
// One encoder object serves many pictures of one size.
// It touches no files.
#pragma once

#include <vector>

#include "media/StillIO.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

class PngEncoder {
  public:
    /// Throws MediaError (badRequest, encoding). `file` is for messages.
    PngEncoder(std::string file, int width, int height, PngAlpha alpha);
    /// The whole file for one picture; valid until the next call.
    const std::vector<uint8_t>& encode(const uint8_t* argb, ptrdiff_t stride);

  private:
    std::string file_;
    PngAlpha alpha_;
    CodecPtr codec_;
    FramePtr frame_;
    PacketPtr packet_ = newPacket();
    std::vector<uint8_t> bytes_;
};

}  // namespace tumblewash::media
