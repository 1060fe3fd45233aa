// Y'CbCr 4:2:0 limited range to ARGB and back, so that a picture which makes the detour shows no step in
// colour. Plain 16.16 integers with rounding; the same bytes on every machine.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "ImageLib/kernels/YuvRow.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

using kernels::YuvMatrix;

namespace {

constexpr int kBits = kernels::kYuvMatrixBits;
constexpr int kBlackCode = 16, kWhiteCode = 235;

constexpr int fixed(double value) {
    return static_cast<int>(value * (1 << kBits) + (value < 0 ? -0.5 : 0.5));
}

/// The matrix of these weights of red and blue.
constexpr YuvMatrix coefficients(double kr, double kb) {
    const double kg = 1 - kr - kb;
    const double chroma = 255.0 / 224.0;
    YuvMatrix c{};
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

constexpr YuvMatrix kBt601 = coefficients(0.299, 0.114);
constexpr YuvMatrix kBt709 = coefficients(0.2126, 0.0722);
constexpr YuvMatrix kBt2020 = coefficients(0.2627, 0.0593);

const YuvMatrix& of(ColourMatrix matrix) {
    if (matrix == ColourMatrix::bt2020) return kBt2020;
    return matrix == ColourMatrix::bt709 ? kBt709 : kBt601;
}

/// The chroma row that luma row `y` shares: within its own field when fields are kept apart.
inline int chromaRow(int y, bool fields) {
    return fields ? (y / 4) * 2 + (y & 1) : y / 2;
}

void yuvToArgb(const AVFrame& from, const YuvMatrix& c, bool fields, uint8_t* argb, ptrdiff_t stride) {
    const auto width = static_cast<size_t>(from.width);
    std::vector<int> red(width), green(width), blue(width);
    const kernels::ChromaTerms terms{red.data(), green.data(), blue.data()};
    int lastRow = -1;
    for (int y = 0; y < from.height; ++y) {
        const int row = std::min(chromaRow(y, fields), (from.height + 1) / 2 - 1);
        if (row != lastRow)
            kernels::chromaTermsRow(c, from.data[1] + ptrdiff_t{row} * from.linesize[1],
                                    from.data[2] + ptrdiff_t{row} * from.linesize[2], width, terms);
        lastRow = row;
        kernels::argbRowFromYuv(c, from.data[0] + ptrdiff_t{y} * from.linesize[0], terms, width,
                                argb + y * stride);
    }
}

void argbToYuv(const uint8_t* argb, ptrdiff_t stride, const YuvMatrix& c, bool fields, AVFrame& to) {
    const auto width = static_cast<size_t>(to.width);
    for (int y = 0; y < to.height; ++y)
        kernels::lumaRowFromArgb(c, argb + y * stride, width, to.data[0] + ptrdiff_t{y} * to.linesize[0]);
    for (int row = 0; row < to.height / 2; ++row) {
        // A height of 4 n + 2 leaves the last two lines without partners in their fields; they share one
        // sample.
        const bool paired = fields && 4 * (row / 2) + 3 < to.height;
        const int above = paired ? 4 * (row / 2) + (row & 1) : 2 * row;
        const int below = paired ? above + 2 : above + 1;
        kernels::chromaRowFromArgb(c, argb + above * stride, argb + below * stride, width / 2,
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
