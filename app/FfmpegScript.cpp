#include "app/FfmpegScript.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "app/EditOf.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Written.h"
#include "edit/Errors.h"
#include "edit/Outputs.h"
#include "edit/Report.h"
#include "edit/Request.h"
#include "edit/Shell.h"
#include "media/Fitting.h"
#include "media/Pattern.h"
#include "media/Quoting.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::app {

using edit::directionName;
using edit::MovieRequest;
using edit::Problem;
using edit::Refusal;
using media::quotedName;
using plugin::EffectRecord;

namespace {

/// The filter that takes one clip and does, laid over the other clip, what the effect does to two.
const EffectRecord& filterFor(const EffectRecord& effect) {
    for (const EffectRecord& filter : plugin::effectCatalogue())
        if (effect.overnext && !filter.overnext && filter.driver == effect.driver &&
            filter.field == effect.field && filter.reveal == effect.reveal)
            return filter;
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: ffmpeg's frei0r filter takes one picture, and this effect blends two; "
                              "use join, or a wash, a tilt or a tumble",
                              effect.id));
}

std::string fileStem(const EffectRecord& filter) {
    std::string stem = std::string("tumblewash_") + filter.id;
    std::replace(stem.begin(), stem.end(), '-', '_');
    return stem;
}

/// A file name inside a filter graph needs four kinds of quotes; a plain one needs none.
void refuseSpecialName(const std::string& name) {
    const bool plain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-' || c == '/';
    });
    if (!plain)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: ffmpeg reads this name inside a filter graph; use "
                                  "letters, digits, '.', '_', '-' and '/' only",
                                  quotedName(name)));
}

/// The scaler's default halves the colour between the rows and rounds it; with these flags ffmpeg's pictures
/// are ours.
constexpr const char* kExactly = "bicubic+accurate_rnd+full_chroma_int";

/// At 0 a filter hands its picture through; the first picture of a tumble has begun already: it has its
/// border.
double firstPosition(const EffectRecord& filter) {
    return filter.driver == plugin::EffectDriver::tumble ? 0.000001 : 0.0;
}

/// What this program reads and ffmpeg does not.
void refuseForeignClips(const edit::Edit& edit) {
    for (const edit::EditClip& clip : edit.clips)
        if (clip.black() || clip.in || clip.out || media::isPattern(clip.file))
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}: ffmpeg reads whole files only; use join, or cut the clip first",
                                      clip.black() ? "black" : quotedName(clip.file)));
}

class Script {
  public:
    Script(const Options& options, const MovieRequest& request)
        : options_(options),
          request_(request),
          seam_(request.seams.front()),
          effect_(plugin::effectRecord(static_cast<short>(seam_.effect.index))),
          filter_(filterFor(effect_)),
          first_(firstPosition(filter_)),
          framesA_(request.clips.front().frames()),
          framesB_(request.clips.back().frames()) {
        if (filter_.field == plugin::FieldMaker::washAway && (seam_.seed < 1 || seam_.seed > 1001))
            throw Refusal(
                Problem::BadRequest,
                fmt::format("--seed {}: frei0r parameters have steps of a thousandth; use 1 to 1001",
                            seam_.seed));
    }

    /// One line for each picture of the seam, half a picture early so that rounded times do not matter.
    std::string commands() const {
        std::string text = fmt::format("# {} over {} pictures; see the ffmpeg command printed with it\n",
                                       effect_.id, seam_.frames);
        const std::int64_t begins = effect_.reveal ? 0 : framesA_ - seam_.frames;
        for (std::int64_t k = 0; k <= seam_.frames; ++k)
            text += fmt::format(
                "{:.6f} frei0r filter_params '{}';\n",
                std::max(0.0, seconds(static_cast<double>(begins + k) - 0.5)),
                knobs(std::max(first_, static_cast<double>(k) / static_cast<double>(seam_.frames))));
        return text;
    }

