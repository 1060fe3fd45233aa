#include "media/ColourPlan.h"

#include <algorithm>

#include "media/Quoting.h"

namespace tumblewash::media {

namespace {

std::string bits(int depth) {
    return std::to_string(depth) + " bits";
}

/// "HLG, 10 bits".
std::string hdrWords(const ClipColour& colour) {
    return std::string("HDR (") + transferWord(colour.transfer) + ", " + bits(colour.depth) + ")";
}

const MediaInfo* firstHdr(const std::vector<MediaInfo>& clips) {
    for (const MediaInfo& clip : clips)
        if (clip.colour.hdr()) return &clip;
    return nullptr;
}

/// The first clip that is not of `transfer`; null when all are.
const MediaInfo* firstOther(const std::vector<MediaInfo>& clips, Transfer transfer) {
    for (const MediaInfo& clip : clips)
        if (clip.colour.transfer != transfer) return &clip;
    return nullptr;
}

class Planner {
  public:
    Planner(const std::vector<MediaInfo>& clips, const ColourWishes& wishes, const std::string& output)
        : clips_(clips), wishes_(wishes), output_(output) {}

    ColourPlan plan(int width, int height) {
        checkWishes();
        MovieColour& movie = out_.movie;
        movie.transfer = settleTransfer();
        movie.depth = settleDepth();
        if (const CodecFacts* facts = alphaCodec())
            movie.codec = facts->id;
        else if (isMovie())
            movie.codec = codecFor(output_, wishes_.codec, movie.depth);
        movie.matrix = settleMatrix(width, height);
        if (movie.transfer != Transfer::sdr) settleLight();
        for (const MediaInfo& clip : clips_) tell(clip);
        return std::move(out_);
    }

  private:
    [[noreturn]] void refuse(const std::string& why) const {
        throw MediaError(MediaErrorCode::badRequest, output_, why);
    }

    bool isMovie() const { return movieKindOf(output_) != nullptr; }
    /// True when nothing that was asked for stands against 10 bits.
    bool mayBeDeep() const {
        return !wishes_.alpha && carriesTenBits(output_, wishes_.codec) && wishes_.depth.value_or(10) > 8;
    }

    /// True when the movie has 8 bits by choice.
    bool mayTakeTen() const {
        const CodecFacts* facts = alphaCodec();
        return isMovie() && movieKindOf(output_)->deepCodec && out_.movie.depth == 8 &&
               (facts == nullptr || facts->tenAlpha);
    }

    void checkWishes() const {
        checkAlpha();
        if (wishes_.alpha && wishes_.policy() == HdrPolicy::keep && firstHdr(clips_) != nullptr)
            refuse("--alpha is for ordinary pictures; leave out --hdr keep");
        if (wishes_.codec && !isMovie()) codecFor(output_, wishes_.codec, 8);
        if (!isMovie() && wishes_.depth.value_or(8) > 8)
            refuse("such outputs hold 8 bits here; --depth 10 is for movies");
        if (wishes_.policy() != HdrPolicy::keep || firstHdr(clips_) == nullptr) return;
        if (!isMovie()) refuse("such outputs are ordinary pictures here; --hdr keep is for movies");
        if (wishes_.depth.value_or(10) < 10) refuse("HDR needs 10 bits; leave out --depth 8 or --hdr keep");
        if (wishes_.codec && !factsOf(*wishes_.codec).ten) codecFor(output_, wishes_.codec, 10);
    }

    /// The codec that keeps transparency in the output; null where none is asked for, or none does.
    const CodecFacts* alphaCodec() const {
        const MovieKind* kind = movieKindOf(output_);
        return wishes_.alpha && kind != nullptr && !kind->alpha.empty() ? &factsOf(kind->alpha.front())
                                                                        : nullptr;
    }

    void checkAlpha() const {
        const CodecFacts* facts = alphaCodec();
        if (facts == nullptr) return;
        if (wishes_.codec && *wishes_.codec != facts->id)
            refuse(std::string("transparency goes into ") + facts->name + " here; leave out --codec");
        if (wishes_.depth.value_or(8) > 8 && !facts->tenAlpha)
            refuse(std::string(facts->name) + " holds transparency with 8 bits; leave out --depth 10");
    }

