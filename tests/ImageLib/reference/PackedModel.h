// A naive picture of packed pixels for tests: a map from coordinates to four bytes, with every
// whole-rectangle operation told again pixel by pixel. Slow on purpose, and it shares no code with the
// library. Not here: views and wraps; tests copy what those show into a model and compare.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/PixRect.h"

namespace tumblewash::reference {

using Bytes = std::array<int, 4>;  // alpha, red, green, blue, each 0..255

struct PackedModel {
    int lx = 0, ly = 0, hx = -1, hy = -1;
    std::map<std::pair<int, int>, Bytes> at;  // keyed by (x, y)
};

inline Bytes bytesOf(const ARGBVal& p) {
    return {p._alpha, p._red, p._green, p._blue};
}

/// What a rectangle shows, read through its bounds-tested `pix`.
inline PackedModel modelOf(const PixRect<ARGBVal>& r) {
    PackedModel m{r.lx(), r.ly(), r.hx(), r.hy(), {}};
    for (int y = m.ly; y <= m.hy; ++y)
        for (int x = m.lx; x <= m.hx; ++x) m.at[{x, y}] = bytesOf(r.pix(x, y));
    return m;
}

inline void expectShows(const PackedModel& want, const PixRect<ARGBVal>& got) {
    ASSERT_EQ(want.lx, got.lx());
    ASSERT_EQ(want.ly, got.ly());
    ASSERT_EQ(want.hx, got.hx());
    ASSERT_EQ(want.hy, got.hy());
    for (const auto& [place, bytes] : want.at)
        ASSERT_EQ(bytes, bytesOf(got.pix(place.first, place.second)))
            << "at " << place.first << "," << place.second;
}

inline int wrap(int v) {
    return ((v % 256) + 256) % 256;
}
inline int luminance(const Bytes& p) {
    return (30 * p[1] + 59 * p[2] + 11 * p[3]) / 100;
}

/// Runs f(own pixel, source pixel, column and row from the region's corner) over the common region.
inline void overlap(PackedModel& a, const PackedModel& b,
                    const std::function<void(Bytes&, const Bytes&, int, int)>& f) {
    const int x0 = std::max(a.lx, b.lx), y0 = std::max(a.ly, b.ly);
    for (int y = y0; y <= std::min(a.hy, b.hy); ++y)
        for (int x = x0; x <= std::min(a.hx, b.hx); ++x) f(a.at.at({x, y}), b.at.at({x, y}), x - x0, y - y0);
}

inline void each(PackedModel& a, const std::function<void(Bytes&)>& f) {
    for (int y = a.ly; y <= a.hy; ++y)
        for (int x = a.lx; x <= a.hx; ++x) f(a.at.at({x, y}));
}

inline void copyfrom(PackedModel& a, const PackedModel& b) {
    overlap(a, b, [](Bytes& p, const Bytes& q, int, int) { p = q; });
}

inline void add(PackedModel& a, const PackedModel& b, int sign) {
    overlap(a, b, [sign](Bytes& p, const Bytes& q, int, int) {
        for (std::size_t c = 0; c < 4; ++c) p[c] = wrap(p[c] + sign * q[c]);
    });
}

inline void incrementby(PackedModel& a, const Bytes& v) {
    each(a, [&v](Bytes& p) {
        for (std::size_t c = 0; c < 4; ++c) p[c] = wrap(p[c] + v[c]);
    });
}

inline void incrementby(PackedModel& a, int v) {
    each(a, [v](Bytes& p) {
        for (std::size_t c = 1; c < 4; ++c) p[c] = wrap(p[c] + wrap(v));
    });
}

inline void multiplyby(PackedModel& a, double d) {
    each(a, [d](Bytes& p) {
        for (std::size_t c = 1; c < 4; ++c) p[c] = wrap(static_cast<int>(p[c] * d));
    });
}

inline void mixInProportion(Bytes& p, const Bytes& q, float weight) {
    for (std::size_t c = 1; c < 4; ++c) {
        const float mixed = (static_cast<float>(p[c]) * weight + static_cast<float>(q[c])) / (weight + 1.0f);
        p[c] = static_cast<int>(mixed);
    }
}

inline void blendwith(PackedModel& a, const PackedModel& b, float weight) {
    overlap(a, b, [weight](Bytes& p, const Bytes& q, int, int) { mixInProportion(p, q, weight); });
}

inline void blendwithalpha(PackedModel& a, const PackedModel& b) {
    overlap(a, b, [](Bytes& p, const Bytes& q, int, int) {
        if (q[0] == 0) return;
        for (std::size_t c = 1; c < 4; ++c) p[c] = wrap((p[c] * 256 + q[c] * q[0]) / (q[0] + 255));
    });
}

inline int blendwithlimit(PackedModel& a, const PackedModel& b, int limit) {
    int rejected = 0;
    overlap(a, b, [&](Bytes& p, const Bytes& q, int, int) {
        const int g = std::abs(luminance(q) - luminance(p));
        if (g < limit)
            mixInProportion(p, q, static_cast<float>(1 + g / 10.0));
        else
            ++rejected;
    });
    return rejected;
}

inline void blendwithlimitrgb(PackedModel& a, const PackedModel& b, int limit) {
    overlap(a, b, [limit](Bytes& p, const Bytes& q, int, int) {
        for (std::size_t c = 1; c < 4; ++c) {
            const int d = q[c] - p[c];
            if (std::abs(d) < limit) p[c] += d / 2;
        }
    });
}

inline void blendwithpeak(PackedModel& a, const PackedModel& b, int columns, int rows,
                          const std::vector<float>& weights) {
    overlap(a, b, [&](Bytes& p, const Bytes& q, int column, int row) {
        float w = 0.0f;
        if (column < columns && row < rows) w = weights[static_cast<std::size_t>(row * columns + column)];
        mixInProportion(p, q, static_cast<float>((1.025 - w) * 40.0));
    });
}

/// Fills a rectangle with fixed-seed noise, alpha included.
inline void fillNoise(PixRectRW<ARGBVal>& r, std::mt19937& rng) {
    for (int y = r.ly(); y <= r.hy(); ++y) {
        for (int x = r.lx(); x <= r.hx(); ++x) {
            const auto v = static_cast<std::uint32_t>(rng());
            r.pixrefNB(x, y).set(static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                                 static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24));
        }
    }
}

/// A number in low..high, both included.
inline int pick(std::mt19937& rng, int low, int high) {
    return low + static_cast<int>(rng() % static_cast<std::uint32_t>(high - low + 1));
}

}  // namespace tumblewash::reference
