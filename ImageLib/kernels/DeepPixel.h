// DeepPixel: a pixel of four 16-bit channels in memory, alpha, red, green, blue, in the machine's byte order.
// Eight bytes, loaded and stored whole; memory needs no alignment. Colours weigh by their alpha already
// (premultiplied), so that all four channels are moved and mixed alike.
// It is not a frame pixel: those have four bytes and rules of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tumblewash::kernels {

/// One pixel. What number means black and what white is said by a DeepRange.
struct DeepPixel {
    std::uint16_t alpha = 0;  ///< 0 nothing, 65535 opaque
    std::uint16_t red = 0;    ///< as a DeepRange says
    std::uint16_t green = 0;  ///< as a DeepRange says
    std::uint16_t blue = 0;   ///< as a DeepRange says
    /// Equal in all four channels.
    bool operator==(const DeepPixel&) const = default;
};
static_assert(sizeof(DeepPixel) == 8);

/// Bytes from one deep pixel to the next.
constexpr std::ptrdiff_t kDeepPixelBytes = 8;

/// The colour codes of black and of nominal white. Signals with headroom keep both away from the ends.
struct DeepRange {
    std::uint16_t black = 0;      ///< below it lies what is darker than black
    std::uint16_t white = 65535;  ///< above `black`
    /// Equal in both.
    bool operator==(const DeepRange&) const = default;
    /// What is where no picture is: transparent black.
    constexpr DeepPixel nothing() const { return {0, black, black, black}; }
};

/// The pixel at an address.
inline DeepPixel loadDeep(const unsigned char* at) {
    DeepPixel pixel;
    std::memcpy(&pixel, at, sizeof pixel);
    return pixel;
}

/// Puts a pixel at an address.
inline void storeDeep(unsigned char* at, const DeepPixel& pixel) {
    std::memcpy(at, &pixel, sizeof pixel);
}

}  // namespace tumblewash::kernels
