// A picture between a foreign host and the plug-in: bytes alpha, red, green, blue, colours premultiplied by
// alpha, rows without gaps, or laid over a host's own memory. Not a colour
// converter: each adapter writes its host's pixels into one and reads the result out of another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "effects/Effect.h"
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
        stride_ = width_ > 0 ? static_cast<std::size_t>(width_) * 4 : 0;
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
    /// The canvas to read. Valid until the next resize.
    [[nodiscard]] effects::Picture picture() const noexcept {
        return {row(0), static_cast<std::ptrdiff_t>(stride_), width_, height_,
                opaque_ ? effects::Alpha::opaque : effects::Alpha::premultiplied};
    }
    /// The canvas to write. Valid until the next resize.
    [[nodiscard]] effects::Target target() noexcept {
        return {pixels(), static_cast<std::ptrdiff_t>(stride_), width_, height_,
                effects::Alpha::premultiplied};
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

}  // namespace tumblewash::adapters
