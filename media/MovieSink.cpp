// Movies: one picture encoder, one sound encoder, one muxer, one file under way.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <optional>
#include <system_error>
#include <vector>

#include "media/Codecs.h"
#include "media/Probe.h"
#include "media/Reader.h"
#include "media/Staging.h"
#include "media/detail/CopyCheck.h"
#include "media/detail/EncodedCount.h"
#include "media/detail/IndexCheck.h"
#include "media/detail/MuxerFile.h"
#include "media/detail/PacketFile.h"
#include "media/detail/Sink.h"
#include "media/detail/SoundEncoder.h"
#include "media/detail/SoundSplicer.h"
#include "media/detail/Splicer.h"
#include "media/detail/VideoEncoder.h"
#include "media/detail/Worker.h"

namespace tumblewash::media {

namespace {

/// Sample frames on their way to the sound's own thread; `own` as in `Sink::ownSamples`.
struct SoundPiece {
    std::vector<float> samples;
    bool own = false;
};

// Pieces, each the sound of a picture, that may wait. The packets of as many pictures wait for them in turn.
constexpr size_t kSoundQueueDepth = 16;

SoundCoding soundCodingOf(const WriterSettings& settings, const MovieKind& kind) {
    if (settings.soundCodec == SoundCodec::pcm)
        return {settings.soundBits > 16 ? "pcm_s24le" : "pcm_s16le", 0};
    if (settings.soundCodec == SoundCodec::flac) return {"flac", 0};
    return kind.sound;
}

class MovieSink final : public Sink {
  public:
    // Delegating, so that the destructor closes the muxer when a step of the opening throws.
    MovieSink(const std::string& output, const WriterSettings& settings)
        : MovieSink(output, settings, movieKindFor(output)) {
        openMuxer();
        if (settings_.piece != Piece::sound) openVideo();
        if (settings_.sound) openAudio();
        if (settings_.piece == Piece::none)
            writeHeader();
        else
            piece_.emplace(file_, settings_.piece, video_ ? *video_ : audio_->codec());
        if (settings_.sound && settings_.soundThread && settings_.piece == Piece::none) startSoundThread();
    }
    ~MovieSink() override {
        soundThread_.reset();
        endUnused();
        if (muxer_ == nullptr) return;
        bytes_.reset();
        avformat_free_context(muxer_);
    }
    MovieSink(const MovieSink&) = delete;
    MovieSink& operator=(const MovieSink&) = delete;

    void picture(const PictureRef& picture) override;
    void copiedPicture() override;
    void samples(const float* interleaved, size_t frames) override;
    void ownSamples(const float* interleaved, size_t frames) override;
    double soundSeconds() const override { return soundSeconds_; }
    int64_t copiedSamples() const noexcept override { return soundSplicer_ ? soundSplicer_->copied() : 0; }
    void finish() override;
    /// Instead of pictures and samples: packets that were encoded elsewhere.
    MergedPrints merge(const std::vector<PlacedPiece>& pictures, const std::string& sound);

  private:
    void openMuxer();
    void openVideo();
    void openAudio();
    void startSoundThread();
    void giveSamples(const float* interleaved, size_t frames, bool own);
    void takeSamples(const float* interleaved, size_t frames, bool own);
    void writeHeader();
    void addTags();
    void addChapters();
    std::unique_ptr<SoundEncoder> makeAudio(int64_t first, SoundEncoder::Emit emit) const;
    void send(const AVFrame* frame);
    void mux(AVPacket& packet, AVRational base, const AVStream& stream);
    void muxSound(AVPacket& packet);
    void complete();
    void endUnused() noexcept;
    void checkHeader(const PacketFileReader& piece, const std::string& file,
                     const AVCodecContext& codec) const;
    MovieSink(const std::string& output, const WriterSettings& settings, const MovieKind& kind)
        : output_(output),
          settings_(settings),
          kind_(kind),
          colour_(movieColourOf(output, settings)),
          file_(settings.piece == Piece::none ? output : settings.pieceFile, settings.force) {}
    [[noreturn]] void failed(const char* what, int error) const;
    void option(int set) const;

