// Image statistics: a view on a pixel rectangle that knows its darkest and brightest pixel and where they
// are, found once at construction. The correlator reads its surfaces through it. Not here: means and sums
// (totalLum, averageHue), which are members of the rectangles.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/SICommon.h"

/// Darkest and brightest pixel of a rectangle; instantiated for ARGBVal (ordered by integer luminance),
/// GreyPixel<unsigned char> and GreyPixel<float> (ordered by the grey value).
///
/// Only a strictly lower or higher pixel replaces the one found so far, so ties keep the first in raster
/// order; a pixel whose key is not a number replaces nothing. The starting values are the ends of the key's
/// range (255 and 0; 4294967296.0 and 0.0 for float), so an image that never beats one of them leaves its
/// position where it was: at the rectangle's top-left corner unless an earlier calc() moved it.
template <class T>
class ImageStats : public PixRectRef<T> {
  public:
    /// Views all of `src`, which is not owned and must outlive the statistics, and computes at once.
    explicit ImageStats(PixRect<T>& src);
    /// An empty view with no statistics computed.
    ImageStats();
    /// An empty view with no statistics computed, with these debug categories.
    explicit ImageStats(const DBGState& s);

    /// Recomputes the statistics; without a source only min and max are reset.
    void calc();
    /// The walk itself: resets min and max, keeps the positions, visits every pixel of the source in raster
    /// order.
    void calcme();
    void printInfo() const override;

    T min{};       ///< the pixel with the lowest key
    T max{};       ///< the pixel with the highest key
    int minx = 0;  ///< column of min, in the source's coordinates
    int miny = 0;  ///< row of min
    int maxx = 0;  ///< column of max
    int maxy = 0;  ///< row of max

  private:
    void visit(const T& pixel, int x, int y);
};

extern template class ImageStats<ARGBVal>;
extern template class ImageStats<GreyPixel<unsigned char>>;
extern template class ImageStats<GreyPixel<float>>;
