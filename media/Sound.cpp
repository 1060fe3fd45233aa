#include "media/detail/Sound.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "media/detail/Input.h"

namespace tumblewash::media {

namespace {

// Sound beyond these is damaged or hostile: the resampler's tables grow with the rate, to gigabytes.
constexpr int kMostSampleRate = 3'000'000;
constexpr int kMostChannels = 64;

class Silence final : public SoundSource {
  public:
    void read(float* interleaved, size_t frames) override {
        std::fill_n(interleaved, frames * kChannels, 0.0F);
    }
    void seek(int64_t) override {}
};

class PatternSound final : public SoundSource {
  public:
    PatternSound(const ProbeDetail& facts, int sampleRate) : facts_(facts), rate_(sampleRate) {
        end_ = av_rescale_q(*facts.info.frameCount, facts.timeBase, AVRational{1, sampleRate});
    }
    void read(float* interleaved, size_t frames) override {
        const auto left = static_cast<size_t>(std::max<int64_t>(0, end_ - next_));
        const size_t played = std::min(frames, left);
        playPattern(*facts_.pattern, rate_, next_, interleaved, played);
        std::fill_n(interleaved + played * kChannels, (frames - played) * kChannels, 0.0F);
        next_ += static_cast<int64_t>(frames);
    }
    void seek(int64_t first) override { next_ = first; }

  private:
    const ProbeDetail facts_;
    int rate_;
    int64_t next_ = 0;
    int64_t end_ = 0;
};

/// Decoder, then a graph that resamples and keeps to the time stamps: gaps become silence, overlaps are cut.
class FileSound final : public SoundSource {
  public:
    FileSound(const ProbeDetail& facts, int sampleRate, CancelFlag cancel)
        : facts_(facts), rate_(sampleRate), cancel_(cancel) {
        open();
    }

    void read(float* interleaved, size_t frames) override {
        size_t done = 0;
        while (done < frames && !finished_) {
            if (used_ == available()) {
                refill();
                continue;
            }
            const size_t take = std::min(frames - done, available() - used_);
            std::memcpy(interleaved + done * kChannels,
                        reinterpret_cast<const float*>(chunk_->data[0]) + used_ * kChannels,
                        take * kChannels * sizeof(float));
            used_ += take;
            done += take;
        }
        std::fill_n(interleaved + done * kChannels, (frames - done) * kChannels, 0.0F);
        next_ += static_cast<int64_t>(frames);
    }

    void seek(int64_t first) override {
        if (first < next_) {
            damagedBefore_ += decoder_ ? decoder_->damaged() : 0;
            open();
        }
        std::vector<float> dropped(4096 * kChannels);
        while (next_ < first && !finished_)
            read(dropped.data(), static_cast<size_t>(std::min<int64_t>(4096, first - next_)));
        next_ = first;
    }

    int64_t damaged() const override { return damagedBefore_ + (decoder_ ? decoder_->damaged() : 0); }
    std::string failure() const override { return failure_; }

  private:
    void open();
    void buildGraph(const AVFrame& frame);
    void refill();
    void push(FramePtr frame);
    size_t available() const { return chunk_ ? static_cast<size_t>(chunk_->nb_samples) : 0; }

