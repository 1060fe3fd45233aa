#include "studio/Plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "edit/Effects.h"
#include "edit/Report.h"
#include "edit/Words.h"
#include "effects/Effect.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::studio {

using edit::Clip;
using edit::FramePlan;
using edit::PixelSize;
using edit::Placement;
using edit::PlannedClip;
using edit::Segment;
using edit::SettledSeam;
using Json = nlohmann::ordered_json;

namespace {

std::size_t between(const Plan& plan) {
    return plan.edit.clips.empty() ? 0 : plan.edit.clips.size() - 1;
}

/// What seam `seam` takes of clip `clip`.
std::int64_t taken(const Plan& plan, std::size_t seam, std::size_t clip) {
    const SettledSeam& settled = plan.request.seams[seam];
    const std::int64_t n =
        placementOf(settled.effect) == Placement::Halves ? settled.frames / 2 : settled.frames;
    if (seam < between(plan)) return seam == clip || seam + 1 == clip ? n : 0;
    const bool opening = plan.edit.opening && seam == between(plan);
    return clip == (opening ? 0 : plan.edit.clips.size() - 1) ? n : 0;
}

std::vector<std::size_t> clipsOf(const Plan& plan, std::size_t seam) {
    if (seam < between(plan)) return {seam, seam + 1};
    const bool opening = plan.edit.opening && seam == between(plan);
    return {opening ? 0 : plan.edit.clips.size() - 1};
}

const char* placeWord(const edit::Effect& effect) {
    switch (placementOf(effect)) {
        case Placement::Before:
            return "opening";
        case Placement::After:
            return "closing";
        default:
            return "between";
    }
}

std::string nameOf(const edit::EditClip& clip) {
    if (clip.title) return *clip.title;
    if (clip.black()) return "black";
    if (media::isPattern(clip.file)) return clip.file.substr(0, clip.file.find('?'));
    return media::quotedName(std::filesystem::path(clip.file).filename().string());
}

Json clipJson(const Plan& plan, std::size_t i) {
    const Clip& clip = plan.request.clips[i];
    const char* kind = clip.isBlack()                                ? "black"
                       : clip.info().kind == media::MediaKind::still ? "still"
                                                                     : "clip";
    return {{"name", nameOf(plan.edit.clips[i])},
            {"kind", kind},
            {"first", plan.request.plan.clipOrigins[i]},
            {"frames", clip.frames()},
            {"in", clip.in()},
            {"whole", clip.wholeFrames()},
            {"sound", clip.info().hasAudio}};
}

Json seamJson(const Plan& plan, std::size_t i) {
    const SettledSeam& seam = plan.request.seams[i];
    const bool inside = i < between(plan);
    const char* place = inside ? "between" : plan.edit.opening && i == between(plan) ? "opening" : "closing";
    const Segment* segment = segmentOf(plan.request.plan, i);
    std::int64_t first = segment ? segment->first : 0;
    if (!segment && inside) first = plan.request.plan.clipOrigins[i + 1];
    return {{"place", place},
            {"effect", seam.effect.id},
            {"first", first},
            {"frames", seam.frames},
            {"most", mostFrames(plan, i, placementOf(seam.effect))},
            {"mostOverlap", mostFrames(plan, i, inside ? Placement::Overlap : placementOf(seam.effect))},
            {"direction", edit::directionName(seam.direction)},
            {"seed", seam.seed},
            {"sound", wordFor(edit::audioWords(), seam.sound)},
            {"shortened", seam.shortened}};
}

}  // namespace

const Segment* segmentOf(const FramePlan& plan, std::size_t seam) {
    for (const Segment& segment : plan.segments)
        if (segment.transition == static_cast<int>(seam)) return &segment;
    return nullptr;
}

const Segment* segmentAt(const FramePlan& plan, std::int64_t frame) {
    const auto after =
        std::upper_bound(plan.segments.begin(), plan.segments.end(), frame,
                         [](std::int64_t wanted, const Segment& segment) { return wanted < segment.first; });
    if (after == plan.segments.begin()) return nullptr;
    const Segment& segment = *std::prev(after);
    return frame < segment.first + segment.count ? &segment : nullptr;
}

std::int64_t mostFrames(const Plan& plan, std::size_t seam, Placement placement) {
    if (placement == Placement::Cut) placement = Placement::Overlap;
    std::int64_t most = std::int64_t{1} << 40;
    for (const std::size_t clip : clipsOf(plan, seam)) {
        std::int64_t left = plan.request.clips[clip].frames();
        for (std::size_t other = 0; other < plan.request.seams.size(); ++other)
            if (other != seam) left -= taken(plan, other, clip);
        most = std::min(most, placement == Placement::Halves ? 2 * left : left);
    }
    return std::max<std::int64_t>(0, most - most % 2);
}

FramePlan planWith(const Plan& plan, std::size_t seam, const edit::Effect& effect) {
    std::vector<PlannedClip> clips;
    for (const Clip& clip : plan.request.clips) clips.push_back({clip.path(), clip.frames()});
    std::vector<SettledSeam> seams = plan.request.seams;
    SettledSeam& changed = seams.at(seam);
    changed.effect = effect;
    if (placementOf(effect) == Placement::Cut) {
        changed.frames = 0;
    } else {
        const std::int64_t second = edit::evenFrames(std::max<std::int64_t>(
            2, edit::TimeSpan{edit::TimeSpan::Unit::Microseconds, 1000000}.frames(plan.request.rate)));
        changed.frames = std::min(changed.frames > 0 ? changed.frames : second,
                                  mostFrames(plan, seam, placementOf(effect)));
    }
    return planFrames(plan.edit, clips, seams);
}

PixelSize sizeWithin(PixelSize size, int width, int height) {
    const double scale =
        std::min({1.0, static_cast<double>(width) / size.width, static_cast<double>(height) / size.height});
    const auto even = [&](int side) { return std::max(16, 2 * static_cast<int>(side * scale / 2 + 0.5)); };
    return {even(size.width), even(size.height)};
}

std::int64_t firstLook(const Plan& plan) {
    if (between(plan) == 0) return 0;
    const Segment* segment = segmentOf(plan.request.plan, 0);
    return segment ? segment->first + segment->count / 2 : plan.request.plan.clipOrigins[1];
}

Json planJson(const Plan& plan) {
    const edit::MovieRequest& request = plan.request;
    Json json{{"width", request.size.width},   {"height", request.size.height},
              {"rate", request.rate.value()},  {"rateText", edit::describe(request.rate)},
              {"frames", request.plan.frames}, {"look", firstLook(plan)},
              {"sound", request.sound},        {"clips", Json::array()},
              {"seams", Json::array()},        {"notes", request.notes},
              {"remarks", request.remarks}};
    for (std::size_t i = 0; i < request.clips.size(); ++i) json["clips"].push_back(clipJson(plan, i));
    for (std::size_t i = 0; i < request.seams.size(); ++i) json["seams"].push_back(seamJson(plan, i));
    return json;
}

Json effectsJson(const host::PluginModule& module) {
    Json list = Json::array();
    for (const edit::Effect& effect : edit::allEffects(module)) {
        const auto& record = plugin::effectRecord(static_cast<short>(effect.index));
        list.push_back(
            {{"id", effect.id},
             {"name", effect.name},
             {"place", placeWord(effect)},
             {"knobs", effects::hasKnobs(record)},
             {"field", record.field != plugin::FieldMaker::none || placementOf(effect) == Placement::Halves},
             {"halves", placementOf(effect) == Placement::Halves}});
    }
    return list;
}

}  // namespace tumblewash::studio
