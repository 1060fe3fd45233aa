#include "edit/Request.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "edit/Chapters.h"
#include "edit/ClipGain.h"
#include "edit/Decibels.h"
#include "edit/Errors.h"
#include "edit/Missing.h"
#include "edit/OpenClips.h"
#include "edit/Outputs.h"
#include "edit/ResultShape.h"
#include "edit/Seams.h"
#include "edit/SoundCopying.h"
#include "edit/Threads.h"
#include "media/MusicFile.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::edit {

using host::AudioPolicy;
using host::PluginModule;
using media::checkTarget;
using media::Codec;
using media::codecFor;
using media::ColourMatrix;
using media::ColourPlan;
using media::ColourWishes;
using media::factsOf;
using media::FieldOrder;
using media::FrameRate;
using media::MediaInfo;
using media::MediaKind;
using media::MovieColour;
using media::movieKindOf;
using media::needsEvenSize;
using media::PixelLayout;
using media::planColours;
using media::quotedName;
using media::ReaderSettings;
using media::restLine;
using media::Writer;
using media::WriterSettings;

namespace {

// Only H.264 carries interlaced pictures here.
bool carriesFields(const std::string& output, const MovieColour& colour) {
    return movieKindOf(output) != nullptr && colour.codec == Codec::h264;
}

ReaderSettings readerSettings(const Edit& edit, const RenderSettings& settings, const MovieRequest& request) {
    ReaderSettings s;
    s.width = request.size.width;
    s.height = request.size.height;
    s.fit = fitOf(edit, false);
    s.rate = request.rate;
    // Nobody takes pictures where sound alone is rendered, or nothing.
    if (settings.soundOnly || settings.planOnly) s.prefetch = 0;
    s.sound = !settings.countOnly;
    s.cancel = settings.cancel;
    return s;
}

void checkOutputs(const RenderSettings& o, std::vector<std::string> inputs, std::int64_t pictures = 0) {
    inputs.insert(inputs.end(), o.reads.begin(), o.reads.end());
    if (!o.plugin.empty()) inputs.push_back(o.plugin);
    checkFiles({std::move(inputs), o.output, pictures, {o.report, o.mlt}});
}

/// Seams as the frame plan takes them.
struct PlannedSeams {
    std::vector<PlannedTransition> between;
    std::optional<PlannedTransition> opening;
    std::optional<PlannedTransition> closing;
};

PlannedSeams plannedSeams(const Edit& edit, const std::vector<SettledSeam>& settled) {
    PlannedSeams seams;
    for (const SettledSeam& seam : settled)
        seams.between.push_back({seam.effect.id, placementOf(seam.effect), seam.frames});
    const auto take = [&](std::optional<PlannedTransition>& into) {
        into = seams.between.back();
        seams.between.pop_back();
    };
    if (edit.closing) take(seams.closing);
    if (edit.opening) take(seams.opening);
    return seams;
}

/// Lengths of the seams and the plan, once the clips are counted.
void planRequest(const Edit& edit, MovieRequest& request) {
    // A still that is held has room for any seam.
    constexpr std::int64_t kRoom = 1'000'000'000;
    const auto held = [&](std::size_t i) {
        const EditClip& said = edit.clips[i];
        return edit.hold && !said.length && !said.out && !said.black() &&
               request.clips[i].info().kind == MediaKind::still;
    };
    std::vector<PlannedClip> clips;
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        const Clip& clip = request.clips[i];
        const bool still = clip.info().kind == MediaKind::still && !clip.isBlack();
        clips.push_back({quotedName(clip.path()), clip.frames() + (held(i) ? kRoom : 0),
                         still ? secondsOf(1, request.rate) : 0});
    }
    settleLengths(edit, clips, request.rate, request.seams, request.remarks);
    const PlannedSeams seams = plannedSeams(edit, request.seams);
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (!held(i)) continue;
        const std::optional<PlannedTransition> head =
            i > 0 ? std::optional(seams.between[i - 1]) : seams.opening;
        const std::optional<PlannedTransition> tail =
            i + 1 < clips.size() ? std::optional(seams.between[i]) : seams.closing;
        clips[i].frames =
            request.clips[i].frames() + (head ? takenAfter(*head) : 0) + (tail ? takenBefore(*tail) : 0);
        request.clips[i].last(clips[i].frames);
    }
    request.plan = planJoin(clips, seams.between, seams.opening, seams.closing);
}

}  // namespace

