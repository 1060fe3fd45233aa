#include "edit/StillMove.h"

#include <algorithm>
#include <cmath>

#include "ImageLib/kernels/DeepConvertRow.h"
#include "ImageLib/source/PlanarProj.h"
#include "edit/Shuffle.h"
#include "media/Enlarge.h"
#include "pluginDistort/v1/Projection.h"

namespace tumblewash::edit {

using kernels::DeepRange;
using media::PictureRef;

namespace {

constexpr double kMost = 0.15;       ///< of the picture
constexpr double kPerSecond = 0.03;  ///< of the picture
constexpr DeepRange kRange{media::kDeepBlack, media::kDeepWhite};

/// Reading between pixels softens what lies half-way more than what lies on one; of a copy twice as large
/// hardly anything of that is left. Larger results get less of it: a copy's pixels at most, of 8 bytes each.
constexpr double kFiner = 2;
constexpr double kMostPixels = 8e6;

int evenNear(double value) {
    return std::max(2, 2 * static_cast<int>(std::lround(value / 2)));
}

unsigned char* rowOf(const PictureRef& picture, int y) {
    return reinterpret_cast<unsigned char*>(picture.words()) + y * picture.stride();
}

}  // namespace

StillPlace StillMove::at(double part) const noexcept {
    const auto between = [part](double a, double b) { return a + (b - a) * part; };
    return {between(from.scale, to.scale), between(from.x, to.x), between(from.y, to.y)};
}

double StillMove::largest() const noexcept {
    return std::max(from.scale, to.scale);
}

StillMove drawMove(StillMotion motion, std::uint32_t seed, std::size_t index, double seconds) {
    if (motion == StillMotion::none) return {};
    SplitMix generator((static_cast<std::uint64_t>(seed) << 32U) + index);
    const std::uint64_t draw = generator.next();
    const double amount = std::clamp(kPerSecond * seconds, 0.0, kMost);
    StillMove move{{1 + amount, 0, 0}, {1 + amount, 0, 0}};
    if (motion == StillMotion::zoom) {
        ((draw & 1U) != 0 ? move.from : move.to).scale = 1;
        return move;
    }
    // As far as the enlarged picture reaches beyond the frame on either side.
    const double room = amount / 2;
    const double first = (draw & 1U) != 0 ? room : -room;
    double StillPlace::*const axis = (draw & 2U) != 0 ? &StillPlace::x : &StillPlace::y;
    move.from.*axis = first;
    move.to.*axis = -first;
    return move;
}

PixelSize readSizeOf(PixelSize size, const StillMove& move) {
    return {evenNear(size.width * move.largest()), evenNear(size.height * move.largest())};
}

MovingStill::MovingStill(const PictureRef& still, PixelSize size, const StillMove& move, bool alpha)
    : size_(size), move_(move), alpha_(alpha) {
    if (alpha) {
        const PictureRef own = toDeep(still);
        for (int y = 0; y < own.height(); ++y) kernels::weighDeepRow(rowOf(own, y), own.width(), kRange);
        large_ = own;
    } else {
        large_ = still;
    }
    const double pixels = static_cast<double>(still.width()) * still.height();
    const double finer = std::min(kFiner, std::sqrt(kMostPixels / pixels));
    if (finer > 1)
        large_ = media::enlarged(large_, static_cast<int>(std::lround(still.width() * finer)),
                                 static_cast<int>(std::lround(still.height() * finer)));
}

PictureRef MovingStill::at(double part) const {
    const StillPlace place = move_.at(part);
    const PictureRef out = PictureRef::makeDeep(size_.width, size_.height);
    // From the middle of a pixel of the frame to the place of the copy that is shown there. Along each side:
    // u + 1/2 = wide (1/2 + ((x + 1/2) / width - 1/2 - moved) / scale).
    const auto along = [&](int side, int wide, double moved, float& factor, float& offset) {
        factor = static_cast<float>(wide / (side * place.scale));
        offset = static_cast<float>(wide * (0.5 + (0.5 / side - 0.5 - moved) / place.scale) - 0.5);
    };
    PlanarProj projection;
    along(size_.width, large_.width(), place.x, projection.B[0], projection.B[2]);
    along(size_.height, large_.height(), place.y, projection.B[4], projection.B[5]);
    const plugin::DeepFill fill{
        {rowOf(large_, 0), large_.stride(), large_.width(), large_.height(), kRange.nothing(), {}},
        rowOf(out, 0),
        out.stride()};
    plugin::projectDeep(&fill, 1, {0, 0, size_.width - 1, size_.height - 1}, projection, false);
    if (alpha_)
        for (int y = 0; y < out.height(); ++y) kernels::unweighDeepRow(rowOf(out, y), out.width(), kRange);
    return out;
}

}  // namespace tumblewash::edit
