// HSVPixel: the polymorphic pixel of hue, saturation and value, and the two conversions between that model
// and 8-bit red, green, blue. It is not used for frame memory; averages of hue and colour edits pass through
// it.
#pragma once

#include <cmath>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/Pixel.h"
#include "ImageLib/source/SICommon.h"

/// Hue, saturation and value, each on a 0..255 scale in type T (hue 255 stands for 360 degrees).
template <class T>
class HSVPixel : public Pixel<T>, public HSVPixelType {
  public:
    /// Black.
    constexpr HSVPixel() = default;
    /// Copies carry the debug state.
    constexpr HSVPixel(const HSVPixel&) = default;
    /// From three components on the 0..255 scale.
    constexpr HSVPixel(T hue, T sat, T val) : _hue(hue), _sat(sat), _val(val) {}
    /// Converts a frame pixel like `<<`.
    explicit HSVPixel(const ARGBVal& p) { *this << p; }
    /// Converts a frame pixel like `<<`.
    explicit HSVPixel(const RGBGrVal& p) { *this << p; }
    /// Converts a pixel of another channel type like `<<`.
    template <class U>
    explicit HSVPixel(const Pixel<U>& p) {
        *this << p;
    }
    constexpr ~HSVPixel() override = default;
    /// Takes the other's components and debug state.
    constexpr HSVPixel& operator=(const HSVPixel& p) {
        SICommon::operator=(p);
        _hue = p._hue;
        _sat = p._sat;
        _val = p._val;
        return *this;
    }

    void printInfo() const override;
    HSVPixel& operator<<(const Pixel<T>& p) override { return from(p); }
    HSVPixel& operator=(const Pixel<T>& p) override {
        SICommon::operator=(p);
        return from(p);
    }
    /// A grey.
    void set(T v) override { setgrey(v); }
    /// Hue, saturation, value.
    void set(T hue, T sat, T val) override {
        _hue = hue;
        _sat = sat;
        _val = val;
    }
    void set(const Pixel<T>& p) override { from(p); }
    /// Red.
    T getred() const override { return SIChannelCast<T>(rgb().red); }
    /// Green.
    T getgreen() const override { return SIChannelCast<T>(rgb().green); }
    /// Blue.
    T getblue() const override { return SIChannelCast<T>(rgb().blue); }
    /// The luminance of the 8-bit colour.
    T getgrey() const override {
        const Bytes c = rgb();
        return SIChannelCast<T>(SILuminance(c.red, c.green, c.blue));
    }
    /// Hue.
    T gethue() const override { return _hue; }
    /// Saturation.
    T getsat() const override { return _sat; }
    /// Value.
    T getval() const override { return _val; }
    /// Sets red.
    void setred(T v) override {
        const Bytes c = rgb();
        makeFromRGB(SIChannelCast<unsigned char>(v), c.green, c.blue);
    }
    /// Sets green.
    void setgreen(T v) override {
        const Bytes c = rgb();
        makeFromRGB(c.red, SIChannelCast<unsigned char>(v), c.blue);
    }
    /// Sets blue.
    void setblue(T v) override {
        const Bytes c = rgb();
        makeFromRGB(c.red, c.green, SIChannelCast<unsigned char>(v));
    }
    /// Sets the hue.
    void sethue(T v) override { _hue = v; }
    /// Sets the saturation.
    void setsat(T v) override { _sat = v; }
    /// Sets the value.
    void setval(T v) override { _val = v; }
    /// No hue, no saturation, value v.
    void setgrey(T v) override { set(T{0}, T{0}, v); }

    /// Takes the colour of a frame pixel.
    HSVPixel& operator<<(const ARGBVal& p) {
        makeFromRGB(p._red, p._green, p._blue);
        return *this;
    }
    /// Takes the colour of a frame pixel.
    HSVPixel& operator<<(const RGBGrVal& p) {
        makeFromRGB(p._red, p._green, p._blue);
        return *this;
    }
    /// Converts a pixel of another channel type: components from another HSVPixel, else by its colour.
    template <class U>
    HSVPixel& operator<<(const Pixel<U>& p) {
        return from(p);
    }
    /// Component-wise sum, held to T's range.
    template <class U>
    HSVPixel& operator+=(const HSVPixel<U>& p) {
        return add(static_cast<double>(p._hue), static_cast<double>(p._sat), static_cast<double>(p._val));
    }
    /// Adds d.
    HSVPixel& operator+=(double d) { return add(d, d, d); }
    /// Component-wise product, held to T's range.
    HSVPixel& operator*=(double d) {
        _hue = SIChannelCast<T>(static_cast<double>(_hue) * d);
        _sat = SIChannelCast<T>(static_cast<double>(_sat) * d);
        _val = SIChannelCast<T>(static_cast<double>(_val) * d);
        return *this;
    }

