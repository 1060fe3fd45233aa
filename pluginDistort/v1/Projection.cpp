#include "pluginDistort/v1/Projection.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/ProjectRow.h"
#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRows.h"
#include "ImageLib/source/SICommon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/FrameViews.h"

namespace {

using tumblewash::imagelib::exactly;
using tumblewash::imagelib::PixelRows;
using tumblewash::imagelib::Region;
using tumblewash::kernels::FieldPixels;

/// The greatest float that is not above v, and the smallest that is not below it: a float lies beyond either
/// exactly where it lies beyond v.
float floatBelow(double v) {
    const auto f = static_cast<float>(v);
    return f > v ? std::nextafter(f, -std::numeric_limits<float>::infinity()) : f;
}
float floatAbove(double v) {
    const auto f = static_cast<float>(v);
    return f < v ? std::nextafter(f, std::numeric_limits<float>::infinity()) : f;
}

/// The positions whose truncation toward zero lies in `source`.
tumblewash::kernels::OpenBounds truncatedBounds(const Region& source) {
    const auto after = [](int lo) { return floatBelow(lo <= 0 ? lo - 1.0 : std::nextafter(lo, 0.0)); };
    const auto before = [](int hi) { return floatAbove(hi >= 0 ? hi + 1.0 : std::nextafter(hi, 0.0)); };
    return {after(source.lx), before(source.hx), after(source.ly), before(source.hy)};
}

/// Positions that are projected before the first of them is read: few enough to stay in the nearest cache.
constexpr int stretchColumns = 8 * tumblewash::kernels::kColumnsInWord;

/// One stretch of a row: its positions, and runs of those that lie inside.
class Stretch {
  public:
    void project(const PlanarProj& pp, int y, int first, int count,
                 const tumblewash::kernels::OpenBounds& bounds) {
        count_ = count;
        tumblewash::kernels::projectRow(pp.B, y, first, count, bounds, x, y_, inside_);
    }

    /// The first column from `at` on that is inside, or (wanted false) outside; the count if there is none.
    int find(bool wanted, int at) const {
        while (at < count_) {
            const std::uint64_t word = inside_[at / tumblewash::kernels::kColumnsInWord];
            const int bit = at % tumblewash::kernels::kColumnsInWord;
            const std::uint64_t left = (wanted ? word : ~word) >> bit;
            if (left != 0) return std::min(count_, at + std::countr_zero(left));
            at += tumblewash::kernels::kColumnsInWord - bit;
        }
        return count_;
    }

    const float* atX() const { return x; }
    const float* atY() const { return y_; }

  private:
    int count_ = 0;
    float x[stretchColumns], y_[stretchColumns];
    std::uint64_t inside_[stretchColumns / tumblewash::kernels::kColumnsInWord];
};

/// Visits `box` row by row and hands over every run of pixels whose source positions, truncated toward zero,
/// lie within `source`, long ones in pieces: fill(x, y, count, source x, source y) with the run's first pixel
/// and its exact positions.
template <class Fill>
void forEachProjectedRun(const Region& box, const Region& source, const PlanarProj& pp, Fill fill) {
    if (box.empty() || source.empty()) return;
    const tumblewash::kernels::OpenBounds bounds = truncatedBounds(source);
    Stretch stretch;
    for (int y = box.ly; y <= box.hy; ++y) {
        for (int x = box.lx; x <= box.hx; x += stretchColumns) {
            const int count = std::min(stretchColumns, box.hx - x + 1);
            stretch.project(pp, y, x, count, bounds);
            int first = stretch.find(true, 0);
            while (first < count) {
                const int end = stretch.find(false, first);
                fill(x + first, y, end - first, stretch.atX() + first, stretch.atY() + first);
                first = stretch.find(true, end);
            }
        }
    }
}

/// A plain frame is read at the truncated position.
void fillFromRows(const PixelRows<ARGBVal>& from, const Region& source, const PixelRows<ARGBVal>& to,
                  const Region& box, const PlanarProj& pp) {
    forEachProjectedRun(box, source, pp, [&](int x, int y, int n, const float* x2, const float* y2) {
        ARGBVal* out = to.at(x, y);
        for (int i = 0; i < n; ++i) out[i] = *from.at(static_cast<int>(x2[i]), static_cast<int>(y2[i]));
    });
}

bool isPlainFrame(const PixRect<ARGBVal>& rect) {
    return exactly<PixRectRW<ARGBVal>>(rect) != nullptr || exactly<PixRectWrap<ARGBVal>>(rect) != nullptr;
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
    const Region bounds = tumblewash::imagelib::boundsOf(*frame);
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
    forEachProjectedRun(box, source, pp, [&](int x, int y, int n, const float* x2, const float* y2) {
        tumblewash::kernels::FieldReading readings[2];
        for (int f = 0; f < fieldCount; ++f)
            readings[f] = {from[f], reinterpret_cast<unsigned char*>(to[f].at(x, y))};
        tumblewash::kernels::bilinearRow(readings, fieldCount, x2, y2, n);
    });
}

/// Any other continuous image; its bounds have been tested by the time it is read here.
void fillFromImage(const ContImageRef<ARGBVal>& from, const PixelRows<ARGBVal>& to, const Region& box,
                   const PlanarProj& pp) {
    forEachProjectedRun(box, tumblewash::imagelib::boundsOf(from), pp,
                        [&](int x, int y, int n, const float* x2, const float* y2) {
                            ARGBVal* out = to.at(x, y);
                            for (int i = 0; i < n; ++i) out[i] = from.interpPix(x2[i], y2[i]);
                        });
}

/// Any rectangles, through their virtual slots. A destination without pixels refers to the shared zero pixel,
/// which is never written.
void fillFromSlots(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, const PlanarProj& pp) {
    forEachProjectedRun(tumblewash::imagelib::boundsOf(dest), tumblewash::imagelib::boundsOf(src), pp,
                        [&](int x, int y, int n, const float* x2, const float* y2) {
                            for (int i = 0; i < n; ++i) {
                                ARGBVal& pixel = dest.pixrefNB(x + i, y);
                                if (&pixel == &PixRectBase<ARGBVal>::blackpixel) continue;
                                pixel = src.pixdd(x2[i], y2[i]);
                            }
                        });
}

}  // namespace

