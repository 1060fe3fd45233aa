#include "pluginDistort/v1/Projection.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <typeinfo>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRows.h"
#include "ImageLib/source/SICommon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/FrameViews.h"

namespace {

using tumblewash::FieldPixels;
using tumblewash::PixelRows;
using tumblewash::Region;

/// The positions that truncate toward zero into lo .. hi, as an open interval: one comparison on each side,
/// false for not-a-number and for everything beyond int.
class TruncatedRange {
  public:
    TruncatedRange(int lo, int hi)
        : below_(lo <= 0 ? lo - 1.0 : std::nextafter(static_cast<double>(lo), 0.0)),
          above_(hi >= 0 ? hi + 1.0 : std::nextafter(static_cast<double>(hi), 0.0)) {}
    bool holds(float v) const { return v > below_ && v < above_; }

  private:
    double below_, above_;
};

/// The numerators and the factor of a projection are sums of one product per axis: the column's products are
/// formed once per fill, the row's once per row, and added in the order in which a single projection adds
/// them.
class RowProjection {
  public:
    RowProjection(const PlanarProj& pp, int lx, int hx)
        : h_(pp.B), columns_(static_cast<std::size_t>(hx - lx + 1)) {
        for (std::vector<float>* row : {&px_, &py_, &pf_, &x_, &y_}) row->resize(columns_);
        for (std::size_t i = 0; i < columns_; ++i) {
            const auto fx = static_cast<float>(lx + static_cast<int>(i));
            px_[i] = fx * h_[0];
            py_[i] = fx * h_[3];
            pf_[i] = fx * h_[6];
        }
    }

    /// Projects the columns of row y.
    void project(int y) {
        const auto fy = static_cast<float>(y);
        const float rx = fy * h_[1], ry = fy * h_[4], rf = fy * h_[7];
        const float h2 = h_[2], h5 = h_[5];
        for (std::size_t i = 0; i < columns_; ++i) {
            const float factor = (pf_[i] + rf) + 1.0f;
            x_[i] = ((px_[i] + rx) + h2) / factor;
            y_[i] = ((py_[i] + ry) + h5) / factor;
        }
    }

    std::size_t columns() const { return columns_; }
    const float* x() const { return x_.data(); }
    const float* y() const { return y_.data(); }

  private:
    const float* h_;
    std::size_t columns_;
    std::vector<float> px_, py_, pf_;  // products with h0, h3, h6
    std::vector<float> x_, y_;         // source positions of the current row
};

/// Visits `box` row by row and hands over every run of pixels whose source positions, truncated toward zero,
/// lie within `source`: fill(x, y, count, source x, source y) with the run's first pixel and its exact
/// positions.
template <class Fill>
void forEachProjectedRun(const Region& box, const Region& source, const PlanarProj& pp, Fill fill) {
    if (box.empty() || source.empty()) return;
    const TruncatedRange columns(source.lx, source.hx), rows(source.ly, source.hy);
    RowProjection projection(pp, box.lx, box.hx);
    const float* x2 = projection.x();
    const float* y2 = projection.y();
    const std::size_t n = projection.columns();
    for (int y = box.ly; y <= box.hy; ++y) {
        projection.project(y);
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t first = i;
            while (i < n && columns.holds(x2[i]) && rows.holds(y2[i])) ++i;
            if (i > first) fill(box.lx + static_cast<int>(first), y, i - first, x2 + first, y2 + first);
        }
    }
}

/// A plain frame is read at the truncated position.
void fillFromRows(const PixelRows<ARGBVal>& from, const Region& source, const PixelRows<ARGBVal>& to,
                  const Region& box, const PlanarProj& pp) {
    forEachProjectedRun(box, source, pp, [&](int x, int y, std::size_t n, const float* x2, const float* y2) {
        ARGBVal* out = to.at(x, y);
        for (std::size_t i = 0; i < n; ++i)
            out[i] = *from.at(static_cast<int>(x2[i]), static_cast<int>(y2[i]));
    });
}

bool isPlainFrame(const PixRect<ARGBVal>& rect) {
    return typeid(rect) == typeid(PixRectRW<ARGBVal>) || typeid(rect) == typeid(PixRectWrap<ARGBVal>);
}

bool sameBounds(const PixRect<ARGBVal>& a, const PixRect<ARGBVal>& b) {
    return a.lx() == b.lx() && a.ly() == b.ly() && a.hx() == b.hx() && a.hy() == b.hy();
}

/// The memory behind a bilinear image that shows the whole of one plain frame at zero origin, or nothing.
std::optional<FieldPixels> plainField(const ContImageRef<ARGBVal>& image) {
    const PixRect<ARGBVal>* frame = image.src();
    if (image.type() != SIInterpBilinear || image.sx != 0 || image.sy != 0 || !frame || !isPlainFrame(*frame))
        return std::nullopt;
    const PixelRows<ARGBVal> rows(*frame);
    const Region bounds = tumblewash::boundsOf(*frame);
    if (!rows.found() || bounds.lx != 0 || bounds.ly != 0 || bounds.empty() || !sameBounds(image, *frame))
        return std::nullopt;
    const auto* first = reinterpret_cast<const unsigned char*>(rows.at(0, 0));
    const auto* second = reinterpret_cast<const unsigned char*>(rows.at(0, std::min(1, bounds.hy)));
    return FieldPixels{first, second - first, bounds.hx + 1, bounds.hy + 1};
}

