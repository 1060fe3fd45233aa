#include "ImageLib/kernels/DeepYuvRow.h"

#include <algorithm>

namespace tumblewash::kernels {

namespace {

/// The pattern's share, or half a step everywhere.
int shareAt(bool dither, std::size_t x, unsigned line) {
    return dither ? ditherShare(static_cast<unsigned>(x), line) : 128;
}

void putLuma(int sum, int share, std::uint8_t& out) {
    out = static_cast<std::uint8_t>(std::min(((sum >> kLumaBits) + share) >> 8, 255));
}
void putLuma(int sum, int, std::uint16_t& out) {
    constexpr int shift = kLumaBits + 6;
    out = static_cast<std::uint16_t>(std::min((sum + (1 << (shift - 1))) >> shift, 1023));
}

/// A sum of differences over four pixels as a code around the middle.
void putChroma(int sum, int share, std::uint8_t& out) {
    out = static_cast<std::uint8_t>(std::clamp(128 + (((sum >> (kChromaBits - 4)) + share) >> 8), 0, 255));
}
void putChroma(int sum, int, std::uint16_t& out) {
    constexpr int shift = kChromaBits + 2;
    out = static_cast<std::uint16_t>(std::clamp(512 + ((sum + (1 << (shift - 1))) >> shift), 0, 1023));
}

int ofFour(const std::uint16_t* above, const std::uint16_t* below, std::size_t x) {
    return above[2 * x] + above[2 * x + 1] + below[2 * x] + below[2 * x + 1];
}

}  // namespace

template <typename Sample>
void deepRowFromYuvScalar(const DeepMatrix& matrix, const Sample* y, const Sample* cb, const Sample* cr,
                          bool halved, std::size_t first, std::size_t pixels, std::uint16_t* red,
                          std::uint16_t* green, std::uint16_t* blue) {
    const std::size_t step = halved ? 2 : 1;
    for (std::size_t x = first; x < pixels; ++x) {
        const DeepChroma chroma = deepChroma(matrix, code10(cb[x / step]) - 512, code10(cr[x / step]) - 512);
        const int grey = code10(y[x]) * kDeepStep;
        red[x] = deepWordOf(grey + chroma.red);
        green[x] = deepWordOf(grey + chroma.green);
        blue[x] = deepWordOf(grey + chroma.blue);
    }
}

template <typename Sample>
void lumaRowFromDeepScalar(const DeepMatrix& matrix, const DeepRow& from, std::size_t first,
                           std::size_t pixels, unsigned line, bool dither, Sample* out) {
    for (std::size_t x = first; x < pixels; ++x)
        putLuma(matrix.yRed * from.red[x] + matrix.yGreen * from.green[x] + matrix.yBlue * from.blue[x],
                shareAt(dither, x, line), out[x]);
}

template <typename Sample>
void chromaRowFromDeepScalar(const DeepMatrix& matrix, const DeepRow& above, const DeepRow& below,
                             std::size_t first, std::size_t pixels, unsigned line, bool dither, Sample* cb,
                             Sample* cr) {
    for (std::size_t x = first / 2; x < pixels / 2; ++x) {
        const int green = ofFour(above.green, below.green, x);
        const int red = ofFour(above.red, below.red, x) - green;
        const int blue = ofFour(above.blue, below.blue, x) - green;
        const int share = shareAt(dither, x, line);
        putChroma(matrix.cbRed * red + matrix.cbBlue * blue, share, cb[x]);
        putChroma(matrix.crRed * red + matrix.crBlue * blue, share, cr[x]);
    }
}

template void deepRowFromYuvScalar(const DeepMatrix&, const std::uint8_t*, const std::uint8_t*,
                                   const std::uint8_t*, bool, std::size_t, std::size_t, std::uint16_t*,
                                   std::uint16_t*, std::uint16_t*);
template void deepRowFromYuvScalar(const DeepMatrix&, const std::uint16_t*, const std::uint16_t*,
                                   const std::uint16_t*, bool, std::size_t, std::size_t, std::uint16_t*,
                                   std::uint16_t*, std::uint16_t*);
template void lumaRowFromDeepScalar(const DeepMatrix&, const DeepRow&, std::size_t, std::size_t, unsigned,
                                    bool, std::uint8_t*);
template void lumaRowFromDeepScalar(const DeepMatrix&, const DeepRow&, std::size_t, std::size_t, unsigned,
                                    bool, std::uint16_t*);
template void chromaRowFromDeepScalar(const DeepMatrix&, const DeepRow&, const DeepRow&, std::size_t,
                                      std::size_t, unsigned, bool, std::uint8_t*, std::uint8_t*);
template void chromaRowFromDeepScalar(const DeepMatrix&, const DeepRow&, const DeepRow&, std::size_t,
                                      std::size_t, unsigned, bool, std::uint16_t*, std::uint16_t*);

}  // namespace tumblewash::kernels
