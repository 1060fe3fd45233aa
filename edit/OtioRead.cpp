#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/ExactTime.h"
#include "edit/Fragment.h"
#include "edit/Otio.h"
#include "edit/OtioDocument.h"
#include "edit/StartCode.h"
#include "edit/Words.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using media::FrameRate;
using media::printable;

namespace {

/// A clip or a gap of the track before anything is counted in frames.
struct Item {
    std::string name;
    std::string file;
    std::optional<OtioRange> range;
    std::optional<Moment> firstPicture;  ///< what the file's first picture is called
    OtioNode node;
};

/// A transition in exact seconds.
struct Fade {
    CutSeam seam;
    Moment before;
    Moment after;
};

class Reader {
  public:
    Reader(const std::string& text, const std::string& name, const ExchangeSettings& settings,
           MediaFinder& finder, std::vector<std::string>& remarks)
        : document_(text, name), name_(name), settings_(settings), finder_(finder), remarks_(remarks) {}

    CutList read() {
        readTimeline(document_.root());
        finder_.refuseMissing(name_);
        CutList list = settled();
        for (const auto& [words, count] : counted_)
            remarks_.push_back(count == 1 ? words : fmt::format("{} ({} times)", words, count));
        return list;
    }

  private:
    /// Says once what happens many times.
    void say(const std::string& words) {
        for (auto& [known, count] : counted_)
            if (known == words) {
                ++count;
                return;
            }
        counted_.emplace_back(words, 1);
    }

    /// The clips, gaps and transitions of a track, the tracks of a stack.
    std::vector<OtioNode> children(const OtioNode& node) const { return document_.list(node, "children"); }

    void readTimeline(const OtioNode& root) {
        if (root.schema() != "Timeline")
            document_.refuse(root, root.schema().empty()
                                       ? "this is not an OpenTimelineIO timeline"
                                       : fmt::format("a {} is not a timeline", printable(root.schema())));
        title_ = root.words("name");
        const OtioNode stack = root.child("tracks");
        if (stack.schema() != "Stack") document_.refuse(root, "\"tracks\" is not a Stack");
        if (const auto range = document_.rangeIn(stack, "source_range")) stackRange_ = range;
        sayExtras(stack, "the timeline");
        std::vector<OtioNode> tracks;
        std::size_t sounds = 0;
        for (const OtioNode& track : children(stack)) {
            const std::string schema = track.schema();
            if (schema != "Track" && schema != "Sequence")
                document_.refuse(track,
                                 fmt::format("a {} in place of a track is not supported", printable(schema)));
            const std::string kind = track.words("kind");
            if (kind == "Audio")
                ++sounds;
            else if (!track.enabled())
                say(fmt::format("track {} is switched off and left out", printable(track.words("name"))));
            else if (clipsIn(track) > 0)
                tracks.push_back(track);
        }
        if (tracks.empty()) document_.refuse(stack, "no track has pictures");
        if (sounds > 1) say(fmt::format("{} sound tracks are left out; clips bring their own sound", sounds));
        readTrack(chosen(stack, tracks));
    }

    std::size_t clipsIn(const OtioNode& track) const {
        std::size_t n = 0;
        for (const OtioNode& node : children(track))
            n += node.schema() != "Gap" && node.schema() != "Transition";
        return n;
    }

    OtioNode chosen(const OtioNode& stack, const std::vector<OtioNode>& tracks) const {
        if (settings_.track > static_cast<int>(tracks.size()))
            document_.refuse(
                stack, fmt::format("--track {}: {} with pictures", settings_.track,
                                   tracks.size() == 1 ? "there is one track"
                                                      : fmt::format("there are {} tracks", tracks.size())));
        if (settings_.track > 0) return tracks[static_cast<std::size_t>(settings_.track - 1)];
        if (tracks.size() == 1) return tracks.front();
        std::string names;
        for (std::size_t i = 0; i < tracks.size(); ++i)
            names += fmt::format("{}{} {} ({} clips)", i ? ", " : "", i + 1,
                                 printable(tracks[i].words("name")), clipsIn(tracks[i]));
        document_.refuse(stack, fmt::format("{} tracks have pictures: {}; choose one with --track N",
                                            tracks.size(), names));
    }

