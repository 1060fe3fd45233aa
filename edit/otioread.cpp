#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "edit/effects.h"
#include "edit/errors.h"
#include "edit/exacttime.h"
#include "edit/fragment.h"
#include "edit/jsontext.h"
#include "edit/otio.h"
#include "edit/startcode.h"
#include "edit/words.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using media::FrameRate;
using media::printable;

namespace {

/// Python's JSON has words for numbers that are none; outside strings they become null, which no time may be.
std::string withoutNonNumbers(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (quoted) {
            out += text[i];
            if (text[i] == '\\' && i + 1 < text.size())
                out += text[++i];
            else if (text[i] == '"')
                quoted = false;
            continue;
        }
        bool replaced = false;
        for (const std::string_view word : {"-Infinity", "Infinity", "-Inf", "Inf", "NaN"}) {
            if (text.compare(i, word.size(), word) != 0) continue;
            out += "null";
            i += word.size() - 1;
            replaced = true;
            break;
        }
        if (replaced) continue;
        quoted = text[i] == '"';
        out += text[i];
    }
    return out;
}

/// One object of the document and where it stands.
struct Node {
    const Json* json = nullptr;
    std::string pointer;
};

/// A time range in exact seconds, with the rate that it was said at.
struct Range {
    Moment start;
    Moment duration;
    FrameRate rate;
};

/// A clip or a gap of the track before anything is counted in frames.
struct Item {
    std::string name;
    std::string file;
    std::optional<Range> range;
    std::optional<Moment> firstPicture;  ///< what the file's first picture is called
    Node node;
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
        : text_(text), name_(name), settings_(settings), finder_(finder), remarks_(remarks) {}

    CutList read() {
        const Json root = parseJson(text_, name_);
        readTimeline({&root, ""});
        finder_.refuseMissing(name_);
        CutList list = settled();
        for (const auto& [words, count] : counted_)
            remarks_.push_back(count == 1 ? words : fmt::format("{} ({} times)", words, count));
        return list;
    }

