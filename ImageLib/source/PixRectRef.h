// PixRectRef and PixRectRWRef: viewports onto another rectangle, with bounds and an origin of their own: the
// classes (PixRectRefClass.h) with the bodies of all their members.
#pragma once

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRefClass.h"

template <class T>
void PixRectRef<T>::show(PixRect<T>& src, int lx, int ly, int hx, int hy) {
    // The shared base is set here and not in an initialiser, which a class further down would skip.
    _src = &src;
    this->setscale(src.xs(), src.ys());
    this->dbg = src.dbg;
    PixRectBase<T>::setbounds(lx, ly, hx, hy);
    this->intersect(&src);
}

template <class T>
PixRectRef<T>::PixRectRef(PixRect<T>& src, int lx, int ly, int hx, int hy) {
    show(src, lx, ly, hx, hy);
}

template <class T>
PixRectRef<T>::PixRectRef(PixRect<T>& src) {
    show(src, src.lx(), src.ly(), src.hx(), src.hy());
    siprintf(
        "PixRectRef copy constructor1:PixRectRef<PixType>::PixRectRef( PixRect<PixType> &src) %d %d %d %d -> "
        "%d %d %d %d\n",
        src.lx(), src.ly(), src.hx(), src.hy(), this->_lx, this->_ly, this->_hx, this->_hy);
}

template <class T>
SIerrorcode PixRectRef<T>::shiftorigin(int dx, int dy) {
    if (_src == nullptr) return IMAGE_NODATA;
    sx = tumblewash::imagelib::wrapadd(sx, dx);
    sy = tumblewash::imagelib::wrapadd(sy, dy);
    return PixRectBase<T>::shiftorigin(dx, dy);
}

template <class T>
SIerrorcode PixRectRef<T>::shiftbounds(int dx, int dy) {
    if (_src == nullptr) return IMAGE_NODATA;
    PixRectBase<T>::shiftorigin(dx, dy);
    this->intersect(_src);
    return IMAGE_OK;
}

template <class T>
SIerrorcode PixRectRef<T>::setbounds(int lx, int ly, int hx, int hy) {
    if (_src == nullptr) return IMAGE_NODATA;
    PixRectBase<T>::setbounds(lx, ly, hx, hy);
    this->intersect(_src);
    return IMAGE_OK;
}

template <class T>
bool PixRectRef<T>::validatebounds(int x1, int y1, int x2, int y2) const {
    using tumblewash::imagelib::wrapsub;
    return _src != nullptr && PixRectBase<T>::validatebounds(x1, y1, x2, y2) &&
           _src->validatebounds(wrapsub(x1, sx), wrapsub(y1, sy), wrapsub(x2, sx), wrapsub(y2, sy));
}

template <class T>
void PixRectRef<T>::printInfo() const {
    siprintf("PixRectRef<PixType> sx=%d sy=%d:", sx, sy);
    siprintf("SRC:");
    if (_src != nullptr) _src->printInfo();
}

template <class T>
void PixRectRWRef<T>::printInfo() const {
    siprintf("PixRectRWRef():");
    PixRectRef<T>::printInfo();
}

/// Undefined again below.
#define SI_EXTERN_REF(T)                 \
    extern template class PixRectRef<T>; \
    extern template class PixRectRWRef<T>;
SI_FOR_EACH_RECT_PIXEL(SI_EXTERN_REF)
#undef SI_EXTERN_REF
