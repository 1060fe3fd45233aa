#include "ImageLib/source/PixDiff.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "ImageLib/kernels/PackedRows.h"
#include "ImageLib/source/Iterator.h"
#include "ImageLib/source/PixRectRows.h"

namespace {

using tumblewash::imagelib::SafeReader;

/// Hands out rows of one rectangle as plain memory: the stored row itself where the rectangle shows only
/// stored pixels, a copy read pixel by pixel otherwise.
class RowSource {
  public:
    explicit RowSource(const PixRectRW<ARGBVal>& rect)
        : rect_(rect),
          reader_(rect),
          direct_(reader_.rows().found() &&
                  reader_.rows().reach().covers(tumblewash::imagelib::boundsOf(rect))) {
        if (!direct_ && rect.width() > 0) copy_.resize(static_cast<std::size_t>(rect.width()));
    }

    /// Row `index` counted from the top, from its first pixel; valid until the next call.
    const ARGBVal* row(int index) {
        const int y = rect_.ly() + index;
        if (direct_) return reader_.rows().at(rect_.lx(), y);
        for (std::size_t i = 0; i < copy_.size(); ++i)
            copy_[i] = reader_(rect_.lx() + static_cast<int>(i), y);
        return copy_.data();
    }

  private:
    const PixRectRW<ARGBVal>& rect_;
    SafeReader<ARGBVal> reader_;
    bool direct_;
    std::vector<ARGBVal> copy_;
};

const std::uint8_t* bytes(const ARGBVal* p) {
    return reinterpret_cast<const std::uint8_t*>(p);
}

bool samesize(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b) {
    return a.width() == b.width() && a.height() == b.height();
}

int colourdifference(const ARGBVal& a, const ARGBVal& b) {
    return std::abs(a._red - b._red) + std::abs(a._green - b._green) + std::abs(a._blue - b._blue);
}

}  // namespace

SIerrorcode sumdiff(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result) {
    const int width = a.width(), height = a.height();
    if (width <= 0 || height <= 0 || !samesize(a, b)) {
        a._debug(DBGRect, "sumdiff: sizes don't match %d != %d or %d != %d\n", width, b.width(), height,
                 b.height());
        return IMAGE_OK;
    }
    RowSource rowsa(a), rowsb(b);
    std::uint64_t sum = 0;
    for (int row = 0; row < height; ++row)
        sum += tumblewash::kernels::sumColourDifferencesRow(bytes(rowsa.row(row)), bytes(rowsb.row(row)),
                                                            static_cast<std::size_t>(width));
    result = ((static_cast<double>(sum) / width) / height) / 3.0;
    a._debug(DBGMatch, "sumdiff:sumdiff=%f\n", result);
    return IMAGE_OK;
}

SIerrorcode sumdiffn(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result) {
    const int width = a.width(), height = a.height();
    const int step = width / 16;
    if (!samesize(a, b) || step < 1) return IMAGE_OK;
    RowSource rowsa(a), rowsb(b);
    std::uint64_t sum = 0, count = 0;
    for (int row = 0; row < height; row += step) {
        const ARGBVal* pa = rowsa.row(row);
        const ARGBVal* pb = rowsb.row(row);
        for (int column = 0; column < width; column += step) {
            sum += static_cast<std::uint64_t>(colourdifference(pa[column], pb[column]));
            ++count;
        }
    }
    result = (static_cast<double>(sum) / static_cast<double>(count)) / 3.0;
    return IMAGE_OK;
}

SIerrorcode sumdiffx(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result) {
    const SafeReader<ARGBVal> reada(a), readb(b);
    std::uint64_t sum = 0, count = 0;
    const auto visit = [&](int xa, int ya, int xb, int yb) {
        sum += static_cast<std::uint64_t>(colourdifference(reada(xa, ya), readb(xb, yb)));
        ++count;
    };
    const int rowa = a.ly() + a.height() / 2, rowb = b.ly() + b.height() / 2;
    for (int xa = a.lx(), xb = b.lx(); xa < a.hx() && xb < b.hx(); ++xa, ++xb) visit(xa, rowa, xb, rowb);
    const int columna = a.lx() + a.width() / 2, columnb = b.lx() + b.width() / 2;
    for (int ya = a.ly(), yb = b.ly(); ya < a.hy() && yb < b.hy(); ++ya, ++yb)
        visit(columna, ya, columnb, yb);
    result = (static_cast<double>(sum) / static_cast<double>(count)) / 3.0;
    return IMAGE_OK;
}

SIerrorcode sumdiffrms(const PixRectRW<ARGBVal>& a, const PixRectRW<ARGBVal>& b, double& result,
                       unsigned char& smallest, unsigned char& largest) {
    smallest = 255;
    largest = 0;
    if (!samesize(a, b)) return IMAGE_OK;
    const int width = a.width(), height = a.height();
    RowSource rowsa(a), rowsb(b);
    tumblewash::kernels::LuminanceDifferences sum;
    for (int row = 0; row < height && width > 0; ++row)
        tumblewash::kernels::luminanceDifferencesRow(bytes(rowsa.row(row)), bytes(rowsb.row(row)),
                                                     static_cast<std::size_t>(width), sum);
    smallest = static_cast<unsigned char>(sum.smallest);
    largest = static_cast<unsigned char>(sum.largest);
    result = std::sqrt((static_cast<double>(sum.squares) / width) / height);
    return IMAGE_OK;
}

template <class T>
SIerrorcode sumdiff(const PixRectRW<T>& a, const PixRectRW<T>& b, double& result) {
    double sum = 0.0, count = 0.0;
    if (!tumblewash::imagelib::boundsOf(a).empty() && !tumblewash::imagelib::boundsOf(b).empty()) {
        // Both walks test bounds on every read: neither may step past memory that its rectangle lacks.
        PixRectIterator<T> ia(a), ib(b);
        for (ia.first(), ib.first(); !ia.isDone() && !ib.isDone(); ia.next(), ib.next()) {
            const T pa = ia.currentItem(), pb = ib.currentItem();
            sum += std::fabs(static_cast<float>(pa.getred()) - static_cast<float>(pb.getred()));
            sum += std::fabs(static_cast<float>(pa.getgreen()) - static_cast<float>(pb.getgreen()));
            sum += std::fabs(static_cast<float>(pa.getblue()) - static_cast<float>(pb.getblue()));
            count += 1.0;
        }
    }
    result = (sum / count) / 3.0;
    return IMAGE_OK;
}

template SIerrorcode sumdiff<GreyPixel<unsigned char>>(const PixRectRW<GreyPixel<unsigned char>>& a,
                                                       const PixRectRW<GreyPixel<unsigned char>>& b,
                                                       double& result);
