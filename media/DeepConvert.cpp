// Deep pictures from and to every other layout: 16-bit R'G'B' in limited range, so that nothing a Y'CbCr
// picture holds beyond white or below black is lost. Plain integers with rounding; the same words on every
// machine. No dither: what leaves here for 8 bits is rounded.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "media/detail/DeepMatrix.h"
#include "media/detail/FrameRows.h"

namespace tumblewash::media {

namespace {

constexpr double kSwing = kDeepWhite - kDeepBlack;
constexpr double kChromaSwing = 896;

constexpr int fixed(double value, int bits) {
    return static_cast<int>(value * (1 << bits) + (value < 0 ? -0.5 : 0.5));
}

constexpr DeepMatrix deepMatrix(double kr, double kb) {
    const double kg = 1 - kr - kb;
    const double up = kSwing / kChromaSwing;
    DeepMatrix c{};
    c.redCr = fixed(2 * (1 - kr) * up, kToDeepBits);
    c.blueCb = fixed(2 * (1 - kb) * up, kToDeepBits);
    c.greenCb = fixed(-2 * (1 - kb) * kb / kg * up, kToDeepBits);
    c.greenCr = fixed(-2 * (1 - kr) * kr / kg * up, kToDeepBits);
    c.yRed = fixed(kr, kLumaBits);
    c.yBlue = fixed(kb, kLumaBits);
    c.yGreen = (1 << kLumaBits) - c.yRed - c.yBlue;
    c.cbBlue = fixed(0.5 / up, kChromaBits);
    c.cbRed = fixed(-0.5 * kr / (1 - kb) / up, kChromaBits);
    c.crRed = c.cbBlue;
    c.crBlue = fixed(-0.5 * kb / (1 - kr) / up, kChromaBits);
    return c;
}

constexpr DeepMatrix kBt601 = deepMatrix(0.299, 0.114);
constexpr DeepMatrix kBt709 = deepMatrix(0.2126, 0.0722);
constexpr DeepMatrix kBt2020 = deepMatrix(0.2627, 0.0593);

template <typename Sample>
void rowToDeep(const DeepMatrix& c, const Sample* y, const Sample* cb, const Sample* cr, int width,
               uint16_t* out) {
    for (int x = 0; x < width; ++x, out += 4) {
        const int grey = code10(y[x]) * kDeepStep;
        const DeepChroma chroma = deepChroma(c, code10(cb[x / 2]) - 512, code10(cr[x / 2]) - 512);
        out[0] = kDeepOpaque;
        out[1] = deepWordOf(grey + chroma.red);
        out[2] = deepWordOf(grey + chroma.green);
        out[3] = deepWordOf(grey + chroma.blue);
    }
}

template <typename Sample>
void planesToDeep(const AVFrame& from, const DeepMatrix& c, bool fields, uint16_t* out) {
    for (int y = 0; y < from.height; ++y) {
        const int row = std::min(sharedChromaLine(y, fields), (from.height + 1) / 2 - 1);
        rowToDeep(c, rowOf<Sample>(from, 0, y), rowOf<Sample>(from, 1, row), rowOf<Sample>(from, 2, row),
                  from.width, out + ptrdiff_t{4} * from.width * y);
    }
}

void argbToDeep(const AVFrame& from, uint16_t* out) {
    constexpr int swing = kDeepWhite - kDeepBlack;
    for (int y = 0; y < from.height; ++y) {
        const uint8_t* in = rowOf<uint8_t>(from, 0, y);
        for (int x = 0; x < from.width; ++x, in += 4, out += 4) {
            out[0] = static_cast<uint16_t>(in[0] * 257);
            for (int c = 1; c < 4; ++c)
                out[c] = static_cast<uint16_t>(kDeepBlack + (in[c] * swing + 127) / 255);
        }
    }
}

/// A luma sum of kLumaBits, rounded to a code of the plane's depth.
template <typename Sample>
Sample lumaCode(int sum) {
    constexpr int shift = kLumaBits + (sizeof(Sample) == 1 ? 8 : 6);
    constexpr int most = sizeof(Sample) == 1 ? 255 : 1023;
    return static_cast<Sample>(std::min((sum + (1 << (shift - 1))) >> shift, most));
}

template <typename Sample>
void deepToLuma(const DeepMatrix& c, const uint16_t* in, int width, Sample* out) {
    for (int x = 0; x < width; ++x, in += 4)
        out[x] = lumaCode<Sample>(c.yRed * in[1] + c.yGreen * in[2] + c.yBlue * in[3]);
}

template <typename Sample>
void deepToChroma(const DeepMatrix& c, const uint16_t* above, const uint16_t* below, int width, Sample* cb,
                  Sample* cr) {
    constexpr int shift = kChromaBits + 2 + (sizeof(Sample) == 1 ? 2 : 0);
    constexpr int zero = sizeof(Sample) == 1 ? 128 : 512;
    constexpr int most = sizeof(Sample) == 1 ? 255 : 1023;
    constexpr int half = 1 << (shift - 1);
    for (int x = 0; x < width / 2; ++x, above += 8, below += 8) {
        const int red = above[1] + above[5] + below[1] + below[5];
        const int green = above[2] + above[6] + below[2] + below[6];
        const int blue = above[3] + above[7] + below[3] + below[7];
        // Differences to grey first: the products of whole sums would not fit.
        const int u = c.cbRed * (red - green) + c.cbBlue * (blue - green);
        const int v = c.crRed * (red - green) + c.crBlue * (blue - green);
        cb[x] = static_cast<Sample>(std::clamp(zero + ((u + half) >> shift), 0, most));
        cr[x] = static_cast<Sample>(std::clamp(zero + ((v + half) >> shift), 0, most));
    }
}

template <typename Sample>
void deepToPlanes(const PictureRef& from, const DeepMatrix& c, bool fields, AVFrame& to) {
    const auto in = [&](int y) { return from.words() + ptrdiff_t{4} * to.width * y; };
    const auto out = [&](int plane, int row) { return rowOf<Sample>(to, plane, row); };
    for (int y = 0; y < to.height; ++y) deepToLuma(c, in(y), to.width, out(0, y));
    for (int row = 0; row < to.height / 2; ++row) {
        const auto [above, below] = lumaLines(row, to.height, fields);
        deepToChroma(c, in(above), in(below), to.width, out(1, row), out(2, row));
    }
}

}  // namespace

const DeepMatrix& deepMatrixOf(ColourMatrix matrix) noexcept {
    if (matrix == ColourMatrix::bt2020) return kBt2020;
    return matrix == ColourMatrix::bt709 ? kBt709 : kBt601;
}

void deepToArgb(const PictureRef& deep, uint8_t* argb, ptrdiff_t stride) {
    constexpr int swing = kDeepWhite - kDeepBlack;
    const uint16_t* in = deep.words();
    for (int y = 0; y < deep.height(); ++y) {
        uint8_t* out = argb + y * stride;
        for (int x = 0; x < deep.width(); ++x, in += 4, out += 4) {
            out[0] = static_cast<uint8_t>((in[0] + 128) / 257);
            for (int c = 1; c < 4; ++c) {
                const int inside = std::clamp<int>(in[c], kDeepBlack, kDeepWhite) - kDeepBlack;
                out[c] = static_cast<uint8_t>((inside * 255 + swing / 2) / swing);
            }
        }
    }
}

PictureRef toDeep(const PictureRef& picture) {
    if (!picture) throw MediaError(MediaErrorCode::badRequest, "", "there is no picture to convert");
    if (picture.layout() == PixelLayout::deep) return copyPicture(picture);
    const AVFrame& from = *picture.storage()->frame;
    const bool fields = picture.fields() != FieldOrder::progressive;
    FramePtr out = newDeepFrame(from.width, from.height);
    auto* words = reinterpret_cast<uint16_t*>(out->data[0]);
    if (picture.layout() == PixelLayout::argb)
        argbToDeep(from, words);
    else if (picture.layout() == PixelLayout::yuv420)
        planesToDeep<uint8_t>(from, deepMatrixOf(picture.matrix()), fields, words);
    else
        planesToDeep<uint16_t>(from, deepMatrixOf(picture.matrix()), fields, words);
    return wrapFrame(std::move(out), picture.fields(), picture.matrix());
}

PictureRef fromDeep(const PictureRef& picture, PixelLayout layout, ColourMatrix matrix, FieldOrder fields) {
    if (picture.layout() != PixelLayout::deep || !picture)
        throw MediaError(MediaErrorCode::badRequest, "", "there is no deep picture to convert");
    if (isPacked(layout))
        throw MediaError(MediaErrorCode::badRequest, "", "deep pictures become planar ones here");
    if (picture.width() % 2 != 0 || picture.height() % 2 != 0)
        throw MediaError(MediaErrorCode::badRequest, "", "4:2:0 pictures need even sides; round the size");
    FramePtr out = newFrame();
    out->width = picture.width();
    out->height = picture.height();
    out->format = layout == PixelLayout::yuv420 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV420P10;
    out->sample_aspect_ratio = {1, 1};
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    const bool apart = fields != FieldOrder::progressive;
    if (layout == PixelLayout::yuv420)
        deepToPlanes<uint8_t>(picture, deepMatrixOf(matrix), apart, *out);
    else
        deepToPlanes<uint16_t>(picture, deepMatrixOf(matrix), apart, *out);
    return wrapFrame(std::move(out), fields, matrix);
}

}  // namespace tumblewash::media
