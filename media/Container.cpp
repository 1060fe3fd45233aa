#include "media/detail/Container.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "media/Probe.h"
#include "media/Staging.h"
#include "media/detail/Sink.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

namespace {

constexpr std::array kContainers{
    Container{".mp4", "mp4", {"aac", 192'000}, true},
    Container{".mov", "mov", {"aac", 192'000}, true},
    Container{".mkv", "matroska", {"aac", 192'000}, false},
    Container{".webm", "webm", {"libopus", 128'000}, false},
    Container{".avi", "avi", {"pcm_s16le", 0}, false},
};

}  // namespace

const Container& containerOf(const std::string& output) {
    for (const Container& container : kContainers)
        if (output.size() > std::strlen(container.ending) && output.ends_with(container.ending))
            return container;
    throw MediaError(MediaErrorCode::badRequest, output, "is not a movie that this program can write");
}

SoundCoding soundCodingOf(const WriterSettings& settings, const Container& container) {
    if (settings.soundCodec == SoundCodec::pcm)
        return {settings.soundBits > 16 ? "pcm_s24le" : "pcm_s16le", 0};
    if (settings.soundCodec == SoundCodec::flac) return {"flac", 0};
    return container.sound;
}

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
    checkVideo(output, settings);
    if (!settings.chapters.empty() && !movieKindOf(output)->chapters)
        refuse(std::string(container.ending) + " files hold no chapters; leave out --chapters");
    constexpr std::array opusRates{8000, 12000, 16000, 24000, 48000};
    constexpr std::array aacRates{96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};
    const auto known = [&](const auto& rates) {
        return std::find(rates.begin(), rates.end(), settings.sampleRate) != rates.end();
    };
    if (settings.sound && !(container.webm() ? known(opusRates) : known(aacRates)))
        refuse("its sound encoder does not take " + std::to_string(settings.sampleRate) +
               " samples a second; use 48000");
    checkTarget(settings.piece == Piece::none ? output : settings.pieceFile, settings.force);
}

}  // namespace tumblewash::media
