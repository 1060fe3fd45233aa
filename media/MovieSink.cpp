// Movies: one picture encoder, one sound encoder, one muxer, one file under way.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

extern "C" {
#include <libavutil/cpu.h>
}

#include "media/Probe.h"
#include "media/Reader.h"
#include "media/Staging.h"
#include "media/detail/AlphaPictures.h"
#include "media/detail/MuxerFile.h"
#include "media/detail/Sink.h"

namespace tumblewash::media {

namespace {

/// One kind of movie file.
struct Container {
    const char* ending;
    const char* muxer;
    const char* videoEncoder;
    const char* audioEncoder;
    int64_t audioBits;
    bool faststart;
};

constexpr std::array kContainers{
    Container{".mp4", "mp4", "libx264", "aac", 192'000, true},
    Container{".mov", "mov", "libx264", "aac", 192'000, true},
    Container{".mkv", "matroska", "libx264", "aac", 192'000, false},
    Container{".webm", "webm", "libvpx-vp9", "libopus", 128'000, false},
};

/// The presets from fast to thorough, and what VP9 calls them.
struct Preset {
    const char* name;
    int cpuUsed;
};
constexpr std::array kPresets{Preset{"ultrafast", 8}, Preset{"superfast", 7}, Preset{"veryfast", 6},
                              Preset{"faster", 5},    Preset{"fast", 4},      Preset{"medium", 3},
                              Preset{"slow", 2},      Preset{"slower", 1},    Preset{"veryslow", 0}};

// More encoder threads cost memory and gain little beside the decoding and rendering threads.
constexpr int kMaxEncoderThreads = 8;

// From this many pixels on every picture an encoder holds back costs five megabytes and more: there it keeps
// fewer. Memory counts for more here than the last percent of file size. Threads that work on pictures of
// their own are quickest, but each holds some; from the fourth thread on all of them share one picture.
constexpr int64_t kLargePicture = 1'500'000;
constexpr int kPictureThreads = 3;
constexpr const char* kLargeParameters = "sync-lookahead=0:rc-lookahead=4:b-pyramid=none";
constexpr const char* kSlicedThreads = ":sliced-threads=1";
constexpr const char* kUsualParameters = "sync-lookahead=0";
constexpr int kUsualLookahead = 20;
constexpr int kUsualLag = 12;
constexpr int kLargeLag = 4;

const Container& containerOf(const std::string& output) {
    for (const Container& container : kContainers)
        if (output.size() > std::strlen(container.ending) && output.ends_with(container.ending))
            return container;
    throw MediaError(MediaErrorCode::badRequest, output, "is no movie this program writes");
}

bool isWebm(const Container& container) {
    return std::string_view(container.muxer) == "webm";
}

const Preset& presetOf(const std::string& output, const std::string& name) {
    const std::string_view wanted = name.empty() ? "veryfast" : std::string_view(name);
    for (const Preset& preset : kPresets)
        if (wanted == preset.name) return preset;
    std::string all;
    for (const Preset& preset : kPresets) all.append(all.empty() ? "" : ", ").append(preset.name);
    throw MediaError(MediaErrorCode::badRequest, output,
                     "there is no preset " + name + "; choose one of " + all);
}

class MovieSink final : public Sink {
  public:
    // Delegating, so that the destructor closes the muxer when a step of the opening throws.
    MovieSink(const std::string& output, const WriterSettings& settings)
        : MovieSink(output, settings, containerOf(output)) {
        openMuxer();
        openVideo();
        if (settings_.sound) openAudio();
        writeHeader();
    }
    ~MovieSink() override {
        if (muxer_ == nullptr) return;
        bytes_.reset();
        avformat_free_context(muxer_);
    }
    MovieSink(const MovieSink&) = delete;
    MovieSink& operator=(const MovieSink&) = delete;

    void picture(const PictureRef& picture) override;
    void samples(const float* interleaved, size_t frames) override;
    void finish() override;

  private:
    void openMuxer();
    void openVideo();
    void setUpAlpha(AVCodecContext& codec) const;
    void setUpVp9(AVCodecContext& codec) const;
    FramePtr nativeFrame(const PictureRef& picture) const;
    void openAudio();
    void writeHeader();
    void addTags();
    void addChapters();
    CodecPtr makeEncoder(const char* name) const;
    void open(AVCodecContext& codec, AVStream& stream) const;
    void tagColours(AVCodecContext& codec) const;
    void send(AVCodecContext& codec, const AVStream& stream, const AVFrame* frame);
    void sendSound(size_t frames);
    MovieSink(const std::string& output, const WriterSettings& settings, const Container& container)
        : output_(output),
          settings_(settings),
          container_(container),
          alpha_(settings.keepAlpha ? &alphaEncoderFor(output) : nullptr),
          matrix_(settings.matrix.value_or(colourMatrixFor(settings.width, settings.height))),
          file_(output, settings.force) {}
    [[noreturn]] void failed(const char* what, int error) const;

    const std::string output_;
    const WriterSettings settings_;
    const Container& container_;
    const AlphaEncoder* const alpha_;  // null: opaque pictures
    const ColourMatrix matrix_;
    StagedFile file_;
    AVFormatContext* muxer_ = nullptr;
    std::optional<MuxerFile> bytes_;
    CodecPtr video_, audio_;
    AVStream* videoStream_ = nullptr;
    AVStream* audioStream_ = nullptr;
    PacketPtr packet_ = newPacket();
    int64_t pictures_ = 0;
    int64_t samples_ = 0;
    std::vector<float> pending_;  // interleaved, less than one encoder frame between calls
};

void MovieSink::failed(const char* what, int error) const {
    // A call broken off by the flag reports a failure of its own.
    throwIfRaised(settings_.cancel, output_);
    if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (error == AVERROR_EXIT) throwIfRaised(settings_.cancel, output_);
    constexpr std::array disk{ENOSPC, EPIPE, EIO, EFBIG, EDQUOT, EACCES, EROFS, ENOENT};
    for (const int number : disk)
        if (error == AVERROR(number)) throwNotWritable(output_, number);
    throw MediaError(MediaErrorCode::encoding, output_, std::string(what) + " (" + avMessage(error) + ")");
}

void MovieSink::openMuxer() {
    const int made = avformat_alloc_output_context2(&muxer_, nullptr, container_.muxer, nullptr);
    if (made < 0) failed("this FFmpeg cannot write such files", made);
    // Nothing of the moment goes into the file: the same pictures give the same bytes.
    muxer_->flags |= AVFMT_FLAG_BITEXACT;
    muxer_->url = orBadAlloc(av_strdup(output_.c_str()));
    bytes_.emplace(*muxer_, file_.descriptor(), settings_.cancel);
}

CodecPtr MovieSink::makeEncoder(const char* name) const {
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (encoder == nullptr)
        throw MediaError(
            MediaErrorCode::encoding, output_,
            std::string("this FFmpeg lacks the encoder ") + name + "; install Debian's libavcodec59");
    CodecPtr codec(orBadAlloc(avcodec_alloc_context3(encoder)));
    codec->flags |= AV_CODEC_FLAG_BITEXACT;
    if ((muxer_->oformat->flags & AVFMT_GLOBALHEADER) != 0) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    return codec;
}

void MovieSink::tagColours(AVCodecContext& codec) const {
    codec.color_range = AVCOL_RANGE_MPEG;
    codec.chroma_sample_location = AVCHROMA_LOC_LEFT;
    if (matrix_ == ColourMatrix::bt709) {
        codec.colorspace = AVCOL_SPC_BT709;
        codec.color_primaries = AVCOL_PRI_BT709;
        codec.color_trc = AVCOL_TRC_BT709;
        return;
    }
    codec.colorspace = AVCOL_SPC_SMPTE170M;
    codec.color_primaries = settings_.height == 576 ? AVCOL_PRI_BT470BG : AVCOL_PRI_SMPTE170M;
    codec.color_trc = AVCOL_TRC_SMPTE170M;
}

void MovieSink::openVideo() {
    const bool webm = isWebm(container_);
    video_ = makeEncoder(alpha_ != nullptr ? alpha_->encoder : container_.videoEncoder);
    AVCodecContext& codec = *video_;
    codec.width = settings_.width;
    codec.height = settings_.height;
    codec.pix_fmt = alpha_ != nullptr ? alpha_->format : AV_PIX_FMT_YUV420P;
    codec.framerate = asAv(settings_.rate);
    codec.time_base = av_inv_q(codec.framerate);
    codec.sample_aspect_ratio = {1, 1};
    codec.thread_count =
        settings_.threads > 0 ? settings_.threads : std::clamp(av_cpu_count(), 1, kMaxEncoderThreads);
    tagColours(codec);
    const Preset& preset = presetOf(output_, settings_.preset);
    const bool large = int64_t{settings_.width} * settings_.height > kLargePicture;
    if (webm) {
        setUpVp9(codec);
    } else if (alpha_ == nullptr) {
        av_opt_set_int(codec.priv_data, "crf", settings_.crf >= 0 ? settings_.crf : 20, 0);
        av_opt_set(codec.priv_data, "preset", preset.name, 0);
        if (!large && preset.cpuUsed < 6) av_opt_set_int(codec.priv_data, "rc-lookahead", kUsualLookahead, 0);
        std::string parameters = large ? kLargeParameters : kUsualParameters;
        if (large && codec.thread_count > kPictureThreads) parameters += kSlicedThreads;
        if (settings_.fields != FieldOrder::progressive) {
            const bool top = settings_.fields == FieldOrder::topFirst;
            codec.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
            codec.field_order = top ? AV_FIELD_TT : AV_FIELD_BB;
            // The encoder settles the fields' times before the first picture tells it their order.
            parameters += top ? ":tff=1" : ":bff=1";
        }
        av_opt_set(codec.priv_data, "x264-params", parameters.c_str(), 0);
    }
    if (alpha_ != nullptr) setUpAlpha(codec);
    videoStream_ = orBadAlloc(avformat_new_stream(muxer_, nullptr));
    videoStream_->avg_frame_rate = videoStream_->r_frame_rate = codec.framerate;
    videoStream_->sample_aspect_ratio = {1, 1};
    open(codec, *videoStream_);
}

void MovieSink::setUpVp9(AVCodecContext& codec) const {
    const bool large = int64_t{settings_.width} * settings_.height > kLargePicture;
    codec.bit_rate = 0;
    codec.gop_size = static_cast<int>(std::lround(5 * settings_.rate.value()));
    av_opt_set_int(codec.priv_data, "crf", settings_.crf >= 0 ? settings_.crf : 31, 0);
    av_opt_set(codec.priv_data, "deadline", "good", 0);
    av_opt_set_int(codec.priv_data, "cpu-used", presetOf(output_, settings_.preset).cpuUsed, 0);
    av_opt_set_int(codec.priv_data, "row-mt", 1, 0);
    av_opt_set_int(codec.priv_data, "lag-in-frames", large ? kLargeLag : kUsualLag, 0);
}

/// What the encoders want besides, to keep transparency.
void MovieSink::setUpAlpha(AVCodecContext& codec) const {
    if (codec.pix_fmt == AV_PIX_FMT_YUVA420P) {
        // Its two streams must have their pictures in step.
        av_opt_set_int(codec.priv_data, "auto-alt-ref", 0, 0);
    } else if (codec.pix_fmt == AV_PIX_FMT_YUVA444P10) {
        av_opt_set(codec.priv_data, "profile", "4444", 0);
        av_opt_set(codec.priv_data, "vendor", "apl0", 0);
        av_opt_set_int(codec.priv_data, "alpha_bits", 16, 0);
    } else {
        codec.level = 3;
        codec.slices = 4;
        codec.colorspace = AVCOL_SPC_RGB;
        codec.color_range = AVCOL_RANGE_JPEG;
        av_opt_set_int(codec.priv_data, "slicecrc", 1, 0);
    }
}

void MovieSink::openAudio() {
    audio_ = makeEncoder(container_.audioEncoder);
    AVCodecContext& codec = *audio_;
    codec.sample_rate = settings_.sampleRate;
    codec.time_base = {1, settings_.sampleRate};
    codec.bit_rate = container_.audioBits;
    codec.sample_fmt = isWebm(container_) ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_FLTP;
    av_channel_layout_default(&codec.ch_layout, kChannels);
    audioStream_ = orBadAlloc(avformat_new_stream(muxer_, nullptr));
    open(codec, *audioStream_);
}

void MovieSink::open(AVCodecContext& codec, AVStream& stream) const {
    const int opened = avcodec_open2(&codec, codec.codec, nullptr);
    if (opened < 0) failed("its encoder does not start with these settings", opened);
    stream.time_base = codec.time_base;
    if (avcodec_parameters_from_context(stream.codecpar, &codec) < 0) throw std::bad_alloc();
}

void MovieSink::addTags() {
    const auto tag = [&](const char* key, const std::string& words) {
        if (!words.empty() && av_dict_set(&muxer_->metadata, key, words.c_str(), 0) < 0)
            throw std::bad_alloc();
    };
    tag("title", settings_.title);
    tag("comment", settings_.comment);
}

void MovieSink::addChapters() {
    const size_t count = settings_.chapters.size();
    if (count == 0) return;
    muxer_->chapters = static_cast<AVChapter**>(orBadAlloc(av_calloc(count, sizeof(AVChapter*))));
    for (size_t i = 0; i < count; ++i) {
        const Chapter& chapter = settings_.chapters[i];
        auto* made = static_cast<AVChapter*>(orBadAlloc(av_mallocz(sizeof(AVChapter))));
        muxer_->chapters[muxer_->nb_chapters++] = made;
        made->id = static_cast<int64_t>(i) + 1;
        made->time_base = av_inv_q(asAv(settings_.rate));
        made->start = chapter.frame;
        made->end =
            i + 1 < count ? settings_.chapters[i + 1].frame : std::max(settings_.pictures, chapter.frame + 1);
        if (av_dict_set(&made->metadata, "title", chapter.title.c_str(), 0) < 0) throw std::bad_alloc();
    }
}

void MovieSink::writeHeader() {
    addTags();
    addChapters();
    AVDictionary* options = nullptr;
    // The sound encoder's lead-in lies before time 0 and is marked to be skipped; moving everything up for
    // its sake would part sound and picture by as much.
    muxer_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    if (container_.faststart) av_dict_set(&options, "movflags", "+faststart", 0);
    const int written = avformat_write_header(muxer_, &options);
    av_dict_free(&options);
    if (written < 0) failed("its header cannot be written", written);
}

void MovieSink::send(AVCodecContext& codec, const AVStream& stream, const AVFrame* frame) {
    const int sent = avcodec_send_frame(&codec, frame);
    if (sent < 0) failed("a picture or sound cannot be encoded", sent);
    for (;;) {
        throwIfRaised(settings_.cancel, output_);
        const int got = avcodec_receive_packet(&codec, packet_.get());
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
        if (got < 0) failed("a picture or sound cannot be encoded", got);
        if (codec.codec_type == AVMEDIA_TYPE_VIDEO && packet_->duration == 0) packet_->duration = 1;
        // The WebM muxer states the lead-in of Opus, but leaves it to us to begin it at time 0.
        if (&codec == audio_.get() && isWebm(container_)) {
            packet_->pts += codec.initial_padding;
            packet_->dts += codec.initial_padding;
        }
        av_packet_rescale_ts(packet_.get(), codec.time_base, stream.time_base);
        packet_->stream_index = stream.index;
        const int written = av_interleaved_write_frame(muxer_, packet_.get());
        if (written < 0) failed("cannot be written", written);
        // The buffered writer remembers trouble of the disk that no return value told.
        if (muxer_->pb->error < 0) failed("cannot be written", muxer_->pb->error);
    }
}

FramePtr MovieSink::nativeFrame(const PictureRef& picture) const {
    if (alpha_ != nullptr) return alphaFrame(picture, *alpha_, matrix_);
    return shareFrame(*fromArgb(picture, matrix_, settings_.fields).storage()->frame);
}

void MovieSink::picture(const PictureRef& picture) {
    const FramePtr frame = nativeFrame(picture);
    frame->pts = pictures_++;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->pkt_duration = 1;
    frame->sample_aspect_ratio = {1, 1};
    frame->color_range = video_->color_range;
    frame->colorspace = video_->colorspace;
    frame->color_primaries = video_->color_primaries;
    frame->color_trc = video_->color_trc;
    frame->interlaced_frame = settings_.fields != FieldOrder::progressive ? 1 : 0;
    frame->top_field_first = settings_.fields == FieldOrder::topFirst ? 1 : 0;
    // What the source's container said of its picture is not true of this one.
    while (frame->nb_side_data > 0) av_frame_remove_side_data(frame.get(), frame->side_data[0]->type);
    av_dict_free(&frame->metadata);
    send(*video_, *videoStream_, frame.get());
}

/// Encodes the first `frames` of the pending samples.
void MovieSink::sendSound(size_t frames) {
    const FramePtr frame = newFrame();
    frame->nb_samples = static_cast<int>(frames);
    frame->format = audio_->sample_fmt;
    frame->sample_rate = audio_->sample_rate;
    if (av_channel_layout_copy(&frame->ch_layout, &audio_->ch_layout) < 0) throw std::bad_alloc();
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    if (audio_->sample_fmt == AV_SAMPLE_FMT_FLT) {
        std::memcpy(frame->data[0], pending_.data(), frames * kChannels * sizeof(float));
    } else {
        auto* left = reinterpret_cast<float*>(frame->data[0]);
        auto* right = reinterpret_cast<float*>(frame->data[1]);
        for (size_t i = 0; i < frames; ++i) {
            left[i] = pending_[kChannels * i];
            right[i] = pending_[kChannels * i + 1];
        }
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(frames * kChannels));
    frame->pts = samples_;
    samples_ += static_cast<int64_t>(frames);
    send(*audio_, *audioStream_, frame.get());
}

void MovieSink::samples(const float* interleaved, size_t frames) {
    if (!audio_) return;
    const auto unit = static_cast<size_t>(std::max(1, audio_->frame_size));
    pending_.insert(pending_.end(), interleaved, interleaved + frames * kChannels);
    while (pending_.size() >= unit * kChannels) sendSound(unit);
}

void MovieSink::finish() {
    if (audio_ && !pending_.empty()) sendSound(pending_.size() / kChannels);
    send(*video_, *videoStream_, nullptr);
    if (audio_) send(*audio_, *audioStream_, nullptr);
    const int ended = av_write_trailer(muxer_);
    throwIfRaised(settings_.cancel, output_);
    if (ended < 0) failed("its index cannot be written", ended);
    const int flushed = bytes_->flush();
    if (flushed < 0) failed("cannot be written", flushed);
    file_.commit();
}

}  // namespace

void checkMovie(const std::string& output, const WriterSettings& settings) {
    const Container& container = containerOf(output);
    const auto refuse = [&](const std::string& why) {
        throw MediaError(MediaErrorCode::badRequest, output, why);
    };
    if (settings.width < 16 || settings.height < 16 || settings.width > kMaxPictureSide ||
        settings.height > kMaxPictureSide)
        refuse("movies go from 16x16 to 16384x16384");
    if (settings.width % 2 != 0 || settings.height % 2 != 0)
        refuse("movies need even sides, not " + std::to_string(settings.width) + "x" +
               std::to_string(settings.height) + "; round the size");
    if (settings.keepAlpha) {
        const AlphaEncoder& encoder = alphaEncoderFor(output);
        if (settings.crf >= 0 && !encoder.crf)
            refuse(std::string("transparency goes into ") + encoder.name +
                   " here, which has no --crf; leave it out");
        if (settings.fields != FieldOrder::progressive)
            refuse("pictures with transparency are not interlaced");
    }
    const int best = isWebm(container) ? 63 : 51;
    if (settings.crf > best) refuse("--crf goes from 0 to " + std::to_string(best) + " here");
    if (settings.fields != FieldOrder::progressive && isWebm(container))
        refuse("WebM has no interlaced pictures");
    constexpr std::array opusRates{8000, 12000, 16000, 24000, 48000};
    constexpr std::array aacRates{96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};
    const auto known = [&](const auto& rates) {
        return std::find(rates.begin(), rates.end(), settings.sampleRate) != rates.end();
    };
    if (settings.sound && !(isWebm(container) ? known(opusRates) : known(aacRates)))
        refuse("its sound encoder does not take " + std::to_string(settings.sampleRate) +
               " samples a second; use 48000");
    presetOf(output, settings.preset);
    checkTarget(output, settings.force);
}

std::unique_ptr<Sink> makeMovie(const std::string& output, const WriterSettings& settings) {
    return std::make_unique<MovieSink>(output, settings);
}

}  // namespace tumblewash::media