FramePlan planFrames(const Edit& edit, const std::vector<PlannedClip>& clips,
                     const std::vector<SettledSeam>& settled) {
    const PlannedSeams seams = plannedSeams(edit, settled);
    return planJoin(clips, seams.between, seams.opening, seams.closing);
}

void settleMoves(const Edit& edit, MovieRequest& request) {
    if (edit.stillMotion == StillMotion::none) return;
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        Clip& clip = request.clips[i];
        if (clip.isBlack() || clip.info().kind != MediaKind::still) continue;
        clip.move(drawMove(edit.stillMotion, edit.seams.seed.value_or(1), i,
                           secondsOf(clip.frames(), request.rate)));
    }
}

namespace {

/// What is rendered of the plan.
void settleRange(const RenderSettings& settings, MovieRequest& request) {
    request.end = request.plan.frames;
    if (!settings.only) return;
    const auto frame = [&](const TimeSpan& span) { return span.frames(request.rate); };
    if (settings.only->first) request.first = frame(*settings.only->first);
    if (settings.only->end) request.end = std::min(request.plan.frames, frame(*settings.only->end));
    if (request.first >= request.end)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("--only: nothing lies between frames {} and {}; the edit has {} ({:.2f} s)",
                        request.first, settings.only->end ? frame(*settings.only->end) : request.end,
                        request.plan.frames, secondsOf(request.plan.frames, request.rate)));
}

// What is asked of the colours. Without an output nothing is known of what it could hold.
ColourWishes wishesFor(const Edit& edit, const RenderSettings& settings) {
    const ColourWishes asked = settings.colour.orElse(edit.output.colour);
    if (!settings.output.empty()) return asked;
    ColourWishes known;
    known.alpha = asked.alpha;
    return known;
}

// Copies keep the depth of their clips, and the frames between them have it too.
bool deepForCopies(const CopyWish& wish, const RenderSettings& settings, const ColourWishes& wishes,
                   const std::vector<MediaInfo>& infos) {
    return wish.possible() && !settings.output.empty() && !wishes.depth && !wishes.alpha && !infos.empty() &&
           infos.front().kind == MediaKind::clip && infos.front().colour.depth == 10 &&
           carriesTenBits(settings.output, wishes.codec);
}

// Copies keep the rate of their sound as well.
int soundRateFor(const CopyWish& wish, const RenderSettings& settings, const std::vector<MediaInfo>& infos) {
    if (!wish.possible() || settings.output.empty()) return WriterSettings().sampleRate;
    return soundRateOf(infos, settings.output);
}

// The request as it is without copies, with what is known of them. Clips of the one that was tried are not
// counted again.
MovieRequest withoutCopies(const Edit& edit, const RenderSettings& settings, const CopyWish& wish,
                           ClipShelf* shelf, MovieRequest& tried) {
    RenderSettings full = settings;
    full.copyBodies = CopyBodies::never;
    full.shelf = shelf;
    MovieRequest request = prepareMovie(edit, full);
    if (std::string line = nothingCopiedLine(wish, *tried.copying); !line.empty())
        request.notes.push_back(std::move(line));
    request.copying = std::move(tried.copying);
    return request;
}

// Enough of the colours to check quality and codec before the clips are known.
MovieColour colourAsked(const ColourWishes& wishes, const std::string& output) {
    MovieColour out;
    out.depth = wishes.depth.value_or(factsOf(*wishes.codec).eight ? 8 : 10);
    out.codec = codecFor(output, wishes.codec, out.depth);
    if (factsOf(out.codec).bt601) out.matrix = ColourMatrix::bt601;
    return out;
}

