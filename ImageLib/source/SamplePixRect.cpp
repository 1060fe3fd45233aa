#include "ImageLib/source/SamplePixRect.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "ImageLib/kernels/BlockMean.h"
#include "ImageLib/source/RealPosition.h"

using tumblewash::imagelib::nearestWhole;
using tumblewash::imagelib::wholePart;

namespace {

/// Running sums of the colours of a block, in double.
struct BlockSum {
    double red = 0.0, green = 0.0, blue = 0.0;

    template <class S>
    void add(const S& pixel, double weight = 1.0) {
        red += weight * static_cast<double>(pixel.getred());
        green += weight * static_cast<double>(pixel.getgreen());
        blue += weight * static_cast<double>(pixel.getblue());
    }
    RGBPixel<double> scaledBy(double factor) const {
        return RGBPixel<double>(red * factor, green * factor, blue * factor);
    }
};

/// One pixel as another type: the same pixel, a grey as an opaque grey, a colour as its luminance.
template <class D, class S>
D converted(const S& from) {
    D to;
    if constexpr (std::is_base_of_v<GreyPixelType, D> && !std::is_same_v<S, ARGBVal>) {
        using Level = decltype(to.getgrey());
        to.setgrey(SIChannelCast<Level>(from.getgrey()));
    } else if constexpr (std::is_same_v<D, RGBPixel<float>>) {
        to = RGBPixel<float>(static_cast<float>(from.getred()), static_cast<float>(from.getgreen()),
                             static_cast<float>(from.getblue()));
    } else if constexpr (std::is_base_of_v<GreyPixelType, S>) {
        to = D(from);
    } else {
        to << from;
    }
    return to;
}

/// The coordinate at which enlargement reads, in double, held to the source's first and last.
double enlarged(double at, int own, float scale, int low, int high, bool centred) {
    double position = (at - own) * static_cast<double>(scale) + low;
    if (centred) {
        position = position - 0.5 + static_cast<double>(scale) * 0.5;
    }
    if (position < low) {
        return low;
    }
    return position > high ? high : position;
}

/// The first coordinate of a block, in float.
float blockStart(double at, int own, float scale, int low) {
    return static_cast<float>((at - own) * static_cast<double>(scale) + low);
}

/// The last coordinate of a sampled axis; an axis that int cannot hold is empty.
int sampledEnd(int low, int size, float scale) {
    int end = 0;
    return nearestWhole(static_cast<float>(low) + static_cast<float>(size) / scale - 1.0F, end) ? end
                                                                                                : low - 1;
}

/// The source's pixel nearest to (x, y); the zero pixel where there is none.
template <class S>
S nearestPixel(const PixRect<S>& src, double x, double y) {
    int ix = 0;
    int iy = 0;
    return nearestWhole(x, ix) && nearestWhole(y, iy) ? src.pix(ix, iy) : S(PixRect<S>::blackpixel);
}

/// Calls visit(px, py) for every sample of a block that does not pass the source's far edges, columns
/// outside. Samples only grow, so the first one past an edge ends its axis.
template <class S, class Visit>
void eachSample(const PixRect<S>& src, float startX, float startY, float scaleX, float scaleY, Visit visit) {
    const float lastX = static_cast<float>(src.hx());
    const float lastY = static_cast<float>(src.hy());
    for (int i = 0; static_cast<float>(i) < scaleX; ++i) {
        const float px = startX + static_cast<float>(i);
        if (!(px <= lastX)) {
            break;
        }
        for (int j = 0; static_cast<float>(j) < scaleY; ++j) {
            const float py = startY + static_cast<float>(j);
            if (!(py <= lastY)) {
                break;
            }
            visit(px, py);
        }
    }
}

/// The source coordinates that the block at `at` samples along one axis.
std::vector<int> sampleCoordinates(int at, int own, float scale, int low, int high) {
    std::vector<int> result;
    const float start = blockStart(at, own, scale, low);
    for (int i = 0; static_cast<float>(i) < scale; ++i) {
        const float p = start + static_cast<float>(i);
        int whole = 0;
        if (!(p <= static_cast<float>(high)) || !nearestWhole(p, whole)) {
            break;
        }
        result.push_back(whole);
    }
    return result;
}

/// The sampled columns of every block of a row, as runs of neighbours.
std::vector<tumblewash::kernels::BlockRun> blockRuns(int lx, int hx, float scale, int low, int high,
                                                     std::vector<int>& counts) {
    std::vector<tumblewash::kernels::BlockRun> runs;
    for (int x = lx; x <= hx; ++x) {
        const std::vector<int> columns = sampleCoordinates(x, lx, scale, low, high);
        counts.push_back(static_cast<int>(columns.size()));
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (i > 0 && columns[i] == columns[i - 1] + 1) {
                ++runs.back().count;
            } else {
                runs.push_back({columns[i] - low, 1, x - lx});
            }
        }
    }
    return runs;
}

