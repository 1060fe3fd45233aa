// Rows of a caller's pixels to and from the bytes alpha, red, green, blue that effects take. Not what alpha
// means: that is effects' matter.
#pragma once

#include <cstdint>

#include "capi/tumblewash.h"

namespace tumblewash::capi {

/// Bytes in a pixel, 3 or 4; 0 for what is no format.
int pixelBytes(tw_format format) noexcept;

/// True when a pixel has an alpha byte.
bool hasAlpha(tw_format format) noexcept;

/// `count` pixels of `format` to alpha, red, green, blue. Formats without alpha get 255.
void toArgb(tw_format format, const std::uint8_t* from, int count, std::uint8_t* argb) noexcept;

/// And back; formats without alpha leave it out.
void fromArgb(tw_format format, const std::uint8_t* argb, int count, std::uint8_t* to) noexcept;

}  // namespace tumblewash::capi
