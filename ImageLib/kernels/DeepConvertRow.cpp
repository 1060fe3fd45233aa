#include "ImageLib/kernels/DeepConvertRow.h"

#include <algorithm>

namespace tumblewash::kernels {

namespace {

/// a / b rounded to nearest, halves away from 0; b is positive.
constexpr std::int64_t rounded(std::int64_t a, std::int64_t b) {
    return (a < 0 ? a - b / 2 : a + b / 2) / b;
}

constexpr std::uint16_t weighed(std::uint16_t colour, std::uint16_t alpha, std::uint16_t black) {
    return static_cast<std::uint16_t>(black + rounded((std::int64_t{colour} - black) * alpha, 65535));
}

constexpr std::uint16_t unweighed(std::uint16_t colour, std::uint16_t alpha, std::uint16_t black) {
    if (alpha == 0) return black;
    const std::int64_t straight = black + rounded((std::int64_t{colour} - black) * 65535, alpha);
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(straight, 0, 65535));
}

/// `below` is the alpha that the colour is weighed by, 65535 for none.
constexpr unsigned char shallow(std::uint16_t colour, std::uint16_t below, const DeepRange& range) {
    const std::int64_t above = (std::int64_t{colour} - range.black) * 255 * 65535;
    const std::int64_t span = std::int64_t{range.white - range.black} * below;
    if (above <= 0 || span == 0) return 0;
    return static_cast<unsigned char>(std::min<std::int64_t>(rounded(above, span), 255));
}

constexpr unsigned char shallowAlpha(std::uint16_t alpha) {
    return static_cast<unsigned char>((alpha + 128) / 257);
}

template <class Change>
void eachPixel(unsigned char* deep, int count, Change change) {
    for (int i = 0; i < count; ++i) {
        unsigned char* const at = deep + i * kDeepPixelBytes;
        DeepPixel pixel = loadDeep(at);
        if (pixel.alpha == 65535) continue;
        for (std::uint16_t* colour : {&pixel.red, &pixel.green, &pixel.blue}) change(*colour, pixel.alpha);
        storeDeep(at, pixel);
    }
}

}  // namespace

void frameToDeepRow(const unsigned char* frame, unsigned char* deep, int count, const DeepRange& range) {
    std::uint16_t table[256];
    for (int c = 0; c < 256; ++c)
        table[c] = static_cast<std::uint16_t>(range.black + rounded(c * (range.white - range.black), 255));
    for (int i = 0; i < count; ++i) {
        const unsigned char* in = frame + std::ptrdiff_t{i} * 4;
        const auto alpha = static_cast<std::uint16_t>(in[0] * 257);
        DeepPixel pixel = {alpha, table[in[1]], table[in[2]], table[in[3]]};
        storeDeep(deep + i * kDeepPixelBytes, pixel);
    }
    weighDeepRow(deep, count, range);
}

void deepToFrameRow(const unsigned char* deep, unsigned char* frame, int count, const DeepRange& range) {
    for (int i = 0; i < count; ++i) {
        const DeepPixel pixel = loadDeep(deep + i * kDeepPixelBytes);
        unsigned char* out = frame + std::ptrdiff_t{i} * 4;
        out[0] = shallowAlpha(pixel.alpha);
        out[1] = shallow(pixel.red, 65535, range);
        out[2] = shallow(pixel.green, 65535, range);
        out[3] = shallow(pixel.blue, 65535, range);
    }
}

void deepToStraightFrameRow(const unsigned char* deep, unsigned char* frame, int count,
                            const DeepRange& range) {
    for (int i = 0; i < count; ++i) {
        const DeepPixel pixel = loadDeep(deep + i * kDeepPixelBytes);
        unsigned char* out = frame + std::ptrdiff_t{i} * 4;
        out[0] = shallowAlpha(pixel.alpha);
        out[1] = shallow(pixel.red, pixel.alpha, range);
        out[2] = shallow(pixel.green, pixel.alpha, range);
        out[3] = shallow(pixel.blue, pixel.alpha, range);
    }
}

void weighDeepRow(unsigned char* deep, int count, const DeepRange& range) {
    eachPixel(deep, count, [&range](std::uint16_t& colour, std::uint16_t alpha) {
        colour = weighed(colour, alpha, range.black);
    });
}

void unweighDeepRow(unsigned char* deep, int count, const DeepRange& range) {
    eachPixel(deep, count, [&range](std::uint16_t& colour, std::uint16_t alpha) {
        colour = unweighed(colour, alpha, range.black);
    });
}

}  // namespace tumblewash::kernels
