#include "farm/PartRender.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "edit/Errors.h"
#include "edit/FileMark.h"
#include "edit/Outputs.h"
#include "edit/Render.h"
#include "edit/Seams.h"
#include "edit/Threads.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::farm {

using edit::Clip;
using edit::Edit;
using edit::EditClip;
using edit::MovieRequest;
using edit::Problem;
using edit::Refusal;
using edit::RenderSettings;
using edit::Segment;
using media::Piece;
using media::quotedName;
using media::ReaderSettings;

namespace {

/// The seams as they were settled, with the lengths of the plan.
std::vector<edit::SettledSeam> seamsOf(const FarmPlan& plan, const host::PluginModule& module) {
    std::vector<edit::SettledSeam> seams = edit::settleSeams(plan.edit, module);
    for (std::size_t i = 0; i < seams.size(); ++i) seams[i].frames = plan.seams[i];
    return seams;
}

edit::FramePlan framePlanOf(const FarmPlan& plan, const std::vector<edit::SettledSeam>& seams) {
    std::vector<edit::PlannedClip> clips;
    for (std::size_t i = 0; i < plan.clips.size(); ++i)
        clips.push_back({quotedName(plan.edit.clips[i].file), plan.clips[i].frames, 0});
    edit::FramePlan frames = edit::planFrames(plan.edit, clips, seams);
    if (frames.frames != plan.frames)
        throw Refusal(Problem::BadRequest,
                      "the plan's lengths do not add up; make it again with this version of the program");
    return frames;
}

ReaderSettings readingOf(const FarmPlan& plan, bool fingerprints, int threads, media::CancelFlag cancel) {
    ReaderSettings reader = plan.reader;
    reader.width = plan.size.width;
    reader.height = plan.size.height;
    reader.rate = plan.rate;
    reader.sampleRate = plan.sampleRate;
    reader.channels = plan.channels;
    reader.cancel = cancel;
    if (fingerprints) {
        // As a run reads them that makes fingerprints of everything.
        reader.layout = media::PixelLayout::argb;
        reader.transfer = media::Transfer::sdr;
        reader.keepFields = false;
    }
    edit::settleThreads(threads, plan.colour, reader);
    return reader;
}

Clip clipOf(const FarmPlan& plan, std::size_t i, ReaderSettings reader, media::FieldOrder fields) {
    const KnownClip& known = plan.clips[i];
    const EditClip& said = plan.edit.clips[i];
    if (said.black()) return Clip::black(known.frames, reader, fields);
    reader.fit = edit::fitOf(plan.edit, known.still);
    media::MediaInfo info;
    info.path = edit::fileOf(plan.edit, said);
    info.kind = known.still ? media::MediaKind::still : media::MediaKind::clip;
    info.hasAudio = known.sound;
    reader.stillFrames = known.still ? known.frames : 0;
    return {std::move(info), reader, known.in, known.frames};
}

/// What one part of the pictures needs. No file is opened.
MovieRequest requestOf(const FarmPlan& plan, const PartBounds& bounds, bool fingerprints, int threads,
                       media::CancelFlag cancel) {
    MovieRequest request(edit::openPlugin(""));
    request.seams = seamsOf(plan, request.module);
    request.size = plan.size;
    request.rate = plan.rate;
    request.fields = fingerprints ? media::FieldOrder::progressive : plan.fields;
    request.reader = readingOf(plan, fingerprints, threads, cancel);
    for (std::size_t i = 0; i < plan.clips.size(); ++i)
        request.clips.push_back(clipOf(plan, i, request.reader, request.fields));
    edit::settleMoves(plan.edit, request);
    request.plan = framePlanOf(plan, request.seams);
    request.first = bounds.first;
    request.end = bounds.first + bounds.frames;
    request.writer = writerOf(plan);
    media::WriterSettings& writer = request.writer;
    edit::settleThreads(threads, writer);
    writer.threads = plan.threads;
    writer.sound = false;
    writer.fields = request.fields;
    if (fingerprints) writer.colour.reset();
    writer.firstPicture = bounds.first;
    writer.pictures = bounds.frames;
    writer.cancel = cancel;
    return request;
}

/// The same for the sound, for which all clips are opened as for the whole.
MovieRequest soundRequestOf(const FarmPlan& plan, const RenderSettings& settings) {
    MovieRequest request = edit::prepareMovie(plan.edit, settings);
    if (request.plan.frames != plan.frames || !request.sound)
        throw Refusal(Problem::BadRequest,
                      "the clips are not as long as they were planned with; make the plan again");
    request.writer.threads = plan.threads;
    return request;
}

/// The clips of which a part needs pictures, and those of a seam that its first or last frame lies in.
std::set<std::size_t> clipsOf(const FarmPlan& plan, int number) {
    std::set<std::size_t> needed;
    if (number == kSoundPart) {
        for (std::size_t i = 0; i < plan.clips.size(); ++i) needed.insert(i);
        return needed;
    }
    const PartBounds bounds = boundsOf(plan, number);
    const MovieRequest request = requestOf(plan, bounds, false, 0, nullptr);
    for (const Segment& segment : request.plan.segments) {
        if (segment.first + segment.count <= request.first || segment.first >= request.end) continue;
        for (const int clip : {segment.clipA, segment.clipB})
            if (clip >= 0) needed.insert(static_cast<std::size_t>(clip));
    }
    return needed;
}

void makeFolder(const std::string& folder) {
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (!std::filesystem::is_directory(folder))
        throw Refusal(Problem::BadOutput,
                      fmt::format("{}: the folder of parts cannot be made ({})", quotedName(folder),
                                  problem ? problem.message() : "a file has that name"));
}

/// True when another machine finished the same part in this moment, which is why it could not be put in place
/// here.
bool madeElsewhere(const FarmPlan& plan, const PlanPrints& prints, const std::string& folder, int number,
                   media::CancelFlag cancel) {
    constexpr int kTries = 20;
    const PartFiles files(folder, number);
    std::error_code ignored;
    for (int i = 0; i < kTries; ++i) {
        if (cancel != nullptr && cancel->load()) return false;
        // Its piece stands a moment before its receipt.
        if (!std::filesystem::is_regular_file(files.piece, ignored)) return false;
        if (troubleOf(plan, prints, folder, number, true).empty()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

void checkUnchanged(const std::string& file, const edit::FileMark& was) {
    const std::optional<edit::FileMark> now = edit::markOf(file);
    if (!now)
        throw Refusal(Problem::BadInput, quotedName(file) + ": cannot be read, or is not there any more");
    if (!(*now == was))
        throw Refusal(Problem::BadRequest,
                      quotedName(file) +
                          ": has changed since the plan was made (size, time or its first bytes); "
                          "make the plan again, and copy clips with their times");
}

PartWords run(const RenderSettings& settings, MovieRequest& request,
              const std::function<void(std::int64_t)>& advance) {
    edit::Report report;
    edit::renderMovie(settings, request, report, {.advance = advance});
    return {std::move(report.conversions), std::move(report.warnings), std::move(report.remarks)};
}

}  // namespace

edit::FramePlan framePlanOf(const FarmPlan& plan) {
    return framePlanOf(plan, seamsOf(plan, edit::openPlugin("")));
}

media::WriterSettings writerOf(const FarmPlan& plan) {
    media::WriterSettings writer;
    writer.width = plan.size.width;
    writer.height = plan.size.height;
    writer.rate = plan.rate;
    writer.sampleRate = plan.sampleRate;
    writer.channels = plan.channels;
    writer.crf = plan.edit.output.crf.value_or(-1);
    writer.preset = plan.edit.output.preset.value_or("");
    writer.fields = plan.fields;
    writer.colour = plan.colour;
    writer.keepAlpha = plan.reader.keepAlpha;
    writer.threads = plan.threads;
    return writer;
}

void checkPlanHere(const FarmPlan& plan, const std::string& program, int number) {
    if (plan.program != program)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("the plan was made by {}, and this is {}; make it again, or install the other",
                        plan.program, program));
    for (const std::size_t i : clipsOf(plan, number)) {
        const EditClip& clip = plan.edit.clips[i];
        if (clip.was) checkUnchanged(edit::fileOf(plan.edit, clip), *clip.was);
    }
    if (number == kSoundPart && plan.music) checkUnchanged(edit::musicOf(plan.edit), *plan.music);
}

PartResult renderPart(const FarmPlan& plan, int number, const PartSettings& settings) {
    const bool fingerprints = settings.output.starts_with("md5:");
    if (number == kSoundPart && !plan.sound)
        throw Refusal(Problem::BadRequest, "--part sound: the plan has no sound");
    const PartBounds bounds = boundsOf(plan, number);
    RenderSettings render;
    render.threads = settings.threads;
    render.cancel = settings.cancel;
    render.soundOnly = number == kSoundPart;
    render.copyBodies = edit::CopyBodies::never;
    render.force = settings.force;
    const auto requestFor = [&] {
        return number == kSoundPart
                   ? soundRequestOf(plan, render)
                   : requestOf(plan, bounds, fingerprints, settings.threads, settings.cancel);
    };
    if (fingerprints) {
        render.output = settings.output;
        MovieRequest request = requestFor();
        request.writer.force = settings.force;
        return {true, run(render, request, settings.advance)};
    }
    const std::string& folder = settings.output;
    makeFolder(folder);
    const PlanPrints prints = printsOf(plan);
    if (!settings.force && troubleOf(plan, prints, folder, number, true).empty()) return {false, {}};
    const PartFiles files(folder, number);
    RunningMark mark(files, bounds.frames);
    try {
        render.output = (std::filesystem::path(folder) / "whole").string() + plan.kind;
        render.force = true;
        MovieRequest request = requestFor();
        request.writer.piece = number == kSoundPart ? Piece::sound : Piece::pictures;
        request.writer.pieceFile = files.piece;
        request.writer.force = true;
        PartWords words = run(render, request, [&](std::int64_t done) {
            mark.advance(done);
            if (settings.advance) settings.advance(done);
        });
        const Receipt receipt{plan.program, prints, number, bounds, media::readPiece(files.piece), words};
        edit::TextFile(files.receipt, receiptText(receipt), true).commit();
        return {true, std::move(words)};
    } catch (const std::exception& problem) {
        if (madeElsewhere(plan, prints, folder, number, settings.cancel)) return {false, {}};
        mark.fail(problem.what());
        throw;
    }
}

}  // namespace tumblewash::farm