    /// From 8-bit channels (bytes, or ints and floats on the same 0..255 scale). In single precision:
    /// hue = degrees x 255 / 360, left to right; saturation and value x 255.
    void makeFromRGB(unsigned char r, unsigned char g, unsigned char b) {
        fromUnit(unit(r), unit(g), unit(b));
    }
    /// The same from channels of another type on the same 0..255 scale.
    void makeFromRGB(int r, int g, int b) { fromUnit(unit(r), unit(g), unit(b)); }
    /// The same from channels of another type on the same 0..255 scale.
    void makeFromRGB(float r, float g, float b) { fromUnit(unit(r), unit(g), unit(b)); }

    /// To 8-bit red, green, blue, each truncated to a byte. A hue of 255 lands in the first sector; a hue
    /// outside the six sectors leaves the outputs untouched.
    void makeRGB(unsigned char* r, unsigned char* g, unsigned char* b) const;

    /// Hue.
    T _hue = 0;
    /// Saturation.
    T _sat = 0;
    /// Value.
    T _val = 0;

  private:
    struct Bytes {
        unsigned char red = 0, green = 0, blue = 0;
    };

    Bytes rgb() const {
        Bytes c;
        makeRGB(&c.red, &c.green, &c.blue);
        return c;
    }
    template <class C>
    static float unit(C channel) {
        return static_cast<float>(static_cast<double>(channel) / 255.0);
    }
    HSVPixel& add(double hue, double sat, double val) {
        set(SIChannelCast<T>(static_cast<double>(_hue) + hue),
            SIChannelCast<T>(static_cast<double>(_sat) + sat),
            SIChannelCast<T>(static_cast<double>(_val) + val));
        return *this;
    }
    /// Components of another HSVPixel, else the colour.
    template <class U>
    HSVPixel& from(const Pixel<U>& p);
    void fromUnit(float r, float g, float b);
};

template <class T>
void HSVPixel<T>::printInfo() const {
    siprintf("HSVPixel %lf %lf %lf\n", static_cast<double>(_hue), static_cast<double>(_sat),
             static_cast<double>(_val));
}

/// @cond
template <class T>
template <class U>
HSVPixel<T>& HSVPixel<T>::from(const Pixel<U>& p) {
    if (const auto* hsv = dynamic_cast<const HSVPixel<U>*>(&p)) {
        set(SIChannelCast<T>(hsv->_hue), SIChannelCast<T>(hsv->_sat), SIChannelCast<T>(hsv->_val));
    } else {
        fromUnit(unit(p.getred()), unit(p.getgreen()), unit(p.getblue()));
    }
    return *this;
}
/// @endcond

template <class T>
void HSVPixel<T>::fromUnit(float r, float g, float b) {
    const float mx = SICommon_H::max(r, g, b);
    const float mn = SICommon_H::min(r, g, b);
    float degrees = 0.0f, s = 0.0f;
    if (mx != mn) {
        const float d = mx - mn;
        s = d / mx;
        float h;
        if (mx == r) {
            h = (g - b) / d;
        } else if (mx == g) {
            h = 2.0f + (b - r) / d;
        } else {
            h = 4.0f + (r - g) / d;
        }
        degrees = h * 60.0f;
        if (degrees < 0.0f) degrees += 360.0f;
    }
    set(SIChannelCast<T>(degrees * 255.0f / 360.0f), SIChannelCast<T>(s * 255.0f),
        SIChannelCast<T>(mx * 255.0f));
}

template <class T>
void HSVPixel<T>::makeRGB(unsigned char* r, unsigned char* g, unsigned char* b) const {
    const float h = static_cast<float>(_hue) / 255.0f;
    const float s = static_cast<float>(_sat) / 255.0f;
    const float v = static_cast<float>(_val);
    const auto store = [r, g, b](float red, float green, float blue) {
        *r = SIChannelCast<unsigned char>(red);
        *g = SIChannelCast<unsigned char>(green);
        *b = SIChannelCast<unsigned char>(blue);
    };
    if (s == 0.0f) return store(v, v, v);
    const float x = h == 1.0f ? 0.0f : h * 6.0f;
    const float sector = std::floor(x);
    const float f = x - sector;
    const float p = v * (1.0f - s);
    const float q = v * (1.0f - s * f);
    const float t = v * (1.0f - s * (1.0f - f));
    switch (SIChannelCast<int>(sector)) {
        case 0:
            return store(v, t, p);
        case 1:
            return store(q, v, p);
        case 2:
            return store(p, v, t);
        case 3:
            return store(p, q, v);
        case 4:
            return store(t, p, v);
        case 5:
            return store(v, p, q);
        default:
            return;
    }
}

extern template class HSVPixel<float>;
extern template class HSVPixel<unsigned char>;
