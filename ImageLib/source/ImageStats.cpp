#include "ImageLib/source/ImageStats.h"

#include "ImageLib/source/Iterator.h"
#include "ImageLib/source/PixRectRows.h"

namespace {

int key(const ARGBVal& p) {
    return (30 * p._red + 59 * p._green + 11 * p._blue) / 100;
}

template <class T>
T key(const GreyPixel<T>& p) {
    return p.getgrey();
}

void start(ARGBVal& min, ARGBVal& max) {
    min.setgrey(255);
    max.setgrey(0);
}

void start(GreyPixel<unsigned char>& min, GreyPixel<unsigned char>& max) {
    min.setgrey(255);
    max.setgrey(0);
}

void start(GreyPixel<float>& min, GreyPixel<float>& max) {
    min.setgrey(4294967296.0f);
    max.setgrey(0.0f);
}

}  // namespace

template <class T>
ImageStats<T>::ImageStats(PixRect<T>& src) : PixRect<T>(), PixRectRef<T>(src) {
    minx = maxx = src.lx();
    miny = maxy = src.ly();
    calc();
}

template <class T>
ImageStats<T>::ImageStats() = default;

template <class T>
ImageStats<T>::ImageStats(const DBGState& s) : PixRect<T>(s), PixRectRef<T>(s) {}

template <class T>
void ImageStats<T>::calc() {
    calcme();
}

template <class T>
void ImageStats<T>::visit(const T& pixel, int x, int y) {
    if (key(pixel) < key(min)) {
        min = pixel;
        minx = x;
        miny = y;
    }
    if (key(pixel) > key(max)) {
        max = pixel;
        maxx = x;
        maxy = y;
    }
}

template <class T>
void ImageStats<T>::calcme() {
    start(min, max);
    const PixRect<T>* src = this->src();
    if (src == nullptr) return;
    const tumblewash::imagelib::Region all = tumblewash::imagelib::boundsOf(*src);
    if (all.empty()) return;
    const auto* writable = dynamic_cast<const PixRectRW<T>*>(src);
    // Stepping through memory is only right where memory lies behind every pixel shown.
    const tumblewash::imagelib::PixelRows<T> rows(*src);
    if (writable != nullptr && rows.found() && rows.reach().covers(all)) {
        PixRectRWIterator<T> walk(writable);
        for (const T* p = walk.firstptr(); p != nullptr; p = walk.nextptr())
            visit(*p, walk.getx(), walk.gety());
    } else {
        PixRectIterator<T> walk(src);
        for (walk.first(); !walk.isDone(); walk.next()) visit(walk.currentItem(), walk.getx(), walk.gety());
    }
}

template <class T>
void ImageStats<T>::printInfo() const {
    siprintf("ImageStats of:");
    siprintf("min at %d %d max at %d %d Vals follow..\n", minx, miny, maxx, maxy);
    min.printInfo();
    max.printInfo();
}

template class ImageStats<ARGBVal>;
template class ImageStats<GreyPixel<unsigned char>>;
template class ImageStats<GreyPixel<float>>;
