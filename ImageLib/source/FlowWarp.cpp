#include "ImageLib/source/FlowWarp.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <vector>

#include "ImageLib/kernels/WarpRow.h"
#include "ImageLib/source/FieldRows.h"
#include "ImageLib/source/LogHook.h"

namespace {

/// Columns that are warped together where columns fetch from different rows: few enough for the cache to hold
/// the rows until their neighbours fetch from them.
constexpr int stripWidth = 256;

void warpRows(const unsigned char* src, unsigned char* dest, const tumblewash::WarpShape& shape,
              PixRectRW<RGBPixel<float>>& flow) {
    const int rows = shape.height / 2;
    const auto pitch = static_cast<std::ptrdiff_t>(shape.stride) * 4;
    tumblewash::FieldRows field(flow, shape.stride, shape.fieldRows, shape.stride);
    std::vector<std::int32_t> index(static_cast<std::size_t>(shape.stride));
    // A channel of zeros is no displacement, unless an infinite strength makes no number of it.
    const bool finite = std::isfinite(shape.strength);
    const float* red = field.anyRed() || !finite ? field.red() : nullptr;
    const float* green = field.anyGreen() || !finite ? field.green() : nullptr;
    const int strip = green != nullptr ? stripWidth : shape.stride;
    for (int first = 0; first < shape.stride; first += strip) {
        const int end = std::min(first + strip, shape.stride);
        for (int y = 0; y < rows; ++y) {
            field.select(y, first, end);
            tumblewash::warpIndexRow(shape, red, green, y, first, end, index.data());
            unsigned char* even = dest + 2 * y * pitch + static_cast<std::ptrdiff_t>(first) * 4;
            tumblewash::warpFetchRow(shape, src, index.data() + first, end - first, even, even + pitch);
        }
    }
}

}  // namespace

void DistortUsingFlow(unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                      PixRectRW<RGBPixel<float>>* flow, float fac) {
    char line[128];
    std::snprintf(line, sizeof line, "DistortUsingFlow dw=%d %d %d fac=%f\n\r", dwidth, width, height,
                  static_cast<double>(fac));
    tumblewash::logLine(line);
    tumblewash::logLine("Distort 1\n\r");
    const bool indexable =
        static_cast<std::int64_t>(dwidth) * height <= std::numeric_limits<std::int32_t>::max();
    if (dwidth > 0 && height > 1 && indexable) {
        warpRows(src, dest, {dwidth, width, height, (height + 1) / 2, fac}, *flow);
    }
    tumblewash::logLine("Distort 2\n\r");
    tumblewash::logLine("Distort done\n\r");
}
