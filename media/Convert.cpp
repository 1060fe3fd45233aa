// Y'CbCr 4:2:0 limited range to ARGB and back, so that a picture which makes the detour shows no step in
// colour. Plain 16.16 integers with rounding; the same bytes on every machine.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "media/detail/Av.h"

namespace tumblewash::media {

namespace {

constexpr int kBits = 16;
constexpr int kHalf = 1 << (kBits - 1);
constexpr int kBlackCode = 16, kWhiteCode = 235;

/// The matrix of ITU-R BT.601 or BT.709 as 16.16 integers, both ways, with the limited ranges 219 and 224 in.
struct Coefficients {
    int luma, redCr, greenCb, greenCr, blueCb;  // to R'G'B'
    int yRed, yGreen, yBlue;                    // to Y'; their sum is exactly 219 / 255
    int cbRed, cbGreen, cbBlue;                 // to Cb; sum 0, so that grey stays grey
    int crRed, crGreen, crBlue;
};

constexpr int fixed(double value) {
    return static_cast<int>(value * (1 << kBits) + (value < 0 ? -0.5 : 0.5));
}

constexpr Coefficients coefficients(double kr, double kb) {
    const double kg = 1 - kr - kb;
    const double chroma = 255.0 / 224.0;
    Coefficients c{};
    c.luma = fixed(255.0 / 219.0);
    c.redCr = fixed(2 * (1 - kr) * chroma);
    c.blueCb = fixed(2 * (1 - kb) * chroma);
    c.greenCb = fixed(-2 * (1 - kb) * kb / kg * chroma);
    c.greenCr = fixed(-2 * (1 - kr) * kr / kg * chroma);
    c.yRed = fixed(kr * 219 / 255);
    c.yBlue = fixed(kb * 219 / 255);
    c.yGreen = fixed(219.0 / 255) - c.yRed - c.yBlue;
    c.cbBlue = fixed(0.5 * 224 / 255);
    c.cbRed = fixed(-0.5 * kr / (1 - kb) * 224 / 255);
    c.cbGreen = -c.cbBlue - c.cbRed;
    c.crRed = c.cbBlue;
    c.crBlue = fixed(-0.5 * kb / (1 - kr) * 224 / 255);
    c.crGreen = -c.crRed - c.crBlue;
    return c;
}

constexpr Coefficients kBt601 = coefficients(0.299, 0.114);
constexpr Coefficients kBt709 = coefficients(0.2126, 0.0722);
constexpr Coefficients kBt2020 = coefficients(0.2627, 0.0593);

const Coefficients& of(ColourMatrix matrix) {
    if (matrix == ColourMatrix::bt2020) return kBt2020;
    return matrix == ColourMatrix::bt709 ? kBt709 : kBt601;
}

inline uint32_t byteOf(int value) {
    return static_cast<uint32_t>(std::clamp(value, 0, 255));
}

inline uint32_t packArgb(uint32_t red, uint32_t green, uint32_t blue) {
    if constexpr (std::endian::native == std::endian::little)
        return 0xFFU | red << 8 | green << 16 | blue << 24;
    else
        return 0xFF000000U | red << 16 | green << 8 | blue;
}

/// The chroma row that luma row `y` shares: within its own field when fields are kept apart.
inline int chromaRow(int y, bool fields) {
    return fields ? (y / 4) * 2 + (y & 1) : y / 2;
}

struct RowTerms {
    std::vector<int> red, green, blue;
    explicit RowTerms(int width)
        : red(static_cast<size_t>(width)),
          green(static_cast<size_t>(width)),
          blue(static_cast<size_t>(width)) {}
};

void chromaTerms(const Coefficients& c, const uint8_t* cb, const uint8_t* cr, int width, RowTerms& out) {
    for (int x = 0; x < width; ++x) {
        const int u = cb[x / 2] - 128;
        const int v = cr[x / 2] - 128;
        const auto i = static_cast<size_t>(x);
        out.red[i] = c.redCr * v + kHalf;
        out.green[i] = c.greenCb * u + c.greenCr * v + kHalf;
        out.blue[i] = c.blueCb * u + kHalf;
    }
}

void rowToArgb(int luma, const uint8_t* y, const RowTerms& terms, int width, uint8_t* out) {
    const int* red = terms.red.data();
    const int* green = terms.green.data();
    const int* blue = terms.blue.data();
    for (int x = 0; x < width; ++x) {
        const int grey = (y[x] - 16) * luma;
        const uint32_t pixel = packArgb(byteOf((grey + red[x]) >> kBits), byteOf((grey + green[x]) >> kBits),
                                        byteOf((grey + blue[x]) >> kBits));
        std::memcpy(out + 4 * x, &pixel, sizeof pixel);
    }
}

void yuvToArgb(const AVFrame& from, const Coefficients& c, bool fields, uint8_t* argb, ptrdiff_t stride) {
    RowTerms terms(from.width);
    int lastRow = -1;
    for (int y = 0; y < from.height; ++y) {
        const int row = std::min(chromaRow(y, fields), (from.height + 1) / 2 - 1);
        if (row != lastRow)
            chromaTerms(c, from.data[1] + ptrdiff_t{row} * from.linesize[1],
                        from.data[2] + ptrdiff_t{row} * from.linesize[2], from.width, terms);
        lastRow = row;
        rowToArgb(c.luma, from.data[0] + ptrdiff_t{y} * from.linesize[0], terms, from.width,
                  argb + y * stride);
    }
}

void rowToLuma(const Coefficients& c, const uint8_t* argb, int width, uint8_t* out) {
    for (int x = 0; x < width; ++x) {
        const uint8_t* p = argb + 4 * x;
        out[x] =
            static_cast<uint8_t>(16 + ((c.yRed * p[1] + c.yGreen * p[2] + c.yBlue * p[3] + kHalf) >> kBits));
    }
}

void rowsToChroma(const Coefficients& c, const uint8_t* above, const uint8_t* below, int width, uint8_t* cb,
                  uint8_t* cr) {
    constexpr int half = 1 << (kBits + 1);
    for (int x = 0; x < width / 2; ++x) {
        const uint8_t* a = above + 8 * x;
        const uint8_t* b = below + 8 * x;
        const int red = a[1] + a[5] + b[1] + b[5];
        const int green = a[2] + a[6] + b[2] + b[6];
        const int blue = a[3] + a[7] + b[3] + b[7];
        const int u = (c.cbRed * red + c.cbGreen * green + c.cbBlue * blue + half) >> (kBits + 2);
        const int v = (c.crRed * red + c.crGreen * green + c.crBlue * blue + half) >> (kBits + 2);
        cb[x] = static_cast<uint8_t>(128 + u);
        cr[x] = static_cast<uint8_t>(128 + v);
    }
}

void argbToYuv(const uint8_t* argb, ptrdiff_t stride, const Coefficients& c, bool fields, AVFrame& to) {
    for (int y = 0; y < to.height; ++y)
        rowToLuma(c, argb + y * stride, to.width, to.data[0] + ptrdiff_t{y} * to.linesize[0]);
    for (int row = 0; row < to.height / 2; ++row) {
        // A height of 4 n + 2 leaves the last two lines without partners in their fields; they share one
        // sample.
        const bool paired = fields && 4 * (row / 2) + 3 < to.height;
        const int above = paired ? 4 * (row / 2) + (row & 1) : 2 * row;
        const int below = paired ? above + 2 : above + 1;
        rowsToChroma(c, argb + above * stride, argb + below * stride, to.width,
                     to.data[1] + ptrdiff_t{row} * to.linesize[1],
                     to.data[2] + ptrdiff_t{row} * to.linesize[2]);
    }
}

}  // namespace

void toArgb(const PictureRef& picture, uint8_t* argb, ptrdiff_t stride) {
    if (!picture) throw MediaError(MediaErrorCode::badRequest, "", "there is no picture to convert");
    const AVFrame& from = *picture.storage()->frame;
    if (picture.layout() == PixelLayout::deep || picture.layout() == PixelLayout::yuv420p10)
        deepToArgb(picture.layout() == PixelLayout::deep ? picture : toDeep(picture), argb, stride);
    else if (picture.layout() == PixelLayout::argb)
        for (int y = 0; y < from.height; ++y)
            std::memcpy(argb + y * stride, from.data[0] + ptrdiff_t{y} * from.linesize[0],
                        size_t{4} * static_cast<size_t>(from.width));
    else
        yuvToArgb(from, of(picture.matrix()), picture.fields() != FieldOrder::progressive, argb, stride);
}

PictureRef toArgb(const PictureRef& picture) {
    if (!picture) throw MediaError(MediaErrorCode::badRequest, "", "there is no picture to convert");
    FramePtr out = newArgbFrame(picture.width(), picture.height());
    toArgb(picture, out->data[0], out->linesize[0]);
    return wrapFrame(std::move(out), picture.fields(), picture.matrix());
}

PictureRef fromArgb(const PictureRef& picture, ColourMatrix matrix, FieldOrder fields) {
    if (!picture) throw MediaError(MediaErrorCode::badRequest, "", "there is no picture to convert");
    if (picture.layout() == PixelLayout::yuv420 && picture.matrix() == matrix) return picture;
    if (picture.layout() != PixelLayout::argb) return fromArgb(toArgb(picture), matrix, fields);
    if (picture.width() % 2 != 0 || picture.height() % 2 != 0)
        throw MediaError(MediaErrorCode::badRequest, "", "4:2:0 pictures need even sides; round the size");
    FramePtr out = newFrame();
    out->width = picture.width();
    out->height = picture.height();
    out->format = AV_PIX_FMT_YUV420P;
    out->sample_aspect_ratio = {1, 1};
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    argbToYuv(picture.data(), picture.stride(), of(matrix), fields != FieldOrder::progressive, *out);
    return wrapFrame(std::move(out), fields, matrix);
}

PictureRef inLayout(const PictureRef& picture, PixelLayout layout, ColourMatrix matrix, FieldOrder fields) {
    const bool same = picture && picture.layout() == layout;
    if (same && (isPacked(layout) || picture.matrix() == matrix)) return picture;
    if (layout == PixelLayout::argb) return toArgb(picture);
    if (layout == PixelLayout::deep) return toDeep(picture);
    // Eight bits that come from eight bits take the path of the effects' own pictures.
    if (layout == PixelLayout::yuv420 && picture.layout() == PixelLayout::argb)
        return fromArgb(picture, matrix, fields);
    return fromDeep(picture.layout() == PixelLayout::deep ? picture : toDeep(picture), layout, matrix,
                    fields);
}

bool reachesBeyondWhite(const PictureRef& picture) {
    if (!picture || picture.layout() != PixelLayout::yuv420) return false;
    constexpr int side = 8;
    const AVFrame& frame = *picture.storage()->frame;
    const auto width = static_cast<size_t>(frame.width);
    std::vector<uint8_t> least(width), most(width);
    for (int top = 0; top + side <= frame.height; top += side) {
        std::fill(least.begin(), least.end(), uint8_t{255});
        std::fill(most.begin(), most.end(), uint8_t{0});
        for (int y = top; y < top + side; ++y) {
            const uint8_t* row = frame.data[0] + ptrdiff_t{y} * frame.linesize[0];
            for (size_t x = 0; x < width; ++x) {
                least[x] = std::min(least[x], row[x]);
                most[x] = std::max(most[x], row[x]);
            }
        }
        for (size_t x = 0; x + side <= width; x += side)
            if (*std::min_element(&least[x], &least[x] + side) > kWhiteCode + 1 ||
                *std::max_element(&most[x], &most[x] + side) < kBlackCode - 1)
                return true;
    }
    return false;
}

}  // namespace tumblewash::media
