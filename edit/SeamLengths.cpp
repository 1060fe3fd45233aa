#include "edit/SeamLengths.h"

#include <fmt/format.h>

#include <algorithm>

#include "edit/Errors.h"

namespace tumblewash::edit {
namespace {

/// The seams that lie over one clip.
struct Load {
    std::int64_t taken = 0;  ///< frames of seams with given lengths
    int open = 0;            ///< seams that share the rest
};

void put(Load& load, const SeamWish& seam) {
    if (seam.placement == Placement::Cut) return;
    if (!seam.frames)
        ++load.open;
    else
        load.taken += seam.placement == Placement::Halves ? *seam.frames / 2 : *seam.frames;
}

[[noreturn]] void refuse(const PlannedClip& clip, const Load& load, const SeamWish& seam) {
    const std::string taken =
        load.taken > 0 ? fmt::format(", seams of given lengths take {}", load.taken) : std::string();
    const std::string open = load.open == 1
                                 ? fmt::format("{} takes 2 or more", seam.id)
                                 : fmt::format("{} seams share them and take 2 or more each", load.open);
    const std::int64_t needed = load.taken + 2 * load.open;
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: {}: {}{}; use {} or --effect none", clip.name, tooFewFrames(clip.frames),
                              open, taken, longerThan(clip, needed)));
}

/// The longest that a seam may be for the sake of one of its clips.
std::int64_t shareOf(const PlannedClip& clip, const Load& load, const SeamWish& seam) {
    const std::int64_t share = std::max<std::int64_t>(0, clip.frames - load.taken) / load.open;
    const std::int64_t most = seam.placement == Placement::Halves ? 2 * share : share;
    if (most < 2) refuse(clip, load, seam);
    return most;
}

}  // namespace

std::vector<std::int64_t> fitSeams(const std::vector<PlannedClip>& clips,
                                   const std::vector<SeamWish>& between,
                                   const std::optional<SeamWish>& opening,
                                   const std::optional<SeamWish>& closing, std::int64_t usual) {
    std::vector<Load> loads(clips.size());
    for (std::size_t i = 0; i < between.size(); ++i) {
        put(loads[i], between[i]);
        put(loads[i + 1], between[i]);
    }
    if (opening) put(loads.front(), *opening);
    if (closing) put(loads.back(), *closing);

    const auto lengthOf = [&](const SeamWish& seam, std::size_t first, std::size_t last) {
        if (seam.placement == Placement::Cut) return std::int64_t{0};
        if (seam.frames) return *seam.frames;
        std::int64_t length = usual;
        for (std::size_t i = first; i <= last; ++i)
            length = std::min(length, shareOf(clips[i], loads[i], seam));
        return length - length % 2;
    };
    std::vector<std::int64_t> lengths;
    for (std::size_t i = 0; i < between.size(); ++i) lengths.push_back(lengthOf(between[i], i, i + 1));
    if (opening) lengths.push_back(lengthOf(*opening, 0, 0));
    if (closing) lengths.push_back(lengthOf(*closing, clips.size() - 1, clips.size() - 1));
    return lengths;
}

}  // namespace tumblewash::edit