    const ProbeDetail facts_;
    int rate_;
    CancelFlag cancel_;
    std::unique_ptr<InputFile> file_;
    std::unique_ptr<StreamDecoder> decoder_;
    GraphPtr graph_;
    AVFilterContext* in_ = nullptr;
    AVFilterContext* out_ = nullptr;
    FramePtr chunk_;
    size_t used_ = 0;
    int64_t next_ = 0;
    int64_t damagedBefore_ = 0;
    // What the graph was built for.
    int inFormat_ = -1, inRate_ = 0, inChannels_ = 0;
    int64_t lastEnd_ = AV_NOPTS_VALUE;
    bool drained_ = false;
    bool finished_ = false;
    std::string failure_;
};

void FileSound::open() {
    decoder_.reset();
    graph_.reset();
    chunk_.reset();
    used_ = 0;
    next_ = 0;
    lastEnd_ = AV_NOPTS_VALUE;
    drained_ = finished_ = false;
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
    const AVRational base = decoder_->stream().time_base;
    const bool first = !graph_;
    graph_.reset(orBadAlloc(avfilter_graph_alloc()));
    graph_->nb_threads = 1;
    char arguments[320];
    std::snprintf(arguments, sizeof arguments,
                  "time_base=%d/%d:sample_rate=%d:sample_fmt=%s:channel_layout=%s", base.num, base.den,
                  frame.sample_rate, av_get_sample_fmt_name(static_cast<AVSampleFormat>(frame.format)), name);
    check(avfilter_graph_create_filter(&in_, avfilter_get_by_name("abuffer"), "in", arguments, nullptr,
                                       graph_.get()));
    check(avfilter_graph_create_filter(&out_, avfilter_get_by_name("abuffersink"), "out", nullptr, nullptr,
                                       graph_.get()));
    // Mono goes to both ears at full level; the mixer alone would take 3 dB off.
    const std::string toStereo = channels == 1 ? "pan=stereo|c0=c0|c1=c0," : "";
    char resample[160];
    std::snprintf(resample, sizeof resample,
                  "aresample=%d:async=1:min_hard_comp=0.015%s,aformat=sample_fmts=flt:channel_layouts=stereo",
                  rate_, first ? ":first_pts=0" : "");
    check(connectGraph(*graph_, *in_, *out_, toStereo + resample));
    inFormat_ = frame.format;
    inRate_ = frame.sample_rate;
    inChannels_ = frame.ch_layout.nb_channels;
}

void FileSound::push(FramePtr frame) {
    // The pictures' first moment is time 0 of the sound as well.
    const AVRational base = decoder_->stream().time_base;
    const int64_t start = av_rescale_q(facts_.firstPts, facts_.timeBase, base);
    int64_t pts = frame->pts == AV_NOPTS_VALUE ? lastEnd_ : frame->pts - start;
    const auto minute = static_cast<int64_t>(60 / av_q2d(base));
    if (pts == AV_NOPTS_VALUE) pts = 0;
    // A clock that jumps by a minute is broken; the sound goes on where it was.
    if (lastEnd_ != AV_NOPTS_VALUE && (pts > lastEnd_ + minute || pts < lastEnd_ - minute)) pts = lastEnd_;
    frame->pts = pts;
    lastEnd_ = pts + av_rescale_q(frame->nb_samples, AVRational{1, frame->sample_rate}, base);
    const int added = av_buffersrc_add_frame(in_, frame.get());
    if (added == AVERROR(ENOMEM)) throw std::bad_alloc();
}

void FileSound::refill() {
    for (;;) {
        throwIfRaised(cancel_, facts_.info.path);
        if (graph_) {
            if (!chunk_) chunk_ = newFrame();
            av_frame_unref(chunk_.get());
            used_ = 0;
            const int got = av_buffersink_get_frame(out_, chunk_.get());
            if (got >= 0 && chunk_->nb_samples > 0) return;
            if (got == AVERROR_EOF || (drained_ && got < 0)) {
                finished_ = true;
                return;
            }
        } else if (drained_) {
            finished_ = true;
            return;
        }
        FramePtr frame = decoder_->next();
        if (!frame) {
            drained_ = true;
            if (graph_ && av_buffersrc_add_frame(in_, nullptr) < 0) finished_ = true;
            continue;
        }
        if (frame->sample_rate <= 0 || frame->nb_samples <= 0) continue;
        if (frame->sample_rate > kMostSampleRate || frame->ch_layout.nb_channels > kMostChannels) {
            failure_ = "its sound claims a rate or channels beyond reason";
            finished_ = true;
            return;
        }
        if (!graph_ || frame->format != inFormat_ || frame->sample_rate != inRate_ ||
            frame->ch_layout.nb_channels != inChannels_)
            buildGraph(*frame);
        push(std::move(frame));
    }
}

}  // namespace

std::unique_ptr<SoundSource> openSound(const ProbeDetail& facts, int sampleRate, CancelFlag cancel) {
    if (facts.pattern) {
        if (!facts.pattern->sound) return std::make_unique<Silence>();
        return std::make_unique<PatternSound>(facts, sampleRate);
    }
    if (facts.audioStream < 0) return std::make_unique<Silence>();
    return std::make_unique<FileSound>(facts, sampleRate, cancel);
}

}  // namespace tumblewash::media
