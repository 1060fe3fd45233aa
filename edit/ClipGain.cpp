#include "edit/ClipGain.h"

#include <fmt/format.h>

#include <algorithm>

#include "edit/ClipShelf.h"
#include "edit/Decibels.h"
#include "edit/Errors.h"
#include "edit/Limiter.h"
#include "edit/Parallel.h"
#include "media/Loudness.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

// The same as the limiter's: a gain alone must not make it work.
constexpr double kPeakDb = Limiter::kCeilingDb;
constexpr double kMostDb = 24;
constexpr double kSilent = -70;
constexpr int kMeters = 2;

media::Loudness measure(Clip& clip, const MovieRequest& request, const RenderSettings& settings) {
    const media::WriterSettings& writer = request.writer;
    const HeardStretch stretch{clip.in(), clip.frames(), request.rate, writer.sampleRate, writer.channels};
    if (settings.shelf)
        if (const std::optional<media::Loudness> known = settings.shelf->loudness(clip, stretch))
            return *known;
    media::LoudnessMeter meter(writer.channels, writer.sampleRate);
    const std::int64_t total = request.samplesBefore(clip.frames());
    std::vector<float> block;
    for (std::int64_t at = 0; at < total;) {
        if (settings.cancel && settings.cancel->load()) throw Refusal(Problem::Interrupted, "interrupted");
        const std::int64_t some = std::min<std::int64_t>(total - at, 4800);
        block.resize(static_cast<std::size_t>(some) * static_cast<std::size_t>(writer.channels));
        clip.nextSamples(block);
        meter.add(block);
        at += some;
    }
    clip.close();
    const media::Loudness heard = meter.finish();
    if (settings.shelf) settings.shelf->keepLoudness(clip, stretch, heard);
    return heard;
}

/// The gain that a measured clip gets, and what is said of it.
double gainFor(const media::Loudness& heard, double target, const std::string& name, std::string& line) {
    if (heard.integrated <= kSilent) {
        line = fmt::format("{}: silent, or less than 0.4 s of sound; its level stays", name);
        return 0;
    }
    const double wanted = target - heard.integrated;
    const double room = kPeakDb - decibelsOf(heard.truePeak);
    const double gain = std::min({wanted, room, kMostDb});
    line = fmt::format("{}: {:.1f} LUFS, {:+.1f} dB", name, heard.integrated, gain);
    if (gain < wanted)
        line += fmt::format(" where {} LUFS asks for {:+.1f}: {}", target, wanted,
                            room <= kMostDb ? "its peaks reach -1 dBTP" : "24 dB is the most");
    return gain;
}

}  // namespace

void settleGains(const Edit& edit, MovieRequest& request, const RenderSettings& settings) {
    std::vector<std::string> lines(request.clips.size());
    const auto settle = [&](int i) {
        const auto at = static_cast<std::size_t>(i);
        Clip& clip = request.clips[at];
        if (!clip.info().hasAudio) return;
        double gain = 0;
        if (edit.loudness)
            gain = gainFor(measure(clip, request, settings), edit.loudness->value,
                           media::quotedName(clip.path()), lines[at]);
        if (edit.clips[at].gain) gain += edit.clips[at].gain->value;
        clip.setGain(gain == 0 ? 1 : linearOf(gain));
    };
    if (edit.loudness) {
        inParallel(static_cast<int>(request.clips.size()), kMeters, settings.cancel, settle);
    } else {
        for (std::size_t i = 0; i < request.clips.size(); ++i) settle(static_cast<int>(i));
    }
    for (std::string& line : lines)
        if (!line.empty()) request.levels.push_back(std::move(line));
}

}  // namespace tumblewash::edit
