#include "edit/Mlt.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <vector>

#include "edit/Errors.h"
#include "edit/Report.h"
#include "media/Pattern.h"
#include "media/Quoting.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::edit {

using media::ColourMatrix;
using media::colourMatrixFor;
using media::FieldOrder;
using media::Fit;
using media::isPattern;
using media::isUtf8;
using media::MediaInfo;
using media::MediaKind;
using media::quotedName;

namespace {

/// The mixers' seed knob: 0 is the first field, each thousandth the next.
constexpr double kSeedStep = 0.001;

/// The position of a seam's first frame where that is not its first picture.
constexpr double kJustBegun = 1e-9;

/// The tracks with pictures; below them lie black and the two with sound.
constexpr int kBelow = 3;
constexpr int kAbove = 4;

/// In place of a clip's number: the black from which an opening brings the picture, and to which a closing
/// leaves.
constexpr int kBlack = -1;

/// Marks what Kdenlive adds to every project by itself and does not show as something that the user laid
/// down.
constexpr const char* kInternal = "237";

/// XML 1.0 has no form for these: other control characters than tab and the ends of lines, bytes that are no
/// UTF-8, and the two last numbers of the first plane, which are no characters.
bool fitsXml(const std::string& text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
    return isUtf8(text) && text.find("\xEF\xBF\xBE") == std::string::npos &&
           text.find("\xEF\xBF\xBF") == std::string::npos;
}

/// `text` inside an element or an attribute. White space and control characters go by their numbers: readers
/// make spaces of the ends of lines, and nobody should see the others.
std::string escaped(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        const bool latinControl =
            byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"')
            out += "&quot;";
        else if (byte < 0x20 || byte == 0x7F)
            out += fmt::format("&#{};", byte);
        else if (latinControl)
            out += fmt::format("&#{};", static_cast<unsigned char>(text[++i]));
        else
            out += c;
    }
    return out;
}

/// The file's name from the root, as it is: a `..` behind a link is not where its name says, and stays.
std::string fromRoot(const std::string& path) {
    return (std::filesystem::current_path() / path).string();
}

/// A stretch of one clip on a track.
struct Piece {
    int clip = 0;            ///< the clip, or kBlack
    std::int64_t at = 0;     ///< first output frame
    std::int64_t first = 0;  ///< first frame of the clip
    std::int64_t count = 0;
    std::int64_t held = -1;  ///< the frame shown all the time and without sound, or -1
    std::int64_t fadeIn = 0;
    std::int64_t fadeOut = 0;
};

using Track = std::vector<Piece>;

/// Leaving clips lie below, arriving ones above: the order in which a composition takes its pictures. A clip
/// that arrived and leaves again is cut where it starts to leave.
struct Tracks {
    Track below;
    Track above;
};

std::string property(const char* name, const std::string& value) {
    return fmt::format("      <property name=\"{}\">{}</property>\n", name, escaped(value));
}

std::string clipName(int index) {
    return index == kBlack ? "black" : fmt::format("clip{}", index);
}

/// The number by which Kdenlive knows a clip again wherever it lies; smaller ones are its own.
std::string binNumber(int index) {
    return std::to_string(index + 2);
}

void append(Track& track, const Piece& piece) {
    if (!track.empty()) {
        Piece& last = track.back();
        if (last.clip == piece.clip && last.held < 0 && piece.held < 0 && piece.fadeIn == 0 &&
            last.at + last.count == piece.at && last.first + last.count == piece.first) {
            last.count += piece.count;
            last.fadeOut = piece.fadeOut;
            return;
        }
    }
    track.push_back(piece);
}

/// Pieces count the frames of files, the plan those of what is used of them.
void moveToFiles(Track& track, const MovieRequest& request) {
    for (Piece& piece : track) {
        if (piece.clip == kBlack) continue;
        const std::int64_t in = request.clips[static_cast<std::size_t>(piece.clip)].in();
        piece.first += in;
        if (piece.held >= 0) piece.held += in;
    }
}

