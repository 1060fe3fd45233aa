#include "media/detail/AlphaPictures.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "media/detail/DeepMatrix.h"
#include "media/detail/FrameRows.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace tumblewash::media {

namespace {

constexpr std::array kEncoders{
    AlphaEncoder{".mov", "ProRes 4444", "prores_ks", AV_PIX_FMT_YUVA444P10, AV_PIX_FMT_YUVA444P10, false},
    AlphaEncoder{".mkv", "FFV1", "ffv1", AV_PIX_FMT_RGB32, AV_PIX_FMT_GBRAP10, false},
    AlphaEncoder{".webm", "VP9", "libvpx-vp9", AV_PIX_FMT_YUVA420P, AV_PIX_FMT_NONE, true},
};

FramePtr newAlphaFrame(AVPixelFormat format, int width, int height) {
    FramePtr frame = newFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    return frame;
}

const uint8_t* pixelsOf(const PictureRef& picture, int y) {
    return picture.data() + y * picture.stride();
}

/// Red, green and blue in one native word below alpha, as AV_PIX_FMT_RGB32 has them: nothing is lost.
FramePtr wordsOf(const PictureRef& argb) {
    FramePtr frame = newAlphaFrame(AV_PIX_FMT_RGB32, argb.width(), argb.height());
    for (int y = 0; y < argb.height(); ++y) {
        const uint8_t* in = pixelsOf(argb, y);
        auto* out = rowOf<uint8_t>(*frame, 0, y);
        for (int x = 0; x < argb.width(); ++x, in += 4, out += 4) {
            const uint32_t word =
                uint32_t{in[0]} << 24 | uint32_t{in[1]} << 16 | uint32_t{in[2]} << 8 | in[3];
            std::memcpy(out, &word, sizeof word);
        }
    }
    return frame;
}

uint16_t tenBits(uint32_t value, uint32_t top) {
    return static_cast<uint16_t>((value * 1023 + top / 2) / top);
}

/// Y'CbCr 4:4:4 of 10 bits, limited range; alpha spread to all of 0 ... 1023.
FramePtr deepPlanesOf(const PictureRef& argb, ColourMatrix matrix) {
    const int width = argb.width(), height = argb.height();
    FramePtr frame = newAlphaFrame(AV_PIX_FMT_YUVA444P10, width, height);
    SwsContext* scaler = orBadAlloc(sws_getContext(
        width, height, AV_PIX_FMT_ARGB, width, height, AV_PIX_FMT_YUV444P10,
        SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP | SWS_BITEXACT, nullptr,
        nullptr, nullptr));
    const int* table = sws_getCoefficients(matrix == ColourMatrix::bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
    sws_setColorspaceDetails(scaler, table, 1, table, 0, 0, 1 << 16, 1 << 16);
    const uint8_t* const source[4] = {argb.data(), nullptr, nullptr, nullptr};
    const int pitch[4] = {static_cast<int>(argb.stride()), 0, 0, 0};
    sws_scale(scaler, source, pitch, 0, height, frame->data, frame->linesize);
    sws_freeContext(scaler);
    for (int y = 0; y < height; ++y) {
        const uint8_t* in = pixelsOf(argb, y);
        auto* out = rowOf<uint16_t>(*frame, 3, y);
        for (int x = 0; x < width; ++x) out[x] = tenBits(in[4 * x], 255);
    }
    return frame;
}

/// Green, blue, red and alpha of 10 bits over all of 0 ... 1023.
FramePtr deepWordsOf(const PictureRef& deep) {
    FramePtr frame = newAlphaFrame(AV_PIX_FMT_GBRAP10, deep.width(), deep.height());
    for (int y = 0; y < deep.height(); ++y) {
        const uint16_t* in = deep.words() + ptrdiff_t{4} * deep.width() * y;
        constexpr int places[4] = {2, 3, 1, 0};  // of a deep pixel's words, plane by plane
        for (int plane = 0; plane < 4; ++plane) {
            const uint16_t* word = in + places[plane];
            auto* out = rowOf<uint16_t>(*frame, plane, y);
            for (int x = 0; x < deep.width(); ++x, word += 4)
                out[x] = plane == 3
                             ? tenBits(*word, 65535)
                             : tenBits(std::clamp<uint32_t>(*word, kDeepBlack, kDeepWhite) - kDeepBlack,
                                       kDeepWhite - kDeepBlack);
        }
    }
    return frame;
}

/// What `deepPlanesOf` makes of 8 bits, of deep words.
FramePtr deepPlanesOfDeep(const PictureRef& deep, ColourMatrix matrix) {
    const DeepMatrix& c = deepMatrixOf(matrix);
    FramePtr frame = newAlphaFrame(AV_PIX_FMT_YUVA444P10, deep.width(), deep.height());
    const auto rounded = [](int sum, int shift, int zero) {
        return static_cast<uint16_t>(std::clamp(zero + ((sum + (1 << (shift - 1))) >> shift), 0, 1023));
    };
    for (int y = 0; y < deep.height(); ++y) {
        const uint16_t* in = deep.words() + ptrdiff_t{4} * deep.width() * y;
        auto *luma = rowOf<uint16_t>(*frame, 0, y), *cb = rowOf<uint16_t>(*frame, 1, y);
        auto *cr = rowOf<uint16_t>(*frame, 2, y), *alpha = rowOf<uint16_t>(*frame, 3, y);
        for (int x = 0; x < deep.width(); ++x, in += 4) {
            const int red = in[1] - in[2], blue = in[3] - in[2];
            luma[x] = rounded(c.yRed * in[1] + c.yGreen * in[2] + c.yBlue * in[3], kLumaBits + 6, 0);
            cb[x] = rounded(c.cbRed * red + c.cbBlue * blue, kChromaBits, 512);
            cr[x] = rounded(c.crRed * red + c.crBlue * blue, kChromaBits, 512);
            alpha[x] = tenBits(in[0], 65535);
        }
    }
    return frame;
}

/// Gives pixels that do not show the mean colour of those of their block that do, by alpha.
void fillHidden(uint8_t* upper, uint8_t* lower, int width) {
    for (int x = 0; x + 1 < width; x += 2) {
        uint8_t* const block[4] = {upper + 4 * x, upper + 4 * x + 4, lower + 4 * x, lower + 4 * x + 4};
        int weight = 0, sum[3] = {0, 0, 0};
        bool hidden = false;
        for (const uint8_t* pixel : block) {
            weight += pixel[0];
            hidden = hidden || pixel[0] == 0;
            for (int c = 0; c < 3; ++c) sum[c] += pixel[0] * pixel[c + 1];
        }
        if (!hidden || weight == 0) continue;
        for (uint8_t* pixel : block)
            for (int c = 0; c < 3 && pixel[0] == 0; ++c)
                pixel[c + 1] = static_cast<uint8_t>((sum[c] + weight / 2) / weight);
    }
}

FramePtr planesOf(const PictureRef& argb, ColourMatrix matrix) {
    const int width = argb.width(), height = argb.height();
    const PictureRef filled = copyPicture(argb);
    for (int y = 0; y + 1 < height; y += 2)
        fillHidden(filled.data() + y * filled.stride(), filled.data() + (y + 1) * filled.stride(), width);
    const PictureRef colours = fromArgb(filled, matrix);
    FramePtr frame = newAlphaFrame(AV_PIX_FMT_YUVA420P, width, height);
    const AVFrame& from = *colours.storage()->frame;
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        av_image_copy_plane(frame->data[plane], frame->linesize[plane], from.data[plane],
                            from.linesize[plane], width >> shift, height >> shift);
    }
    for (int y = 0; y < height; ++y) {
        const uint8_t* in = pixelsOf(argb, y);
        auto* out = rowOf<uint8_t>(*frame, 3, y);
        for (int x = 0; x < width; ++x) out[x] = in[4 * x];
    }
    return frame;
}

}  // namespace

const AlphaEncoder& alphaEncoderFor(const std::string& output) {
    std::string all;
    for (const AlphaEncoder& encoder : kEncoders) {
        if (output.ends_with(encoder.ending)) return encoder;
        all += std::string(encoder.ending) + " (" + encoder.name + "), ";
    }
    throw MediaError(MediaErrorCode::badRequest, output,
                     "such a file holds no transparency; with --alpha use " + all + "or NAME%05d.png");
}

FramePtr alphaFrame(const PictureRef& picture, AVPixelFormat format, ColourMatrix matrix) {
    if (format == AV_PIX_FMT_GBRAP10)
        return deepWordsOf(picture.layout() == PixelLayout::deep ? picture : toDeep(picture));
    if (format == AV_PIX_FMT_YUVA444P10 && picture.layout() == PixelLayout::deep)
        return deepPlanesOfDeep(picture, matrix);
    const PictureRef argb = picture.layout() == PixelLayout::argb ? picture : toArgb(picture);
    if (format == AV_PIX_FMT_RGB32) return wordsOf(argb);
    return format == AV_PIX_FMT_YUVA420P ? planesOf(argb, matrix) : deepPlanesOf(argb, matrix);
}

}  // namespace tumblewash::media
