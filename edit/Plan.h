// Which frames of which clip make each frame of the result, and which samples go with them.
// Pure counting: no files, no plug-in. Every length is exact, in frames of the output's rate
// and in samples of the output's sound.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "edit/Times.h"

namespace tumblewash::edit {

/// How a transition takes frames from its clips.
enum class Placement {
    Cut,      ///< the clips simply follow one another; no frame is rendered
    Overlap,  ///< n frames of the first clip's end lie over n frames of the second's start
    Halves,   ///< the last n/2 of the first and the first n/2 of the second are replaced, side by side
    After,    ///< n frames at the end of one clip
    Before    ///< n frames at the start of one clip
};

/// A clip as the plan sees it.
struct PlannedClip {
    std::string name;         ///< for messages
    std::int64_t frames = 0;  ///< length at the output's rate
    /// Of a still: how long a frame lasts, for messages that ask for a longer one; 0 for clips.
    double frameSeconds = 0;
};

/// A transition as the plan sees it.
struct PlannedTransition {
    std::string id;  ///< for messages
    Placement placement = Placement::Overlap;
    std::int64_t frames = 0;  ///< n: even and at least 2, except 0 for a cut
};

/// How many frames a transition takes from the end of the clip before it, and from the start of the one
/// after.
std::int64_t takenBefore(const PlannedTransition& transition);
std::int64_t takenAfter(const PlannedTransition& transition);

/// A run of output frames from one source.
struct Segment {
    static constexpr int kNone = -1;
    std::int64_t first = 0;   ///< first output frame
    std::int64_t count = 0;   ///< output frames, at least 1
    int transition = kNone;   ///< index of the transition, or kNone for frames of one clip as they are
    int clipA = 0;            ///< the clip, or the outgoing clip of the transition
    std::int64_t firstA = 0;  ///< its first frame
    int clipB = kNone;        ///< the incoming clip, or kNone
    std::int64_t firstB = 0;  ///< its first frame
    /// Frames taken from clipA; equals count except for halves, where it is count / 2.
    std::int64_t countA = 0;
    bool operator==(const Segment&) const = default;
};

/// The whole result.
struct FramePlan {
    std::int64_t frames = 0;                ///< output frames
    std::vector<Segment> segments;          ///< in order, without gaps
    std::vector<std::int64_t> clipOrigins;  ///< per clip: the output frame at which its frame 0 lies
};

/// Plans clips joined by clips.size() - 1 transitions (overlap, halves or cut), with one at the start of the
/// first clip (Before) and one at the end of the last (After) where they are given. Segments number the
/// transitions in this order: between the clips, the opening, the closing. Throws Refusal (BadRequest) with
/// the numbers when a clip cannot hold its seams.
FramePlan planJoin(const std::vector<PlannedClip>& clips, const std::vector<PlannedTransition>& transitions,
                   const std::optional<PlannedTransition>& opening = {},
                   const std::optional<PlannedTransition>& closing = {});

/// The transition's length from a wished one: at least 2 (else Refusal), odd ones one longer, as the plug-in
/// does with its own counts.
std::int64_t evenFrames(std::int64_t wished);

/// What to do about a clip that must have `needed` frames: "a longer clip", or of a still "a longer --still
/// (at least 2.08s)".
std::string longerThan(const PlannedClip& clip, std::int64_t needed);

/// "1 frame is too few", "3 frames are too few".
std::string tooFewFrames(std::int64_t n);

}  // namespace tumblewash::edit
