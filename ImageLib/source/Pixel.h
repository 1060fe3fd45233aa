// Pixel: the polymorphic pixel interface, the colour model tags, and the one rule by which channel values
// change type. It is not a storage format: frame memory holds ARGBVal, which has no virtual table.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "ImageLib/source/NamedColours.h"  // IWYU pragma: export
#include "ImageLib/source/SICommon.h"

/// Empty bases that mark a pixel type's colour model.
struct RGBPixelType {};
struct GreyPixelType {};
struct HSVPixelType {};

template <class T>
class GreyPixel;
template <class T>
class RGBPixel;
template <class T>
class HSVPixel;

/// A channel value in another channel type: toward an integer type it is truncated toward zero and held to
/// that type's range (0..255 for bytes), and a NaN becomes 0; toward a floating type it is the nearest value.
template <class To, class From>
constexpr To SIChannelCast(From v) {
    if constexpr (std::is_same_v<To, From>) {
        return v;
    } else if constexpr (std::is_floating_point_v<To>) {
        return static_cast<To>(v);
    } else if constexpr (std::is_floating_point_v<From>) {
        // The bounds are compared in double, where both are exact for every integer type up to 32 bits.
        static_assert(sizeof(To) <= 4);
        const double d = static_cast<double>(v);
        if (!(d > static_cast<double>(std::numeric_limits<To>::min())))
            return d == d ? std::numeric_limits<To>::min() : To{0};
        if (d >= static_cast<double>(std::numeric_limits<To>::max())) return std::numeric_limits<To>::max();
        return static_cast<To>(v);
    } else {
        static_assert(sizeof(To) <= 4);
        const std::int64_t i = static_cast<std::int64_t>(v);
        if (i < static_cast<std::int64_t>(std::numeric_limits<To>::min()))
            return std::numeric_limits<To>::min();
        if (i > static_cast<std::int64_t>(std::numeric_limits<To>::max()))
            return std::numeric_limits<To>::max();
        return static_cast<To>(i);
    }
}

/// Luminance of an 8-bit colour: (30 red + 59 green + 11 blue) / 100 in unsigned integers, truncating.
/// 0..255.
constexpr unsigned char SILuminance(unsigned char red, unsigned char green, unsigned char blue) {
    return static_cast<unsigned char>((30u * red + 59u * green + 11u * blue) / 100u);
}

/// The luminance rule in channel type T: unsigned integers for bytes, 64-bit integers for int, double
/// precision for floating types.
template <class T>
constexpr T SILuminanceOf(T red, T green, T blue) {
    if constexpr (std::is_same_v<T, unsigned char>) {
        return SILuminance(red, green, blue);
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>((30.0 * static_cast<double>(red) + 59.0 * static_cast<double>(green) +
                               11.0 * static_cast<double>(blue)) /
                              100.0);
    } else {
        return static_cast<T>((std::int64_t{30} * red + std::int64_t{59} * green + std::int64_t{11} * blue) /
                              100);
    }
}

/// Abstract pixel of channel type T. Channels are red, green, blue (T's own scale), grey (the luminance), and
/// hue, saturation, value on a 0..255 scale (hue 255 stands for 360 degrees). A default pixel is all zero.
template <class T>
class Pixel : public SICommon {
  public:
    constexpr Pixel() = default;
    /// Copies carry the debug state.
    constexpr Pixel(const Pixel&) = default;

    void printInfo() const override = 0;
    virtual constexpr ~Pixel() = default;
    /// Converts from any pixel of the same channel type into this one's colour model.
    virtual Pixel& operator<<(const Pixel& p) = 0;
    /// Takes another pixel's value (converted like `<<`) and its debug state.
    virtual Pixel& operator=(const Pixel& p) = 0;
    /// Sets a grey of level v.
    virtual void set(T v) = 0;
    /// Sets the three components in the order of the pixel's colour model.
    virtual void set(T a, T b, T c) = 0;
    /// Same as `<<`.
    virtual void set(const Pixel& p) = 0;
    /// The red channel; grey pixels return their level for every channel.
    virtual T getred() const = 0;
    /// The green channel.
    virtual T getgreen() const = 0;
    /// The blue channel.
    virtual T getblue() const = 0;
    /// The grey level: a stored one, or the luminance of the colour.
    virtual T getgrey() const = 0;
    /// The hue: 0..255 for 0 to 360 degrees.
    virtual T gethue() const = 0;
    /// The saturation, 0..255.
    virtual T getsat() const = 0;
    /// The value, the largest of the three colours, 0..255.
    virtual T getval() const = 0;
    /// Sets the red channel; ignored by pixels without colour.
    virtual void setred(T v) = 0;
    /// Sets the green channel; ignored by pixels without colour.
    virtual void setgreen(T v) = 0;
    /// Sets the blue channel; ignored by pixels without colour.
    virtual void setblue(T v) = 0;
    /// Sets the hue and keeps saturation and value.
    virtual void sethue(T v) = 0;
    /// Sets the saturation and keeps hue and value.
    virtual void setsat(T v) = 0;
    /// Sets the value and keeps hue and saturation.
    virtual void setval(T v) = 0;
    /// Makes it a grey of this level.
    virtual void setgrey(T v) = 0;
};

extern template class Pixel<float>;
extern template class Pixel<unsigned char>;
extern template class Pixel<int>;
extern template class Pixel<double>;
