#include "edit/Render.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <span>

#include "edit/Errors.h"
#include "edit/Outputs.h"
#include "edit/Sound.h"
#include "edit/Soundtrack.h"
#include "edit/Threads.h"
#include "edit/Transition.h"
#include "media/Quoting.h"
#include "media/SoundCopy.h"

namespace tumblewash::edit {

using host::AudioCircumstances;
using host::AudioLevels;
using host::AudioPolicy;
using host::audioPolicyName;
using host::decideLevels;
using host::mixMoment;
using host::MixMoment;
using host::rampShape;
using media::MediaError;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::PixelLayout;
using media::reachesBeyondWhite;
using media::Writer;

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The smallest picture that an effect takes, transparent black.
PictureRef blankPicture() {
    PictureRef blank = PictureRef::makeArgb(host::kMinPictureSide, host::kMinPictureSide);
    std::fill_n(blank.data(), blank.stride() * blank.height(), std::uint8_t{0});
    return blank;
}

// One pass over the plan.
class Pass {
  public:
    Pass(const RenderSettings& settings, MovieRequest& request, Writer& writer, Report& report,
         const RenderHooks& hooks)
        : settings_(settings),
          request_(request),
          writer_(writer),
          report_(report),
          hooks_(hooks),
          soundtrack_(request, [&writer](std::span<const float> samples, bool own) {
              const auto width = static_cast<std::size_t>(writer.settings().channels);
              if (own)
                  writer.writeOwnSamples(samples.data(), samples.size() / width);
              else
                  writer.writeSamples(samples.data(), samples.size() / width);
          }) {}

    void run() {
        bool begun = false;
        for (const Segment& segment : request_.plan.segments) {
            if (segment.first + segment.count <= request_.first || segment.first >= request_.end) continue;
            const std::int64_t passed = segment.transition == Segment::kNone
                                            ? std::max<std::int64_t>(0, request_.first - segment.first)
                                            : 0;
            if (!begun && segment.first + passed > 0) goTo(segment, passed);
            begun = true;
            if (segment.transition == Segment::kNone)
                copy(segment, passed);
            else
                render(segment);
            closeUsed(segment);
            giveMemoryBack();
        }
        if (!request_.sound) return;
        soundtrack_.finish();
        report_.told = soundtrack_.told();
        for (std::string& line : soundtrack_.warnings()) report_.warnings.push_back(std::move(line));
    }

  private:
    std::size_t valuesOf(std::int64_t frame) const {
        return static_cast<std::size_t>(request_.samplesBefore(frame + 1) - request_.samplesBefore(frame)) *
               static_cast<std::size_t>(request_.writer.channels);
    }

    // Where only a part of the plan is rendered: the clips stand as they would after all that lies before.
    void goTo(const Segment& segment, std::int64_t passed) {
        const auto origin = [&](int index) {
            return request_.plan.clipOrigins[static_cast<std::size_t>(index)];
        };
        const std::int64_t frame = segment.first + passed;
        if (!request_.sound) return clip(segment.clipA).seekPicture(segment.firstA + passed);
        clip(segment.clipA)
            .seek(segment.firstA + passed,
                  request_.samplesBefore(frame) - request_.samplesBefore(origin(segment.clipA)));
    }

    // A transition is rendered whole; frames outside of what was asked for are not written.
    bool wanted(std::int64_t frame) const { return frame >= request_.first && frame < request_.end; }

    void write(std::int64_t frame, const PictureRef& picture) {
        if (!wanted(frame)) return;
        if (settings_.soundOnly)
            writer_.skipPicture();
        else
            writer_.writePicture(picture);
        advance();
    }

    // Where only sound is rendered, no clip's pictures are read.
    PictureRef nextPicture(int index) { return settings_.soundOnly ? blank_ : clip(index).nextPicture(); }

    Clip& clip(int index) { return request_.clips[static_cast<std::size_t>(index)]; }

    std::vector<float> soundOf(Clip& clip, std::int64_t frame) {
        std::vector<float> samples(request_.sound ? valuesOf(frame) : 0);
        if (!samples.empty() && request_.clipSound) clip.nextSamples(samples);
        return samples;
    }

    void writeSound(std::int64_t frame, std::vector<float> samples) {
        if (wanted(frame) && !samples.empty()) soundtrack_.add(frame, std::move(samples));
    }

    void advance() {
        if (settings_.cancel && settings_.cancel->load()) throw Refusal(Problem::Interrupted, "interrupted");
        if (hooks_.advance) hooks_.advance(writer_.pictures());
    }

    // Frames of this segment that are copied as they are coded.
    CopiedFrames copiedOf(const Segment& segment) const {
        if (!request_.writer.copies) return {};
        return request_.copying->segments[static_cast<std::size_t>(&segment - request_.plan.segments.data())];
    }

