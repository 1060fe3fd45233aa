#include "edit/Copying.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "edit/Eligible.h"
#include "edit/Errors.h"
#include "media/Quoting.h"
#include "media/SeamCost.h"

namespace tumblewash::edit {

using media::CopyPlan;
using media::CopyRun;
using media::PacketIndex;
using media::PacketRange;

namespace {

using Indexes = std::vector<std::shared_ptr<const PacketIndex>>;

/// One index for each file, however many clips are cut from it.
Indexes indexesOf(const RenderSettings& settings, const MovieRequest& request) {
    Indexes out;
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        const Clip& clip = request.clips[i];
        std::shared_ptr<const PacketIndex> index;
        for (std::size_t k = 0; k < i && !index; ++k)
            if (request.clips[k].path() == clip.path()) index = out[k];
        if (!index) index = PacketIndex::read(clip.path(), clip.info().identity, settings.cancel);
        out.push_back(std::move(index));
    }
    return out;
}

void addEncoded(Copying& copying, std::int64_t frames) {
    if (frames <= 0) return;
    if (copying.runs.empty() || copying.runs.back().clip != CopyRun::kEncoded) copying.runs.push_back({});
    copying.runs.back().range.pictures += frames;
    copying.encoded += frames;
}

/// What a clip's segment [first, end) of the result can copy.
void addCopied(Copying& copying, const MovieRequest& request, const Segment& segment,
               const PacketIndex& index, std::int64_t first, std::int64_t end) {
    const Clip& clip = request.clips[static_cast<std::size_t>(segment.clipA)];
    const std::int64_t move = clip.in() + segment.firstA - segment.first;  // from the result to the file
    const std::optional<PacketRange> range = index.copyable(first + move, end + move);
    if (!range) {
        copying.notes.push_back(
            fmt::format("{} has no key frame after {:.1f} s that can start a copy: all of it is encoded",
                        media::quotedName(clip.path()), secondsOf(first + move, request.rate)));
        addEncoded(copying, end - first);
        return;
    }
    CopiedFrames& frames = copying.segments.back();
    frames.first = range->firstPicture - move;
    frames.end = frames.first + range->pictures;
    addEncoded(copying, frames.first - first);
    copying.runs.push_back({segment.clipA, *range});
    copying.copied += range->pictures;
    addEncoded(copying, end - frames.end);
}

Copying copyingOf(const MovieRequest& request, const Indexes& indexes) {
    Copying copying;
    for (const Segment& segment : request.plan.segments) {
        copying.segments.emplace_back();
        const std::int64_t first = std::max(segment.first, request.first);
        const std::int64_t end = std::min(segment.first + segment.count, request.end);
        if (first >= end) continue;
        if (segment.transition != Segment::kNone)
            addEncoded(copying, end - first);
        else
            addCopied(copying, request, segment, *indexes[static_cast<std::size_t>(segment.clipA)], first,
                      end);
    }
    if (copying.copied == 0) {
        copying.expected = copying.notes.empty();
        copying.why =
            copying.expected ? "nothing lies between the seams that could be copied" : copying.notes.front();
        copying.segments.clear();
        copying.runs.clear();
        copying.notes.clear();
    }
    return copying;
}

/// Which clips are encoded from end to end, in one line; empty when none is.
std::string encodedClipsLine(const Copying& copying) {
    if (copying.notes.empty()) return {};
    const std::size_t more = copying.notes.size() - 1;
    if (more == 0) return copying.notes.front();
    return fmt::format("{}; so {} {} more", copying.notes.front(), more == 1 ? "is" : "are", more);
}

/// About how long the pictures take on this machine: encoded ones by doing some, copied ones by how long it
/// took to read them, since they are read for the index and the copy, written, and read back.
void estimate(const MovieRequest& request, const Indexes& indexes, double readSeconds, Copying& copying) {
    constexpr double kPasses = 4;
    std::int64_t read = 0;
    for (const auto& index : indexes) read += index->pictures();
    const media::SeamCost each = media::measureSeams(indexes.front(), request.reader);
    const double copied = static_cast<double>(copying.copied);
    const double encoded = static_cast<double>(copying.encoded);
    // Up to a second on each side of every copied run is decoded once more, and in its clip.
    double compared = 0;
    for (const CopyRun& run : copying.runs)
        if (run.clip != CopyRun::kEncoded)
            compared += std::min(4 * request.rate.value(), 4 * static_cast<double>(run.pictures()));
    copying.seconds =
        readSeconds * (1 + (kPasses - 1) * copied / static_cast<double>(std::max<std::int64_t>(1, read))) +
        encoded * (2 * each.decoding + each.encoding) + compared * each.decoding;
    copying.fullSeconds = (copied + encoded) * (each.decoding + each.encoding);
}

}  // namespace