  private:
    [[noreturn]] void refuse(const Node& node, const std::string& words) const {
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}:{}: {}: {}", media::quotedName(name_), lineOf(text_, node.pointer),
                                  node.pointer.empty() ? "/" : printable(node.pointer), words));
    }

    /// Says once what happens many times.
    void say(const std::string& words) {
        for (auto& [known, count] : counted_)
            if (known == words) {
                ++count;
                return;
            }
        counted_.emplace_back(words, 1);
    }

    static Node child(const Node& node, const char* key) {
        if (!node.json || !node.json->is_object()) return {};
        const auto found = node.json->find(key);
        if (found == node.json->end() || found->is_null()) return {};
        return {&*found, pointerTo(node.pointer, key)};
    }

    static std::string words(const Node& node, const char* key) {
        const Node value = child(node, key);
        return value.json && value.json->is_string() ? value.json->get<std::string>() : "";
    }

    /// `Clip` of `Clip.2`; "" for what is no object with a schema.
    static std::string schemaOf(const Node& node) {
        const std::string schema = words(node, "OTIO_SCHEMA");
        return schema.substr(0, schema.rfind('.'));
    }

    double number(const Node& parent, const char* key) const {
        const Node node = child(parent, key);
        if (!node.json || !node.json->is_number()) refuse(parent, fmt::format("\"{}\" is not a number", key));
        return node.json->get<double>();
    }

    FrameRate rateIn(const Node& time) const {
        const std::optional<FrameRate> rate = rateOf(number(time, "rate"));
        if (!rate) refuse(time, "the rate is not between 1 and 240");
        return *rate;
    }

    Moment moment(const Node& time) const {
        if (schemaOf(time) != "RationalTime") refuse(time, "a RationalTime is needed here");
        try {
            return Moment::ofFrames(number(time, "value"), rateIn(time));
        } catch (const std::out_of_range&) {
            refuse(time, "the time is too large");
        }
    }

    std::optional<Range> rangeIn(const Node& parent, const char* key) const {
        const Node node = child(parent, key);
        if (!node.json) return std::nullopt;
        const Node start = child(node, "start_time");
        const Node duration = child(node, "duration");
        if (!start.json || !duration.json)
            refuse(node, "a TimeRange with start_time and duration is needed here");
        Range range{moment(start), moment(duration), rateIn(duration)};
        if (range.duration < Moment()) refuse(node, "the duration is negative");
        return range;
    }

    std::vector<Node> children(const Node& node) const {
        const Node list = child(node, "children");
        std::vector<Node> out;
        if (!list.json) return out;
        if (!list.json->is_array()) refuse(list, "give a list, [ ... ]");
        for (std::size_t i = 0; i < list.json->size(); ++i)
            out.push_back({&(*list.json)[i], pointerTo(list.pointer, std::to_string(i))});
        return out;
    }

    static bool enabled(const Node& node) {
        const Node value = child(node, "enabled");
        return !value.json || !value.json->is_boolean() || value.json->get<bool>();
    }

    void readTimeline(const Node& root) {
        if (schemaOf(root) != "Timeline")
            refuse(root, schemaOf(root).empty()
                             ? "this is not an OpenTimelineIO timeline"
                             : fmt::format("a {} is not a timeline", printable(schemaOf(root))));
        title_ = words(root, "name");
        const Node stack = child(root, "tracks");
        if (schemaOf(stack) != "Stack") refuse(root, "\"tracks\" is not a Stack");
        if (const auto range = rangeIn(stack, "source_range")) stackRange_ = range;
        sayExtras(stack, "the timeline");
        std::vector<Node> tracks;
        std::size_t sounds = 0;
        for (const Node& track : children(stack)) {
            const std::string schema = schemaOf(track);
            if (schema != "Track" && schema != "Sequence")
                refuse(track, fmt::format("a {} in place of a track is not supported", printable(schema)));
            const std::string kind = words(track, "kind");
            if (kind == "Audio")
                ++sounds;
            else if (!enabled(track))
                say(fmt::format("track {} is switched off and left out", printable(words(track, "name"))));
            else if (clipsIn(track) > 0)
                tracks.push_back(track);
        }
        if (tracks.empty()) refuse(stack, "no track has pictures");
        if (sounds > 1) say(fmt::format("{} sound tracks are left out; clips bring their own sound", sounds));
        readTrack(chosen(stack, tracks));
    }

    std::size_t clipsIn(const Node& track) const {
        std::size_t n = 0;
        for (const Node& node : children(track))
            n += schemaOf(node) != "Gap" && schemaOf(node) != "Transition";
        return n;
    }

    Node chosen(const Node& stack, const std::vector<Node>& tracks) const {
        if (settings_.track > static_cast<int>(tracks.size()))
            refuse(stack,
                   fmt::format("--track {}: {} with pictures", settings_.track,
                               tracks.size() == 1 ? "there is one track"
                                                  : fmt::format("there are {} tracks", tracks.size())));
        if (settings_.track > 0) return tracks[static_cast<std::size_t>(settings_.track - 1)];
        if (tracks.size() == 1) return tracks.front();
        std::string names;
        for (std::size_t i = 0; i < tracks.size(); ++i)
            names += fmt::format("{}{} {} ({} clips)", i ? ", " : "", i + 1,
                                 printable(words(tracks[i], "name")), clipsIn(tracks[i]));
        refuse(stack,
               fmt::format("{} tracks have pictures: {}; choose one with --track N", tracks.size(), names));
    }

    void sayExtras(const Node& node, const std::string& whose) {
        if (const Node markers = child(node, "markers"); markers.json && !markers.json->empty())
            say(fmt::format("markers of {} are left out", whose));
        const Node effects = child(node, "effects");
        if (!effects.json || !effects.json->is_array()) return;
        for (std::size_t i = 0; i < effects.json->size(); ++i) {
            const Node effect{&(*effects.json)[i], pointerTo(effects.pointer, std::to_string(i))};
            const std::string schema = schemaOf(effect);
            if (schema == "LinearTimeWarp" || schema == "FreezeFrame" || schema == "TimeEffect")
                say(fmt::format("{}: its change of speed is ignored; it plays at normal speed", whose));
            else
                say(fmt::format(
                    "{}: the effect {} is left out", whose,
                    printable(words(effect, "effect_name").empty() ? schema : words(effect, "effect_name"))));
        }
    }

    void readTrack(const Node& track) {
        trackRange_ = rangeIn(track, "source_range");
        sayExtras(track, "the track");
        bool afterFade = false;
        for (const Node& node : children(track)) {
            const std::string schema = schemaOf(node);
            if (schema == "Transition") {
                if (afterFade) refuse(node, "two transitions follow each other");
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
                refuse(node, fmt::format("the nested {} {} is not supported; flatten it first", schema,
                                         printable(words(node, "name"))));
            else
                refuse(node, fmt::format("{} is not supported in a track",
                                         schema.empty() ? "this item" : printable(schema)));
        }
        if (items_.empty()) refuse(track, "the track is empty");
    }

    Range gapRange(const Node& node) const {
        const auto range = rangeIn(node, "source_range");
        if (!range) refuse(node, "a gap has no source_range and so no length");
        return *range;
    }

    void readFade(const Node& node) {
        const Node in = child(node, "in_offset");
        const Node out = child(node, "out_offset");
        if (!in.json || !out.json) refuse(node, "a transition needs in_offset and out_offset");
        Fade fade;
        fade.before = moment(in);
        fade.after = moment(out);
        if (fade.before < Moment() || fade.after < Moment())
            refuse(node, "a transition's offset is negative");
        if (!enabled(node)) {
            say("transitions that are switched off become cuts");
            return;
        }
        const Node own = child(child(node, "metadata"), "tumblewash");
        const std::string effect = words(own, "effect");
        const std::vector<std::string> known = effectIds();
        if (std::find(known.begin(), known.end(), effect) != known.end()) {
            fade.seam.effect = effect;
            fade.seam.halves = words(own, "placement") == "halves";
            fade.seam.direction = meaningOf(directionWords(), words(own, "direction"));
            fade.seam.sound = meaningOf(audioWords(), words(own, "audio"));
            if (const Node seed = child(own, "seed"); seed.json && seed.json->is_number_unsigned() &&
                                                      seed.json->get<std::uint64_t>() <= 0xFFFFFFFFU)
                fade.seam.seed = seed.json->get<std::uint32_t>();
        } else {
            const std::string type = words(node, "transition_type");
            say(fmt::format("{} becomes the effect of the edit (--effect)",
                            type.empty() ? "a transition" : printable(type)));
        }
        fades_.emplace_back(items_.size(), fade);
    }

    void readClip(const Node& node) {
        Item item{words(node, "name"), "", rangeIn(node, "source_range"), std::nullopt, node};
        sayExtras(node, item.name.empty() ? "a clip" : printable(item.name));
        Node media = child(node, "media_reference");
        if (const Node all = child(node, "media_references"); all.json && all.json->is_object()) {
            const std::string key = words(node, "active_media_reference_key");
            media = child(all, key.empty() ? "DEFAULT_MEDIA" : key.c_str());
        }
        const auto available = rangeIn(media, "available_range");
        if (available) item.firstPicture = available->start;
        if (!item.range) item.range = available;
        if (!enabled(node)) {
            say("clips that are switched off become black");
            if (!item.range) refuse(node, "a clip that is switched off has no length");
        } else {
            item.file = fileFor(node, media, item);
        }
        items_.push_back(std::move(item));
    }

    std::string fileFor(const Node& node, const Node& media, Item& item) {
        const std::string schema = schemaOf(media);
        if (schema == "GeneratorReference") {
            const std::string kind = words(media, "generator_kind");
            if (kind != "black") say(fmt::format("the generator {} becomes black", printable(kind)));
            if (!item.range) refuse(node, "a generator has no length");
            return "";
        }
        if (schema == "ImageSequenceReference")
            refuse(media, "image sequences are not supported; make a movie of this one first");
        std::string wanted = item.name;
        std::string found;
        if (schema == "ExternalReference") {
            const std::string url = words(media, "target_url");
            try {
                wanted = pathOfUrl(url);
            } catch (const Refusal& problem) {
                refuse(media, problem.what());
            }
            found = finder_.find(url);
            if (found.empty()) found = finder_.find(wanted);
        } else {
            found = finder_.find(wanted);
        }
        if (found.empty() && wanted.empty()) refuse(node, "a clip names neither a file nor itself");
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
        refuse({nullptr, ""}, "no clip has a frame rate; give --fps");
    }

    /// Frames of whole files whose length the document does not say.
    void fillRanges(FrameRate rate) {
        for (Item& item : items_) {
            if (item.range) continue;
            const std::int64_t frames = wholeFrames(item.file, rate);
            const Moment start = Moment::ofFrames(startFrameOf(item.file, rate), rate);
            item.range = Range{start, Moment::ofFrames(frames, rate), rate};
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
            refuse({nullptr, ""}, problem.what());
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
                refuse(item.node, problem.what());
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
    static void narrow(CutList& list, const std::optional<Range>& range) {
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

    const std::string& text_;
    const std::string& name_;
    const ExchangeSettings& settings_;
    MediaFinder& finder_;
    std::vector<std::string>& remarks_;
    std::vector<std::pair<std::string, int>> counted_;
    std::string title_;
    std::vector<Item> items_;
    std::vector<std::pair<std::size_t, Fade>> fades_;  ///< behind that many items
    std::optional<Range> trackRange_;
    std::optional<Range> stackRange_;
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
    const std::string plain = withoutNonNumbers(text);
    return Reader(plain, name, settings, finder, remarks).read();
}

}  // namespace tumblewash::edit
