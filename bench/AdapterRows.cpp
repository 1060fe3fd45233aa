#include "adapters/common/Canvas.h"
#include "adapters/common/Rgba.h"
#include "bench/Maps.h"
#include "bench/Rows.h"

namespace tumblewash::bench {

namespace {

using adapters::AlphaKind;
using adapters::Canvas;
using adapters::rowFromRgba;
using adapters::rowToRgbaInPlace;

/// What an adapter does to opaque pixels on both sides of a mixer: two pictures in, one out where it is.
class Conversions {
  public:
    Conversions(int width, int height)
        : a_(scene(width, height, 1)),
          b_(scene(width, height, 2)),
          from_(width, height),
          to_(width, height) {}

    void run() {
        takeIn(a_, from_);
        takeIn(b_, to_);
        for (int y = 0; y < to_.height(); ++y) rowToRgbaInPlace(to_.row(y), to_.width(), AlphaKind::opaque);
    }

  private:
    static void takeIn(const Picture& picture, Canvas& canvas) {
        for (int y = 0; y < canvas.height(); ++y)
            rowFromRgba(picture.bytes.data() +
                            static_cast<std::size_t>(y) * static_cast<std::size_t>(canvas.width()) * 4,
                        canvas.width(), AlphaKind::opaque, canvas.row(y));
    }

    Picture a_, b_;
    Canvas from_, to_;
};

}  // namespace

void addAdapters(Table& table, int w, int h) {
    constexpr double mostMilliseconds = 2.0;
    const std::string row =
        "adapter, two pictures in and one out " + std::to_string(w) + "x" + std::to_string(h);
    Conversions conversions(w, h);
    Picture from = scene(w, h, 3), to = scene(w, h, 4);
    const double ours = table.add(
        row, [&] { conversions.run(); }, "memory copy", [&] { copyFrame(from, to); }, Aim::shown, 0.0);
    if (ours > 0.0)
        table.addFigures(row + ", in all", ours, "the most wanted", mostMilliseconds, Aim::atMost, 1.0);
}

}  // namespace tumblewash::bench
