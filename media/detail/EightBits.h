// Pixels of 16 bits a channel brought to 8 without a shift of the mean: rounded, or dithered by a fixed
// pattern so that slow gradients keep their steps.
// Rows of memory only; alpha is always rounded, so that opaque stays opaque.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tumblewash::media {

/// How the steps between two codes of 8 bits are treated.
enum class Steps {
    round,  ///< to the nearest code: for pictures that had 8 bits before
    dither  ///< up or down by the pattern of Dither.h, right on average: for deeper pictures
};

/// Row `y` of a picture, `width` pixels of red, green, blue, alpha at 0..65535, into bytes alpha, red, green,
/// blue. Code 65535 becomes 255 exactly, 0 becomes 0, either way.
void toEightBits(const uint16_t* rgba, int width, int y, Steps steps, uint8_t* argb) noexcept;

}  // namespace tumblewash::media
