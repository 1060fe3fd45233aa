// The record of a run for --report: what was rendered from what, with which levels, seeds and fades.
// Filled while the run goes on, written as JSON at its end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "edit/Clips.h"
#include "edit/Limiter.h"
#include "edit/Times.h"
#include "host/AudioMix.h"
#include "hostapi/HYPlugin.h"
#include "media/MovieColour.h"

namespace tumblewash::edit {

/// One input.
struct ReportedClip {
    std::string file;
    std::string kind;         ///< clip or still
    PixelSize size;           ///< display size of the source
    media::FrameRate rate;    ///< of the source; 0 for stills
    std::int64_t frames = 0;  ///< at the output's rate
    bool sound = false;
    double gain = 1;  ///< of its sound, linear
    media::ClipColour colour;
};

/// One transition.
struct ReportedTransition {
    std::string id;
    std::string name;
    int index = 0;
    std::int64_t firstFrame = 0;  ///< in the output
    std::int64_t frames = 0;
    std::int64_t firstA = 0;  ///< first frame taken from the outgoing (or only) clip
    std::int64_t firstB = 0;
    int clipA = 0;
    int clipB = -1;
    std::string direction;
    std::uint32_t seed = 1;
    int sessions = 1;
    std::vector<host::AudioLevels> levels;  ///< one pair per frame
    HYPluginClipInfo clip{};                ///< as the plug-in left it
    double seconds = 0;                     ///< time spent
};

/// What was copied and what was encoded, where copies were asked for.
struct ReportedCopies {
    /// Frames that follow one another and come from one place.
    struct Run {
        std::int64_t frames = 0;
        int clip = -1;           ///< copied from this clip; -1: encoded
        std::int64_t first = 0;  ///< frame of the clip
    };
    std::int64_t copied = 0;
    std::int64_t encoded = 0;
    std::vector<Run> runs;
    std::string why;          ///< why nothing was copied; empty when something was
    double soundSeconds = 0;  ///< of sound whose packets were copied
};

/// The whole run.
struct Report {
    std::string program;  ///< name and version of what renders
    std::string command;
    std::string output;
    std::string plugin;
    PixelSize size;
    media::FrameRate rate;
    std::int64_t frames = 0;
    bool sound = false;
    std::int64_t samples = 0;
    std::string audio;
    int channels = 2;
    int sampleRate = 48000;
    bool limiter = true;
    std::string music;                         ///< its file, or empty
    LimiterTold told;                          ///< what the limiter saw and did
    std::optional<media::MovieColour> colour;  ///< of a movie or sequence
    std::vector<ReportedClip> clips;
    std::vector<ReportedTransition> transitions;
    std::optional<ReportedCopies> copies;
    std::vector<std::string> conversions;  ///< what is lost or converted of each clip on purpose
    std::vector<std::string> warnings;     ///< what was damaged or went wrong
    std::vector<std::string> remarks;      ///< what the user should know of the run, and is no fault
    double openSeconds = 0;
    double renderSeconds = 0;
    double finishSeconds = 0;
    double pictureSeconds = 0;  ///< copying and encoding pictures
    double soundSeconds = 0;    ///< the same for sound, in a thread of its own side by side with pictures
    double seconds = 0;
};

/// What a report says of an input.
ReportedClip reportedClip(const Clip& clip);

/// "up", "down", "left", "right" or "none".
std::string directionName(HYPluginDirection direction);

/// One line on what the limiter did, or what is beyond full scale without it; empty when nothing is to be
/// said.
std::string limiterLine(const Report& report, bool on);

/// The report as indented JSON with a final newline.
std::string reportJson(const Report& report);

/// Conversions and damage, in the order in which they are told.
std::vector<std::string> lossesOf(const Report& report);

}  // namespace tumblewash::edit
