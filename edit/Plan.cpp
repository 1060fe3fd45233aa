#include "edit/Plan.h"

#include <fmt/format.h>

#include <cmath>

#include "edit/Errors.h"

namespace tumblewash::edit {
namespace {

std::string framesWord(std::int64_t n) {
    return n == 1 ? "1 frame" : fmt::format("{} frames", n);
}

[[noreturn]] void refuseShort(const PlannedClip& clip, const std::string& needs, std::int64_t needed) {
    const std::string longer = longerThan(clip, needed);
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: {}: {}; use {}", clip.name, tooFewFrames(clip.frames), needs,
                              clip.frameSeconds > 0 ? longer + " or a shorter --duration"
                                                    : "a shorter --duration or " + longer));
}

// The seams eat into a clip from both ends; what they take must be there.
void checkHolds(const PlannedClip& clip, const PlannedTransition* head, const PlannedTransition* tail) {
    const std::int64_t atHead = head ? takenAfter(*head) : 0;
    const std::int64_t atTail = tail ? takenBefore(*tail) : 0;
    if (clip.frames < 1) throw Refusal(Problem::BadInput, clip.name + ": has no picture to show");
    if (atHead + atTail <= clip.frames) return;
    if (atHead > 0 && atTail > 0)
        refuseShort(clip,
                    fmt::format("{} at its start takes {} and {} at its end {}, {} in all", head->id, atHead,
                                tail->id, atTail, atHead + atTail),
                    atHead + atTail);
    const PlannedTransition& only = atHead > 0 ? *head : *tail;
    refuseShort(clip, fmt::format("{} takes {}", only.id, atHead + atTail), atHead + atTail);
}

class Builder {
  public:
    void copy(int clip, std::int64_t from, std::int64_t to) {
        if (to > from) add({.count = to - from, .clipA = clip, .firstA = from, .countA = to - from});
    }
    void add(Segment segment) {
        segment.first = plan.frames;
        plan.frames += segment.count;
        plan.segments.push_back(segment);
    }
    FramePlan plan;
};

}  // namespace

FramePlan planJoin(const std::vector<PlannedClip>& clips, const std::vector<PlannedTransition>& transitions,
                   const std::optional<PlannedTransition>& opening,
                   const std::optional<PlannedTransition>& closing) {
    const std::size_t last = clips.size() - 1;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        const PlannedTransition* first = opening ? &*opening : nullptr;
        const PlannedTransition* end = closing ? &*closing : nullptr;
        checkHolds(clips[i], i > 0 ? &transitions[i - 1] : first, i < last ? &transitions[i] : end);
    }

    Builder build;
    const int afterSeams = static_cast<int>(transitions.size());
    std::int64_t head = 0;  // frames of the current clip that the transition before it has used
    for (std::size_t i = 0; i < clips.size(); ++i) {
        const int clip = static_cast<int>(i);
        const std::int64_t origin = i == 0 ? 0 : build.plan.frames - head;
        build.plan.clipOrigins.push_back(origin);
        if (i == 0 && opening) {
            build.add({.count = opening->frames, .transition = afterSeams, .countA = opening->frames});
            head = opening->frames;
        }
        const std::int64_t tail = i < last ? takenBefore(transitions[i]) : closing ? closing->frames : 0;
        build.copy(clip, head, clips[i].frames - tail);
        head = 0;
        if (i == last || transitions[i].frames == 0) continue;
        const PlannedTransition& t = transitions[i];
        build.add({.count = t.frames,
                   .transition = clip,
                   .clipA = clip,
                   .firstA = clips[i].frames - tail,
                   .clipB = clip + 1,
                   .firstB = 0,
                   .countA = tail});
        head = takenAfter(t);
    }
    if (closing)
        build.add({.count = closing->frames,
                   .transition = afterSeams + (opening ? 1 : 0),
                   .clipA = static_cast<int>(last),
                   .firstA = clips[last].frames - closing->frames,
                   .countA = closing->frames});
    return build.plan;
}

std::int64_t takenBefore(const PlannedTransition& t) {
    return t.placement == Placement::Halves ? t.frames / 2 : t.placement == Placement::Before ? 0 : t.frames;
}

std::int64_t takenAfter(const PlannedTransition& t) {
    return t.placement == Placement::Halves ? t.frames / 2 : t.placement == Placement::After ? 0 : t.frames;
}

std::string longerThan(const PlannedClip& clip, std::int64_t needed) {
    if (clip.frameSeconds <= 0) return "a longer clip";
    const double seconds = static_cast<double>(needed) * clip.frameSeconds;
    return fmt::format("a longer --still (at least {:.2f}s)", std::ceil(seconds * 100 - 1e-6) / 100);
}

std::string tooFewFrames(std::int64_t n) {
    return framesWord(n) + (n == 1 ? " is too few" : " are too few");
}

std::int64_t evenFrames(std::int64_t wished) {
    if (wished < 2)
        throw Refusal(Problem::BadRequest,
                      fmt::format("a transition of {} is too short; --duration needs 2 frames or more",
                                  framesWord(wished)));
    return wished + (wished & 1);
}

}  // namespace tumblewash::edit
