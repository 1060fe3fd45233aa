// The plan of a movie that is rendered in parts: the edit with the marks of its files, everything that was
// settled about the movie, and which frames each part holds, as plain values. A part is rendered from it
// without looking at clips of other parts. How a plan is written and read is PlanJson.h's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "edit/Edit.h"
#include "edit/Request.h"

namespace tumblewash::farm {

/// The frames of one part: [first, first + frames) of the result.
struct PartBounds {
    std::int64_t first = 0;
    std::int64_t frames = 0;
    bool operator==(const PartBounds&) const = default;
};

/// What is known of a clip without opening it.
struct KnownClip {
    std::int64_t in = 0;      ///< the file's frame that is its frame 0
    std::int64_t frames = 0;  ///< at the movie's rate
    bool still = false;
    bool sound = false;
    bool operator==(const KnownClip&) const = default;
};

/// A plan. Parts are numbered from 1; `kSoundPart` stands for the sound.
struct FarmPlan {
    std::string program;  ///< what made it, with the version of its libraries
    std::string kind;     ///< the ending of the movie: ".mp4"
    edit::Edit edit;      ///< with the marks of its files; its folder is the plan's
    edit::PixelSize size;
    media::FrameRate rate;
    media::FieldOrder fields = media::FieldOrder::progressive;
    bool sound = false;
    int sampleRate = 48000;
    int channels = 2;
    int threads = 1;  ///< of the encoder, wherever a part is rendered
    media::MovieColour colour;
    media::ReaderSettings reader;  ///< how the clips are read; its threads are the machine's own
    std::int64_t frames = 0;
    std::vector<KnownClip> clips;
    std::optional<edit::FileMark> music;  ///< of the file of music, where there is one
    std::vector<std::int64_t> seams;      ///< lengths, as the frame plan numbers them
    std::vector<PartBounds> parts;
};

/// The number that stands for the sound where parts are numbered.
inline constexpr int kSoundPart = 0;

/// Fingerprints by which parts and plans know each other.
struct PlanPrints {
    std::string edit;      ///< of what the edit says
    std::string inputs;    ///< of the marks of its files
    std::string settings;  ///< of all that was settled
    std::string whole;     ///< of the plan's text
    bool operator==(const PlanPrints&) const = default;
};

/// How a plan is cut into parts.
struct PartWishes {
    std::optional<int> parts;              ///< so many, where there are places to cut
    std::optional<edit::TimeSpan> length;  ///< instead: as many as it takes at this length
    bool splitSeams = false;               ///< a seam may be cut in two
};

/// Work below which a part costs more to start than it saves, in seconds.
inline constexpr double kLeastWork = 30;

/// An estimate of the work in frames [first, end) of a plan, in seconds of one core.
double workOf(const edit::FramePlan& plan, edit::PixelSize size, std::int64_t first, std::int64_t end);

/// Cuts a plan into parts of about equal work. Neither wish: as many as have `kLeastWork` each. `remarks`
/// gets a line where there are fewer parts than asked for, or where they are smaller than that.
std::vector<PartBounds> cutParts(const edit::FramePlan& plan, edit::PixelSize size, media::FrameRate rate,
                                 const PartWishes& wishes, std::vector<std::string>& remarks);

/// The plan for an edit that was settled for a movie of this kind. `edit` has its files' marks.
FarmPlan planOf(const edit::Edit& edit, const edit::MovieRequest& request, const std::string& kind,
                const std::string& program, std::vector<PartBounds> parts);

/// The frames that part `number` goes through, all of them for the sound. Throws Refusal (BadRequest) for a
/// number that the plan lacks.
PartBounds boundsOf(const FarmPlan& plan, int number);

/// "part 3", "the sound".
std::string partWords(int number);

/// True for names that end as plans do: `.plan.json`.
bool isPlanName(const std::string& name);

/// `show` of `folder/show.plan.json`.
std::string planStem(const std::string& name);

}  // namespace tumblewash::farm
