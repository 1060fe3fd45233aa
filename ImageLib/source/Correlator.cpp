#include "ImageLib/source/Correlator.h"

#include <cmath>
#include <memory>
#include <optional>

#include "ImageLib/source/ImageStats.h"
#include "ImageLib/source/PixDiff.h"

namespace {

using Surface = PixRectRW<GreyPixel<float>>;
using Metric = SIerrorcode (*)(const PixRectRW<ARGBVal>&, const PixRectRW<ARGBVal>&, double&);

void scorewith(Metric metric, const PixRectRW<ARGBVal>& block, Surface& surface, PixRectRW<ARGBVal>& search,
               int fxsize, int fysize) {
    tumblewash::imagelib::scoreOffsets(
        surface, search, fxsize, fysize,
        [&](PixRectRW<ARGBVal>& trial, double& result) { return metric(block, trial, result); });
}

/// v without its fraction; not a number counts as 0.
double truncated(double v) {
    if (std::isnan(v)) return 0.0;
    return std::trunc(v);
}

void scoretotals(const PixRectRW<ARGBVal>& block, Surface& surface, PixRectRW<ARGBVal>& search, int fxsize,
                 int fysize) {
    const double total = truncated(block.totalLum());
    tumblewash::imagelib::scoreOffsets(surface, search, fxsize, fysize,
                                       [&](PixRectRW<ARGBVal>& trial, double& result) {
                                           result = std::fabs(total - truncated(trial.totalLum()));
                                           return IMAGE_OK;
                                       });
}

void scorehues(const PixRectRW<ARGBVal>& block, Surface& surface, PixRectRW<ARGBVal>& search, int fxsize,
               int fysize) {
    const float hue = block.averageHue();
    tumblewash::imagelib::scoreOffsets(surface, search, fxsize, fysize,
                                       [&](PixRectRW<ARGBVal>& trial, double& result) {
                                           result = truncated(std::fabs(hue - trial.averageHue()));
                                           return IMAGE_OK;
                                       });
}

void printpixel(const ARGBVal& p) {
    siprintf("ARGBVal %d,%d,%d,%d \n", p._alpha, p._red, p._green, p._blue);
}

}  // namespace

template <class T>
Correlator<T>::Correlator(int range_, int fxsize_, int fysize_, sicomparator comparator_)
    : SICommon(DBGState(DBGNone)), range(range_), fxsize(fxsize_), fysize(fysize_), comparator(comparator_) {}

template <class T>
PixRectRW<GreyPixel<float>>* Correlator<T>::makesurface(PixRectRW<T>& feature, PixRectRW<T>& search) {
    auto surface = std::make_unique<Surface>(-range, -range, range, range);
    std::optional<PixRectRWRef<T>> centre;
    if (feature.width() != fxsize || feature.height() != fysize) {
        const int left = static_cast<int>(fxsize * -0.5 + feature.width() * 0.5 + feature.lx());
        const int top = static_cast<int>(fysize * -0.5 + feature.height() * 0.5 + feature.ly());
        centre.emplace(feature, left, top, left + fxsize - 1, top + fysize - 1);
    }
    PixRectRW<T>& block = centre ? static_cast<PixRectRW<T>&>(*centre) : feature;
    block.dbg = dbgstate();
    if (debugchk(DBGProblem)) {
        printpixel(block.pix(block.lx(), block.ly()));
        printpixel(search.pix(block.lx(), block.ly()));
    }
    switch (comparator) {
        case ComparePixDiff:
            scorewith(static_cast<Metric>(sumdiff), block, *surface, search, fxsize, fysize);
            break;
        case ComparePixDiffX:
            scorewith(sumdiffx, block, *surface, search, fxsize, fysize);
            break;
        case ComparePixDiffN:
            scorewith(sumdiffn, block, *surface, search, fxsize, fysize);
            break;
        case CompareTotalVal:
            scoretotals(block, *surface, search, fxsize, fysize);
            break;
        case CompareHue:
            scorehues(block, *surface, search, fxsize, fysize);
            break;
        case CompareFFT:
        case CompareEdgeCount:
            break;
    }
    return surface.release();
}

template <class T>
GreyPixel<float> Correlator<T>::getmin(PixRectRW<GreyPixel<float>>* surface, int& x, int& y) {
    const ImageStats<GreyPixel<float>> stats(*surface);
    x = stats.minx;
    y = stats.miny;
    return stats.min;
}

template <class T>
bool Correlator<T>::getminmax(PixRectRW<GreyPixel<float>>* surface, int& x, int& y, GreyPixel<float>& min,
                              GreyPixel<float>& max) {
    const ImageStats<GreyPixel<float>> stats(*surface);
    x = stats.minx;
    y = stats.miny;
    min = stats.min;
    max = stats.max;
    return true;
}

template <class T>
void Correlator<T>::printInfo() const {
    siprintf("Correlator:: range(%d) fxsize(%d) fysize(%d)\n", range, fxsize, fysize);
}

template class Correlator<ARGBVal>;
