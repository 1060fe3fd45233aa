#include "edit/OpenClips.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/Parallel.h"
#include "edit/ResultShape.h"
#include "media/Quoting.h"
#include "media/StillHead.h"

namespace tumblewash::edit {

using media::FieldOrder;
using media::FrameRate;
using media::MediaInfo;
using media::MediaKind;
using media::probe;
using media::probeHead;
using media::quotedName;
using media::ReaderSettings;

namespace {

/// Files that are opened side by side while an edit is checked: some wait for the disk while others decode.
constexpr int kProbes = 4;

[[noreturn]] void refuseDocument(const std::string& file) {
    throw Refusal(Problem::BadRequest, quotedName(file) + ": an edit cannot hold an edit; render it first");
}

std::int64_t stillFrames(const std::string& name, const EditTime& length, FrameRate rate) {
    const std::int64_t frames = length.value.frames(rate);
    if (frames >= 1) return frames;
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: {} is shorter than one frame at {} frames per second; give a longer time",
                              quotedName(name), wordsOf(length), describe(rate)));
}

/// The stretch of a movie that the edit uses.
void trim(Clip& clip, const EditClip& said, FrameRate rate) {
    const std::int64_t in = said.in ? said.in->value.frames(rate) : 0;
    const std::int64_t out = said.out ? said.out->value.frames(rate) : clip.frames();
    const auto refuse = [&](const char* point, const EditTime& time, std::int64_t frame) {
        throw Refusal(
            Problem::BadRequest,
            fmt::format(
                "{}: the {} of what is used, {}, is frame {} at {} frames per second, and the clip has {} "
                "({:.2f} s)",
                quotedName(clip.path()), point, wordsOf(time), frame, describe(rate), clip.frames(),
                secondsOf(clip.frames(), rate)));
    };
    if (said.out && out > clip.frames()) refuse("end", *said.out, out);
    if (said.in && in >= clip.frames()) refuse("start", *said.in, in);
    if (in >= out)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{}: nothing is left between in {} and out {}", quotedName(clip.path()),
                        said.in ? wordsOf(*said.in) : "0", said.out ? wordsOf(*said.out) : "the end"));
    if (said.in || said.out) clip.trim(in, out);
}

/// A clip longer than any movie, or slower than any, has times that are damaged.
void refuseEndless(const Clip& clip, FrameRate rate) {
    constexpr double kSlowest = 1.0 / 60;
    const FrameRate own = clip.info().rate;
    if (own && own.value() < kSlowest)
        throw Refusal(
            Problem::BadInput,
            fmt::format("{}: says it has one picture in {:.0f} s; its times are damaged, or give its "
                        "pictures as photos",
                        quotedName(clip.path()), 1 / own.value()));
    constexpr double kLongest = 100 * 3600;
    if (secondsOf(clip.frames(), rate) <= kLongest) return;
    throw Refusal(
        Problem::BadInput,
        fmt::format("{}: would last {:.0f} hours by its own times, which are damaged or those of a picture a "
                    "day; give its pictures as photos",
                    quotedName(clip.path()), secondsOf(clip.frames(), rate) / 3600));
}

/// How many frames a still would last here; one that is held gets its seams on top once they are known.
std::int64_t framesOfStill(const Edit& edit, const EditClip& said, const std::string& name, FrameRate rate) {
    const std::int64_t in = said.in ? said.in->value.frames(rate) : 0;
    if (!said.out)
        return stillFrames(name, said.length ? *said.length : edit.hold ? *edit.hold : edit.still, rate);
    const std::int64_t frames = said.out->value.frames(rate) - in;
    if (frames >= 1) return frames;
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: nothing is left between in and out", quotedName(name)));
}

