// An edit that is about to be rendered, checked and settled: clips opened and counted, seams described and as
// long as they will be, sizes and rates fixed, the plan drawn up. Nothing has been rendered or written yet.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "edit/ClipShelf.h"
#include "edit/Clips.h"
#include "edit/Copying.h"
#include "edit/Edit.h"
#include "edit/Effects.h"
#include "edit/Plan.h"
#include "host/AudioMix.h"
#include "media/ColourPlan.h"
#include "media/Writer.h"

namespace tumblewash::edit {

/// A stretch of the result: [first, end), either of which may be unset.
struct RenderRange {
    std::optional<TimeSpan> first;
    std::optional<TimeSpan> end;
};

/// How and whereto an edit is rendered. Defaults are the program's.
struct RenderSettings {
    std::string output;  ///< a file, a sequence, `md5:` or `null:`; empty: only planned
    bool force = false;  ///< replace what exists
    std::string report;  ///< file names written beside the output; checked with it
    std::string mlt;
    std::vector<std::string> reads;  ///< files read besides the clips: the edit's own
    std::string plugin;              ///< a module instead of the built-in one
    int threads = 0;  ///< each of decoding, rendering and encoding may use; 0: by the machine; 1: everything
                      ///< runs in the caller's thread
    bool tellCopies = false;  ///< say what would be copied although there is no output
    bool planOnly = false;    ///< nothing is going to be rendered: what takes long is left out
    bool countOnly = false;   ///< beside `planOnly`: clips are counted, and not opened to be read
    bool proxy = false;       ///< render as a quick preview
    TimeSpan longest{TimeSpan::Unit::Microseconds, 86400000000};  ///< a longer result is refused
    std::optional<RenderRange> only;                              ///< render this stretch alone
    bool soundOnly = false;      ///< render the sound, for a piece or a fingerprint without pictures
    media::ColourWishes colour;  ///< instead of what the edit says of codec, depth and HDR
    std::optional<CopyBodies> copyBodies;  ///< instead of what the edit says
    media::CancelFlag cancel = nullptr;    ///< ends the work when raised; may be null
    ClipShelf* shelf = nullptr;  ///< clips known from earlier plans are not counted again; may be null
};

/// A seam, an opening or a closing with everything that rendering needs to know.
struct SettledSeam {
    Effect effect;
    HYPluginDirection direction = kPluginDirectionRight;
    float speed = 0.5F;
    std::uint32_t seed = 1;
    host::AudioPolicy sound = host::AudioPolicy::natural;
    std::int64_t frames = 0;  ///< n: even and at least 2, except 0 for a cut
    bool shortened = false;   ///< nobody gave a length, and the clips did not allow the usual one
};

/// Everything that rendering needs to know.
struct MovieRequest {
    explicit MovieRequest(host::PluginModule plugin) : module(std::move(plugin)) {}

    host::PluginModule module;
    std::vector<SettledSeam> seams;  ///< as the plan numbers them: between clips, the opening, the closing
    std::vector<Clip> clips;
    PixelSize size;
    media::FrameRate rate;
    media::FieldOrder fields = media::FieldOrder::progressive;
    media::ReaderSettings reader;  ///< how the clips are read
    bool sound = false;
    bool clipSound = false;  ///< the clips' own sound is in it, not music alone
    bool limiter = true;     ///< peaks of the whole result are limited
    std::string musicFile;   ///< empty: none
    double musicGain = 1;    ///< linear
    double musicDuck = 12;   ///< dB
    FramePlan plan;
    std::int64_t first = 0;  ///< what is rendered of the plan: frames [first, end)
    std::int64_t end = 0;
    media::WriterSettings writer;
    std::optional<Copying> copying;   ///< what is copied, where that was asked for
    std::vector<std::string> notes;   ///< what is lost or converted of each clip, one line each with its name
    std::vector<std::string> levels;  ///< how loud each clip was found to be, and what gain it gets
    std::vector<std::string> remarks;  ///< what the user should know: shortened seams, changed files

    /// Samples of the result's sound before its frame `frame`; also those that so many frames last.
    std::int64_t samplesBefore(std::int64_t frame) const {
        return host::samplesBefore(frame, writer.sampleRate, static_cast<int>(rate.num),
                                   static_cast<int>(rate.den));
    }
};

/// Settles an edit, cheapest checks first, and throws Refusal, MediaError or HostError for what cannot be
/// made. Writes nothing.
MovieRequest prepareMovie(const Edit& edit, const RenderSettings& settings);

/// The frame plan of clips that are counted and seams that have their lengths. Throws Refusal (BadRequest)
/// when a clip cannot hold its seams.
FramePlan planFrames(const Edit& edit, const std::vector<PlannedClip>& clips,
                     const std::vector<SettledSeam>& settled);

/// Gives the stills of a request, whose lengths and rate are settled, the ways that the edit has them go.
void settleMoves(const Edit& edit, MovieRequest& request);

}  // namespace tumblewash::edit