    Transfer settleTransfer() const {
        const MediaInfo* hdr = firstHdr(clips_);
        if (hdr == nullptr || wishes_.policy() == HdrPolicy::sdr) return Transfer::sdr;
        if (wishes_.policy() == HdrPolicy::keep) return hdr->colour.transfer;
        const bool alike = firstOther(clips_, hdr->colour.transfer) == nullptr;
        return alike && mayBeDeep() ? hdr->colour.transfer : Transfer::sdr;
    }

    int settleDepth() const {
        if (out_.movie.transfer != Transfer::sdr) return 10;
        if (wishes_.depth) return *wishes_.depth;
        return isMovie() && !wishes_.alpha && wishes_.codec && !factsOf(*wishes_.codec).eight ? 10 : 8;
    }

    /// That of the first clip that has one which the movie may have: it then passes as it is, with what lies
    /// beyond its white. HDR that is toned down makes a movie of BT.709 throughout. Some codecs have but one.
    ColourMatrix settleMatrix(int width, int height) const {
        if (out_.movie.transfer != Transfer::sdr) return ColourMatrix::bt2020;
        if (isMovie() && factsOf(out_.movie.codec).bt601) return ColourMatrix::bt601;
        if (firstHdr(clips_) != nullptr) return ColourMatrix::bt709;
        for (const MediaInfo& clip : clips_)
            if (clip.kind == MediaKind::clip && clip.colour.chroma != "RGB" && !clip.colour.hdr() &&
                clip.colour.primaries == Primaries::bt709 && clip.matrix != ColourMatrix::bt2020)
                return clip.matrix;
        return colourMatrixFor(width, height);
    }

    /// Equal data of all clips of the movie's kind are kept; else the brightest is told.
    void settleLight() {
        MovieColour& movie = out_.movie;
        movie.chromaTopLeft = true;
        bool any = false;
        for (const MediaInfo& clip : clips_) {
            const ClipColour& colour = clip.colour;
            if (colour.transfer != movie.transfer) continue;
            movie.chromaTopLeft = movie.chromaTopLeft && colour.chromaTopLeft;
            if (!any) {
                movie.mastering = colour.mastering;
                movie.light = colour.light;
            }
            any = true;
            if (movie.mastering != colour.mastering && colour.mastering &&
                (!movie.mastering || colour.mastering->maxNits > movie.mastering->maxNits))
                movie.mastering = colour.mastering;
            if (movie.light && colour.light) {
                movie.light->maxContent = std::max(movie.light->maxContent, colour.light->maxContent);
                movie.light->maxAverage = std::max(movie.light->maxAverage, colour.light->maxAverage);
            } else if (colour.light) {
                movie.light = colour.light;
            }
        }
    }

    void say(const MediaInfo& clip, const std::string& what) { add(quotedName(clip.path) + ": " + what); }

    void add(std::string line) {
        // A file that is used twice is told about once.
        if (std::find(out_.lines.begin(), out_.lines.end(), line) == out_.lines.end())
            out_.lines.push_back(std::move(line));
    }

    void tell(const MediaInfo& clip) {
        const ClipColour colour = asRead(clip.colour);
        tellTransfer(clip);
        const int depth = out_.movie.depth;
        const bool converted = colour.transfer != out_.movie.transfer;
        if (colour.depth > depth && !(converted && colour.hdr()))
            say(clip, bits(colour.depth) + " become " + std::to_string(depth) + ", dithered" +
                          (mayTakeTen() ? colour.depth > 10 ? "; --depth 10 keeps 10 of them"
                                                            : "; --depth 10 keeps them"
                                        : ""));
        if (colour.alpha && !wishes_.alpha) say(clip, "transparency is laid on black; --alpha keeps it");
        if (!colour.hdr() && out_.movie.transfer == Transfer::sdr && colour.primaries != Primaries::bt709)
            say(clip,
                std::string("its ") + primariesWord(colour.primaries) + " colours are turned to BT.709");
        const std::string base = std::string(", its ") + transferWord(colour.transfer) + " picture used";
        if (colour.dolbyVision) say(clip, "Dolby Vision data left out" + base);
        if (colour.hdr10Plus) say(clip, "HDR10+ data left out" + base);
        if (colour.unknownTransfer)
            say(clip, "its transfer " + colour.transferName + " is not converted; it is shown as it is");
        for (const std::string& line : clip.conversions) say(clip, line);
        if (colour.brokenLight) say(clip, "its mastering data make no sense and are left out");
    }

