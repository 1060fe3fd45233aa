#include "app/movie.h"

#include <malloc.h>

#include <chrono>

#include "app/help.h"
#include "app/progress.h"
#include "app/say.h"
#include "app/signals.h"
#include "edit/mlt.h"
#include "edit/outputs.h"
#include "edit/render.h"

namespace tumblewash::app {

using edit::beginReport;
using edit::describe;
using edit::mltProject;
using edit::MovieKind;
using edit::movieKindName;
using edit::MovieOrder;
using edit::MovieRequest;
using edit::prepareMovie;
using edit::renderMovie;
using edit::Report;
using edit::ReportedTransition;
using edit::reportJson;
using edit::secondsOf;
using edit::Segment;
using edit::writeTextFile;

namespace {

// Frames are large, short-lived and made in several threads: given back to the system one by one, they never
// pile up as holes in the heaps of those threads.
void keepHeapSmall() {
#ifdef M_MMAP_THRESHOLD
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
}

MovieOrder orderOf(const Options& o) {
    MovieOrder order = o;
    order.kind = o.command == Command::Out  ? MovieKind::Out
                 : o.command == Command::In ? MovieKind::In
                                            : MovieKind::Join;
    order.cancel = &interruptFlag();
    return order;
}

void sayPlan(const Options& o, const MovieOrder& order, const MovieRequest& request) {
    if (!o.verbose) return;
    say("{}: {} at {} frames per second, {} frames ({:.2f} s)\n", movieKindName(order.kind),
        describe(request.size), describe(request.rate), request.plan.frames,
        secondsOf(request.plan.frames, request.rate));
    for (const Segment& s : request.plan.segments) {
        const std::string& a = request.clips[static_cast<std::size_t>(s.clipA)].path();
        if (s.transition == Segment::kNone)
            say("  {:6} .. {:<6} {} from its frame {}\n", s.first, s.first + s.count - 1, a, s.firstA);
        else
            say("  {:6} .. {:<6} {}: {} from its frame {}\n", s.first, s.first + s.count - 1,
                request.effects[static_cast<std::size_t>(s.transition)].id, a, s.firstA);
    }
}

void sayEnd(const Options& o, const MovieRequest& request, const Report& report) {
    for (const std::string& line : report.warnings) say("tumblewash: warning: {}\n", line);
    if (o.quiet || o.output == "md5:") return;
    const std::string made = o.output == "null:" ? "null" : o.output;
    say("{}: {} frames, {:.2f} s, {} at {} frames per second{}, made in {:.1f} s\n", made, report.frames,
        secondsOf(report.frames, report.rate), describe(report.size), describe(report.rate),
        request.sound ? ", with sound" : "", report.seconds);
    if (o.verbose)
        for (const ReportedTransition& t : report.transitions)
            say("  {}: {} frames in {:.2f} s, {} side by side\n", t.id, t.frames, t.seconds, t.sessions);
}

}  // namespace

void makeMovie(const Options& o) {
    const auto start = std::chrono::steady_clock::now();
    keepHeapSmall();
    const MovieOrder order = orderOf(o);
    MovieRequest request = prepareMovie(order);
    Report report = beginReport(order, request);
    report.program = versionWords();
    sayPlan(o, order, request);
    if (!o.mlt.empty()) {
        writeTextFile(o.mlt, mltProject(order, request), o.force);
        if (!o.quiet) say("{}: an MLT project of {} frames\n", o.mlt, request.plan.frames);
        if (o.output.empty()) return;
    }
    const auto since = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    report.openSeconds = since();
    {
        Progress progress(o, movieKindName(order.kind), request.plan.frames, request.rate,
                          o.output == "md5:");
        renderMovie(order, request, report, {.advance = [&](std::int64_t done) { progress.advance(done); }});
        progress.finish();
    }
    report.seconds = since();
    if (!o.report.empty()) writeTextFile(o.report, reportJson(report), o.force);
    sayEnd(o, request, report);
}

}  // namespace tumblewash::app
