// A settled edit as the studio looks at it: the document at one revision with its clips counted and its seams
// as long as they will be. Never changed once it is made, and shared by all threads.
#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "edit/Request.h"

namespace tumblewash::studio {

/// The edit of one revision, settled.
struct Plan {
    Plan(std::uint64_t number, edit::Edit document, edit::MovieRequest settled)
        : revision(number), edit(std::move(document)), request(std::move(settled)) {}

    std::uint64_t revision;
    edit::Edit edit;
    edit::MovieRequest request;
};

using PlanRef = std::shared_ptr<const Plan>;

/// The stretch of the movie in which a seam is drawn, by the seam's number; null for a cut.
const edit::Segment* segmentOf(const edit::FramePlan& plan, std::size_t seam);

/// The stretch that frame `frame` of the movie lies in; null outside of the movie.
const edit::Segment* segmentAt(const edit::FramePlan& plan, std::int64_t frame);

/// The most frames that seam `seam` can have, even, with an effect that takes its frames like `placement`,
/// while all others stay as they are. 0 where nothing is left.
std::int64_t mostFrames(const Plan& plan, std::size_t seam, edit::Placement placement);

/// The frames of the movie if seam `seam` had this effect, as long as it is or, where it is a cut or too
/// long, as the clips allow. Throws Refusal (BadRequest) where the effect does not fit.
edit::FramePlan planWith(const Plan& plan, std::size_t seam, const edit::Effect& effect);

/// A size of this shape, even, at most `width` x `height`.
edit::PixelSize sizeWithin(edit::PixelSize size, int width, int height);

/// The frame that a page looks at first: the middle of the first seam, or the movie's first frame.
std::int64_t firstLook(const Plan& plan);

/// The plan as the page reads it: size, rate, length, clips and seams.
nlohmann::ordered_json planJson(const Plan& plan);

/// Every effect with what it takes: id, name, place, whether it has a direction and a seed.
nlohmann::ordered_json effectsJson(const host::PluginModule& module);

}  // namespace tumblewash::studio
