#include "media/detail/Canvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace tumblewash::media {

namespace {

constexpr int kSubRows = 4;  // polygons are sampled on this many lines per row, exactly along each

uint8_t mixed(uint8_t below, double above, double amount) noexcept {
    const double value = below + (above * 255 - below) * amount;
    return static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
}

struct Range {
    int from, to;
};

Range covered(double low, double high, int limit) {
    return {std::clamp(static_cast<int>(std::floor(low)), 0, limit),
            std::clamp(static_cast<int>(std::ceil(high)), 0, limit)};
}

/// Adds the part of each pixel between `from` and `to` to `row`, `weight` for a whole one.
void coverSpan(std::vector<double>& row, double from, double to, double weight) {
    from = std::clamp(from, 0.0, static_cast<double>(row.size()));
    to = std::clamp(to, 0.0, static_cast<double>(row.size()));
    if (to <= from) return;
    const auto first = static_cast<size_t>(from);
    const auto last = static_cast<size_t>(to);
    if (first == last) {
        row[first] += (to - from) * weight;
        return;
    }
    row[first] += (static_cast<double>(first + 1) - from) * weight;
    for (size_t x = first + 1; x < last; ++x) row[x] += weight;
    if (last < row.size()) row[last] += (to - static_cast<double>(last)) * weight;
}

}  // namespace

void Canvas::blend(int x, int y, const Paint& paint, double coverage) noexcept {
    uint8_t* p = bytes_ + y * stride_ + ptrdiff_t{4} * x;
    const double amount = paint.opacity * coverage;
    p[1] = mixed(p[1], paint.red, amount);
    p[2] = mixed(p[2], paint.green, amount);
    p[3] = mixed(p[3], paint.blue, amount);
}

void Canvas::gradient(std::span<const Stop> stops) {
    // A fixed 4 x 4 pattern of fractions keeps slow gradients free of bands.
    constexpr std::array<double, 16> dither{0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5};
    for (size_t i = 0; i + 1 < stops.size(); ++i) {
        const Stop& a = stops[i];
        const Stop& b = stops[i + 1];
        const auto from = std::clamp(static_cast<int>(std::lround(a.y * height_)), 0, height_);
        const auto to = std::clamp(static_cast<int>(std::lround(b.y * height_)), 0, height_);
        for (int y = from; y < to; ++y) {
            const double t = std::clamp(((y + 0.5) / height_ - a.y) / (b.y - a.y), 0.0, 1.0);
            const double colour[3] = {a.paint.red + (b.paint.red - a.paint.red) * t,
                                      a.paint.green + (b.paint.green - a.paint.green) * t,
                                      a.paint.blue + (b.paint.blue - a.paint.blue) * t};
            uint8_t pattern[16];
            for (size_t x = 0; x < 4; ++x) {
                const double lift = (dither[x + 4 * static_cast<size_t>(y % 4)] + 0.5) / 16;
                pattern[4 * x] = 255;
                for (size_t c = 0; c < 3; ++c)
                    pattern[4 * x + 1 + c] =
                        static_cast<uint8_t>(std::clamp(colour[c] * 255 + lift, 0.0, 255.0));
            }
            uint8_t* row = bytes_ + y * stride_;
            for (int x = 0; x < width_; ++x) std::copy_n(pattern + 4 * (x % 4), 4, row + ptrdiff_t{4} * x);
        }
    }
}

void Canvas::ellipse(Point centre, double radiusX, double radiusY, Paint paint, double soft) {
    const double cx = centre.x * height_, cy = centre.y * height_;
    const double rx = radiusX * height_, ry = radiusY * height_;
    const double edge = std::max(1.0, soft * height_);
    if (rx <= 0 || ry <= 0) return;
    const Range rows = covered(cy - ry - edge, cy + ry + edge, height_);
    const Range columns = covered(cx - rx - edge, cx + rx + edge, width_);
    const double scale = std::min(rx, ry);
    for (int y = rows.from; y < rows.to; ++y)
        for (int x = columns.from; x < columns.to; ++x) {
            const double dx = (x + 0.5 - cx) / rx;
            const double dy = (y + 0.5 - cy) / ry;
            const double inside = (1 - std::sqrt(dx * dx + dy * dy)) * scale / edge + 0.5;
            if (inside > 0) blend(x, y, paint, std::min(inside, 1.0));
        }
}