    void copy(const Segment& segment, std::int64_t passed) {
        const CopiedFrames copied = copiedOf(segment);
        const std::int64_t end = std::min(segment.first + segment.count, request_.end);
        for (std::int64_t frame = segment.first + passed; frame < end; ++frame) {
            if (copied.holds(frame)) {
                clip(segment.clipA).passPicture();
                writer_.copyPicture();
                advance();
            } else {
                write(frame, nextPicture(segment.clipA));
            }
            writeSound(frame, soundOf(clip(segment.clipA), frame));
        }
    }

    const SettledSeam& seamOf(const Segment& segment) const {
        return request_.seams[static_cast<std::size_t>(segment.transition)];
    }

    TransitionJob jobOf(const Segment& segment) {
        const SettledSeam& seam = seamOf(segment);
        TransitionJob job;
        job.effect = seam.effect;
        job.size = request_.size;
        job.frames = segment.count;
        job.firstA = segment.firstA;
        job.framesA = clip(segment.clipA).frames();
        job.framesB = segment.clipB >= 0 ? clip(segment.clipB).frames() : 0;
        job.direction = seam.direction;
        job.speed = seam.speed;
        job.seed = seam.seed;
        job.proxy = settings_.proxy;
        job.layout = writer_.preferredLayout();
        job.matrix = writer_.matrix();
        job.fields = request_.fields;
        job.alpha = request_.writer.keepAlpha;
        job.ownEffects = settings_.plugin.empty();
        if (settings_.soundOnly) {
            // The effect is asked for its levels only, which do not depend on pictures.
            job.size = {blank_.width(), blank_.height()};
            job.layout = PixelLayout::argb;
            job.alpha = false;
        }
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
        t.firstA = request_.clips[static_cast<std::size_t>(segment.clipA)].in() + segment.firstA;
        if (segment.clipB >= 0)
            t.firstB = request_.clips[static_cast<std::size_t>(segment.clipB)].in() + segment.firstB;
        t.direction = directionName(job.direction);
        t.seed = job.seed;
        t.sessions = sessions;
        return t;
    }

    struct Sources {
        PictureRef a;
        PictureRef b;
    };

    // The pictures that frame k of a transition is made from, each clip read in its own order.
    Sources sourcesOf(const Segment& segment, Placement placement, std::int64_t k) {
        if (placement == Placement::Overlap) {
            PictureRef a = nextPicture(segment.clipA);
            return {std::move(a), nextPicture(segment.clipB)};
        }
        const bool second = placement == Placement::Halves && k >= segment.countA;
        return {nextPicture(second ? segment.clipB : segment.clipA), {}};
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
        const auto fade = [&](SoundEnd end) {
            fadeEnd(sound.outgoing, request_.writer.channels, request_.writer.sampleRate, end,
                    kMorphFadeSeconds);
        };
        if (placement == Placement::Halves && k == segment.countA - 1) fade(SoundEnd::Tail);
        if (placement == Placement::Halves && k == segment.countA) fade(SoundEnd::Head);
        return sound;
    }

    AudioCircumstances circumstances(const Segment& segment, const TransitionJob& job, std::int64_t k,
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
        return now;
    }

    static MixMoment momentBefore(Placement placement) {
        return {placement == Placement::Before ? 0.0 : 1.0, 0.0};
    }

    static MixMoment momentAfter(Placement placement) {
        if (placement == Placement::Overlap) return {0.0, 1.0};
        return {placement == Placement::After ? 0.0 : 1.0, 0.0};
    }

