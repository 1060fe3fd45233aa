// ARGBVal and RGBGrVal: the two packed 32-bit pixels, plain bytes in a fixed order, the same on every
// machine. They are not members of the polymorphic family: no virtual table, freely copied as memory.
//
// Rules of both: single-channel setters touch one channel; mixing and double arithmetic act on red, green and
// blue, clamped to 0..255 and truncated toward zero (NaN gives 0). Whole-rectangle arithmetic wraps instead
// and does not come through here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "ImageLib/kernels/PixelBytes.h"
#include "ImageLib/source/Pixel.h"

namespace tumblewash::imagelib {

/// The float sum of a byte and a channel, truncated toward zero, low byte kept.
template <class T>
constexpr unsigned char wrappedsum(unsigned char c, T v) {
    const int sum = SIChannelCast<int>(static_cast<float>(c) + static_cast<float>(v));
    return static_cast<unsigned char>(sum & 0xFF);
}

/// (a + b) / 2, truncating.
constexpr unsigned char average(unsigned char a, unsigned char b) {
    return static_cast<unsigned char>((a + b) / 2);
}

}  // namespace tumblewash::imagelib

struct RGBGrVal;

/// A pixel of 32-bit frame memory: bytes alpha, red, green, blue, in this order.
struct ARGBVal : public RGBPixelType {
    /// Opaque black.
    constexpr ARGBVal() = default;
    /// From four bytes.
    constexpr ARGBVal(unsigned char a, unsigned char r, unsigned char g, unsigned char b)
        : _alpha(a), _red(r), _green(g), _blue(b) {}
    /// An opaque grey.
    explicit constexpr ARGBVal(unsigned char grey) : ARGBVal(255, grey, grey, grey) {}
    /// An opaque grey from the low byte of v.
    explicit constexpr ARGBVal(int v) : ARGBVal(static_cast<unsigned char>(v & 0xFF)) {}
    /// An opaque grey of the pixel's level, held to a byte.
    template <class T>
    constexpr ARGBVal(const GreyPixel<T>& p) : ARGBVal(SIChannelCast<unsigned char>(p.getgrey())) {}
    /// An opaque pixel of the same colour, each channel held to a byte.
    template <class T>
    constexpr ARGBVal(const RGBPixel<T>& p) {
        *this << p;
    }

    /// All four bytes.
    constexpr void set(unsigned char a, unsigned char r, unsigned char g, unsigned char b) {
        _alpha = a;
        _red = r;
        _green = g;
        _blue = b;
    }
    /// An opaque grey.
    constexpr void set(unsigned char grey) { set(255, grey, grey, grey); }

    /// Red.
    constexpr unsigned char getred() const { return _red; }
    /// Green.
    constexpr unsigned char getgreen() const { return _green; }
    /// Blue.
    constexpr unsigned char getblue() const { return _blue; }
    /// Alpha.
    constexpr unsigned char getalpha() const { return _alpha; }
    /// The luminance of the colour.
    constexpr unsigned char getgrey() const { return SILuminance(_red, _green, _blue); }
    /// Sets red.
    constexpr void setred(unsigned char v) { _red = v; }
    /// Sets green.
    constexpr void setgreen(unsigned char v) { _green = v; }
    /// Sets blue.
    constexpr void setblue(unsigned char v) { _blue = v; }
    /// Sets alpha.
    constexpr void setalpha(unsigned char v) { _alpha = v; }
    /// All three colours; alpha stays.
    constexpr void setgrey(unsigned char v) { _red = _green = _blue = v; }

