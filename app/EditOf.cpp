#include "app/EditOf.h"

#include <fmt/format.h>

#include <filesystem>

#include "app/OptionTable.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/Folder.h"
#include "edit/Fragment.h"
#include "edit/Nearest.h"
#include "edit/Shuffle.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::Edit;
using edit::EditClip;
using edit::EditSeam;
using edit::EditTime;
using edit::Problem;
using edit::Refusal;

namespace {

EditClip clipOf(const std::string& input) {
    constexpr std::string_view kBlack = "black:";
    EditClip clip;
    std::error_code ignored;
    if (input.rfind(kBlack, 0) == 0 && !std::filesystem::exists(input, ignored)) {
        clip.length = EditTime{edit::parseTime(input.substr(kBlack.size())), {}};
        if (clip.length->value.count == 0)
            throw Refusal(Problem::BadRequest, fmt::format("{}: black needs a length, e.g. black:2s", input));
        return clip;
    }
    edit::Fragment fragment =
        media::isPattern(input) ? edit::Fragment{input, {}, {}} : edit::splitFragment(input);
    clip.file = std::move(fragment.file);
    clip.in = fragment.in;
    clip.out = fragment.out;
    return clip;
}

/// The ids of the seams' effects: one for all, or one for each.
std::vector<std::string> effectsOf(const Options& o, std::size_t seams) {
    if (o.effects == std::vector<std::string>{"shuffle"}) {
        const std::vector<std::string> pool = edit::shuffledEffectIds();
        std::vector<std::string> ids;
        for (const int draw : edit::drawShuffled(o.seed, static_cast<int>(pool.size()), seams))
            ids.push_back(pool[static_cast<std::size_t>(draw)]);
        return ids;
    }
    std::vector<std::string> ids;
    for (const std::string& text : o.effects) {
        if (text == "shuffle")
            throw Refusal(Problem::BadRequest, "--effect shuffle draws every seam's effect; give it alone");
        if (edit::synonymOf(text, {"shuffle"}) == "shuffle")
            throw Refusal(
                Problem::BadRequest,
                fmt::format("unknown effect '{}' (did you mean shuffle?); tumblewash list shows all", text));
        ids.push_back(edit::effectId(text));
    }
    return ids;
}

void refuseTooMany(const char* option, const char* what, std::size_t given, std::size_t seams) {
    if (given <= 1 || given <= seams) return;
    throw Refusal(Problem::BadRequest,
                  fmt::format("{} names {} {} for {}; give one, or no more than there are seams", option,
                              given, what, seams == 1 ? "one seam" : fmt::format("{} seams", seams)));
}

/// The seams between clips: what all share goes to the edit, what goes round to each.
void putSeams(const Options& o, Edit& edit) {
    const std::size_t seams = edit.clips.size() - 1;
    const std::vector<std::string> ids = effectsOf(o, seams);
    refuseTooMany("--effect", "effects", ids.size(), seams);
    refuseTooMany("--duration", "durations", o.durations.size(), seams);
    if (ids.size() == 1 && seams != 1) edit.seams.effect = ids.front();
    if (o.durations.size() == 1) edit.seams.duration = EditTime{o.durations.front(), {}};
    for (std::size_t i = 0; i < seams; ++i) {
        EditSeam seam;
        if (ids.size() > 1 || (ids.size() == 1 && seams == 1)) seam.effect = ids[i % ids.size()];
        if (o.durations.size() > 1) seam.duration = EditTime{o.durations[i % o.durations.size()], {}};
        if (seam != EditSeam()) edit.clips[i + 1].seam = seam;
    }
}

/// The one seam of out and in.
EditSeam endOf(const Options& o) {
    EditSeam seam;
    refuseTooMany("--effect", "effects", o.effects.size(), 1);
    refuseTooMany("--duration", "durations", o.durations.size(), 1);
    if (!o.effects.empty()) seam.effect = edit::effectId(o.effects.front());
    if (!o.durations.empty()) seam.duration = EditTime{o.durations.front(), {}};
    return seam;
}

std::optional<EditSeam> chosen(const std::optional<EndEffect>& end) {
    if (!end) return std::nullopt;
    EditSeam seam;
    seam.effect = edit::effectId(end->effect);
    if (end->duration) seam.duration = EditTime{*end->duration, {}};
    return seam;
}

/// The effects of an edit from another program, which go round those of its seams that have none of ours.
void putForeignEffects(const Options& o, Edit& edit) {
    std::vector<EditSeam*> seams;
    for (EditClip& clip : edit.clips)
        if (clip.seam && !clip.seam->effect) seams.push_back(&*clip.seam);
    const std::vector<std::string> ids = effectsOf(o, seams.size());
    if (ids.size() > 1) refuseTooMany("--effect", "effects", ids.size(), seams.size());
    if (ids.size() == 1) edit.seams.effect = ids.front();
    for (std::size_t i = 0; ids.size() > 1 && i < seams.size(); ++i) seams[i]->effect = ids[i % ids.size()];
}

void refuseForeignLengths(const Options& o) {
    if (o.durations.empty() && !o.speed) return;
    throw Refusal(
        Problem::BadRequest,
        fmt::format("{}: {} sets the length of its seams; to change it, write an edit with tumblewash plan",
                    o.speed ? "--speed" : "--duration", media::quotedName(o.inputs.front())));
}

/// What an edit says beside its clips and their seams.
void putRest(const Options& o, Edit& edit) {
    if (o.speed) edit.seams.speed = edit::Written<float>{*o.speed, {}};
    edit.seams.direction = o.direction;
    if (o.seed != 1) edit.seams.seed = o.seed;
    edit.output.size = o.size;
    if (o.fps) edit.output.rate = edit::Written<media::FrameRate>{*o.fps, {}};
    edit.output.fit = o.fit;
    edit.output.crf = o.crf;
    if (!o.preset.empty()) edit.output.preset = o.preset;
    edit.output.colour = o.wishes;
    edit.output.copyBodies = o.copyBodies;
    edit.still = EditTime{o.still, {}};
    if (o.hold)
        edit.hold = EditTime{*o.hold, {}};
    else if (o.command == Command::Slideshow && !isGiven(o, "--still"))
        edit.hold = EditTime{{edit::TimeSpan::Unit::Microseconds, 3000000}, {}};
    edit.stillMotion = o.stillMotion;
    if (!o.music.empty()) edit.music = edit::EditMusic{o.music, {o.musicGain, {}}, {o.duck, {}}};
    // Across seams two sounds meet, which a straight line would let dip; one clip alone only fades.
    const bool oneClip = o.command == Command::Out || o.command == Command::In;
    edit.sound = o.audio.value_or(oneClip ? host::AudioPolicy::natural : host::AudioPolicy::equalPower);
    edit.channels = o.channels;
    edit.limiter = o.limiter;
    if (o.loudness) edit.loudness = edit::Written<double>{*o.loudness, {}};
    edit.chapters = o.chapters;
    if (!o.title.empty()) edit.title = o.title;
    if (!o.comment.empty()) edit.comment = o.comment;
}

/// The clips of the command line, folders as what they hold.
std::vector<EditClip> clipsOf(const Options& o) {
    std::vector<EditClip> clips;
    for (const std::string& input : o.inputs) {
        if (!edit::isFolder(input)) {
            clips.push_back(clipOf(input));
            continue;
        }
        const edit::FolderMedia found = edit::mediaOf(input, o.output, &interruptFlag());
        const std::string line = edit::leftOutLine(input, found);
        if (!line.empty() && !o.quiet) say("{}", line);
        for (const std::string& file : found.files) {
            EditClip clip;
            clip.file = file;
            clips.push_back(std::move(clip));
        }
    }
    return clips;
}

}  // namespace

