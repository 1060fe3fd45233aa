#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/SICommon.h"
#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/FrameViews.h"
#include "pluginDistort/v1/Projection.h"

namespace {

using tumblewash::plugin::Plate;
using Corner = tumblewash::plugin::PlateCorner;

/// Truncation toward zero that saturates beyond int and gives 0 for not-a-number, so that a wild progress
/// value still gives whole corners.
int truncated(double v) {
    if (std::isnan(v)) return 0;
    if (v >= 2147483647.0) return std::numeric_limits<int>::max();
    if (v <= -2147483648.0) return std::numeric_limits<int>::min();
    return static_cast<int>(v);
}

// Corner arithmetic wraps at 32 bits: with a saturated corner the numbers mean nothing, but they stay
// numbers.
int sum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
int difference(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}
int product(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

/// The mean colour of a lattice of samples, 16 steps along each side of the frame (more where a side is no
/// multiple of 16, one per pixel where it is shorter).
RGBPixel<float> averageColour(PixRectWrap<ARGBVal>& frame, int dwidth, int height) {
    const int stepx = std::max(1, dwidth / 16);
    const int stepy = std::max(1, height / 16);
    RGBPixel<float> avcol(0.0f, 0.0f, 0.0f);
    int count = 0;
    for (int x = 0; x < dwidth; x += stepx) {
        for (int y = 0; y < height; y += stepy) {
            avcol += frame.pixNB(x, y);
            ++count;
        }
    }
    avcol *= 1.0 / count;
    return avcol;
}

/// Paints the two outer rows and columns. They become the plate's rim, so that its edge does not show
/// whatever noise the picture has there.
void paintBorder(PixRectWrap<ARGBVal>& frame, int dwidth, int height, const RGBPixel<float>& colour) {
    ARGBVal rim;
    rim << colour;
    for (int x = 0; x < dwidth; ++x)
        for (const int y : {0, height - 1, 1, height - 2}) frame.pixrefNB(x, y) = rim;
    for (int y = 0; y < height; ++y)
        for (const int x : {0, dwidth - 1, 1, dwidth - 2}) frame.pixrefNB(x, y) = rim;
}

/// The plate before the spin: flipped about its horizontal axis, narrowed towards the middle, the far edge
/// more than the near one. `rows` counts the rows of one picture: a field's when the frame is interlaced.
Plate flippedPlate(int dwidth, int rows, float f) {
    const auto a = static_cast<float>(f * 18.849555924);
    const auto maxDistance = static_cast<float>(product(rows, 10));
    const auto halfw = static_cast<float>(dwidth / 2);
    const auto halfh = static_cast<float>(rows / 2);
    const double angle = a;
    const auto s = static_cast<float>(rows * std::sin(angle) * 0.5);
    const int mx1 = truncated(halfw * (f * maxDistance + s) / maxDistance);
    const int mx2 = truncated(halfw * (f * maxDistance - s) / maxDistance);
    const float t = static_cast<float>(std::cos(angle) * rows * 0.5) * (1 - f);
    const int ytop = truncated(halfh - t);
    int ybot = truncated(halfh + t);
    if (std::abs(static_cast<long long>(ybot) - ytop) <= 1) ybot = sum(ytop, 1);
    return {{{mx1, ytop}, {difference(dwidth, mx1), ytop}, {difference(dwidth, mx2), ybot}, {mx2, ybot}}};
}

/// One corner after the spin about (cx, cy), in square frame units: field rows count double.
Corner spun(Corner corner, int cx, int cy, float rotat, bool interlaced) {
    const int dx = difference(corner.x, cx);
    const int dy = product(difference(corner.y, cy), interlaced ? 2 : 1);
    const auto theta = static_cast<float>(std::atan2(static_cast<double>(dy), static_cast<double>(dx)));
    const double angle = rotat + theta;
    const auto r = static_cast<float>(std::sqrt(static_cast<double>(sum(product(dx, dx), product(dy, dy)))));
    const int x = truncated(std::cos(angle) * r);
    const int y = truncated(r * std::sin(angle));
    return {sum(cx, x), sum(cy, interlaced ? y / 2 : y)};
}

/// The plate after the spin about the middle of the picture.
Plate spunPlate(const Plate& flat, int width, int rows, float factor, bool interlaced) {
    const auto rotat = static_cast<float>(factor * 6.283185308);
    Plate plate = flat;
    for (Corner& corner : plate) corner = spun(corner, width / 2, rows / 2, rotat, interlaced);
    return plate;
}

void logCorners(const char* format, const Plate& p) {
    siprintf(format, p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y, p[3].x, p[3].y);
}

/// The projection that carries places on screen inside the plate to places of the picture.
PlanarProj projectionFor(const Plate& plate, int dwidth, int rows) {
    float pointsx[4], pointsy[4];
    for (std::size_t i = 0; i < plate.size(); ++i) {
        pointsx[i] = static_cast<float>(plate[i].x);
        pointsy[i] = static_cast<float>(plate[i].y);
    }
    const auto w = static_cast<float>(dwidth);
    const auto h = static_cast<float>(rows);
    float pointsdx[4] = {0, w, w, 0};
    float pointsdy[4] = {0, 0, h, h};
    PlanarProj pp;
    pp.solvefor(pointsx, pointsy, pointsdx, pointsdy);
    return pp;
}

/// The plate's box, inclusive.
struct Box {
    int minx, miny, maxx, maxy;

    explicit Box(const Plate& plate) {
        std::tie(minx, maxx) = std::minmax({plate[0].x, plate[1].x, plate[2].x, plate[3].x});
        std::tie(miny, maxy) = std::minmax({plate[0].y, plate[1].y, plate[2].y, plate[3].y});
    }
    /// A box that misses the frame draws nothing: a view clipped to nothing would still show one row or
    /// column, at a place that may lie outside the frame.
    bool meets(const PixRectWrap<ARGBVal>& frame) const {
        return miny <= maxy && maxx >= frame.lx() && minx <= frame.hx() && maxy >= frame.ly() &&
               miny <= frame.hy();
    }
    /// What of it lies in rows first ... end - 1; it meets no frame where that is nothing.
    Box inRows(int first, int end) const {
        Box part = *this;
        part.miny = std::max(miny, first);
        part.maxy = std::min(maxy, end - 1);
        return part;
    }
    /// The same for deep pixels: what of the box lies inside, empty where nothing does.
    tumblewash::imagelib::Region within(int columns, int firstRow, int endRow) const {
        return tumblewash::imagelib::Region{minx, miny, maxx, maxy}.clipped(
            {0, firstRow, columns - 1, endRow - 1});
    }
    PixRectRWRef<ARGBVal> of(PixRectWrap<ARGBVal>& frame) const { return {frame, minx, miny, maxx, maxy}; }
};

/// The mean of the same lattice of deep pixels, weighed by their alpha, opaque; black where all is
/// transparent. A frame's byte truncates the mean, so this one is as coarse: 255 steps from black to white.
tumblewash::kernels::DeepPixel averageColour(const tumblewash::imagelib::DeepView& picture,
                                             const tumblewash::kernels::DeepRange& range) {
    const int stepx = std::max(1, picture.width / 16);
    const int stepy = std::max(1, picture.height / 16);
    std::int64_t alpha = 0, red = 0, green = 0, blue = 0;
    for (int y = 0; y < picture.height; y += stepy) {
        for (int x = 0; x < picture.width; x += stepx) {
            const tumblewash::kernels::DeepPixel pixel =
                tumblewash::kernels::loadDeep(picture.row(y) + x * tumblewash::kernels::kDeepPixelBytes);
            alpha += pixel.alpha;
            red += pixel.red - range.black;
            green += pixel.green - range.black;
            blue += pixel.blue - range.black;
        }
    }
    const auto mean = [&](std::int64_t sum) {
        if (alpha == 0 || sum < 0) return range.black;
        const std::int64_t span = range.white - range.black;
        const std::int64_t step = std::min<std::int64_t>(sum * 65535 * 255 / (alpha * span), 255);
        return static_cast<std::uint16_t>(range.black + (step * span + 127) / 255);
    };
    return {65535, mean(red), mean(green), mean(blue)};
}

/// A field of a deep picture, or all of it, with its rim, and the same lines of the picture to fill.
tumblewash::plugin::DeepFill fieldFill(const tumblewash::imagelib::DeepView& src,
                                       const tumblewash::imagelib::DeepTarget& dest, int line, int lines,
                                       const tumblewash::kernels::DeepPixel& rim,
                                       const tumblewash::kernels::DeepPixel& nothing) {
    const int rows = (src.height + lines - 1 - line) / lines;
    return {{src.row(line), lines * src.stride, src.width, rows, nothing, {2, 2 / lines, rim}},
            dest.row(line),
            lines * dest.stride};
}

}  // namespace

Plate tumblewash::plugin::tumblePlate(int width, int rows, float factor, bool interlaced) {
    return spunPlate(flippedPlate(width, rows, factor), width, rows, factor, interlaced);
}

void tumblewash::plugin::tumbleDeep(const imagelib::DeepView& src, const imagelib::DeepTarget& dest,
                                    float factor, bool progressive, const kernels::DeepRange& range,
                                    const kernels::DeepPixel& nothing, const imagelib::LineBand& band) {
    if (src.width < 2 || src.height < 2) return;
    const int rows = progressive ? src.height : src.height / 2;
    const bool interlaced = rows != src.height;
    const Plate plate = tumblePlate(src.width, rows, factor, interlaced);
    const PlanarProj pp = projectionFor(plate, src.width, rows);
    const Box box(plate);
    const kernels::DeepPixel rim = averageColour(src, range);
    if (progressive) {
        const DeepFill all = fieldFill(src, dest, 0, 1, rim, nothing);
        return projectDeep(&all, 1, box.within(src.width, band.first, band.endIn(src.height)), pp, true);
    }
    const DeepFill fields[2] = {fieldFill(src, dest, 0, 2, rim, nothing),
                                fieldFill(src, dest, 1, 2, rim, nothing)};
    const int first = band.firstRow();
    const int ends[2] = {band.endEvenRow(src.height), band.endOddRow(src.height)};
    if (fields[0].from.rows == fields[1].from.rows)
        return projectDeep(fields, 2, box.within(src.width, first, ends[0]), pp, false);
    for (int f = 0; f < 2; ++f) projectDeep(&fields[f], 1, box.within(src.width, first, ends[f]), pp, false);
}

void tumblewash::plugin::prepareTumble(unsigned char* src, int dwidth, int width, int height, float factor,
                                       bool proxyOnly) {
    // The fixed trapezoid and the tumble share this line.
    siprintf("DistortUsingProj %d %d fac=%f\n\r", width, height, static_cast<double>(factor));
    if (dwidth < 2 || height < 2) return;
    FrameViews views(src, dwidth, height);
    paintBorder(views.all, dwidth, height, averageColour(views.all, dwidth, height));
    const int rows = proxyOnly ? height : height / 2;
    const Plate plate = flippedPlate(dwidth, rows, factor);
    logCorners("Tumble corners   %d,%d  %d,%d  %d,%d  %d,%d\n\r", plate);
    logCorners("Tumble corners R %d,%d  %d,%d  %d,%d  %d,%d\n\r",
               spunPlate(plate, width, rows, factor, rows != height));
}

void tumblewash::plugin::tumbleBand(unsigned char* src, unsigned char* dest, int dwidth, int width,
                                    int height, float factor, bool proxyOnly,
                                    const imagelib::LineBand& band) {
    if (dwidth < 2 || height < 2) return;
    const int rows = proxyOnly ? height : height / 2;
    const Plate plate = spunPlate(flippedPlate(dwidth, rows, factor), width, rows, factor, rows != height);
    FrameViews from(src, dwidth, height);
    FrameViews to(dest, dwidth, height);
    PlanarProj pp = projectionFor(plate, dwidth, rows);
    const Box box(plate);
    if (proxyOnly) {
        const Box lines = box.inRows(band.first, band.endIn(height));
        if (!lines.meets(to.all)) return;
        PixRectRWRef<ARGBVal> clipped = lines.of(to.all);
        ProjWith(from.all, clipped, pp);
        return;
    }
    const Box evenRows = box.inRows(band.firstRow(), band.endEvenRow(height));
    const Box oddRows = box.inRows(band.firstRow(), band.endOddRow(height));
    ContImageRef<ARGBVal> sce(from.even, SIInterpBilinear);
    ContImageRef<ARGBVal> sco(from.odd, SIInterpBilinear);
    if (evenRows.meets(to.even) && oddRows.meets(to.odd)) {
        PixRectRWRef<ARGBVal> even = evenRows.of(to.even), odd = oddRows.of(to.odd);
        projectFields(sce, sco, even, odd, pp);
    } else if (evenRows.meets(to.even)) {
        PixRectRWRef<ARGBVal> even = evenRows.of(to.even);
        ProjWith(sce, even, pp);
    }
}

void TumbleAway(_EffectData*, unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                float factor, bool proxyOnly) {
    tumblewash::plugin::prepareTumble(src, dwidth, width, height, factor, proxyOnly);
    tumblewash::plugin::tumbleBand(src, dest, dwidth, width, height, factor, proxyOnly, {});
}
