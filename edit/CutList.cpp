#include "edit/CutList.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "edit/Errors.h"
#include "edit/StartCode.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

constexpr std::int64_t kEndless = std::numeric_limits<std::int64_t>::max() / 4;

std::string frameCount(std::int64_t n) {
    return n == 1 ? "1 frame" : fmt::format("{} frames", n);
}

CutSeam cutSeam(const SettledSeam& settled) {
    CutSeam seam;
    seam.effect = settled.effect.id;
    seam.halves = placementOf(settled.effect) == Placement::Halves;
    seam.before = seam.after = settled.frames / 2;
    if (settled.effect.info.flags != 0) seam.direction = settled.direction;
    seam.seed = settled.seed;
    seam.sound = settled.sound;
    return seam;
}

/// A clip of a cut list on its way into an edit.
struct Opened {
    CutClip clip;
    FileFacts facts;
    std::int64_t ahead() const { return clip.file.empty() || facts.still ? kEndless : clip.in; }
    std::int64_t behind() const {
        return clip.file.empty() || facts.still ? kEndless : facts.frames - clip.out;
    }
};

/// What a seam is called in remarks.
std::string seamName(std::size_t index) {
    return fmt::format("seam {}", index + 1);
}

/// Limits `wanted` to the `present` pictures beyond a trim, and notes why.
void limit(std::int64_t& wanted, std::int64_t present, const CutClip& clip, const char* where,
           std::string& reason) {
    if (wanted <= present) return;
    reason += fmt::format("{}{} has {} of the {} needed {}", reason.empty() ? "" : "; ",
                          media::quotedName(clip.name), present, frameCount(wanted), where);
    wanted = present;
}

/// An even length for the seam: one frame more where one is left, else one fewer.
void makeEven(CutSeam& seam, const Opened& a, const Opened& b) {
    if (seam.frames() % 2 == 0) return;
    if (seam.after < a.behind() && seam.after < b.clip.frames())
        ++seam.after;
    else if (seam.before < b.ahead() && seam.before < a.clip.frames())
        ++seam.before;
    else if (seam.after >= seam.before)
        --seam.after;
    else
        --seam.before;
}

/// The seam as the clips beside it allow it; nothing when a cut is all that is left.
std::optional<CutSeam> fitted(CutSeam seam, const Opened& a, const Opened& b, const std::string& which,
                              std::vector<std::string>& remarks) {
    const std::int64_t wished = seam.frames();
    std::string reason;
    if (!seam.halves) {
        limit(seam.after, a.behind(), a.clip, "after its out", reason);
        limit(seam.before, b.ahead(), b.clip, "before its in", reason);
    }
    makeEven(seam, a, b);
    if (seam.frames() != wished)
        remarks.push_back(fmt::format("{}: {} instead of {}: {}", which,
                                      seam.frames() >= 2 ? frameCount(seam.frames()) : "a cut", wished,
                                      reason.empty() ? "effects need an even number" : reason));
    if (seam.frames() < 2) return std::nullopt;
    return seam;
}

EditSeam editSeam(const CutSeam& seam) {
    EditSeam said;
    if (!seam.effect.empty()) said.effect = seam.effect;
    said.duration = EditTime{{TimeSpan::Unit::Frames, seam.frames()}, {}};
    said.direction = seam.direction;
    said.seed = seam.seed;
    said.sound = seam.sound;
    return said;
}

EditTime frameTime(std::int64_t frames) {
    return {{TimeSpan::Unit::Frames, frames}, {}};
}

/// The clip with the frames that its seams need beyond its cuts.
EditClip editClip(const Opened& opened, std::int64_t before, std::int64_t after) {
    EditClip said;
    said.file = opened.clip.file;
    const std::int64_t in = opened.clip.in - before;
    const std::int64_t out = opened.clip.out + after;
    if (opened.clip.file.empty() || opened.facts.still) {
        said.length = frameTime(out - in);
        return said;
    }
    if (in > 0) said.in = frameTime(in);
    if (out < opened.facts.frames) said.out = frameTime(out);
    return said;
}

void refuseBeyond(const Opened& opened, media::FrameRate rate) {
    const CutClip& clip = opened.clip;
    if (clip.file.empty() || opened.facts.still) return;
    if (clip.in >= 0 && clip.out <= opened.facts.frames) return;
    throw Refusal(
        Problem::BadRequest,
        fmt::format("{}: frames {} to {} are wanted, and the file has {} at {} frames per second",
                    media::quotedName(clip.file), clip.in, clip.out, opened.facts.frames, describe(rate)));
}

