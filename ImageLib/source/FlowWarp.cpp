#include "ImageLib/source/FlowWarp.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "ImageLib/kernels/DeepFetchRow.h"
#include "ImageLib/kernels/WarpRow.h"
#include "ImageLib/source/FetchPoints.h"
#include "ImageLib/source/LogHook.h"

namespace {

/// Columns that are warped together where columns fetch from different rows: few enough for the cache to hold
/// the rows until their neighbours fetch from them.
constexpr int kStripWidth = 256;

/// Rows that memory is asked for before they are written and, further along, before they are read.
constexpr int kRowsAhead = 2;
constexpr int kSourceRowsAhead = 4;

/// A frame of four-byte pixels and how its rows are fetched.
struct WarpedFrame {
    static constexpr std::ptrdiff_t pixelBytes = 4;
    const unsigned char* src;
    std::ptrdiff_t srcPitch;
    unsigned char* dest;
    std::ptrdiff_t destPitch;

    void fetch(const tumblewash::kernels::WarpShape& shape, const std::int32_t* index, int count,
               unsigned char* even, unsigned char* odd) const {
        tumblewash::kernels::warpFetchRow(shape, src, index, count, even, odd);
    }
};

/// A picture of deep pixels.
struct WarpedDeep {
    static constexpr std::ptrdiff_t pixelBytes = tumblewash::kernels::kDeepPixelBytes;
    const unsigned char* src;
    std::ptrdiff_t srcPitch;
    unsigned char* dest;
    std::ptrdiff_t destPitch;
    tumblewash::kernels::DeepPixel nothing;

    void fetch(const tumblewash::kernels::WarpShape& shape, const std::int32_t* index, int count,
               unsigned char* even, unsigned char* odd) const {
        tumblewash::kernels::deepFetchRow(shape, {src, srcPitch}, index, count, nothing, even, odd);
    }
};

/// Asks memory for a strip of the source, line pair by line pair, before its pixels are fetched: columns that
/// fetch from different rows jump about in a way that no machine foresees. A hint only.
template <class Road>
class SourceAhead {
  public:
    SourceAhead(const tumblewash::kernels::WarpShape& shape, const Road& road, int first, int end)
        : shape_(shape), road_(road), strip_(road.src + first * Road::pixelBytes), first_(first), end_(end) {}

    void follow(const std::int32_t* index) {
        std::int32_t furthest = -1;
        for (int x = first_; x < end_; x += 16) furthest = std::max(furthest, index[x]);
        if (furthest < 0) return;
        const int row = furthest / (2 * shape_.stride);
        const int past = std::min(row + kSourceRowsAhead, shape_.height / 2);
        if (asked_ < 0) asked_ = row;
        for (; asked_ < past; ++asked_) askForLinePair(strip_ + 2 * road_.srcPitch * asked_, road_.srcPitch);
    }
    /// Into the second cache: requests for the first one would wait for each other.
    void askForLinePair(const unsigned char* at, std::ptrdiff_t pitch) const {
        constexpr int cacheLine = 64;
        for (std::ptrdiff_t offset = 0; offset < (end_ - first_) * Road::pixelBytes; offset += cacheLine) {
            __builtin_prefetch(at + offset, 0, 2);
            __builtin_prefetch(at + offset + pitch, 0, 2);
        }
    }

  private:
    const tumblewash::kernels::WarpShape& shape_;
    const Road& road_;
    const unsigned char* strip_;
    int first_;
    int end_;
    int asked_ = -1;
};

template <class Road>
void warpRows(const Road& road, const tumblewash::kernels::WarpShape& shape, PixRectRW<RGBPixel<float>>& flow,
              const tumblewash::imagelib::LineBand& band) {
    const int endRow = band.endOddRow(shape.height);
    tumblewash::imagelib::FetchPoints points(shape, flow);
    const bool inStrips = points.crossesRows();
    const int strip = inStrips ? kStripWidth : shape.stride;
    for (int first = 0; first < shape.stride; first += strip) {
        const int end = std::min(first + strip, shape.stride);
        SourceAhead<Road> ahead(shape, road, first, end);
        for (int y = band.firstRow(); y < endRow; ++y) {
            const std::int32_t* index = points.row(y, first, end);
            if (index == nullptr) continue;
            unsigned char* even = road.dest + 2 * y * road.destPitch + first * Road::pixelBytes;
            if (inStrips) {
                ahead.follow(index);
                if (y + kRowsAhead < endRow)
                    ahead.askForLinePair(even + 2 * kRowsAhead * road.destPitch, road.destPitch);
            }
            road.fetch(shape, index + first, end - first, even, even + road.destPitch);
        }
    }
}

/// True when there is something to warp and its pixels can be counted.
bool warpable(int dwidth, int height) {
    return dwidth > 0 && height > 1 &&
           static_cast<std::int64_t>(dwidth) * height <= std::numeric_limits<std::int32_t>::max();
}

}  // namespace

void DistortUsingFlow(unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                      PixRectRW<RGBPixel<float>>* flow, float fac) {
    char line[128];
    std::snprintf(line, sizeof line, "DistortUsingFlow dw=%d %d %d fac=%f\n\r", dwidth, width, height,
                  static_cast<double>(fac));
    tumblewash::imagelib::logLine(line);
    tumblewash::imagelib::logLine("Distort 1\n\r");
    if (warpable(dwidth, height)) {
        const std::ptrdiff_t pitch = dwidth * WarpedFrame::pixelBytes;
        warpRows(WarpedFrame{src, pitch, dest, pitch}, {dwidth, width, height, (height + 1) / 2, fac}, *flow,
                 {});
    }
    tumblewash::imagelib::logLine("Distort 2\n\r");
    tumblewash::imagelib::logLine("Distort done\n\r");
}

void tumblewash::imagelib::warpFrame(const unsigned char* src, unsigned char* dest, int width, int height,
                                     PixRectRW<RGBPixel<float>>& flow, float fac, const LineBand& band) {
    if (!warpable(width, height)) return;
    const std::ptrdiff_t pitch = width * WarpedFrame::pixelBytes;
    warpRows(WarpedFrame{src, pitch, dest, pitch}, {width, width, height, height / 2 + height % 2, fac}, flow,
             band);
}

void tumblewash::imagelib::warpDeep(const DeepView& src, const DeepTarget& dest,
                                    PixRectRW<RGBPixel<float>>& flow, float fac,
                                    const kernels::DeepPixel& nothing, const LineBand& band) {
    if (!warpable(src.width, src.height)) return;
    const int rows = (src.height + 1) / 2;
    warpRows(WarpedDeep{src.bytes(), src.stride, dest.bytes(), dest.stride, nothing},
             {src.width, src.width, src.height, rows, fac}, flow, band);
}
