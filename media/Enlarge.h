// Deep pictures at a larger size. Sizes of files' own pictures are the reader's business.
#pragma once

#include "media/Picture.h"

namespace tumblewash::media {

/// A deep picture of width x height, by cubic splines (Mitchell and Netravali's with B = 0, C = 0.6), each of
/// the four channels by itself. Throws MediaError (badRequest) for another layout and for sizes out of range,
/// std::bad_alloc.
PictureRef enlarged(const PictureRef& deep, int width, int height);

}  // namespace tumblewash::media
