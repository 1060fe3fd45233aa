#include "media/Codecs.h"

#include <algorithm>

#include "media/CopiedCodecs.h"

namespace tumblewash::media {

namespace {

bool has(const std::vector<Codec>& codecs, Codec codec) {
    return std::find(codecs.begin(), codecs.end(), codec) != codecs.end();
}

std::string wordsOf(const std::vector<Codec>& codecs) {
    std::string out;
    for (const Codec codec : codecs) out.append(out.empty() ? "" : ", ").append(factsOf(codec).word);
    return out;
}

}  // namespace

const std::vector<CodecFacts>& codecTable() {
    // Ten bits of H.264 hardly play anywhere without a program of its own for it: HEVC takes their place.
    static const std::vector<CodecFacts> table{
        {Codec::h264, "h264", "H.264", "libx264", true, false, false, false, 51, 20, true},
        {Codec::hevc, "hevc", "HEVC", "libx265", true, true, false, false, 51, 22, true},
        {Codec::vp9, "vp9", "VP9", "libvpx-vp9", true, true, true, false, 63, 31, true},
        {Codec::av1, "av1", "AV1", "libsvtav1", true, true, false, false, 63, 30, true},
        {Codec::prores, "prores", "ProRes", "prores_ks", false, true, true, true, -1, -1, false},
        {Codec::ffv1, "ffv1", "FFV1 (lossless)", "ffv1", true, true, true, true, -1, -1, false},
        {Codec::mjpeg, "mjpeg", "Motion JPEG", "mjpeg", true, false, false, false, 31, 3, false, false, true},
        {Codec::dnxhr, "dnxhr", "DNxHR", "dnxhd", true, true, false, false, -1, -1, false, true},
    };
    return table;
}

const CodecFacts& factsOf(Codec codec) {
    return *std::find_if(codecTable().begin(), codecTable().end(),
                         [&](const CodecFacts& facts) { return facts.id == codec; });
}

std::optional<Codec> codecOfName(const std::string& name) {
    for (const CodecFacts& facts : codecTable())
        if (name == facts.word || name == facts.encoder) return facts.id;
    return std::nullopt;
}

const std::vector<MovieKind>& movieKinds() {
    static const std::vector<MovieKind> kinds{
        {.ending = ".mp4",
         .muxer = "mp4",
         .faststart = true,
         .codecs = {Codec::h264, Codec::hevc, Codec::av1, Codec::vp9},
         .deepCodec = Codec::hevc},
        {.ending = ".mov",
         .muxer = "mov",
         .pcm = true,
         .faststart = true,
         .codecs = {Codec::h264, Codec::hevc, Codec::prores, Codec::mjpeg},
         .deepCodec = Codec::hevc,
         .alpha = {Codec::prores},
         .beside = {Codec::dnxhr}},
        {.ending = ".mkv",
         .muxer = "matroska",
         .pcm = true,
         .flac = true,
         .codecs = {Codec::h264, Codec::hevc, Codec::av1, Codec::vp9, Codec::ffv1, Codec::prores,
                    Codec::mjpeg},
         .deepCodec = Codec::hevc,
         .alpha = {Codec::ffv1},
         .beside = {Codec::dnxhr}},
        {.ending = ".webm",
         .muxer = "webm",
         .sound = {"libopus", 128'000},
         .codecs = {Codec::vp9, Codec::av1},
         .deepCodec = Codec::vp9,
         .alpha = {Codec::vp9}},
        // Its times are places of whole pictures, in the order in which they are shown: codecs that store
        // them in another order, and those whose marks are QuickTime's, stay out.
        {.ending = ".avi",
         .muxer = "avi",
         .sound = {"pcm_s16le", 0},
         .pcm = true,
         .colourTags = false,
         .chapters = false,
         .codecs = {Codec::mjpeg}},
    };
    return kinds;
}

const MovieKind* movieKindOf(const std::string& output) {
    for (const MovieKind& kind : movieKinds()) {
        const std::string ending = kind.ending;
        if (output.size() > ending.size() && output.ends_with(ending)) return &kind;
    }
    return nullptr;
}

const MovieKind& movieKindFor(const std::string& output) {
    if (const MovieKind* kind = movieKindOf(output)) return *kind;
    throw MediaError(MediaErrorCode::badRequest, output, "is not a movie that this program can write");
}

std::string movieEndings(const char* last, bool tenBits) {
    std::vector<std::string> all;
    for (const MovieKind& kind : movieKinds())
        if (!tenBits || kind.deepCodec) all.emplace_back(kind.ending);
    std::string out = all.front();
    for (size_t i = 1; i < all.size(); ++i)
        out.append(i + 1 < all.size() ? ", " : std::string(" ") + last + " ").append(all[i]);
    return out;
}

Codec codecFor(const std::string& output, std::optional<Codec> wanted, int depth) {
    const MovieKind* kind = movieKindOf(output);
    const auto refuse = [&](const std::string& why) {
        throw MediaError(MediaErrorCode::badRequest, output, why);
    };
    if (kind == nullptr) refuse("--codec is for movies: " + movieEndings("and"));
    const std::string otherKind = "choose " + movieEndings("or", true) + " for 10";
    if (!wanted) {
        const CodecFacts& first = factsOf(kind->codecs.front());
        if (depth > 8 ? first.ten : first.eight) return first.id;
        if (!kind->deepCodec) refuse(std::string(kind->ending) + " files hold 8 bits here; " + otherKind);
        return *kind->deepCodec;
    }
    const CodecFacts& facts = factsOf(*wanted);
    if (!has(kind->codecs, *wanted))
        refuse(std::string(facts.name) + " does not go into " + kind->ending + " files; they take " +
               wordsOf(kind->codecs) + ", and " + facts.word + " goes into " + endingsOf(*wanted));
    if (depth > 8 && !facts.ten)
        refuse(std::string(facts.name) + " holds 8 bits here; " +
               (kind->deepCodec ? std::string("use --codec ") + factsOf(*kind->deepCodec).word + " for 10"
                                : otherKind));
    if (depth <= 8 && !facts.eight)
        refuse(std::string(facts.name) + " holds 10 bits; leave out --depth 8 or choose another --codec");
    return *wanted;
}

bool carriesTenBits(const std::string& output, std::optional<Codec> wanted) {
    const MovieKind* kind = movieKindOf(output);
    return kind != nullptr && kind->deepCodec && (!wanted || factsOf(*wanted).ten);
}

bool holdsCopies(const MovieKind& kind, Codec codec) {
    return has(kind.codecs, codec) || has(kind.beside, codec);
}

std::string endingsOf(Codec codec) {
    std::string out;
    for (const MovieKind& kind : movieKinds())
        if (holdsCopies(kind, codec)) out.append(out.empty() ? "" : ", ").append(kind.ending + 1);
    return out;
}

}  // namespace tumblewash::media
