// A picture between a foreign host and the plug-in: bytes alpha, red, green, blue, colours premultiplied by
// alpha, in a stride that a session lends without copying. Not a view and not a colour converter: each
// adapter writes its host's pixels into one and reads the result out of another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/FrameSource.h"

namespace tumblewash::adapters {

/// Owns width x height premultiplied pixels. Sizes below 1 make an empty canvas.
class Canvas {
  public:
    Canvas() = default;
    Canvas(int width, int height) { resize(width, height); }

    /// Keeps the memory when the size stays; contents are then left as they are, else zero.
    void resize(int width, int height) {
        if (width == width_ && height == height_) return;
        width_ = width > 0 ? width : 0;
        height_ = height > 0 ? height : 0;
        stride_ = width_ > 0 ? static_cast<std::size_t>(pictureStride(width_)) : 0;
        bytes_.assign(stride_ * static_cast<std::size_t>(height_), 0);
    }

    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }
    [[nodiscard]] std::uint8_t* row(int y) noexcept {
        return bytes_.data() + stride_ * static_cast<std::size_t>(y);
    }
    [[nodiscard]] const std::uint8_t* row(int y) const noexcept {
        return bytes_.data() + stride_ * static_cast<std::size_t>(y);
    }
    /// The canvas as a session takes it. Valid until the next resize.
    [[nodiscard]] Picture picture() noexcept {
        return {bytes_.data(), static_cast<std::ptrdiff_t>(stride_), width_, height_};
    }

  private:
    int width_ = 0;
    int height_ = 0;
    std::size_t stride_ = 0;
    std::vector<std::uint8_t> bytes_;
};

/// c x a / 255, rounded to nearest: straight to premultiplied.
[[nodiscard]] inline std::uint8_t premultiplied(unsigned c, unsigned a) noexcept {
    const unsigned v = c * a + 128;
    return static_cast<std::uint8_t>((v + (v >> 8)) >> 8);
}

/// c x 255 / a, rounded to nearest and limited to 255; 0 for a = 0: premultiplied to straight.
[[nodiscard]] inline std::uint8_t straight(unsigned c, unsigned a) noexcept {
    if (a == 0) return 0;
    const unsigned v = (c * 255 + a / 2) / a;
    return static_cast<std::uint8_t>(v > 255 ? 255 : v);
}

}  // namespace tumblewash::adapters
