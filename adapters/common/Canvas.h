// A picture between a foreign host and the plug-in: bytes alpha, red, green, blue, colours premultiplied by
// alpha, in a stride that a session lends without copying, or laid over a host's own memory. Not a colour
// converter: each adapter writes its host's pixels into one and reads the result out of another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/FrameSource.h"
#include "memory/FrameMemory.h"

namespace tumblewash::adapters {

/// Holds width x height premultiplied pixels. Sizes below 1 make an empty canvas.
class Canvas {
  public:
    Canvas() = default;
    Canvas(int width, int height) { resize(width, height); }

    /// Keeps the memory when the size stays; contents are then left as they are, else zero.
    void resize(int width, int height) {
        if (width == width_ && height == height_) return;
        width_ = width > 0 ? width : 0;
        height_ = height > 0 ? height : 0;
        stride_ = width_ > 0 ? static_cast<std::size_t>(host::pictureStride(width_)) : 0;
        foreign_ = nullptr;
        opaque_ = false;
        bytes_.assign(stride_ * static_cast<std::size_t>(height_), 0);
    }

    /// Uses rows of 4 x width bytes without gaps at `pixels`, which stay the caller's.
    void layOver(std::uint8_t* pixels, int width, int height) noexcept {
        foreign_ = pixels;
        width_ = width;
        height_ = height;
        stride_ = static_cast<std::size_t>(width) * 4;
        opaque_ = false;
    }

    /// True when every pixel counts as opaque, whatever its alpha byte holds; false when that is not known.
    /// Whoever writes the canvas says so.
    [[nodiscard]] bool opaque() const noexcept { return opaque_; }
    void setOpaque(bool opaque) noexcept { opaque_ = opaque; }

    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }
    [[nodiscard]] std::uint8_t* row(int y) noexcept {
        return pixels() + stride_ * static_cast<std::size_t>(y);
    }
    [[nodiscard]] const std::uint8_t* row(int y) const noexcept {
        return (foreign_ != nullptr ? foreign_ : bytes_.data()) + stride_ * static_cast<std::size_t>(y);
    }
    /// The canvas as a session takes it. Valid until the next resize.
    [[nodiscard]] host::Picture picture() noexcept {
        return {pixels(), static_cast<std::ptrdiff_t>(stride_), width_, height_};
    }

  private:
    [[nodiscard]] std::uint8_t* pixels() noexcept { return foreign_ != nullptr ? foreign_ : bytes_.data(); }

    std::uint8_t* foreign_ = nullptr;
    bool opaque_ = false;
    int width_ = 0;
    int height_ = 0;
    std::size_t stride_ = 0;
    std::vector<std::uint8_t, memory::FrameAllocator<std::uint8_t>> bytes_;
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
