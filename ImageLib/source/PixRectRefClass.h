// PixRectRefClass: the two view classes without the bodies of their members, for the header that looks
// through views to memory. They hold no pixels and do not keep their source alive: a view must not outlive
// what it shows. Whoever uses views includes PixRectRef.h.
#pragma once

#include "ImageLib/source/PixRectClass.h"

/// A read-only view: view point (x, y) shows source point (x - sx, y - sy).
template <class T>
class PixRectRef : public virtual PixRect<T> {
  public:
    /// A view without a source: every read gives `blackpixel`.
    PixRectRef() = default;
    /// As by default, with these debug categories.
    explicit PixRectRef(const DBGState& s) : PixRect<T>(s) {}
    /// A view of (lx, ly, hx, hy), clipped to the source's bounds, with the source's scale pair and debug
    /// state.
    PixRectRef(PixRect<T>& src, int lx, int ly, int hx, int hy);
    /// A view of the whole source.
    explicit PixRectRef(PixRect<T>& src);
    /// A copy of a view shows the same source in the same coordinates.
    PixRectRef(const PixRectRef&) = default;
    /// Shows what the other view shows.
    PixRectRef& operator=(const PixRectRef&) = default;

    /// A view has no storage to make.
    void init() override {}
    ~PixRectRef() override = default;
    /// The viewed rectangle, not owned; null without one.
    virtual PixRect<T>* src() const { return _src; }
    /// The source's `pix`, within the view's bounds; else `blackpixel`.
    T pix(int x, int y) const override {
        if (_src == nullptr || !this->withinbounds(x, y)) return this->blackpixel;
        return _src->pix(tumblewash::imagelib::wrapsub(x, sx), tumblewash::imagelib::wrapsub(y, sy));
    }
    T pixNB(int x, int y) const override {
        return _src == nullptr
                   ? this->blackpixel
                   : _src->pixNB(tumblewash::imagelib::wrapsub(x, sx), tumblewash::imagelib::wrapsub(y, sy));
    }
    /// The source's `pixdd`, untested by the view's own bounds.
    T pixdd(double x, double y) const override {
        return _src == nullptr ? this->blackpixel : _src->pixdd(x - sx, y - sy);
    }
    /// The view shows the same source pixels under new coordinates. IMAGE_NODATA without a source.
    SIerrorcode shiftorigin(int dx, int dy) override;
    /// The viewport slides across the source, then is clipped to it. IMAGE_NODATA without a source.
    virtual SIerrorcode shiftbounds(int dx, int dy);
    /// Stores the bounds and clips them to the source's, which are taken as they are, without sx and sy.
    /// IMAGE_NODATA without a source.
    virtual SIerrorcode setbounds(int lx, int ly, int hx, int hy);
    void printInfo() const override;

    /// True when both corners lie within the view, and both, moved by (-sx, -sy), within the source.
    bool validatebounds(int x1, int y1, int x2, int y2) const;

    /// The viewed rectangle, not owned; null without one.
    PixRect<T>* _src = nullptr;
    /// View coordinate minus source coordinate.
    int sx = 0;
    /// View coordinate minus source coordinate.
    int sy = 0;

  private:
    void show(PixRect<T>& src, int lx, int ly, int hx, int hy);
};

/// The same view, also writable: whole-rectangle members of PixRectRW work on the source's pixels in place.
template <class T>
class PixRectRWRef : public PixRectRef<T>, public PixRectRW<T> {
  public:
    PixRectRWRef() = default;
    /// As by default, with these debug categories.
    explicit PixRectRWRef(const DBGState& s) : PixRect<T>(s) {}
    /// A view of (lx, ly, hx, hy), clipped to the source's bounds.
    PixRectRWRef(PixRectRW<T>& src, int lx, int ly, int hx, int hy)
        : PixRect<T>(), PixRectRef<T>(src, lx, ly, hx, hy), PixRectRW<T>(), _src(&src) {}
    /// A view of the whole source.
    explicit PixRectRWRef(PixRectRW<T>& src) : PixRectRWRef(src, src.lx(), src.ly(), src.hx(), src.hy()) {}
    /// A copy of a view shows the same source in the same coordinates.
    PixRectRWRef(const PixRectRWRef& v) : PixRect<T>(v), PixRectRef<T>(v), PixRectRW<T>(), _src(v._src) {}

    using PixRectRW<T>::init;
    void init() override {}
    ~PixRectRWRef() override = default;
    /// The viewed rectangle; null without one.
    PixRect<T>* src() const override { return PixRectRef<T>::_src; }
    T pix(int x, int y) const override { return PixRectRef<T>::pix(x, y); }
    T pixNB(int x, int y) const override { return PixRectRef<T>::pixNB(x, y); }
    T pixdd(double x, double y) const override { return PixRectRef<T>::pixdd(x, y); }
    SIerrorcode shiftorigin(int dx, int dy) override { return PixRectRef<T>::shiftorigin(dx, dy); }
    void printInfo() const override;
    /// The source's `pixref`, within the view's bounds; else `blackpixel`, which must not be written.
    T& pixref(int x, int y) const override {
        if (_src == nullptr || !this->withinbounds(x, y)) return this->blackpixel;
        return _src->pixref(tumblewash::imagelib::wrapsub(x, this->sx),
                            tumblewash::imagelib::wrapsub(y, this->sy));
    }
    T& pixrefNB(int x, int y) const override {
        if (_src == nullptr) return this->blackpixel;
        return _src->pixrefNB(tumblewash::imagelib::wrapsub(x, this->sx),
                              tumblewash::imagelib::wrapsub(y, this->sy));
    }
    double totalLum() const override { return PixRect<T>::totalLum(); }
    float averageHue() const override { return PixRect<T>::averageHue(); }
    SIerrorcode zeroorigin() override { return PixRect<T>::zeroorigin(); }
    SIerrorcode centreorigin() override { return PixRect<T>::centreorigin(); }

    /// Assignment copies pixels into what the view shows.
    using PixRectRW<T>::operator=;
    /// Copies the pixels the other view shows into what this one shows.
    PixRectRWRef& operator=(const PixRectRWRef& v) {
        PixRectRW<T>::operator=(static_cast<const PixRect<T>&>(v));
        return *this;
    }

    /// The same rectangle as a writable one.
    PixRectRW<T>* _src = nullptr;
};
