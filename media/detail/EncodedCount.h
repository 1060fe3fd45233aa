// Whether an encoder gave back all that it was given: a library that finds no memory in a thread of its own
// may leave out a packet and say that all is well. It counts packets and knows nothing of what is in them.
#pragma once

#include <cstdint>

namespace tumblewash::media {

class EncodedCount {
  public:
    /// Pictures, or sample frames of sound.
    void given(int64_t units) noexcept { given_ += units; }
    void packet() noexcept { ++packets_; }
    /// True when there are as many packets as `given` units and a lead-in of `leadIn` fill, `each` to a
    /// packet. Encoders may end with packets that hold nothing new, so more are no fault.
    bool whole(int64_t each, int64_t leadIn) const noexcept {
        return each <= 0 || packets_ >= (given_ + leadIn + each - 1) / each;
    }

  private:
    int64_t given_ = 0;
    int64_t packets_ = 0;
};

}  // namespace tumblewash::media
