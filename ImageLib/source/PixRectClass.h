// PixRectClass: the rectangle classes without the bodies of their members, for the headers that make those
// bodies. PixRectBase holds bounds and scale and the abstract read interface, PixRect adds data printing,
// PixRectRW owns storage. Whoever uses rectangles includes PixRect.h.
//
// Rules of the whole family: x grows right, y grows down; lx, ly, hx, hy are inclusive; width = hx - lx + 1.
// Reads outside the bounds or without storage return the static zero pixel `blackpixel`, which nothing
// ever writes. The suffix NB means no bounds test: the caller has clipped. Nothing here is shared between
// threads but `blackpixel`, which is constant.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

#include "ImageLib/source/PixelConvert.h"
#include "ImageLib/source/SICommon.h"

template <class T>
class PixRectRW;

/// How `blendwithalpha` weighs. Only 0 has an effect.
enum sialphamethod : std::uint8_t { SIAlphaSource = 0 };

/// A table of float weights by row and column, row 0 and column 0 first. Outside the table the weight is 0.
struct Shape2D {
    Shape2D() = default;
    /// A table of the given size, every weight `w`.
    Shape2D(int columns_, int rows_, float w = 0.0f)
        : columns(columns_),
          rows(rows_),
          weights(columns_ > 0 && rows_ > 0
                      ? static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)
                      : 0,
                  w) {}

    /// A table of the given size from its weights, row by row; weights missing from `w` are 0.
    Shape2D(int columns_, int rows_, const std::vector<float>& w) : Shape2D(columns_, rows_) {
        std::copy_n(w.begin(), std::min(w.size(), weights.size()), weights.begin());
    }

    /// The weight at (row, column), 0 outside.
    float weight(int row, int column) const {
        const std::size_t i = index(row, column);
        return i < weights.size() ? weights[i] : 0.0f;
    }
    /// Sets the weight at (row, column); outside the table nothing happens.
    void setweight(int row, int column, float w) {
        const std::size_t i = index(row, column);
        if (i < weights.size()) weights[i] = w;
    }

    /// Width of the table.
    int columns = 0;
    /// Height of the table.
    int rows = 0;
    /// columns x rows weights, row by row from the top.
    std::vector<float> weights;

  private:
    std::size_t index(int row, int column) const {
        if (row < 0 || column < 0 || row >= rows || column >= columns) return weights.size();
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
               static_cast<std::size_t>(column);
    }
};

