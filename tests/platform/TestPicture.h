// Pictures for tests: memory with a stride wider than the picture and poisoned margins, and a map over it.
// No assertions of its own.
#pragma once

#include <cstring>
#include <random>
#include <vector>

#include "platform/Carbon.h"

namespace tumblewash::test {

/// A world that is disposed with the variable.
class World {
  public:
    World(int width, int height) : World(Rect{0, 0, static_cast<short>(height), static_cast<short>(width)}) {}
    explicit World(const Rect& bounds) {
        if (NewGWorld(&_world, 32, &bounds, nullptr, nullptr, 0) != noErr) throw std::bad_alloc();
    }
    ~World() { DisposeGWorld(_world); }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    operator GWorldPtr() const { return _world; }
    const PixMap& map() const { return **GetGWorldPixMap(_world); }
    std::uint8_t* at(int x, int y) const {
        const PixMap& m = map();
        return reinterpret_cast<std::uint8_t*>(m.baseAddr) +
               (y - m.bounds.top) * (m.rowBytes & kRowBytesMask) + (x - m.bounds.left) * 4;
    }
    std::uint32_t pixel(int x, int y) const {
        const std::uint8_t* p = at(x, y);
        return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
    }
    void fillWithNumbers(unsigned seed) const {
        std::mt19937 next(seed);
        const PixMap& m = map();
        for (int y = m.bounds.top; y < m.bounds.bottom; ++y) {
            for (int i = 0; i < (m.bounds.right - m.bounds.left) * 4; ++i) {
                at(m.bounds.left, y)[i] = static_cast<std::uint8_t>(next());
            }
        }
    }

  private:
    GWorldPtr _world = nullptr;
};

/// A map over its own memory, `extra` bytes of stride behind each row, filled with numbers.
class Picture {
  public:
    Picture(const Rect& bounds, int extra, unsigned seed)
        : bytes(static_cast<std::size_t>((bounds.right - bounds.left) * 4 + extra) *
                static_cast<std::size_t>(bounds.bottom - bounds.top)) {
        std::mt19937 next(seed);
        for (auto& b : bytes) b = static_cast<std::uint8_t>(next());
        map = {reinterpret_cast<Ptr>(bytes.data()),
               static_cast<std::int16_t>(((bounds.right - bounds.left) * 4 + extra) | 0x8000), bounds, 32, 0};
    }

    /// Offset of pixel (x, y) in `bytes`.
    std::size_t offset(int x, int y) const {
        return static_cast<std::size_t>((y - map.bounds.top) * (map.rowBytes & kRowBytesMask) +
                                        (x - map.bounds.left) * 4);
    }

    std::vector<std::uint8_t> bytes;
    PixMap map;
};

/// True when the point lies in the rectangle.
inline bool inside(const Rect& r, int x, int y) {
    return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
}

/// A length-prefixed string.
struct Pascal {
    explicit Pascal(const char* text) {
        bytes[0] = static_cast<unsigned char>(std::strlen(text));
        std::memcpy(bytes + 1, text, bytes[0]);
    }
    operator ConstStr255Param() const { return bytes; }
    unsigned char bytes[256] = {};
};

}  // namespace tumblewash::test
