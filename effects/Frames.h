// Whole frames in memory without gaps, as the geometry walks them, and the moves between them and pictures of
// any stride and kind of alpha. Inside of this room; nothing of it is an effect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "effects/Effect.h"
#include "effects/RowThreads.h"
#include "memory/FrameMemory.h"

namespace tumblewash::effects {

/// Gives a frame's memory back.
struct FreeFrame {
    /// What a pointer calls at its end.
    void operator()(std::uint8_t* pixels) const noexcept { memory::freeFrameMemory(pixels); }
};
/// Memory of a whole frame.
using Frame = std::unique_ptr<std::uint8_t[], FreeFrame>;

/// Bytes in a frame of this size.
[[nodiscard]] constexpr std::size_t frameBytes(int width, int height) noexcept {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
}

/// A frame whose bytes are undefined. Throws std::bad_alloc.
[[nodiscard]] Frame newFrame(int width, int height);

/// A picture without gaps between its rows: the caller's memory where it is so already, else a copy.
class Source {
  public:
    /// The bytes as they are.
    Source(const Picture& picture, const RowThreads& threads);
    /// A frame that is there for the purpose.
    Source(Frame frame, int width, int height) noexcept;
    /// The bytes to work on: colours that carry alpha, and alpha that counts.
    static Source weighed(const Picture& picture, const RowThreads& threads);

    /// To read only, although the library's views over it take it as theirs to write.
    [[nodiscard]] std::uint8_t* pixels() const noexcept { return pixels_; }
    /// The same bytes in memory that may be written.
    [[nodiscard]] std::uint8_t* scratch(const RowThreads& threads);

  private:
    int width_;
    int height_;
    std::uint8_t* pixels_ = nullptr;
    Frame own_;
};

/// The lines of a band of a picture, as a picture.
template <class Any>
[[nodiscard]] Any linesOf(Any picture, const imagelib::LineBand& band) noexcept {
    picture.pixels += band.first * picture.stride;
    picture.height = band.endIn(picture.height) - band.first;
    return picture;
}

/// True when every pixel is opaque.
[[nodiscard]] bool isOpaque(const Picture& picture, const RowThreads& threads);

/// One whole picture into another, from one kind of alpha to another; bytes stay where the kinds are one.
void copyPicture(const Picture& from, const Target& to) noexcept;

/// Transparent black.
void clearPicture(const Target& to) noexcept;

/// Turns premultiplied pixels, in place, into what the target's kind asks for. An opaque result has its alpha
/// bytes set.
void settleAlpha(const Target& target, bool opaque) noexcept;

}  // namespace tumblewash::effects
