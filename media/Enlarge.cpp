#include "media/Enlarge.h"

#include "media/detail/FrameRows.h"

namespace tumblewash::media {

namespace {

FramePtr greyFrame(int width, int height) {
    FramePtr out = newFrame();
    out->width = width;
    out->height = height;
    out->format = AV_PIX_FMT_GRAY16;
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    return out;
}

uint16_t* rowOf(const PictureRef& picture, int y) {
    return picture.words() + y * picture.stride() / 2;
}

}  // namespace

PictureRef enlarged(const PictureRef& deep, int width, int height) {
    if (deep.layout() != PixelLayout::deep)
        throw MediaError(MediaErrorCode::badRequest, "", "only deep pictures can be enlarged");
    const PictureRef out = PictureRef::makeDeep(width, height);
    const FramePtr from = greyFrame(deep.width(), deep.height());
    const FramePtr to = greyFrame(width, height);
    const ScalerPtr scaler(sws_getContext(deep.width(), deep.height(), AV_PIX_FMT_GRAY16, width, height,
                                          AV_PIX_FMT_GRAY16, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT,
                                          nullptr, nullptr, nullptr));
    if (!scaler) throw std::bad_alloc();
    for (size_t channel = 0; channel < 4; ++channel) {
        for (int y = 0; y < deep.height(); ++y) {
            const uint16_t* in = rowOf(deep, y) + channel;
            auto* grey = rowOf<uint16_t>(*from, 0, y);
            for (int x = 0; x < deep.width(); ++x) grey[x] = in[size_t{4} * static_cast<size_t>(x)];
        }
        sws_scale(scaler.get(), from->data, from->linesize, 0, deep.height(), to->data, to->linesize);
        for (int y = 0; y < height; ++y) {
            const auto* grey = rowOf<uint16_t>(static_cast<const AVFrame&>(*to), 0, y);
            uint16_t* put = rowOf(out, y) + channel;
            for (int x = 0; x < width; ++x) put[size_t{4} * static_cast<size_t>(x)] = grey[x];
        }
    }
    return out;
}

}  // namespace tumblewash::media
