#include "edit/request.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "edit/document.h"
#include "edit/errors.h"
#include "edit/missing.h"
#include "edit/outputs.h"
#include "edit/parallel.h"
#include "edit/seams.h"
#include "media/Quoting.h"
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
using media::MediaKind;
using media::needsEvenSize;
using media::PixelLayout;
using media::probe;
using media::ReaderSettings;
using media::Writer;
using media::WriterSettings;

namespace {

/// Files that are opened side by side while an edit is checked: some wait for the disk while others decode.
constexpr int kProbes = 4;

// Only H.264 containers carry interlaced pictures here.
bool carriesFields(const std::string& output) {
    const std::string ending = std::filesystem::path(output).extension().string();
    return ending == ".mp4" || ending == ".mov" || ending == ".mkv";
}

/// What is known of a clip before it is opened.
struct Source {
    const EditClip* clip = nullptr;
    std::string file;
    MediaInfo info;  ///< of black: nothing
};

std::vector<Source> probeAll(const Edit& edit, const RenderSettings& s) {
    std::vector<Source> sources;
    for (const EditClip& clip : edit.clips)
        sources.push_back({&clip, clip.black() ? "" : fileOf(edit, clip), {}});
    refuseMissing(filesOf(edit));
    inParallel(static_cast<int>(sources.size()), kProbes, s.cancel, [&](int i) {
        Source& source = sources[static_cast<std::size_t>(i)];
        if (source.clip->black()) return;
        if (isDocumentName(source.file))
            throw Refusal(Problem::BadRequest,
                          media::printable(source.file) + ": an edit cannot hold an edit; render it first");
        source.info = probe(source.file, s.cancel);
    });
    return sources;
}

FieldOrder commonFields(const std::vector<Source>& sources) {
    std::optional<FieldOrder> common;
    for (const Source& source : sources) {
        if (source.clip->black()) continue;
        if (common && *common != source.info.fields) return FieldOrder::progressive;
        common = source.info.fields;
    }
    return common.value_or(FieldOrder::progressive);
}

FrameRate settleRate(const Edit& edit, const std::vector<Source>& sources) {
    if (edit.output.rate) return edit.output.rate->value;
    for (const Source& source : sources)
        if (source.info.rate) return makeRate(source.info.rate.num, source.info.rate.den);
    return {25, 1};
}

ReaderSettings readerSettings(const Edit& edit, const RenderSettings& settings, const MovieRequest& request) {
    ReaderSettings s;
    s.width = request.size.width;
    s.height = request.size.height;
    s.fit = edit.output.fit;
    s.rate = request.rate;
    // Each reader decodes in a thread of its own; more of them per clip pay only where cores are many.
    s.threads = std::thread::hardware_concurrency() < 4 ? 1 : 0;
    s.cancel = settings.cancel;
    return s;
}

std::int64_t stillFrames(const Source& source, const EditTime& length, FrameRate rate) {
    const std::int64_t frames = length.value.frames(rate);
    if (frames >= 1) return frames;
    throw Refusal(
        Problem::BadRequest,
        fmt::format("{}: {} is shorter than one frame at {} frames per second; give a longer time",
                    source.clip->black() ? "black" : source.info.path, wordsOf(length), describe(rate)));
}

/// The stretch of a movie that the edit uses.
void trim(Clip& clip, const EditClip& said, FrameRate rate) {
    const std::int64_t in = said.in ? said.in->value.frames(rate) : 0;
    const std::int64_t out = said.out ? said.out->value.frames(rate) : clip.frames();
    const auto refuse = [&](const char* point, const EditTime& time, std::int64_t frame) {
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{}: {} {} is frame {} at {} frames per second, and the clip has {} ({:.2f} s)",
                        clip.path(), point, wordsOf(time), frame, describe(rate), clip.frames(),
                        secondsOf(clip.frames(), rate)));
    };
    if (said.out && out > clip.frames()) refuse("out", *said.out, out);
    if (said.in && in >= clip.frames()) refuse("in", *said.in, in);
    if (in >= out)
        throw Refusal(Problem::BadRequest, fmt::format("{}: nothing is left between in {} and out {}",
                                                       clip.path(), said.in ? wordsOf(*said.in) : "0",
                                                       said.out ? wordsOf(*said.out) : "the end"));
    if (said.in || said.out) clip.trim(in, out);
}

Clip openClip(const Edit& edit, const Source& source, ReaderSettings settings, FieldOrder fields) {
    const EditClip& said = *source.clip;
    const FrameRate rate = settings.rate;
    if (said.black()) return Clip::black(stillFrames(source, *said.length, rate), settings, fields);
    if (source.info.kind != MediaKind::still) {
        if (said.length)
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: length is for stills and black; give in and out", source.info.path));
        Clip clip(source.file, settings);
        if (clip.frames() > 0) trim(clip, said, rate);
        return clip;
    }
    const EditTime& length = said.length ? *said.length : edit.still;
    const std::int64_t in = said.in ? said.in->value.frames(rate) : 0;
    settings.stillFrames = said.out ? said.out->value.frames(rate) - in : stillFrames(source, length, rate);
    if (settings.stillFrames < 1)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: nothing is left between in and out", source.info.path));
    return {source.info, settings};
}

