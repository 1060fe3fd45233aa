#include "media/MusicFile.h"

#include <algorithm>

#include "media/detail/Allowance.h"
#include "media/detail/Input.h"
#include "media/detail/InputBytes.h"
#include "media/detail/Sound.h"

namespace tumblewash::media {

struct MusicFile::Impl {
    ProbeDetail facts;
    SoundShape shape;
    std::unique_ptr<SoundSource> sound;
    std::vector<float>
        held;              // decoded and not given yet, at least kOverlap frames of it while there are more
    std::size_t used = 0;  // values of `held`
    bool ended = false;

    std::size_t width() const noexcept { return static_cast<std::size_t>(shape.channels); }
    std::size_t ready() const noexcept { return (held.size() - used) / width(); }

    /// Decodes until so many frames are at hand, or the file ends.
    void fill(std::size_t frames) {
        constexpr std::size_t kSome = 4800;
        if (used > 0) held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(used));
        used = 0;
        while (!ended && ready() < frames) {
            const std::size_t before = held.size();
            held.resize(before + kSome * width());
            const std::size_t got = sound->readSome(held.data() + before, kSome);
            held.resize(before + got * width());
            ended = got < kSome;
        }
    }

    /// The end goes into the beginning: both run for kOverlap frames, one falling, one rising.
    void startOver() {
        std::vector<float> tail(held.begin() + static_cast<std::ptrdiff_t>(used), held.end());
        sound->seek(0);
        held.clear();
        used = 0;
        ended = false;
        fill(2 * kOverlap);
        const std::size_t frames = std::min(tail.size() / width(), ready());
        for (std::size_t i = 0; i < frames; ++i) {
            const float in = static_cast<float>(i + 1) / static_cast<float>(frames + 1);
            for (std::size_t c = 0; c < width(); ++c) {
                float& sample = held[i * width() + c];
                sample = sample * in + tail[i * width() + c] * (1 - in);
            }
        }
    }
};

MusicFile::MusicFile(const std::string& path, int sampleRate, int channels, CancelFlag cancel)
    : impl_(std::make_unique<Impl>()) {
    impl_->shape = {sampleRate, channels};
    runWithMemoryAllowance(path, [&] {
        ProbeDetail& facts = impl_->facts;
        facts.info.path = path;
        facts.bytes = std::make_shared<const InputBytes>(path);
        InputFile file(facts.bytes, cancel);
        facts.audioStream = file.bestAudio();
        if (facts.audioStream < 0)
            throw MediaError(MediaErrorCode::undecodable, path, "has no sound; give a song, e.g. music.mp3");
        // Its first sample is where the music begins.
        const AVStream& stream = file.stream(facts.audioStream, AVMEDIA_TYPE_AUDIO);
        facts.timeBase = stream.time_base;
        facts.firstPts = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
        impl_->sound = openSound(facts, impl_->shape, cancel);
        impl_->fill(static_cast<std::size_t>(sampleRate));
    });
    if (!impl_->sound->failure().empty() || impl_->ready() == 0)
        throw MediaError(MediaErrorCode::undecodable, path,
                         "its sound cannot be decoded; the file is damaged");
    if (impl_->ready() < static_cast<std::size_t>(sampleRate))
        throw MediaError(MediaErrorCode::undecodable, path,
                         "has less than a second of sound, which is too short for music");
}

MusicFile::~MusicFile() = default;

void MusicFile::check(const std::string& path, CancelFlag cancel) {
    const MusicFile file(path, 48000, 2, cancel);
}

void MusicFile::read(float* interleaved, std::size_t frames) {
    Impl& now = *impl_;
    while (frames > 0) {
        if (!now.ended && now.ready() <= kOverlap) now.fill(4 * kOverlap);
        if (now.ended && now.ready() <= kOverlap) {
            now.startOver();
            if (now.ready() > kOverlap) continue;
            // A file that was cut short while it is read: silence, and the next call looks again.
            std::fill_n(interleaved, frames * now.width(), 0.0F);
            return;
        }
        // While the file goes on, and at its end, the last kOverlap frames are kept for what follows.
        const std::size_t some = std::min(frames, now.ready() - kOverlap);
        std::copy_n(now.held.data() + now.used, some * now.width(), interleaved);
        now.used += some * now.width();
        interleaved += some * now.width();
        frames -= some;
    }
}

void MusicFile::skip(std::int64_t frames) {
    std::vector<float> passed(4800 * impl_->width());
    for (; frames > 0; frames -= 4800)
        read(passed.data(), static_cast<std::size_t>(std::min<std::int64_t>(frames, 4800)));
}

std::vector<std::string> MusicFile::warnings() const {
    if (impl_->sound->damaged() == 0) return {};
    const std::int64_t n = impl_->sound->damaged();
    return {std::to_string(n) + (n == 1 ? " piece of sound is damaged" : " pieces of sound are damaged")};
}

}  // namespace tumblewash::media