Tracks tracksOf(const MovieRequest& request) {
    Tracks tracks;
    int arrived = Segment::kNone;
    for (const Segment& s : request.plan.segments) {
        if (s.transition == Segment::kNone) {
            append(s.clipA == arrived ? tracks.above : tracks.below,
                   {.clip = s.clipA, .at = s.first, .first = s.firstA, .count = s.count});
            continue;
        }
        const Placement placement = placementOf(request.seams[static_cast<std::size_t>(s.transition)].effect);
        if (placement == Placement::Before) {
            arrived = s.clipA;
            append(tracks.below, {.clip = kBlack, .at = s.first, .count = s.count});
            append(tracks.above,
                   {.clip = s.clipA, .at = s.first, .first = s.firstA, .count = s.count, .fadeIn = s.count});
            continue;
        }
        if (placement == Placement::After) {
            append(tracks.below,
                   {.clip = s.clipA, .at = s.first, .first = s.firstA, .count = s.count, .fadeOut = s.count});
            append(tracks.above, {.clip = kBlack, .at = s.first, .count = s.count});
            continue;
        }
        arrived = s.clipB;
        if (placement != Placement::Halves) {
            append(tracks.below,
                   {.clip = s.clipA, .at = s.first, .first = s.firstA, .count = s.count, .fadeOut = s.count});
            append(tracks.above,
                   {.clip = s.clipB, .at = s.first, .first = s.firstB, .count = s.count, .fadeIn = s.count});
            continue;
        }
        const std::int64_t half = s.count - s.countA;
        const std::int64_t middle = s.first + s.countA;
        append(tracks.below, {.clip = s.clipA, .at = s.first, .first = s.firstA, .count = s.countA});
        append(tracks.below, {.clip = s.clipA,
                              .at = middle,
                              .first = s.firstA,
                              .count = half,
                              .held = s.firstA + s.countA - 1});
        append(tracks.above, {.clip = s.clipB, .at = s.first, .first = 0, .count = s.countA, .held = 0});
        append(tracks.above, {.clip = s.clipB, .at = middle, .first = 0, .count = half});
    }
    moveToFiles(tracks.below, request);
    moveToFiles(tracks.above, request);
    return tracks;
}

std::string profile(const MovieRequest& request) {
    const int divisor = std::gcd(request.size.width, request.size.height);
    return fmt::format(
        "  <profile description=\"tumblewash\" width=\"{}\" height=\"{}\" progressive=\"{}\" "
        "sample_aspect_num=\"1\" sample_aspect_den=\"1\" display_aspect_num=\"{}\" "
        "display_aspect_den=\"{}\" frame_rate_num=\"{}\" frame_rate_den=\"{}\" colorspace=\"{}\"/>\n",
        request.size.width, request.size.height, request.fields == FieldOrder::progressive ? 1 : 0,
        request.size.width / divisor, request.size.height / divisor, request.rate.num, request.rate.den,
        colourMatrixFor(request.size.width, request.size.height) == ColourMatrix::bt709 ? 709 : 601);
}

/// Bars beside a picture are opaque, and so are those that a track lays around one: a mixer would take
/// transparent ones along as holes. Every producer on the way of a picture must say so.
std::string opaqueBars() {
    return property("set.resize_alpha", "255");
}

std::string producer(const std::string& id, int index, std::int64_t frames, const std::string& source) {
    return fmt::format("  <producer id=\"{}\" in=\"0\" out=\"{}\">\n", id, frames - 1) + source +
           property("length", std::to_string(frames)) + property("eof", "pause") + opaqueBars() +
           property("kdenlive:id", binNumber(index)) + "  </producer>\n";
}

/// Black as Kdenlive's own colour clips are.
std::string blackSource() {
    return property("mlt_service", "color") + property("resource", "0x000000ff") +
           property("kdenlive:clip_type", "2");
}

std::string sourceOf(const Clip& clip) {
    return clip.isBlack() ? blackSource() : property("resource", fromRoot(clip.path()));
}

std::int64_t lengthOf(const Clip& clip) {
    return clip.in() + clip.frames();
}

/// How long the longest opening or closing shows black; 0 without one.
std::int64_t blackFrames(const Tracks& tracks) {
    std::int64_t most = 0;
    for (const Track* track : {&tracks.below, &tracks.above})
        for (const Piece& piece : *track)
            if (piece.clip == kBlack) most = std::max(most, piece.count);
    return most;
}

/// The bin names the clips and carries what Kdenlive needs to take the file for a project of its own.
std::string bin(const MovieRequest& request, std::int64_t blackFrames) {
    std::string out = "  <playlist id=\"main_bin\">\n";
    out += property("kdenlive:docproperties.version", "1.04");
    out += property("kdenlive:docproperties.profile", "tumblewash");
    out += property("xml_retain", "1");
    const auto entry = [&](int index, std::int64_t frames) {
        out += fmt::format("    <entry producer=\"{}\" in=\"0\" out=\"{}\"/>\n", clipName(index), frames - 1);
    };
    for (std::size_t i = 0; i < request.clips.size(); ++i)
        entry(static_cast<int>(i), lengthOf(request.clips[i]));
    if (blackFrames > 0) entry(kBlack, blackFrames);
    return out + "  </playlist>\n";
}

std::string filter(const std::string& properties, std::int64_t first, std::int64_t count) {
    return fmt::format("      <filter in=\"{}\" out=\"{}\">\n", first, first + count - 1) + properties +
           "      </filter>\n";
}

