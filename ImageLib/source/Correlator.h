// The block matcher: scores a feature rectangle against every block of its size whose centre lies within a
// square of offsets around the centre of a search rectangle. Lower scores are better matches.
// Not here: the metrics themselves (PixDiff.h), and any judgement of whether a minimum means something.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/SICommon.h"

/// Block matcher over rectangles of T; instantiated for ARGBVal. Holds its parameters only: any number of
/// surfaces can be made with one correlator, and copying is member-wise.
template <class T>
class Correlator : public SICommon {
  public:
    /// Offsets run from -range to +range in pixels; the block is fxsize x fysize pixels.
    Correlator(int range, int fxsize, int fysize, sicomparator comparator);

    /// Scores all (2 range + 1)^2 offsets. The returned surface has bounds (-range, -range, range, range),
    /// the cell (dx, dy) holding the score at that offset; the caller owns it.
    ///
    /// A feature of another size than the block is matched through its centre. The debug state of the feature
    /// (or of the view on its centre) is overwritten with the correlator's. `search` should hold every trial
    /// block, fxsize + 2 range by fysize + 2 range: a trial that the search rectangle cuts off scores
    /// 4294967295 under the pixel comparators, and so does one that misses it entirely under any comparator
    /// that scores. CompareFFT and CompareEdgeCount score nothing: their cells stay zero.
    [[nodiscard]] PixRectRW<GreyPixel<float>>* makesurface(PixRectRW<T>& feature, PixRectRW<T>& search);

    /// The lowest score; its offset goes to x and y. Ties go to the smallest dy, then the smallest dx.
    [[nodiscard]] GreyPixel<float> getmin(PixRectRW<GreyPixel<float>>* surface, int& x, int& y);

    /// As getmin, with the lowest and the highest score in min and max. Always true.
    bool getminmax(PixRectRW<GreyPixel<float>>* surface, int& x, int& y, GreyPixel<float>& min,
                   GreyPixel<float>& max);

    void printInfo() const override;

    int range;                ///< largest offset tried in each direction
    int fxsize;               ///< block width in pixels
    int fysize;               ///< block height in pixels
    sicomparator comparator;  ///< which score to compute
};

namespace tumblewash::imagelib {

/// What a trial scores when its metric leaves no result, and what ends a surface when a metric fails.
inline constexpr double kUnmatchedScore = 4294967295.0;

/// Calls score(trial block, result) for every offset, dy outer and dx inner, both ascending, and stores the
/// result in cell (dx, dy) of the surface. `result` is preset to kUnmatchedScore. A score that returns
/// anything but IMAGE_OK stores kUnmatchedScore and ends the walk: later cells stay as they were.
///
/// Trial blocks are fxsize x fysize views on `search`, centred on its centre plus the offset, without
/// clamping; one that does not touch `search` is not scored.
template <class T, class Score>
void scoreOffsets(PixRectRW<GreyPixel<float>>& surface, PixRectRW<T>& search, int fxsize, int fysize,
                  Score score) {
    for (int dy = surface.ly(); dy <= surface.hy(); ++dy) {
        for (int dx = surface.lx(); dx <= surface.hx(); ++dx) {
            const int left = static_cast<int>(fxsize * -0.5 + search.width() * 0.5 + search.lx() + dx);
            const int top = static_cast<int>(fysize * -0.5 + search.height() * 0.5 + search.ly() + dy);
            const int right = left + fxsize - 1, bottom = top + fysize - 1;
            const bool touches =
                left <= search.hx() && right >= search.lx() && top <= search.hy() && bottom >= search.ly();
            double result = kUnmatchedScore;
            SIerrorcode code = IMAGE_OK;
            if (touches) {
                PixRectRWRef<T> trial(search, left, top, right, bottom);
                code = score(static_cast<PixRectRW<T>&>(trial), result);
            }
            if (code != IMAGE_OK) result = kUnmatchedScore;
            surface.pixrefNB(dx, dy).setgrey(static_cast<float>(result));
            if (code != IMAGE_OK) return;
        }
    }
}

}  // namespace tumblewash::imagelib

extern template class Correlator<ARGBVal>;
