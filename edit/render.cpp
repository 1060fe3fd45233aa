#include "edit/render.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "edit/errors.h"
#include "edit/outputs.h"
#include "edit/sound.h"
#include "edit/transition.h"

namespace tumblewash::edit {

using host::AudioCircumstances;
using host::AudioLevels;
using host::audioPolicyName;
using host::decideLevels;
using host::samplesBefore;
using media::kChannels;
using media::MediaError;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::Writer;

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Decoding and encoding keep about one core busy; the others render.
int sessionsFor(const MovieOrder& o) {
    return o.threads > 0 ? o.threads : static_cast<int>(std::thread::hardware_concurrency()) - 1;
}

// One pass over the plan.
class Pass {
  public:
    Pass(const MovieOrder& order, MovieRequest& request, Writer& writer, Report& report,
         const RenderHooks& hooks)
        : order_(order), request_(request), writer_(writer), report_(report), hooks_(hooks) {}

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
        if (order_.cancel && order_.cancel->load()) throw Refusal(Problem::Interrupted, "interrupted");
        if (hooks_.advance) hooks_.advance(writer_.pictures());
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
        job.direction = directionFor(order_.direction, job.effect);
        job.speed = order_.speed.value_or(0.5F);
        job.seed = order_.seed;
        job.proxy = order_.proxy;
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
        return decideLevels(order_.audio, now);
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
            std::clamp(sessionsFor(order_), 1, static_cast<int>(std::min<std::int64_t>(segment.count, 64)));
        PictureRef key;
        if (placement == Placement::Halves)
            key = clip(segment.clipB).pictureAt(segment.count - segment.countA - 1);
        ParallelRenderer renderer(request_.module, job, sessions, key, order_.cancel);
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

    const MovieOrder& order_;
    MovieRequest& request_;
    Writer& writer_;
    Report& report_;
    const RenderHooks& hooks_;
};

}  // namespace

Report beginReport(const MovieOrder& o, const MovieRequest& request) {
    Report report;
    report.command = movieKindName(o.kind);
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

void renderMovie(const MovieOrder& order, MovieRequest& request, Report& report, const RenderHooks& hooks) {
    try {
        const Clock::time_point opening = Clock::now();
        Writer writer = Writer::open(order.output, request.writer);
        report.openSeconds += since(opening);
        const Clock::time_point began = Clock::now();
        Pass(order, request, writer, report, hooks).run();
        report.renderSeconds = since(began);
        report.samples = writer.samples();
        const Clock::time_point ending = Clock::now();
        writer.commit();
        report.finishSeconds = since(ending);
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
    for (const Clip& clip : request.clips)
        for (std::string& line : clip.warnings()) report.warnings.push_back(std::move(line));
}

}  // namespace tumblewash::edit
