#include "app/stills.h"

#include <fmt/format.h>

#include <cstdio>

#include "app/effects.h"
#include "app/errors.h"
#include "app/outputs.h"
#include "app/report.h"
#include "app/request.h"
#include "app/say.h"
#include "app/signals.h"
#include "app/stillrender.h"
#include "media/Staging.h"
#include "media/StillIO.h"

namespace tumblewash {
namespace {

void reportFrame(const Options& o, const TransitionJob& job, const FrameResult& result,
                 const HYPluginClipInfo& clip, const PluginModule& module) {
    if (o.report.empty()) return;
    Report report;
    report.command = "frame";
    report.output = o.output;
    report.plugin = module.name();
    report.size = job.size;
    report.rate = {25, 1};
    report.frames = 1;
    ReportedTransition t;
    t.id = job.effect.id;
    t.name = job.effect.name;
    t.index = job.effect.index;
    t.firstFrame = *o.frame;
    t.frames = job.frames;
    t.direction = directionName(job.direction);
    t.seed = job.seed;
    t.levels = {result.levels};
    t.clip = clip;
    report.sound = result.asked.has_value();
    report.audio = "plugin";
    report.transitions.push_back(t);
    for (const std::string& input : o.inputs)
        report.clips.push_back({input, "still", job.size, {}, 1, false});
    writeTextFile(o.report, reportJson(report), o.force);
}

}  // namespace

void checkPictureOutput(const Options& o) {
    if (o.output.size() < 5 || o.output.substr(o.output.size() - 4) != ".png")
        throw Refusal(ExitCode::BadUsage,
                      fmt::format("{}: pictures are written as PNG; choose a name ending in .png", o.output));
    refuseInputAsOutput(o.output, o.inputs);
    checkTarget(o.output, o.force);
    if (o.report.empty()) return;
    refuseInputAsOutput(o.report, o.inputs);
    checkTarget(o.report, o.force);
}

void makeFrame(const Options& given) {
    Options o = given;
    const PluginModule module = openPlugin(o);
    if (o.effects.size() > 1)
        throw Refusal(ExitCode::BadUsage, "frame renders one effect; give one id to --effect");
    const Effect effect = findEffect(module, o.effects.empty() ? "wash-away" : o.effects.front());
    checkPictureOutput(o);

    const int frames = o.of.value_or(30);
    o.frame = o.frame.value_or(frames / 2);
    const MediaInfo first = probe(o.inputs.front(), &interruptFlag());
    TransitionJob job;
    job.effect = effect;
    job.size = settleSize(o, first, Edges::Any);
    job.frames = frames;
    job.direction = directionFor(o, effect);
    job.seed = o.seed;
    job.proxy = o.proxy;

    const FrameRate rate = first.rate ? makeRate(first.rate.num, first.rate.den) : FrameRate{25, 1};
    StillInput a(o.inputs.front(), job.size, o.fit, rate, o.alpha);
    std::unique_ptr<StillInput> b;
    if (o.inputs.size() > 1) b = std::make_unique<StillInput>(o.inputs[1], job.size, o.fit, rate, o.alpha);
    StillRenderer renderer(module, job, {&a, b.get()});
    FrameResult result;
    const PictureRef picture = renderer.render(*o.frame, &result);
    writeResultPng(o.output, picture, o.alpha ? PngAlpha::keep : PngAlpha::drop, o.force);
    reportFrame(o, job, result, renderer.finish(), module);
    sayWarnings({&a, b.get()});
    if (o.quiet) return;
    if (!result.warning.empty()) say("tumblewash: warning: {}\n", result.warning);
    say("{}: frame {} of {} of {}, {}\n", o.output, *o.frame, frames, effect.id, describe(job.size));
}

}  // namespace tumblewash
