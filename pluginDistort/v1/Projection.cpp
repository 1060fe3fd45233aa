#include <algorithm>
#include <optional>
#include <typeinfo>
#include <vector>

#include "ImageLib/kernels/BilinearPixel.h"
#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRows.h"
#include "ImageLib/source/RealPosition.h"
#include "ImageLib/source/SICommon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/FrameViews.h"

namespace {

using tumblewash::FieldPixels;
using tumblewash::PixelRows;
using tumblewash::Region;

/// The numerators and the factor of a projection are sums of one product per axis: the column's products are
/// formed once per fill, the row's once per row, and added in the order in which a single projection adds
/// them.
class RowProjection {
  public:
    RowProjection(const PlanarProj& pp, int lx, int hx) : h_(pp.B) {
        columns_.reserve(static_cast<std::size_t>(hx - lx + 1));
        for (int x = lx; x <= hx; ++x) {
            const auto fx = static_cast<float>(x);
            columns_.push_back({fx * h_[0], fx * h_[3], fx * h_[6]});
        }
    }

    void startRow(int y) {
        const auto fy = static_cast<float>(y);
        row_ = {fy * h_[1], fy * h_[4], fy * h_[7]};
    }

    void project(std::size_t column, float& xd, float& yd) const {
        const Products& c = columns_[column];
        const float factor = (c.factor + row_.factor) + 1.0f;
        xd = ((c.x + row_.x) + h_[2]) / factor;
        yd = ((c.y + row_.y) + h_[5]) / factor;
    }

  private:
    struct Products {
        float x, y, factor;
    };
    const float* h_;
    std::vector<Products> columns_;
    Products row_{};
};

/// Visits every pixel of `box` row by row, and hands over those whose source position, truncated toward zero,
/// lies within `source`: visit(x, y, exact x, exact y, whole x, whole y).
template <class Visit>
void forEachProjected(const Region& box, const Region& source, const PlanarProj& pp, Visit visit) {
    if (box.empty()) return;
    RowProjection projection(pp, box.lx, box.hx);
    for (int y = box.ly; y <= box.hy; ++y) {
        projection.startRow(y);
        for (int x = box.lx; x <= box.hx; ++x) {
            float x2 = 0, y2 = 0;
            projection.project(static_cast<std::size_t>(x - box.lx), x2, y2);
            int ix = 0, iy = 0;
            if (!tumblewash::wholePart(x2, ix) || !tumblewash::wholePart(y2, iy) || !source.holds(ix, iy))
                continue;
            visit(x, y, x2, y2, ix, iy);
        }
    }
}

/// A plain frame is read at the truncated position.
void fillFromRows(const PixelRows<ARGBVal>& from, const Region& source, const PixelRows<ARGBVal>& to,
                  const Region& box, const PlanarProj& pp) {
    forEachProjected(box, source, pp,
                     [&](int x, int y, float, float, int ix, int iy) { *to.at(x, y) = *from.at(ix, iy); });
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

/// The bilinear reading straight from the frame's memory.
void fillFromField(const FieldPixels& from, const PixelRows<ARGBVal>& to, const Region& box,
                   const PlanarProj& pp) {
    const auto lastx = static_cast<float>(from.columns - 1);
    const auto lasty = static_cast<float>(from.rows - 1);
    forEachProjected(box, {0, 0, from.columns - 1, from.rows - 1}, pp,
                     [&](int x, int y, float x2, float y2, int, int) {
                         auto* out = reinterpret_cast<unsigned char*>(to.at(x, y));
                         if (x2 >= 0 && y2 >= 0 && x2 <= lastx && y2 <= lasty)
                             tumblewash::bilinearInside(from, tumblewash::bilinearCell(x2, y2), out);
                         else
                             tumblewash::bilinearAnywhere(from, x2, y2, out);
                     });
}

/// Any other continuous image; its bounds have been tested by the time it is read here.
void fillFromImage(const ContImageRef<ARGBVal>& from, const PixelRows<ARGBVal>& to, const Region& box,
                   const PlanarProj& pp) {
    forEachProjected(box, tumblewash::boundsOf(from), pp, [&](int x, int y, float x2, float y2, int, int) {
        *to.at(x, y) = from.interpPix(x2, y2);
    });
}

/// Any rectangles, through their virtual slots. A destination without pixels refers to the shared zero pixel,
/// which is never written.
void fillFromSlots(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, const PlanarProj& pp) {
    forEachProjected(tumblewash::boundsOf(dest), tumblewash::boundsOf(src), pp,
                     [&](int x, int y, float x2, float y2, int, int) {
                         ARGBVal& pixel = dest.pixrefNB(x, y);
                         if (&pixel != &PixRectBase<ARGBVal>::blackpixel) pixel = src.pixdd(x2, y2);
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
        return field ? fillFromField(*field, to, box, pp) : fillFromImage(image, to, box, pp);
    }
    const PixelRows<ARGBVal> from(src);
    if (isPlainFrame(src) && from.found()) return fillFromRows(from, tumblewash::boundsOf(src), to, box, pp);
    fillFromSlots(src, dest, pp);
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
        ProjWith(sce, to.even, pp);
        ProjWith(sco, to.odd, pp);
    }
}
