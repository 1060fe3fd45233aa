#include "farm/FarmPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "edit/Errors.h"
#include "edit/FileMark.h"

namespace tumblewash::farm {

using edit::FramePlan;
using edit::PixelSize;
using edit::Problem;
using edit::Refusal;
using edit::Segment;

namespace {

constexpr std::string_view kEnding = ".plan.json";

// Seconds of one core for a million pixels of one frame: decoded and encoded, and rendered between the two
// (docs/farm.md has the measurements).
constexpr double kCopyWork = 0.012;
constexpr double kSeamWork = 0.030;

double workPerFrame(const Segment& segment, PixelSize size) {
    const double megapixels = static_cast<double>(size.width) * size.height / 1e6;
    return megapixels * (segment.transition == Segment::kNone ? kCopyWork : kSeamWork);
}

const Segment& segmentAt(const FramePlan& plan, std::int64_t frame) {
    const auto after =
        std::upper_bound(plan.segments.begin(), plan.segments.end(), frame,
                         [](std::int64_t wanted, const Segment& segment) { return wanted < segment.first; });
    return *std::prev(after);
}

/// The place nearest to `frame` at which the plan may be cut.
std::int64_t placeNear(const FramePlan& plan, std::int64_t frame, bool splitSeams) {
    const Segment& segment = segmentAt(plan, frame);
    if (segment.transition == Segment::kNone || splitSeams) return frame;
    const std::int64_t end = segment.first + segment.count;
    return frame - segment.first < end - frame ? segment.first : end;
}

/// The frame before which `work` seconds lie.
std::int64_t frameAtWork(const FramePlan& plan, PixelSize size, double work) {
    for (const Segment& segment : plan.segments) {
        const double each = workPerFrame(segment, size);
        const double all = each * static_cast<double>(segment.count);
        if (work < all)
            return segment.first +
                   std::min(segment.count, static_cast<std::int64_t>(std::llround(work / each)));
        work -= all;
    }
    return plan.frames;
}

std::int64_t wishedParts(const FramePlan& plan, media::FrameRate rate, double work,
                         const PartWishes& wishes) {
    if (wishes.parts && wishes.length)
        throw Refusal(Problem::BadRequest,
                      "--parts and --part-length cannot be used together; give one of them");
    if (wishes.parts) return *wishes.parts;
    if (!wishes.length) return std::max<std::int64_t>(1, static_cast<std::int64_t>(work / kLeastWork));
    const std::int64_t each = wishes.length->frames(rate);
    if (each < 1)
        throw Refusal(Problem::BadRequest, "--part-length is shorter than one frame; give a longer time");
    return (plan.frames + each - 1) / each;
}

}  // namespace

double workOf(const FramePlan& plan, PixelSize size, std::int64_t first, std::int64_t end) {
    double work = 0;
    for (const Segment& segment : plan.segments) {
        const std::int64_t inside =
            std::min(end, segment.first + segment.count) - std::max(first, segment.first);
        if (inside > 0) work += workPerFrame(segment, size) * static_cast<double>(inside);
    }
    return work;
}

std::vector<PartBounds> cutParts(const FramePlan& plan, PixelSize size, media::FrameRate rate,
                                 const PartWishes& wishes, std::vector<std::string>& remarks) {
    const double work = workOf(plan, size, 0, plan.frames);
    const std::int64_t wished = wishedParts(plan, rate, work, wishes);
    std::vector<PartBounds> parts;
    std::int64_t first = 0;
    for (std::int64_t k = 1; k <= wished && first < plan.frames; ++k) {
        const double share = work * static_cast<double>(k) / static_cast<double>(wished);
        std::int64_t end = k == wished ? plan.frames : frameAtWork(plan, size, share);
        if (end < plan.frames) end = placeNear(plan, std::max(end, first + 1), wishes.splitSeams);
        if (end <= first) continue;
        parts.push_back({first, end - first});
        first = end;
    }
    if (first < plan.frames) parts.back().frames = plan.frames - parts.back().first;
    const auto made = static_cast<std::int64_t>(parts.size());
    if (made < wished)
        remarks.push_back(fmt::format("{} instead of {} parts: there are no more places to cut{}", made,
                                      wished, wishes.splitSeams ? "" : " without --split-seams"));
    if (made > 1 && work / static_cast<double>(made) < kLeastWork)
        remarks.push_back(
            fmt::format("each part is about {:.0f} s of work; below {:.0f} s starting a part may "
                        "cost more than it saves",
                        std::max(1.0, work / static_cast<double>(made)), kLeastWork));
    return parts;
}

FarmPlan planOf(const edit::Edit& edit, const edit::MovieRequest& request, const std::string& kind,
                const std::string& program, std::vector<PartBounds> parts) {
    FarmPlan plan;
    plan.program = program;
    plan.kind = kind;
    plan.edit = edit;
    plan.size = request.size;
    plan.rate = request.rate;
    plan.fields = request.fields;
    plan.sound = request.sound;
    plan.sampleRate = request.writer.sampleRate;
    plan.channels = request.writer.channels;
    plan.threads = request.writer.threads > 0 ? request.writer.threads : media::usualEncoderThreads();
    plan.colour = request.writer.colour.value_or(media::MovieColour());
    plan.reader = request.reader;
    plan.frames = request.plan.frames;
    for (const edit::Clip& clip : request.clips)
        plan.clips.push_back(
            {clip.in(), clip.frames(), clip.info().kind == media::MediaKind::still, clip.info().hasAudio});
    for (const edit::SettledSeam& seam : request.seams) plan.seams.push_back(seam.frames);
    if (edit.music) plan.music = edit::markOf(edit::musicOf(edit));
    plan.parts = std::move(parts);
    return plan;
}

PartBounds boundsOf(const FarmPlan& plan, int number) {
    if (number == kSoundPart) return {0, plan.frames};
    if (number >= 1 && static_cast<std::size_t>(number) <= plan.parts.size())
        return plan.parts[static_cast<std::size_t>(number) - 1];
    throw Refusal(Problem::BadRequest, fmt::format("--part {}: the plan has parts 1 to {}{}", number,
                                                   plan.parts.size(), plan.sound ? " and sound" : ""));
}

std::string partWords(int number) {
    return number == kSoundPart ? "the sound" : fmt::format("part {}", number);
}

bool isPlanName(const std::string& name) {
    return name.size() > kEnding.size() && name.ends_with(kEnding);
}

std::string planStem(const std::string& name) {
    const std::string last = std::filesystem::path(name).filename().string();
    return isPlanName(last) ? last.substr(0, last.size() - kEnding.size()) : last;
}

}  // namespace tumblewash::farm