    std::string line() const {
        const std::string a = clip(0), b = clip(1);
        const double begins = seconds(static_cast<double>(framesA_ - seam_.frames));
        const std::string moves = fmt::format("sendcmd=f={},frei0r=filter_name={}:filter_params='{}'",
                                              options_.output, fileStem(filter_), knobs(0));
        const std::string over = fmt::format(
            "[under][top]overlay=format=rgb:eof_action=pass,scale=flags={},format=yuv420p[v]", kExactly);
        std::string graph;
        if (effect_.reveal)
            graph =
                fmt::format("{},tpad=stop_duration={:.6f}[under];{},{},setpts=PTS-STARTPTS+{:.6f}/TB[top];{}",
                            a, seconds(static_cast<double>(framesB_ - seam_.frames)), b, moves, begins, over);
        else
            graph =
                fmt::format("{},{}[top];{},tpad=start_duration={:.6f}[under];{}", a, moves, b, begins, over);
        const bool sound = request_.clips.front().info().hasAudio && request_.clips.back().info().hasAudio;
        std::string maps = "-map '[v]'";
        if (sound) {
            graph +=
                fmt::format(";[0:a][1:a]acrossfade=d={:.6f}[a]", seconds(static_cast<double>(seam_.frames)));
            maps += " -map '[a]'";
        }
        // The graph has quotes of its own.
        return fmt::format("ffmpeg -i {} -i {} -filter_complex \"{}\" {} out.mp4",
                           edit::shellQuoted(options_.inputs[0]), edit::shellQuoted(options_.inputs[1]),
                           graph, maps);
    }

  private:
    double seconds(double frames) const {
        return frames * static_cast<double>(request_.rate.den) / static_cast<double>(request_.rate.num);
    }

    std::string knobs(double position) const {
        if (filter_.field != plugin::FieldMaker::washAway) return fmt::format("{:.6f}", position);
        return fmt::format("{:.6f}|{}|{:.3f}", position, directionName(seam_.direction),
                           (static_cast<double>(seam_.seed) - 1) / 1000);
    }

    /// Both clips at one size and one rate, as a join has them; ffmpeg turns pictures upright by itself.
    std::string clip(int which) const {
        const media::MediaInfo& info = request_.clips[static_cast<std::size_t>(which)].info();
        const bool interlaced = info.fields != media::FieldOrder::progressive;
        const auto [width, height] = request_.size;
        const media::Placement at =
            media::placeOf(info.width, info.height, width, height, media::Fit::contain, {true, interlaced});
        return fmt::format(
            "[{}:v]{}fps={}/{},scale={}:{}:flags={},format=rgba,pad={}:{}:{}:{},setsar=1,setpts=PTS-STARTPTS",
            which, interlaced ? "bwdif=mode=send_frame:parity=auto:deint=interlaced," : "", request_.rate.num,
            request_.rate.den, at.width, at.height, kExactly, width, height, at.padX, at.padY);
    }

    const Options& options_;
    const MovieRequest& request_;
    const edit::SettledSeam& seam_;
    const EffectRecord& effect_;
    const EffectRecord& filter_;
    double first_;
    std::int64_t framesA_;
    std::int64_t framesB_;
};

}  // namespace

void makeFfmpegScript(const Options& o) {
    refuseSpecialName(o.output);
    edit::RenderSettings settings;
    settings.cancel = &interruptFlag();
    const edit::Edit edit = editOf(o);
    refuseForeignClips(edit);
    const MovieRequest request = edit::prepareMovie(edit, settings);
    edit::checkFiles({o.inputs, o.output, 0, {}});
    for (const edit::Clip& clip : request.clips)
        if (clip.info().kind == media::MediaKind::still)
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}: ffmpeg-script works on clips, not stills; use join",
                                      quotedName(clip.path())));
    const Script script(o, request);
    edit::TextFile file(o.output, script.commands(), o.force);
    const std::string line = script.line();
    file.commit();
    noteWritten(o.output);
    if (!o.quiet)
        say("{}: run this where ffmpeg finds the frei0r plug-ins (see docs/hosts.md):", quotedName(o.output));
    printText(line + "\n");
}

}  // namespace tumblewash::app
