// RGBPixel: the polymorphic pixel of red, green and blue, the accumulator of sums and the cell of flow
// fields. It is not frame memory, and it has no alpha.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/HSVPixel.h"
#include "ImageLib/source/Pixel.h"
#include "ImageLib/source/SICommon.h"

/// Red, green and blue in type T. `_grey` holds the mean of the three as of the last three-component
/// construction or set, or the level of the last grey set; `getgrey` computes the luminance instead.
/// Arithmetic acts on red, green and blue only: in T for floating types, clamped and truncated for bytes.
template <class T>
class RGBPixel : public Pixel<T>, public RGBPixelType {
  public:
    /// Black: every component 0.
    constexpr RGBPixel() = default;
    /// Copies carry the debug state.
    constexpr RGBPixel(const RGBPixel&) = default;
    /// From three components; `_grey` holds their mean.
    constexpr RGBPixel(T r, T g, T b) : _grey(mean(r, g, b)), _red(r), _green(g), _blue(b) {}
    /// All components at this grey level.
    explicit constexpr RGBPixel(T grey) : _grey(grey), _red(grey), _green(grey), _blue(grey) {}
    /// Converts a frame pixel like `<<`.
    explicit constexpr RGBPixel(const ARGBVal& p)
        : RGBPixel(static_cast<T>(p._red), static_cast<T>(p._green), static_cast<T>(p._blue)) {}
    /// Converts a frame pixel like `<<`.
    explicit constexpr RGBPixel(const RGBGrVal& p)
        : RGBPixel(static_cast<T>(p._red), static_cast<T>(p._green), static_cast<T>(p._blue)) {}
    /// Converts a pixel of another channel type like `<<`.
    template <class U>
    explicit RGBPixel(const Pixel<U>& p) {
        *this << p;
    }
    constexpr ~RGBPixel() override = default;
    /// Takes the other's components and debug state.
    constexpr RGBPixel& operator=(const RGBPixel& p) {
        SICommon::operator=(p);
        _grey = p._grey;
        _red = p._red;
        _green = p._green;
        _blue = p._blue;
        return *this;
    }

    void printInfo() const override;
    RGBPixel& operator<<(const Pixel<T>& p) override {
        store(p.getred(), p.getgreen(), p.getblue());
        return *this;
    }
    RGBPixel& operator=(const Pixel<T>& p) override {
        SICommon::operator=(p);
        return *this << p;
    }
    void set(T v) override { setgrey(v); }
    void set(T r, T g, T b) override { store(r, g, b); }
    void set(const Pixel<T>& p) override { *this << p; }
    /// The red channel.
    T getred() const override { return _red; }
    /// The green channel.
    T getgreen() const override { return _green; }
    /// The blue channel.
    T getblue() const override { return _blue; }
    /// The luminance, not the stored mean.
    T getgrey() const override { return SILuminanceOf(_red, _green, _blue); }
    /// The hue, computed from the three channels.
    T gethue() const override { return SIChannelCast<T>(hsv()._hue); }
    /// The saturation, computed from the three channels.
    T getsat() const override { return SIChannelCast<T>(hsv()._sat); }
    /// The value, computed from the three channels.
    T getval() const override { return SIChannelCast<T>(hsv()._val); }
    /// Sets the red channel; the stored mean stays.
    void setred(T v) override { _red = v; }
    /// Sets the green channel; the stored mean stays.
    void setgreen(T v) override { _green = v; }
    /// Sets the blue channel; the stored mean stays.
    void setblue(T v) override { _blue = v; }
    /// These three pass through an 8-bit colour.
    void sethue(T v) override {
        HSVPixel<float> c = hsv();
        c._hue = SIChannelCast<float>(v);
        take(c);
    }
    /// Sets the saturation, through an 8-bit colour.
    void setsat(T v) override {
        HSVPixel<float> c = hsv();
        c._sat = SIChannelCast<float>(v);
        take(c);
    }
    /// Sets the value, through an 8-bit colour.
    void setval(T v) override {
        HSVPixel<float> c = hsv();
        c._val = SIChannelCast<float>(v);
        take(c);
    }
    /// Makes it a grey of this level.
    void setgrey(T v) override { _grey = _red = _green = _blue = v; }