// How pictures must be read for such a result.
void readAs(const MovieColour& colour, bool planar, int threads, ReaderSettings& reader) {
    reader.transfer = colour.transfer;
    if (planar) {
        reader.layout = colour.depth > 8 ? PixelLayout::yuv420p10 : PixelLayout::yuv420;
        reader.matrix = colour.matrix;
    } else {
        reader.layout = colour.depth > 8 ? PixelLayout::deep : PixelLayout::argb;
    }
    settleThreads(threads, colour, reader);
}

bool sameReading(const ReaderSettings& a, const ReaderSettings& b) {
    return a.transfer == b.transfer && a.layout == b.layout && a.matrix == b.matrix &&
           a.keepFields == b.keepFields && a.channels == b.channels && a.sampleRate == b.sampleRate;
}

std::vector<MediaInfo> shownOf(const std::vector<Clip>& clips) {
    std::vector<MediaInfo> infos;
    for (const Clip& clip : clips)
        if (!clip.isBlack()) infos.push_back(clip.info());
    return infos;
}

void checkWriter(const RenderSettings& o, const WriterSettings& settings) {
    if (!o.output.empty()) Writer::check(o.output, settings);
}

std::string clockTime(std::int64_t seconds) {
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

// A clip with a broken clock, or a slip of the keyboard, must not fill the disk for days.
void checkLength(const RenderSettings& settings, const MovieRequest& request) {
    const std::int64_t most = settings.longest.frames(request.rate);
    const std::int64_t asked = request.end - request.first;
    if (asked <= most) return;
    const auto lasts = [&](std::int64_t frames) {
        return clockTime(static_cast<std::int64_t>(secondsOf(frames, request.rate)));
    };
    throw Refusal(Problem::BadRequest,
                  fmt::format("the result would last {} ({} frames), more than {}; raise "
                              "--max-duration if that is intended",
                              lasts(asked), asked, lasts(most)));
}

}  // namespace

