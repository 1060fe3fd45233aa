#include "adapters/common/MorphMatte.h"

#include <memory>

#include "ImageLib/source/FlowMorph.h"
#include "pluginDistort/v1/DistortProcess.h"

namespace tumblewash::adapters {

using host::Picture;

namespace {

PixRectWrap<ARGBVal> wrap(Canvas& canvas) {
    const Picture picture = canvas.picture();
    return {reinterpret_cast<ARGBVal*>(picture.pixels), static_cast<int>(picture.stride / 4), picture.height,
            SIAllLines};
}

}  // namespace

void morphMatte(Canvas& from, Canvas& to, Canvas& fromMatte, Canvas& toMatte, double fraction, Canvas& out) {
    using Field = std::unique_ptr<PixRectRW<RGBPixel<float>>>;
    Canvas backward(out.width(), out.height());
    auto first = wrap(from);
    auto last = wrap(to);
    auto firstMatte = wrap(fromMatte);
    auto lastMatte = wrap(toMatte);
    auto forwardWrap = wrap(out);
    auto backwardWrap = wrap(backward);
    const Field forwardField(MakeFlowField(first, last, forwardWrap));
    const Field backwardField(MakeFlowField(last, first, forwardWrap));
    MorphBetween(firstMatte, lastMatte, forwardWrap, forwardField.get(), static_cast<float>(fraction));
    MorphBetween(lastMatte, firstMatte, backwardWrap, backwardField.get(), static_cast<float>(1 - fraction));

    const auto level = static_cast<unsigned>(fraction * 255);
    for (int y = 0; y < out.height(); ++y) {
        std::uint8_t* o = out.row(y);
        const std::uint8_t* b = backward.row(y);
        for (int i = 0; i < 4 * out.width(); ++i)
            o[i] = static_cast<std::uint8_t>((b[i] * level + o[i] * (255 - level) + 127) / 255);
    }
}

}  // namespace tumblewash::adapters
