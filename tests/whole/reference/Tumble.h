// Tumble: the projection fill, the fixed trapezoid and the tumbling plate as compositions of views, one pixel
// after the other, column by column, through the virtual slots. The shipped routines share the views and the
// solver with these and must give the same frame to the byte.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/PlanarProj.h"
#include "ImageLib/source/SICommon.h"

namespace tumblewash::reference {

/// Truncation toward zero; beyond int the nearest int, not-a-number 0.
inline int trunc32(double v) {
    if (v != v) return 0;
    return static_cast<int>(std::clamp(std::trunc(v), static_cast<double>(std::numeric_limits<int>::min()),
                                       static_cast<double>(std::numeric_limits<int>::max())));
}

/// The low 32 bits of a number as a signed int.
inline int low32(long long v) {
    return static_cast<int>(static_cast<unsigned>(v & 0xFFFFFFFFLL));
}

inline void ProjWith(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, PlanarProj& pp) {
    for (int x = dest.lx(); x <= dest.hx(); ++x) {
        for (int y = dest.ly(); y <= dest.hy(); ++y) {
            float x2 = 0, y2 = 0;
            pp.proj(static_cast<float>(x), static_cast<float>(y), x2, y2);
            if (!(std::fabs(x2) < 2147483648.0f) || !(std::fabs(y2) < 2147483648.0f)) continue;
            const int ix = static_cast<int>(x2), iy = static_cast<int>(y2);
            if (ix < src.lx() || ix > src.hx() || iy < src.ly() || iy > src.hy()) continue;
            dest.pixrefNB(x, y) = src.pixdd(x2, y2);
        }
    }
}

inline void zeroOrigin(PixRectWrap<ARGBVal>& view) {
    view.shiftorigin(-view.lx(), -view.ly());
}

inline void DistortUsingProj(unsigned char* src, unsigned char* dest, int dwidth, int, int height, float,
                             bool proxyOnly) {
    auto* s = reinterpret_cast<ARGBVal*>(src);
    auto* d = reinterpret_cast<ARGBVal*>(dest);
    PixRectWrap<ARGBVal> wrapsall(s, dwidth, height, SIAllLines), wrapdall(d, dwidth, height, SIAllLines);
    PixRectWrap<ARGBVal> wrapsodd(s, dwidth, height, SIOddLines), wrapdodd(d, dwidth, height, SIOddLines);
    PixRectWrap<ARGBVal> wrapseven(s, dwidth, height, SIEvenLines), wrapdeven(d, dwidth, height, SIEvenLines);
    for (PixRectWrap<ARGBVal>* view : {&wrapsall, &wrapdall, &wrapsodd, &wrapdodd, &wrapseven, &wrapdeven})
        zeroOrigin(*view);
    ContImageRef<ARGBVal> sce(wrapseven, SIInterpBilinear), sco(wrapsodd, SIInterpBilinear);
    const int height2 = proxyOnly ? height : height / 2;
    const int tenthW = dwidth / 10, tenthH = height2 / 10;
    float pointsx[4] = {static_cast<float>(tenthW), static_cast<float>(dwidth - tenthW),
                        static_cast<float>(dwidth + tenthW), static_cast<float>(-tenthW)};
    float pointsy[4] = {static_cast<float>(tenthH), static_cast<float>(tenthH),
                        static_cast<float>(height2 - tenthH), static_cast<float>(height2 - tenthH)};
    float pointsdx[4] = {0, static_cast<float>(dwidth), static_cast<float>(dwidth), 0};
    float pointsdy[4] = {0, 0, static_cast<float>(height2), static_cast<float>(height2)};
    PlanarProj pp;
    pp.solvefor(pointsx, pointsy, pointsdx, pointsdy);
    if (proxyOnly) {
        reference::ProjWith(wrapsall, wrapdall, pp);
        return;
    }
    reference::ProjWith(sce, wrapdeven, pp);
    reference::ProjWith(sco, wrapdodd, pp);
}

/// The eight numbers of a plate: x and y of its corners, top left, top right, bottom right, bottom left.
struct Corners {
    int x[4], y[4];
};

inline Corners platesCorners(int dwidth, int h2, float f) {
    const float a = static_cast<float>(static_cast<double>(f) * 18.849555924);
    const float max_distance = static_cast<float>(low32(static_cast<long long>(h2) * 10));
    const float halfw = static_cast<float>(dwidth / 2), halfh = static_cast<float>(h2 / 2);
    const float s = static_cast<float>(static_cast<double>(h2) * std::sin(static_cast<double>(a)) * 0.5);
    const int mx1 = trunc32(halfw * (f * max_distance + s) / max_distance);
    const int mx2 = trunc32(halfw * (f * max_distance - s) / max_distance);
    const float c = static_cast<float>(std::cos(static_cast<double>(a)) * static_cast<double>(h2) * 0.5);
    const float t = c * (1.0f - f);
    const int ytop = trunc32(halfh - t);
    int ybot = trunc32(halfh + t);
    if (std::llabs(static_cast<long long>(ybot) - ytop) <= 1) ybot = low32(static_cast<long long>(ytop) + 1);
    const long long w = dwidth;
    return {{mx1, low32(w - mx1), low32(w - mx2), mx2}, {ytop, ytop, ybot, ybot}};
}

inline Corners spunCorners(const Corners& plate, int cx, int cy, float f, bool interlaced) {
    const float rotat = static_cast<float>(static_cast<double>(f) * 6.283185308);
    Corners out{};
    for (int i = 0; i < 4; ++i) {
        const int dx = low32(static_cast<long long>(plate.x[i]) - cx);
        int dy = low32(static_cast<long long>(plate.y[i]) - cy);
        if (interlaced) dy = low32(static_cast<long long>(dy) * 2);
        const float theta = static_cast<float>(std::atan2(static_cast<double>(dy), static_cast<double>(dx)));
        const float angle = rotat + theta;
        const int squares = low32(static_cast<long long>(low32(static_cast<long long>(dx) * dx)) +
                                  low32(static_cast<long long>(dy) * dy));
        const float r = static_cast<float>(std::sqrt(static_cast<double>(squares)));
        const int X = trunc32(std::cos(static_cast<double>(angle)) * static_cast<double>(r));
        int Y = trunc32(static_cast<double>(r) * std::sin(static_cast<double>(angle)));
        if (interlaced) Y /= 2;
        out.x[i] = low32(static_cast<long long>(cx) + X);
        out.y[i] = low32(static_cast<long long>(cy) + Y);
    }
    return out;
}

inline void TumbleAway(unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                       float factor, bool proxyOnly) {
    if (dwidth < 2 || height < 2) return;
    const int h2 = proxyOnly ? height : height / 2;
    auto* s = reinterpret_cast<ARGBVal*>(src);
    auto* d = reinterpret_cast<ARGBVal*>(dest);
    PixRectWrap<ARGBVal> wrapsall(s, dwidth, height, SIAllLines), wrapdall(d, dwidth, height, SIAllLines);
    PixRectWrap<ARGBVal> wrapsodd(s, dwidth, height, SIOddLines), wrapdodd(d, dwidth, height, SIOddLines);
    PixRectWrap<ARGBVal> wrapseven(s, dwidth, height, SIEvenLines), wrapdeven(d, dwidth, height, SIEvenLines);
    for (PixRectWrap<ARGBVal>* view : {&wrapsall, &wrapdall, &wrapsodd, &wrapdodd, &wrapseven, &wrapdeven})
        zeroOrigin(*view);

    RGBPixel<float> avcol(0.0f, 0.0f, 0.0f);
    int c = 0;
    for (int x = 0; x < dwidth; x += std::max(1, dwidth / 16))
        for (int y = 0; y < height; y += std::max(1, height / 16), ++c) avcol += wrapsall.rasters()[y][x];
    avcol *= 1.0 / c;
    for (int x = 0; x < dwidth; ++x) {
        wrapsall.rasters()[0][x] << avcol;
        wrapsall.rasters()[height - 1][x] << avcol;
        wrapsall.rasters()[1][x] << avcol;
        wrapsall.rasters()[height - 2][x] << avcol;
    }
    for (int y = 0; y < height; ++y) {
        wrapsall.rasters()[y][0] << avcol;
        wrapsall.rasters()[y][dwidth - 1] << avcol;
        wrapsall.rasters()[y][1] << avcol;
        wrapsall.rasters()[y][dwidth - 2] << avcol;
    }

    ContImageRef<ARGBVal> sce(wrapseven, SIInterpBilinear), sco(wrapsodd, SIInterpBilinear);
    const Corners flat = platesCorners(dwidth, h2, factor);
    const Corners spun = spunCorners(flat, width / 2, h2 / 2, factor, h2 != height);
    float pointsx[4], pointsy[4];
    for (int i = 0; i < 4; ++i) {
        pointsx[i] = static_cast<float>(spun.x[i]);
        pointsy[i] = static_cast<float>(spun.y[i]);
    }
    float pointsdx[4] = {0, static_cast<float>(dwidth), static_cast<float>(dwidth), 0};
    float pointsdy[4] = {0, 0, static_cast<float>(h2), static_cast<float>(h2)};
    PlanarProj pp;
    pp.solvefor(pointsx, pointsy, pointsdx, pointsdy);

    const int minx = *std::min_element(spun.x, spun.x + 4), maxx = *std::max_element(spun.x, spun.x + 4);
    const int miny = *std::min_element(spun.y, spun.y + 4), maxy = *std::max_element(spun.y, spun.y + 4);
    const auto draw = [&](PixRect<ARGBVal>& picture, PixRectWrap<ARGBVal>& frame) {
        if (maxx < 0 || minx >= dwidth || maxy < 0 || miny >= frame.height()) return;
        PixRectRWRef<ARGBVal> clip(frame, minx, miny, maxx, maxy);
        reference::ProjWith(picture, clip, pp);
    };
    if (proxyOnly) {
        draw(wrapsall, wrapdall);
        return;
    }
    draw(sce, wrapdeven);
    draw(sco, wrapdodd);
}

}  // namespace tumblewash::reference