    void sayExtras(const OtioNode& node, const std::string& whose) {
        if (const OtioNode markers = node.child("markers"); markers.json && !markers.json->empty())
            say(fmt::format("markers of {} are left out", whose));
        const OtioNode effects = node.child("effects");
        if (!effects.json || !effects.json->is_array()) return;
        for (std::size_t i = 0; i < effects.json->size(); ++i) {
            const OtioNode effect{&(*effects.json)[i], pointerTo(effects.pointer, std::to_string(i))};
            const std::string schema = effect.schema();
            if (schema == "LinearTimeWarp" || schema == "FreezeFrame" || schema == "TimeEffect")
                say(fmt::format("{}: its change of speed is ignored; it plays at normal speed", whose));
            else
                say(fmt::format(
                    "{}: the effect {} is left out", whose,
                    printable(effect.words("effect_name").empty() ? schema : effect.words("effect_name"))));
        }
    }

    void readTrack(const OtioNode& track) {
        trackRange_ = document_.rangeIn(track, "source_range");
        sayExtras(track, "the track");
        bool afterFade = false;
        for (const OtioNode& node : children(track)) {
            const std::string schema = node.schema();
            if (schema == "Transition") {
                if (afterFade) document_.refuse(node, "two transitions follow each other");
                afterFade = true;
                readFade(node);
                continue;
            }
            afterFade = false;
            if (schema == "Clip")
                readClip(node);
            else if (schema == "Gap")
                items_.push_back({"black", "", gapRange(node), std::nullopt, node});
            else if (schema == "Stack" || schema == "Track" || schema == "Sequence")
                document_.refuse(node, fmt::format("the nested {} {} is not supported; flatten it first",
                                                   schema, printable(node.words("name"))));
            else
                document_.refuse(node, fmt::format("{} is not supported in a track",
                                                   schema.empty() ? "this item" : printable(schema)));
        }
        if (items_.empty()) document_.refuse(track, "the track is empty");
    }

    OtioRange gapRange(const OtioNode& node) const {
        const auto range = document_.rangeIn(node, "source_range");
        if (!range) document_.refuse(node, "a gap has no source_range and so no length");
        return *range;
    }

    void readFade(const OtioNode& node) {
        const OtioNode in = node.child("in_offset");
        const OtioNode out = node.child("out_offset");
        if (!in.json || !out.json) document_.refuse(node, "a transition needs in_offset and out_offset");
        Fade fade;
        fade.before = document_.moment(in);
        fade.after = document_.moment(out);
        if (fade.before < Moment() || fade.after < Moment())
            document_.refuse(node, "a transition's offset is negative");
        if (!node.enabled()) {
            say("transitions that are switched off become cuts");
            return;
        }
        const OtioNode own = node.child("metadata").child("tumblewash");
        const std::string effect = own.words("effect");
        const std::vector<std::string> known = effectIds();
        if (std::find(known.begin(), known.end(), effect) != known.end()) {
            fade.seam.effect = effect;
            fade.seam.halves = own.words("placement") == "halves";
            fade.seam.direction = meaningOf(directionWords(), own.words("direction"));
            fade.seam.sound = meaningOf(audioWords(), own.words("audio"));
            if (const OtioNode seed = own.child("seed"); seed.json && seed.json->is_number_unsigned() &&
                                                         seed.json->get<std::uint64_t>() <= 0xFFFFFFFFU)
                fade.seam.seed = seed.json->get<std::uint32_t>();
        } else {
            const std::string type = node.words("transition_type");
            say(fmt::format("{} becomes the effect of the edit (--effect)",
                            type.empty() ? "a transition" : printable(type)));
        }
        fades_.emplace_back(items_.size(), fade);
    }

    void readClip(const OtioNode& node) {
        Item item{node.words("name"), "", document_.rangeIn(node, "source_range"), std::nullopt, node};
        sayExtras(node, item.name.empty() ? "a clip" : printable(item.name));
        OtioNode media = node.child("media_reference");
        if (const OtioNode all = node.child("media_references"); all.json && all.json->is_object()) {
            const std::string key = node.words("active_media_reference_key");
            media = all.child(key.empty() ? "DEFAULT_MEDIA" : key.c_str());
        }
        const auto available = document_.rangeIn(media, "available_range");
        if (available) item.firstPicture = available->start;
        if (!item.range) item.range = available;
        if (!node.enabled()) {
            say("clips that are switched off become black");
            if (!item.range) document_.refuse(node, "a clip that is switched off has no length");
        } else {
            item.file = fileFor(node, media, item);
        }
        items_.push_back(std::move(item));
    }