void ProjWith(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, PlanarProj& pp) {
    const Region box = tumblewash::imagelib::boundsOf(dest);
    const PixelRows<ARGBVal> to(dest);
    if (!to.found() || !to.reach().covers(box)) return fillFromSlots(src, dest, pp);
    if (const auto* image = exactly<ContImageRef<ARGBVal>>(src)) {
        const std::optional<FieldPixels> field = plainField(*image);
        return field ? fillFromFields(&*field, &to, 1, box, pp) : fillFromImage(*image, to, box, pp);
    }
    const PixelRows<ARGBVal> from(src);
    if (isPlainFrame(src) && from.found())
        return fillFromRows(from, tumblewash::imagelib::boundsOf(src), to, box, pp);
    fillFromSlots(src, dest, pp);
}

void tumblewash::plugin::projectFields(ContImageRef<ARGBVal>& even, ContImageRef<ARGBVal>& odd,
                                       PixRectRW<ARGBVal>& toEven, PixRectRW<ARGBVal>& toOdd,
                                       PlanarProj& pp) {
    const std::optional<FieldPixels> first = plainField(even), second = plainField(odd);
    const PixelRows<ARGBVal> to[2] = {PixelRows<ARGBVal>(toEven), PixelRows<ARGBVal>(toOdd)};
    const Region box = imagelib::boundsOf(toEven);
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

void tumblewash::plugin::projectDeep(const DeepFill* fields, int fieldCount, const imagelib::Region& box,
                                     const PlanarProj& pp, bool nearest) {
    const kernels::DeepField& first = fields[0].from;
    const imagelib::Region source{0, 0, first.columns - 1, first.rows - 1};
    forEachProjectedRun(box, source, pp, [&](int x, int y, int n, const float* x2, const float* y2) {
        kernels::DeepReading readings[2];
        for (int f = 0; f < fieldCount; ++f)
            readings[f] = {fields[f].from,
                           fields[f].to + y * fields[f].toPitch + x * kernels::kDeepPixelBytes};
        if (nearest)
            kernels::deepNearestRow(readings[0], x2, y2, n);
        else
            kernels::deepBilinearRow(readings, fieldCount, x2, y2, n);
    });
}

void DistortUsingProj(_EffectData*, unsigned char* src, unsigned char* dest, int dwidth, int width,
                      int height, float factor, bool proxyOnly) {
    siprintf("DistortUsingProj %d %d fac=%f\n\r", width, height, static_cast<double>(factor));
    tumblewash::plugin::FrameViews from(src, dwidth, height);
    tumblewash::plugin::FrameViews to(dest, dwidth, height);
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
        tumblewash::plugin::projectFields(sce, sco, to.even, to.odd, pp);
    }
}
