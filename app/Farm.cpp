#include "app/Farm.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "app/EditOf.h"
#include "app/Help.h"
#include "app/Movie.h"
#include "app/Progress.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Written.h"
#include "edit/Errors.h"
#include "edit/FileMark.h"
#include "edit/JsonText.h"
#include "edit/Missing.h"
#include "edit/Outputs.h"
#include "edit/Render.h"
#include "edit/Shell.h"
#include "farm/Engine.h"
#include "farm/Merge.h"
#include "farm/PartRender.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::app {

using edit::Problem;
using edit::Refusal;
using farm::FarmPlan;
using farm::kSoundPart;
using farm::PartState;
using farm::PartStatus;
using media::quotedName;

namespace fs = std::filesystem;

namespace {

std::string absolute(const std::string& path) {
    return fs::absolute(path).lexically_normal().string();
}

std::string partsFolder(const Options& o) {
    const std::string folder =
        o.partsFolder.empty() ? farm::usualPartsFolder(o.inputs.front()) : o.partsFolder;
    std::string whole = absolute(folder);
    while (whole.size() > 1 && whole.back() == '/') whole.pop_back();
    return whole;
}

std::string countOf(std::size_t n, const char* one, const char* many) {
    return fmt::format("{} {}", n, n == 1 ? one : many);
}

const char* stateWord(PartState state) {
    switch (state) {
        case PartState::Done:
            return "done";
        case PartState::Running:
            return "running";
        case PartState::Failed:
            return "failed";
        case PartState::Missing:
            return "missing";
    }
    return "";
}

std::string statusLine(const PartStatus& part) {
    std::string name = part.number == kSoundPart ? "sound" : fmt::format("part {}", part.number);
    std::string line =
        fmt::format("{:<10} {:<8} {:>8} of {:<8}", name, stateWord(part.state), part.done, part.frames);
    if (!part.words.empty()) line += " " + part.words;
    while (line.back() == ' ') line.pop_back();
    return line;
}

/// The parts that failed, in one line, at most a few by name.
std::string failuresOf(const std::vector<PartStatus>& parts) {
    constexpr std::size_t kNamed = 3;
    std::string words;
    std::size_t count = 0;
    for (const PartStatus& part : parts) {
        const bool unfinished = part.state == PartState::Failed || part.state == PartState::Missing;
        if (!unfinished || ++count > kNamed) continue;
        words += (words.empty() ? "" : "; ") + farm::partWords(part.number) + ": " +
                 (part.words.empty() ? stateWord(part.state) : part.words);
    }
    if (count > kNamed) words += fmt::format("; and {} more", count - kNamed);
    return words;
}

/// "part 2, part 5 and 3 more": those that failed, without the words that the table has.
std::string namesOfFailed(const std::vector<PartStatus>& parts) {
    constexpr std::size_t kNamed = 3;
    std::string words;
    std::size_t count = 0;
    for (const PartStatus& part : parts)
        if (part.state == PartState::Failed && ++count <= kNamed)
            words += (words.empty() ? "" : ", ") + farm::partWords(part.number);
    if (count > kNamed) words += fmt::format(" and {} more", count - kNamed);
    return words;
}

farm::Job jobOf(const Options& o, const FarmPlan& plan, const std::string& planFile,
                const std::string& folder, const std::string& output) {
    farm::Job job;
    job.title = media::printable(fs::path(planFile).filename().string());
    job.folder = folder;
    job.item = fmt::format(
        "case $1 in\n0) name=sound ;;\n*) name=$(printf 'part-%04d' \"$1\") ;;\nesac\n"
        "exec {} render {} --part \"$1\" -o \"$TUMBLEWASH_FOLDER/\" --progress none "
        ">\"$TUMBLEWASH_FOLDER/$name.log\" 2>&1\n",
        edit::shellWord(ownProgram()), edit::shellWord(planFile));
    job.items = farm::missingParts(plan, folder);
    job.finish = {ownProgram(), "merge", planFile, folder, "-o", output};
    if (o.force) job.finish.emplace_back("--force");
    if (o.quiet) job.finish.emplace_back("--quiet");
    job.jobs = o.jobs;
    return job;
}

}  // namespace

std::string ownProgram() {
    std::error_code problem;
    const fs::path program = fs::read_symlink("/proc/self/exe", problem);
    return problem ? std::string("tumblewash") : program.string();
}

std::string farmProgram() {
    return versionWords() + ", FFmpeg " + media::libraryVersion();
}

void sayPartWords(const farm::PartWords& words, bool quiet) {
    if (!quiet)
        for (const std::string& line : words.conversions) say("tumblewash: {}", line);
    for (const std::string& line : words.warnings) say("tumblewash: {}", line);
    if (quiet) return;
    for (const std::string& remark : words.remarks) say("{}", remark);
}

