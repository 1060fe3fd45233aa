// A foreign image: rows from the bottom up, strides of either sign, byte, short or float, any meaning of
// alpha. It is lent by the host and goes back when the object ends. It does not scale.
#pragma once

#include <cstdint>
#include <vector>

#include "ImageLib/source/DeepPicture.h"
#include "adapters/common/Canvas.h"
#include "adapters/common/Rgba.h"
#include "adapters/openfx/Suites.h"

namespace tumblewash::ofx {

enum class Depth { byte, half16, real };  ///< 8-bit, 16-bit with full range, 32-bit float

/// Deep pixels of a region, top row first.
struct DeepCanvas {
    DeepCanvas() = default;
    explicit DeepCanvas(const OfxRectI& region)
        : width(region.x2 - region.x1),
          height(region.y2 - region.y1),
          words(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4) {}

    [[nodiscard]] imagelib::DeepView view() const { return {words.data(), stride(), width, height}; }
    [[nodiscard]] imagelib::DeepTarget target() { return {words.data(), stride(), width, height}; }

    int width = 0;
    int height = 0;
    std::vector<std::uint16_t> words;

  private:
    [[nodiscard]] std::ptrdiff_t stride() const { return width * kernels::kDeepPixelBytes; }
};

/// One image of a clip at one time.
class Image {
  public:
    /// Fetches the image. No image, or none with memory, is an empty one: transparent everywhere.
    /// Throws kErrUnsupported for other components or depths than the plug-in described.
    Image(const Suites& suites, OfxImageClipHandle clip, OfxTime time);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    [[nodiscard]] bool empty() const noexcept { return data_ == nullptr; }
    [[nodiscard]] const OfxRectI& bounds() const noexcept { return bounds_; }
    [[nodiscard]] Depth depth() const noexcept { return depth_; }
    [[nodiscard]] adapters::AlphaKind alpha() const noexcept { return alpha_; }

    /// Reads `region` into the canvas, top row first; what the image lacks is transparent.
    void read(const OfxRectI& region, adapters::Canvas& canvas) const;
    /// Writes the part of `canvas` (which shows `region`) inside `window` and the bounds.
    void write(const adapters::Canvas& canvas, const OfxRectI& region, const OfxRectI& window);
    /// The codes that deep pixels of this depth have: all of them for 16 bits; float keeps some room below
    /// black and above white.
    [[nodiscard]] kernels::DeepRange range() const noexcept;
    /// As `read` and `write`, over deep pixels of `range`, of which `writeDeep` takes the image's own.
    [[nodiscard]] DeepCanvas readDeep(const OfxRectI& region, const kernels::DeepRange& range) const;
    /// See above.
    void writeDeep(const DeepCanvas& canvas, const OfxRectI& region, const OfxRectI& window);
    /// Takes over `source` inside `window`, bit for bit where the depths agree, whatever alpha is said to
    /// mean; transparent where it has none.
    void copyFrom(const Image& source, const OfxRectI& window);
    /// Makes `window` transparent black.
    void clear(const OfxRectI& window);

  private:
    [[nodiscard]] std::uint8_t* at(int x, int y) const noexcept;
    [[nodiscard]] std::ptrdiff_t pixelBytes() const noexcept;

    const Suites& suites_;
    OfxPropertySetHandle image_ = nullptr;
    std::uint8_t* data_ = nullptr;
    OfxRectI bounds_{};
    std::ptrdiff_t rowBytes_ = 0;
    Depth depth_ = Depth::byte;
    adapters::AlphaKind alpha_ = adapters::AlphaKind::premultiplied;
};

/// The common part of two rectangles; an empty one has x2 <= x1 or y2 <= y1.
[[nodiscard]] OfxRectI intersection(const OfxRectI& a, const OfxRectI& b) noexcept;

}  // namespace tumblewash::ofx
