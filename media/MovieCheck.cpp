// Whether a movie can be written as its settings ask, before anything is made.
#include <algorithm>
#include <array>
#include <string_view>

#include "media/Codecs.h"
#include "media/Probe.h"
#include "media/Staging.h"
#include "media/detail/Sink.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

void checkMovie(const std::string& output, const WriterSettings& settings) {
    const MovieKind& kind = movieKindFor(output);
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
    if (!settings.chapters.empty() && !kind.chapters)
        refuse(std::string(kind.ending) + " files hold no chapters; leave out --chapters");
    constexpr std::array opusRates{8000, 12000, 16000, 24000, 48000};
    constexpr std::array aacRates{96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};
    const auto known = [&](const auto& rates) {
        return std::find(rates.begin(), rates.end(), settings.sampleRate) != rates.end();
    };
    if (settings.sound &&
        !(kind.sound.encoder == std::string_view("libopus") ? known(opusRates) : known(aacRates)))
        refuse("its sound encoder does not take " + std::to_string(settings.sampleRate) +
               " samples a second; use 48000");
    checkTarget(settings.piece == Piece::none ? output : settings.pieceFile, settings.force);
}

}  // namespace tumblewash::media
