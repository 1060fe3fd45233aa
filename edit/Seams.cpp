#include "edit/Seams.h"

#include <fmt/format.h>

#include "edit/Errors.h"

namespace tumblewash::edit {

using host::PluginModule;
using media::FrameRate;

namespace {

constexpr TimeSpan kUsualLength{TimeSpan::Unit::Microseconds, 1000000};

bool fits(SeamPlace place, Placement placement) {
    if (place == SeamPlace::Closing) return placement == Placement::After;
    if (place == SeamPlace::Opening) return placement == Placement::Before;
    return placement != Placement::After && placement != Placement::Before;
}

/// Where an effect belongs and what to use, for the refusal of one in another place.
const char* whereOf(const Effect& effect) {
    switch (placementOf(effect)) {
        case Placement::After:
            return "works at the end of a single clip; use tumblewash out, or a closing";
        case Placement::Before:
            return "works at the start of a single clip; use tumblewash in, or an opening";
        default:
            return "works between two clips; use tumblewash join";
    }
}

template <class Value>
Value firstOf(const std::optional<Value>& own, const std::optional<Value>& common, Value usual) {
    return own ? *own : common.value_or(usual);
}

SettledSeam settle(const Edit& edit, const EditSeam& seam, SeamPlace place, const PluginModule& module) {
    SettledSeam settled;
    const std::string usual = usualEffect(place);
    const std::string id = seam.effect                   ? *seam.effect
                           : place == SeamPlace::Between ? edit.seams.effect.value_or(usual)
                                                         : usual;
    if (seam.speed || (!seam.duration && edit.seams.speed))
        settled.speed = (seam.speed ? seam.speed : edit.seams.speed)->value;
    settled.effect = findEffect(module, id, settled.speed);
    if (!fits(place, placementOf(settled.effect)))
        throw Refusal(Problem::BadRequest, fmt::format("{} {}", settled.effect.id, whereOf(settled.effect)));
    settled.direction = directionFor(seam.direction ? seam.direction : edit.seams.direction, settled.effect);
    settled.seed = firstOf(seam.seed, edit.seams.seed, std::uint32_t{1});
    settled.sound = firstOf(seam.sound, edit.seams.sound, edit.sound);
    return settled;
}

/// All seams of an edit in the plan's order.
std::vector<std::pair<const EditSeam*, SeamPlace>> seamsOf(const Edit& edit) {
    static const EditSeam kUnsaid;
    std::vector<std::pair<const EditSeam*, SeamPlace>> seams;
    for (std::size_t i = 1; i < edit.clips.size(); ++i)
        seams.emplace_back(edit.clips[i].seam ? &*edit.clips[i].seam : &kUnsaid, SeamPlace::Between);
    if (edit.opening) seams.emplace_back(&*edit.opening, SeamPlace::Opening);
    if (edit.closing) seams.emplace_back(&*edit.closing, SeamPlace::Closing);
    return seams;
}

/// The length that was given; nothing where the clips decide.
std::optional<std::int64_t> givenLength(const Edit& edit, const EditSeam& seam, const SettledSeam& settled,
                                        FrameRate rate) {
    if (placementOf(settled.effect) == Placement::Cut) return 0;
    if (seam.duration) return evenFrames(seam.duration->value.frames(rate));
    if (seam.speed || edit.seams.speed) return settled.effect.info.frames;
    if (edit.seams.duration) return evenFrames(edit.seams.duration->value.frames(rate));
    return std::nullopt;
}

}  // namespace

const char* usualEffect(SeamPlace place) {
    return place == SeamPlace::Closing ? "wash-out" : place == SeamPlace::Opening ? "wash-in" : "wash-away";
}

std::vector<SettledSeam> settleSeams(const Edit& edit, const PluginModule& module) {
    std::vector<SettledSeam> settled;
    for (const auto& [seam, place] : seamsOf(edit)) settled.push_back(settle(edit, *seam, place, module));
    return settled;
}

void settleLengths(const Edit& edit, const std::vector<PlannedClip>& clips, FrameRate rate,
                   std::vector<SettledSeam>& seams, std::vector<std::string>& remarks) {
    const std::int64_t usual = evenFrames(std::max<std::int64_t>(2, kUsualLength.frames(rate)));
    std::vector<SeamWish> between;
    std::optional<SeamWish> opening;
    std::optional<SeamWish> closing;
    const auto all = seamsOf(edit);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto& [seam, place] = all[i];
        SeamWish wish{seams[i].effect.id, placementOf(seams[i].effect),
                      givenLength(edit, *seam, seams[i], rate)};
        seams[i].shortened = !wish.frames;
        if (place == SeamPlace::Between)
            between.push_back(std::move(wish));
        else
            (place == SeamPlace::Opening ? opening : closing) = std::move(wish);
    }
    const std::vector<std::int64_t> lengths = fitSeams(clips, between, opening, closing, usual);
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        seams[i].frames = lengths[i];
        seams[i].shortened = seams[i].shortened && lengths[i] < usual;
        if (!seams[i].shortened) continue;
        const SeamPlace place = all[i].second;
        const std::string where = place == SeamPlace::Opening   ? std::string("the opening")
                                  : place == SeamPlace::Closing ? std::string("the closing")
                                                                : fmt::format("seam {}", i + 1);
        remarks.push_back(
            fmt::format("{}: {} frames instead of {}, as long as its clips allow", where, lengths[i], usual));
    }
}

}  // namespace tumblewash::edit