std::vector<Clip> openClips(const Edit& edit, const std::vector<Source>& sources,
                            const ReaderSettings& settings, FieldOrder fields) {
    std::vector<std::optional<Clip>> opened(sources.size());
    inParallel(static_cast<int>(sources.size()), kProbes, settings.cancel, [&](int i) {
        const auto at = static_cast<std::size_t>(i);
        opened[at] = openClip(edit, sources[at], settings, fields);
        // Two open files at a time are all that the pass needs.
        if (i >= 2) opened[at]->close();
    });
    std::vector<Clip> clips;
    clips.reserve(opened.size());
    for (std::optional<Clip>& clip : opened) clips.push_back(std::move(*clip));
    return clips;
}

void checkOutputs(const RenderSettings& o, const std::vector<std::string>& inputs) {
    for (const std::string& file : {o.output, o.report, o.mlt}) {
        if (file.empty()) continue;
        refuseInputAsOutput(file, inputs);
    }
    for (const std::string& file : {o.report, o.mlt})
        if (!file.empty()) checkTarget(file, o.force);
    if (!o.report.empty() &&
        (o.report == o.output || o.report == o.mlt || sameFile(o.report, outputFile(o.output))))
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: is the output too; give the report another name", o.report));
}

/// The first clip that has a picture of its own.
const MediaInfo& firstShown(const Edit& edit, const std::vector<Source>& sources) {
    static const MediaInfo kBlack = [] {
        MediaInfo info;
        info.path = "black";
        return info;
    }();
    for (const Source& source : sources)
        if (!source.clip->black()) return source.info;
    if (!edit.output.size) throw Refusal(Problem::BadRequest, "black alone has no size; give --size");
    return kBlack;
}

/// Lengths of the seams and the plan, once the clips are counted.
void planRequest(const Edit& edit, MovieRequest& request) {
    std::vector<PlannedClip> clips;
    for (const Clip& clip : request.clips) clips.push_back({clip.path(), clip.frames()});
    settleLengths(edit, clips, request.rate, request.seams, request.remarks);
    std::vector<PlannedTransition> transitions;
    for (const SettledSeam& seam : request.seams)
        transitions.push_back({seam.effect.id, placementOf(seam.effect), seam.frames});
    std::optional<PlannedTransition> opening;
    std::optional<PlannedTransition> closing;
    const auto take = [&](std::optional<PlannedTransition>& into) {
        into = transitions.back();
        transitions.pop_back();
    };
    if (edit.closing) take(closing);
    if (edit.opening) take(opening);
    request.plan = planJoin(clips, transitions, opening, closing);
}

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

void checkWriter(const RenderSettings& o, const WriterSettings& settings) {
    if (!o.output.empty()) Writer::check(o.output, settings);
}

}  // namespace

PixelSize settleSize(const std::optional<PixelSize>& asked, const MediaInfo& first, Edges edges) {
    const PixelSize own{first.width, first.height};
    const PixelSize size = asked ? *asked : edges == Edges::Any ? own : evenSize(own);
    const std::string whose = asked ? fmt::format("--size {}", describe(size))
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

MovieRequest prepareMovie(const Edit& edit, const RenderSettings& settings) {
    MovieRequest request(openPlugin(settings.plugin));
    request.seams = settleSeams(edit, request.module);
    const std::vector<std::string> inputs = filesOf(edit);

    // The output is refused with a stand-in size before any input is opened.
    WriterSettings& writer = request.writer;
    writer.width = writer.height = 16;
    writer.crf = edit.output.crf.value_or(-1);
    writer.preset = edit.output.preset.value_or("");
    writer.force = settings.force;
    writer.cancel = settings.cancel;
    checkOutputs(settings, inputs);
    checkWriter(settings, writer);

    const std::vector<Source> sources = probeAll(edit, settings);
    const bool evenOnly = !settings.output.empty() && needsEvenSize(settings.output);
    request.size = settleSize(edit.output.size, firstShown(edit, sources),
                              evenOnly ? Edges::OnlyEven : Edges::PreferEven);
    request.rate = settleRate(edit, sources);
    request.sound =
        edit.sound != AudioPolicy::none &&
        std::any_of(sources.begin(), sources.end(), [](const Source& s) { return s.info.hasAudio; });
    writer.width = request.size.width;
    writer.height = request.size.height;
    writer.rate = request.rate;
    writer.sound = request.sound;
    checkWriter(settings, writer);

    FieldOrder fields = carriesFields(settings.output) ? commonFields(sources) : FieldOrder::progressive;
    ReaderSettings reader = readerSettings(edit, settings, request);
    reader.keepFields = fields != FieldOrder::progressive;
    if (evenOnly) {
        reader.layout = PixelLayout::yuv420;
        reader.matrix = colourMatrixFor(request.size.width, request.size.height);
    }
    reader.sampleRate = writer.sampleRate;
    request.clips = openClips(edit, sources, reader, fields);
    const bool kept = std::all_of(request.clips.begin(), request.clips.end(),
                                  [&](const Clip& clip) { return clip.fields() == fields; });
    if (fields != FieldOrder::progressive && !kept) {
        fields = FieldOrder::progressive;
        reader.keepFields = false;
        request.clips = openClips(edit, sources, reader, fields);
    }
    request.fields = writer.fields = fields;

    planRequest(edit, request);
    settleRange(settings, request);
    refuseInputAsOutput(settings.output, inputs, request.end - request.first);
    return request;
}

}  // namespace tumblewash::edit