CopyWish copyWish(const Edit& edit, const RenderSettings& settings) {
    CopyWish wish;
    const std::optional<CopyBodies> said = settings.copyBodies ? settings.copyBodies : edit.output.copyBodies;
    wish.asked = said.has_value();
    wish.bodies = said.value_or(CopyBodies::automatic);
    if (settings.soundOnly || (settings.output.empty() && !settings.tellCopies))
        wish.bodies = CopyBodies::never;
    if (wish.bodies != CopyBodies::never) wish.why = whyNotAsked(edit, settings, wish.bodies);
    return wish;
}

std::string nothingCopiedLine(const CopyWish& wish, const Copying& copying) {
    if (copying.why.empty() || (copying.expected && !wish.asked)) return {};
    return "all frames are encoded, since " + copying.why;
}

void settleCopies(const Edit& edit, const RenderSettings& settings, const CopyWish& wish,
                  MovieRequest& request) {
    if (wish.bodies == CopyBodies::never) return;
    Indexes indexes;
    Copying copying;
    NoCopies no{wish.why, true};
    if (no.why.empty()) no = whyNotCopiedAtOnce(edit, settings, wish.bodies, request);
    double readSeconds = 0;
    if (no.why.empty()) {
        const auto began = std::chrono::steady_clock::now();
        indexes = indexesOf(settings, request);
        readSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
        no = whyNotCopied(edit, settings, request, indexes);
    }
    if (no.why.empty()) {
        copying = copyingOf(request, indexes);
    } else {
        copying.why = std::move(no.why);
        copying.expected = no.expected;
    }
    if (copying.why.empty() && settings.output.empty()) estimate(request, indexes, readSeconds, copying);
    if (!copying.why.empty()) {
        if (wish.bodies == CopyBodies::always) throw Refusal(Problem::BadRequest, copying.why);
        if (std::string line = nothingCopiedLine(wish, copying); !line.empty())
            request.notes.push_back(std::move(line));
    } else {
        if (std::string line = encodedClipsLine(copying); !line.empty())
            request.notes.push_back(std::move(line));
        if (request.writer.colour) {
            const media::Codec codec = *indexes.front()->facts().codec;
            if (media::factsOf(codec).beside) copying.otherCodec = request.writer.colour->codec;
            request.writer.colour->codec = codec;
        }
        auto plan = std::make_shared<CopyPlan>();
        plan->clips = indexes;
        plan->runs = copying.runs;
        request.writer.copies = std::move(plan);
    }
    request.copying = std::move(copying);
}

std::string copyingTable(const MovieRequest& request) {
    const Copying& copying = *request.copying;
    if (!copying.why.empty()) return fmt::format("nothing is copied: {}\n", copying.why);
    std::string out;
    std::int64_t frame = request.first;
    for (const CopyRun& run : copying.runs) {
        const std::int64_t last = frame + run.pictures() - 1;
        if (run.clip == CopyRun::kEncoded)
            out += fmt::format("{:>8} .. {:<8} {:>8} frames encoded\n", frame, last, run.pictures());
        else
            out += fmt::format("{:>8} .. {:<8} {:>8} frames copied from {} from its frame {}\n", frame, last,
                               run.pictures(),
                               media::quotedName(request.clips[static_cast<std::size_t>(run.clip)].path()),
                               run.range.firstPicture);
        frame = last + 1;
    }
    const std::int64_t all = copying.copied + copying.encoded;
    out += fmt::format("{} of {} frames are copied and {} encoded, {:.1f} % of the work on pictures\n",
                       copying.copied, all, copying.encoded,
                       100.0 * static_cast<double>(copying.encoded) / static_cast<double>(all));
    if (copying.seconds >= 0)
        out += fmt::format(
            "about {:.1f} s for pictures on this machine, and {:.1f} s if all of them were encoded\n",
            copying.seconds, copying.fullSeconds);
    return out;
}

}  // namespace tumblewash::edit
