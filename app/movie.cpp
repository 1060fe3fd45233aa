#include "app/movie.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>

#include "app/errors.h"
#include "app/mlt.h"
#include "app/outputs.h"
#include "app/progress.h"
#include "app/report.h"
#include "app/request.h"
#include "app/say.h"
#include "app/signals.h"
#include "app/sound.h"
#include "app/transition.h"

namespace tumblewash {
namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

const char* titleOf(Command command) {
    return command == Command::Out ? "out" : command == Command::In ? "in" : "join";
}

// Decoding and encoding keep about one core busy; the others render.
int sessionsFor(const Options& o) {
    return o.threads > 0 ? o.threads : static_cast<int>(std::thread::hardware_concurrency()) - 1;
}

// Frames are large, short-lived and made in several threads: given back to the system one by one, they never
// pile up as holes in the heaps of those threads.
void keepHeapSmall() {
#ifdef M_MMAP_THRESHOLD
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
}

// One pass over the plan.
class Pass {
  public:
    Pass(const Options& options, MovieRequest& request, Writer& writer, Report& report)
        : options_(options),
          request_(request),
          writer_(writer),
          report_(report),
          progress_(options, titleOf(options.command), request.plan.frames, request.rate,
                    options.output == "md5:") {}

    void run() {
        for (const Segment& segment : request_.plan.segments) {
            if (segment.transition == Segment::kNone)
                copy(segment);
            else
                render(segment);
            closeUsed(segment);
            giveMemoryBack();
        }
    }

    void finish() { progress_.finish(); }

  private:
    std::size_t pairsOf(std::int64_t frame) const {
        const auto before = [&](std::int64_t k) {
            return samplesBefore(k, request_.writer.sampleRate, static_cast<int>(request_.rate.num),
                                 static_cast<int>(request_.rate.den));
        };
        return static_cast<std::size_t>(before(frame + 1) - before(frame));
    }

    Clip& clip(int index) { return request_.clips[static_cast<std::size_t>(index)]; }

    std::vector<float> soundOf(Clip& clip, std::int64_t frame) {
        std::vector<float> samples(request_.sound ? pairsOf(frame) * kChannels : 0);
        if (!samples.empty()) clip.nextSamples(samples);
        return samples;
    }

    void writeSound(const std::vector<float>& samples) {
        if (!samples.empty()) writer_.writeSamples(samples.data(), samples.size() / kChannels);
    }

    void advance() {
        if (interruptFlag().load()) throw Refusal(ExitCode::Interrupted, "interrupted");
        progress_.advance(writer_.pictures());
    }

    void copy(const Segment& segment) {
        Clip& source = clip(segment.clipA);
        for (std::int64_t k = 0; k < segment.count; ++k) {
            writer_.writePicture(source.nextPicture());
            writeSound(soundOf(source, segment.first + k));
            advance();
        }
    }

    TransitionJob jobOf(const Segment& segment) {
        const auto index = static_cast<std::size_t>(segment.transition);
        TransitionJob job;
        job.effect = request_.effects[index];
        job.size = request_.size;
        job.frames = segment.count;
        job.firstA = segment.firstA;
        job.framesA = clip(segment.clipA).frames();
        job.framesB = segment.clipB >= 0 ? clip(segment.clipB).frames() : 0;
        job.direction = directionFor(options_, job.effect);
        job.speed = options_.speed.value_or(0.5F);
        job.seed = options_.seed;
        job.proxy = options_.proxy;
        job.layout = writer_.preferredLayout();
        job.matrix = writer_.matrix();
        job.fields = request_.fields;
        return job;
    }

    ReportedTransition reported(const Segment& segment, const TransitionJob& job, int sessions) const {
        ReportedTransition t;
        t.id = job.effect.id;
        t.name = job.effect.name;
        t.index = job.effect.index;
        t.firstFrame = segment.first;
        t.frames = segment.count;
        t.clipA = segment.clipA;
        t.clipB = segment.clipB;
        t.firstA = segment.firstA;
        t.firstB = segment.firstB;
        t.direction = directionName(job.direction);
        t.seed = job.seed;
        t.sessions = sessions;
        return t;
    }

    // The pictures that frame k of a transition is made from, each clip read in its own order.
    void submit(ParallelRenderer& renderer, const Segment& segment, Placement placement, std::int64_t k) {
        if (placement == Placement::Overlap) {
            PictureRef a = clip(segment.clipA).nextPicture();
            renderer.submit(std::move(a), clip(segment.clipB).nextPicture());
        } else {
            const bool second = placement == Placement::Halves && k >= segment.countA;
            renderer.submit(clip(second ? segment.clipB : segment.clipA).nextPicture(), {});
        }
    }

    FrameSound soundFor(const Segment& segment, Placement placement, std::int64_t k) {
        const std::int64_t frame = segment.first + k;
        if (placement == Placement::Overlap) {
            FrameSound sound{soundOf(clip(segment.clipA), frame), {}};
            sound.incoming = soundOf(clip(segment.clipB), frame);
            return sound;
        }
        const bool second = placement == Placement::Halves && k >= segment.countA;
        FrameSound sound{soundOf(clip(second ? segment.clipB : segment.clipA), frame), {}};
        const int rate = request_.writer.sampleRate;
        if (placement == Placement::Halves && k == segment.countA - 1)
            fadeEnd(sound.outgoing, rate, SoundEnd::Tail);
        if (placement == Placement::Halves && k == segment.countA)
            fadeEnd(sound.outgoing, rate, SoundEnd::Head);
        return sound;
    }