/// Block means of packed pixels straight from their rows. The sums are whole numbers below 2^32, exact in any
/// order, so the result is that of reading pixel by pixel. False when the blocks are too large for that.
template <class D>
bool meansOfRows(const PixRectRW<ARGBVal>& src, float scaleX, float scaleY, PixRectRW<D>& dest) {
    std::vector<int> counts;
    const std::vector<tumblewash::kernels::BlockRun> runs =
        blockRuns(dest.lx(), dest.hx(), scaleX, src.lx(), src.hx(), counts);
    const int widest = *std::max_element(counts.begin(), counts.end());
    if (widest * (static_cast<double>(scaleY) + 1.0) * 255.0 >= 4294967296.0) {
        return false;
    }
    std::vector<std::uint32_t> sums(counts.size() * 3);
    const int bytes = src.width() * 4;
    std::vector<std::uint16_t> columns(static_cast<std::size_t>(bytes));
    std::vector<const unsigned char*> at;
    for (int y = dest.ly(); y <= dest.hy(); ++y) {
        sums.assign(sums.size(), 0);
        const std::vector<int> rows = sampleCoordinates(y, dest.ly(), scaleY, src.ly(), src.hy());
        at.clear();
        for (const int row : rows) {
            at.push_back(reinterpret_cast<const unsigned char*>(&src.pixrefNB(src.lx(), row)));
        }
        for (std::size_t done = 0; done < at.size(); done += tumblewash::kernels::kMostRowsInColumns) {
            const std::size_t some =
                std::min(at.size() - done, static_cast<std::size_t>(tumblewash::kernels::kMostRowsInColumns));
            tumblewash::kernels::sumColumns(&at[done], static_cast<int>(some), bytes, columns.data());
            tumblewash::kernels::addBlockRuns(columns.data(), runs.data(), static_cast<int>(runs.size()),
                                              sums.data());
        }
        int columnsOfFactor = -1;
        double factor = 0.0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] != columnsOfFactor) {
                columnsOfFactor = counts[i];
                factor = 1.0 / static_cast<double>(columnsOfFactor * static_cast<int>(rows.size()));
            }
            dest.pixrefNB(dest.lx() + static_cast<int>(i), y) = converted<D>(
                RGBPixel<double>(sums[3 * i] * factor, sums[3 * i + 1] * factor, sums[3 * i + 2] * factor));
        }
    }
    return true;
}

}  // namespace

template <class D, class S>
SamplePixRectNC<D, S>::SamplePixRectNC(const PixRect<S>& src, double xs, double ys, sisamplecodes code)
    : _scaleInvariant(false), _src(&src), _type(code), xsl(1.0F), ysl(1.0F) {
    setupRect(src, xs, ys);
}

template <class D, class S>
void SamplePixRectNC<D, S>::setupRect(const PixRect<S>& src, double xs, double ys) {
    xsl = static_cast<float>(xs);
    ysl = static_cast<float>(ys);
    this->setscale(xs * src.xs(), ys * src.ys());
    this->setbounds(src.lx(), src.ly(), sampledEnd(src.lx(), src.width(), xsl),
                    sampledEnd(src.ly(), src.height(), ysl));
}

template <class D, class S>
const PixRect<S>* SamplePixRectNC<D, S>::src() const {
    return _src;
}

template <class D, class S>
D SamplePixRectNC<D, S>::superlookup(const PixRect<S>* src, double x, double y,
                                     const sisamplecodes& code) const {
    const double px = enlarged(x, this->lx(), xsl, src->lx(), src->hx(), _scaleInvariant);
    const double py = enlarged(y, this->ly(), ysl, src->ly(), src->hy(), _scaleInvariant);
    switch (code) {
        case SIBestSample:
            return converted<D>(src->pixdd(px, py));
        case SIQuickSample:
        case SISingleSample:
            return converted<D>(nearestPixel(*src, px, py));
        case SISmoothSample: {
            BlockSum sum;
            sum.add(src->pixdd(px, py), 0.7);
            sum.add(src->pixdd(px + 1.1, py - 0.7), 0.1);
            sum.add(src->pixdd(px + 0.2, py + 1.3), 0.1);
            sum.add(src->pixdd(px - 1.0, py + 0.8), 0.1);
            return converted<D>(sum.scaledBy(1.0));
        }
    }
    return D();
}

