#include "media/detail/SoundEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tumblewash::media {

namespace {

// Of encoders that take pieces of any length.
constexpr int kUsualPiece = 1024;

/// The nearest whole number of a full scale of 2^(bits - 1), within it.
template <typename Word>
Word wholeOf(float sample) {
    constexpr double kFull = -static_cast<double>(std::numeric_limits<Word>::min());
    return static_cast<Word>(std::llrint(std::clamp(static_cast<double>(sample) * kFull, -kFull, kFull - 1)));
}

/// `frames` sample frames into the encoder's format.
void fill(const float* from, size_t frames, size_t width, AVFrame& to) {
    const auto each = [&](auto store) {
        for (size_t i = 0; i < frames * width; ++i) store(i, from[i]);
    };
    switch (static_cast<AVSampleFormat>(to.format)) {
        case AV_SAMPLE_FMT_FLT:
            std::memcpy(to.data[0], from, frames * width * sizeof(float));
            break;
        case AV_SAMPLE_FMT_S16:
            each([out = reinterpret_cast<int16_t*>(to.data[0])](size_t i, float sample) {
                out[i] = wholeOf<int16_t>(sample);
            });
            break;
        case AV_SAMPLE_FMT_S32:
            each([out = reinterpret_cast<int32_t*>(to.data[0])](size_t i, float sample) {
                out[i] = wholeOf<int32_t>(sample);
            });
            break;
        default:
            for (size_t c = 0; c < width; ++c) {
                auto* plane = reinterpret_cast<float*>(to.extended_data[c]);
                for (size_t i = 0; i < frames; ++i) plane[i] = from[width * i + c];
            }
    }
}

/// The first of these formats that the encoder takes.
AVSampleFormat formatOf(const AVCodec& encoder, int bits) {
    const AVSampleFormat whole = bits > 16 ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_S16;
    for (const AVSampleFormat wanted : {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP, whole})
        for (const AVSampleFormat* has = encoder.sample_fmts; has != nullptr && *has != AV_SAMPLE_FMT_NONE;
             ++has)
            if (*has == wanted) return wanted;
    return AV_SAMPLE_FMT_FLTP;
}

}  // namespace

SoundEncoder::SoundEncoder(const std::string& output, const WriterSettings& settings, const char* encoder,
                           int64_t bitRate, int64_t first, Emit emit)
    : output_(output),
      cancel_(settings.cancel),
      width_(static_cast<size_t>(settings.channels)),
      emit_(std::move(emit)),
      next_(first) {
    const AVCodec* found = avcodec_find_encoder_by_name(encoder);
    if (found == nullptr)
        throw MediaError(
            MediaErrorCode::encoding, output,
            std::string("this FFmpeg lacks the encoder ") + encoder + "; install Debian's libavcodec59");
    codec_.reset(orBadAlloc(avcodec_alloc_context3(found)));
    AVCodecContext& codec = *codec_;
    codec.flags |= AV_CODEC_FLAG_BITEXACT | AV_CODEC_FLAG_GLOBAL_HEADER;
    codec.sample_rate = settings.sampleRate;
    codec.time_base = {1, settings.sampleRate};
    // A channel alone costs half of a pair, six cost twice a pair: some hold little.
    codec.bit_rate = settings.channels == 1 ? bitRate / 2 : settings.channels == 2 ? bitRate : bitRate * 2;
    codec.sample_fmt = formatOf(*found, settings.soundBits);
    if (settings.soundBits > 0) codec.bits_per_raw_sample = settings.soundBits;
    av_channel_layout_default(&codec.ch_layout, settings.channels);
    const int opened = avcodec_open2(&codec, found, nullptr);
    throwIfNotStarted(opened);
    if (opened < 0)
        throw MediaError(MediaErrorCode::encoding, output,
                         "its encoder does not start with these settings (" + avMessage(opened) + ")");
}

void SoundEncoder::samples(const float* interleaved, size_t frames) {
    const auto unit = static_cast<size_t>(codec_->frame_size > 0 ? codec_->frame_size : kUsualPiece);
    pending_.insert(pending_.end(), interleaved, interleaved + frames * width_);
    while (pending_.size() >= unit * width_) encode(unit);
}

void SoundEncoder::finish() {
    if (!pending_.empty()) encode(pending_.size() / width_);
    send(nullptr);
}

/// Encodes the first `frames` of the pending samples.
void SoundEncoder::encode(size_t frames) {
    const FramePtr frame = newFrame();
    frame->nb_samples = static_cast<int>(frames);
    frame->format = codec_->sample_fmt;
    frame->sample_rate = codec_->sample_rate;
    if (av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout) < 0) throw std::bad_alloc();
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    fill(pending_.data(), frames, width_, *frame);
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(frames * width_));
    frame->pts = next_;
    next_ += static_cast<int64_t>(frames);
    count_.given(static_cast<int64_t>(frames));
    send(frame.get());
}

void SoundEncoder::send(const AVFrame* frame) {
    const auto check = [&](int result) {
        if (result >= 0) return;
        // A call broken off by the flag reports a failure of its own.
        throwIfRaised(cancel_, output_);
        throwIfNoRoom(result);
        throw MediaError(MediaErrorCode::encoding, output_,
                         "a picture or sound cannot be encoded (" + avMessage(result) + ")");
    };
    check(avcodec_send_frame(codec_.get(), frame));
    for (;;) {
        throwIfRaised(cancel_, output_);
        const int got = avcodec_receive_packet(codec_.get(), packet_.get());
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
        check(got);
        count_.packet();
        emit_(*packet_);
        av_packet_unref(packet_.get());
    }
}

}  // namespace tumblewash::media
