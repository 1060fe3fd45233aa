// Frames: frame memory between guard bytes, random pictures and random fields for whole-frame comparisons.
// The generator is the standard's own and is read raw, so that every machine draws the same pictures.
// It renders nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

namespace tumblewash::test {

/// A frame of stride x height pixels with guard bytes before and behind it, off any alignment.
class Frame {
  public:
    Frame(int stride, int height)
        : _size(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height) * 4),
          _bytes(_size + 2 * guard, guardByte) {}

    unsigned char* data() { return _bytes.data() + guard; }
    const unsigned char* data() const { return _bytes.data() + guard; }
    std::size_t size() const { return _size; }

    void fill(unsigned char value) { std::memset(data(), value, _size); }
    void randomise(std::mt19937& random) {
        for (std::size_t i = 0; i < _size; ++i) {
            data()[i] = static_cast<unsigned char>(random());
        }
    }
    /// The four bytes of a pixel.
    std::uint32_t at(int stride, int x, int y) const {
        std::uint32_t word = 0;
        std::memcpy(&word,
                    data() + 4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(stride) +
                                  static_cast<std::size_t>(x)),
                    4);
        return word;
    }
    bool operator==(const Frame& other) const { return _bytes == other._bytes; }
    bool guardsIntact() const {
        for (std::size_t i = 0; i < guard; ++i) {
            if (_bytes[i] != guardByte || _bytes[_bytes.size() - 1 - i] != guardByte) {
                return false;
            }
        }
        return true;
    }

  private:
    static constexpr std::size_t guard = 67;
    static constexpr unsigned char guardByte = 0xA5;
    std::size_t _size;
    std::vector<unsigned char> _bytes;
};

/// A number in [-1, 1) from 24 random bits.
inline float randomUnit(std::mt19937& random) {
    return static_cast<float>(static_cast<std::int32_t>(random() >> 8) - (1 << 23)) / 8388608.0F;
}

/// What the cells of a random field hold.
enum class FieldKind { smooth, redOnly, greenOnly, zero, wild, notFinite };

/// All of them.
inline constexpr FieldKind everyKind[] = {FieldKind::smooth, FieldKind::redOnly, FieldKind::greenOnly,
                                          FieldKind::zero,   FieldKind::wild,    FieldKind::notFinite};

using Field = PixRectRW<RGBPixel<float>>;

/// A w x h field whose displacements are of the order of `reach`. `wild` adds values far outside, `notFinite`
/// adds infinities and NaN here and there.
inline std::unique_ptr<Field> randomField(int w, int h, FieldKind kind, float reach, std::mt19937& random) {
    auto field = std::make_unique<Field>(w, h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            float red =
                kind == FieldKind::greenOnly || kind == FieldKind::zero ? 0.0F : reach * randomUnit(random);
            float green =
                kind == FieldKind::redOnly || kind == FieldKind::zero ? 0.0F : reach * randomUnit(random);
            const auto dice = random() % 8;
            if (kind == FieldKind::wild && dice < 2) {
                (dice == 0 ? red : green) *= 1.0e30F;
            }
            if (kind == FieldKind::notFinite && dice < 3) {
                (dice == 1 ? green : red) = dice == 2 ? std::numeric_limits<float>::quiet_NaN()
                                                      : -std::numeric_limits<float>::infinity();
            }
            field->set(x, y, RGBPixel<float>(red, green, 0.0F));
        }
    }
    return field;
}

}  // namespace tumblewash::test
