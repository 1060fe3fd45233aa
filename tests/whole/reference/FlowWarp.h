// FlowWarp: the flow-driven warp as a composition of views, one pixel after the other.
// It shares only the views and the log with the shipped `DistortUsingFlow`, which must give the same frame.
// Slow on purpose.
#pragma once

#include <algorithm>
#include <cstdio>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/SamplePixRect.h"
#include "tests/whole/reference/Fields.h"

namespace tumblewash::reference {

inline void DistortUsingFlow(unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                             PixRectRW<RGBPixel<float>>* flow, float fac) {
    char line[128];
    std::snprintf(line, sizeof line, "DistortUsingFlow dw=%d %d %d fac=%f\n\r", dwidth, width, height,
                  static_cast<double>(fac));
    imagelib::logLine(line);

    ZeroOriginWrap sourceOdd(src, dwidth, height, SIOddLines);
    ZeroOriginWrap sourceEven(src, dwidth, height, SIEvenLines);
    ZeroOriginWrap destOdd(dest, dwidth, height, SIOddLines);
    ZeroOriginWrap destEven(dest, dwidth, height, SIEvenLines);
    ContImageRef<RGBPixel<float>> image(*flow, SIInterpBilinear);
    const float xs = static_cast<float>(flow->width()) / static_cast<float>(sourceEven.width());
    const float ys = static_cast<float>(flow->height()) / static_cast<float>(sourceEven.height());
    SamplePixRectNC<RGBPixel<float>, RGBPixel<float>> field(image, static_cast<double>(xs),
                                                            static_cast<double>(ys), SIBestSample);
    ContImageRef<ARGBVal> sce(sourceEven, SIInterpBilinear);
    ContImageRef<ARGBVal> sco(sourceOdd, SIInterpBilinear);
    imagelib::logLine("Distort 1\n\r");

    const auto W = static_cast<float>(sce.width());
    const auto H = static_cast<float>(sce.height());
    const int ylast = std::min(destEven.hy(), destOdd.hy());
    for (int y = destEven.ly(); y <= ylast; ++y) {
        for (int x = destEven.lx(); x <= destEven.hx(); ++x) {
            const RGBPixel<float> v = field.pix(x, y);
            const float sx = fac * (W * v.getred()) + static_cast<float>(x);
            const float sy = fac * (H * v.getgreen()) + static_cast<float>(y);
            if (sx < 0.0F || sy < 0.0F) {
                continue;
            }
            if (!(sx < static_cast<float>(width)) || !(sy < H)) {
                continue;
            }
            const double ix = static_cast<int>(sx);
            const double iy = static_cast<int>(sy);
            destEven.pixrefNB(x, y) = sce.pixdd(ix, iy);
            destOdd.pixrefNB(x, y) = sco.pixdd(ix, iy);
        }
    }
    imagelib::logLine("Distort 2\n\r");
    imagelib::logLine("Distort done\n\r");
}

}  // namespace tumblewash::reference