void refuseCopies(const Options& o, const edit::Edit& edit) {
    if (asksForCopies(o))
        throw Refusal(Problem::BadRequest,
                      "--copy-bodies: parts are encoded whole; leave it out, or render without parts");
    if (!o.copyBodies && edit.output.copyBodies == edit::CopyBodies::always)
        throw Refusal(Problem::BadRequest,
                      "copyBodies: parts are encoded whole, and the edit says always; change it there, or "
                      "render without parts");
}

bool wantsParts(const Options& o) {
    if (farm::isPlanName(o.output)) return true;
    for (const char* option : {"--parts", "--part-length", "--split-seams", "--format"})
        if (isGiven(o, option))
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: parts are written down in a plan; give -o NAME.plan.json", option));
    return false;
}

void makeFarmPlan(const Options& o, const edit::Edit& edit) {
    refuseCopies(o, edit);
    if (!o.plugin.empty())
        throw Refusal(Problem::BadRequest,
                      "--plugin: parts are rendered with the built-in transitions; leave it out");
    if (!o.plot.empty())
        throw Refusal(Problem::BadRequest, "--plot: draw the timeline of the edit, not of its parts");
    edit::checkFiles({edit::filesOf(edit), o.output, 0, {}});
    media::checkTarget(o.output, o.force);
    edit::Edit marked = movedTo(o.output, edit);
    edit::markFiles(marked);
    edit::RenderSettings settings;
    // Codec and colours depend on the kind of movie; nothing is written there.
    const std::string kind = "." + o.format;
    settings.output = o.output + kind;
    settings.force = true;
    settings.planOnly = true;
    settings.longest = o.longest;
    settings.copyBodies = edit::CopyBodies::never;
    settings.cancel = &interruptFlag();
    const edit::MovieRequest request = edit::prepareMovie(marked, settings);
    std::vector<std::string> remarks = request.remarks;
    for (const std::string& note : request.notes) remarks.push_back("tumblewash: " + note);
    const std::vector<farm::PartBounds> parts =
        farm::cutParts(request.plan, request.size, request.rate, o.partWishes, remarks);
    if (!o.quiet)
        for (const std::string& remark : remarks) say("{}", remark);
    const FarmPlan plan = farm::planOf(marked, request, kind, farmProgram(), parts);
    edit::TextFile(o.output, farm::planText(plan), o.force).commit();
    noteWritten(o.output);
    if (!o.quiet)
        say("{}: {}{}, {} frames, for a movie as {}", quotedName(o.output),
            countOf(plan.parts.size(), "part", "parts"), plan.sound ? " and the sound" : "", plan.frames,
            kind);
}

FarmPlan openPlan(const std::string& file) {
    if (!farm::isPlanName(file))
        throw Refusal(
            Problem::BadRequest,
            quotedName(file) +
                ": is not a plan of parts; make one with tumblewash plan EDIT --parts N -o NAME.plan.json");
    return farm::readPlan(edit::readDocument(file), file);
}

void renderPlanPart(const Options& o) {
    const FarmPlan plan = openPlan(o.inputs.front());
    if (!o.part)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{}: is a plan of parts; give --part K, or start all with tumblewash submit",
                        quotedName(o.inputs.front())));
    refuseCopies(o, plan.edit);
    for (const char* option : {"--only", "--mlt", "--report", "--proxy", "--plugin", "--resume", "--codec",
                               "--depth", "--hdr", "--tone-map", "--alpha", "--parts", "--part-length"})
        if (isGiven(o, option))
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}: a part is rendered as its plan says; make another plan", option));
    const bool print = o.output.starts_with("md5:");
    if (!print && !o.output.ends_with("/") && !fs::is_directory(o.output))
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: parts go into a folder; write {}/, or md5: for fingerprints",
                                  quotedName(o.output), quotedName(o.output)));
    farm::checkPlanHere(plan, farmProgram(), *o.part);
    const std::int64_t frames = farm::boundsOf(plan, *o.part).frames;
    const auto start = std::chrono::steady_clock::now();
    farm::PartSettings settings;
    settings.output = o.output;
    settings.force = o.force;
    settings.threads = o.threads;
    settings.cancel = &interruptFlag();
    farm::PartResult made;
    {
        Progress progress(o, "render", frames, plan.rate, o.output == "md5:");
        settings.advance = [&](std::int64_t done) { progress.advance(done); };
        made = farm::renderPart(plan, *o.part, settings);
        progress.finish();
    }
    sayPartWords(made.words, o.quiet || o.output == "md5:");
    if (print) return noteWritten(edit::outputFile(o.output));
    const std::string piece = farm::PartFiles(o.output, *o.part).piece;
    if (made.rendered) noteWritten(piece);
    if (o.quiet) return;
    if (made.rendered)
        say("{}: {}, {} frames, made in {:.1f} s", quotedName(piece), farm::partWords(*o.part), frames,
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    else
        say("{}: {} is done already", quotedName(piece), farm::partWords(*o.part));
}

