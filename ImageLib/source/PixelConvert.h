// PixelConvert: one name for "this pixel takes that value", over every pair of pixel types, and the measures
// of a pixel that whole-rectangle code sums. It holds no conversion rules of its own: those are the pixel
// types' members.
#pragma once

#include <type_traits>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/HSVPixel.h"
#include "ImageLib/source/RGBPixel.h"

/// `to` takes the value of `from`: all four bytes between equal packed pixels; the low byte of an int or the
/// clamped value of a floating number as a grey; otherwise `to`'s own conversion.
template <class T, class U>
inline void SIConvert(T& to, const U& from) {
    if constexpr (std::is_same_v<T, U>) {
        to = from;
    } else if constexpr (std::is_base_of_v<SICommon, T> && std::is_arithmetic_v<U>) {
        to.set(SIChannelCast<decltype(to.getgrey())>(from));
    } else if constexpr (std::is_integral_v<U>) {
        to = T(static_cast<int>(from));
    } else if constexpr (std::is_floating_point_v<U>) {
        to << static_cast<double>(from);
    } else {
        to << from;
    }
}

/// Luminance of a packed pixel: the integer rule on its colours, 0..255.
inline int SILuminanceOfPixel(const ARGBVal& p) {
    return SILuminance(p._red, p._green, p._blue);
}
/// The same of the other packed pixel.
inline int SILuminanceOfPixel(const RGBGrVal& p) {
    return SILuminance(p._red, p._green, p._blue);
}
/// Luminance of a polymorphic pixel, in its own channel type.
template <class T>
inline T SILuminanceOfPixel(const Pixel<T>& p) {
    return p.getgrey();
}