    /// An opaque grey of level d.
    constexpr ARGBVal& operator<<(const double& d) {
        set(SIChannelCast<unsigned char>(d));
        return *this;
    }
    /// All four bytes of p.
    constexpr ARGBVal& operator<<(const ARGBVal& p) { return *this = p; }
    /// The colour of p, opaque.
    constexpr ARGBVal& operator<<(const RGBGrVal& p);
    /// The colour of p, opaque, each channel held to a byte.
    template <class T>
    constexpr ARGBVal& operator<<(const RGBPixel<T>& p) {
        set(255, SIChannelCast<unsigned char>(p._red), SIChannelCast<unsigned char>(p._green),
            SIChannelCast<unsigned char>(p._blue));
        return *this;
    }
    /// The colour of any polymorphic pixel, opaque.
    template <class T>
    ARGBVal& operator<<(const Pixel<T>& p) {
        set(255, SIChannelCast<unsigned char>(p.getred()), SIChannelCast<unsigned char>(p.getgreen()),
            SIChannelCast<unsigned char>(p.getblue()));
        return *this;
    }
    /// Each colour times d.
    constexpr ARGBVal& operator*=(const double& d) {
        return each([d](double c) { return c * d; });
    }
    /// Each colour over d.
    constexpr ARGBVal& operator/=(const double& d) {
        return each([d](double c) { return c / d; });
    }
    /// Each colour plus d.
    constexpr ARGBVal& operator+=(const double& d) {
        return each([d](double c) { return c + d; });
    }
    /// Colour difference, never below 0; alpha stays.
    constexpr ARGBVal& operator-=(const ARGBVal& p) {
        _red = _red > p._red ? static_cast<unsigned char>(_red - p._red) : 0;
        _green = _green > p._green ? static_cast<unsigned char>(_green - p._green) : 0;
        _blue = _blue > p._blue ? static_cast<unsigned char>(_blue - p._blue) : 0;
        return *this;
    }
    /// Adds a pixel's colour in single precision; the truncated sum keeps its low byte. Alpha stays.
    template <class T>
    ARGBVal& operator+=(const Pixel<T>& p) {
        _red = tumblewash::imagelib::wrappedsum(_red, p.getred());
        _green = tumblewash::imagelib::wrappedsum(_green, p.getgreen());
        _blue = tumblewash::imagelib::wrappedsum(_blue, p.getblue());
        return *this;
    }

    /// Reduces each colour to `levels` even steps from 0 to 255: (c levels / 256) 255 / (levels - 1) in
    /// integers. Fewer than two levels give 0.
    constexpr void posterize(int levels) {
        const auto step = [levels](unsigned char c) {
            if (levels < 2) return static_cast<unsigned char>(0);
            const std::int64_t l = levels;
            return static_cast<unsigned char>((c * l / 256) * 255 / (l - 1));
        };
        _red = step(_red);
        _green = step(_green);
        _blue = step(_blue);
    }
    /// The mean of both, all four bytes.
    constexpr void averageWith(const ARGBVal& p) {
        _alpha = tumblewash::imagelib::average(_alpha, p._alpha);
        mixAverageWith(p);
    }
    /// The mean of both colours; alpha stays.
    constexpr void mixAverageWith(const ARGBVal& p) {
        _red = tumblewash::imagelib::average(_red, p._red);
        _green = tumblewash::imagelib::average(_green, p._green);
        _blue = tumblewash::imagelib::average(_blue, p._blue);
    }
    /// (this p + src) / (p + 1) per colour: p is the weight of the existing pixel against 1 for src. Alpha
    /// stays.
    constexpr void mixInProportion(const ARGBVal& src, float p) {
        _red = tumblewash::kernels::proportion(_red, src._red, p);
        _green = tumblewash::kernels::proportion(_green, src._green, p);
        _blue = tumblewash::kernels::proportion(_blue, src._blue, p);
    }
    /// Draws src over this pixel by src's alpha a: (this 256 + src a) / (a + 255) per colour, so that an
    /// opaque source gives an even mix. a = 0 changes nothing; this pixel's alpha stays.
    constexpr void mixByAlphaSrc(const ARGBVal& src) {
        if (src._alpha == 0) return;
        _red = tumblewash::kernels::mixedByAlpha(_red, src._red, src._alpha);
        _green = tumblewash::kernels::mixedByAlpha(_green, src._green, src._alpha);
        _blue = tumblewash::kernels::mixedByAlpha(_blue, src._blue, src._alpha);
    }

