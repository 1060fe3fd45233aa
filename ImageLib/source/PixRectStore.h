// PixRectStore: the bodies of the rectangle templates: bounds, storage, copying, the two measures and
// printing. PixRect.h brings it in; nothing else needs it.
#pragma once

#include <cstring>
#include <functional>

#include "ImageLib/kernels/PackedRows.h"
#include "ImageLib/source/PixRectClass.h"
#include "ImageLib/source/PixRectRows.h"

namespace tumblewash::imagelib {

/// Hands every pixel of the bounds to op(x, y, value) in walk order, read like `pixNB`; where a view shows a
/// place its source does not have, the value is the zero pixel.
template <class T, class Op>
void forEachValue(const PixRectBase<T>& rect, Op op) {
    const auto walk = [&rect, &op](const auto& read) {
        for (int y = rect.ly(); y <= rect.hy(); ++y)
            for (int x = rect.lx(); x <= rect.hx(); ++x) op(x, y, read(x, y));
    };
    if (const auto* readable = dynamic_cast<const PixRect<T>*>(&rect)) {
        walk(SafeReader<T>(*readable));
    } else {
        walk([&rect](int x, int y) { return rect.pixNB(x, y); });
    }
}

/// Takes n pixels in ascending order, so that a source just before its own destination repeats itself.
template <class T, class U>
void convertRow(T* to, const U* from, int n) {
    if constexpr (std::is_same_v<T, U> && std::is_trivially_copyable_v<T>) {
        const bool repeats = std::less<const T*>()(from, to) && std::less<const T*>()(to, from + n);
        if (!repeats) {
            std::memmove(to, from, static_cast<std::size_t>(n) * sizeof(T));
            return;
        }
    }
    for (int i = 0; i < n; ++i) SIConvert(to[i], from[i]);
}

}  // namespace tumblewash::imagelib

template <class T>
void PixRectBase<T>::printInfo() const {
    siprintf("PixRectBase lx(%d) ly(%d) hx(%d) hy(%d) W(%d) H(%d) z(%f,%f)\n", _lx, _ly, _hx, _hy, width(),
             height(), _xs, _ys);
}

template <class T>
bool PixRectBase<T>::equalbounds(const PixRectBase& a, const PixRectBase& b) const {
    return a._lx == b._lx && a._lx == b._ly && a._hx == b._hx && a._hy == b._hy;
}

template <class T>
bool PixRectBase<T>::equalsize(const PixRectBase& a, const PixRectBase& b) const {
    return a.width() == b.width() && a.height() == b.height();
}

template <class T>
SIerrorcode PixRectBase<T>::shiftorigin(int dx, int dy) {
    setbounds(tumblewash::imagelib::wrapadd(_lx, dx), tumblewash::imagelib::wrapadd(_ly, dy),
              tumblewash::imagelib::wrapadd(_hx, dx), tumblewash::imagelib::wrapadd(_hy, dy));
    return IMAGE_OK;
}

template <class T>
SIerrorcode PixRectBase<T>::zeroorigin() {
    return shiftorigin(tumblewash::imagelib::wrapsub(0, _lx), tumblewash::imagelib::wrapsub(0, _ly));
}

template <class T>
SIerrorcode PixRectBase<T>::centreorigin() {
    return shiftorigin(tumblewash::imagelib::wrapsub(-(width() / 2), _lx),
                       tumblewash::imagelib::wrapsub(-(height() / 2), _ly));
}

template <class T>
double PixRectBase<T>::totalLum() const {
    if constexpr (std::is_same_v<T, ARGBVal>) {
        if (const auto* rect = dynamic_cast<const PixRect<T>*>(this)) {
            const tumblewash::imagelib::PixelRows<T> rows(*rect);
            const tumblewash::imagelib::Region all = tumblewash::imagelib::boundsOf(*this);
            if (rows.found() && !all.empty() && rows.reach().covers(all)) {
                std::uint64_t total = 0;
                for (int y = all.ly; y <= all.hy; ++y)
                    total += tumblewash::kernels::sumLuminanceRow(
                        reinterpret_cast<const std::uint8_t*>(rows.at(all.lx, y)),
                        static_cast<std::size_t>(width()));
                return static_cast<double>(total);
            }
        }
    }
    double sum = 0.0;
    tumblewash::imagelib::forEachValue(
        *this, [&sum](int, int, const T& p) { sum += static_cast<double>(SILuminanceOfPixel(p)); });
    return sum;
}

