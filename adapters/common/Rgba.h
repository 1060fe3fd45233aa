// Rows of foreign 8-bit pixels (bytes red, green, blue, alpha) to and from canvas rows. Straight alpha unless
// told otherwise; colours under alpha 0 become 0. Not for other depths: see the OpenFX images.
#pragma once

#include <algorithm>
#include <cstdint>

#include "adapters/common/Canvas.h"

namespace tumblewash::adapters {

/// What a foreign host means by alpha.
enum class AlphaKind {
    straight,       ///< colours stand for themselves
    premultiplied,  ///< colours carry alpha already
    opaque          ///< alpha is full whatever its bytes say
};

/// Reads `count` pixels into a canvas row.
inline void rowFromRgba(const std::uint8_t* rgba, int count, AlphaKind kind, std::uint8_t* argb) noexcept {
    for (int i = 0; i < count; ++i, rgba += 4, argb += 4) {
        const std::uint8_t alpha = kind == AlphaKind::opaque ? std::uint8_t{255} : rgba[3];
        argb[0] = alpha;
        if (alpha == 255) {
            std::copy_n(rgba, 3, argb + 1);
        } else if (kind == AlphaKind::premultiplied) {
            for (int c = 0; c < 3; ++c) argb[1 + c] = std::min(rgba[c], alpha);
        } else {
            for (int c = 0; c < 3; ++c) argb[1 + c] = premultiplied(rgba[c], alpha);
        }
    }
}

/// Writes `count` pixels of a canvas row.
inline void rowToRgba(const std::uint8_t* argb, int count, AlphaKind kind, std::uint8_t* rgba) noexcept {
    for (int i = 0; i < count; ++i, rgba += 4, argb += 4) {
        const std::uint8_t alpha = argb[0];
        if (alpha == 255 || kind != AlphaKind::straight) {
            std::copy_n(argb + 1, 3, rgba);
        } else {
            for (int c = 0; c < 3; ++c) rgba[c] = straight(argb[1 + c], alpha);
        }
        rgba[3] = kind == AlphaKind::opaque ? std::uint8_t{255} : alpha;
    }
}

}  // namespace tumblewash::adapters
