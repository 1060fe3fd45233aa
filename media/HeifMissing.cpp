// Stands in for HeifPicture.cpp in builds without HEIC and AVIF.
#include "media/detail/HeifPicture.h"

namespace tumblewash::media {

StillPicture decodeHeif(const std::string& path, CancelFlag cancel) {
    throwIfRaised(cancel, path);
    throw MediaError(MediaErrorCode::undecodable, path,
                     "is a HEIC or AVIF picture, which this build does not read; install the package "
                     "libheif-dev and build again with TUMBLEWASH_HEIF=ON, or convert the picture to JPEG");
}

}  // namespace tumblewash::media
