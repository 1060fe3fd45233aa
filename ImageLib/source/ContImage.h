// ContImage: a pixel rectangle seen as a continuous image that answers at real-valued coordinates.
// It interpolates between the four (or sixteen) pixels around a position, in one of four ways.
// It is a view: it holds no pixels, owns nothing, and changes no scale (that is SamplePixRect).
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/RGBPixel.h"
#include "ImageLib/source/SICommon.h"

/// A continuous image over a rectangle. Coordinates are those of the view; pixel (i, j) lies at the
/// whole-numbered position (i, j). The source is not owned and must outlive the view.
///
/// The four ways to interpolate, with dx and dy the fractions of the position and the four neighbours taken
/// in the order (floor x, floor y), (ceil x, floor y), (ceil x, ceil y), (floor x, ceil y):
/// - `SIInterpBilinear`: weights (1-dx)(1-dy), dx(1-dy), dx dy, (1-dx)dy, formed in double. Byte pixels
/// truncate each
///   contribution on its own and add modulo 256; the alpha of `ARGBVal` is 255 plus the four alphas, modulo
///   256, so four opaque neighbours give 251. Float pixels add the four products in double, starting from 0,
///   and narrow the sum to float once: a constant image is therefore reproduced exactly.
/// - `SIInterpSmooth`: per axis the far neighbour weighs (f + 0.5) * 0.5, from 0.25 at fraction 0 to 0.75 at
/// 1, and the
///   near one the rest; a pixel weight is the product of its two axis weights. A soft picture without hard
///   seams.
/// - `SIInterpPyramid`: let r = sqrt((dx-0.5)^2 + (dy-0.5)^2) / 0.70710677, the distance from the cell's
/// centre as a
///   fraction of the way to a corner. Each weight is 0.25 (1-r) + r w, with w the bilinear weight: four equal
///   quarters in the centre, the pixel itself at a corner.
/// - `SIInterpBicubic`: sixteen neighbours at offsets -1 ... 2 from (floor x, floor y), each weighing
///   `cubic_bspline(dx - i)` times `cubic_bspline(dy - j)`. A B-spline smooths: it does not pass through the
///   pixels.
///
/// The weights of each of the last three sum to 1 (within rounding); they are accumulated in single precision
/// in an `RGBPixel<float>`. For byte pixels the sum is rounded to nearest and clamped to 0 ... 255, and the
/// alpha of `ARGBVal` is 255. Neighbours outside the rectangle count as the zero pixel.
template <class T>
class ContImageRef : public PixRectRef<T> {
  public:
    /// A view of the whole of `src`.
    ContImageRef(PixRect<T>& src, siinterpcode type);
    /// A view of the part of `src` between the inclusive corners (lx, ly) and (hx, hy), clipped to its
    /// bounds.
    ContImageRef(PixRect<T>& src, int lx, int ly, int hx, int hy, siinterpcode type);
    ~ContImageRef() override = default;

    /// The interpolated value at whole positions: `interpPix(x, y)`.
    T pix(int x, int y) const override;
    /// The same as `pix`: the interpolation tests its own bounds.
    T pixNB(int x, int y) const override;
    /// The interpolated value at (x, y), or `blackpixel` where x or y, truncated toward zero, lies outside
    /// the view. A coordinate between -1 and 0 counts as inside a view that begins at 0; one that is no
    /// number lies outside.
    T pixdd(double x, double y) const override;
    /// The interpolation proper. Where the ceiling of x or y lies outside the view (the right and bottom
    /// edges) it is the underlying pixel at the truncated position, unchanged.
    [[nodiscard]] T interpPix(double x, double y) const;

    void printInfo() const override;

    /// How `interpPix` weighs the neighbours.
    siinterpcode type() const { return _type; }

  private:
    siinterpcode _type;
};

/// The cubic B-spline kernel at distance t, valid for -2 <= t < 2 (below -2 it is 0, above 2 it is not the
/// kernel): (p(t+2) - 4p(t+1) + 6p(t) - 4p(t-1)) * 0.16666667 with p(u) = u^3 for positive u and 0 otherwise.
/// Each power is formed in double and narrowed to float, the rest is single precision.
[[nodiscard]] float cubic_bspline(double t);

extern template class ContImageRef<ARGBVal>;
extern template class ContImageRef<GreyPixel<float>>;
extern template class ContImageRef<GreyPixel<unsigned char>>;
extern template class ContImageRef<RGBPixel<float>>;