    void tellTransfer(const MediaInfo& clip) {
        const ClipColour& colour = clip.colour;
        const Transfer movie = out_.movie.transfer;
        if (colour.transfer == movie) {
            if (colour.hdr())
                say(clip,
                    hdrWords(colour) + "; kept, as " + factsOf(out_.movie.codec).name +
                        (wishes_.policy() == HdrPolicy::automatic ? "; --hdr sdr makes an ordinary movie"
                                                                  : ""));
        } else if (movie == Transfer::sdr) {
            tellToneMap(clip);
        } else if (!colour.hdr()) {
            say(clip, "SDR; its white is put at 203 nits of the HDR picture");
        } else {
            say(clip, movie == Transfer::hlg ? "PQ becomes HLG by its light, up to 1000 nits"
                                             : "HLG becomes PQ by its light on a display of 1000 nits");
        }
    }

    void tellToneMap(const MediaInfo& clip) {
        const MediaInfo* other = firstOther(clips_, clip.colour.transfer);
        if (wishes_.policy() != HdrPolicy::automatic || other == nullptr || !mayBeDeep()) {
            say(clip, hdrWords(clip.colour) + " is toned down to SDR");
            return;
        }
        const std::string all = clips_.size() > 2 ? "all" : "both";
        const std::string hint = " toned down to SDR; --hdr keep makes " + all + " HDR";
        // An ordinary clip explains more than one of another HDR kind.
        if (const MediaInfo* plain = firstPlain()) {
            const std::string name = quotedName(clip.path);
            add(name + " is HDR, " + quotedName(plain->path) + " is not: " + name + " is" + hint);
            return;
        }
        // Said of the first of each kind, for all.
        if (&clip == &clips_.front())
            add(quotedName(clip.path) + " is " + transferWord(clip.colour.transfer) + ", " +
                quotedName(other->path) + " is " + transferWord(other->colour.transfer) + ": " + all +
                " are" + hint);
    }

    const MediaInfo* firstPlain() const {
        for (const MediaInfo& clip : clips_)
            if (!clip.colour.hdr()) return &clip;
        return nullptr;
    }

    const std::vector<MediaInfo>& clips_;
    const ColourWishes& wishes_;
    const std::string& output_;
    ColourPlan out_;
};

}  // namespace

ColourWishes ColourWishes::orElse(const ColourWishes& other) const {
    return {hdr ? hdr : other.hdr, toneMap ? toneMap : other.toneMap, depth ? depth : other.depth,
            codec ? codec : other.codec, alpha || other.alpha};
}

ColourPlan planColours(const std::vector<MediaInfo>& clips, const ColourWishes& wishes,
                       const std::string& output, int width, int height) {
    return Planner(clips, wishes, output).plan(width, height);
}

std::string restLine(const MediaInfo& clip, int channels) {
    std::string left;
    for (const std::string& part : clip.leftOut) left.append(left.empty() ? "" : ", ").append(part);
    const bool folded = channels > 0 && clip.channels > 2 && clip.channels > channels;
    if (!folded && left.empty()) return {};
    std::string out = quotedName(clip.path) + ": ";
    if (folded)
        out +=
            clip.channelLayout + (channels == 1 ? " sound is folded to mono" : " sound is folded to stereo");
    if (!left.empty()) out += (folded ? "; left out: " : "left out: ") + left;
    return out;
}

}  // namespace tumblewash::media
