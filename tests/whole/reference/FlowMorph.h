// FlowMorph: the flow-driven morph as a composition of views, one pixel after the other.
// It shares only the views and the log with the shipped `MorphBetween`, which must give the same frame.
// Slow on purpose.
#pragma once

#include <algorithm>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/SamplePixRect.h"
#include "tests/whole/reference/Fields.h"

namespace tumblewash::reference {

inline void MorphBetween(PixRectWrap<ARGBVal>& source, PixRectWrap<ARGBVal>& other,
                         PixRectWrap<ARGBVal>& dest, PixRectRW<RGBPixel<float>>* flow, float t) {
    imagelib::logLine("MorphBetween1\n\r");
    PixRectWrap<ARGBVal> sourceEven(source.getwrapdata(), source.width(), source.height(), SIEvenLines);
    PixRectWrap<ARGBVal> sourceOdd(source.getwrapdata(), source.width(), source.height(), SIOddLines);
    ContImageRef<ARGBVal> imageEven(sourceEven, SIInterpBilinear);
    ContImageRef<ARGBVal> imageOdd(sourceOdd, SIInterpBilinear);
    PixRectWrap<ARGBVal> otherEven(other.getwrapdata(), other.width(), other.height(), SIEvenLines);
    PixRectWrap<ARGBVal> otherOdd(other.getwrapdata(), other.width(), other.height(), SIOddLines);
    PixRectWrap<ARGBVal> destEven(dest.getwrapdata(), dest.width(), dest.height(), SIEvenLines);
    PixRectWrap<ARGBVal> destOdd(dest.getwrapdata(), dest.width(), dest.height(), SIOddLines);
    destEven.debugon(dest.dbgstate());
    destOdd.debugon(dest.dbgstate());
    ContImageRef<RGBPixel<float>> image(*flow, SIInterpBilinear);
    const float xs = static_cast<float>(flow->width()) / static_cast<float>(sourceEven.width());
    const float ys = static_cast<float>(flow->height()) / static_cast<float>(sourceEven.height());
    SamplePixRectNC<RGBPixel<float>, RGBPixel<float>> field(image, static_cast<double>(xs),
                                                            static_cast<double>(ys), SIBestSample);
    imagelib::logLine("MorphBetween2\n\r");

    const int last = std::min(destEven.hy(), destOdd.hy());
    for (int y = destEven.ly(); y <= last; ++y) {
        if (y == last) {
            destOdd._debug(DBGProblem, "MorphBetween2- Last Row = Even=%d Odd=%d\n", destEven.hy(),
                           destOdd.hy());
        }
        for (int x = destEven.lx(); x <= destEven.hx(); ++x) {
            const RGBPixel<float> v = field.pix(x, y);
            const float fx = t * v.getred() + static_cast<float>(x);
            const float fy = t * v.getgreen() + static_cast<float>(y);
            destEven.pixrefNB(x, y) = imageEven.pixdd(static_cast<double>(fx), static_cast<double>(fy));
            destOdd.pixrefNB(x, y) = imageOdd.pixdd(static_cast<double>(fx), static_cast<double>(fy));
        }
    }
    imagelib::logLine("MorphBetween3\n\r");
}

}  // namespace tumblewash::reference