template <class T>
float PixRectBase<T>::averageHue() const {
    if (width() <= 0 || height() <= 0) return 0.0f;
    float sum = 0.0f;
    HSVPixel<float> hsv;
    tumblewash::imagelib::forEachValue(*this, [&sum, &hsv](int, int, const T& p) {
        SIConvert(hsv, p);
        sum += hsv._hue;
    });
    return sum / static_cast<float>(width()) / static_cast<float>(height());
}

template <class T>
void PixRectBase<T>::intersect(const PixRectBase* other) {
    _lx = SICommon_H::max(_lx, other->_lx);
    _ly = SICommon_H::max(_ly, other->_ly);
    _hx = SICommon_H::min(_hx, other->_hx);
    _hy = SICommon_H::min(_hy, other->_hy);
    if (_hx < _lx) _hx = _lx;
    if (_hy < _ly) _hy = _ly;
}

template <class T>
PixRectBase<T>* PixRectBase<T>::duplicate() const {
    auto copy = std::make_unique<PixRectRW<T>>(_lx, _ly, _hx, _hy);
    copy->setscale(_xs, _ys);
    copy->dbg = dbg;
    tumblewash::imagelib::forEachValue(
        *this, [&copy](int x, int y, const T& p) { SIConvert(copy->pixrefNB(x, y), p); });
    return copy.release();
}

template <class T>
PixRect<T>::PixRect(const DBGState& s) : PixRectBase<T>(s) {
    siprintf("PixRect(const DBGState &s=%d) now dbg=%d\n", s.value(), this->dbg.value());
}

template <class T>
void PixRect<T>::printInfo() const {
    siprintf("PixRect:");
    PixRectBase<T>::printInfo();
}

template <class T>
void PixRect<T>::printRows(std::int64_t limit) const {
    // The walk has no effect but its text.
    if (!SICommon_H::tracing()) return;
    const tumblewash::imagelib::SafeReader<T> read(*this);
    for (int y = this->_ly; y <= this->_hy; ++y) {
        for (int x = this->_lx; x <= this->_hx && limit > 0; ++x, --limit) {
            const T p = read(x, y);
            if constexpr (std::is_same_v<T, ARGBVal>) {
                siprintf("%3d ", p._red);
            } else if constexpr (std::is_base_of_v<GreyPixelType, T>) {
                siprintf("%g ", static_cast<double>(p._grey));
            } else if constexpr (std::is_base_of_v<HSVPixelType, T>) {
                siprintf("%g,%g,%g ", static_cast<double>(p._hue), static_cast<double>(p._sat),
                         static_cast<double>(p._val));
            } else {
                siprintf("%g,%g,%g ", static_cast<double>(p._red), static_cast<double>(p._green),
                         static_cast<double>(p._blue));
            }
        }
        siprintf("\n");
    }
    siprintf("\n");
}

template <class T>
void PixRect<T>::printData() const {
    siprintf(std::is_same_v<T, ARGBVal> ? "PixRect<ARGBVal>::printData\n" : "PixRect::PrintData()\n");
    printRows(INT64_MAX);
}

template <class T>
void PixRect<T>::printDataLimited(int n) const {
    siprintf(std::is_same_v<T, ARGBVal> ? "PixRect<ARGBVal>::printDataLimited\n"
                                        : "PixRect::PrintDataLimited()\n");
    printRows(n);
}

template <class T>
PixRectRW<T>::PixRectRW(const DBGState& s) : PixRect<T>(s) {
    siprintf("PixRectRW(const DBGState &s=%d) now dbg=%d\n", s.value(), this->dbg.value());
}

