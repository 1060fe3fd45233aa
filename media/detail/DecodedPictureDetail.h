// What a decoded picture holds. The frame is shared with whoever decoded it and is never written to.
#pragma once

#include <memory>

#include "media/DecodedPicture.h"
#include "media/Reader.h"
#include "media/detail/ProbeDetail.h"

namespace tumblewash::media {

/// The input that pictures come from, as far as converting them asks for it. It holds no file open.
struct PictureOrigin {
    ProbeDetail facts;
    ReaderSettings settings;
};

struct DecodedPicture::Storage {
    std::shared_ptr<const PictureOrigin> origin;
    FramePtr frame;      ///< null where there is only `picture`
    PictureRef picture;  ///< at the reader's size
};

}  // namespace tumblewash::media
