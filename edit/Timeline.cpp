#include "edit/Timeline.h"

#include <fmt/format.h>

#include "edit/Report.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

/// Where each seam lies, by its number.
std::vector<const Segment*> seamSegments(const MovieRequest& request) {
    std::vector<const Segment*> segments(request.seams.size(), nullptr);
    for (const Segment& segment : request.plan.segments)
        if (segment.transition != Segment::kNone)
            segments[static_cast<std::size_t>(segment.transition)] = &segment;
    return segments;
}

std::string line(const MovieRequest& request, std::int64_t first, std::int64_t count,
                 const std::string& what) {
    return fmt::format("{:>8} {:>13} {:>8}  {}\n", first, clockOf(first, request.rate), count, what);
}

std::string seamLine(const MovieRequest& request, std::size_t index, const Segment* segment,
                     const char* name) {
    const SettledSeam& seam = request.seams[index];
    if (!segment) return "";
    std::string words = fmt::format("   {} {}", name, seam.effect.id);
    if (seam.effect.info.flags != 0) words += " " + directionName(seam.direction);
    if (seam.seed != 1 && seam.effect.info.flags != 0) words += fmt::format(", seed {}", seam.seed);
    if (seam.shortened) words += ", as long as its clips allow";
    return line(request, segment->first, segment->count, words);
}

std::string clipWords(const EditClip& said, const Clip& clip) {
    std::string words = clip.isBlack() ? "black" : media::quotedName(clip.path());
    if (!said.black() && (said.in || said.out))
        words +=
            fmt::format("  {}..{}", said.in ? wordsOf(*said.in) : "", said.out ? wordsOf(*said.out) : "");
    return words;
}

}  // namespace

std::string clockOf(std::int64_t frame, media::FrameRate rate) {
    const std::int64_t ms = (microsecondsOf(frame, rate) + 500) / 1000;
    return fmt::format("{}:{:02}:{:02}.{:03}", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60, ms % 1000);
}

std::string timelineTable(const Edit& edit, const MovieRequest& request) {
    const std::vector<const Segment*> segments = seamSegments(request);
    const std::size_t between = request.clips.size() - 1;
    std::string out = fmt::format("{:>8} {:>13} {:>8}  {}\n", "frame", "time", "frames", "what");
    if (edit.opening) out += seamLine(request, between, segments[between], "opening");
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        if (i > 0) out += seamLine(request, i - 1, segments[i - 1], "seam");
        out += line(request, request.plan.clipOrigins[i], request.clips[i].frames(),
                    clipWords(edit.clips[i], request.clips[i]));
    }
    const std::size_t last = between + (edit.opening ? 1 : 0);
    if (edit.closing) out += seamLine(request, last, segments[last], "closing");
    return out + fmt::format("{} frames, {} at {} frames per second, {}{}\n", request.plan.frames,
                             clockOf(request.plan.frames, request.rate), describe(request.rate),
                             describe(request.size), request.sound ? ", with sound" : "");
}

}  // namespace tumblewash::edit
