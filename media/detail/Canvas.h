// A painter over ARGB bytes for the drawn scenes: gradients, discs, glows and polygons with smooth edges.
// Coordinates are in units of the picture's height (so that scenes look alike at all sizes), y downwards.
// No state but the bytes; everything painted is blended over what is there, alpha stays 255.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tumblewash::media {

/// A colour with opacity, each 0..1.
struct Paint {
    double red, green, blue;
    double opacity = 1;
};

struct Point {
    double x, y;
};

/// A colour at a height, for vertical gradients.
struct Stop {
    double y;
    Paint paint;
};

class Canvas {
  public:
    Canvas(uint8_t* argb, ptrdiff_t stride, int width, int height) noexcept
        : bytes_(argb), stride_(stride), width_(width), height_(height) {}

    /// The picture's width in units of its height.
    double aspect() const noexcept { return static_cast<double>(width_) / height_; }

    /// Fills the rows between the first and the last stop over the whole width; stops in rising order.
    void gradient(std::span<const Stop> stops);
    /// An upright ellipse; `soft` widens the edge (0: one pixel).
    void ellipse(Point centre, double radiusX, double radiusY, Paint paint, double soft = 0);
    void disc(Point centre, double radius, Paint paint, double soft = 0) {
        ellipse(centre, radius, radius, paint, soft);
    }
    /// Light that falls off from the centre to nothing at `radius`; added, not covered.
    void glow(Point centre, double radius, Paint paint);
    /// A closed outline of any shape, filled where it winds around an odd number of times.
    void polygon(std::span<const Point> points, Paint paint);
    void rectangle(double left, double top, double right, double bottom, Paint paint);
    /// A straight stroke with flat ends.
    void stroke(Point from, Point to, double thickness, Paint paint);

  private:
    void blend(int x, int y, const Paint& paint, double coverage) noexcept;

    uint8_t* bytes_;
    ptrdiff_t stride_;
    int width_;
    int height_;
};

/// A fixed number in 0..1 for each pair of integers: the scenes' only source of variety.
double scatter(int a, int b) noexcept;

}  // namespace tumblewash::media
