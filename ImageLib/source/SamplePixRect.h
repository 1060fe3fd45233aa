// SamplePixRect: a rectangle presented at another scale, reduced or enlarged.
// SamplePixRectNC computes each pixel when asked; SamplePixRect computes all of them once into storage of its
// own. Interpolation is not done here: a plain source is enlarged by repetition, a ContImageRef source
// smoothly.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/Pixel.h"
#include "ImageLib/source/RGBPixel.h"
#include "ImageLib/source/SICommon.h"

/// A rectangle of D that shows `src`, a rectangle of S, with `xs` source columns and `ys` source rows per
/// pixel, computed on demand. It begins at the source's corner and has lrintf(width / xs) columns and
/// lrintf(height / ys) rows. The source is not owned and must outlive the view.
template <class D, class S>
class SamplePixRectNC : public virtual PixRect<D> {
  public:
    /// A view of `src` with `xs` by `ys` source pixels per pixel.
    SamplePixRectNC(const PixRect<S>& src, double xs, double ys, sisamplecodes code);
    ~SamplePixRectNC() override = default;

    /// The viewed rectangle.
    virtual const PixRect<S>* src() const;
    /// Enlargement: the source at the real position that (x, y) falls on, clamped to the source's bounds.
    /// `SIBestSample` reads `pixdd`, `SIQuickSample` and `SISingleSample` the nearest pixel, `SISmoothSample`
    /// four weighted `pixdd`.
    virtual D superlookup(const PixRect<S>* src, double x, double y, const sisamplecodes& code) const;
    /// Reduction: the mean of the block of source pixels that (x, y) covers, accumulated in double, read at
    /// rounded positions (`SIQuickSample`) or through `pixdd` (`SIBestSample`, `SISmoothSample`);
    /// `SISingleSample` reads the one pixel at the block's centre. A block without a single pixel inside the
    /// source gives not-a-number channels.
    virtual D sublookup(const PixRect<S>* src, double x, double y, const sisamplecodes& code) const;
    /// The pixel at (x, y) without a test of the bounds: the source itself when both factors are 1, a
    /// reduction when both are at least 2, an enlargement otherwise.
    virtual D lookup(double x, double y) const;

    /// `lookup` inside the bounds, `blackpixel` outside.
    D pix(int x, int y) const override;
    /// `lookup`.
    D pixNB(int x, int y) const override;
    /// `lookup` at the real position when the truncated one lies inside the bounds, `blackpixel` otherwise.
    D pixdd(double x, double y) const override;
    void printInfo() const override;

    /// Source columns per sampled column.
    float xscale() const { return xsl; }
    /// Source rows per sampled row.
    float yscale() const { return ysl; }
    /// The sampling code.
    sisamplecodes type() const { return _type; }
    /// Whether an enlargement aligns pixel centres instead of corners.
    bool scaleInvariant() const { return _scaleInvariant; }
    /// Aligns pixel centres (true) or corners (false, the state after construction).
    void setScaleInvariant(bool on) { _scaleInvariant = on; }

  protected:
    /// Takes the factors and derives bounds and scale pair from the source's.
    void setupRect(const PixRect<S>& src, double xs, double ys);

    /// Whether an enlargement aligns pixel centres.
    bool _scaleInvariant;
    /// The source, not owned.
    const PixRect<S>* _src;
    /// The sampling code.
    sisamplecodes _type;
    /// Source columns per sampled column.
    float xsl;
    /// Source rows per sampled row.
    float ysl;
};

/// The same picture computed once, at construction, into storage of its own. The source is not read
/// afterwards.
template <class D, class S>
class SamplePixRect : public SamplePixRectNC<D, S>, public PixRectRW<D> {
  public:
    /// Allocates the sampled size and computes every pixel from `src`.
    SamplePixRect(const PixRect<S>& src, double xs, double ys, const sisamplecodes& code);
    ~SamplePixRect() override = default;

    /// Fills the storage from `src` with the factors of construction: a copy when both are 1, a reduction
    /// when EITHER is at least 2 (the on-demand form wants both), an enlargement otherwise.
    void makeFrom(const PixRect<S>& src, const sisamplecodes& code);

    D pix(int x, int y) const override;
    D pixNB(int x, int y) const override;
    D pixdd(double x, double y) const override;
    void printInfo() const override;
};

/// Every pair of destination and source pixel types for which the library provides samplings.
#define SI_FOR_EACH_SAMPLING(X)                           \
    X(ARGBVal, ARGBVal)                                   \
    X(RGBGrVal, ARGBVal)                                  \
    X(GreyPixel<float>, ARGBVal)                          \
    X(GreyPixel<unsigned char>, ARGBVal)                  \
    X(ARGBVal, GreyPixel<float>)                          \
    X(GreyPixel<float>, GreyPixel<float>)                 \
    X(GreyPixel<float>, GreyPixel<unsigned char>)         \
    X(GreyPixel<unsigned char>, GreyPixel<float>)         \
    X(GreyPixel<unsigned char>, GreyPixel<unsigned char>) \
    X(RGBPixel<float>, RGBPixel<float>)

/// Undefined again below.
#define SI_EXTERN_SAMPLING(D, S)                 \
    extern template class SamplePixRectNC<D, S>; \
    extern template class SamplePixRect<D, S>;
SI_FOR_EACH_SAMPLING(SI_EXTERN_SAMPLING)
#undef SI_EXTERN_SAMPLING
