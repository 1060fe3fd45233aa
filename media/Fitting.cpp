#include "media/Fitting.h"

#include <algorithm>
#include <cmath>

namespace tumblewash::media {

int evenNear(double value) {
    return std::max(2, 2 * static_cast<int>(std::lround(value / 2)));
}

Placement placeOf(double shownWidth, double shownHeight, int width, int height, Fit fit,
                  const PlacementGrid& grid) {
    const double byWidth = width / shownWidth, byHeight = height / shownHeight;
    double wide = width, high = height;
    if (fit != Fit::stretch) {
        const double factor = fit == Fit::cover ? std::max(byWidth, byHeight) : std::min(byWidth, byHeight);
        wide = shownWidth * factor;
        high = shownHeight * factor;
    }
    const auto side = [&](double wanted, int limit) {
        // Slivers of less than two pixels come from rounding display sizes: fill them.
        if (std::abs(wanted - limit) < 2) return limit;
        return grid.even ? evenNear(wanted) : std::max(1, static_cast<int>(std::lround(wanted)));
    };
    const auto offset = [](int room, int by) { return std::max(0, room) / 2 / by * by; };
    const int columns = grid.even ? 2 : 1, rows = grid.interlaced ? 4 : columns;
    Placement out;
    out.width = side(wide, width);
    out.height = side(high, height);
    out.padX = offset(width - out.width, columns);
    out.cropX = offset(out.width - width, columns);
    out.padY = offset(height - out.height, rows);
    out.cropY = offset(out.height - height, rows);
    return out;
}

}  // namespace tumblewash::media
