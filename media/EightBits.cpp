#include "media/detail/EightBits.h"

#include "media/detail/Dither.h"

namespace tumblewash::media {

namespace {

constexpr uint32_t kTop = 65535;

inline uint8_t coded(uint32_t value, uint32_t threshold) {
    return static_cast<uint8_t>((value * 255 + threshold) / kTop);
}

}  // namespace

void toEightBits(const uint16_t* rgba, int width, int y, Steps steps, uint8_t* argb) noexcept {
    for (int x = 0; x < width; ++x, rgba += 4, argb += 4) {
        // Added before the division that cuts: half a step, or the middle of the pattern's share of one.
        const uint32_t share = ditherShare(static_cast<unsigned>(x), static_cast<unsigned>(y));
        const uint32_t threshold = steps == Steps::round ? kTop / 2 : (2 * share + 1) * kTop / 512;
        argb[0] = coded(rgba[3], kTop / 2);
        for (int c = 0; c < 3; ++c) argb[1 + c] = coded(rgba[c], threshold);
    }
}

}  // namespace tumblewash::media