    /// Prints "ARGBVal a,r,g,b" through `siprintf`.
    void printInfo() const;

    /// Alpha.
    unsigned char _alpha = 255;
    /// Red.
    unsigned char _red = 0;
    /// Green.
    unsigned char _green = 0;
    /// Blue.
    unsigned char _blue = 0;

  private:
    template <class F>
    constexpr ARGBVal& each(F f) {
        _red = SIChannelCast<unsigned char>(f(_red));
        _green = SIChannelCast<unsigned char>(f(_green));
        _blue = SIChannelCast<unsigned char>(f(_blue));
        return *this;
    }
};

/// A packed colour whose fourth byte caches its grey level: bytes red, green, blue, grey. Every operation
/// that changes the colour renews the cache by the luminance rule, except where it says otherwise.
struct RGBGrVal : public RGBPixelType {
    /// Black.
    constexpr RGBGrVal() = default;
    /// A colour with its luminance as grey level.
    constexpr RGBGrVal(unsigned char r, unsigned char g, unsigned char b)
        : _red(r), _green(g), _blue(b), _grey(SILuminance(r, g, b)) {}
    /// All four bytes as given, the grey level included.
    constexpr RGBGrVal(unsigned char r, unsigned char g, unsigned char b, unsigned char grey)
        : _red(r), _green(g), _blue(b), _grey(grey) {}
    /// A grey.
    explicit constexpr RGBGrVal(unsigned char grey) : RGBGrVal(grey, grey, grey, grey) {}
    /// A grey from the low byte of v.
    explicit constexpr RGBGrVal(int v) : RGBGrVal(static_cast<unsigned char>(v & 0xFF)) {}
    /// The colour of p with its luminance as grey level.
    constexpr RGBGrVal(const ARGBVal& p) : RGBGrVal(p._red, p._green, p._blue) {}
    /// A grey of the pixel's level, held to a byte.
    template <class T>
    constexpr RGBGrVal(const GreyPixel<T>& p) : RGBGrVal(SIChannelCast<unsigned char>(p.getgrey())) {}
    /// The colour of p, each channel held to a byte.
    template <class T>
    constexpr RGBGrVal(const RGBPixel<T>& p) {
        *this << p;
    }

    /// A colour with its luminance as grey level.
    constexpr void set(unsigned char r, unsigned char g, unsigned char b) { *this = RGBGrVal(r, g, b); }
    /// A grey.
    constexpr void set(unsigned char grey) { *this = RGBGrVal(grey); }

    /// Red.
    constexpr unsigned char getred() const { return _red; }
    /// Green.
    constexpr unsigned char getgreen() const { return _green; }
    /// Blue.
    constexpr unsigned char getblue() const { return _blue; }
    /// The cached level.
    constexpr unsigned char getgrey() const { return _grey; }
    /// Sets red.
    constexpr void setred(unsigned char v) { set(v, _green, _blue); }
    /// Sets green.
    constexpr void setgreen(unsigned char v) { set(_red, v, _blue); }
    /// Sets blue.
    constexpr void setblue(unsigned char v) { set(_red, _green, v); }
    /// All three colours and the level.
    constexpr void setgrey(unsigned char v) { set(v); }

