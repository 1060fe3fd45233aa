#include "edit/soundcopying.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "host/AudioMix.h"
#include "media/SoundCopy.h"

namespace tumblewash::edit {

using media::SoundCodec;

namespace {

/// A way of coding sound that loses nothing.
struct Lossless {
    SoundCodec codec = SoundCodec::usual;
    int bits = 0;
};

std::optional<Lossless> losslessOf(const media::MediaInfo& clip, media::CancelFlag cancel) {
    const std::string_view name = clip.audioCodec;
    if (name == "flac") {
        const int bits = media::soundBitsOf(clip.path, clip.identity, cancel);
        if (bits >= 1 && bits <= 24) return Lossless{SoundCodec::flac, bits <= 16 ? 16 : 24};
    }
    if (name == "pcm_s16le" || name == "pcm_s16be") return Lossless{SoundCodec::pcm, 16};
    if (name == "pcm_s24le" || name == "pcm_s24be") return Lossless{SoundCodec::pcm, 24};
    return std::nullopt;
}

bool holds(const std::string& output, SoundCodec codec) {
    return output.ends_with(".mkv") || (codec == SoundCodec::pcm && output.ends_with(".mov"));
}

/// The coding that keeps every clip's sound as it is; nothing where one of them has another, or is resampled or
/// mixed into other channels.
std::optional<Lossless> losslessOf(const MovieRequest& request, const std::string& output) {
    std::optional<Lossless> out;
    for (const Clip& clip : request.clips) {
        const media::MediaInfo& info = clip.info();
        if (clip.isBlack() || !info.hasAudio) continue;
        const std::optional<Lossless> own = losslessOf(info, request.writer.cancel);
        if (!own || info.sampleRate != request.writer.sampleRate || info.channels != request.writer.channels ||
            !holds(output, own->codec) || (out && out->codec != own->codec))
            return std::nullopt;
        if (!out || own->bits > out->bits) out = own;
    }
    return out;
}

}  // namespace

std::int64_t unchangedFrames(const MovieRequest& request) {
    if (!request.clipSound || !request.musicFile.empty()) return 0;
    const std::vector<Segment>& segments = request.plan.segments;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const Segment& segment = segments[i];
        const std::int64_t end = segment.first + segment.count;
        if (end <= request.first) continue;
        const Clip& clip = request.clips[static_cast<std::size_t>(segment.clipA)];
        if (segment.transition != Segment::kNone || clip.isBlack() || !clip.info().hasAudio || clip.gain() != 1)
            return 0;
        const auto isCut = [&](std::size_t k) {
            return k < segments.size() && segments[k].transition == Segment::kNone;
        };
        // Sound fades in behind a cut.
        if (i > 0 && segment.first == request.first && isCut(i - 1)) return 0;
        if (request.end <= end) return request.end - request.first;
        return std::max<std::int64_t>(0, end - request.first - (isCut(i + 1) ? 1 : 0));
    }
    return 0;
}

void settleSoundCopies(MovieRequest& request, const RenderSettings& settings) {
    media::WriterSettings& writer = request.writer;
    if (!writer.copies || !writer.sound) return;
    if (const std::optional<Lossless> lossless = losslessOf(request, settings.output)) {
        writer.soundCodec = lossless->codec;
        writer.soundBits = lossless->bits;
        return;
    }
    if (unchangedFrames(request) == 0) return;
    const auto samples = [&](std::int64_t frames) {
        return host::samplesBefore(frames, writer.sampleRate, static_cast<int>(request.rate.num),
                                   static_cast<int>(request.rate.den));
    };
    for (const Segment& segment : request.plan.segments) {
        if (segment.first + segment.count <= request.first) continue;
        const auto at = static_cast<std::size_t>(segment.clipA);
        const Clip& clip = request.clips[at];
        const std::int64_t from =
            samples(clip.in()) + samples(request.first) - samples(request.plan.clipOrigins[at]);
        writer.soundCopy =
            media::SoundCopy::of(clip.path(), clip.info().identity, settings.output, writer, from);
        return;
    }
}

}  // namespace tumblewash::edit
