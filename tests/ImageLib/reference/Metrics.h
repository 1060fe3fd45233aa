// The difference metrics and the block matcher told again in the plainest way, for tests: double sums,
// bounds-tested reads, one pixel at a time. Not here: anything of the library beyond `pix` and the bounds.
#pragma once

#include <cmath>
#include <cstdlib>
#include <vector>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/PixRect.h"

namespace tumblewash::reference {

inline double channelDistance(const ARGBVal& p, const ARGBVal& q) {
    return std::fabs(double(p._red) - double(q._red)) + std::fabs(double(p._green) - double(q._green)) +
           std::fabs(double(p._blue) - double(q._blue));
}

inline double sumdiff(const PixRect<ARGBVal>& a, const PixRect<ARGBVal>& b) {
    double sum = 0;
    for (int r = 0; r < a.height(); ++r)
        for (int c = 0; c < a.width(); ++c)
            sum += channelDistance(a.pix(a.lx() + c, a.ly() + r), b.pix(b.lx() + c, b.ly() + r));
    return sum / a.width() / a.height() / 3.0;
}

inline double sumdiffn(const PixRect<ARGBVal>& a, const PixRect<ARGBVal>& b) {
    const int step = a.width() / 16;
    double sum = 0, count = 0;
    for (int r = 0; r < a.height(); ++r) {
        for (int c = 0; c < a.width(); ++c) {
            if (r % step != 0 || c % step != 0) continue;
            sum += channelDistance(a.pix(a.lx() + c, a.ly() + r), b.pix(b.lx() + c, b.ly() + r));
            count += 1;
        }
    }
    return sum / count / 3.0;
}

inline double sumdiffx(const PixRect<ARGBVal>& a, const PixRect<ARGBVal>& b) {
    double sum = 0, count = 0;
    for (int i = 0; a.lx() + i < a.hx() && b.lx() + i < b.hx(); ++i, ++count)
        sum += channelDistance(a.pix(a.lx() + i, a.ly() + a.height() / 2),
                               b.pix(b.lx() + i, b.ly() + b.height() / 2));
    for (int i = 0; a.ly() + i < a.hy() && b.ly() + i < b.hy(); ++i, ++count)
        sum += channelDistance(a.pix(a.lx() + a.width() / 2, a.ly() + i),
                               b.pix(b.lx() + b.width() / 2, b.ly() + i));
    return sum / count / 3.0;
}

struct RmsAnswer {
    double result;
    int smallest, largest;
};

inline RmsAnswer sumdiffrms(const PixRect<ARGBVal>& a, const PixRect<ARGBVal>& b) {
    RmsAnswer answer{0, 255, 0};
    double sum = 0;
    const auto grey = [](const ARGBVal& p) { return (30 * p._red + 59 * p._green + 11 * p._blue) / 100; };
    for (int r = 0; r < a.height(); ++r) {
        for (int c = 0; c < a.width(); ++c) {
            const int d = std::abs(grey(a.pix(a.lx() + c, a.ly() + r)) - grey(b.pix(b.lx() + c, b.ly() + r)));
            if (d < answer.smallest) answer.smallest = d;
            if (d > answer.largest) answer.largest = d;
            sum += double(d) * double(d);
        }
    }
    answer.result = std::sqrt(sum / a.width() / a.height());
    return answer;
}

/// The sumdiff scores of every offset in row-major order, feature and search both at full size: the trial
/// block at (dx, dy) starts at search corner + (search size - block size) / 2 + offset.
inline std::vector<float> correlate(const PixRect<ARGBVal>& feature, const PixRect<ARGBVal>& search,
                                    int range) {
    std::vector<float> scores;
    const int w = feature.width(), h = feature.height();
    for (int dy = -range; dy <= range; ++dy) {
        for (int dx = -range; dx <= range; ++dx) {
            const int left = static_cast<int>(w * -0.5 + search.width() * 0.5 + search.lx() + dx);
            const int top = static_cast<int>(h * -0.5 + search.height() * 0.5 + search.ly() + dy);
            double sum = 0;
            for (int r = 0; r < h; ++r)
                for (int c = 0; c < w; ++c)
                    sum += channelDistance(feature.pix(feature.lx() + c, feature.ly() + r),
                                           search.pix(left + c, top + r));
            scores.push_back(static_cast<float>(sum / w / h / 3.0));
        }
    }
    return scores;
}

}  // namespace tumblewash::reference