void Canvas::glow(Point centre, double radius, Paint paint) {
    const double cx = centre.x * height_, cy = centre.y * height_, r = radius * height_;
    const Range rows = covered(cy - r, cy + r, height_);
    const Range columns = covered(cx - r, cx + r, width_);
    for (int y = rows.from; y < rows.to; ++y)
        for (int x = columns.from; x < columns.to; ++x) {
            const double dx = x + 0.5 - cx;
            const double dy = y + 0.5 - cy;
            const double fall = 1 - (dx * dx + dy * dy) / (r * r);
            if (fall <= 0) continue;
            const double amount = fall * fall * fall * paint.opacity * 255;
            uint8_t* p = bytes_ + y * stride_ + ptrdiff_t{4} * x;
            const double light[3] = {paint.red, paint.green, paint.blue};
            for (int c = 0; c < 3; ++c)
                p[c + 1] = static_cast<uint8_t>(std::min(255.0, p[c + 1] + light[c] * amount + 0.5));
        }
}

void Canvas::polygon(std::span<const Point> points, Paint paint) {
    if (points.size() < 3) return;
    double top = points[0].y, bottom = points[0].y;
    for (const Point& p : points) {
        top = std::min(top, p.y);
        bottom = std::max(bottom, p.y);
    }
    const Range rows = covered(top * height_, bottom * height_, height_);
    std::vector<double> row(static_cast<size_t>(width_));
    std::vector<double> crossings;
    for (int y = rows.from; y < rows.to; ++y) {
        std::fill(row.begin(), row.end(), 0.0);
        double left = width_, right = 0;
        for (int sub = 0; sub < kSubRows; ++sub) {
            const double line = (y + (sub + 0.5) / kSubRows) / height_;
            crossings.clear();
            for (size_t i = 0; i < points.size(); ++i) {
                const Point& a = points[i];
                const Point& b = points[(i + 1) % points.size()];
                if ((a.y <= line) == (b.y <= line)) continue;
                crossings.push_back((a.x + (line - a.y) / (b.y - a.y) * (b.x - a.x)) * height_);
            }
            std::sort(crossings.begin(), crossings.end());
            for (size_t i = 0; i + 1 < crossings.size(); i += 2) {
                coverSpan(row, crossings[i], crossings[i + 1], 1.0 / kSubRows);
                left = std::min(left, crossings[i]);
                right = std::max(right, crossings[i + 1]);
            }
        }
        const Range columns = covered(left, right, width_);
        for (int x = columns.from; x < columns.to; ++x)
            if (row[static_cast<size_t>(x)] > 0)
                blend(x, y, paint, std::min(1.0, row[static_cast<size_t>(x)]));
    }
}

void Canvas::rectangle(double left, double top, double right, double bottom, Paint paint) {
    const Point corners[] = {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
    polygon(corners, paint);
}

void Canvas::stroke(Point from, Point to, double thickness, Paint paint) {
    const double dx = to.x - from.x, dy = to.y - from.y;
    const double length = std::sqrt(dx * dx + dy * dy);
    if (length <= 0) return;
    const double nx = -dy / length * thickness / 2, ny = dx / length * thickness / 2;
    const Point corners[] = {{from.x + nx, from.y + ny},
                             {to.x + nx, to.y + ny},
                             {to.x - nx, to.y - ny},
                             {from.x - nx, from.y - ny}};
    polygon(corners, paint);
}

double scatter(int a, int b) noexcept {
    uint32_t h = static_cast<uint32_t>(a) * 0x9E3779B1U ^ static_cast<uint32_t>(b) * 0x85EBCA77U;
    h ^= h >> 15;
    h *= 0x2C1B3C6DU;
    h ^= h >> 12;
    h *= 0x297A2D39U;
    h ^= h >> 15;
    return (h >> 8) / 16777216.0;
}

}  // namespace tumblewash::media
