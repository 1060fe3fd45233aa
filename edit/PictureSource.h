// Pictures at hand, lent to one session by clip and index: the meeting point of media's pictures and host's
// frame requests. Whoever owns it says which pictures are at hand; it reads no file.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "host/Session.h"
#include "media/Picture.h"

namespace tumblewash::edit {

/// Lends pictures of either layout as 32-bit pixels. One thread at a time.
class PictureSource : public host::FrameSource {
  public:
    /// Puts a picture at a place, replacing the one there.
    void put(host::FramePlace place, media::PictureRef picture);
    /// Lets go of the picture at a place.
    void drop(host::FramePlace place);

    host::LentFrame lend(const host::FrameRequest& request) override;
    void giveBack(const host::LentFrame& frame) noexcept override;

  private:
    std::map<std::pair<int, std::int32_t>, media::PictureRef> pictures_;
};

}  // namespace tumblewash::edit
