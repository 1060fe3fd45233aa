#include "edit/Preview.h"

#include <algorithm>
#include <cmath>

#include "edit/Errors.h"
#include "host/AudioMix.h"

namespace tumblewash::edit {

using host::samplesBefore;
using media::CancelFlag;
using media::FieldOrder;
using media::FrameRate;
using media::MediaKind;
using media::PixelLayout;
using media::ReaderSettings;

namespace {

Clip openSmall(const Edit& edit, const MovieRequest& request, std::size_t index, PixelSize size,
               CancelFlag cancel) {
    const Clip& settled = request.clips[index];
    ReaderSettings s;
    s.width = size.width;
    s.height = size.height;
    s.fit = fitOf(edit, settled.info().kind == MediaKind::still);
    s.rate = request.rate;
    s.stillFrames = settled.frames();
    s.layout = PixelLayout::argb;
    s.keepFields = false;
    s.threads = 1;
    s.prefetch = 0;
    s.cancel = cancel;
    if (settled.isBlack()) return Clip::black(settled.frames(), s, FieldOrder::progressive);
    Clip clip(settled.path(), s);
    if (clip.info().kind != MediaKind::still) clip.trim(settled.in(), settled.in() + settled.frames());
    return clip;
}

std::vector<float> peaksOf(Clip& clip, FrameRate rate, std::size_t stretches, CancelFlag cancel) {
    constexpr int kSampleRate = 48000;
    constexpr std::size_t kChannels = 2;  // what readers give unless told
    const std::int64_t total =
        samplesBefore(clip.frames(), kSampleRate, static_cast<int>(rate.num), static_cast<int>(rate.den));
    std::vector<float> peaks(stretches, 0.0F);
    std::vector<float> block;
    std::int64_t at = 0;
    while (at < total) {
        if (cancel && cancel->load()) throw Refusal(Problem::Interrupted, "interrupted");
        const std::int64_t some = std::min<std::int64_t>(total - at, 4096);
        block.resize(static_cast<std::size_t>(some) * kChannels);
        clip.nextSamples(block);
        for (std::int64_t i = 0; i < some; ++i) {
            float& peak =
                peaks[static_cast<std::size_t>((at + i) * static_cast<std::int64_t>(stretches) / total)];
            for (std::size_t c = 0; c < kChannels; ++c)
                peak = std::max(peak, std::abs(block[static_cast<std::size_t>(i) * kChannels + c]));
        }
        at += some;
    }
    for (float& peak : peaks) peak = std::min(peak, 1.0F);
    return peaks;
}

}  // namespace

ClipPreview previewClip(const Edit& edit, const MovieRequest& request, std::size_t index, PixelSize size,
                        const std::vector<std::int64_t>& frames, std::size_t stretches, CancelFlag cancel) {
    Clip clip = openSmall(edit, request, index, size, cancel);
    ClipPreview preview;
    const bool still = clip.info().kind == MediaKind::still;
    for (const std::int64_t frame : frames) {
        if (still && !preview.pictures.empty())
            preview.pictures.push_back(preview.pictures.front());
        else
            preview.pictures.push_back(clip.pictureAt(still ? 0 : frame));
    }
    if (request.sound && clip.info().hasAudio && stretches > 0)
        preview.peaks = peaksOf(clip, request.rate, stretches, cancel);
    return preview;
}

}  // namespace tumblewash::edit
