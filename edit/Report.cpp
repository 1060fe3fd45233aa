#include "edit/Report.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "edit/Decibels.h"
#include "media/Quoting.h"
#include "media/Reader.h"

namespace tumblewash::edit {

using host::AudioLevels;
using media::FrameRate;
using media::quotedName;

namespace {

using Json = nlohmann::ordered_json;

Json rateJson(FrameRate rate) {
    return {{"num", rate.num}, {"den", rate.den}};
}

Json lightJson(const std::optional<media::MasteringDisplay>& mastering,
               const std::optional<media::LightLevel>& light) {
    Json json;
    if (mastering) json["masteringNits"] = {mastering->minNits, mastering->maxNits};
    if (light) {
        json["maxCLL"] = light->maxContent;
        json["maxFALL"] = light->maxAverage;
    }
    return json;
}

Json colourJson(const media::ClipColour& colour) {
    Json json{{"signal", transferWord(colour.transfer)},
              {"transfer", colour.transferName},
              {"primaries", colour.primariesName},
              {"matrix", colour.matrixName},
              {"range", colour.fullRange ? "full" : "limited"},
              {"depth", colour.depth},
              {"chroma", colour.chroma},
              {"alpha", colour.alpha}};
    if (colour.hasProfile) json["profile"] = colour.profile.empty() ? "ICC" : colour.profile;
    if (colour.dolbyVision) json["dolbyVision"] = *colour.dolbyVision;
    if (colour.hdr10Plus) json["hdr10Plus"] = true;
    const Json light = lightJson(colour.mastering, colour.light);
    if (!light.is_null()) json["light"] = light;
    return json;
}

Json movieColourJson(const media::MovieColour& colour) {
    Json json{{"signal", transferWord(colour.transfer)}, {"depth", colour.depth}};
    const Json light = lightJson(colour.mastering, colour.light);
    if (!light.is_null()) json["light"] = light;
    return json;
}

/// Decibels with two decimals; null for silence.
Json decibelsJson(double linear) {
    return linear > 0 ? Json(std::round(decibelsOf(linear) * 100) / 100) : Json();
}

Json clipJson(const ReportedClip& clip) {
    Json json{{"file", quotedName(clip.file)}, {"kind", clip.kind},     {"width", clip.size.width},
              {"height", clip.size.height},    {"frames", clip.frames}, {"sound", clip.sound}};
    if (clip.gain != 1) json["gain"] = decibelsJson(clip.gain);
    if (clip.rate) json["rate"] = rateJson(clip.rate);
    json["colour"] = colourJson(clip.colour);
    return json;
}

Json soundJson(const Report& report) {
    Json json{{"policy", report.audio},
              {"channels", report.channels},
              {"sampleRate", report.sampleRate},
              {"samples", report.samples}};
    if (!report.music.empty()) json["music"] = quotedName(report.music);
    json["truePeak"] = decibelsJson(report.told.truePeak);
    if (report.limiter)
        json["limiter"] = {{"reduction", decibelsJson(report.told.gain)}, {"samples", report.told.limited}};
    else
        json["overFullScale"] = report.told.over;
    return json;
}

Json transitionJson(const ReportedTransition& t, bool sound) {
    Json json{{"effect", t.id},     {"index", t.index}, {"name", t.name},    {"firstFrame", t.firstFrame},
              {"frames", t.frames}, {"clipA", t.clipA}, {"firstA", t.firstA}};
    if (t.clipB >= 0) {
        json["clipB"] = t.clipB;
        json["firstB"] = t.firstB;
    }
    json["direction"] = t.direction;
    json["seed"] = t.seed;
    json["sessions"] = t.sessions;
    if (sound) {
        Json levels = Json::array();
        for (const AudioLevels& pair : t.levels) levels.push_back({pair.outgoing, pair.incoming});
        json["levels"] = std::move(levels);
    }
    json["fades"] = {{"fadeIn", t.clip.fadeIn != 0},
                     {"fadeInFrames", t.clip.ver2.fadeInFrames},
                     {"fadeOut", t.clip.fadeOut != 0},
                     {"fadeOutFrames", t.clip.ver2.fadeOutFrames}};
    json["seconds"] = t.seconds;
    return json;
}

Json copiesJson(const ReportedCopies& copies) {
    Json json{{"copied", copies.copied}, {"encoded", copies.encoded}};
    if (!copies.why.empty()) json["why"] = copies.why;
    json["runs"] = Json::array();
    for (const ReportedCopies::Run& run : copies.runs) {
        Json one{{"frames", run.frames}};
        if (run.clip >= 0) {
            one["clip"] = run.clip;
            one["first"] = run.first;
        }
        json["runs"].push_back(std::move(one));
    }
    if (copies.soundSeconds > 0) json["soundSeconds"] = copies.soundSeconds;
    return json;
}

}  // namespace

ReportedClip reportedClip(const Clip& clip) {
    const media::MediaInfo& info = clip.info();
    return {clip.path(),
            clip.isBlack()                         ? "black"
            : info.kind == media::MediaKind::still ? "still"
                                                   : "clip",
            {info.width, info.height},
            info.rate,
            clip.frames(),
            info.hasAudio,
            clip.gain(),
            info.colour};
}

std::string directionName(HYPluginDirection direction) {
    switch (direction) {
        case kPluginDirectionUp:
            return "up";
        case kPluginDirectionDown:
            return "down";
        case kPluginDirectionLeft:
            return "left";
        case kPluginDirectionRight:
            return "right";
        default:
            return "none";
    }
}

std::string limiterLine(const Report& report, bool on) {
    if (on && report.told.limited > 0)
        return fmt::format(
            "sound: peaks of {:+.1f} dBTP are limited to {:.0f}, by up to {:.1f} dB; --no-limiter leaves "
            "them",
            decibelsOf(report.told.truePeak), Limiter::kCeilingDb, -decibelsOf(report.told.gain));
    if (!on && report.told.over > 0)
        return fmt::format("sound: {} sample{} of {} beyond full scale, up to {:+.1f} dBTP", report.told.over,
                           report.told.over == 1 ? "" : "s", report.samples,
                           decibelsOf(report.told.truePeak));
    return {};
}

std::vector<std::string> lossesOf(const Report& report) {
    std::vector<std::string> lines = report.conversions;
    lines.insert(lines.end(), report.warnings.begin(), report.warnings.end());
    return lines;
}

std::string reportJson(const Report& report) {
    Json json{{"program", report.program},
              {"command", report.command},
              {"output", quotedName(report.output)},
              {"plugin", quotedName(report.plugin)},
              {"width", report.size.width},
              {"height", report.size.height},
              {"rate", rateJson(report.rate)},
              {"frames", report.frames},
              {"seconds", secondsOf(report.frames, report.rate)}};
    json["sound"] = report.sound ? soundJson(report) : Json();
    if (report.colour) json["colour"] = movieColourJson(*report.colour);
    json["clips"] = Json::array();
    for (const ReportedClip& clip : report.clips) json["clips"].push_back(clipJson(clip));
    json["transitions"] = Json::array();
    for (const ReportedTransition& t : report.transitions)
        json["transitions"].push_back(transitionJson(t, report.sound));
    if (report.copies) json["copies"] = copiesJson(*report.copies);
    json["warnings"] = lossesOf(report);
    if (!report.remarks.empty()) json["remarks"] = report.remarks;
    json["timings"] = {{"open", report.openSeconds},     {"render", report.renderSeconds},
                       {"finish", report.finishSeconds}, {"picture", report.pictureSeconds},
                       {"sound", report.soundSeconds},   {"total", report.seconds}};
    // Names are quoted where they are no UTF-8; whatever else is none is replaced rather than refused at the
    // very end of a run.
    return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace tumblewash::edit
