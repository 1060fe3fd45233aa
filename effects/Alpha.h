// What alpha means, and the two ways between its kinds for one colour.
#pragma once

#include <cstdint>

namespace tumblewash::effects {

/// What the alpha bytes of a picture mean.
enum class Alpha : std::uint8_t {
    opaque,        ///< nothing: every pixel is opaque
    straight,      ///< colours stand for themselves
    premultiplied  ///< colours carry alpha already; none is above its alpha
};

/// c x a / 255, rounded to nearest: straight to premultiplied.
[[nodiscard]] constexpr std::uint8_t premultiplied(unsigned c, unsigned a) noexcept {
    const unsigned v = c * a + 128;
    return static_cast<std::uint8_t>((v + (v >> 8)) >> 8);
}

/// c x 255 / a, rounded to nearest and limited to 255; 0 for a = 0: premultiplied to straight.
[[nodiscard]] constexpr std::uint8_t straight(unsigned c, unsigned a) noexcept {
    if (a == 0) return 0;
    const unsigned v = (c * 255 + a / 2) / a;
    return static_cast<std::uint8_t>(v > 255 ? 255 : v);
}

}  // namespace tumblewash::effects
