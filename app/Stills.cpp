#include "app/Stills.h"

#include <fmt/format.h>

#include <cstdio>

#include "app/Help.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Written.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/Outputs.h"
#include "edit/Report.h"
#include "edit/Request.h"
#include "edit/ResultShape.h"
#include "edit/StillRender.h"
#include "media/Quoting.h"
#include "media/Staging.h"
#include "media/StillIO.h"

namespace tumblewash::app {

using edit::checkFiles;
using edit::describe;
using edit::directionFor;
using edit::directionName;
using edit::Edges;
using edit::Effect;
using edit::findEffect;
using edit::makeRate;
using edit::openPlugin;
using edit::Placement;
using edit::placementOf;
using edit::Problem;
using edit::Refusal;
using edit::Report;
using edit::reportedClip;
using edit::ReportedTransition;
using edit::reportJson;
using edit::settleSize;
using edit::StillInput;
using edit::StillPair;
using edit::StillRenderer;
using edit::TextFile;
using edit::TransitionJob;
using edit::writeResultPng;
using host::FrameResult;
using host::PluginModule;
using media::checkTarget;
using media::FrameRate;
using media::MediaInfo;
using media::PictureRef;
using media::planColours;
using media::PngAlpha;
using media::probe;
using media::quotedName;

namespace {

std::vector<std::string> colourLines(const Options& o, const StillPair& inputs) {
    std::vector<MediaInfo> infos;
    for (const StillInput* input : {inputs.a, inputs.b})
        if (input) infos.push_back(input->clip().info());
    media::ColourWishes wishes;
    wishes.alpha = o.wishes.alpha;
    return planColours(infos, wishes, o.output, infos.front().width, infos.front().height).lines;
}

std::vector<std::string> damageOf(const StillPair& inputs) {
    std::vector<std::string> out;
    for (const StillInput* input : {inputs.a, inputs.b})
        if (input)
            for (std::string& line : input->warnings()) out.push_back(std::move(line));
    return out;
}

void reportFrame(const Options& o, FrameRate rate, const StillRenderer& renderer, const StillPair& inputs,
                 const FrameResult& result, const HYPluginClipInfo& clip, const PluginModule& module) {
    if (o.report.empty()) return;
    const TransitionJob& job = renderer.job();
    Report report;
    report.program = versionWords();
    report.command = "frame";
    report.output = o.output;
    report.plugin = module.name();
    report.size = job.size;
    report.rate = rate;
    report.frames = 1;
    ReportedTransition t;
    t.id = job.effect.id;
    t.name = job.effect.name;
    t.index = job.effect.index;
    t.firstFrame = *o.frame;
    t.frames = job.frames;
    const Placement placement = placementOf(job.effect);
    // An effect that brings a picture shows the second clip, where there is one.
    t.clipA = placement == Placement::Before && inputs.b ? 1 : 0;
    t.clipB = placement == Placement::Overlap || placement == Placement::Halves ? 1 : -1;
    t.firstA = job.firstA;
    t.direction = directionName(job.direction);
    t.seed = job.seed;
    t.levels = {result.levels};
    t.clip = clip;
    report.sound = result.asked.has_value();
    report.audio = "plugin";
    report.transitions.push_back(t);
    for (const StillInput* input : {inputs.a, inputs.b})
        if (input) report.clips.push_back(reportedClip(input->clip()));
    report.conversions = colourLines(o, inputs);
    report.warnings = damageOf(inputs);
    if (!result.warning.empty())
        report.warnings.push_back(fmt::format("{}: {}", job.effect.id, result.warning));
    TextFile(o.report, reportJson(report), o.force).commit();
}

}  // namespace

void sayWarnings(const Options& o, const StillPair& inputs) {
    if (!o.quiet)
        for (const std::string& line : colourLines(o, inputs)) say("tumblewash: {}", line);
    for (const std::string& line : damageOf(inputs)) say("tumblewash: {}", line);
}

void checkPictureOutput(const Options& o) {
    if (o.output.size() < 5 || o.output.substr(o.output.size() - 4) != ".png")
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: pictures are written as PNG; choose a name ending in .png",
                                  quotedName(o.output)));
    std::vector<std::string> inputs = o.inputs;
    if (!o.plugin.empty()) inputs.push_back(o.plugin);
    checkFiles({std::move(inputs), o.output, 0, {o.report}});
    checkTarget(o.output, o.force);
    if (!o.report.empty()) checkTarget(o.report, o.force);
}

void makeFrame(const Options& given) {
    Options o = given;
    const PluginModule module = openPlugin(o.plugin);
    if (o.effects.size() > 1)
        throw Refusal(Problem::BadRequest, "frame renders one effect; give one id to --effect");
    const Effect effect = findEffect(module, o.effects.empty() ? "wash-away" : o.effects.front());
    checkPictureOutput(o);

    const int frames = o.of.value_or(30);
    o.frame = o.frame.value_or(frames / 2);
    const MediaInfo first = probe(o.inputs.front(), &interruptFlag());
    TransitionJob job;
    job.effect = effect;
    job.size = settleSize(o.size, first, Edges::Any);
    job.frames = frames;
    job.direction = directionFor(o.direction, effect);
    job.seed = o.seed;
    job.proxy = o.proxy;
    job.ownEffects = o.plugin.empty();
    job.alpha = o.wishes.alpha;

    const FrameRate rate = first.rate ? makeRate(first.rate.num, first.rate.den) : FrameRate{25, 1};
    StillInput a(o.inputs.front(), job.size, o.fit.value_or(media::Fit::contain), rate, o.wishes.alpha,
                 &interruptFlag(), o.wishes.map());
    std::unique_ptr<StillInput> b;
    if (o.inputs.size() > 1)
        b = std::make_unique<StillInput>(o.inputs[1], job.size, o.fit.value_or(media::Fit::contain), rate,
                                         o.wishes.alpha, &interruptFlag(), o.wishes.map());
    StillRenderer renderer(module, job, {&a, b.get()});
    FrameResult result;
    // A report tells what the session says; a module is rendered with by a session anyway.
    const bool told = !o.report.empty() || !o.plugin.empty();
    const PictureRef picture = renderer.render(*o.frame, told ? &result : nullptr);
    writeResultPng(o.output, picture, o.wishes.alpha ? PngAlpha::keep : PngAlpha::drop, o.force);
    noteWritten(o.output);
    reportFrame(o, rate, renderer, {&a, b.get()}, result, renderer.finish(), module);
    sayWarnings(o, {&a, b.get()});
    if (!result.warning.empty()) say("tumblewash: {}: {}", effect.id, result.warning);
    if (o.quiet) return;
    say("{}: frame {} of {} of {}, {}", quotedName(o.output), *o.frame, frames, effect.id,
        describe(job.size));
}

}  // namespace tumblewash::app