    void render(const Segment& segment) {
        const Clock::time_point start = Clock::now();
        TransitionJob job = jobOf(segment);
        const Placement placement = placementOf(job.effect);
        const int sessions = sessionsFor(settings_.threads, writer_.settings(), segment.count);
        PictureRef key;
        if (placement == Placement::Halves)
            key = settings_.soundOnly ? blank_
                                      : clip(segment.clipB).pictureAt(segment.count - segment.countA - 1);
        Sources first = sourcesOf(segment, placement, 0);
        // What lies beyond white would be cut off for as long as the transition lasts: a flash at both ends.
        job.beyondWhite = job.ownEffects && (reachesBeyondWhite(first.a) || reachesBeyondWhite(first.b) ||
                                             reachesBeyondWhite(key));
        ParallelRenderer renderer(request_.module, job, sessions, key, settings_.cancel);
        renderer.submit(std::move(first.a), std::move(first.b));
        ReportedTransition told = reported(segment, job, std::max(1, sessions));
        const AudioPolicy policy = seamOf(segment).sound;
        SoundRamp ramp(momentBefore(placement), rampShape(policy), request_.writer.channels);
        std::int64_t submitted = 1;
        for (std::int64_t k = 0; k < segment.count; ++k) {
            for (; submitted < segment.count && submitted - k < static_cast<std::int64_t>(renderer.window());
                 ++submitted) {
                Sources next = sourcesOf(segment, placement, submitted);
                renderer.submit(std::move(next.a), std::move(next.b));
            }
            TransitionFrame frame = renderer.take();
            write(segment.first + k, frame.picture);
            if (!frame.warning.empty())
                report_.warnings.push_back(fmt::format("{}: {}", job.effect.id, frame.warning));
            if (request_.sound) {
                const AudioCircumstances now = circumstances(segment, job, k, frame.asked);
                told.levels.push_back(decideLevels(policy, now));
                writeSound(segment.first + k - 1,
                           ramp.push(mixMoment(policy, now), soundFor(segment, placement, k)));
            }
        }
        writeSound(segment.first + segment.count - 1, ramp.finish(momentAfter(placement)));
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

    const RenderSettings& settings_;
    MovieRequest& request_;
    Writer& writer_;
    Report& report_;
    const RenderHooks& hooks_;
    Soundtrack soundtrack_;
    PictureRef blank_ = blankPicture();
};

}  // namespace

Report beginReport(const Edit& edit, const RenderSettings& settings, const MovieRequest& request) {
    Report report;
    report.output = settings.output;
    report.plugin = request.module.name();
    report.size = request.size;
    report.rate = request.rate;
    report.frames = request.end - request.first;
    report.sound = request.sound;
    report.channels = request.writer.channels;
    report.sampleRate = request.writer.sampleRate;
    report.limiter = request.limiter;
    report.audio = audioPolicyName(edit.sound);
    for (const Clip& clip : request.clips) report.clips.push_back(reportedClip(clip));
    report.colour = request.writer.colour;
    report.conversions = request.notes;
    if (request.copying) {
        const Copying& copying = *request.copying;
        report.copies = ReportedCopies{copying.copied, report.frames - copying.copied, {}, copying.why, 0};
        for (const media::CopyRun& run : request.copying->runs)
            report.copies->runs.push_back({run.pictures(), run.clip, run.range.firstPicture});
    }
    report.remarks = request.levels;
    report.music = request.musicFile;
    return report;
}

namespace {

// One try at the movie; what it added to the report counts only when it ends well.
void renderOnce(const RenderSettings& settings, MovieRequest& request, Report& report,
                const RenderHooks& hooks) {
    const Clock::time_point opening = Clock::now();
    Writer writer = Writer::open(settings.output, request.writer);
    report.openSeconds += since(opening);
    const Clock::time_point began = Clock::now();
    Pass(settings, request, writer, report, hooks).run();
    report.renderSeconds = since(began);
    report.samples = writer.samples();
    if (std::string line = limiterLine(report, request.limiter); !line.empty())
        report.remarks.push_back(std::move(line));
    // Nothing that needs memory comes after the commit: what fails leaves the old file.
    for (const Clip& clip : request.clips)
        for (std::string& line : clip.warnings()) report.warnings.push_back(std::move(line));
    // Of photos whose heads were enough to plan with, what is done to them is known now.
    for (const Clip& clip : request.clips)
        for (std::string& line : clip.conversions())
            if (std::find(report.conversions.begin(), report.conversions.end(), line) ==
                report.conversions.end())
                report.conversions.push_back(std::move(line));
    const Clock::time_point ending = Clock::now();
    writer.commit();
    report.finishSeconds = since(ending);
    report.pictureSeconds = writer.pictureSeconds();
    report.soundSeconds = writer.soundSeconds();
    if (report.copies)
        report.copies->soundSeconds = static_cast<double>(writer.copiedSamples()) / request.writer.sampleRate;
    for (const std::string& line : writer.warnings())
        report.warnings.push_back(media::quotedName(settings.output) + ": " + line);
}

// What a try told is forgotten, and the clips stand at their beginnings.
void startAnew(MovieRequest& request, Report& report) {
    for (Clip& clip : request.clips) clip.restart();
    report.transitions.clear();
    report.remarks = request.levels;
    report.conversions = request.notes;
    report.warnings.clear();
}

// Copies that turned out wrong are dropped, and all is encoded.
void dropCopies(const media::CopyCheckFailed& problem, MovieRequest& request, Report& report) {
    request.writer.copies.reset();
    request.writer.soundCopy.reset();
    request.writer.soundCodec = media::SoundCodec::usual;
    if (request.copying->otherCodec) {
        request.writer.colour->codec = *request.copying->otherCodec;
        report.colour = request.writer.colour;
    }
    startAnew(request, report);
    report.warnings = {fmt::format("{}; rendered in full instead", problem.what())};
    report.copies = ReportedCopies{0, report.frames, {}, problem.what(), 0};
}

// Sound that cannot be copied here is encoded; nobody hears the difference.
void renderCopied(const RenderSettings& settings, MovieRequest& request, Report& report,
                  const RenderHooks& hooks) {
    try {
        renderOnce(settings, request, report, hooks);
    } catch (const media::SoundCopyFailed&) {
        request.writer.soundCopy.reset();
        startAnew(request, report);
        renderOnce(settings, request, report, hooks);
    }
}

}  // namespace

void renderMovie(const RenderSettings& settings, MovieRequest& request, Report& report,
                 const RenderHooks& hooks) {
    try {
        if (!request.writer.copies) return renderOnce(settings, request, report, hooks);
        try {
            renderCopied(settings, request, report, hooks);
        } catch (const media::CopyCheckFailed& problem) {
            dropCopies(problem, request, report);
            renderOnce(settings, request, report, hooks);
        }
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
}

}  // namespace tumblewash::edit
