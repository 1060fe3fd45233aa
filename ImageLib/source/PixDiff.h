// Difference metrics: free functions that reduce two pixel rectangles to one number saying how different they
// are, all on a 0..255 scale (0 is equal). The correlator calls three of them, once per trial offset.
// Not here: any search; and no failure codes, since every metric returns IMAGE_OK whatever happens.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/SICommon.h"

// Rules of the family: red, green and blue count, alpha never does. Both rectangles are only read, and only
// within what they show; a place that a view shows but its source lacks reads as the zero pixel. `result` is
// left as it was wherever a metric finds nothing to say. Sums are exact; the divisions are in double.

/// Mean absolute channel difference over every pixel: ((sum / width) / height) / 3.0.
///
/// Unequal sizes, or a width or height of a that is not positive, leave `result` alone and are reported
/// through a's debug state at DBGRect. A computed result is reported at DBGMatch. Returns IMAGE_OK always.
SIerrorcode sumdiff(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result);

/// Mean absolute channel difference over a lattice: the rows and columns, counted from the top left, that
/// are multiples of width / 16; (sum / count) / 3.0.
///
/// Unequal sizes leave `result` alone in silence; so does a width below 16, which has no lattice step.
/// Returns IMAGE_OK always.
SIerrorcode sumdiffn(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result);

/// Mean absolute channel difference over a cross: the middle row and the middle column of each rectangle,
/// without its last column and row; (sum / count) / 3.0.
///
/// Each rectangle is walked by its own bounds, both in lock step until either ends; sizes are not compared.
/// The centre lies on both arms and counts twice. Nothing visited gives 0 / 0, not a number.
/// Returns IMAGE_OK always.
SIerrorcode sumdiffx(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result);

/// Root of the mean squared difference of integer luminances: sqrt((sum / width) / height).
///
/// `smallest` and `largest` receive the extreme luminance differences; they start at 255 and 0 and are set
/// even when unequal sizes leave `result` alone. Returns IMAGE_OK always.
SIerrorcode sumdiffrms(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result,
                       unsigned char& smallest, unsigned char& largest);

/// Mean absolute channel difference over pixel pairs in raster order, for polymorphic pixels through getred,
/// getgreen and getblue, until either rectangle ends: (sum / count) / 3.0, not a number for no pairs.
///
/// Instantiated for GreyPixel<unsigned char>. Sizes are not compared. Returns IMAGE_OK always.
template <class T>
SIerrorcode sumdiff(const PixRectRW<T>& a, const PixRectRW<T>& b, double& result);

/// The instantiation that the library provides.
extern template SIerrorcode sumdiff<GreyPixel<unsigned char>>(const PixRectRW<GreyPixel<unsigned char>>& a,
                                                              const PixRectRW<GreyPixel<unsigned char>>& b,
                                                              double& result);
