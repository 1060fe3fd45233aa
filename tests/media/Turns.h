// A picture without symmetry, the same picture as a turned camera stores it, and how far two pictures differ.
// For the tests of orientation in all formats of photos.
#pragma once

#include <cstdlib>

#include "tests/media/StillFiles.h"

namespace tumblewash::test {

/// 48 x 32 pixels, each quarter and each edge unlike the others.
inline Codes landmark() {
    return codes(48, 32, 3, 8, [](int x, int y, int c) {
        if (c == 0) return 40 + 4 * x;
        if (c == 1) return 20 + 6 * y;
        return x < 24 ? (y < 16 ? 30 : 90) : (y < 16 ? 150 : 210);
    });
}

/// The pixels that, with EXIF's orientation `turn`, are shown as `upright`.
inline Codes storedFor(const Codes& upright, int turn) {
    const bool swap = turn >= 5;
    const int width = swap ? upright.height : upright.width;
    const int height = swap ? upright.width : upright.height;
    return codes(width, height, upright.channels, upright.depth, [&](int x, int y, int c) {
        // Where stored column x and row y are seen, by the table of orientations in EXIF 2.3, 4.6.4.
        const int right = width - 1 - x, bottom = height - 1 - y;
        switch (turn) {
            case 2:
                return int{upright.at(right, y, c)};
            case 3:
                return int{upright.at(right, bottom, c)};
            case 4:
                return int{upright.at(x, bottom, c)};
            case 5:
                return int{upright.at(y, x, c)};
            case 6:
                return int{upright.at(bottom, x, c)};
            case 7:
                return int{upright.at(bottom, right, c)};
            case 8:
                return int{upright.at(y, right, c)};
            default:
                return int{upright.at(x, y, c)};
        }
    });
}

/// Mean absolute difference of colours, 255 when the sizes differ.
inline double meanDifference(const media::PictureRef& a, const media::PictureRef& b) {
    if (a.width() != b.width() || a.height() != b.height()) return 255;
    double sum = 0;
    for (int i = 0; i < a.width() * a.height(); ++i)
        for (int c = 1; c < 4; ++c) sum += std::abs(a.data()[4 * i + c] - b.data()[4 * i + c]);
    return sum / (3.0 * a.width() * a.height());
}

}  // namespace tumblewash::test