/// The whole of a clip's file, or black. Of a still only the head is looked at.
Clip openClip(const Edit& edit, const EditClip& said, ReaderSettings settings, FieldOrder fields,
              ClipShelf* shelf) {
    const FrameRate rate = settings.rate;
    if (said.black()) return Clip::black(stillFrames("black", *said.length, rate), settings, fields);
    const std::string file = fileOf(edit, said);
    if (isDocumentName(file)) refuseDocument(file);
    settings.stillFrames = 1;
    ReaderSettings ofStills = settings;
    ofStills.fit = fitOf(edit, true);
    if (std::optional<MediaInfo> head = probeHead(file)) return {std::move(*head), ofStills};
    if (std::optional<Clip> known = shelf ? shelf->find(file, settings) : std::nullopt)
        return std::move(*known);
    // Of a clip without sound, nobody takes pictures either: it is counted and left.
    Clip clip = settings.sound || settings.keepFields ? Clip(file, settings)
                                                      : Clip(media::KnownInput::of(file, settings), settings);
    if (clip.info().kind == MediaKind::still) return {clip.info(), ofStills};
    refuseEndless(clip, rate);
    if (shelf) shelf->keep(settings, clip);
    return clip;
}

/// What the edit takes of an opened file.
void settleClip(const Edit& edit, const EditClip& said, FrameRate rate, Clip& clip) {
    if (said.black()) return;
    const std::string file = fileOf(edit, said);
    if (clip.info().kind == MediaKind::still) return clip.last(framesOfStill(edit, said, file, rate));
    if (said.length)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: length is for stills and black; give in and out", quotedName(file)));
    if (clip.frames() > 0) trim(clip, said, rate);
}

/// For each clip the first one of the same file.
std::vector<std::size_t> firstUses(const Edit& edit) {
    std::unordered_map<std::string_view, std::size_t> known;
    std::vector<std::size_t> first;
    for (std::size_t i = 0; i < edit.clips.size(); ++i)
        first.push_back(edit.clips[i].black() ? i : known.try_emplace(edit.clips[i].file, i).first->second);
    return first;
}

}  // namespace

std::vector<MediaInfo> probeFirst(const Edit& edit, media::CancelFlag cancel) {
    std::vector<MediaInfo> infos;
    for (const EditClip& clip : edit.clips) {
        if (clip.black()) continue;
        const std::string file = fileOf(edit, clip);
        if (isDocumentName(file)) refuseDocument(file);
        // The first picture is really decoded; of further photos the head is enough.
        std::optional<MediaInfo> head = infos.empty() ? std::nullopt : probeHead(file);
        infos.push_back(head ? std::move(*head) : probe(file, cancel));
        if (infos.back().kind == MediaKind::clip || (edit.output.rate && edit.output.size)) break;
    }
    return infos;
}

std::vector<Clip> openClips(const Edit& edit, const std::vector<MediaInfo>& infos,
                            const ReaderSettings& settings, FieldOrder fields, ClipShelf* shelf) {
    std::vector<std::optional<Clip>> opened(edit.clips.size());
    std::vector<ReaderSettings> each(edit.clips.size(), settings);
    for (std::size_t i = 0, known = 0; i < each.size() && known < infos.size(); ++i)
        if (!edit.clips[i].black()) each[i].identity = infos[known++].identity;
    const std::vector<std::size_t> first = firstUses(edit);
    inParallel(static_cast<int>(edit.clips.size()), kProbes, settings.cancel, [&](int i) {
        const auto at = static_cast<std::size_t>(i);
        if (first[at] != at) return;
        opened[at] = openClip(edit, edit.clips[at], each[at], fields, shelf);
        // Two open files at a time are all that the pass needs.
        if (i >= 2) opened[at]->close();
    });
    for (std::size_t i = 0; i < opened.size(); ++i)
        if (first[i] != i) opened[i] = opened[first[i]]->again();
    std::vector<Clip> clips;
    clips.reserve(opened.size());
    for (std::size_t i = 0; i < opened.size(); ++i) {
        settleClip(edit, edit.clips[i], settings.rate, *opened[i]);
        clips.push_back(std::move(*opened[i]));
    }
    return clips;
}

}  // namespace tumblewash::edit
