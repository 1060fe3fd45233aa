// FlowEstimate: the motion estimate written out over plain arrays, without views, samplers or correlator.
// The shipped `MakeFlowField` must give the same field to the bit.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace tumblewash::reference {

/// Red and green of the 40 x 40 cells, row by row.
struct MotionField {
    std::array<float, 1600> red{}, green{};
};

/// A picture of four bytes per pixel; outside it every byte is 0.
struct Bytes4 {
    int width = 0, height = 0;
    std::vector<std::uint8_t> data;
    int at(int x, int y, int channel) const {
        if (x < 0 || y < 0 || x >= width || y >= height) return 0;
        return data[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x)) *
                        4 +
                    static_cast<std::size_t>(channel)];
    }
};

inline Bytes4 oddField(const unsigned char* frame, int width, int height) {
    Bytes4 out{width, height / 2, {}};
    for (int y = 1; y < height; y += 2) {
        const unsigned char* row = frame + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
        out.data.insert(out.data.end(), row, row + static_cast<std::size_t>(width) * 4);
    }
    return out;
}

/// A double channel as a byte: clamped, truncated, not-a-number 0.
inline std::uint8_t heldToByte(double v) {
    if (!(v > 0)) return 0;
    return v >= 255 ? 255 : static_cast<std::uint8_t>(v);
}

/// The reduced picture: the mean of a block when either factor is 2 or more, the nearest pixel otherwise, a
/// copy when both are 1. Alpha plays no part in what follows.
inline Bytes4 thumbnail(const Bytes4& field, float sx, float sy) {
    Bytes4 out{static_cast<int>(lrintf(static_cast<float>(field.width) / sx - 1.0f)) + 1,
               static_cast<int>(lrintf(static_cast<float>(field.height) / sy - 1.0f)) + 1,
               {}};
    for (int v = 0; v < out.height; ++v) {
        for (int u = 0; u < out.width; ++u) {
            std::array<std::uint8_t, 4> pixel{255, 0, 0, 0};
            if (sx >= 2.0f || sy >= 2.0f) {
                const auto fromx = static_cast<float>(static_cast<double>(u) * static_cast<double>(sx));
                const auto fromy = static_cast<float>(static_cast<double>(v) * static_cast<double>(sy));
                double sum[4] = {};
                double count = 0;
                for (int i = 0; static_cast<float>(i) < sx; ++i) {
                    for (int j = 0; static_cast<float>(j) < sy; ++j) {
                        const float px = fromx + static_cast<float>(i), py = fromy + static_cast<float>(j);
                        if (!(px <= static_cast<float>(field.width - 1)) ||
                            !(py <= static_cast<float>(field.height - 1)))
                            continue;
                        for (int c = 1; c < 4; ++c)
                            sum[c] += field.at(static_cast<int>(lrintf(px)), static_cast<int>(lrintf(py)), c);
                        count += 1;
                    }
                }
                for (std::size_t c = 1; c < 4; ++c) pixel[c] = heldToByte(sum[c] * (1.0 / count));
            } else {
                const double x =
                    std::min(static_cast<double>(u) * static_cast<double>(sx), field.width - 1.0);
                const double y =
                    std::min(static_cast<double>(v) * static_cast<double>(sy), field.height - 1.0);
                for (int c = 1; c < 4; ++c)
                    pixel[static_cast<std::size_t>(c)] = static_cast<std::uint8_t>(
                        field.at(static_cast<int>(lrint(x)), static_cast<int>(lrint(y)), c));
            }
            out.data.insert(out.data.end(), pixel.begin(), pixel.end());
        }
    }
    return out;
}

/// The score of the 3 x 3 blocks around (x, y) of `to` and (x + dx, y + dy) of `from`.
inline float score(const Bytes4& from, const Bytes4& to, int x, int y, int dx, int dy) {
    double sum = 0;
    for (int j = -1; j <= 1; ++j)
        for (int i = -1; i <= 1; ++i)
            for (int c = 1; c < 4; ++c) {
                const int d = to.at(x + i, y + j, c) - from.at(x + dx + i, y + dy + j, c);
                sum += d < 0 ? -d : d;
            }
    return static_cast<float>(sum / 3 / 3 / 3.0);
}

/// `width` is the row length in memory. Both frames have the same size.
inline MotionField MakeFlowField(const unsigned char* fromFrame, const unsigned char* toFrame, int width,
                                 int height) {
    MotionField out;
    if (width < 1 || height < 2) return out;
    const float sx = static_cast<float>(width) / 40.0f;
    const float sy = static_cast<float>((height + 1) / 2) / 40.0f;
    const Bytes4 to = thumbnail(oddField(toFrame, width, height), sx, sy);
    const Bytes4 from = thumbnail(oddField(fromFrame, width, height), sx, sy);
    for (int gy = 0; gy < 12; ++gy) {
        for (int gx = 0; gx < 12; ++gx) {
            const int x = 3 * gx + 3, y = 3 * gy + 3;
            int bestx = -2, besty = -2;
            float min = score(from, to, x, y, -2, -2), max = min;
            for (int dy = -2; dy <= 2; ++dy) {
                for (int dx = -2; dx <= 2; ++dx) {
                    const float s = score(from, to, x, y, dx, dy);
                    if (s < min) min = s, bestx = dx, besty = dy;
                    if (s > max) max = s;
                }
            }
            if (std::fabs(max - min) < 25.0f) bestx = besty = 0;
            for (int j = 0; j < 3; ++j) {
                for (int i = 0; i < 3; ++i) {
                    const auto cell = static_cast<std::size_t>((2 + 3 * gy + j) * 40 + 2 + 3 * gx + i);
                    out.red[cell] = sx * static_cast<float>(bestx);
                    out.green[cell] = sy * static_cast<float>(besty);
                }
            }
        }
    }
    return out;
}

}  // namespace tumblewash::reference
