#include "media/LiveMovie.h"

#include <cmath>
#include <cstdio>
#include <optional>

#include "media/MediaError.h"
#include "media/detail/PacketFile.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

namespace {

/// What kind of movie the encoder is asked for; there is no such file.
constexpr const char* kName = "preview.mp4";
constexpr int kBuffer = 1 << 16;

void check(int result, const char* what) {
    throwIfNoRoom(result);
    if (result < 0)
        throw MediaError(MediaErrorCode::encoding, kName, std::string(what) + " (" + avMessage(result) + ")");
}

struct MuxerFree {
    void operator()(AVFormatContext* muxer) const noexcept {
        if (muxer->pb != nullptr) {
            av_freep(&muxer->pb->buffer);
            avio_context_free(&muxer->pb);
        }
        avformat_free_context(muxer);
    }
};

WriterSettings encoding(const LiveSettings& settings) {
    WriterSettings writer;
    writer.width = settings.width;
    writer.height = settings.height;
    writer.rate = settings.rate;
    writer.crf = 23;
    writer.preset = "ultrafast";
    writer.threads = 1;
    return writer;
}

CodecPtr pictureEncoder(const WriterSettings& settings) {
    CodecPtr codec = makeVideoEncoder(kName, settings, true);
    // Each picture comes out as it goes in, and every second can be begun with.
    throwIfNoRoom(av_opt_set(codec->priv_data, "tune", "zerolatency", 0));
    codec->max_b_frames = 0;
    codec->gop_size = std::max(1, static_cast<int>(std::lround(settings.rate.value())));
    throwIfNotStarted(avcodec_open2(codec.get(), codec->codec, nullptr));
    return codec;
}

/// What the muxer must know of packets that were encoded earlier.
void describeSound(const LiveSettings& settings, const std::vector<uint8_t>& header, AVStream& stream) {
    AVCodecParameters& sound = *stream.codecpar;
    sound.codec_type = AVMEDIA_TYPE_AUDIO;
    sound.codec_id = AV_CODEC_ID_AAC;
    sound.sample_rate = settings.sampleRate;
    sound.frame_size = 1024;
    av_channel_layout_default(&sound.ch_layout, settings.channels);
    sound.extradata =
        static_cast<uint8_t*>(orBadAlloc(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE)));
    std::copy(header.begin(), header.end(), sound.extradata);
    sound.extradata_size = static_cast<int>(header.size());
    stream.time_base = {1, settings.sampleRate};
}

/// The profile and level in the first parameter set of an encoder's header.
std::string pictureType(const AVCodecContext& codec) {
    char words[16] = "avc1.42c01e";
    const uint8_t* const data = codec.extradata;
    for (int i = 0; i + 7 < codec.extradata_size; ++i)
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && (data[i + 3] & 31) == 7) {
            std::snprintf(words, sizeof words, "avc1.%02x%02x%02x", data[i + 4], data[i + 5], data[i + 6]);
            break;
        }
    return words;
}

}  // namespace