std::int64_t reach(const std::optional<CutSeam>& seam, std::int64_t CutSeam::*side) {
    return seam && !seam->halves ? (*seam).*side : 0;
}

}  // namespace

std::int64_t CutList::frames() const noexcept {
    std::int64_t sum = 0;
    for (const CutClip& clip : clips) sum += clip.frames();
    return sum;
}

CutList cutListOf(const Edit& edit, const MovieRequest& request) {
    CutList list;
    list.rate = request.rate;
    list.title = edit.title.value_or("");
    const std::size_t between = request.clips.size() - 1;
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        const Clip& clip = request.clips[i];
        CutClip cut;
        cut.name = clip.path();
        if (!clip.isBlack()) {
            cut.file = clip.path();
            cut.still = clip.info().kind == media::MediaKind::still;
            cut.sounds = clip.info().hasAudio;
            if (!cut.still) cut.start = startFrameOf(cut.file, request.rate);
        }
        cut.in = clip.in();
        cut.out = clip.in() + clip.frames();
        if (i > 0 && request.seams[i - 1].frames > 0) {
            const CutSeam seam = cutSeam(request.seams[i - 1]);
            if (!seam.halves) cut.in += seam.before;
            list.seams.emplace_back(seam);
        } else if (i > 0) {
            list.seams.emplace_back();
        }
        if (i < between && request.seams[i].frames > 0 && !cutSeam(request.seams[i]).halves)
            cut.out -= cutSeam(request.seams[i]).after;
        list.clips.push_back(std::move(cut));
    }
    std::size_t next = between;
    if (edit.opening) {
        list.opening = cutSeam(request.seams[next++]);
        list.opening->after += list.opening->before;
        list.opening->before = 0;
    }
    if (edit.closing) {
        list.closing = cutSeam(request.seams[next]);
        list.closing->before += list.closing->after;
        list.closing->after = 0;
    }
    return list;
}

Edit editOf(const CutList& list, const AskFile& ask, std::vector<std::string>& remarks) {
    std::vector<Opened> opened;
    for (const CutClip& clip : list.clips) {
        opened.push_back({clip, clip.file.empty() ? FileFacts{} : ask(clip.file, list.rate)});
        refuseBeyond(opened.back(), list.rate);
    }
    std::vector<std::optional<CutSeam>> seams(list.seams);
    for (std::size_t i = 0; i < seams.size(); ++i)
        if (seams[i]) seams[i] = fitted(*seams[i], opened[i], opened[i + 1], seamName(i), remarks);

    Edit edit;
    if (!list.title.empty()) edit.title = list.title;
    edit.output.rate = Written<media::FrameRate>{list.rate, rateWords(list.rate)};
    for (std::size_t i = 0; i < opened.size(); ++i) {
        const std::optional<CutSeam> none;
        const std::optional<CutSeam>& ahead = i > 0 ? seams[i - 1] : none;
        const std::optional<CutSeam>& behind = i < seams.size() ? seams[i] : none;
        EditClip clip = editClip(opened[i], reach(ahead, &CutSeam::before), reach(behind, &CutSeam::after));
        if (i > 0) {
            clip.seam = ahead ? editSeam(*ahead) : EditSeam{};
            if (!ahead) clip.seam->effect = "none";
        }
        edit.clips.push_back(std::move(clip));
    }
    // An odd fade at an end loses a frame: there is nothing beyond it to take one from.
    const auto atEnd = [&](const std::optional<CutSeam>& seam, const char* which) -> std::optional<EditSeam> {
        if (!seam) return std::nullopt;
        CutSeam even = *seam;
        even.after = even.frames() / 2 * 2;
        even.before = 0;
        if (even.frames() != seam->frames())
            remarks.push_back(fmt::format("{}: {} instead of {}: effects need an even number", which,
                                          frameCount(even.frames()), seam->frames()));
        if (even.frames() < 2) return std::nullopt;
        return editSeam(even);
    };
    edit.opening = atEnd(list.opening, "opening");
    edit.closing = atEnd(list.closing, "closing");
    return edit;
}

}  // namespace tumblewash::edit
