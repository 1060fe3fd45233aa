#include "edit/Eligible.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string_view>

#include "media/CopiedCodecs.h"
#include "media/CopyPlan.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using media::Codec;
using media::factsOf;
using media::FieldOrder;
using media::FrameRate;
using media::MediaInfo;
using media::movieKindOf;
using media::PacketIndex;
using media::TrackFacts;

namespace {

// Numbers of the library, which are those of ITU-T H.273.
constexpr int kFullRange = 2;
constexpr int kLimitedRange = 1;

std::string nameOf(const PacketIndex& clip) {
    return media::quotedName(clip.info().path);
}

/// The codec of a clip's pictures for readers, and whether it is copied.
std::string codecName(const MediaInfo& clip) {
    const auto known = media::codecOfName(clip.videoCodec);
    return known ? factsOf(*known).name : clip.videoCodec;
}
bool isMovie(const Clip& clip) {
    // Drawn clips are no files.
    return clip.info().kind == media::MediaKind::clip && clip.info().identity.has_value();
}

/// "30", "29.97".
std::string rateOf(FrameRate rate) {
    return fmt::format("{:g}", std::round(rate.value() * 1000) / 1000);
}

std::string turnOf(int orientation) {
    switch (orientation) {
        case 3:
            return "rotated by 180 degrees";
        case 6:
        case 8:
            return "rotated by 90 degrees";
        default:
            return "mirrored";
    }
}

/// What one clip's pictures are, whatever the others are, as far as its header tells.
std::string troubleOf(const MediaInfo& info) {
    if (info.orientation != 1)
        return fmt::format("is shown {}: copied packets cannot be turned", turnOf(info.orientation));
    if (info.fields != FieldOrder::progressive)
        return "is interlaced: joining it means deinterlacing every frame";
    if (info.hasAlpha) return "has transparency, which is copied by no codec here";
    if (info.colour.hdr10Plus || info.colour.dolbyVision) return "carries HDR metadata per picture";
    if (info.colour.brokenLight)
        return "holds mastering data that make no sense, and copied frames keep them";
    return {};
}

/// The same as far as its packets tell.
std::string troubleOf(const PacketIndex& clip) {
    if (!clip.trouble().empty()) return clip.trouble();
    const TrackFacts& facts = clip.facts();
    if (!(facts.pixelAspect == FrameRate{1, 1}))
        return fmt::format("has pixels of {}:{}: its pictures would have to be scaled", facts.pixelAspect.num,
                           facts.pixelAspect.den);
    if (facts.width % 2 != 0 || facts.height % 2 != 0)
        return fmt::format("is {}x{}: the encoder cannot write an odd {}", facts.width, facts.height,
                           facts.width % 2 != 0 ? "width" : "height");
    // Those of Motion JPEG are so everywhere, its seams' among them.
    if (facts.range == kFullRange && facts.codec != Codec::mjpeg)
        return "has colours of the full range, and the seams' have the limited one";
    return {};
}

std::string colourName(const std::string& tag) {
    if (tag == "bt709") return "BT.709";
    if (tag == "smpte170m" || tag == "bt470bg") return "BT.601";
    if (tag.rfind("bt2020", 0) == 0) return "BT.2020";
    if (tag == "arib-std-b67") return "HLG";
    if (tag == "smpte2084") return "PQ";
    return tag.empty() || tag == "unknown" || tag == "unspecified" ? "untagged" : tag;
}

/// The one tag in which two clips differ, of both.
std::pair<std::string, std::string> colourWords(const MediaInfo& a, const MediaInfo& b) {
    const auto pick = [&](auto member) {
        return std::pair{colourName(a.colour.*member), colourName(b.colour.*member)};
    };
    for (const auto member : {&media::ClipColour::matrixName, &media::ClipColour::transferName,
                              &media::ClipColour::primariesName})
        if (auto words = pick(member); words.first != words.second) return words;
    return {a.colour.matrixName + "/" + a.colour.transferName + "/" + a.colour.primariesName,
            b.colour.matrixName + "/" + b.colour.transferName + "/" + b.colour.primariesName};
}

int rangeOf(const TrackFacts& facts) {
    return facts.range == 0 ? kLimitedRange : facts.range;
}

/// What two clips have to have alike: `b` follows the first clip `a` somewhere.
std::string differenceOf(const PacketIndex& a, const PacketIndex& b) {
    const TrackFacts& first = a.facts();
    const TrackFacts& other = b.facts();
    if (first.width != other.width || first.height != other.height)
        return fmt::format("{} is {}x{} and {} {}x{}: its pictures would have to be scaled", nameOf(b),
                           other.width, other.height, nameOf(a), first.width, first.height);
    if (first.pixels != other.pixels)
        return fmt::format("{} holds {} pictures and {} {}: a copied file can carry only one", nameOf(b),
                           other.pixels, nameOf(a), first.pixels);
    if (rangeOf(first) != rangeOf(other) || first.primaries != other.primaries ||
        first.transfer != other.transfer || first.matrix != other.matrix) {
        const auto [own, theirs] = colourWords(b.info(), a.info());
        return fmt::format("{} is {} and {} {}: a copied file can carry only one", nameOf(b), own, nameOf(a),
                           theirs);
    }
    if (a.info().colour.mastering != b.info().colour.mastering ||
        a.info().colour.light != b.info().colour.light)
        return fmt::format(
            "{} has another mastering display or other light levels than {}: a copied file can "
            "carry only one",
            nameOf(b), nameOf(a));
    if ((first.codec == Codec::prores || first.codec == Codec::dnxhr) && first.profile != other.profile)
        return fmt::format("{} is another kind of {} than {}: a copied file can carry only one", nameOf(b),
                           first.codecName, nameOf(a));
    if (first.reorders != other.reorders) {
        const PacketIndex& with = first.reorders ? a : b;
        const PacketIndex& without = first.reorders ? b : a;
        return fmt::format("{} has B-frames and {} has none: some decoders lose two frames where they meet",
                           nameOf(with), nameOf(without));
    }
    return {};
}

/// VP9 belongs into WebM and Matroska: whoever makes an .mp4 of such clips wants one that plays everywhere.
bool isUnusual(const media::MovieKind& kind, Codec codec) {
    return codec == Codec::vp9 && std::string_view(kind.ending) == ".mp4";
}

/// Whether the movie can have a clip's codec, of which `asked` may be another one.
NoCopies conflictOf(const std::string& output, const std::optional<Codec>& asked, CopyBodies bodies,
                    const MediaInfo& clip) {
    const std::string name = media::quotedName(clip.path);
    const auto codec = media::codecOfName(clip.videoCodec);
    if (asked && asked != codec)
        return {fmt::format("{} is {} and --codec asks for {}: every frame would have to be encoded", name,
                            codecName(clip), factsOf(*asked).name),
                true};
    if (!codec || !media::isCopied(*codec))
        return {fmt::format("{} is {}, which is not copied", name, codecName(clip))};
    const media::MovieKind* const kind = movieKindOf(output);
    if (kind != nullptr && !media::holdsCopies(*kind, *codec))
        return {fmt::format("{} is {}, which goes into {} files and not into {}", name, codecName(clip),
                            media::endingsOf(*codec), kind->ending),
                true};
    if (bodies == CopyBodies::automatic && !asked && kind != nullptr && isUnusual(*kind, *codec))
        return {fmt::format("{} is {}, which few players take from an {} file; --codec {} keeps it", name,
                            codecName(clip), kind->ending, factsOf(*codec).word)};
    return {};
}

/// True when a file without colour tags is taken for what the clip is.
bool hasUsualColours(const PacketIndex& clip) {
    const media::ClipColour& colour = clip.info().colour;
    return colour.primaries == media::Primaries::bt709 && !colour.hdr() && !colour.unknownTransfer;
}

/// "bt2020", "bt709 (log100)": primaries, and a curve that is not the usual one.
std::string tagWords(const media::ClipColour& colour) {
    return colour.unknownTransfer || colour.hdr()
               ? fmt::format("{} ({})", colourName(colour.primariesName), colourName(colour.transferName))
               : colourName(colour.primariesName);
}

/// What a clip has to have as the movie shall have it, which is as the edit asks for it or as its clips
/// suggest.
NoCopies conflictOf(const EditOutput& asked, const std::string& output, const MovieRequest& request,
                    const PacketIndex& clip) {
    const TrackFacts& facts = clip.facts();
    const media::MovieKind* const kind = movieKindOf(output);
    if (kind != nullptr && !kind->colourTags && !hasUsualColours(clip))
        return {fmt::format("{} is {}, and {} files have no colour tags: copies would show in other colours",
                            nameOf(clip), tagWords(clip.info().colour), kind->ending)};
    if (facts.width != request.size.width || facts.height != request.size.height)
        return {fmt::format("{} is {}x{} and the result {}: its pictures would have to be scaled",
                            nameOf(clip), facts.width, facts.height, describe(request.size)),
                asked.size.has_value()};
    if (!(clip.info().rate == request.rate))
        return {fmt::format("{} has {} fps: copied frames cannot be moved onto {} fps", nameOf(clip),
                            rateOf(clip.info().rate), rateOf(request.rate)),
                asked.rate.has_value()};
    if (const std::string seams = media::seamPixels(facts); facts.pixels != seams)
        return {fmt::format("{} holds {} pictures, and the seams' are {}: a copied file can carry only one",
                            nameOf(clip), facts.pixels, seams)};
    const media::ClipColour& colour = clip.info().colour;
    if (request.writer.colour &&
        (colour.transfer != request.writer.colour->transfer || colour.depth != request.writer.colour->depth ||
         clip.info().matrix != request.writer.colour->matrix))
        return {
            fmt::format("{} is {} with {} bits, and the seams would not be: a copied file can carry only one",
                        nameOf(clip), colourName(colour.matrixName), colour.depth),
            asked.colour.depth || asked.colour.hdr || asked.colour.toneMap};
    return {};
}

/// What is asked of the movie: what the run says counts.
EditOutput outputOf(const Edit& edit, const RenderSettings& settings) {
    EditOutput output = edit.output;
    output.colour = settings.colour.orElse(edit.output.colour);
    return output;
}

}  // namespace