Edit editOf(const Options& o) {
    Edit edit;
    edit.clips = clipsOf(o);
    const CommandRow& row = commandRow(o.command);
    if (row.most == 1 && edit.clips.size() > 1)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: a folder of {} clips; {} takes one",
                                  media::quotedName(o.inputs.front()), edit.clips.size(), row.name));
    if (o.command == Command::Join && edit.clips.size() < 2 && !asksForCopies(o))
        throw Refusal(Problem::BadRequest, fmt::format("{} needs at least 2 inputs: tumblewash {} {}",
                                                       row.name, row.name, row.inputs));
    edit.opening = chosen(o.opening);
    edit.closing = chosen(o.closing);
    if (o.command == Command::Out)
        edit.closing = endOf(o);
    else if (o.command == Command::In)
        edit.opening = endOf(o);
    else
        putSeams(o, edit);
    putRest(o, edit);
    return edit;
}

Edit exchangedEdit(const Options& o, std::vector<std::string>& remarks) {
    const std::string& file = o.inputs.front();
    refuseForeignLengths(o);
    edit::ExchangeSettings settings = o.exchange;
    settings.fps = o.fps;
    Edit edit = edit::readExchange(file, settings, remarks);
    const std::optional<edit::Written<media::FrameRate>> rate = edit.output.rate;
    const std::optional<std::string> title = edit.title;
    putRest(o, edit);
    if (rate) edit.output.rate = rate;
    if (o.title.empty()) edit.title = title;
    if (o.opening) edit.opening = chosen(o.opening);
    if (o.closing) edit.closing = chosen(o.closing);
    putForeignEffects(o, edit);
    return edit;
}

Edit movedTo(const std::string& document, const Edit& edit) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path folder = fs::path(document).parent_path();
    const fs::path from = fs::weakly_canonical(folder.empty() ? fs::path(".") : folder, ignored);
    const fs::path now =
        fs::weakly_canonical(edit.folder.empty() ? fs::path(".") : fs::path(edit.folder), ignored);
    Edit moved = edit;
    moved.folder = folder.string();
    if (from == now) return moved;
    const auto move = [&](std::string& name) {
        if (name.empty() || media::isPattern(name) || fs::path(name).is_absolute()) return;
        // The file's own name stays, even where it is a link.
        const fs::path file = now / name;
        const fs::path parent = fs::weakly_canonical(file.parent_path(), ignored);
        name = (parent / file.filename()).lexically_proximate(from).string();
    };
    for (EditClip& clip : moved.clips) move(clip.file);
    if (moved.music) move(moved.music->file);
    return moved;
}

}  // namespace tumblewash::app