void mergePlan(const Options& o) {
    const std::string& file = o.inputs.front();
    if (!farm::isPlanName(file))
        throw Refusal(Problem::BadRequest,
                      quotedName(file) + ": merge takes a plan of parts; to join clips, use tumblewash join");
    const FarmPlan plan = openPlan(file);
    if (plan.program != farmProgram())
        throw Refusal(Problem::BadRequest, fmt::format("{}: made by {}, and this is {}", quotedName(file),
                                                       plan.program, farmProgram()));
    const std::string folder = o.inputs.size() > 1 ? o.inputs[1] : farm::usualPartsFolder(file);
    const farm::Merged merged = farm::mergeParts(plan, folder, o.output, o.force, &interruptFlag());
    noteWritten(o.output);
    sayPartWords(merged.words, o.quiet);
    if (o.quiet) return;
    say("{}: {} frames from {}, {} at {} frames per second{}", quotedName(o.output), plan.frames,
        countOf(plan.parts.size(), "part", "parts"), edit::describe(plan.size), edit::describe(plan.rate),
        plan.sound ? ", with sound" : "");
    say("pictures {}", merged.prints.pictures);
    if (plan.sound) say("sound    {}", merged.prints.sound);
}

void submitPlan(const Options& o) {
    const farm::Engine& engine = farm::engineNamed(o.engine);
    const FarmPlan plan = openPlan(o.inputs.front());
    const std::string planFile = absolute(o.inputs.front());
    const std::string folder = partsFolder(o);
    const std::string output = absolute(
        o.output.empty() ? (fs::path(planFile).parent_path() / farm::planStem(planFile)).string() + plan.kind
                         : o.output);
    if (!output.ends_with(plan.kind))
        throw Refusal(Problem::BadRequest, fmt::format("{}: the plan is for a movie whose name ends in {}",
                                                       quotedName(output), plan.kind));
    farm::Job job = jobOf(o, plan, planFile, folder, output);
    if (o.dryRun) return printText(farm::scriptsText(engine, job));
    farm::checkPlanHere(plan, farmProgram(), kSoundPart);
    media::checkTarget(output, o.force);
    if (!o.quiet)
        say("{}: {} of {} to render, {}", quotedName(o.inputs.front()), job.items.size(),
            countOf(farm::partNumbers(plan).size(), "part", "parts"), engine.summary);
    const int status = farm::startJob(engine, job, &interruptFlag());
    if (interruptFlag().load()) throw Refusal(Problem::Interrupted, "interrupted");
    if (status == 0) return;
    const std::string failures = failuresOf(farm::statusOf(plan, folder));
    throw Refusal(Problem::RenderFailed,
                  failures.empty()
                      ? fmt::format("--engine {}: its scripts ended with {}; the parts are kept in {}",
                                    engine.name, status, quotedName(folder))
                      : failures + "; submit again to render what is missing");
}

void showStatus(const Options& o) {
    const FarmPlan plan = openPlan(o.inputs.front());
    const std::string folder = partsFolder(o);
    const bool redraw = o.watch && isatty(STDOUT_FILENO) != 0;
    for (bool again = false;; again = true) {
        const std::vector<PartStatus> parts = farm::statusOf(plan, folder);
        std::string text;
        bool busy = false;
        bool failed = false;
        std::size_t done = 0;
        for (const PartStatus& part : parts) {
            text += statusLine(part) + (redraw ? "\033[K\n" : "\n");
            busy = busy || part.state == PartState::Running || part.state == PartState::Missing;
            failed = failed || part.state == PartState::Failed;
            done += part.state == PartState::Done ? 1 : 0;
        }
        text += fmt::format("{} of {} done\n", done, parts.size());
        const bool last = !o.watch || !busy || interruptFlag().load();
        if (redraw && again) text = fmt::format("\033[{}A", parts.size() + 1) + text;
        // Without a terminal there is no line to draw anew: the end alone is told.
        if (redraw || last) printText(text);
        if (last && failed)
            throw Refusal(Problem::RenderFailed,
                          namesOfFailed(parts) + " failed; submit the plan again to render what is missing");
        if (last) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
}

}  // namespace tumblewash::app
