#include "ImageLib/source/PixDiff.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/SamplePixRect.h"
#include "bench/Rows.h"
#include "bench/Yardsticks.h"

namespace tumblewash::bench {

namespace {

PixRectWrap<ARGBVal> wrapped(Picture& p) {
    return {reinterpret_cast<ARGBVal*>(p.data()), p.width, p.height, SIAllLines};
}

}  // namespace

void addLibrary(Table& table, int w, int h, Times& times) {
    const std::string size = " " + std::to_string(w) + "x" + std::to_string(h);
    Picture one = scene(w, h, 1), two = scene(w, h, 2), out = scene(w, h, 3);
    Picture third(w / 3, h / 3);
    PixRectWrap<ARGBVal> a = wrapped(one), b = wrapped(two);
    const auto row = [&](const std::string& name, const std::function<void()>& ours, const std::string& yard,
                         const std::function<void()>& theirs, double target = 1.2) {
        times[name] = table.add(name + size, ours, yard, theirs, Aim::atMost, target);
    };

    float kernel[5][5];
    float flat[25];
    for (int i = 0; i < 25; ++i) {
        const auto u = static_cast<float>(3 - std::abs(i / 5 - 2)),
                   v = static_cast<float>(3 - std::abs(i % 5 - 2));
        kernel[i / 5][i % 5] = 0.1F * u * v;
        flat[i] = 0.1F * u * v / 8.1F;
    }
    PixRectRW<ARGBVal>& plain = a;
    row(
        "convolution 5x5", [&] { const PixRectRW<ARGBVal> filtered(plain, kernel); }, "filter2D",
        [&] { filter5x5(one, out, flat); });
    double result = 0.0;
    unsigned char low = 0, high = 0;
    row(
        "sumdiff", [&] { sumdiff(a, b, result); }, "norm L1", [&] { result += sumOfDifferences(one, two); });
    row(
        "sumdiffrms", [&] { sumdiffrms(a, b, result, low, high); }, "to grey, absdiff, minMaxLoc, norm",
        [&] { result += sumOfSquares(one, two); });
    row(
        "add", [&] { b.add(a); }, "add", [&] { addFrames(one, out); });
    row(
        "subtract", [&] { b.subtract(a); }, "add", [&] { addFrames(one, out); });
    row(
        "incrementby a pixel", [&] { b.incrementby(ARGBVal(1, 2, 3, 4)); }, "add",
        [&] { addFrames(one, out); });
    std::uint8_t half[256];
    for (int i = 0; i < 256; ++i) half[i] = static_cast<std::uint8_t>(i / 2);
    row(
        "multiplyby", [&] { b.multiplyby(0.9); }, "LUT", [&] { tableFrame(one, out, half); });
    row(
        "blendwith", [&] { b.blendwith(a, 1.5F); }, "addWeighted", [&] { blendHalf(one, out); });
    row(
        "blendwithalpha", [&] { b.blendwithalpha(a, SIAlphaSource); }, "addWeighted",
        [&] { blendHalf(one, out); });
    row(
        "fillWith", [&] { b.fillWith(ARGBVal(1, 2, 3, 4)); }, "setTo", [&] { fillFrame(out); });
    row(
        "copyfrom", [&] { b.copyfrom(a); }, "memory copy", [&] { copyFrame(one, out); }, 1.05);
    row(
        "totalLum", [&] { result += a.totalLum(); }, "to grey, sum", [&] { result += sumOfGrey(one); });
    row(
        "sampling by thirds", [&] { const SamplePixRect<ARGBVal, ARGBVal> s(a, 3.0, 3.0, SIQuickSample); },
        "resize by area", [&] { resizeArea(one, third); });
}

}  // namespace tumblewash::bench
