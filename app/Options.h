// What the user asked for, as read from the command line: plain values, checked one by one.
// Nothing here has looked at a file or at the plug-in yet; what depends on those is checked later.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edit/Exchange.h"
#include "edit/Request.h"
#include "farm/FarmPlan.h"

namespace tumblewash::app {

/// The commands of the program.
enum class Command {
    None,
    Join,
    Slideshow,
    Out,
    In,
    Plan,
    Render,
    Merge,
    Submit,
    Status,
    Batch,
    Frame,
    Sheet,
    Field,
    FfmpegScript,
    Studio,
    List,
    Demo
};

/// How progress is told: a line that a terminal redraws, key=value lines, an object of JSON a line, or not at
/// all.
enum class ProgressStyle { Auto, KeyValue, Json, None };

/// Colours of contact sheets, timelines and field pictures.
enum class Theme { Dark, Light };

/// The effect at the start or the end of an edit.
struct EndEffect {
    std::string effect;                      ///< id or index as typed
    std::optional<edit::TimeSpan> duration;  ///< unset: as the seams between clips
};

/// Everything the command line can say: an edit, how and whereto it is rendered, and how the program is to
/// behave. Defaults are the program's.
struct Options : edit::RenderSettings {
    Command command = Command::None;
    std::vector<std::string> inputs;  ///< as typed, media fragments and all
    std::vector<std::string> given;   ///< the long names of the options that were given

    std::vector<std::string> effects;       ///< ids or indices as typed; empty: the command's default
    std::vector<edit::TimeSpan> durations;  ///< empty: as the clips allow; or a speed instead
    std::optional<float> speed;
    std::optional<HYPluginDirection> direction;  ///< unset: the effect's own default
    std::uint32_t seed = 1;
    std::optional<EndEffect> opening;  ///< at the start
    std::optional<EndEffect> closing;  ///< at the end

    std::optional<edit::PixelSize> size;
    std::optional<media::FrameRate> fps;
    std::optional<media::Fit> fit;  ///< unset: contain, and blur for photos in movies
    edit::TimeSpan still{edit::TimeSpan::Unit::Microseconds, 4000000};
    std::optional<edit::TimeSpan> hold;
    std::optional<host::AudioPolicy> audio;  ///< unset: equal power across seams, natural in out and in
    edit::ChannelChoice channels = edit::ChannelChoice::keep;
    bool limiter = true;
    std::optional<double> loudness;  ///< LUFS
    std::string music;               ///< a file with sound, or empty
    double musicGain = 0;            ///< dB
    double duck = 12;                ///< dB
    std::optional<int> crf;
    std::string preset;
    media::ColourWishes wishes;  ///< of the edit: codec, depth, HDR, transparency
    bool chapters = false;
    std::string title;
    std::string comment;

    edit::ExchangeSettings exchange;  ///< how documents of other programs are read
    std::string plot;                 ///< `plan`: the picture of the timeline

    farm::PartWishes partWishes;   ///< `plan`: how the parts are cut
    std::string format = "mp4";    ///< `plan`: the kind of movie that the parts are for
    std::optional<int> part;       ///< `render`: one part of a plan, or `farm::kSoundPart`
    bool resume = false;           ///< movies: in parts that an interrupted run leaves for the next one
    std::string engine = "local";  ///< `submit`: what starts the parts
    std::string partsFolder;       ///< `submit`, `status`: where the parts are; empty: beside the plan
    int jobs = 0;                  ///< `submit`: parts side by side; 0: as the engine has it
    bool watch = false;            ///< `status`: until all is done
    std::optional<int> line;       ///< `batch`: this line of the list alone
    bool collect = false;          ///< `batch`: the reports of lines that were rendered

    std::optional<int> frame;  ///< `frame`: K of N
    std::optional<int> of;
    int columns = 6;
    Theme theme = Theme::Dark;

    ProgressStyle progress = ProgressStyle::Auto;
    edit::StillMotion stillMotion = edit::StillMotion::none;
    bool dryRun = false;  ///< show the plan and end; `submit`, `batch`: print the scripts only
    bool quiet = false;
    bool verbose = false;

    int port = 0;              ///< `studio`: of 127.0.0.1; 0: any free one
    bool browser = true;       ///< `studio`: open one
    int cacheMegabytes = 512;  ///< `studio`: decoded pictures that are kept

    bool json = false;
    bool help = false;
    bool version = false;
    std::string generate;  ///< man, bash, zsh, fish or schema: print it and end
};

/// Reads a command line. Throws Refusal (BadRequest) for anything it does not understand, with the nearest
/// known word where one is near. `arguments` excludes the program's name.
Options parseOptions(const std::vector<std::string>& arguments);

/// True when --copy-bodies asks for copies, where they can be made or always.
bool asksForCopies(const Options& options);

/// True when the option of this long name was given, whatever its value.
bool isGiven(const Options& options, std::string_view name);

}  // namespace tumblewash::app