/// The bilinear reading of one field, or of two at the same positions, straight from the frame's memory.
void fillFromFields(const FieldPixels* from, const PixelRows<ARGBVal>* to, int fieldCount, const Region& box,
                    const PlanarProj& pp) {
    const Region source{0, 0, from[0].columns - 1, from[0].rows - 1};
    forEachProjectedRun(box, source, pp, [&](int x, int y, std::size_t n, const float* x2, const float* y2) {
        tumblewash::FieldReading readings[2];
        for (int f = 0; f < fieldCount; ++f)
            readings[f] = {from[f], reinterpret_cast<unsigned char*>(to[f].at(x, y))};
        tumblewash::bilinearRow(readings, fieldCount, x2, y2, static_cast<int>(n));
    });
}

/// Any other continuous image; its bounds have been tested by the time it is read here.
void fillFromImage(const ContImageRef<ARGBVal>& from, const PixelRows<ARGBVal>& to, const Region& box,
                   const PlanarProj& pp) {
    forEachProjectedRun(box, tumblewash::boundsOf(from), pp,
                        [&](int x, int y, std::size_t n, const float* x2, const float* y2) {
                            ARGBVal* out = to.at(x, y);
                            for (std::size_t i = 0; i < n; ++i) out[i] = from.interpPix(x2[i], y2[i]);
                        });
}

/// Any rectangles, through their virtual slots. A destination without pixels refers to the shared zero pixel,
/// which is never written.
void fillFromSlots(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, const PlanarProj& pp) {
    forEachProjectedRun(tumblewash::boundsOf(dest), tumblewash::boundsOf(src), pp,
                        [&](int x, int y, std::size_t n, const float* x2, const float* y2) {
                            for (std::size_t i = 0; i < n; ++i) {
                                ARGBVal& pixel = dest.pixrefNB(x + static_cast<int>(i), y);
                                if (&pixel == &PixRectBase<ARGBVal>::blackpixel) continue;
                                pixel = src.pixdd(x2[i], y2[i]);
                            }
                        });
}

}  // namespace

void ProjWith(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, PlanarProj& pp) {
    const Region box = tumblewash::boundsOf(dest);
    const PixelRows<ARGBVal> to(dest);
    if (!to.found() || !to.reach().covers(box)) return fillFromSlots(src, dest, pp);
    if (typeid(src) == typeid(ContImageRef<ARGBVal>)) {
        const auto& image = dynamic_cast<const ContImageRef<ARGBVal>&>(src);
        const std::optional<FieldPixels> field = plainField(image);
        return field ? fillFromFields(&*field, &to, 1, box, pp) : fillFromImage(image, to, box, pp);
    }
    const PixelRows<ARGBVal> from(src);
    if (isPlainFrame(src) && from.found()) return fillFromRows(from, tumblewash::boundsOf(src), to, box, pp);
    fillFromSlots(src, dest, pp);
}

void tumblewash::projectFields(ContImageRef<ARGBVal>& even, ContImageRef<ARGBVal>& odd,
                               PixRectRW<ARGBVal>& toEven, PixRectRW<ARGBVal>& toOdd, PlanarProj& pp) {
    const std::optional<FieldPixels> first = plainField(even), second = plainField(odd);
    const PixelRows<ARGBVal> to[2] = {PixelRows<ARGBVal>(toEven), PixelRows<ARGBVal>(toOdd)};
    const Region box = boundsOf(toEven);
    const bool alike = first && second && first->columns == second->columns && first->rows == second->rows &&
                       first->pitch == second->pitch && sameBounds(toEven, toOdd) && to[0].found() &&
                       to[1].found() && to[0].reach().covers(box) && to[1].reach().covers(box);
    if (!alike) {
        ProjWith(even, toEven, pp);
        ProjWith(odd, toOdd, pp);
        return;
    }
    const FieldPixels from[2] = {*first, *second};
    fillFromFields(from, to, 2, box, pp);
}

void DistortUsingProj(_EffectData*, unsigned char* src, unsigned char* dest, int dwidth, int width,
                      int height, float factor, bool proxyOnly) {
    siprintf("DistortUsingProj %d %d fac=%f\n\r", width, height, static_cast<double>(factor));
    tumblewash::FrameViews from(src, dwidth, height);
    tumblewash::FrameViews to(dest, dwidth, height);
    ContImageRef<ARGBVal> sce(from.even, SIInterpBilinear);
    ContImageRef<ARGBVal> sco(from.odd, SIInterpBilinear);
    const int w = dwidth;
    const int h = proxyOnly ? height : height / 2;
    const auto f = [](int v) { return static_cast<float>(v); };
    float pointsx[4] = {f(w / 10), f(w - w / 10), f(w + w / 10), f(-w / 10)};
    float pointsy[4] = {f(h / 10), f(h / 10), f(h - h / 10), f(h - h / 10)};
    float pointsdx[4] = {0, f(w), f(w), 0};
    float pointsdy[4] = {0, 0, f(h), f(h)};
    PlanarProj pp;
    pp.solvefor(pointsx, pointsy, pointsdx, pointsdy);
    if (proxyOnly) {
        ProjWith(from.all, to.all, pp);
    } else {
        tumblewash::projectFields(sce, sco, to.even, to.odd, pp);
    }
}