std::string whyNotAsked(const Edit& edit, const RenderSettings& settings, CopyBodies bodies) {
    if (!settings.output.empty() && movieKindOf(settings.output) == nullptr)
        return fmt::format("{} is not a movie: copies go into {}", media::quotedName(settings.output),
                           media::movieEndings("and"));
    const EditOutput asked = outputOf(edit, settings);
    if (asked.colour.alpha) return "--alpha keeps transparency, which no copied codec holds";
    for (const EditClip& clip : edit.clips) {
        if (clip.black()) return "black is drawn here and has no packets to copy";
        const std::string file = fileOf(edit, clip);
        if (media::isPattern(file))
            return media::quotedName(file) + " is drawn here and has no packets to copy";
    }
    if (bodies == CopyBodies::always) return {};
    if (asked.crf)
        return fmt::format("--crf {} is asked for, and copied frames keep the quality that they have",
                           *asked.crf);
    if (asked.preset)
        return fmt::format("--preset {} is asked for, and copied frames are not encoded", *asked.preset);
    return {};
}

NoCopies whyNotCopiedAtOnce(const Edit& edit, const RenderSettings& settings, CopyBodies bodies,
                            const MovieRequest& request) {
    for (const Clip& clip : request.clips)
        if (!isMovie(clip))
            return {
                media::quotedName(clip.path()) + " is a picture and no movie: its frames have to be encoded",
                true};
    const Clip& first = request.clips.front();
    for (const Clip& clip : request.clips)
        if (clip.info().videoCodec != first.info().videoCodec)
            return {fmt::format("{} is {} and {} {}: bodies can be copied only when all clips share a codec",
                                media::quotedName(clip.path()), codecName(clip.info()),
                                media::quotedName(first.path()), codecName(first.info()))};
    for (const Clip& clip : request.clips) {
        const std::string trouble = troubleOf(clip.info());
        if (!trouble.empty()) return {media::quotedName(clip.path()) + " " + trouble};
    }
    const EditOutput asked = outputOf(edit, settings);
    for (const Clip& clip : request.clips)
        if (NoCopies no = conflictOf(settings.output, asked.colour.codec, bodies, clip.info());
            !no.why.empty())
            return no;
    return {};
}

NoCopies whyNotCopied(const Edit& edit, const RenderSettings& settings, const MovieRequest& request,
                      const std::vector<std::shared_ptr<const PacketIndex>>& clips) {
    for (const auto& clip : clips) {
        if (const std::string trouble = troubleOf(*clip); !trouble.empty())
            return {nameOf(*clip) + " " + trouble};
    }
    for (const auto& clip : clips)
        if (std::string why = differenceOf(*clips.front(), *clip); !why.empty()) return {std::move(why)};
    const EditOutput asked = outputOf(edit, settings);
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (NoCopies no = conflictOf(asked, settings.output, request, *clips[i]); !no.why.empty()) return no;
        const Clip& clip = request.clips[i];
        if (clip.in() + clip.frames() > clips[i]->pictures())
            return {fmt::format("{} shows {} frames and holds packets for {}", nameOf(*clips[i]),
                                clip.in() + clip.frames(), clips[i]->pictures())};
    }
    return {media::trackTrouble(clips)};
}

}  // namespace tumblewash::edit