bool sounds(const Piece& piece, const MovieRequest& request) {
    return piece.clip != kBlack && piece.held < 0 &&
           request.clips[static_cast<std::size_t>(piece.clip)].info().hasAudio;
}

std::string fade(const Piece& piece, bool in) {
    const std::int64_t count = in ? piece.fadeIn : piece.fadeOut;
    if (count == 0) return {};
    return filter(property("mlt_service", "volume") + property("kdenlive_id", in ? "fadein" : "fadeout") +
                      property("gain", in ? "0" : "1") + property("end", in ? "1" : "0"),
                  in ? piece.first : piece.first + piece.count - count, count);
}

/// Black stands last in the bin.
int binIndex(int clip, const MovieRequest& request) {
    return clip == kBlack ? static_cast<int>(request.clips.size()) : clip;
}

/// One track: Kdenlive keeps two lists on each, the second for mixes of its own.
std::string track(const std::string& name, const Track& pieces, bool sound, const MovieRequest& request) {
    const std::string kind = sound ? property("kdenlive:audio_track", "1") : "";
    std::string out = fmt::format("  <playlist id=\"{}\">\n", name) + kind;
    std::int64_t end = 0;
    for (const Piece& piece : pieces) {
        if (sound && !sounds(piece, request)) continue;
        if (piece.at > end) out += fmt::format("    <blank length=\"{}\"/>\n", piece.at - end);
        end = piece.at + piece.count;
        const std::string name = sound ? fmt::format("sound{}", piece.clip) : clipName(piece.clip);
        out += fmt::format("    <entry producer=\"{}\" in=\"{}\" out=\"{}\">\n", name, piece.first,
                           piece.first + piece.count - 1);
        out += property("kdenlive:id", binNumber(binIndex(piece.clip, request)));
        if (piece.held >= 0)
            out += filter(property("mlt_service", "freeze") + property("kdenlive_id", "freeze") +
                              property("frame", std::to_string(piece.held)),
                          piece.first, piece.count);
        if (sound) out += fade(piece, true) + fade(piece, false);
        out += "    </entry>\n";
    }
    out += fmt::format("  </playlist>\n  <playlist id=\"{}_mixes\">\n{}  </playlist>\n", name, kind);
    out += fmt::format("  <tractor id=\"{}_track\" in=\"0\" out=\"{}\">\n", name, request.plan.frames - 1) +
           opaqueBars() + kind;
    for (const char* list : {"", "_mixes"})
        out += fmt::format("    <track hide=\"{}\" producer=\"{}{}\"/>\n", sound ? "video" : "audio", name,
                           list);
    return out + "  </tractor>\n";
}

/// The mixer that renders an effect. What brings a single picture is what reveals it over black, and what
/// takes it away takes it away from over black, to the byte.
std::string mixerOf(const Effect& effect) {
    std::string id = effect.id;
    if (placementOf(effect) == Placement::Before) id = id.substr(0, id.rfind('-')) + "-reveal";
    if (placementOf(effect) == Placement::After) id = id.substr(0, id.rfind('-')) + "-away";
    return id;
}

/// Where a mixer starts. The plug-in's fraction is frame / count; the morph counts from one. A mixer at 0
/// hands its first picture through. That is what a displacement of nothing shows, which has no smallest step;
/// the first frame of other effects need not be that picture.
double startOf(const std::string& mixer, bool halves, double frames) {
    if (halves) return 1.0 / frames;
    const plugin::EffectRecord* record = plugin::findEffectRecord(mixer);
    const bool displaces = record && record->driver == plugin::EffectDriver::distort;
    return displaces && mixer.ends_with("-away") ? 0.0 : kJustBegun;
}

std::string composition(const SettledSeam& seam, const Segment& s) {
    const Effect& effect = seam.effect;
    const std::string mixer = mixerOf(effect);
    std::string service = "frei0r.tumblewash_" + mixer;
    std::replace(service.begin(), service.end(), '-', '_');
    // The last frame stops one step short of the end, except the morph's, which reaches it.
    const bool halves = placementOf(effect) == Placement::Halves;
    const auto n = static_cast<double>(s.count);
    std::string out = fmt::format("    <transition in=\"{}\" out=\"{}\">\n", s.first, s.first + s.count - 1);
    out += property("a_track", std::to_string(kBelow)) + property("b_track", std::to_string(kAbove));
    out += property("mlt_service", service) + property("kdenlive_id", service);
    out += property("position",
                    fmt::format("0={:.9f};-1={:.9f}", startOf(mixer, halves, n), halves ? 1.0 : (n - 1) / n));
    if (effect.info.flags != 0) {
        out += property("direction", directionName(seam.direction));
        out += property("seed", fmt::format("{:.3f}", (seam.seed - 1) * kSeedStep));
    }
    return out + "    </transition>\n";
}

