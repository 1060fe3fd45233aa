// GreyPixel: the polymorphic pixel of one grey level, for arithmetic, correlation surfaces and masks.
// It has no colour: every getter returns the grey level, and every setter except setgrey is ignored.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/Pixel.h"
#include "ImageLib/source/SICommon.h"

/// A grey level of type T. Arithmetic with doubles is done in double precision and brought back to T by
/// `SIChannelCast` (bytes and ints are clamped, never wrapped).
template <class T>
class GreyPixel : public Pixel<T>, public GreyPixelType {
  public:
    /// Black: level 0.
    constexpr GreyPixel() = default;
    /// Copies carry the debug state.
    constexpr GreyPixel(const GreyPixel&) = default;
    /// A pixel of this grey level.
    explicit constexpr GreyPixel(T grey) : _grey(grey) {}
    /// The luminance of p.
    explicit constexpr GreyPixel(const ARGBVal& p) : _grey(static_cast<T>(p.getgrey())) {}
    /// The stored grey level of p.
    explicit constexpr GreyPixel(const RGBGrVal& p) : _grey(static_cast<T>(p._grey)) {}
    /// The grey level of any polymorphic pixel.
    template <class U>
    explicit GreyPixel(const Pixel<U>& p) : _grey(SIChannelCast<T>(p.getgrey())) {}
    constexpr ~GreyPixel() override = default;
    /// Takes the other's components and debug state.
    constexpr GreyPixel& operator=(const GreyPixel& p) {
        SICommon::operator=(p);
        _grey = p._grey;
        return *this;
    }

    void printInfo() const override;
    GreyPixel& operator<<(const Pixel<T>& p) override {
        _grey = p.getgrey();
        return *this;
    }
    GreyPixel& operator=(const Pixel<T>& p) override {
        SICommon::operator=(p);
        return *this << p;
    }
    void set(T v) override { _grey = v; }
    /// The luminance of a colour.
    void set(T r, T g, T b) override { _grey = SILuminanceOf(r, g, b); }
    void set(const Pixel<T>& p) override { *this << p; }
    /// The grey level: it stands for every channel that a grey does not have.
    T getred() const override { return _grey; }
    /// The grey level.
    T getgreen() const override { return _grey; }
    /// The grey level.
    T getblue() const override { return _grey; }
    /// The grey level.
    constexpr T getgrey() const override { return _grey; }
    /// The grey level, not a hue.
    T gethue() const override { return _grey; }
    /// The grey level, not a saturation.
    T getsat() const override { return _grey; }
    /// The grey level.
    T getval() const override { return _grey; }
    /// Ignored: a grey has no colour.
    void setred(T) override {}
    /// Ignored: a grey has no colour.
    void setgreen(T) override {}
    /// Ignored: a grey has no colour.
    void setblue(T) override {}
    /// Ignored: a grey has no colour.
    void sethue(T) override {}
    /// Ignored: a grey has no colour.
    void setsat(T) override {}
    /// Ignored: a grey has no colour.
    void setval(T) override {}
    /// Makes it a grey of this level.
    void setgrey(T v) override { _grey = v; }

    /// Sets the grey level.
    virtual GreyPixel& operator=(T v) {
        _grey = v;
        return *this;
    }
    /// Sets the grey level.
    virtual GreyPixel& operator<<(T v) {
        _grey = v;
        return *this;
    }
    /// Adds the luminance of p.
    virtual GreyPixel& operator+=(const ARGBVal& p) { return *this += static_cast<double>(p.getgrey()); }
    /// Subtracts the luminance of p.
    virtual GreyPixel& operator-=(const ARGBVal& p) { return *this += -static_cast<double>(p.getgrey()); }
    /// Takes the luminance of p.
    virtual GreyPixel& operator<<(const ARGBVal& p) {
        _grey = static_cast<T>(p.getgrey());
        return *this;
    }
    /// Adds the stored grey level of p.
    virtual GreyPixel& operator+=(const RGBGrVal& p) { return *this += static_cast<double>(p._grey); }
    /// Subtracts the stored grey level of p.
    virtual GreyPixel& operator-=(const RGBGrVal& p) { return *this += -static_cast<double>(p._grey); }
    /// Takes the stored grey level of p.
    virtual GreyPixel& operator<<(const RGBGrVal& p) {
        _grey = static_cast<T>(p._grey);
        return *this;
    }
    /// Adds d to the level, in double precision.
    virtual GreyPixel& operator+=(double d) {
        _grey = SIChannelCast<T>(static_cast<double>(_grey) + d);
        return *this;
    }
    /// Multiplies the level by d, in double precision.
    virtual GreyPixel& operator*=(double d) {
        _grey = SIChannelCast<T>(static_cast<double>(_grey) * d);
        return *this;
    }

    /// Takes the grey level of a pixel of another channel type.
    template <class U>
    GreyPixel& operator<<(const Pixel<U>& p) {
        _grey = SIChannelCast<T>(p.getgrey());
        return *this;
    }
    /// Adds the grey level of p.
    template <class U>
    GreyPixel& operator+=(const Pixel<U>& p) {
        return *this += static_cast<double>(p.getgrey());
    }
    /// Subtracts the grey level of p.
    template <class U>
    GreyPixel& operator-=(const Pixel<U>& p) {
        return *this += -static_cast<double>(p.getgrey());
    }

    /// The grey level.
    T _grey = 0;
};

template <class T>
void GreyPixel<T>::printInfo() const {
    siprintf("GreyPixel< %lf >\n", static_cast<double>(_grey));
}

extern template class GreyPixel<float>;
extern template class GreyPixel<unsigned char>;
extern template class GreyPixel<int>;