    std::string fileFor(const OtioNode& node, const OtioNode& media, Item& item) {
        const std::string schema = media.schema();
        if (schema == "GeneratorReference") {
            const std::string kind = media.words("generator_kind");
            if (kind != "black") say(fmt::format("the generator {} becomes black", printable(kind)));
            if (!item.range) document_.refuse(node, "a generator has no length");
            return "";
        }
        if (schema == "ImageSequenceReference")
            document_.refuse(media, "image sequences are not supported; make a movie of this one first");
        std::string wanted = item.name;
        std::string found;
        if (schema == "ExternalReference") {
            const std::string url = media.words("target_url");
            try {
                wanted = pathOfUrl(url);
            } catch (const Refusal& problem) {
                document_.refuse(media, problem.what());
            }
            found = finder_.find(url);
            if (found.empty()) found = finder_.find(wanted);
        } else {
            found = finder_.find(wanted);
        }
        if (found.empty() && wanted.empty()) document_.refuse(node, "a clip names neither a file nor itself");
        if (found.empty()) finder_.miss(wanted);
        if (item.name.empty()) item.name = std::filesystem::path(wanted).filename().string();
        return found;
    }

    FrameRate rateOfAll() const {
        if (settings_.fps) return *settings_.fps;
        for (const Item& item : items_)
            if (item.range && !item.file.empty()) return item.range->rate;
        for (const Item& item : items_)
            if (item.range) return item.range->rate;
        document_.refuse({nullptr, ""}, "no clip has a frame rate; give --fps");
    }

    /// Frames of whole files whose length the document does not say.
    void fillRanges(FrameRate rate) {
        for (Item& item : items_) {
            if (item.range) continue;
            const std::int64_t frames = wholeFrames(item.file, rate);
            const Moment start = Moment::ofFrames(startFrameOf(item.file, rate), rate);
            item.range = OtioRange{start, Moment::ofFrames(frames, rate), rate};
            item.firstPicture = start;
        }
    }

    static std::int64_t wholeFrames(const std::string& file, FrameRate rate) {
        media::ReaderSettings settings;
        settings.rate = rate;
        settings.prefetch = 0;
        return media::Reader::open(file, settings).frameCount();
    }

    /// The number in the file of the picture that the document calls `start`.
    static std::int64_t inPoint(const Item& item, FrameRate rate) {
        const std::int64_t start = item.range->start.frame(rate);
        if (item.firstPicture) return start - item.firstPicture->frame(rate);
        const std::int64_t code = startFrameOf(item.file, rate);
        return start >= code ? start - code : start;
    }

    CutList settled() {
        try {
            return settle();
        } catch (const std::out_of_range& problem) {
            document_.refuse({nullptr, ""}, problem.what());
        }
    }

    CutList settle() {
        CutList list;
        list.title = title_;
        const FrameRate rate = rateOfAll();
        list.rate = rate;
        fillRanges(rate);
        Moment position;
        std::vector<Moment> cuts;
        for (const Item& item : items_) {
            cuts.push_back(position);
            CutClip clip;
            clip.name = item.name;
            clip.file = item.file;
            try {
                const std::int64_t first = position.frame(rate);
                position = position + item.range->duration;
                if (!item.file.empty()) clip.in = inPoint(item, rate);
                clip.out = clip.in + position.frame(rate) - first;
            } catch (const std::out_of_range& problem) {
                document_.refuse(item.node, problem.what());
            }
            list.clips.push_back(std::move(clip));
        }
        list.seams.resize(list.clips.size() - 1);
        cuts.push_back(position);
        for (const auto& [index, fade] : fades_) {
            const Moment cut = cuts[index];
            const std::int64_t frame = cut.frame(rate);
            CutSeam seam = fade.seam;
            seam.before = frame - (cut - fade.before).frame(rate);
            seam.after = (cut + fade.after).frame(rate) - frame;
            if (index == 0)
                list.opening = seam;
            else if (index == list.clips.size())
                list.closing = seam;
            else
                list.seams[index - 1] = seam;
        }
        foldEnds(list);
        narrow(list, trackRange_);
        narrow(list, stackRange_);
        dropEmpty(list);
        return list;
    }

