// What the user asked for, as read from the command line: plain values, checked one by one.
// Nothing here has looked at a file or at the plug-in yet; what depends on those is checked later.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/times.h"
#include "host/AudioMix.h"
#include "hostapi/HYPlugin.h"
#include "media/Reader.h"

namespace tumblewash {

/// The commands of the program.
enum class Command { None, Join, Out, In, Frame, Sheet, Field, List, Demo };

/// How progress is told: a line that a terminal redraws, key=value lines, or not at all.
enum class ProgressStyle { Auto, KeyValue, None };

/// Colours of contact sheets and field pictures.
enum class Theme { Dark, Light };

/// Everything the command line can say. Defaults are the program's.
struct Options {
    Command command = Command::None;
    std::vector<std::string> inputs;
    std::string output;

    std::vector<std::string> effects;  ///< ids or indices as typed; empty: the command's default
    std::optional<TimeSpan> duration;  ///< at most one of duration and speed
    std::optional<float> speed;
    std::optional<HYPluginDirection> direction;  ///< unset: the effect's own default
    std::uint32_t seed = 1;

    std::optional<PixelSize> size;
    std::optional<FrameRate> fps;
    Fit fit = Fit::contain;
    TimeSpan still{TimeSpan::Unit::Microseconds, 4000000};
    AudioPolicy audio = AudioPolicy::natural;
    bool proxy = false;
    std::optional<int> crf;
    std::string preset;

    std::optional<int> frame;  ///< `frame`: K of N
    std::optional<int> of;
    bool alpha = false;
    int columns = 6;
    Theme theme = Theme::Dark;

    bool force = false;
    std::string report;
    std::string mlt;
    std::string plugin;
    int threads = 0;  ///< sessions side by side; 0 means as many as there are cores
    ProgressStyle progress = ProgressStyle::Auto;
    bool quiet = false;
    bool verbose = false;

    bool json = false;
    bool help = false;
    bool version = false;
    std::string generate;  ///< man, bash, zsh or fish: print that page or script and end
};

/// Reads a command line. Throws Refusal (BadUsage) for anything it does not understand, with the nearest
/// known word where one is near. `arguments` excludes the program's name.
Options parseOptions(const std::vector<std::string>& arguments);

}  // namespace tumblewash
