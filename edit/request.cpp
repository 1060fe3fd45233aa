#include "edit/request.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "edit/errors.h"
#include "edit/outputs.h"
#include "media/Staging.h"

namespace tumblewash::edit {

using host::AudioPolicy;
using host::kMaxPictureWidth;
using host::kMinPictureSide;
using host::PluginModule;
using media::checkTarget;
using media::colourMatrixFor;
using media::FieldOrder;
using media::FrameRate;
using media::kMaxPictureSide;
using media::MediaInfo;
using media::needsEvenSize;
using media::PixelLayout;
using media::probe;
using media::ReaderSettings;
using media::Writer;
using media::WriterSettings;

namespace {

bool fits(MovieKind kind, Placement placement) {
    if (kind == MovieKind::Out) return placement == Placement::After;
    if (kind == MovieKind::In) return placement == Placement::Before;
    return placement != Placement::After && placement != Placement::Before;
}

// What to use instead, for the refusal of an effect that belongs to another command.
std::string usersOf(const Effect& effect) {
    switch (placementOf(effect)) {
        case Placement::After:
            return "it takes the picture away at the end of one clip: tumblewash out";
        case Placement::Before:
            return "it brings the picture at the start of one clip: tumblewash in";
        default:
            return "it stands between two clips: tumblewash join";
    }
}

std::vector<Effect> settleEffects(const MovieOrder& o, const PluginModule& module) {
    static const std::string kDefaults[] = {"wash-away", "wash-out", "wash-in"};
    const std::string& usual = kDefaults[o.kind == MovieKind::Out ? 1 : o.kind == MovieKind::In ? 2 : 0];
    const std::size_t seams = o.kind == MovieKind::Join ? o.inputs.size() - 1 : 1;
    std::vector<std::string> ids = o.effects.empty() ? std::vector<std::string>{usual} : o.effects;
    if (ids.size() == 1) ids.resize(seams, ids.front());
    if (ids.size() != seams)
        throw Refusal(Problem::BadRequest,
                      fmt::format("--effect names {} effects for {}; give one, or one for each seam",
                                  ids.size(), seams == 1 ? "one seam" : fmt::format("{} seams", seams)));
    std::vector<Effect> effects;
    for (const std::string& id : ids) {
        effects.push_back(findEffect(module, id, o.speed.value_or(0.5F)));
        if (!fits(o.kind, placementOf(effects.back())))
            throw Refusal(Problem::BadRequest, fmt::format("{} is no effect for {}: {}", effects.back().id,
                                                           movieKindName(o.kind), usersOf(effects.back())));
    }
    return effects;
}

// Only H.264 containers carry interlaced pictures here.
bool carriesFields(const std::string& output) {
    const std::string ending = std::filesystem::path(output).extension().string();
    return ending == ".mp4" || ending == ".mov" || ending == ".mkv";
}

FieldOrder commonFields(const std::vector<MediaInfo>& infos) {
    for (const MediaInfo& info : infos)
        if (info.fields != infos.front().fields) return FieldOrder::progressive;
    return infos.front().fields;
}

std::vector<Clip> openClips(const MovieOrder& o, const ReaderSettings& settings) {
    std::vector<Clip> clips;
    for (std::size_t i = 0; i < o.inputs.size(); ++i) {
        clips.emplace_back(o.inputs[i], settings);
        // Two open files at a time are all that the pass needs.
        if (i >= 2) clips.back().close();
    }
    return clips;
}

FrameRate settleRate(const MovieOrder& o, const std::vector<MediaInfo>& infos) {
    if (o.fps) return *o.fps;
    for (const MediaInfo& info : infos)
        if (info.rate) return makeRate(info.rate.num, info.rate.den);
    return {25, 1};
}

ReaderSettings readerSettings(const MovieOrder& o, const MovieRequest& request, bool keepFields) {
    ReaderSettings s;
    s.width = request.size.width;
    s.height = request.size.height;
    s.fit = o.fit;
    s.rate = request.rate;
    s.stillFrames = o.still.frames(request.rate);
    if (s.stillFrames < 1)
        throw Refusal(Problem::BadRequest, "--still is shorter than one frame; give a longer time");
    s.keepFields = keepFields;
    // Each reader decodes in a thread of its own; more of them per clip pay only where cores are many.
    s.threads = std::thread::hardware_concurrency() < 4 ? 1 : 0;
    s.cancel = o.cancel;
    return s;
}

void checkOutputs(const MovieOrder& o) {
    for (const std::string& file : {o.output, o.report, o.mlt}) {
        if (file.empty()) continue;
        refuseInputAsOutput(file, o.inputs);
    }
    for (const std::string& file : {o.report, o.mlt})
        if (!file.empty()) checkTarget(file, o.force);
    if (!o.report.empty() &&
        (o.report == o.output || o.report == o.mlt || sameFile(o.report, outputFile(o.output))))
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: is the output too; give the report another name", o.report));
}

void checkWriter(const MovieOrder& o, const WriterSettings& settings) {
    if (!o.output.empty()) Writer::check(o.output, settings);
}

}  // namespace

const char* movieKindName(MovieKind kind) {
    return kind == MovieKind::Out ? "out" : kind == MovieKind::In ? "in" : "join";
}

PixelSize settleSize(const MovieOrder& o, const MediaInfo& first, Edges edges) {
    const PixelSize own{first.width, first.height};
    const PixelSize size = o.size ? *o.size : edges == Edges::Any ? own : evenSize(own);
    const std::string whose = o.size ? fmt::format("--size {}", describe(size))
                                     : fmt::format("{}: the picture is {}", first.path, describe(size));
    if (size.width < kMinPictureSide || size.height < kMinPictureSide)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{}: both edges must be {} or more; give a larger --size", whose, kMinPictureSide));
    if (size.width > kMaxPictureWidth || size.height > kMaxPictureSide)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: effects reach {} pixels across and {} down; give a smaller --size",
                                  whose, kMaxPictureWidth, kMaxPictureSide));
    if (edges == Edges::OnlyEven && evenSize(size) != size)
        throw Refusal(Problem::BadRequest, fmt::format("{}: movies need even edges; give --size {}", whose,
                                                       describe(evenSize(size))));
    return size;
}

