#include "app/Plans.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "app/EditOf.h"
#include "app/Farm.h"
#include "app/Movie.h"
#include "app/Plot.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Written.h"
#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/Exchange.h"
#include "edit/FileMark.h"
#include "edit/Missing.h"
#include "edit/Outputs.h"
#include "edit/Timeline.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::app {

using edit::Edit;
using edit::MovieRequest;
using edit::Problem;
using edit::Refusal;
using edit::RenderSettings;
using media::checkTarget;

namespace {

Edit editFor(const Options& o) {
    const std::string& input = o.inputs.front();
    const bool document = edit::isDocumentName(input) || edit::isExchangeName(input);
    return o.inputs.size() == 1 && document ? openDocument(o) : editOf(o);
}

void checkOutputs(const Options& o, const Edit& edit) {
    if (!o.output.empty() && !edit::isDocumentName(o.output) && !edit::isExchangeName(o.output))
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{}: plan writes documents; choose a name ending in .edit.json, .plan.json, {}",
                        media::quotedName(o.output), edit::exchangeEndings()));
    if (!o.plot.empty() && !o.plot.ends_with(".png"))
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: pictures are written as PNG; choose a name ending in .png",
                                  media::quotedName(o.plot)));
    std::vector<std::string> inputs = edit::filesOf(edit);
    if (!o.plugin.empty()) inputs.push_back(o.plugin);
    edit::checkFiles({std::move(inputs), o.output, 0, {o.plot}});
    for (const std::string& file : {o.plot, o.output})
        if (!file.empty()) checkTarget(file, o.force);
}

/// The document for -o, in the form of its ending.
std::string documentText(const Options& o, const Edit& edit, const MovieRequest& request) {
    if (!edit::isExchangeName(o.output)) {
        Edit written = movedTo(o.output, edit);
        edit::markFiles(written);
        return edit::editJson(written);
    }
    std::vector<std::string> remarks;
    std::string text = edit::exchangeText(o.output, edit, request, remarks);
    for (const std::string& remark : remarks)
        if (!o.quiet) say("{}: {}", media::quotedName(o.output), remark);
    return text;
}

}  // namespace

void makePlan(const Options& o) {
    const bool parts = wantsParts(o);
    const Edit edit = editFor(o);
    if (parts) return makeFarmPlan(o, edit);
    checkOutputs(o, edit);
    RenderSettings settings;
    settings.plugin = o.plugin;
    settings.longest = o.longest;
    // A document that is only written needs no look at the clips' packets.
    const bool printed = (o.output.empty() && o.plot.empty() && !o.quiet) || o.verbose;
    const bool asked = o.copyBodies || edit.output.copyBodies;
    settings.copyBodies = o.copyBodies;
    settings.tellCopies = printed || asked;
    settings.cancel = &interruptFlag();
    const MovieRequest request = edit::prepareMovie(edit, settings);
    sayRemarks(request.remarks, o.quiet);
    if (!o.output.empty()) {
        edit::TextFile(o.output, documentText(o, edit, request), o.force).commit();
        noteWritten(o.output);
        if (!o.quiet)
            say("{}: {} clips, {} frames, {}", media::quotedName(o.output), edit.clips.size(),
                request.plan.frames, edit::clockOf(request.plan.frames, request.rate));
    }
    if (!o.plot.empty()) {
        const std::string& document = o.output.empty() ? o.inputs.front() : o.output;
        const std::string name = edit::isDocumentName(document)
                                     ? media::quotedName(std::filesystem::path(document).filename().string())
                                     : "Timeline";
        const media::PictureRef picture = drawTimeline(
            edit, request, name, o.theme, std::max(1, static_cast<int>(std::thread::hardware_concurrency())));
        edit::writeResultPng(o.plot, picture, media::PngAlpha::drop, o.force);
        noteWritten(o.plot);
        if (!o.quiet)
            say("{}: the timeline, {}x{}", media::quotedName(o.plot), picture.width(), picture.height());
    }
    if (printed) printText(edit::timelineTable(edit, request));
    if (request.copying && !o.quiet && (asked || !request.copying->expected))
        printText(edit::copyingTable(request));
}

}  // namespace tumblewash::app
