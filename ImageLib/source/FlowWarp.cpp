#include "ImageLib/source/FlowWarp.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "ImageLib/kernels/WarpRow.h"
#include "ImageLib/source/FetchPoints.h"
#include "ImageLib/source/LogHook.h"

namespace {

/// Columns that are warped together where columns fetch from different rows: few enough for the cache to hold
/// the rows until their neighbours fetch from them.
constexpr int stripWidth = 256;

/// Rows that memory is asked for before they are written and, further along, before they are read.
constexpr int rowsAhead = 2;
constexpr int sourceRowsAhead = 4;

/// Asks memory for a strip of the source, line pair by line pair, before its pixels are fetched: columns that
/// fetch from different rows jump about in a way that no machine foresees. A hint only.
class SourceAhead {
  public:
    SourceAhead(const tumblewash::kernels::WarpShape& shape, const unsigned char* src, int first, int end)
        : shape_(shape), strip_(src + std::ptrdiff_t{first} * 4), first_(first), end_(end) {}

    void follow(const std::int32_t* index) {
        std::int32_t furthest = -1;
        for (int x = first_; x < end_; x += 16) furthest = std::max(furthest, index[x]);
        if (furthest < 0) return;
        const int row = furthest / (2 * shape_.stride);
        const int past = std::min(row + sourceRowsAhead, shape_.height / 2);
        if (asked_ < 0) asked_ = row;
        for (; asked_ < past; ++asked_) askForLinePair(strip_ + std::ptrdiff_t{8} * shape_.stride * asked_);
    }
    /// Into the second cache: requests for the first one would wait for each other.
    void askForLinePair(const unsigned char* at) const {
        constexpr int cacheLine = 64;
        const std::ptrdiff_t pitch = std::ptrdiff_t{4} * shape_.stride;
        for (int offset = 0; offset < (end_ - first_) * 4; offset += cacheLine) {
            __builtin_prefetch(at + offset, 0, 2);
            __builtin_prefetch(at + offset + pitch, 0, 2);
        }
    }

  private:
    const tumblewash::kernels::WarpShape& shape_;
    const unsigned char* strip_;
    int first_;
    int end_;
    int asked_ = -1;
};

void warpRows(const unsigned char* src, unsigned char* dest, const tumblewash::kernels::WarpShape& shape,
              PixRectRW<RGBPixel<float>>& flow) {
    const int rows = shape.height / 2;
    const auto pitch = static_cast<std::ptrdiff_t>(shape.stride) * 4;
    tumblewash::imagelib::FetchPoints points(shape, flow);
    const bool inStrips = points.crossesRows();
    const int strip = inStrips ? stripWidth : shape.stride;
    for (int first = 0; first < shape.stride; first += strip) {
        const int end = std::min(first + strip, shape.stride);
        SourceAhead ahead(shape, src, first, end);
        for (int y = 0; y < rows; ++y) {
            const std::int32_t* index = points.row(y, first, end);
            if (index == nullptr) continue;
            unsigned char* even = dest + 2 * y * pitch + static_cast<std::ptrdiff_t>(first) * 4;
            if (inStrips) {
                ahead.follow(index);
                if (y + rowsAhead < rows) ahead.askForLinePair(even + 2 * rowsAhead * pitch);
            }
            tumblewash::kernels::warpFetchRow(shape, src, index + first, end - first, even, even + pitch);
        }
    }
}

}  // namespace

void DistortUsingFlow(unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                      PixRectRW<RGBPixel<float>>* flow, float fac) {
    char line[128];
    std::snprintf(line, sizeof line, "DistortUsingFlow dw=%d %d %d fac=%f\n\r", dwidth, width, height,
                  static_cast<double>(fac));
    tumblewash::imagelib::logLine(line);
    tumblewash::imagelib::logLine("Distort 1\n\r");
    const bool indexable =
        static_cast<std::int64_t>(dwidth) * height <= std::numeric_limits<std::int32_t>::max();
    if (dwidth > 0 && height > 1 && indexable) {
        warpRows(src, dest, {dwidth, width, height, (height + 1) / 2, fac}, *flow);
    }
    tumblewash::imagelib::logLine("Distort 2\n\r");
    tumblewash::imagelib::logLine("Distort done\n\r");
}
