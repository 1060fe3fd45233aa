#include "app/Movie.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>

#include "app/EditOf.h"
#include "app/Farm.h"
#include "app/Help.h"
#include "app/OptionTable.h"
#include "app/Progress.h"
#include "app/Resume.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Written.h"
#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/Exchange.h"
#include "edit/FileMark.h"
#include "edit/JsonText.h"
#include "edit/Mlt.h"
#include "edit/Outputs.h"
#include "edit/Render.h"
#include "edit/Timeline.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::beginReport;
using edit::describe;
using edit::Edit;
using edit::mltProject;
using edit::mltRemark;
using edit::MovieRequest;
using edit::outputFile;
using edit::prepareMovie;
using edit::renderMovie;
using edit::RenderSettings;
using edit::Report;
using edit::ReportedTransition;
using edit::reportJson;
using edit::secondsOf;
using edit::Segment;
using edit::TextFile;
using media::quotedName;

namespace {

// How the options of every command become settings of a run.
RenderSettings settingsOf(const Options& o) {
    RenderSettings settings = o;
    settings.cancel = &interruptFlag();
    return settings;
}

void sayPlan(const Options& o, const MovieRequest& request) {
    if (!o.verbose) return;
    say("{}: {} at {} frames per second, {} frames ({:.2f} s)", commandRow(o.command).name,
        describe(request.size), describe(request.rate), request.plan.frames,
        secondsOf(request.plan.frames, request.rate));
    for (const Segment& s : request.plan.segments) {
        const std::string a = quotedName(request.clips[static_cast<std::size_t>(s.clipA)].path());
        if (s.transition == Segment::kNone)
            say("  {:6} .. {:<6} {} from its frame {}", s.first, s.first + s.count - 1, a, s.firstA);
        else
            say("  {:6} .. {:<6} {}: {} from its frame {}", s.first, s.first + s.count - 1,
                request.seams[static_cast<std::size_t>(s.transition)].effect.id, a, s.firstA);
    }
}

void sayEnd(const Options& o, const MovieRequest& request, const Report& report) {
    // The first ones were told before the work began.
    if (!o.quiet)
        for (std::size_t i = request.notes.size(); i < report.conversions.size(); ++i)
            say("tumblewash: {}", report.conversions[i]);
    for (const std::string& line : report.warnings) say("tumblewash: {}", line);
    if (o.quiet || o.output == "md5:") return;
    for (std::size_t i = request.levels.size(); i < report.remarks.size(); ++i) say("{}", report.remarks[i]);
    const std::string made = o.output == "null:" ? "null" : quotedName(o.output);
    say("{}: {} frames, {:.2f} s, {} at {} frames per second{}, made in {:.1f} s", made, report.frames,
        secondsOf(report.frames, report.rate), describe(report.size), describe(report.rate),
        request.sound ? ", with sound" : "", report.seconds);
    if (report.copies && report.copies->copied > 0)
        say("  {} frames copied, {} encoded; {:.1f} s for pictures, {:.1f} s for sound",
            report.copies->copied, report.copies->encoded, report.pictureSeconds, report.soundSeconds);
    if (o.verbose)
        for (const ReportedTransition& t : report.transitions)
            say("  {}: {} frames in {:.2f} s, {} side by side", t.id, t.frames, t.seconds, t.sessions);
}

/// True for the options by which `plan` makes an edit of clips.
bool saysWhatAnEditIs(const std::string& option) {
    static constexpr const char* kAboutTheRun[] = {
        "--output",  "--force", "--plot",        "--theme", "--plugin",      "--max-duration", "--quiet",
        "--verbose", "--help",  "--copy-bodies", "--parts", "--part-length", "--split-seams",  "--format"};
    if (std::find(std::begin(kAboutTheRun), std::end(kAboutTheRun), option) != std::end(kAboutTheRun))
        return false;
    const std::vector<const OptionRow*> rows = optionsOf(Command::Plan);
    return std::any_of(rows.begin(), rows.end(), [&](const OptionRow* row) { return option == row->name; });
}

/// What `render` is told about the movie counts instead of what the edit says.
bool overridesAnEdit(const Options& o, const std::string& option) {
    static constexpr const char* kAboutTheMovie[] = {"--codec", "--depth", "--hdr", "--tone-map", "--alpha"};
    return o.command == Command::Render && std::find(std::begin(kAboutTheMovie), std::end(kAboutTheMovie),
                                                     option) != std::end(kAboutTheMovie);
}

/// A document of this program says everything else about the edit itself.
void refuseBesideDocument(const Options& o) {
    for (const std::string& option : o.given)
        if (saysWhatAnEditIs(option) && !overridesAnEdit(o, option))
            throw edit::Refusal(edit::Problem::BadRequest,
                                fmt::format("{}: the edit {} sets that itself; change it there", option,
                                            quotedName(o.inputs.front())));
}

/// Clips and other files that are taken for edits by mistake.
void refuseOther(const std::string& file) {
    std::error_code ignored;
    if (edit::isDocumentName(file) || !std::filesystem::is_regular_file(file, ignored)) return;
    std::ifstream text(file, std::ios::binary);
    if ((text >> std::ws).peek() == '{') return;
    throw edit::Refusal(
        edit::Problem::BadRequest,
        fmt::format("{}: is not an edit; use a file that ends in .edit.json, {}, or join clips "
                    "with tumblewash join",
                    quotedName(file), edit::exchangeEndings()));
}

void sayLevels(const std::vector<std::string>& levels) {
    constexpr std::size_t kMost = 8;
    for (std::size_t i = 0; i < levels.size() && i < kMost; ++i) say("{}", levels[i]);
    if (levels.size() > kMost) say("and {} more clips; --report lists their gains", levels.size() - kMost);
}

void makeEdit(const Options& o, const Edit& edit) {
    if (o.resume && !o.dryRun) return resumeMovie(o, edit);
    if (o.partWishes.parts || o.partWishes.length)
        throw edit::Refusal(
            edit::Problem::BadRequest,
            "--parts and --part-length: a movie is made in parts with --resume, or by tumblewash plan");
    const auto start = std::chrono::steady_clock::now();
    RenderSettings settings = settingsOf(o);
    settings.reads = o.inputs;
    settings.planOnly = settings.tellCopies = o.dryRun;
    MovieRequest request = prepareMovie(edit, settings);
    Report report = beginReport(edit, settings, request);
    report.program = versionWords();
    report.command = commandRow(o.command).name;
    sayRemarks(request.remarks, o.quiet || o.output == "md5:");
    if (!o.quiet)
        for (const std::string& note : request.notes) say("tumblewash: {}", note);
    if (o.dryRun) {
        printText(edit::timelineTable(edit, request));
        if (request.writer.copies) printText(edit::copyingTable(request));
        return;
    }
    if (!o.quiet && o.output != "md5:") sayLevels(request.levels);
    sayPlan(o, request);
    // Nothing of a run that fails is there to be found: the project stands when the movie does.
    std::optional<TextFile> project;
    const auto putProject = [&] {
        if (!project) return;
        project->commit();
        noteWritten(o.mlt);
        if (o.quiet) return;
        say("{}: an MLT project of {} frames", quotedName(o.mlt), request.plan.frames);
        if (const std::string line = mltRemark(edit, request); !line.empty())
            say("{}: {}", quotedName(o.mlt), line);
    };
    if (!o.mlt.empty()) {
        project.emplace(o.mlt, mltProject(edit, request), o.force);
        if (o.output.empty()) return putProject();
    }
    const auto since = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    report.openSeconds = since();
    // Nothing that needs memory comes between the output and the end of a run without words.
    const std::string written = outputFile(o.output);
    {
        Progress progress(o, report.command, report.frames, request.rate, o.output == "md5:");
        renderMovie(settings, request, report,
                    {.advance = [&](std::int64_t done) { progress.advance(done); }});
        progress.finish();
    }
    noteWritten(written);
    putProject();
    report.seconds = since();
    if (!o.report.empty()) TextFile(o.report, reportJson(report), o.force).commit();
    sayEnd(o, request, report);
}

}  // namespace