    /// Takes the colour of a frame pixel.
    RGBPixel& operator<<(const ARGBVal& p) {
        store(static_cast<T>(p._red), static_cast<T>(p._green), static_cast<T>(p._blue));
        return *this;
    }
    /// Takes the colour of a frame pixel.
    RGBPixel& operator<<(const RGBGrVal& p) {
        store(static_cast<T>(p._red), static_cast<T>(p._green), static_cast<T>(p._blue));
        return *this;
    }
    /// Takes the colour of a pixel of another channel type.
    template <class U>
    RGBPixel& operator<<(const Pixel<U>& p) {
        store(SIChannelCast<T>(p.getred()), SIChannelCast<T>(p.getgreen()), SIChannelCast<T>(p.getblue()));
        return *this;
    }
    /// Sums per channel with a pixel of any kind.
    RGBPixel& operator+=(const ARGBVal& p) { return add(p._red, p._green, p._blue); }
    /// Sums per channel.
    RGBPixel& operator+=(const RGBGrVal& p) { return add(p._red, p._green, p._blue); }
    /// Sums per channel.
    template <class U>
    RGBPixel& operator+=(const RGBPixel<U>& p) {
        return add(p._red, p._green, p._blue);
    }
    /// Sums per channel.
    template <class U>
    RGBPixel& operator+=(const Pixel<U>& p) {
        return add(p.getred(), p.getgreen(), p.getblue());
    }
    /// Adds d.
    RGBPixel& operator+=(double d) { return add(d, d, d); }
    /// Subtracts per channel.
    RGBPixel& operator-=(const ARGBVal& p) { return subtract(p._red, p._green, p._blue); }
    /// Subtracts per channel.
    RGBPixel& operator-=(const RGBGrVal& p) { return subtract(p._red, p._green, p._blue); }
    /// Subtracts per channel.
    template <class U>
    RGBPixel& operator-=(const Pixel<U>& p) {
        return subtract(p.getred(), p.getgreen(), p.getblue());
    }
    /// Product per channel, computed in double precision.
    RGBPixel& operator*=(double d) {
        _red = SIChannelCast<T>(static_cast<double>(_red) * d);
        _green = SIChannelCast<T>(static_cast<double>(_green) * d);
        _blue = SIChannelCast<T>(static_cast<double>(_blue) * d);
        return *this;
    }
    /// Multiplies by 1 / d.
    RGBPixel& operator/=(double d) { return *this *= 1.0 / d; }

    /// The mean as of the last store, or the level of the last grey set.
    T _grey = 0;
    /// The red channel.
    T _red = 0;
    /// The green channel.
    T _green = 0;
    /// The blue channel.
    T _blue = 0;

  private:
    static constexpr T mean(T r, T g, T b) { return static_cast<T>((r + g + b) / 3); }
    constexpr void store(T r, T g, T b) {
        _grey = mean(r, g, b);
        _red = r;
        _green = g;
        _blue = b;
    }
    // An integer operand joins a floating channel in the channel's type; a floating one keeps its own
    // precision.
    template <class U>
    static constexpr auto operand(U b) {
        if constexpr (std::is_floating_point_v<T> && std::is_integral_v<U>) {
            return static_cast<T>(b);
        } else {
            return b;
        }
    }
    template <class U>
    static constexpr T sum(T a, U b) {
        return SIChannelCast<T>(a + operand(b));
    }
    template <class U>
    static constexpr T difference(T a, U b) {
        return SIChannelCast<T>(a - operand(b));
    }
    template <class U>
    RGBPixel& add(U r, U g, U b) {
        _red = sum(_red, r);
        _green = sum(_green, g);
        _blue = sum(_blue, b);
        return *this;
    }
    template <class U>
    RGBPixel& subtract(U r, U g, U b) {
        _red = difference(_red, r);
        _green = difference(_green, g);
        _blue = difference(_blue, b);
        return *this;
    }
    HSVPixel<float> hsv() const {
        HSVPixel<float> c;
        c.makeFromRGB(static_cast<float>(_red), static_cast<float>(_green), static_cast<float>(_blue));
        return c;
    }
    void take(const HSVPixel<float>& c) {
        unsigned char r = 0, g = 0, b = 0;
        c.makeRGB(&r, &g, &b);
        store(static_cast<T>(r), static_cast<T>(g), static_cast<T>(b));
    }
};

template <class T>
void RGBPixel<T>::printInfo() const {
    siprintf("RGBPixel %lf %lf %lf\n", static_cast<double>(_red), static_cast<double>(_green),
             static_cast<double>(_blue));
}

extern template class RGBPixel<float>;
extern template class RGBPixel<unsigned char>;
extern template class RGBPixel<double>;
