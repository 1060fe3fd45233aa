// Scenes: the made-up pictures and fields that golden cases run on, drawn from whole-number formulas only, so
// that every machine and library draws the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

namespace tumblewash::goldens {

/// A linear congruential generator; the high bits are used.
class Dice {
  public:
    explicit Dice(std::uint32_t seed) : state_(seed * 2654435761U + 1U) {}
    unsigned char byte() {
        state_ = state_ * 1664525U + 1013904223U;
        return static_cast<unsigned char>(state_ >> 24);
    }
    /// A multiple of 1/128 in [-1, 1).
    float unit() { return static_cast<float>(static_cast<int>(byte()) - 128) / 128.0F; }

  private:
    std::uint32_t state_;
};

/// Any four bytes at each place.
inline void scatter(PixRectRW<ARGBVal>& r, std::uint32_t seed) {
    Dice dice(seed);
    for (int y = r.ly(); y <= r.hy(); ++y)
        for (int x = r.lx(); x <= r.hx(); ++x)
            r.pixrefNB(x, y) =
                ARGBVal{dice.byte(), dice.byte(), dice.byte(), dice.byte()};  // braces: in this order
}

/// A rectangle of T over the inclusive bounds, scattered in frame pixels and converted.
template <class T>
PixRectRW<T> scattered(int lx, int ly, int hx, int hy, std::uint32_t seed) {
    PixRectRW<ARGBVal> frame(lx, ly, hx, hy);
    scatter(frame, seed);
    return PixRectRW<T>(static_cast<const PixRect<ARGBVal>&>(frame));
}

/// A frame of stride x height opaque pixels: blocks and diagonals that a block matcher can hold on to, moved
/// by (dx, dy).
inline std::vector<unsigned char> texture(int stride, int height, int dx, int dy) {
    std::vector<unsigned char> bytes;
    bytes.reserve(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < stride; ++x) {
            const auto u = static_cast<unsigned>(x + dx + 4096), v = static_cast<unsigned>(y + dy + 4096);
            const unsigned block = ((u / 24U) * 7349U + (v / 18U) * 9151U) * 40503U;
            bytes.push_back(255);
            bytes.push_back(static_cast<unsigned char>(block >> 8));
            bytes.push_back(static_cast<unsigned char>((block >> 16) + u));
            bytes.push_back(static_cast<unsigned char>((u * 3U) ^ v));
        }
    }
    return bytes;
}

/// A w x h field of displacements of the order of `reach`.
inline PixRectRW<RGBPixel<float>> randomField(int w, int h, float reach, std::uint32_t seed) {
    Dice dice(seed);
    PixRectRW<RGBPixel<float>> field(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const float red = reach * dice.unit();
            field.set(x, y, RGBPixel<float>(red, reach * dice.unit(), 0.0F));
        }
    return field;
}

}  // namespace tumblewash::goldens
