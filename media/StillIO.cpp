#include "media/StillIO.h"

#include <cstring>

#include "media/Staging.h"
#include "media/detail/Png.h"

namespace tumblewash::media {

PngEncoder::PngEncoder(std::string file, int width, int height, PngAlpha alpha)
    : file_(std::move(file)), alpha_(alpha) {
    if (width < 1 || height < 1 || width > kMaxPictureSide || height > kMaxPictureSide)
        throw MediaError(MediaErrorCode::badRequest, file_, "pictures go from 1x1 to 16384x16384");
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (encoder == nullptr)
        throw MediaError(MediaErrorCode::encoding, file_,
                         "this FFmpeg cannot write PNG; install a complete one");
    codec_.reset(orBadAlloc(avcodec_alloc_context3(encoder)));
    codec_->width = width;
    codec_->height = height;
    codec_->time_base = {1, 25};
    codec_->pix_fmt = alpha == PngAlpha::keep ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
    codec_->color_range = AVCOL_RANGE_JPEG;
    codec_->compression_level = 3;
    codec_->thread_count = 1;
    throwIfNoRoom(av_opt_set(codec_.get(), "pred", "up", AV_OPT_SEARCH_CHILDREN));
    const int opened = avcodec_open2(codec_.get(), encoder, nullptr);
    throwIfNotStarted(opened);
    if (opened < 0)
        throw MediaError(MediaErrorCode::encoding, file_, "a PNG cannot be made (" + avMessage(opened) + ")");
    frame_ = newFrame();
    frame_->width = width;
    frame_->height = height;
    frame_->format = codec_->pix_fmt;
    if (av_frame_get_buffer(frame_.get(), 0) < 0) throw std::bad_alloc();
}

const std::vector<uint8_t>& PngEncoder::encode(const uint8_t* argb, ptrdiff_t stride) {
    if (av_frame_make_writable(frame_.get()) < 0) throw std::bad_alloc();
    const int step = alpha_ == PngAlpha::keep ? 4 : 3;
    for (int y = 0; y < frame_->height; ++y) {
        const uint8_t* from = argb + y * stride;
        uint8_t* to = frame_->data[0] + ptrdiff_t{y} * frame_->linesize[0];
        for (int x = 0; x < frame_->width; ++x, from += 4, to += step) {
            for (int c = 0; c < 3; ++c)
                to[c] = alpha_ == PngAlpha::flatten
                            ? static_cast<uint8_t>((from[c + 1] * from[0] + 127) / 255)
                            : from[c + 1];
            if (step == 4) to[3] = from[0];
        }
    }
    const int sent = avcodec_send_frame(codec_.get(), frame_.get());
    const int got = sent < 0 ? sent : avcodec_receive_packet(codec_.get(), packet_.get());
    if (got == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (got < 0)
        throw MediaError(MediaErrorCode::encoding, file_, "a PNG cannot be made (" + avMessage(got) + ")");
    bytes_.assign(packet_->data, packet_->data + packet_->size);
    av_packet_unref(packet_.get());
    return bytes_;
}

PictureRef readStill(const std::string& path, const StillSettings& settings) {
    if (settings.index < 0) throw MediaError(MediaErrorCode::badRequest, path, "pictures are counted from 0");
    ReaderSettings wanted;
    wanted.width = settings.width;
    wanted.height = settings.height;
    wanted.fit = settings.fit;
    wanted.rate = settings.rate;
    wanted.keepAlpha = settings.keepAlpha;
    wanted.keepFields = false;
    wanted.prefetch = 0;
    wanted.cancel = settings.cancel;
    wanted.stillFrames = 1;
    Reader reader = Reader::open(path, wanted);
    const bool still = reader.info().kind == MediaKind::still;
    if (!still) reader.seek(settings.index);
    PictureRef picture = still || settings.index < reader.frameCount() ? reader.readPicture() : PictureRef();
    if (!picture)
        throw MediaError(MediaErrorCode::badRequest, path,
                         "has no picture " + std::to_string(settings.index) + "; it has " +
                             std::to_string(reader.frameCount()) + ", counted from 0");
    return picture;
}

void writePng(const std::string& path, const uint8_t* argb, int width, int height, ptrdiff_t stride,
              PngAlpha alpha, bool force) {
    checkTarget(path, force);
    PngEncoder encoder(path, width, height, alpha);
    const std::vector<uint8_t>& bytes = encoder.encode(argb, stride);
    StagedFile file(path, force);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

void writePng(const std::string& path, const PictureRef& picture, PngAlpha alpha, bool force) {
    if (!picture) throw MediaError(MediaErrorCode::badRequest, path, "there is no picture to write");
    const PictureRef argb = picture.layout() == PixelLayout::argb ? picture : toArgb(picture);
    writePng(path, argb.data(), argb.width(), argb.height(), argb.stride(), alpha, force);
}

}  // namespace tumblewash::media
