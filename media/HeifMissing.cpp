// Stands in for HeifPicture.cpp in builds without HEIC and AVIF.
#include "media/detail/HeifPicture.h"

namespace tumblewash::media {

StillPicture decodeHeif(const InputBytes& input, CancelFlag cancel) {
    throwIfRaised(cancel, input.path());
    throw MediaError(MediaErrorCode::undecodable, input.path(),
                     "is a HEIC or AVIF picture, which this build does not read; install the package "
                     "libheif-dev and build again with TUMBLEWASH_HEIF=ON, or convert the picture to JPEG");
}

}  // namespace tumblewash::media