    const std::string output_;
    const WriterSettings settings_;
    const MovieKind& kind_;
    const MovieColour colour_;
    StagedFile file_;
    AVFormatContext* muxer_ = nullptr;
    std::optional<MuxerFile> bytes_;
    IndexCheck index_;
    CodecPtr video_;
    std::unique_ptr<SoundEncoder> audio_;
    std::unique_ptr<Splicer> splicer_;            // in place of the picture encoder
    std::unique_ptr<SoundSplicer> soundSplicer_;  // in place of the sound's
    int64_t soundLead_ = 0;                       // sample frames of the track before time 0
    std::optional<PacketFileWriter> piece_;
    AVStream* videoStream_ = nullptr;
    AVStream* audioStream_ = nullptr;
    PacketPtr packet_ = newPacket();
    int64_t pictures_ = 0;
    EncodedCount shown_;
    std::mutex muxing_;  // packets come from two threads
    std::atomic<double> soundSeconds_ = 0;
    std::optional<Worker<SoundPiece>> soundThread_;  // takes the samples, where there is one
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

void MovieSink::option(int set) const {
    if (set < 0) failed("its encoder does not take these settings", set);
}

void MovieSink::openMuxer() {
    const int made = avformat_alloc_output_context2(&muxer_, nullptr, kind_.muxer, nullptr);
    if (made < 0) failed("this FFmpeg cannot write such files", made);
    // Nothing of the moment goes into the file: the same pictures give the same bytes.
    muxer_->flags |= AVFMT_FLAG_BITEXACT;
    // The order of packets in the file follows from their times, not from when each was handed over.
    muxer_->max_interleave_delta = 0;
    muxer_->url = orBadAlloc(av_strdup(output_.c_str()));
    bytes_.emplace(*muxer_, file_.descriptor(), settings_.cancel);
}

void MovieSink::openVideo() {
    if (settings_.copies) {
        splicer_ = std::make_unique<Splicer>(output_, settings_, [this](AVPacket& packet) {
            mux(packet, av_inv_q(asAv(settings_.rate)), *videoStream_);
        });
        videoStream_ = orBadAlloc(avformat_new_stream(muxer_, nullptr));
        splicer_->describe(*videoStream_);
        markVideoStream(output_, settings_, *videoStream_);
        return;
    }
    video_ = makeVideoEncoder(output_, settings_, (muxer_->oformat->flags & AVFMT_GLOBALHEADER) != 0);
    videoStream_ = orBadAlloc(avformat_new_stream(muxer_, nullptr));
    videoStream_->avg_frame_rate = videoStream_->r_frame_rate = video_->framerate;
    videoStream_->sample_aspect_ratio = {1, 1};
    const int opened = avcodec_open2(video_.get(), video_->codec, nullptr);
    throwIfNotStarted(opened);
    if (opened < 0) failed("its encoder does not start with these settings", opened);
    videoStream_->time_base = video_->time_base;
    if (avcodec_parameters_from_context(videoStream_->codecpar, video_.get()) < 0) throw std::bad_alloc();
    markVideoStream(output_, settings_, *videoStream_);
}

std::unique_ptr<SoundEncoder> MovieSink::makeAudio(int64_t first, SoundEncoder::Emit emit) const {
    const SoundCoding coding = soundCodingOf(settings_, kind_);
    return std::make_unique<SoundEncoder>(output_, settings_, coding.encoder, coding.bits, first,
                                          std::move(emit));
}

void MovieSink::openAudio() {
    audioStream_ = orBadAlloc(avformat_new_stream(muxer_, nullptr));
    const auto take = [this](AVPacket& packet) { muxSound(packet); };
    if (settings_.soundCopy) {
        const auto make = [this](int64_t first, SoundEncoder::Emit emit) {
            return makeAudio(first, std::move(emit));
        };
        soundSplicer_ = std::make_unique<SoundSplicer>(output_, settings_, make, take);
        soundSplicer_->describe(*audioStream_);
        soundLead_ = soundSplicer_->lead();
        return;
    }
    audio_ = makeAudio(0, take);
    soundLead_ = audio_->codec().initial_padding;
    audioStream_->time_base = audio_->codec().time_base;
    if (avcodec_parameters_from_context(audioStream_->codecpar, &audio_->codec()) < 0) throw std::bad_alloc();
}

// Where no thread can be started, sound is encoded as it comes.
void MovieSink::startSoundThread() {
    try {
        soundThread_.emplace(output_, kSoundQueueDepth, settings_.cancel, [this](const SoundPiece& piece) {
            const auto began = std::chrono::steady_clock::now();
            takeSamples(piece.samples.data(), piece.samples.size() / static_cast<size_t>(settings_.channels),
                        piece.own);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
            soundSeconds_ += took.count();
        });
    } catch (const std::system_error&) {
        soundThread_.reset();
    }
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
    if (kind_.faststart) option(av_dict_set(&options, "movflags", "+faststart", 0));
    const int written = avformat_write_header(muxer_, &options);
    av_dict_free(&options);
    if (written < 0) failed("its header cannot be written", written);
}

void MovieSink::send(const AVFrame* frame) {
    const int sent = avcodec_send_frame(video_.get(), frame);
    if (sent < 0) failed("a picture or sound cannot be encoded", sent);
    if (frame != nullptr) shown_.given(1);
    for (;;) {
        throwIfRaised(settings_.cancel, output_);
        const int got = avcodec_receive_packet(video_.get(), packet_.get());
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
        if (got < 0) failed("a picture or sound cannot be encoded", got);
        shown_.packet();
        if (packet_->duration == 0) packet_->duration = 1;
        if (piece_)
            piece_->packet(*packet_);
        else
            mux(*packet_, video_->time_base, *videoStream_);
    }
}

void MovieSink::muxSound(AVPacket& packet) {
    if (piece_) return piece_->packet(packet);
    mux(packet, {1, settings_.sampleRate}, *audioStream_);
}

/// Takes the packet over; its times are counted in `base`.
void MovieSink::mux(AVPacket& packet, AVRational base, const AVStream& stream) {
    // The WebM muxer states the lead-in of Opus, but leaves it to us to begin it at time 0.
    if (&stream == audioStream_ && kind_.muxer == std::string_view("webm")) {
        packet.pts += soundLead_;
        packet.dts += soundLead_;
    }
    av_packet_rescale_ts(&packet, base, stream.time_base);
    packet.stream_index = stream.index;
    // The muxer orders packets by their times, whichever thread is the first to hand one over.
    const std::lock_guard lock(muxing_);
    const bool single = &stream == audioStream_ && settings_.soundCodec == SoundCodec::pcm;
    if (kind_.faststart) index_.note(packet, single ? packet.duration : 1);
    const int written = av_interleaved_write_frame(muxer_, &packet);
    if (written < 0) failed("cannot be written", written);
    // The buffered writer remembers trouble of the disk that no return value told.
    if (muxer_->pb->error < 0) failed("cannot be written", muxer_->pb->error);
}

void MovieSink::copiedPicture() {
    if (!splicer_) throw MediaError(MediaErrorCode::badRequest, output_, "has no pictures to copy");
    splicer_->copied();
}

void MovieSink::picture(const PictureRef& picture) {
    if (splicer_) return splicer_->picture(picture);
    const FramePtr frame = encoderFrame(picture, settings_, *video_, colour_);
    if (piece_) piece_->print(printOf(*frame));
    frame->pts = pictures_++;
    send(frame.get());
}

void MovieSink::takeSamples(const float* interleaved, size_t frames, bool own) {
    if (soundSplicer_)
        soundSplicer_->samples(interleaved, frames, own);
    else if (audio_)
        audio_->samples(interleaved, frames);
}

void MovieSink::giveSamples(const float* interleaved, size_t frames, bool own) {
    const size_t floats = frames * static_cast<size_t>(settings_.channels);
    if (soundThread_)
        soundThread_->push({{interleaved, interleaved + floats}, own});
    else
        takeSamples(interleaved, frames, own);
}

void MovieSink::samples(const float* interleaved, size_t frames) {
    giveSamples(interleaved, frames, false);
}

void MovieSink::ownSamples(const float* interleaved, size_t frames) {
    giveSamples(interleaved, frames, true);
}

void MovieSink::finish() {
    if (splicer_)
        splicer_->finish();
    else if (video_)
        send(nullptr);
    if (soundThread_) soundThread_->finish();
    if (audio_) audio_->finish();
    if (soundSplicer_) soundSplicer_->finish();
    if (!shown_.whole(1, 0) || (audio_ && !audio_->whole()) || (soundSplicer_ && !soundSplicer_->whole()))
        throw MediaError(MediaErrorCode::encoding, output_,
                         "its encoder left out pictures or sound; memory may be short, run again");
    complete();
}

/// SVT-AV1 waits without an end when it is closed before it was given a picture.
void MovieSink::endUnused() noexcept {
    // One that did not open has no codec.
    if (!video_ || avcodec_is_open(video_.get()) == 0 || pictures_ > 0 ||
        std::string_view(video_->codec->name) != "libsvtav1")
        return;
    try {
        const FramePtr frame = encoderFrame(PictureRef::makeArgb(settings_.width, settings_.height),
                                            settings_, *video_, colour_);
        frame->pts = 0;
        if (avcodec_send_frame(video_.get(), frame.get()) < 0) return;
        avcodec_send_frame(video_.get(), nullptr);
        while (avcodec_receive_packet(video_.get(), packet_.get()) >= 0) continue;
    } catch (const std::exception&) {
        // Nothing more can be done for it.
    }
}

void MovieSink::complete() {
    if (piece_) {
        piece_->finish();
        file_.commit();
        return;
    }
    const int ended = av_write_trailer(muxer_);
    throwIfRaised(settings_.cancel, output_);
    if (ended < 0) failed("its index cannot be written", ended);
    // The library passes over want of memory here: while there is none, its index is not to be trusted.
    av_free(orBadAlloc(av_malloc(1)));
    const int flushed = bytes_->flush();
    if (flushed < 0) failed("cannot be written", flushed);
    // Copies first: when they turn out wrong, all can still be encoded.
    if (settings_.copies) checkCopies(output_, file_.descriptor(), settings_);
    // Nor does the library tell of a single allocation that failed in its index.
    if (kind_.faststart && !index_.holds(*bytes_, *muxer_))
        throw MediaError(MediaErrorCode::encoding, output_,
                         "its index does not lead to its pictures; memory may be short, run again");
    file_.commit();
}

void MovieSink::checkHeader(const PacketFileReader& piece, const std::string& file,
                            const AVCodecContext& codec) const {
    const std::vector<uint8_t>& header = piece.header();
    const auto size = static_cast<size_t>(std::max(0, codec.extradata_size));
    if (header.size() == size && (size == 0 || std::memcmp(header.data(), codec.extradata, size) == 0))
        return;
    throw MediaError(MediaErrorCode::badRequest, file,
                     "was encoded with other settings or by another version of the encoder; render it again");
}

MergedPrints MovieSink::merge(const std::vector<PlacedPiece>& pictures, const std::string& sound) {
    int64_t delay = 0;
    for (const PlacedPiece& piece : pictures) delay = std::max(delay, piece.delay);
    std::optional<PacketFileReader> video;
    std::optional<PacketFileReader> audio;
    size_t at = 0;
    MergedPrints prints;
    Sha256 seen;
    Sha256 heard;
    const auto nextVideo = [&]() -> PacketPtr {
        for (; at < pictures.size(); ++at, video.reset()) {
            const PlacedPiece& piece = pictures[at];
            if (!video) {
                video.emplace(piece.file);
                checkHeader(*video, piece.file, *video_);
            }
            if (PacketPtr packet = video->next()) {
                packet->pts += piece.first;
                packet->dts += piece.first - (delay - piece.delay);
                return packet;
            }
            for (const PicturePrint& print : video->prints()) seen.add(print.data(), print.size());
        }
        return nullptr;
    };
    const auto nextAudio = [&]() -> PacketPtr {
        if (!audio) return nullptr;
        PacketPtr packet = audio->next();
        if (packet) heard.add(packet->data, static_cast<size_t>(packet->size));
        return packet;
    };
    if (!sound.empty()) {
        audio.emplace(sound);
        checkHeader(*audio, sound, audio_->codec());
    }
    PacketPtr picture = nextVideo();
    PacketPtr samples = nextAudio();
    while (picture || samples) {
        throwIfRaised(settings_.cancel, output_);
        const bool first =
            picture && (!samples || av_compare_ts(picture->dts, video_->time_base, samples->dts,
                                                  audio_->codec().time_base) <= 0);
        if (first) {
            mux(*picture, video_->time_base, *videoStream_);
            picture = nextVideo();
        } else {
            mux(*samples, audio_->codec().time_base, *audioStream_);
            samples = nextAudio();
        }
    }
    complete();
    prints.pictures = seen.text();
    if (audio) prints.sound = heard.text();
    return prints;
}

}  // namespace

MergedPrints mergeMovie(const std::string& output, const WriterSettings& settings,
                        const std::vector<PlacedPiece>& pictures, const std::string& sound) {
    return MovieSink(output, settings).merge(pictures, sound);
}

std::unique_ptr<Sink> makeMovie(const std::string& output, const WriterSettings& settings) {
    return std::make_unique<MovieSink>(output, settings);
}

}  // namespace tumblewash::media
