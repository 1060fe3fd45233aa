#include "media/Jpeg.h"

#include "media/Probe.h"
#include "media/detail/Av.h"

namespace tumblewash::media {
namespace {

void check(int result) {
    throwIfNoRoom(result);
    if (result < 0)
        throw MediaError(MediaErrorCode::encoding, "", "the JPEG encoder failed: " + avMessage(result));
}

FramePtr planar(const PictureRef& picture, int width, int height) {
    FramePtr frame = newFrame();
    frame->format = AV_PIX_FMT_YUVJ444P;
    frame->width = width;
    frame->height = height;
    frame->color_range = AVCOL_RANGE_JPEG;
    check(av_frame_get_buffer(frame.get(), 0));
    const ScalerPtr scaler(orBadAlloc(sws_getContext(
        picture.width(), picture.height(), AV_PIX_FMT_ARGB, width, height, AV_PIX_FMT_YUVJ444P,
        SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr)));
    // A JPEG carries no matrix: all readers take BT.601 of full range.
    const int* bt601 = sws_getCoefficients(SWS_CS_ITU601);
    sws_setColorspaceDetails(scaler.get(), bt601, 1, bt601, 1, 0, 1 << 16, 1 << 16);
    const std::uint8_t* rows[] = {picture.data(), nullptr, nullptr, nullptr};
    const int strides[] = {static_cast<int>(picture.stride()), 0, 0, 0};
    check(sws_scale(scaler.get(), rows, strides, 0, picture.height(), frame->data, frame->linesize) == height
              ? 0
              : AVERROR_EXTERNAL);
    return frame;
}

}  // namespace

std::vector<std::uint8_t> jpegOf(const PictureRef& picture, int width, int height, int quality) {
    if (!picture || picture.layout() != PixelLayout::argb || width < 1 || height < 1 ||
        width > kMaxPictureSide || height > kMaxPictureSide)
        throw MediaError(MediaErrorCode::badRequest, "", "no JPEG can be made of this picture in this size");
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (encoder == nullptr)
        throw MediaError(MediaErrorCode::encoding, "", "the FFmpeg libraries have no JPEG encoder");
    const CodecPtr codec(orBadAlloc(avcodec_alloc_context3(encoder)));
    codec->width = width;
    codec->height = height;
    codec->pix_fmt = AV_PIX_FMT_YUVJ444P;
    codec->color_range = AVCOL_RANGE_JPEG;
    codec->time_base = {1, 25};
    codec->thread_count = 1;
    codec->flags |= AV_CODEC_FLAG_QSCALE;
    codec->global_quality = FF_QP2LAMBDA * quality;
    throwIfNotStarted(avcodec_open2(codec.get(), encoder, nullptr));
    const FramePtr frame = planar(picture, width, height);
    frame->quality = codec->global_quality;
    frame->pts = 0;
    check(avcodec_send_frame(codec.get(), frame.get()));
    const PacketPtr packet = newPacket();
    check(avcodec_receive_packet(codec.get(), packet.get()));
    return {packet->data, packet->data + packet->size};
}

}  // namespace tumblewash::media