struct LiveMovie::Impl {
    Impl(const LiveSettings& wanted, Bytes taker) : settings(encoding(wanted)), bytes(std::move(taker)) {
        if (wanted.width < 16 || wanted.height < 16 || wanted.width % 2 != 0 || wanted.height % 2 != 0)
            throw MediaError(MediaErrorCode::badRequest, kName, "needs even sides of 16 or more");
        video = pictureEncoder(settings);
        AVFormatContext* made = nullptr;
        check(avformat_alloc_output_context2(&made, nullptr, "mp4", nullptr), "cannot be begun");
        muxer.reset(made);
        muxer->flags |= AVFMT_FLAG_BITEXACT;
        muxer->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
        auto* buffer = static_cast<uint8_t*>(orBadAlloc(av_malloc(kBuffer)));
        muxer->pb = avio_alloc_context(buffer, kBuffer, 1, this, nullptr, take, nullptr);
        if (muxer->pb == nullptr) av_free(buffer);
        orBadAlloc(muxer->pb);
        pictures = orBadAlloc(avformat_new_stream(muxer.get(), nullptr));
        check(avcodec_parameters_from_context(pictures->codecpar, video.get()), "cannot be begun");
        pictures->time_base = video->time_base;
        pictures->avg_frame_rate = video->framerate;
        type = "video/mp4; codecs=\"" + pictureType(*video);
        if (!wanted.sound.empty()) {
            piece.emplace(wanted.sound);
            sounds = orBadAlloc(avformat_new_stream(muxer.get(), nullptr));
            describeSound(wanted, piece->header(), *sounds);
            type += ", mp4a.40.2";
            base = sounds->time_base;
        }
        type += '"';
        AVDictionary* options = nullptr;
        check(av_dict_set(&options, "movflags", "+empty_moov+default_base_moof+frag_custom", 0), "");
        const int begun = avformat_write_header(muxer.get(), &options);
        av_dict_free(&options);
        check(begun, "its header cannot be made");
        flush();
        if (piece) nextSound();
    }

    static int take(void* self, uint8_t* data, int size) {
        static_cast<Impl*>(self)->made.append(reinterpret_cast<const char*>(data), static_cast<size_t>(size));
        return size;
    }

    /// Hands on what the muxer has made.
    void flush() {
        avio_flush(muxer->pb);
        check(muxer->pb->error, "cannot be made");
        if (!made.empty()) bytes(made);
        made.clear();
    }

    /// The encoder's lead-in, which lies before the start, is left out.
    void nextSound() {
        do sound = piece->next();
        while (sound && sound->pts < 0);
    }

    void write(AVPacket& packet, AVRational from, const AVStream& stream) {
        av_packet_rescale_ts(&packet, from, stream.time_base);
        packet.stream_index = stream.index;
        check(av_write_frame(muxer.get(), &packet), "cannot be made");
    }

    /// The sound that begins before picture `end`.
    void soundUpTo(int64_t end) {
        for (; sound && av_compare_ts(sound->pts, base, end, video->time_base) < 0; nextSound())
            write(*sound, base, *sounds);
    }

    void fragment() {
        soundUpTo(written);
        check(av_write_frame(muxer.get(), nullptr), "cannot be made");
        flush();
        inFragment = 0;
    }

    void encode(const AVFrame* frame) {
        check(avcodec_send_frame(video.get(), frame), "a picture cannot be encoded");
        for (;;) {
            const int got = avcodec_receive_packet(video.get(), packet.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
            check(got, "a picture cannot be encoded");
            packet->duration = 1;
            write(*packet, video->time_base, *pictures);
            ++written;
            if (++inFragment == kFragment) fragment();
        }
    }

    WriterSettings settings;
    Bytes bytes;
    std::string type;
    std::string made;
    CodecPtr video;
    std::unique_ptr<AVFormatContext, MuxerFree> muxer;
    AVStream* pictures = nullptr;
    AVStream* sounds = nullptr;
    std::optional<PacketFileReader> piece;
    PacketPtr sound;
    AVRational base{1, 1};
    PacketPtr packet = newPacket();
    int64_t given = 0;
    int64_t written = 0;
    int inFragment = 0;
};

LiveMovie::LiveMovie(const LiveSettings& settings, Bytes bytes)
    : impl_(std::make_unique<Impl>(settings, std::move(bytes))) {}

LiveMovie::~LiveMovie() = default;

const std::string& LiveMovie::type() const noexcept {
    return impl_->type;
}

void LiveMovie::picture(const PictureRef& picture) {
    const FramePtr frame =
        encoderFrame(picture, impl_->settings, *impl_->video, movieColourOf(kName, impl_->settings));
    frame->pts = impl_->given++;
    impl_->encode(frame.get());
}

void LiveMovie::finish() {
    impl_->encode(nullptr);
    if (impl_->inFragment > 0) impl_->fragment();
}

}  // namespace tumblewash::media
