#include "edit/SoundCopying.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "media/Codecs.h"
#include "media/SoundCopy.h"

namespace tumblewash::edit {

using media::SoundCodec;

namespace {

/// A way of coding sound that loses nothing.
struct Lossless {
    SoundCodec codec = SoundCodec::usual;
    int bits = 0;
};

std::optional<Lossless> losslessOf(const media::MediaInfo& clip) {
    const std::string_view name = clip.audioCodec;
    if (name == "flac" && clip.audioBits >= 1 && clip.audioBits <= 24)
        return Lossless{SoundCodec::flac, clip.audioBits <= 16 ? 16 : 24};
    if (name == "pcm_s16le" || name == "pcm_s16be") return Lossless{SoundCodec::pcm, 16};
    if (name == "pcm_s24le" || name == "pcm_s24be") return Lossless{SoundCodec::pcm, 24};
    return std::nullopt;
}

bool holds(const std::string& output, SoundCodec codec) {
    const media::MovieKind* const kind = media::movieKindOf(output);
    return kind != nullptr && (codec == SoundCodec::flac ? kind->flac : kind->pcm);
}

/// The coding that keeps every clip's sound as it is; nothing where one of them has another, or is resampled
/// or mixed into other channels.
std::optional<Lossless> losslessOf(const MovieRequest& request, const std::string& output) {
    std::optional<Lossless> out;
    for (const Clip& clip : request.clips) {
        const media::MediaInfo& info = clip.info();
        if (clip.isBlack() || !info.hasAudio) continue;
        const std::optional<Lossless> own = losslessOf(info);
        if (!own || info.sampleRate != request.writer.sampleRate ||
            info.channels != request.writer.channels || !holds(output, own->codec) ||
            (out && out->codec != own->codec))
            return std::nullopt;
        if (!out || own->bits > out->bits) out = own;
    }
    return out;
}

/// The number of the first segment of which something is rendered.
std::size_t firstSegment(const MovieRequest& request) {
    const std::vector<Segment>& segments = request.plan.segments;
    const auto found = std::find_if(segments.begin(), segments.end(), [&](const Segment& segment) {
        return segment.first + segment.count > request.first;
    });
    return static_cast<std::size_t>(found - segments.begin());
}

}  // namespace

std::int64_t unchangedFrames(const MovieRequest& request) {
    const std::vector<Segment>& segments = request.plan.segments;
    const std::size_t at = firstSegment(request);
    if (!request.clipSound || !request.musicFile.empty() || at == segments.size()) return 0;
    const Segment& segment = segments[at];
    const Clip& clip = request.clips[static_cast<std::size_t>(segment.clipA)];
    if (segment.transition != Segment::kNone || clip.isBlack() || !clip.info().hasAudio || clip.gain() != 1)
        return 0;
    const auto isCut = [&](std::size_t k) {
        return k < segments.size() && segments[k].transition == Segment::kNone;
    };
    // Sound fades in behind a cut.
    if (at > 0 && segment.first == request.first && isCut(at - 1)) return 0;
    const std::int64_t end = segment.first + segment.count;
    if (request.end <= end) return request.end - request.first;
    return std::max<std::int64_t>(0, end - request.first - (isCut(at + 1) ? 1 : 0));
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
    const auto at = static_cast<std::size_t>(request.plan.segments[firstSegment(request)].clipA);
    const Clip& clip = request.clips[at];
    const std::int64_t from = request.samplesBefore(clip.in()) + request.samplesBefore(request.first) -
                              request.samplesBefore(request.plan.clipOrigins[at]);
    writer.soundCopy = media::SoundCopy::of(clip.path(), clip.info().identity, settings.output, writer, from);
}

int soundRateOf(const std::vector<media::MediaInfo>& clips, const std::string& output) {
    constexpr int kUsual = 48000;
    constexpr int kOther = 44100;
    const media::MediaInfo* first = nullptr;
    bool alike = true;
    for (const media::MediaInfo& clip : clips) {
        if (!clip.hasAudio) continue;
        if (first == nullptr) first = &clip;
        alike = alike && clip.sampleRate == kOther;
    }
    // What Opus has is 48 kHz.
    if (first == nullptr || first->sampleRate != kOther || output.ends_with(".webm")) return kUsual;
    return alike || first->audioCodec == "aac" ? kOther : kUsual;
}

}  // namespace tumblewash::edit