/// Adds a sound track to what sounds already.
std::string sum(int soundTrack) {
    return "    <transition>\n" + property("a_track", "0") + property("b_track", std::to_string(soundTrack)) +
           property("mlt_service", "mix") + property("kdenlive_id", "mix") + property("sum", "1") +
           property("always_active", "1") + property("accepts_blanks", "1") +
           property("internal_added", kInternal) + "    </transition>\n";
}

std::string black(std::int64_t frames) {
    return fmt::format("  <producer id=\"black_track\" in=\"0\" out=\"{}\">\n", frames - 1) +
           property("mlt_service", "color") + property("resource", "black") +
           property("length", "2147483647") + property("eof", "continue") + property("set.test_audio", "0") +
           "  </producer>\n";
}

}  // namespace

std::string mltRemark(const Edit& edit, const MovieRequest& request) {
    if (edit.output.fit) return {};
    const bool beside = std::any_of(request.clips.begin(), request.clips.end(), [&](const Clip& clip) {
        const MediaInfo& info = clip.info();
        if (clip.isBlack() || info.kind != MediaKind::still) return false;
        const double across = static_cast<double>(info.width) * request.size.height;
        const double down = static_cast<double>(info.height) * request.size.width;
        return std::abs(across - down) >= 2 * std::max(info.width, info.height);
    });
    return beside ? "photos of another shape stand between black bars in it" : "";
}

std::string mltProject(const Edit& edit, const MovieRequest& request) {
    for (const EditClip& clip : edit.clips)
        if (isPattern(clip.file))
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}: only this program draws it; an MLT project needs files",
                                      quotedName(clip.file)));
    for (const Clip& clip : request.clips)
        if (!fitsXml(fromRoot(clip.path())))
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: an MLT project cannot hold this name; rename the file or its folder",
                            quotedName(clip.path())));
    if (request.first != 0 || request.end != request.plan.frames)
        throw Refusal(Problem::BadRequest, "--mlt: a project holds the whole edit; leave --only out");
    if (edit.output.fit && edit.output.fit != Fit::contain)
        throw Refusal(Problem::BadRequest, "--mlt: a project shows pictures whole; leave --fit out");
    if (edit.stillMotion != StillMotion::none)
        throw Refusal(Problem::BadRequest, "--mlt: a project shows photos at rest; leave --still-motion out");
    if (edit.music)
        throw Refusal(Problem::BadRequest, "--mlt: a project has the clips' own sound; leave --music out");
    if (edit.loudness || std::any_of(edit.clips.begin(), edit.clips.end(),
                                     [](const EditClip& clip) { return clip.gain.has_value(); }))
        throw Refusal(Problem::BadRequest,
                      "--mlt: a project has clips as loud as they are; leave --loudness and gains out");
    for (const SettledSeam& seam : request.seams)
        if (seam.seed < 1 || seam.seed > 1001)
            throw Refusal(Problem::BadRequest, "--mlt: a project knows the seeds 1 to 1001");
    std::string out =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<mlt LC_NUMERIC=\"C\" version=\"7.12.0\" "
        "title=\"tumblewash\" producer=\"main_bin\">\n";
    out += profile(request);
    const Tracks tracks = tracksOf(request);
    const std::int64_t blackLasts = blackFrames(tracks);
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        const int index = static_cast<int>(i);
        const Clip& clip = request.clips[i];
        out += producer(clipName(index), index, lengthOf(clip), sourceOf(clip));
        if (clip.info().hasAudio)
            out += producer(fmt::format("sound{}", i), index, lengthOf(clip), sourceOf(clip));
    }
    if (blackLasts > 0)
        out += producer(clipName(kBlack), binIndex(kBlack, request), blackLasts, blackSource());
    out += bin(request, blackLasts) + black(request.plan.frames);
    out += track("sound_above", tracks.above, true, request);
    out += track("sound_below", tracks.below, true, request);
    out += track("below", tracks.below, false, request);
    out += track("above", tracks.above, false, request);
    out += fmt::format("  <tractor id=\"join\" in=\"0\" out=\"{}\">\n", request.plan.frames - 1) +
           opaqueBars() + "    <track producer=\"black_track\"/>\n";
    for (const char* name : {"sound_above", "sound_below", "below", "above"})
        out += fmt::format("    <track producer=\"{}_track\"/>\n", name);
    out += sum(1) + sum(2);
    for (const Segment& s : request.plan.segments)
        if (s.transition != Segment::kNone)
            out += composition(request.seams[static_cast<std::size_t>(s.transition)], s);
    return out + "  </tractor>\n</mlt>\n";
}

}  // namespace tumblewash::edit
