// Pictures: small rectangles with data that tells every pixel from its neighbours, for the tests of the
// library.
#pragma once

#include <gtest/gtest.h>

#include "ImageLib/source/PixRect.h"

namespace tumblewash::imagelib {

/// Exactly the pixel types that have rectangles.
using RectPixels =
    ::testing::Types<ARGBVal, RGBGrVal, GreyPixel<float>, GreyPixel<unsigned char>, GreyPixel<int>,
                     RGBPixel<float>, RGBPixel<unsigned char>, HSVPixel<unsigned char>>;

/// A frame pixel that depends on its place and a seed; all four bytes vary.
inline ARGBVal placePixel(int x, int y, int seed = 0) {
    const unsigned u =
        static_cast<unsigned>(x) * 7u + static_cast<unsigned>(y) * 31u + static_cast<unsigned>(seed) * 101u;
    const auto low = [](unsigned v) { return static_cast<unsigned char>(v & 0xFFu); };
    return ARGBVal(low(u * 5u + 17u), low(u * 3u + 1u), low(u * 11u + 5u), low(u + 40u));
}

/// The same in any pixel type.
template <class T>
T pixelAt(int x, int y, int seed = 0) {
    T p;
    SIConvert(p, placePixel(x, y, seed));
    return p;
}

/// Gives every pixel of the bounds its place pixel.
template <class T>
void paint(PixRectRW<T>& r, int seed = 0) {
    for (int y = r.ly(); y <= r.hy(); ++y)
        for (int x = r.lx(); x <= r.hx(); ++x) ASSERT_EQ(r.set(x, y, pixelAt<T>(x, y, seed)), IMAGE_OK);
}

/// Equal in every stored component (debug states aside).
template <class T>
bool same(const T& a, const T& b) {
    if constexpr (std::is_same_v<T, ARGBVal>) {
        return a._alpha == b._alpha && a._red == b._red && a._green == b._green && a._blue == b._blue;
    } else if constexpr (std::is_base_of_v<GreyPixelType, T>) {
        return a._grey == b._grey;
    } else if constexpr (std::is_base_of_v<HSVPixelType, T>) {
        return a._hue == b._hue && a._sat == b._sat && a._val == b._val;
    } else {
        return a._red == b._red && a._green == b._green && a._blue == b._blue && a._grey == b._grey;
    }
}

/// True for the zero pixel.
template <class T>
bool isBlack(const T& p) {
    return same(p, PixRectBase<T>::blackpixel);
}

template <class T>
bool hasBounds(const PixRectBase<T>& r, int lx, int ly, int hx, int hy) {
    return r.lx() == lx && r.ly() == ly && r.hx() == hx && r.hy() == hy;
}

}  // namespace tumblewash::imagelib
