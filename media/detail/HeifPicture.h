// The picture of a HEIC or AVIF file, decoded as it is stored, upright.
// Where a build leaves these formats out, another source file names the package to install.
#pragma once

#include "media/detail/InputBytes.h"
#include "media/detail/StillPicture.h"

namespace tumblewash::media {

/// Decodes the primary picture: its grid put together, turned by its properties, with alpha. Y'CbCr stays
/// Y'CbCr at its own depth. Throws MediaError: undecodable (damaged, cut, absurd, no decoder), cancelled.
StillPicture decodeHeif(const InputBytes& input, CancelFlag cancel);

}  // namespace tumblewash::media