// The constructors allocate by name: the storage of a derived class is its own constructor's business.
template <class T>
PixRectRW<T>::PixRectRW(int w, int h) : PixRect<T>(w, h) {
    PixRectRW::init();
}

template <class T>
PixRectRW<T>::PixRectRW(int lx, int ly, int hx, int hy) : PixRect<T>(lx, ly, hx, hy) {
    PixRectRW::init();
}

template <class T>
PixRectRW<T>::PixRectRW(const PixRectRW& src) : PixRect<T>(static_cast<const PixRect<T>&>(src)) {
    PixRectRW::init();
    copyfrom(static_cast<const PixRect<T>&>(src));
}

template <class T>
template <class U>
PixRectRW<T>::PixRectRW(const PixRect<U>& src) : PixRect<T>(src.lx(), src.ly(), src.hx(), src.hy()) {
    this->setscale(src.xs(), src.ys());
    this->dbg = src.dbg;
    PixRectRW::init();
    copyfrom(src);
}

template <class T>
void PixRectRW<T>::init() {
    const int w = this->width(), h = this->height();
    if (w <= 0 || h <= 0) return;
    auto rows = std::make_unique<T*[]>(static_cast<std::size_t>(h));
    std::unique_ptr<T[]> pixels(new T[static_cast<std::size_t>(w) * static_cast<std::size_t>(h)]);
    PixRectRW::freestore();
    _firstrast = rows.release();
    _firstpixel = pixels.release();
    for (std::ptrdiff_t i = 0; i < h; ++i) _firstrast[i] = _firstpixel + i * w - this->_lx;
    _rast = _firstrast - this->_ly;
}

template <class T>
void PixRectRW<T>::init(int lx, int ly, int hx, int hy) {
    this->PixRectBase<T>::setbounds(lx, ly, hx, hy);
    try {
        this->init();
    } catch (...) {
        // The old storage does not fit the new bounds: better none than one that is read past its end.
        this->freestore();
        throw;
    }
}

template <class T>
void PixRectRW<T>::freestore() {
    // What was allocated is freed whatever the bounds say by now.
    delete[] _firstpixel;
    delete[] _firstrast;
    _firstpixel = nullptr;
    _firstrast = nullptr;
    _rast = nullptr;
}

template <class T>
PixRectRW<T>::~PixRectRW() {
    PixRectRW::freestore();
}

template <class T>
T PixRectRW<T>::pixdd(double x, double y) const {
    return tumblewash::imagelib::withinint(x, y) ? this->pix(static_cast<int>(x), static_cast<int>(y))
                                                 : this->blackpixel;
}

template <class T>
SIerrorcode PixRectRW<T>::shiftorigin(int dx, int dy) {
    PixRectBase<T>::shiftorigin(dx, dy);
    if (_rast == nullptr) return IMAGE_NODATA;
    _rast -= dy;
    for (int y = this->_ly; y <= this->_hy; ++y) _rast[y] -= dx;
    return IMAGE_OK;
}

template <class T>
void PixRectRW<T>::printInfo() const {
    siprintf("PixRectRW rast(%x) :", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(_rast)));
    PixRect<T>::printInfo();
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::set(int x, int y, const U& v) {
    if (!this->withinbounds(x, y)) return IMAGE_OOB_COORD;
    T& stored = pixref(x, y);
    if (&stored == &this->blackpixel) return IMAGE_NODATA;
    if (static_cast<const void*>(&stored) != static_cast<const void*>(&v)) SIConvert(stored, v);
    return IMAGE_OK;
}

template <class T>
PixRectRW<T>& PixRectRW<T>::operator=(const PixRect<T>& src) {
    if (static_cast<const PixRect<T>*>(this) != &src) copyfrom(src);
    return *this;
}

template <class T>
template <class U>
SIerrorcode PixRectRW<T>::copyfrom(const PixRect<U>& src) {
    // Rectangles with rows in memory are read from those, without a virtual call for each pixel.
    return tumblewash::imagelib::forEachRowPair(
        *this, src, [](T* to, const U* from, int n) { tumblewash::imagelib::convertRow(to, from, n); });
}
