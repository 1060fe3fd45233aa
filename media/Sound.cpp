#include "media/detail/Sound.h"

extern "C" {
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>

#include "media/detail/Input.h"
#include "media/detail/SoundClock.h"
#include "media/detail/SoundSlide.h"

namespace tumblewash::media {

namespace {

// Sound beyond these is damaged or hostile: the resampler's tables grow with the rate, to gigabytes.
constexpr int kMostSampleRate = 3'000'000;
constexpr int kMostChannels = 64;
// Of the future, at most so much is kept.
constexpr size_t kMostPieces = 256;
constexpr size_t kMostValues = 2'000'000;

class Silence final : public SoundSource {
  public:
    explicit Silence(int channels) : width_(static_cast<size_t>(channels)) {}
    void read(float* interleaved, size_t frames) override { std::fill_n(interleaved, frames * width_, 0.0F); }
    void seek(int64_t) override {}

  private:
    size_t width_;
};

class PatternSound final : public SoundSource {
  public:
    PatternSound(const ProbeDetail& facts, int sampleRate, int channels)
        : facts_(facts), rate_(sampleRate), width_(static_cast<size_t>(channels)) {
        end_ = av_rescale_q(*facts.info.frameCount, facts.timeBase, AVRational{1, sampleRate});
    }
    void read(float* interleaved, size_t frames) override {
        const auto left = static_cast<size_t>(std::max<int64_t>(0, end_ - next_));
        const size_t played = std::min(frames, left);
        stereo_.resize(played * kStereo);
        playPattern(*facts_.pattern, rate_, next_, stereo_.data(), played);
        std::fill_n(interleaved, frames * width_, 0.0F);
        for (size_t i = 0; i < played; ++i) {
            const float* pair = stereo_.data() + kStereo * i;
            if (width_ == 1)
                interleaved[i] = 0.5F * (pair[0] + pair[1]);
            else
                std::copy_n(pair, kStereo, interleaved + width_ * i);
        }
        next_ += static_cast<int64_t>(frames);
    }
    void seek(int64_t first) override { next_ = first; }

  private:
    static constexpr size_t kStereo = 2;
    const ProbeDetail facts_;
    int rate_;
    size_t width_;
    int64_t next_ = 0;
    int64_t end_ = 0;
    std::vector<float> stereo_;
};

/// How this FFmpeg resamples: images and aliases below -90 dB either way.
const char* resamplerOptions(int from, int to) {
    static const bool kSoxr = std::strstr(swresample_configuration(), "enable-libsoxr") != nullptr;
    if (from == to) return "";
    // Filters grow with the ratio: where it is absurd, the usual ones will do.
    if (from > 16 * to || to > 16 * from) return "";
    return kSoxr ? ":resampler=soxr:precision=24" : ":filter_size=128:phase_shift=10:cutoff=0.96";
}

/// Decoder, then the places that SoundClock gives each piece, then a graph that resamples and mixes channels.
class FileSound final : public SoundSource {
  public:
    FileSound(const ProbeDetail& facts, const SoundShape& shape, CancelFlag cancel)
        : facts_(facts),
          rate_(shape.sampleRate),
          width_(static_cast<size_t>(shape.channels)),
          cancel_(cancel),
          slide_(shape.channels) {
        open();
    }

    void read(float* interleaved, size_t frames) override {
        const size_t done = readSome(interleaved, frames);
        std::fill_n(interleaved + done * width_, (frames - done) * width_, 0.0F);
        next_ += static_cast<int64_t>(frames - done);
    }

    size_t readSome(float* interleaved, size_t frames) override {
        size_t done = 0;
        while (done < frames && (used_ < ready_.size() || !finished_)) {
            if (used_ == ready_.size()) {
                ready_.clear();
                used_ = 0;
                refill();
                continue;
            }
            const size_t take = std::min((frames - done) * width_, ready_.size() - used_);
            std::copy_n(ready_.data() + used_, take, interleaved + done * width_);
            used_ += take;
            done += take / width_;
        }
        next_ += static_cast<int64_t>(done);
        return done;
    }

    void seek(int64_t first) override {
        if (first < next_) {
            damagedBefore_ += decoder_ ? decoder_->damaged() : 0;
            open();
        }
        std::vector<float> dropped(4096 * width_);
        while (next_ < first && (used_ < ready_.size() || !finished_))
            read(dropped.data(), static_cast<size_t>(std::min<int64_t>(4096, first - next_)));
        next_ = first;
    }

    int64_t damaged() const override { return damagedBefore_ + (decoder_ ? decoder_->damaged() : 0); }
    std::string failure() const override { return failure_; }

  private:
    void open();
    void buildGraph(const AVFrame& frame);
    void refill();
    bool collect();
    void lookAhead();
    void placeNext();
    void give(const AVFrame* frame);
    FramePtr silenceLike(const AVFrame& frame, int samples) const;
    static size_t valuesOf(const AVFrame& frame) {
        return static_cast<size_t>(frame.nb_samples) * static_cast<size_t>(frame.ch_layout.nb_channels);
    }
    bool fitsGraph(const AVFrame& frame) const {
        return frame.format == inFormat_ && frame.sample_rate == inRate_ &&
               frame.ch_layout.nb_channels == inChannels_;
    }

    const ProbeDetail facts_;
    int rate_;
    size_t width_;
    CancelFlag cancel_;
    std::unique_ptr<InputFile> file_;
    std::unique_ptr<StreamDecoder> decoder_;
    GraphPtr graph_;
    AVFilterContext* in_ = nullptr;
    AVFilterContext* out_ = nullptr;
    FramePtr chunk_;
    // Decoded and not placed yet: some of the future is needed to believe a time.
    std::deque<FramePtr> ahead_;
    std::vector<SoundPiece> pieces_;
    double aheadSeconds_ = 0;
    size_t aheadValues_ = 0;
    SoundClock clock_;
    SoundSlide slide_;
    std::vector<float> ready_;
    size_t used_ = 0;  // of `ready_`
    int64_t next_ = 0;
    int64_t silence_ = 0;  // sample frames at the track's own rate that go before the first of `ahead_`
    int64_t damagedBefore_ = 0;
    // What the graph was built for.
    int inFormat_ = -1, inRate_ = 0, inChannels_ = 0;
    bool decoded_ = false;  // no more frames will come
    bool placed_ = false;   // the first of `ahead_` has its place
    bool closing_ = false;  // the graph has been told of its end
    bool finished_ = false;
    std::string failure_;
};

void FileSound::open() {
    decoder_.reset();
    graph_.reset();
    ahead_.clear();
    pieces_.clear();
    aheadSeconds_ = 0;
    aheadValues_ = 0;
    clock_ = SoundClock();
    slide_ = SoundSlide(static_cast<int>(width_));
    ready_.clear();
    used_ = 0;
    next_ = silence_ = 0;
    decoded_ = placed_ = closing_ = finished_ = false;
    try {
        file_ = std::make_unique<InputFile>(facts_.bytes, cancel_);
        file_->useOnly(facts_.audioStream);
        decoder_ = std::make_unique<StreamDecoder>(*file_, facts_.audioStream, AVMEDIA_TYPE_AUDIO, 1);
    } catch (const MediaError& error) {
        if (error.code() != MediaErrorCode::undecodable) throw;
        failure_ = error.what();
        finished_ = true;
    }
}

void FileSound::buildGraph(const AVFrame& frame) {
    const auto check = [&](int result) {
        throwIfNotStarted(result);
        if (result < 0)
            throw MediaError(MediaErrorCode::encoding, facts_.info.path,
                             "its sound cannot be converted (" + avMessage(result) + ")");
    };
    AVChannelLayout layout{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&layout, frame.ch_layout.nb_channels);
    else
        check(av_channel_layout_copy(&layout, &frame.ch_layout));
    char name[128] = {};
    av_channel_layout_describe(&layout, name, sizeof name);
    const int channels = layout.nb_channels;
    av_channel_layout_uninit(&layout);
    graph_.reset(orBadAlloc(avfilter_graph_alloc()));
    graph_->nb_threads = 1;
    char arguments[320];
    std::snprintf(arguments, sizeof arguments,
                  "time_base=1/%d:sample_rate=%d:sample_fmt=%s:channel_layout=%s", frame.sample_rate,
                  frame.sample_rate, av_get_sample_fmt_name(static_cast<AVSampleFormat>(frame.format)), name);
    check(avfilter_graph_create_filter(&in_, avfilter_get_by_name("abuffer"), "in", arguments, nullptr,
                                       graph_.get()));
    check(avfilter_graph_create_filter(&out_, avfilter_get_by_name("abuffersink"), "out", nullptr, nullptr,
                                       graph_.get()));
    // Mono goes to both ears at full level; the mixer alone would take 3 dB off.
    const std::string toStereo = channels == 1 && width_ == 2 ? "pan=stereo|c0=c0|c1=c0," : "";
    char resample[200];
    std::snprintf(resample, sizeof resample, "aresample=%d%s,aformat=sample_fmts=flt:channel_layouts=%s",
                  rate_, resamplerOptions(frame.sample_rate, rate_),
                  soundLayoutName(static_cast<int>(width_)));
    check(connectGraph(*graph_, *in_, *out_, toStereo + resample));
    inFormat_ = frame.format;
    inRate_ = frame.sample_rate;
    inChannels_ = frame.ch_layout.nb_channels;
}

/// Decodes until a second of the future is known.
void FileSound::lookAhead() {
    // Pieces of a few samples, or of very many channels, are told from fewer seconds.
    const auto enough = [&] {
        return aheadSeconds_ >= SoundClock::kWindow || ahead_.size() >= kMostPieces ||
               aheadValues_ >= kMostValues;
    };
    while (!decoded_ && !enough()) {
        throwIfRaised(cancel_, facts_.info.path);
        FramePtr frame = decoder_->next();
        if (!frame) {
            decoded_ = true;
            return;
        }
        if (frame->sample_rate <= 0 || frame->nb_samples <= 0) continue;
        if (frame->sample_rate > kMostSampleRate || frame->ch_layout.nb_channels > kMostChannels) {
            failure_ = "its sound has an impossible rate or number of channels";
            decoded_ = true;
            return;
        }
        SoundPiece piece;
        piece.length = static_cast<double>(frame->nb_samples) / frame->sample_rate;
        // The pictures' first moment is time 0 of the sound as well.
        const AVRational base = decoder_->stream().time_base;
        if (frame->pts != AV_NOPTS_VALUE)
            piece.time =
                static_cast<double>(frame->pts - av_rescale_q(facts_.firstPts, facts_.timeBase, base)) *
                av_q2d(base);
        aheadSeconds_ += piece.length;
        aheadValues_ += valuesOf(*frame);
        pieces_.push_back(piece);
        ahead_.push_back(std::move(frame));
    }
}

FramePtr FileSound::silenceLike(const AVFrame& frame, int samples) const {
    FramePtr out = newFrame();
    out->nb_samples = samples;
    out->format = frame.format;
    out->sample_rate = frame.sample_rate;
    if (av_channel_layout_copy(&out->ch_layout, &frame.ch_layout) < 0) throw std::bad_alloc();
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    av_samples_set_silence(out->extended_data, 0, samples, frame.ch_layout.nb_channels,
                           static_cast<AVSampleFormat>(frame.format));
    return out;
}

void FileSound::give(const AVFrame* frame) {
    const int added = av_buffersrc_write_frame(in_, frame);
    if (added == AVERROR(ENOMEM)) throw std::bad_alloc();
}

/// Gives the graph the next piece, or some of the silence before it.
void FileSound::placeNext() {
    constexpr int64_t kMostSilence = 8192;
    if (!placed_) {
        const AVFrame& frame = *ahead_.front();
        const auto samplesOf = [rate = frame.sample_rate](double seconds) {
            return std::llround(seconds * rate);
        };
        const int samples = frame.nb_samples;
        const SoundPlacing placing = clock_.place(pieces_);
        silence_ = samplesOf(placing.silence);
        slide_.owe(placing.owed * rate_);
        const auto drop = static_cast<int>(std::min<int64_t>(samplesOf(placing.dropped), samples));
        if (drop > 0 && drop < samples) {
            FramePtr rest = silenceLike(frame, samples - drop);
            av_samples_copy(rest->extended_data, frame.extended_data, 0, drop, rest->nb_samples,
                            frame.ch_layout.nb_channels, static_cast<AVSampleFormat>(frame.format));
            ahead_.front() = std::move(rest);
        }
        placed_ = drop < samples;
    }
    if (silence_ > 0 && placed_) {
        const int some = static_cast<int>(std::min(silence_, kMostSilence));
        give(silenceLike(*ahead_.front(), some).get());
        silence_ -= some;
        return;
    }
    if (placed_) {
        // Times are settled; the graph only counts.
        ahead_.front()->pts = AV_NOPTS_VALUE;
        give(ahead_.front().get());
    }
    placed_ = false;
    aheadSeconds_ -= pieces_.front().length;
    aheadValues_ -= std::min(aheadValues_, valuesOf(*ahead_.front()));
    pieces_.erase(pieces_.begin());
    ahead_.pop_front();
}

/// Takes what the graph has ready. False when it wants more, or is closed, which is then told by its absence.
bool FileSound::collect() {
    if (!graph_) return false;
    if (!chunk_) chunk_ = newFrame();
    av_frame_unref(chunk_.get());
    const int got = av_buffersink_get_frame(out_, chunk_.get());
    if (got == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (got < 0) {
        if (closing_) {
            graph_.reset();
            closing_ = false;
        }
        return false;
    }
    slide_.pass(reinterpret_cast<const float*>(chunk_->data[0]), static_cast<size_t>(chunk_->nb_samples),
                ready_);
    return true;
}

void FileSound::refill() {
    while (ready_.empty()) {
        throwIfRaised(cancel_, facts_.info.path);
        if (collect()) continue;
        lookAhead();
        const bool ends = ahead_.empty();
        if (graph_ && (ends || !fitsGraph(*ahead_.front()))) {
            // What the graph still holds comes out before the end, or before sound of another kind.
            closing_ = true;
            give(nullptr);
            continue;
        }
        if (ends) {
            slide_.flush(ready_);
            finished_ = true;
            return;
        }
        if (!graph_) buildGraph(*ahead_.front());
        placeNext();
    }
}

}  // namespace

const char* soundLayoutName(int channels) noexcept {
    return channels == 1 ? "mono" : channels == 6 ? "5.1" : "stereo";
}

std::unique_ptr<SoundSource> openSound(const ProbeDetail& facts, const SoundShape& shape, CancelFlag cancel) {
    if (shape.channels == 0) return std::make_unique<Silence>(0);
    if (facts.pattern && facts.pattern->sound)
        return std::make_unique<PatternSound>(facts, shape.sampleRate, shape.channels);
    if (facts.pattern || facts.audioStream < 0) return std::make_unique<Silence>(shape.channels);
    return std::make_unique<FileSound>(facts, shape, cancel);
}

}  // namespace tumblewash::media