namespace tumblewash::imagelib {

// Bounds arithmetic wraps in 32 bits, so that no bounds, however wild, are undefined.
/// a + b, wrapping around at the ends of int.
constexpr int wrapadd(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
/// a - b, wrapping around at the ends of int.
constexpr int wrapsub(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

/// True when both coordinates are finite and truncate to an int; others lie outside every rectangle.
constexpr bool withinint(double x, double y) {
    return x > -2147483649.0 && x < 2147483648.0 && y > -2147483649.0 && y < 2147483648.0;
}

}  // namespace tumblewash::imagelib

/// Bounds, scale and the abstract read interface of every rectangle of T.
template <class T>
class PixRectBase : public SICommon {
  public:
    /// The pixel type.
    using PixType = T;

    /// Bounds (0, 0, 0, 0), scales 1.
    PixRectBase() = default;
    /// As by default, with these debug categories.
    explicit PixRectBase(const DBGState& s) : SICommon(s) {}
    /// Bounds (0, 0, w - 1, h - 1).
    PixRectBase(int w, int h)
        : PixRectBase(0, 0, tumblewash::imagelib::wrapsub(w, 1), tumblewash::imagelib::wrapsub(h, 1)) {}
    /// With these inclusive bounds, stored unchanged.
    PixRectBase(int lx, int ly, int hx, int hy) : _lx(lx), _ly(ly), _hx(hx), _hy(hy) {}
    /// Copies carry bounds, scale pair and debug state.
    PixRectBase(const PixRectBase&) = default;

    /// Prints bounds, size and scale through `siprintf`.
    void printInfo() const override;
    /// Makes the storage for the bounds, where a class has storage.
    virtual void init() {}
    virtual ~PixRectBase() = default;
    /// a.lx == b.lx, a.lx == b.ly, a.hx == b.hx and a.hy == b.hy. The second test is the library's rule as it
    /// stands: it holds for the usual zero-origin rectangles, and a.ly is never looked at.
    virtual bool equalbounds(const PixRectBase& a, const PixRectBase& b) const;
    /// Equal widths and equal heights.
    virtual bool equalsize(const PixRectBase& a, const PixRectBase& b) const;
    /// Moves the coordinates by (dx, dy): the same pixels answer at new positions. No pixel is copied.
    virtual SIerrorcode shiftorigin(int dx, int dy);
    /// The sum of every pixel's luminance: (30 red + 59 green + 11 blue) / 100, an integer for packed pixels.
    virtual double totalLum() const;
    /// The plain mean of every pixel's hue (0..255 scale), summed in single precision in walk order, divided
    /// by width and then by height. 0 for an empty rectangle.
    virtual float averageHue() const;
    /// Moves the origin to (0, 0) through the virtual `shiftorigin`.
    virtual SIerrorcode zeroorigin();
    /// Moves the origin so that lx = -(width / 2) and ly = -(height / 2).
    virtual SIerrorcode centreorigin();
    /// The pixel at (x, y), `blackpixel` outside the bounds or without storage.
    virtual T pix(int x, int y) const = 0;
    /// The same without a bounds test.
    virtual T pixNB(int x, int y) const = 0;
    /// The pixel at a real position; plain rectangles truncate both coordinates toward zero.
    virtual T pixdd(double x, double y) const = 0;

    /// The leftmost column; all four bounds are inclusive.
    int lx() const { return _lx; }
    /// The first row.
    int ly() const { return _ly; }
    /// The rightmost column.
    int hx() const { return _hx; }
    /// The last row.
    int hy() const { return _hy; }
    /// Not positive for an empty rectangle.
    int width() const { return tumblewash::imagelib::wrapadd(tumblewash::imagelib::wrapsub(_hx, _lx), 1); }
    /// Not positive for an empty rectangle.
    int height() const { return tumblewash::imagelib::wrapadd(tumblewash::imagelib::wrapsub(_hy, _ly), 1); }
    /// The centre: the low bound plus half the size, truncating.
    int cx() const { return tumblewash::imagelib::wrapadd(_lx, width() / 2); }
    /// The centre: the low bound plus half the size, truncating.
    int cy() const { return tumblewash::imagelib::wrapadd(_ly, height() / 2); }
    /// The scale factor along this axis.
    double xs() const { return _xs; }
    /// The scale factor along this axis.
    double ys() const { return _ys; }

    /// Stores the four bounds: no check, no reallocation.
    void setbounds(int lx, int ly, int hx, int hy) {
        _lx = lx;
        _ly = ly;
        _hx = hx;
        _hy = hy;
    }
    /// Takes another rectangle's bounds.
    template <class U>
    void setbounds(const PixRectBase<U>& r) {
        setbounds(r.lx(), r.ly(), r.hx(), r.hy());
    }
    /// Takes another rectangle's bounds.
    template <class U>
    void setbounds(const PixRectBase<U>* r) {
        setbounds(*r);
    }
    /// hx = lx + w - 1.
    void setwidth(int w) { _hx = tumblewash::imagelib::wrapsub(tumblewash::imagelib::wrapadd(_lx, w), 1); }
    /// Sets both scale factors; no pixel and no bound changes.
    void setscale(double xs, double ys) {
        _xs = xs;
        _ys = ys;
    }
    /// True when (x, y) lies within the inclusive bounds.
    bool withinbounds(int x, int y) const { return x >= _lx && x <= _hx && y >= _ly && y <= _hy; }
    /// True when both corners lie within the bounds.
    bool validatebounds(int x1, int y1, int x2, int y2) const {
        return withinbounds(x1, y1) && withinbounds(x2, y2);
    }
    /// Shrinks the bounds to the intersection with `other`'s. An empty intersection collapses to one column
    /// or row at the new lx or ly.
    void intersect(const PixRectBase* other);

    /// A deep copy of the pixels with the same bounds, scale and debug state; owned by the caller.
    [[nodiscard]] PixRectBase* duplicate() const;

    /// The zero pixel that answers for every missing one. Constant: nothing may write it.
    static T blackpixel;

    /// The scale factor along this axis, 1 by default.
    double _xs = 1.0;
    /// The scale factor along this axis, 1 by default.
    double _ys = 1.0;
    /// The lowest coordinate, inclusive.
    int _lx = 0;
    /// The lowest coordinate, inclusive.
    int _ly = 0;
    /// The highest coordinate, inclusive.
    int _hx = 0;
    /// The highest coordinate, inclusive.
    int _hy = 0;

  protected:
    // Assigning bounds alone would part them from the storage they describe.
    /// Takes bounds, scale pair and debug state.
    PixRectBase& operator=(const PixRectBase&) = default;
};

/// The zero pixel of a type: every channel 0, alpha included.
template <class T>
struct BlackPixelOf {
    /// A default pixel, every channel 0.
    static constexpr T make() { return T(); }
};
/// The zero pixel of a type: every channel 0, alpha included.
template <>
struct BlackPixelOf<ARGBVal> {
    /// Every channel 0; a default ARGBVal would be opaque.
    static constexpr ARGBVal make() { return ARGBVal(0, 0, 0, 0); }
};

template <class T>
constinit T PixRectBase<T>::blackpixel = BlackPixelOf<T>::make();

/// A readable rectangle that can print its data.
template <class T>
class PixRect : public PixRectBase<T> {
  public:
    PixRect() = default;
    /// Traces the state it was given.
    explicit PixRect(const DBGState& s);
    /// Bounds (0, 0, w - 1, h - 1).
    PixRect(int w, int h) : PixRectBase<T>(w, h) {}
    /// With these inclusive bounds, stored unchanged.
    PixRect(int lx, int ly, int hx, int hy) : PixRectBase<T>(lx, ly, hx, hy) {}
    /// Copies bounds, scale pair and debug state.
    PixRect(const PixRect&) = default;
    /// Copies from a pointer, which must not be null.
    explicit PixRect(const PixRect* src) : PixRect(*src) {}

    /// Prints itself through `siprintf`.
    void printInfo() const override;
    /// Does nothing: there is no storage to make.
    void init() override {}
    ~PixRect() override = default;
    /// Prints every pixel, row by row.
    virtual void printData() const;
    /// The same walk, but at most n pixels in all.
    virtual void printDataLimited(int n) const;

  protected:
    /// Takes bounds, scale pair and debug state.
    PixRect& operator=(const PixRect&) = default;

  private:
    void printRows(std::int64_t limit) const;
};

/// A rectangle that owns one contiguous block of pixels and a row table, so that `_rast[y][x]` is pixel (x,
/// y) in absolute coordinates. Rows lie top to bottom with a stride of exactly `width` pixels.
///
/// Whole-rectangle members walk rows from ly to hy, x from lx to hx within a row. Those with another
/// rectangle work on the intersection of both bounds and leave the rest untouched; an empty intersection is
/// no error. All of them return IMAGE_NODATA and write nothing when this rectangle has no pixels, else
/// IMAGE_OK.
template <class T>
class PixRectRW : public virtual PixRect<T> {
  public:
    /// No storage; bounds (0, 0, 0, 0).
    PixRectRW() = default;
    /// No storage; traces the state it was given.
    explicit PixRectRW(const DBGState& s);
    /// Storage for (0, 0, w - 1, h - 1); none when empty.
    PixRectRW(int w, int h);
    /// Storage for these inclusive bounds; none when empty.
    PixRectRW(int lx, int ly, int hx, int hy);
    /// Deep copies with the source's bounds, scale pair and debug state.
    PixRectRW(const PixRectRW& src);
    /// A deep copy of any rectangle, converted to T.
    template <class U>
    explicit PixRectRW(const PixRect<U>& src);
    /// A filtered copy: each pixel at least 3 away from every edge is the sum of its 5 x 5 neighbourhood
    /// weighted by kernel[i][j] (i along x, j along y) and divided by the sum of the weights, which must not
    /// be zero. The border keeps the values of a fresh rectangle.
    PixRectRW(const PixRectRW& src, float kernel[5][5]);

    /// Allocates rows and pixels for the present bounds and frees what this object allocated before. An empty
    /// rectangle allocates nothing and keeps what it has.
    void init() override;
    /// Sets the bounds, then calls `init()` through its virtual slot.
    virtual void init(int lx, int ly, int hx, int hy);
    /// Frees the storage. The bounds stay.
    virtual void freestore();
    ~PixRectRW() override;
    /// The stored pixel, `blackpixel` outside the bounds or without storage.
    T pix(int x, int y) const override {
        if (_rast == nullptr || !this->withinbounds(x, y)) return this->blackpixel;
        return _rast[y][x];
    }
    /// The same without a bounds test.
    T pixNB(int x, int y) const override { return _rast == nullptr ? this->blackpixel : _rast[y][x]; }
    /// `pix` at both coordinates truncated toward zero.
    T pixdd(double x, double y) const override;
    /// Moves the bounds and the row table. IMAGE_NODATA without storage, the bounds moved nevertheless.
    SIerrorcode shiftorigin(int dx, int dy) override;
    /// The stored pixel, or `blackpixel` outside the bounds or without storage, which must not be written.
    virtual T& pixref(int x, int y) const {
        if (_rast == nullptr || !this->withinbounds(x, y)) return this->blackpixel;
        return _rast[y][x];
    }
    /// The same without a bounds test.
    virtual T& pixrefNB(int x, int y) const { return _rast == nullptr ? this->blackpixel : _rast[y][x]; }
    /// Prints itself through `siprintf`.
    void printInfo() const override;

    /// The row table: `rasters()[y][x]`. Null without storage, and for views.
    T** rasters() const { return _rast; }

    /// Stores v converted to T. IMAGE_OOB_COORD outside the bounds, then IMAGE_NODATA without storage.
    template <class U>
    SIerrorcode set(int x, int y, const U& v);

    /// `copyfrom`, unless the source is this object.
    PixRectRW& operator=(const PixRect<T>& src);
    /// `copyfrom`, unless the source is this object.
    PixRectRW& operator=(const PixRectRW& src) { return *this = static_cast<const PixRect<T>&>(src); }

    /// Copies the common region, converted to T: all four bytes between packed pixels of one kind.
    template <class U>
    SIerrorcode copyfrom(const PixRect<U>& src);
    /// Every pixel takes v.
    template <class U>
    SIerrorcode fillWith(const U& v);
    /// A test pattern: the low byte of a running count in red, green and blue; alpha stays.
    SIerrorcode fillwithcount();
    /// All four bytes += the source's, modulo 256 for packed pixels.
    template <class U>
    SIerrorcode add(const PixRect<U>& src);
    /// All four bytes -= the source's, modulo 256 for packed pixels.
    template <class U>
    SIerrorcode subtract(const PixRect<U>& src);
    /// Adds v to every pixel. Packed pixels wrap: an ARGBVal adds all four bytes, an int its low byte to the
    /// colours, a double is truncated to an int first, an RGBPixel adds through the pixel's own operator.
    template <class U>
    SIerrorcode incrementby(const U& v);
    /// The same as `incrementby`.
    template <class U>
    SIerrorcode operator+=(const U& v) {
        return incrementby(v);
    }
    /// Each colour x d, truncated toward zero, low byte kept for packed pixels; alpha stays.
    SIerrorcode multiplyby(double d);
    /// The same as `multiplyby`.
    SIerrorcode operator*=(double d) { return multiplyby(d); }
    /// multiplyby(1.0 / d).
    SIerrorcode operator/=(double d) { return multiplyby(1.0 / d); }
    /// Every pixel `mixInProportion(src, p)`.
    template <class U>
    SIerrorcode blendwith(const PixRect<U>& src, float p);
    /// Every pixel `mixByAlphaSrc(src)` when m is 0; any other method changes nothing.
    template <class U>
    SIerrorcode blendwithalpha(const PixRect<U>& src, sialphamethod m);
    /// Where the luminances differ by g < limit, `mixInProportion(src, 1 + g / 10.0)`; elsewhere the pixel
    /// stays and is counted in `rejected`.
    template <class U>
    SIerrorcode blendwithlimit(const PixRect<U>& src, int limit, int& rejected);
    /// Each colour moves half-way (truncating) to the source's where they differ by less than limit.
    template <class U>
    SIerrorcode blendwithlimitrgb(const PixRect<U>& src, int limit);
    /// Every pixel `mixInProportion(src, (1.025 - w) x 40.0)`, w being the shape's weight at the pixel's
    /// offset from the common region's top-left corner.
    template <class U>
    SIerrorcode blendwithpeak(const PixRect<U>& src, Shape2D& shape);

    /// The row table, offset so that `_rast[y][x]` is pixel (x, y). Null without storage.
    T** _rast = nullptr;
    /// The row table as allocated.
    T** _firstrast = nullptr;
    /// The pixel block as allocated.
    T* _firstpixel = nullptr;
};

/// Every pixel type for which the library provides rectangles.
#define SI_FOR_EACH_RECT_PIXEL(X) \
    X(ARGBVal)                    \
    X(RGBGrVal)                   \
    X(GreyPixel<float>)           \
    X(GreyPixel<unsigned char>)   \
    X(GreyPixel<int>)             \
    X(RGBPixel<float>)            \
    X(RGBPixel<unsigned char>)    \
    X(HSVPixel<unsigned char>)