    /// A grey of level d.
    constexpr RGBGrVal& operator<<(const double& d) {
        set(SIChannelCast<unsigned char>(d));
        return *this;
    }
    /// All four bytes of p.
    constexpr RGBGrVal& operator<<(const RGBGrVal& p) { return *this = p; }
    /// The colour of p with its luminance as grey level.
    constexpr RGBGrVal& operator<<(const ARGBVal& p) { return *this = RGBGrVal(p); }
    /// The colour of p, each channel held to a byte.
    template <class T>
    constexpr RGBGrVal& operator<<(const RGBPixel<T>& p) {
        set(SIChannelCast<unsigned char>(p._red), SIChannelCast<unsigned char>(p._green),
            SIChannelCast<unsigned char>(p._blue));
        return *this;
    }
    /// The colour of p, each channel held to a byte.
    template <class T>
    RGBGrVal& operator<<(const Pixel<T>& p) {
        set(SIChannelCast<unsigned char>(p.getred()), SIChannelCast<unsigned char>(p.getgreen()),
            SIChannelCast<unsigned char>(p.getblue()));
        return *this;
    }
    /// Each colour times d.
    constexpr RGBGrVal& operator*=(const double& d) {
        return each([d](double c) { return c * d; });
    }
    /// Each colour plus d.
    constexpr RGBGrVal& operator+=(const double& d) {
        return each([d](double c) { return c + d; });
    }
    /// Adds a pixel's colour in single precision; the truncated sum keeps its low byte.
    template <class T>
    RGBGrVal& operator+=(const Pixel<T>& p) {
        set(tumblewash::imagelib::wrappedsum(_red, p.getred()),
            tumblewash::imagelib::wrappedsum(_green, p.getgreen()),
            tumblewash::imagelib::wrappedsum(_blue, p.getblue()));
        return *this;
    }

    /// The mean of both, all four bytes (the cached level is averaged too).
    constexpr void averageWith(const RGBGrVal& p) {
        *this = RGBGrVal(
            tumblewash::imagelib::average(_red, p._red), tumblewash::imagelib::average(_green, p._green),
            tumblewash::imagelib::average(_blue, p._blue), tumblewash::imagelib::average(_grey, p._grey));
    }
    /// The mean of both colours.
    constexpr void mixAverageWith(const RGBGrVal& p) {
        set(tumblewash::imagelib::average(_red, p._red), tumblewash::imagelib::average(_green, p._green),
            tumblewash::imagelib::average(_blue, p._blue));
    }
    /// (this p + src) / (p + 1) per colour.
    constexpr void mixInProportion(const RGBGrVal& src, float p) {
        set(tumblewash::kernels::proportion(_red, src._red, p),
            tumblewash::kernels::proportion(_green, src._green, p),
            tumblewash::kernels::proportion(_blue, src._blue, p));
    }

    /// Prints "RGBGrVal r,g,b,grey" through `siprintf`.
    void printInfo() const;

    /// Red.
    unsigned char _red = 0;
    /// Green.
    unsigned char _green = 0;
    /// Blue.
    unsigned char _blue = 0;
    /// The cached grey level.
    unsigned char _grey = 0;

  private:
    template <class F>
    constexpr RGBGrVal& each(F f) {
        set(SIChannelCast<unsigned char>(f(_red)), SIChannelCast<unsigned char>(f(_green)),
            SIChannelCast<unsigned char>(f(_blue)));
        return *this;
    }
};

constexpr ARGBVal& ARGBVal::operator<<(const RGBGrVal& p) {
    set(255, p._red, p._green, p._blue);
    return *this;
}

static_assert(sizeof(ARGBVal) == 4 && alignof(ARGBVal) == 1 && std::is_standard_layout_v<ARGBVal>);
static_assert(offsetof(ARGBVal, _alpha) == 0 && offsetof(ARGBVal, _red) == 1 &&
              offsetof(ARGBVal, _green) == 2 && offsetof(ARGBVal, _blue) == 3);
static_assert(sizeof(RGBGrVal) == 4 && alignof(RGBGrVal) == 1 && std::is_standard_layout_v<RGBGrVal>);
static_assert(offsetof(RGBGrVal, _red) == 0 && offsetof(RGBGrVal, _green) == 1 &&
              offsetof(RGBGrVal, _blue) == 2 && offsetof(RGBGrVal, _grey) == 3);
static_assert(std::is_trivially_copyable_v<ARGBVal> && std::is_trivially_copyable_v<RGBGrVal>);

/// Scaled sum of two packed pixels (alpha in the top byte of the low 32 bits, then red, green, blue), in
/// single precision: v = p.c f + q.c per colour. When the largest exceeds 255 all three are scaled by 255 /
/// largest, which keeps the hue. Truncated, low byte each; the alpha is p's.
unsigned long ScalePixelAdd(unsigned long p, float f, unsigned long q);