    /// A fade at an end that reaches beyond it lengthens the head or the tail.
    static void foldEnds(CutList& list) {
        if (list.opening && list.opening->before > 0) {
            CutClip& head = list.clips.front();
            const bool black = head.file.empty();
            const std::int64_t more =
                black ? list.opening->before : std::clamp<std::int64_t>(head.in, 0, list.opening->before);
            (black ? head.out : head.in) += black ? more : -more;
            list.opening->after += more;
            list.opening->before = 0;
        }
        if (list.closing && list.closing->after > 0) {
            list.clips.back().out += list.closing->after;
            list.closing->before += list.closing->after;
            list.closing->after = 0;
        }
    }

    /// Keeps what lies within a track's or stack's own range; a start before 0 is black.
    static void narrow(CutList& list, const std::optional<OtioRange>& range) {
        if (!range) return;
        const std::int64_t from = range->start.frame(list.rate);
        const std::int64_t to = (range->start + range->duration).frame(list.rate);
        CutList kept;
        kept.rate = list.rate;
        kept.title = list.title;
        if (from < 0) {
            CutClip black;
            black.name = "black";
            black.out = std::min(to, std::int64_t{0}) - from;
            kept.clips.push_back(black);
        } else if (from == 0) {
            kept.opening = list.opening;
        }
        std::int64_t at = 0;
        for (std::size_t i = 0; i < list.clips.size(); ++i) {
            CutClip clip = list.clips[i];
            const std::int64_t first = at;
            at += clip.frames();
            if (at <= from || first >= to) continue;
            const std::int64_t head = std::max<std::int64_t>(0, from - first);
            const std::int64_t tail = std::max<std::int64_t>(0, at - to);
            clip.in += head;
            clip.out -= tail;
            if (!kept.clips.empty())
                kept.seams.push_back(i > 0 && head == 0 && first > from ? list.seams[i - 1] : std::nullopt);
            kept.clips.push_back(std::move(clip));
        }
        if (to >= at) kept.closing = list.closing;
        if (kept.clips.empty()) {
            CutClip black;
            black.name = "black";
            black.out = to - from;
            kept.clips.push_back(black);
        }
        list = std::move(kept);
    }

    void dropEmpty(CutList& list) {
        for (std::size_t i = list.clips.size(); i-- > 0;) {
            if (list.clips[i].frames() > 0 || list.clips.size() == 1) continue;
            say("clips shorter than half a frame are left out");
            list.clips.erase(list.clips.begin() + static_cast<std::ptrdiff_t>(i));
            list.seams.erase(list.seams.begin() + static_cast<std::ptrdiff_t>(i > 0 ? i - 1 : 0));
        }
    }

    OtioDocument document_;
    const std::string& name_;
    const ExchangeSettings& settings_;
    MediaFinder& finder_;
    std::vector<std::string>& remarks_;
    std::vector<std::pair<std::string, int>> counted_;
    std::string title_;
    std::vector<Item> items_;
    std::vector<std::pair<std::size_t, Fade>> fades_;  ///< behind that many items
    std::optional<OtioRange> trackRange_;
    std::optional<OtioRange> stackRange_;
};

}  // namespace

std::string pathOfUrl(const std::string& url) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string::npos) {
        if (url.rfind("file:/", 0) == 0) return percentDecoded(url.substr(5));
        return percentDecoded(url);
    }
    if (url.substr(0, scheme) != "file")
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: only files are read; download it first", printable(url)));
    std::string rest = percentDecoded(url.substr(scheme + 3));
    if (rest.rfind("localhost/", 0) == 0) rest = rest.substr(9);
    return rest;
}

CutList readOtio(const std::string& text, const std::string& name, const ExchangeSettings& settings,
                 MediaFinder& finder, std::vector<std::string>& remarks) {
    return Reader(text, name, settings, finder, remarks).read();
}

}  // namespace tumblewash::edit
