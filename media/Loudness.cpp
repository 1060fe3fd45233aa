#include "media/Loudness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "media/detail/Av.h"
#include "media/detail/Sound.h"

namespace tumblewash::media {

struct LoudnessMeter::Impl {
    int channels = 2;
    int rate = 48000;
    GraphPtr graph;
    AVFilterContext* in = nullptr;
    AVFilterContext* out = nullptr;
    FramePtr told = newFrame();
    Loudness result;

    static void check(int code) {
        throwIfNotStarted(code);
        if (code == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (code < 0)
            throw MediaError(MediaErrorCode::encoding, "--loudness",
                             "FFmpeg's filter ebur128 cannot measure (" + avMessage(code) + ")");
    }

    /// Reads what the filter says; the last word counts.
    void listen() {
        while (av_buffersink_get_frame(out, told.get()) >= 0) {
            const auto value = [&](const char* key, double otherwise) {
                const AVDictionaryEntry* entry = av_dict_get(told->metadata, key, nullptr, 0);
                return entry != nullptr ? std::strtod(entry->value, nullptr) : otherwise;
            };
            result.integrated = value("lavfi.r128.I", result.integrated);
            // Linear, and cut after three decimals.
            const double peak = value("lavfi.r128.true_peak", -1);
            if (peak >= 0) result.truePeak = peak + 0.0005;
            av_frame_unref(told.get());
        }
    }
};

LoudnessMeter::LoudnessMeter(int channels, int sampleRate) : impl_(std::make_unique<Impl>()) {
    impl_->channels = channels;
    impl_->rate = sampleRate;
    impl_->graph.reset(orBadAlloc(avfilter_graph_alloc()));
    impl_->graph->nb_threads = 1;
    char arguments[160];
    std::snprintf(arguments, sizeof arguments,
                  "time_base=1/%d:sample_rate=%d:sample_fmt=flt:channel_layout=%s", sampleRate, sampleRate,
                  soundLayoutName(channels));
    Impl::check(avfilter_graph_create_filter(&impl_->in, avfilter_get_by_name("abuffer"), "in", arguments,
                                             nullptr, impl_->graph.get()));
    Impl::check(avfilter_graph_create_filter(&impl_->out, avfilter_get_by_name("abuffersink"), "out", nullptr,
                                             nullptr, impl_->graph.get()));
    // Values come for every 100 ms that are whole; the padding completes the last.
    Impl::check(connectGraph(*impl_->graph, *impl_->in, *impl_->out,
                             "apad=pad_dur=0.1,ebur128=peak=true:metadata=1:framelog=verbose"));
}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::add(std::span<const float> interleaved) {
    const auto width = static_cast<size_t>(impl_->channels);
    const size_t frames = interleaved.size() / width;
    if (frames == 0) return;
    const FramePtr frame = newFrame();
    frame->nb_samples = static_cast<int>(frames);
    frame->format = AV_SAMPLE_FMT_FLT;
    frame->sample_rate = impl_->rate;
    av_channel_layout_default(&frame->ch_layout, impl_->channels);
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    std::memcpy(frame->data[0], interleaved.data(), frames * width * sizeof(float));
    Impl::check(av_buffersrc_write_frame(impl_->in, frame.get()));
    impl_->listen();
}

Loudness LoudnessMeter::finish() {
    Impl::check(av_buffersrc_write_frame(impl_->in, nullptr));
    impl_->listen();
    return impl_->result;
}

}  // namespace tumblewash::media
