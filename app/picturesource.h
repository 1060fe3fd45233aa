// Pictures at hand, lent to one session by clip and index: the meeting point of media's pictures and host's
// frame requests. Whoever owns it says which pictures are at hand; it reads no file.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "host/Session.h"
#include "media/Picture.h"

namespace tumblewash {

/// Lends pictures of either layout as 32-bit pixels. One thread at a time.
class PictureSource : public FrameSource {
  public:
    /// Puts a picture at a place, replacing the one there.
    void put(FramePlace place, PictureRef picture);
    /// Lets go of the picture at a place.
    void drop(FramePlace place);

    LentFrame lend(const FrameRequest& request) override;
    void giveBack(const LentFrame& frame) noexcept override;

  private:
    std::map<std::pair<int, std::int32_t>, PictureRef> pictures_;
};

}  // namespace tumblewash
