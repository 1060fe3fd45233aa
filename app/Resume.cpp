#include "app/Resume.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "app/Farm.h"
#include "app/Movie.h"
#include "app/OptionTable.h"
#include "app/Progress.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Written.h"
#include "edit/Errors.h"
#include "edit/FileMark.h"
#include "edit/JsonText.h"
#include "edit/Outputs.h"
#include "farm/Merge.h"
#include "farm/PartRender.h"
#include "media/Codecs.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::Problem;
using edit::Refusal;
using farm::FarmPlan;
using media::quotedName;

namespace fs = std::filesystem;

namespace {

void checkOptions(const Options& o, const edit::Edit& edit) {
    if (media::movieKindOf(o.output) == nullptr)
        throw Refusal(Problem::BadRequest,
                      fmt::format("--resume: only movies are rendered in parts; {} is not a movie",
                                  quotedName(o.output)));
    refuseCopies(o, edit);
    for (const char* option : {"--only", "--mlt", "--report", "--proxy", "--plugin"})
        if (isGiven(o, option))
            throw Refusal(Problem::BadRequest,
                          fmt::format("--resume and {} cannot be used together", option));
}

/// `told` becomes what was said of losses before the work.
FarmPlan planFor(const Options& o, const edit::Edit& said, std::vector<std::string>& told) {
    edit::Edit edit = said;
    edit.output.colour = o.colour.orElse(said.output.colour);
    edit::markFiles(edit);
    edit::RenderSettings settings = o;
    settings.reads = o.inputs;
    settings.planOnly = true;
    settings.copyBodies = edit::CopyBodies::never;
    settings.cancel = &interruptFlag();
    const edit::MovieRequest request = edit::prepareMovie(edit, settings);
    sayRemarks(request.remarks, o.quiet);
    if (!o.quiet)
        for (const std::string& note : request.notes) say("tumblewash: {}", note);
    told = request.notes;
    std::vector<std::string> remarks;
    const std::vector<farm::PartBounds> parts =
        farm::cutParts(request.plan, request.size, request.rate, o.partWishes, remarks);
    return farm::planOf(edit, request, media::movieKindOf(o.output)->ending, farmProgram(), parts);
}

/// Makes the folder of parts, or takes up the one that a run of the same plan left.
void takeUp(const Options& o, const FarmPlan& plan, const std::string& folder) {
    const std::string file = (fs::path(folder) / "movie.plan.json").string();
    const std::string text = farm::planText(plan);
    std::error_code problem;
    if (fs::exists(file, problem)) {
        if (edit::readDocument(file) == text) return;
        if (!o.force)
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: holds parts of something else: the clips, the options or the program "
                            "changed; remove it, or add --force to start again",
                            quotedName(folder)));
        fs::remove_all(folder, problem);
    } else if (fs::exists(folder, problem) && !fs::is_empty(folder, problem)) {
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: already exists and holds no parts; remove it", quotedName(folder)));
    }
    fs::create_directories(folder, problem);
    if (problem)
        throw Refusal(Problem::BadOutput, fmt::format("{}: the folder of parts cannot be made ({})",
                                                      quotedName(folder), problem.message()));
    edit::TextFile(file, text, true).commit();
}

void renderMissing(const Options& o, const FarmPlan& plan, const std::string& folder) {
    const std::vector<int> missing = farm::missingParts(plan, folder);
    const std::size_t all = farm::partNumbers(plan).size();
    if (missing.size() < all && !o.quiet)
        say("{}: {} of {} parts are already there", quotedName(folder), all - missing.size(), all);
    std::int64_t frames = 0;
    for (const int number : missing) frames += farm::boundsOf(plan, number).frames;
    Progress progress(o, commandRow(o.command).name, std::max<std::int64_t>(1, frames), plan.rate);
    std::int64_t before = 0;
    for (const int number : missing) {
        farm::PartSettings settings;
        settings.output = folder;
        settings.threads = o.threads;
        settings.cancel = &interruptFlag();
        settings.advance = [&](std::int64_t done) { progress.advance(before + done); };
        farm::renderPart(plan, number, settings);
        before += farm::boundsOf(plan, number).frames;
    }
    progress.finish();
}

}  // namespace

void resumeMovie(const Options& o, const edit::Edit& edit) {
    checkOptions(o, edit);
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::string> told;
    const FarmPlan plan = planFor(o, edit, told);
    const std::string folder = o.output + ".parts";
    takeUp(o, plan, folder);
    farm::Merged merged;
    try {
        renderMissing(o, plan, folder);
        merged = farm::mergeParts(plan, folder, o.output, o.force, &interruptFlag());
    } catch (...) {
        const std::size_t all = farm::partNumbers(plan).size();
        say("{}: {} of {} parts are kept; run the same command again to continue", quotedName(folder),
            all - farm::missingParts(plan, folder).size(), all);
        throw;
    }
    noteWritten(o.output);
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    std::erase_if(merged.words.conversions, [&](const std::string& line) {
        return std::find(told.begin(), told.end(), line) != told.end();
    });
    sayPartWords(merged.words, o.quiet);
    if (o.quiet) return;
    say("{}: {} frames, {:.2f} s, {} at {} frames per second{}, made in {:.1f} s", quotedName(o.output),
        plan.frames, edit::secondsOf(plan.frames, plan.rate), edit::describe(plan.size),
        edit::describe(plan.rate), plan.sound ? ", with sound" : "",
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
}

}  // namespace tumblewash::app
