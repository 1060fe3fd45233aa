// What a movie is to be made of and into, as plain values: inputs, effects, size, rate, sound, output.
// Nothing here has looked at a file or at the plug-in; what depends on those is settled in `prepareMovie`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "edit/times.h"
#include "host/AudioMix.h"
#include "hostapi/HYPlugin.h"
#include "media/MediaError.h"
#include "media/Reader.h"

namespace tumblewash::edit {

/// What is made of the inputs.
enum class MovieKind {
    Join,  ///< two or more clips, a seam between each two
    Out,   ///< one clip whose picture is taken away at its end
    In     ///< one clip whose picture is brought at its start
};

/// "join", "out" or "in".
const char* movieKindName(MovieKind kind);

/// An order for a movie. Defaults are the program's.
struct MovieOrder {
    MovieKind kind = MovieKind::Join;
    std::vector<std::string> inputs;
    std::string output;  ///< a file, a sequence, `md5:` or `null:`; empty: only planned

    std::vector<std::string> effects;  ///< ids or indices as typed; empty: the kind's default
    std::optional<TimeSpan> duration;  ///< at most one of duration and speed
    std::optional<float> speed;
    std::optional<HYPluginDirection> direction;  ///< unset: the effect's own default
    std::uint32_t seed = 1;

    std::optional<PixelSize> size;
    std::optional<media::FrameRate> fps;
    media::Fit fit = media::Fit::contain;
    TimeSpan still{TimeSpan::Unit::Microseconds, 4000000};
    host::AudioPolicy audio = host::AudioPolicy::natural;
    bool proxy = false;
    std::optional<int> crf;
    std::string preset;

    bool force = false;
    std::string report;  ///< file names written beside the output; checked with it
    std::string mlt;
    std::string plugin;  ///< a module instead of the built-in one
    int threads = 0;     ///< sessions side by side; 0 means as many as there are cores

    media::CancelFlag cancel = nullptr;  ///< ends the work when raised; may be null
};

}  // namespace tumblewash::edit