// Frames are large, short-lived and made in several threads: given back to the system one by one, they never
// pile up as holes in the heaps of those threads.
void keepHeapSmall() {
#ifdef M_MMAP_THRESHOLD
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
}

Edit openDocument(const Options& o) {
    const std::string& file = o.inputs.front();
    if (edit::isExchangeName(file)) {
        std::vector<std::string> remarks;
        Edit edit = exchangedEdit(o, remarks);
        for (const std::string& remark : remarks)
            if (!o.quiet) say("{}: {}", media::quotedName(file), remark);
        return edit;
    }
    refuseOther(file);
    refuseBesideDocument(o);
    const Edit edit = edit::readEdit(edit::readDocument(file), file);
    if (o.quiet) return edit;
    for (const std::string& changed : edit::changedFiles(edit))
        say("{}: has changed since the edit was planned; planned again", quotedName(changed));
    return edit;
}

void sayRemarks(const std::vector<std::string>& remarks, bool quiet) {
    constexpr std::size_t kMost = 4;
    if (quiet) return;
    for (std::size_t i = 0; i < remarks.size() && i < kMost; ++i) say("{}", remarks[i]);
    if (remarks.size() > kMost) say("and {} more seams are shorter than usual", remarks.size() - kMost);
}

void makeMovie(const Options& o) {
    keepHeapSmall();
    makeEdit(o, editOf(o));
}

void renderDocument(const Options& o) {
    keepHeapSmall();
    if (farm::isPlanName(o.inputs.front())) return renderPlanPart(o);
    if (o.part)
        throw edit::Refusal(edit::Problem::BadRequest, "--part: give a plan of parts, NAME.plan.json");
    makeEdit(o, openDocument(o));
}

}  // namespace tumblewash::app
