// Difference metrics, block matching and statistics.
#include <memory>

#include "ImageLib/source/Correlator.h"
#include "ImageLib/source/ImageStats.h"
#include "ImageLib/source/PixDiff.h"
#include "tests/whole/goldens/Digest.h"
#include "tests/whole/goldens/Scenes.h"

namespace tumblewash::goldens {

namespace {

void differences(Digests& list) {
    const PixRectRW<ARGBVal> a = scattered<ARGBVal>(2, 1, 34, 23, 7), b = scattered<ARGBVal>(2, 1, 34, 23, 8);
    double result = 0;
    sumdiff(a, b, result);
    record(list, "metrics/sumdiff", Digest().put(result));
    sumdiffn(a, b, result);
    record(list, "metrics/sumdiffn", Digest().put(result));
    sumdiffx(a, b, result);
    record(list, "metrics/sumdiffx", Digest().put(result));
    unsigned char smallest = 0, largest = 0;
    sumdiffrms(a, b, result, smallest, largest);
    record(list, "metrics/sumdiffrms", Digest().put(result).put(smallest).put(largest));
    sumdiff(scattered<GreyPixel<unsigned char>>(0, 0, 18, 12, 9),
            scattered<GreyPixel<unsigned char>>(0, 0, 18, 12, 10), result);
    record(list, "metrics/sumdiffGrey", Digest().put(result));
}

void matching(Digests& list) {
    const char* const names[] = {"PixDiff", "TotalVal", "Hue", "FFT", "EdgeCount", "PixDiffX", "PixDiffN"};
    for (int code = ComparePixDiff; code <= ComparePixDiffN; ++code) {
        PixRectRW<ARGBVal> feature = scattered<ARGBVal>(0, 0, 20, 18, 11);
        PixRectRW<ARGBVal> search = scattered<ARGBVal>(-2, 5, 26, 29, 12);
        Correlator<ARGBVal> correlator(3, 17, 9, static_cast<sicomparator>(code));
        const std::unique_ptr<PixRectRW<GreyPixel<float>>> surface(correlator.makesurface(feature, search));
        int x = 0, y = 0;
        GreyPixel<float> low, high;
        correlator.getminmax(surface.get(), x, y, low, high);
        record(list, std::string("metrics/surface/") + names[code],
               Digest().put(*surface).put(x).put(y).put(low).put(high));
    }
}

template <class T>
void extremes(Digests& list, const std::string& type) {
    PixRectRW<T> picture = scattered<T>(-7, -6, 20, 15, 13);
    const ImageStats<T> stats(picture);
    record(list, "metrics/extremes/" + type,
           Digest()
               .put(stats.min)
               .put(stats.minx)
               .put(stats.miny)
               .put(stats.max)
               .put(stats.maxx)
               .put(stats.maxy));
}

}  // namespace

void metrics(Digests& list) {
    differences(list);
    matching(list);
    extremes<ARGBVal>(list, "ARGBVal");
    extremes<GreyPixel<unsigned char>>(list, "GreyPixel<byte>");
    extremes<GreyPixel<float>>(list, "GreyPixel<float>");
}

}  // namespace tumblewash::goldens