MovieRequest prepareMovie(const Edit& edit, const RenderSettings& settings) {
    MovieRequest request(openPlugin(settings.plugin));
    request.seams = settleSeams(edit, request.module);
    std::vector<std::string> inputs = filesOf(edit);

    // The output is refused with a stand-in size before any input is opened.
    WriterSettings& writer = request.writer;
    writer.width = writer.height = 16;
    writer.crf = edit.output.crf.value_or(-1);
    writer.preset = edit.output.preset.value_or("");
    writer.force = settings.force;
    ColourWishes wishes = wishesFor(edit, settings);
    writer.keepAlpha = wishes.alpha;
    writer.cancel = settings.cancel;
    const bool evenOnly = !settings.output.empty() && needsEvenSize(settings.output);
    checkOutputs(settings, inputs);
    for (const std::string& file : {settings.report, settings.mlt})
        if (!file.empty()) checkTarget(file, settings.force);
    if (wishes.codec && !wishes.alpha) writer.colour = colourAsked(wishes, settings.output);
    checkWriter(settings, writer);

    refuseMissing(inputs);
    const std::vector<MediaInfo> infos = probeFirst(edit, settings.cancel);
    const CopyWish copyWish = edit::copyWish(edit, settings);
    const bool deepened = deepForCopies(copyWish, settings, wishes, infos);
    if (deepened) wishes.depth = 10;
    const bool cutsOnly = std::all_of(request.seams.begin(), request.seams.end(), [](const SettledSeam& s) {
        return placementOf(s.effect) == Placement::Cut;
    });
    request.size =
        settleSize(edit.output.size, firstShown(edit, infos), evenOnly ? Edges::OnlyEven : Edges::PreferEven,
                   cutsOnly ? Reach::Cuts : Reach::Effects);
    request.rate = settleRate(edit, infos, settings.cancel, request.remarks);
    writer.width = request.size.width;
    writer.height = request.size.height;
    writer.rate = request.rate;
    checkWriter(settings, writer);
    writer.colour.reset();

    // Clips are opened once, as the first ones suggest; only when the others turn out to be of another kind
    // are they opened anew.
    const bool alpha = wishes.alpha;
    const auto colours = [&](const std::vector<MediaInfo>& of) {
        return planColours(of, wishes, settings.output, request.size.width, request.size.height);
    };
    ColourPlan plan = colours(infos);
    // Line order is kept where all clips have the first one's; pictures with transparency have none.
    FieldOrder fields = carriesFields(settings.output, plan.movie) && !alpha && !infos.empty()
                            ? infos.front().fields
                            : FieldOrder::progressive;
    ReaderSettings reader = readerSettings(edit, settings, request);
    reader.toneMap = wishes.map();
    reader.keepFields = fields != FieldOrder::progressive;
    reader.keepAlpha = alpha;
    const bool planar = evenOnly && !alpha;
    readAs(plan.movie, planar, settings.threads, reader);
    reader.sampleRate = soundRateFor(copyWish, settings, infos);
    reader.channels = channelsFor(edit, infos);
    // What is fitted to copies that cannot be made is planned once more.
    ClipShelf own;
    const bool maybeFitted = deepened || reader.sampleRate != WriterSettings().sampleRate;
    ClipShelf* const shelf = settings.shelf == nullptr && maybeFitted ? &own : settings.shelf;
    request.clips = openClips(edit, infos, reader, fields, shelf);
    plan = colours(shownOf(request.clips));
    const bool kept = carriesFields(settings.output, plan.movie) && !alpha &&
                      std::all_of(request.clips.begin(), request.clips.end(),
                                  [&](const Clip& clip) { return clip.fields() == fields; });
    if (!kept) fields = FieldOrder::progressive;
    ReaderSettings settled = reader;
    settled.keepFields = fields != FieldOrder::progressive;
    settled.channels = writer.channels = channelsFor(edit, shownOf(request.clips));
    settled.sampleRate = writer.sampleRate = soundRateFor(copyWish, settings, shownOf(request.clips));
    readAs(plan.movie, planar, settings.threads, settled);
    if (!sameReading(reader, settled)) request.clips = openClips(edit, infos, settled, fields, shelf);
    request.reader = settled;
    if (evenOnly) writer.colour = plan.movie;
    settleThreads(settings.threads, writer);
    request.fields = writer.fields = fields;
    request.clipSound =
        edit.sound != AudioPolicy::none && std::any_of(request.clips.begin(), request.clips.end(),
                                                       [](const Clip& c) { return c.info().hasAudio; });
    request.sound = writer.sound = request.clipSound || edit.music.has_value();
    request.limiter = edit.limiter;
    if (edit.music) {
        request.musicFile = musicOf(edit);
        request.musicGain = linearOf(edit.music->gain.value);
        request.musicDuck = edit.music->duck.value;
        media::MusicFile::check(request.musicFile, settings.cancel);
    }
    request.notes = std::move(plan.lines);
    for (const MediaInfo& info : shownOf(request.clips))
        if (std::string rest = restLine(info, request.clipSound ? writer.channels : 0); !rest.empty())
            request.notes.push_back(std::move(rest));
    checkWriter(settings, writer);

    planRequest(edit, request);
    settleMoves(edit, request);
    settleRange(settings, request);
    checkLength(settings, request);
    writer.title = edit.title.value_or("");
    writer.comment = edit.comment.value_or("");
    if (edit.chapters) writer.chapters = chaptersOf(edit, request.plan, request.first, request.end);
    writer.pictures = request.end - request.first;
    checkWriter(settings, writer);
    checkOutputs(settings, inputs, request.end - request.first);
    settleCopies(edit, settings, copyWish, request);
    // What is planned anew has measured its sound.
    const bool fitted = deepened || writer.sampleRate != WriterSettings().sampleRate;
    if (fitted && !request.writer.copies) return withoutCopies(edit, settings, copyWish, shelf, request);
    if (request.clipSound && !settings.output.empty() && !settings.planOnly) {
        settleGains(edit, request, settings);
        settleSoundCopies(request, settings);
    }
    return request;
}

}  // namespace tumblewash::edit