template <class D, class S>
D SamplePixRectNC<D, S>::sublookup(const PixRect<S>* src, double x, double y,
                                   const sisamplecodes& code) const {
    const float px = blockStart(x, this->lx(), xsl, src->lx());
    const float py = blockStart(y, this->ly(), ysl, src->ly());
    BlockSum sum;
    int count = 0;
    switch (code) {
        case SIQuickSample:
            eachSample(*src, px, py, xsl, ysl, [&](float sx, float sy) {
                sum.add(nearestPixel(*src, static_cast<double>(sx), static_cast<double>(sy)));
                ++count;
            });
            break;
        case SIBestSample:
        case SISmoothSample:
            eachSample(*src, px, py, xsl, ysl, [&](float sx, float sy) {
                sum.add(src->pixdd(static_cast<double>(sx), static_cast<double>(sy)));
                ++count;
            });
            break;
        case SISingleSample:
            return converted<D>(nearestPixel(*src,
                                             static_cast<double>(static_cast<float>(
                                                 static_cast<double>(xsl) * 0.5 + static_cast<double>(px))),
                                             static_cast<double>(static_cast<float>(
                                                 static_cast<double>(ysl) * 0.5 + static_cast<double>(py)))));
        default:
            return converted<D>(sum.scaledBy(1.0));
    }
    return converted<D>(sum.scaledBy(1.0 / count));
}

template <class D, class S>
D SamplePixRectNC<D, S>::lookup(double x, double y) const {
    if (xsl == 1.0F && ysl == 1.0F) {
        return converted<D>(_src->pixdd(x, y));
    }
    return xsl >= 2.0F && ysl >= 2.0F ? sublookup(_src, x, y, _type) : superlookup(_src, x, y, _type);
}

template <class D, class S>
D SamplePixRectNC<D, S>::pix(int x, int y) const {
    return this->withinbounds(x, y) ? lookup(x, y) : D(this->blackpixel);
}

template <class D, class S>
D SamplePixRectNC<D, S>::pixNB(int x, int y) const {
    return lookup(x, y);
}

template <class D, class S>
D SamplePixRectNC<D, S>::pixdd(double x, double y) const {
    int xi = 0;
    int yi = 0;
    const bool inside = wholePart(x, xi) && wholePart(y, yi) && this->withinbounds(xi, yi);
    return inside ? lookup(x, y) : D(this->blackpixel);
}

template <class D, class S>
void SamplePixRectNC<D, S>::printInfo() const {
    siprintf("SamplePixRectNC xsl=%f ysl=%f:", static_cast<double>(xsl), static_cast<double>(ysl));
    PixRect<D>::printInfo();
}

template <class D, class S>
SamplePixRect<D, S>::SamplePixRect(const PixRect<S>& src, double xs, double ys, const sisamplecodes& code)
    : SamplePixRectNC<D, S>(src, xs, ys, code) {
    PixRectRW<D>::init();
    makeFrom(src, code);
}

template <class D, class S>
void SamplePixRect<D, S>::makeFrom(const PixRect<S>& src, const sisamplecodes& code) {
    const bool copy = this->xsl == 1.0F && this->ysl == 1.0F;
    const bool reduce = this->xsl >= 2.0F || this->ysl >= 2.0F;
    if constexpr (std::is_same_v<S, ARGBVal>) {
        const auto* plain = dynamic_cast<const PixRectRW<ARGBVal>*>(&src);
        if (!copy && reduce && code == SIQuickSample && plain != nullptr && plain->rasters() != nullptr &&
            this->rasters() != nullptr && meansOfRows<D>(*plain, this->xsl, this->ysl, *this)) {
            return;
        }
    }
    for (int y = this->ly(); y <= this->hy(); ++y) {
        for (int x = this->lx(); x <= this->hx(); ++x) {
            this->pixrefNB(x, y) = copy     ? converted<D>(src.pixNB(x, y))
                                   : reduce ? this->sublookup(&src, x, y, code)
                                            : this->superlookup(&src, x, y, code);
        }
    }
}

template <class D, class S>
D SamplePixRect<D, S>::pix(int x, int y) const {
    return PixRectRW<D>::pix(x, y);
}

template <class D, class S>
D SamplePixRect<D, S>::pixNB(int x, int y) const {
    return PixRectRW<D>::pixNB(x, y);
}

template <class D, class S>
D SamplePixRect<D, S>::pixdd(double x, double y) const {
    return PixRectRW<D>::pixdd(x, y);
}

template <class D, class S>
void SamplePixRect<D, S>::printInfo() const {
    siprintf("SamplePixRect xsl=%f ysl=%f:", static_cast<double>(this->xsl), static_cast<double>(this->ysl));
    PixRectRW<D>::printInfo();
}

#define SI_INSTANTIATE_SAMPLING(D, S)     \
    template class SamplePixRectNC<D, S>; \
    template class SamplePixRect<D, S>;
SI_FOR_EACH_SAMPLING(SI_INSTANTIATE_SAMPLING)