    AudioLevels levelsFor(const Segment& segment, const TransitionJob& job, std::int64_t k,
                          const std::optional<AudioLevels>& asked) {
        const Placement placement = placementOf(job.effect);
        AudioCircumstances now;
        now.effect = job.effect.index;
        now.fraction = static_cast<double>(k) / static_cast<double>(job.frames);
        const bool second = placement == Placement::Halves && k >= segment.countA;
        now.hasOutgoing = clip(second ? segment.clipB : segment.clipA).info().hasAudio;
        now.hasIncoming = placement == Placement::Overlap && clip(segment.clipB).info().hasAudio;
        now.arriving = placement == Placement::Before;
        now.steady = placement == Placement::Halves;
        now.asked = asked;
        return decideLevels(options_.audio, now);
    }

    static AudioLevels levelsBefore(Placement placement) {
        return {placement == Placement::Before ? 0 : 256, 0};
    }

    static AudioLevels levelsAfter(Placement placement) {
        if (placement == Placement::Overlap) return {0, 256};
        return {placement == Placement::After ? 0 : 256, 0};
    }

    void render(const Segment& segment) {
        const Clock::time_point start = Clock::now();
        const TransitionJob job = jobOf(segment);
        const Placement placement = placementOf(job.effect);
        const int sessions =
            std::clamp(sessionsFor(options_), 1, static_cast<int>(std::min<std::int64_t>(segment.count, 64)));
        PictureRef key;
        if (placement == Placement::Halves)
            key = clip(segment.clipB).pictureAt(segment.count - segment.countA - 1);
        ParallelRenderer renderer(request_.module, job, sessions, key, &interruptFlag());
        ReportedTransition told = reported(segment, job, sessions);
        SoundRamp ramp(levelsBefore(placement));
        std::int64_t submitted = 0;
        for (std::int64_t k = 0; k < segment.count; ++k) {
            for (; submitted < segment.count && submitted - k < static_cast<std::int64_t>(renderer.window());
                 ++submitted)
                submit(renderer, segment, placement, submitted);
            TransitionFrame frame = renderer.take();
            writer_.writePicture(frame.picture);
            if (!frame.warning.empty())
                report_.warnings.push_back(fmt::format("{}: {}", job.effect.id, frame.warning));
            if (request_.sound) {
                told.levels.push_back(levelsFor(segment, job, k, frame.asked));
                writeSound(ramp.push(told.levels.back(), soundFor(segment, placement, k)));
            }
            advance();
        }
        writeSound(ramp.finish(levelsAfter(placement)));
        told.clip = renderer.finish();
        told.seconds = since(start);
        report_.transitions.push_back(std::move(told));
    }

    // The heap keeps what a transition's threads gave back, which the next clip has no use for.
    static void giveMemoryBack() {
#ifdef M_MMAP_THRESHOLD
        malloc_trim(0);
#endif
    }

    // A clip whose last frame is behind us is closed, so that a long join holds two open files.
    void closeUsed(const Segment& segment) {
        const std::int64_t end = segment.first + segment.count;
        for (int index : {segment.clipA, segment.clipB}) {
            if (index < 0) continue;
            const std::int64_t origin = request_.plan.clipOrigins[static_cast<std::size_t>(index)];
            if (origin + clip(index).frames() <= end) clip(index).close();
        }
    }

    const Options& options_;
    MovieRequest& request_;
    Writer& writer_;
    Report& report_;
    Progress progress_;
};

Report beginReport(const Options& o, const MovieRequest& request) {
    Report report;
    report.command = titleOf(o.command);
    report.output = o.output;
    report.plugin = request.module.name();
    report.size = request.size;
    report.rate = request.rate;
    report.frames = request.plan.frames;
    report.sound = request.sound;
    report.audio = audioPolicyName(o.audio);
    for (const Clip& clip : request.clips) {
        const MediaInfo& info = clip.info();
        report.clips.push_back({clip.path(),
                                info.kind == MediaKind::still ? "still" : "clip",
                                {info.width, info.height},
                                info.rate,
                                clip.frames(),
                                info.hasAudio});
    }
    return report;
}

void sayPlan(const Options& o, const MovieRequest& request) {
    if (!o.verbose) return;
    say("{}: {} at {} frames per second, {} frames ({:.2f} s)\n", titleOf(o.command), describe(request.size),
        describe(request.rate), request.plan.frames, secondsOf(request.plan.frames, request.rate));
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
    const Clock::time_point start = Clock::now();
    keepHeapSmall();
    MovieRequest request = prepareMovie(o);
    Report report = beginReport(o, request);
    sayPlan(o, request);
    if (!o.mlt.empty()) {
        writeTextFile(o.mlt, mltProject(o, request), o.force);
        if (!o.quiet) say("{}: an MLT project of {} frames\n", o.mlt, request.plan.frames);
        if (o.output.empty()) return;
    }
    try {
        Writer writer = Writer::open(o.output, request.writer);
        report.openSeconds = since(start);
        const Clock::time_point began = Clock::now();
        Pass pass(o, request, writer, report);
        pass.run();
        report.renderSeconds = since(began);
        report.samples = writer.samples();
        const Clock::time_point ending = Clock::now();
        writer.commit();
        report.finishSeconds = since(ending);
        pass.finish();
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
    for (const Clip& clip : request.clips)
        for (std::string& line : clip.warnings()) report.warnings.push_back(std::move(line));
    report.seconds = since(start);
    if (!o.report.empty()) writeTextFile(o.report, reportJson(report), o.force);
    sayEnd(o, request, report);
}

}  // namespace tumblewash