std::int64_t settleLength(const MovieOrder& o, const Effect& effect, FrameRate rate) {
    if (placementOf(effect) == Placement::Cut) return 0;
    if (o.speed) return effect.info.frames;
    return evenFrames(o.duration ? o.duration->frames(rate)
                                 : TimeSpan{TimeSpan::Unit::Microseconds, 1000000}.frames(rate));
}

MovieRequest prepareMovie(const MovieOrder& o) {
    MovieRequest request(openPlugin(o.plugin));
    request.effects = settleEffects(o, request.module);

    // The output is refused with a stand-in size before any input is opened.
    WriterSettings& writer = request.writer;
    writer.width = writer.height = 16;
    writer.crf = o.crf.value_or(-1);
    writer.preset = o.preset;
    writer.force = o.force;
    writer.cancel = o.cancel;
    checkOutputs(o);
    checkWriter(o, writer);

    std::vector<MediaInfo> infos;
    for (const std::string& input : o.inputs) infos.push_back(probe(input, o.cancel));
    const bool evenOnly = !o.output.empty() && needsEvenSize(o.output);
    request.size = settleSize(o, infos.front(), evenOnly ? Edges::OnlyEven : Edges::PreferEven);
    request.rate = settleRate(o, infos);
    request.sound =
        o.audio != AudioPolicy::none &&
        std::any_of(infos.begin(), infos.end(), [](const MediaInfo& info) { return info.hasAudio; });
    writer.width = request.size.width;
    writer.height = request.size.height;
    writer.rate = request.rate;
    writer.sound = request.sound;
    checkWriter(o, writer);

    FieldOrder fields = carriesFields(o.output) ? commonFields(infos) : FieldOrder::progressive;
    ReaderSettings reader = readerSettings(o, request, fields != FieldOrder::progressive);
    if (evenOnly) {
        reader.layout = PixelLayout::yuv420;
        reader.matrix = colourMatrixFor(request.size.width, request.size.height);
    }
    reader.sampleRate = writer.sampleRate;
    request.clips = openClips(o, reader);
    const bool kept = std::all_of(request.clips.begin(), request.clips.end(),
                                  [&](const Clip& clip) { return clip.fields() == fields; });
    if (fields != FieldOrder::progressive && !kept) {
        fields = FieldOrder::progressive;
        reader.keepFields = false;
        request.clips = openClips(o, reader);
    }
    request.fields = writer.fields = fields;

    std::vector<PlannedClip> clips;
    for (const Clip& clip : request.clips) clips.push_back({clip.path(), clip.frames()});
    std::vector<PlannedTransition> transitions;
    for (const Effect& effect : request.effects) {
        request.lengths.push_back(settleLength(o, effect, request.rate));
        transitions.push_back({effect.id, placementOf(effect), request.lengths.back()});
    }
    request.plan = o.kind == MovieKind::Join ? planJoin(clips, transitions)
                                             : planSingle(clips.front(), transitions.front());
    refuseInputAsOutput(o.output, o.inputs, request.plan.frames);
    return request;
}

}  // namespace tumblewash::edit
