// PixRectArith: the bodies of PixRectRW's whole-rectangle arithmetic and blending members.
// PixRect.h brings it in; nothing else needs it.
// Not here: copyfrom and the two measures (PixRectStore.h), and the byte loops themselves
// (kernels/PackedRows.h, kernels/BlendRow.h).
#pragma once

#include <cstdlib>

#include "ImageLib/kernels/BlendRow.h"
#include "ImageLib/kernels/PackedRows.h"
#include "ImageLib/source/PixRectClass.h"
#include "ImageLib/source/PixRectRows.h"

// One rule for every pixel type: integer channels are truncated toward zero and wrap modulo their own width,
// floating channels take the plain result. The clamping operators of the pixels are not used on integer
// channels.
namespace tumblewash::imagelib {

/// A number truncated toward zero and wrapped to an integer channel.
template <class C>
[[nodiscard]] C wrappedchannel(double v) {
    return static_cast<C>(SIChannelCast<int>(v));
}

/// c x d in the channel's own arithmetic.
template <class C>
[[nodiscard]] C scaledchannel(C c, double d) {
    const double product = static_cast<double>(c) * d;
    if constexpr (std::is_floating_point_v<C>)
        return SIChannelCast<C>(product);
    else
        return wrappedchannel<C>(product);
}

/// c + d in the channel's own arithmetic; toward an integer channel d is truncated before it is added.
template <class C>
[[nodiscard]] C shiftedchannel(C c, double d) {
    if constexpr (std::is_floating_point_v<C>)
        return SIChannelCast<C>(static_cast<double>(c) + d);
    else
        return static_cast<C>(static_cast<std::uint32_t>(c) +
                              static_cast<std::uint32_t>(SIChannelCast<int>(d)));
}

/// Applies f to each channel that arithmetic touches: the colours of packed and RGB pixels (alpha stays, a
/// cached grey level is renewed), the level of grey ones, the three components of HSV ones.
template <class T, class F>
void eachchannel(T& p, F f) {
    if constexpr (std::is_same_v<T, RGBGrVal>) {
        p.set(f(p._red), f(p._green), f(p._blue));
    } else if constexpr (std::is_base_of_v<GreyPixelType, T>) {
        p._grey = f(p._grey);
    } else if constexpr (std::is_base_of_v<HSVPixelType, T>) {
        p._hue = f(p._hue);
        p._sat = f(p._sat);
        p._val = f(p._val);
    } else {
        p._red = f(p._red);
        p._green = f(p._green);
        p._blue = f(p._blue);
    }
}

/// Writes the same level into every channel that arithmetic touches.
template <class T>
void setchannels(T& p, std::uint32_t level) {
    if constexpr (std::is_base_of_v<SICommon, T>) {
        using C = decltype(p.getgrey());
        const C v = static_cast<C>(level);
        p.set(v, v, v);
    } else {
        p.setgrey(static_cast<unsigned char>(level));
    }
}

/// The bytes of frame pixels, four each.
inline std::uint8_t* bytesof(ARGBVal* p) {
    return reinterpret_cast<std::uint8_t*>(p);
}
/// The same, read only.
inline const std::uint8_t* bytesof(const ARGBVal* p) {
    return reinterpret_cast<const std::uint8_t*>(p);
}

/// p += sign x s for one pixel pair whose types have no byte form in common; sign is 1 or -1.
template <class T, class U>
void sumpixel(T& p, const U& s, int sign) {
    if constexpr (std::is_base_of_v<SICommon, T>) {
        if (sign > 0)
            p += s;
        else
            p -= s;
    } else {
        const auto sum = [sign](unsigned char c, auto v) {
            return wrappedsum(c, static_cast<float>(sign) * static_cast<float>(v));
        };
        const unsigned char r = sum(p.getred(), s.getred()), g = sum(p.getgreen(), s.getgreen()),
                            b = sum(p.getblue(), s.getblue());
        p.setred(r);
        p.setgreen(g);
        p.setblue(b);
    }
}

}  // namespace tumblewash::imagelib

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::fillWith(const U& v) {
    T value;  // taken first: v may be one of the pixels about to be filled
    SIConvert(value, v);
    return tumblewash::imagelib::forEachRow(*this, [&value](T* p, int n) {
        if constexpr (std::is_same_v<T, ARGBVal>)
            tumblewash::kernels::fillPixelRow(tumblewash::imagelib::bytesof(p), static_cast<std::size_t>(n),
                                              tumblewash::imagelib::bytesof(&value));
        else
            for (int i = 0; i < n; ++i) p[i] = value;
    });
}

