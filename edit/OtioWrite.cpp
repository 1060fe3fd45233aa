#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "edit/Errors.h"
#include "edit/Otio.h"
#include "edit/Words.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

using Json = nlohmann::ordered_json;

/// The rate as the decimal that other programs recognise: the fraction's own value.
Json rationalTime(std::int64_t frames, media::FrameRate rate) {
    return {
        {"OTIO_SCHEMA", "RationalTime.1"}, {"rate", rate.value()}, {"value", static_cast<double>(frames)}};
}

Json timeRange(std::int64_t start, std::int64_t frames, media::FrameRate rate) {
    return {{"OTIO_SCHEMA", "TimeRange.1"},
            {"duration", rationalTime(frames, rate)},
            {"start_time", rationalTime(start, rate)}};
}

std::string nameOf(const CutClip& clip) {
    return media::printable(std::filesystem::path(clip.file).filename().string());
}

Json item(const char* schema, const std::string& name, Json range) {
    return {{"OTIO_SCHEMA", schema},
            {"metadata", Json::object()},
            {"name", name},
            {"source_range", std::move(range)},
            {"effects", Json::array()},
            {"markers", Json::array()},
            {"enabled", true}};
}

Json gap(std::int64_t frames, media::FrameRate rate) {
    return item("Gap.1", "", timeRange(0, frames, rate));
}

Json clip(const CutClip& cut, media::FrameRate rate) {
    Json out = item("Clip.1", nameOf(cut), timeRange(cut.start + cut.in, cut.frames(), rate));
    std::error_code ignored;
    const std::string path = std::filesystem::absolute(cut.file, ignored).string();
    out["media_reference"] = {{"OTIO_SCHEMA", "ExternalReference.1"},
                              {"metadata", Json::object()},
                              {"name", ""},
                              {"available_range", nullptr},
                              {"target_url", fileUrl(path)}};
    return out;
}

Json transition(const CutSeam& seam, media::FrameRate rate) {
    Json said = Json::object();
    if (seam.sound) said["audio"] = wordFor(audioWords(), *seam.sound);
    if (seam.direction) said["direction"] = wordFor(directionWords(), *seam.direction);
    said["effect"] = seam.effect;
    said["placement"] = seam.halves ? "halves" : "overlap";
    if (seam.seed) said["seed"] = *seam.seed;
    said["version"] = 1;
    return {{"OTIO_SCHEMA", "Transition.1"},
            {"metadata", {{"tumblewash", std::move(said)}}},
            {"name", seam.effect},
            {"in_offset", rationalTime(seam.before, rate)},
            {"out_offset", rationalTime(seam.after, rate)},
            {"transition_type", "Custom_Transition"}};
}

/// One track: pictures, or the same stretches as sound with gaps where a clip has none.
Json track(const CutList& list, bool sound) {
    Json children = Json::array();
    if (list.opening) children.push_back(transition(*list.opening, list.rate));
    for (std::size_t i = 0; i < list.clips.size(); ++i) {
        const CutClip& cut = list.clips[i];
        if (i > 0 && list.seams[i - 1]) children.push_back(transition(*list.seams[i - 1], list.rate));
        const bool empty = cut.file.empty() || (sound && !cut.sounds);
        children.push_back(empty ? gap(cut.frames(), list.rate) : clip(cut, list.rate));
    }
    if (list.closing) children.push_back(transition(*list.closing, list.rate));
    Json out = item("Track.1", sound ? "A1" : "V1", nullptr);
    out["children"] = std::move(children);
    out["kind"] = sound ? "Audio" : "Video";
    return out;
}

}  // namespace

std::string fileUrl(const std::string& path) {
    static constexpr std::string_view kPlain = "/-._~";
    std::string url = "file://";
    for (const char c : path) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (letter || kPlain.find(c) != std::string_view::npos)
            url += c;
        else
            url += fmt::format("%{:02X}", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
    return url;
}

std::string otioText(const CutList& list, std::vector<std::string>& remarks) {
    bool sound = false;
    for (const CutClip& cut : list.clips) {
        sound = sound || cut.sounds;
        if (media::isPattern(cut.file))
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: this program draws it itself; other programs need a file", cut.file));
    }
    for (const auto& seam : list.seams)
        if (seam && seam->halves) {
            remarks.emplace_back(
                "morphs take their frames from within their clips; other programs may look for pictures "
                "beyond the cut");
            break;
        }
    Json tracks = Json::array();
    tracks.push_back(track(list, false));
    if (sound) tracks.push_back(track(list, true));
    Json stack = item("Stack.1", "tracks", nullptr);
    stack["children"] = std::move(tracks);
    const Json timeline{{"OTIO_SCHEMA", "Timeline.1"},
                        {"metadata", Json::object()},
                        {"name", media::printable(list.title)},
                        {"global_start_time", nullptr},
                        {"tracks", std::move(stack)}};
    return timeline.dump(4) + "\n";
}

}  // namespace tumblewash::edit