template <class T>
SIerrorcode PixRectRW<T>::fillwithcount() {
    std::uint32_t count = 0;
    return tumblewash::imagelib::forEachRow(*this, [&count](T* p, int n) {
        for (int i = 0; i < n; ++i) tumblewash::imagelib::setchannels(p[i], count++);
    });
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::add(const PixRect<U>& src) {
    return tumblewash::imagelib::forEachRowPair(*this, src, [](T* p, const U* s, int n) {
        if constexpr (std::is_same_v<T, ARGBVal> && std::is_same_v<U, ARGBVal>) {
            tumblewash::kernels::addBytesRow(tumblewash::imagelib::bytesof(p),
                                             tumblewash::imagelib::bytesof(s),
                                             static_cast<std::size_t>(n) * 4);
        } else {
            for (int i = 0; i < n; ++i) tumblewash::imagelib::sumpixel(p[i], s[i], 1);
        }
    });
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::subtract(const PixRect<U>& src) {
    return tumblewash::imagelib::forEachRowPair(*this, src, [](T* p, const U* s, int n) {
        if constexpr (std::is_same_v<T, ARGBVal> && std::is_same_v<U, ARGBVal>) {
            tumblewash::kernels::subtractBytesRow(tumblewash::imagelib::bytesof(p),
                                                  tumblewash::imagelib::bytesof(s),
                                                  static_cast<std::size_t>(n) * 4);
        } else {
            for (int i = 0; i < n; ++i) tumblewash::imagelib::sumpixel(p[i], s[i], -1);
        }
    });
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::incrementby(const U& v) {
    if constexpr (std::is_same_v<T, ARGBVal> && (std::is_arithmetic_v<U> || std::is_same_v<U, ARGBVal>)) {
        std::uint8_t step[4];
        if constexpr (std::is_same_v<U, ARGBVal>) {
            step[0] = v._alpha, step[1] = v._red, step[2] = v._green, step[3] = v._blue;
        } else {
            step[0] = 0;
            step[1] = step[2] = step[3] = static_cast<std::uint8_t>(SIChannelCast<int>(v));
        }
        return tumblewash::imagelib::forEachRow(*this, [&step](T* p, int n) {
            tumblewash::kernels::addPixelRow(tumblewash::imagelib::bytesof(p), static_cast<std::size_t>(n),
                                             step);
        });
    } else if constexpr (std::is_arithmetic_v<U>) {
        const double d = static_cast<double>(v);
        return tumblewash::imagelib::forEachRow(*this, [d](T* p, int n) {
            for (int i = 0; i < n; ++i)
                tumblewash::imagelib::eachchannel(
                    p[i], [d](auto c) { return tumblewash::imagelib::shiftedchannel(c, d); });
        });
    } else {
        const U step = v;
        return tumblewash::imagelib::forEachRow(*this, [&step](T* p, int n) {
            for (int i = 0; i < n; ++i) p[i] += step;
        });
    }
}

template <class T>
SIerrorcode PixRectRW<T>::multiplyby(double d) {
    if constexpr (std::is_same_v<T, ARGBVal>) {
        std::uint8_t table[256];
        for (int c = 0; c < 256; ++c)
            table[c] = tumblewash::imagelib::scaledchannel(static_cast<std::uint8_t>(c), d);
        return tumblewash::imagelib::forEachRow(*this, [&table](T* p, int n) {
            tumblewash::kernels::mapColoursRow(tumblewash::imagelib::bytesof(p), static_cast<std::size_t>(n),
                                               table);
        });
    } else {
        return tumblewash::imagelib::forEachRow(*this, [d](T* p, int n) {
            for (int i = 0; i < n; ++i)
                tumblewash::imagelib::eachchannel(
                    p[i], [d](auto c) { return tumblewash::imagelib::scaledchannel(c, d); });
        });
    }
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::blendwith(const PixRect<U>& src, float p) {
    return tumblewash::imagelib::forEachRowPair(*this, src, [p](T* mine, const U* s, int n) {
        if constexpr (std::is_same_v<T, ARGBVal> && std::is_same_v<U, ARGBVal>)
            tumblewash::kernels::blendInProportionRow(tumblewash::imagelib::bytesof(mine),
                                                      tumblewash::imagelib::bytesof(s),
                                                      static_cast<std::size_t>(n), p);
        else
            for (int i = 0; i < n; ++i) mine[i].mixInProportion(s[i], p);
    });
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::blendwithalpha(const PixRect<U>& src, sialphamethod m) {
    return tumblewash::imagelib::forEachRowPair(*this, src, [m](T* mine, const U* s, int n) {
        if (m != 0) return;
        if constexpr (std::is_same_v<T, ARGBVal> && std::is_same_v<U, ARGBVal>)
            tumblewash::kernels::blendByAlphaRow(tumblewash::imagelib::bytesof(mine),
                                                 tumblewash::imagelib::bytesof(s),
                                                 static_cast<std::size_t>(n));
        else
            for (int i = 0; i < n; ++i) mine[i].mixByAlphaSrc(s[i]);
    });
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::blendwithlimit(const PixRect<U>& src, int limit, int& rejected) {
    rejected = 0;
    return tumblewash::imagelib::forEachRowPair(*this, src, [&](T* mine, const U* s, int n) {
        for (int i = 0; i < n; ++i) {
            const int g = std::abs(SILuminanceOfPixel(s[i]) - SILuminanceOfPixel(mine[i]));
            if (g < limit)
                mine[i].mixInProportion(s[i], static_cast<float>(1 + g / 10.0));
            else
                ++rejected;
        }
    });
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::blendwithlimitrgb(const PixRect<U>& src, int limit) {
    const auto toward = [limit](unsigned char c, unsigned char s) {
        return static_cast<unsigned char>(c + decrease(c, s, limit));
    };
    return tumblewash::imagelib::forEachRowPair(
        *this, src,
        [&toward](T* mine, const U* s, int n) {
            for (int i = 0; i < n; ++i) {
                mine[i]._red = toward(mine[i]._red, s[i]._red);
                mine[i]._green = toward(mine[i]._green, s[i]._green);
                mine[i]._blue = toward(mine[i]._blue, s[i]._blue);
            }
        },
        tumblewash::imagelib::Reads::tested);
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::blendwithpeak(const PixRect<U>& src, Shape2D& shape) {
    return tumblewash::imagelib::forEachRowPair(
        *this, src, [&shape](T* mine, const U* s, int n, tumblewash::imagelib::RunPlace place) {
            for (int i = 0; i < n; ++i) {
                const float w = shape.weight(place.row, place.column + i);
                mine[i].mixInProportion(s[i], static_cast<float>((1.025 - w) * 40.0));
            }
        });
}
