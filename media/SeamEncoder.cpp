#include "media/detail/SeamEncoder.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "media/detail/AvcSets.h"
#include "media/detail/HevcSets.h"
#include "media/detail/IndexDetail.h"
#include "media/detail/PacketRewriter.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

namespace {

// Beside a picture that was not encoded again, a worse one shows.
constexpr int kSeamCrf = 18;
constexpr int kSeamCrfOfMjpeg = 2;

void addParameters(AVCodecContext& codec, const char* option, const std::string& more) {
    uint8_t* raw = nullptr;
    std::string all;
    if (av_opt_get(codec.priv_data, option, 0, &raw) >= 0 && raw != nullptr) {
        all = reinterpret_cast<const char*>(raw);
        av_free(raw);
    }
    all += (all.empty() ? "" : ":") + more;
    throwIfNoRoom(av_opt_set(codec.priv_data, option, all.c_str(), 0));
}

/// The level in a header as the encoder takes it: the next one of ITU-T H.264, table A-1.
int knownLevel(int level) {
    constexpr std::array kLevels{10, 11, 12, 13, 20, 21, 22, 30, 31, 32, 40, 41, 42, 50, 51, 52, 60, 61};
    const auto next = std::lower_bound(kLevels.begin(), kLevels.end(), level);
    return next == kLevels.end() ? 62 : *next;
}

/// References, order and entropy coding as the first clip has them, and the highest level and profile of all.
void matchAvc(const CopyPlan& plan, AVCodecContext& codec) {
    int profile = 0;
    int level = 0;
    for (const auto& clip : plan.clips) {
        const auto sets = readAvcHeader(clip->detail().header.bytes);
        if (!sets) continue;
        for (const auto& [id, sps] : sets->sps) {
            profile = std::max(profile, sps.profile);
            level = std::max(level, sps.level);
        }
    }
    const PacketIndex& first = *plan.clips.front();
    const auto sets = readAvcHeader(first.detail().header.bytes);
    if (!sets) return;
    const AvcSps& sps = sets->sps.begin()->second;
    const int64_t reorder = sps.restricted ? sps.reorder : first.detail().lag;
    const bool ordered = first.facts().reorders;
    if (profile == 66 && ordered) profile = 77;
    throwIfNoRoom(av_opt_set(codec.priv_data, "profile",
                             profile == 66   ? "baseline"
                             : profile == 77 ? "main"
                                             : "high",
                             0));
    const bool cabac = profile != 66 && sets->pps.begin()->second.cabac;
    addParameters(codec, "x264-params",
                  "keyint=infinite:open-gop=0:level=" + std::to_string(knownLevel(level)) +
                      ":ref=" + std::to_string(std::clamp(sps.references, 1, 16)) +
                      ":bframes=" + std::to_string(ordered ? 3 : 0) +
                      ":b-pyramid=" + (reorder > 1 ? "normal" : "none") + ":cabac=" + (cabac ? "1" : "0"));
}

/// Whole groups alone, and no sets but those of the header. Its levels and limits are the track's.
void matchHevc(AVCodecContext& codec) {
    addParameters(codec, "x265-params", "open-gop=0:keyint=-1:radl=0:repeat-headers=0:hrd=0:aud=0");
}

/// The first clip's own kind of ProRes, which the track has a name for.
void matchProres(const CopyPlan& plan, AVCodecContext& codec) {
    const int profile = plan.clips.front()->facts().profile;
    if (profile >= 0) throwIfNoRoom(av_opt_set_int(codec.priv_data, "profile", profile, 0));
}

/// A kind of DNxHD or DNxHR as its packets number it, SMPTE ST 2019-1, and how the encoder is told to write
/// it: by name or, of DNxHD, by one of its bit rates.
struct DnxhrKind {
    int number;
    const char* profile;
    int64_t megabits;
};
constexpr std::array kDnxhrKinds{
    DnxhrKind{1235, "dnxhd", 185},  DnxhrKind{1237, "dnxhd", 145},   DnxhrKind{1238, "dnxhd", 185},
    DnxhrKind{1250, "dnxhd", 180},  DnxhrKind{1251, "dnxhd", 180},   DnxhrKind{1252, "dnxhd", 145},
    DnxhrKind{1253, "dnxhd", 36},   DnxhrKind{1271, "dnxhr_hqx", 0}, DnxhrKind{1272, "dnxhr_hq", 0},
    DnxhrKind{1273, "dnxhr_sq", 0}, DnxhrKind{1274, "dnxhr_lb", 0}};

/// False when the encoder does not write the clip's kind.
bool matchDnxhr(const PacketIndex& clip, AVCodecContext& codec) {
    const auto kind = std::find_if(kDnxhrKinds.begin(), kDnxhrKinds.end(),
                                   [&](const DnxhrKind& one) { return one.number == clip.facts().profile; });
    if (kind == kDnxhrKinds.end()) return false;
    throwIfNoRoom(av_opt_set(codec.priv_data, "profile", kind->profile, 0));
    codec.bit_rate = kind->megabits * 1'000'000;
    return true;
}

/// An encoder for pictures like the clip's, of which no more is set than their shape.
CodecPtr encoderLike(const PacketIndex& clip, const char* name) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    const AVPixelFormat pixels = av_get_pix_fmt(clip.facts().pixels.c_str());
    if (encoder == nullptr || pixels == AV_PIX_FMT_NONE) return nullptr;
    CodecPtr codec(orBadAlloc(avcodec_alloc_context3(encoder)));
    codec->flags |= AV_CODEC_FLAG_BITEXACT | AV_CODEC_FLAG_GLOBAL_HEADER;
    codec->width = clip.facts().width;
    codec->height = clip.facts().height;
    codec->pix_fmt = pixels;
    codec->time_base = {1, 25};
    codec->thread_count = 1;
    return codec;
}

bool starts(AVCodecContext& codec) {
    const int opened = avcodec_open2(&codec, codec.codec, nullptr);
    throwIfNotStarted(opened);
    return opened >= 0;
}

bool writesDnxhrOf(const PacketIndex& clip) {
    const CodecPtr codec = encoderLike(clip, "dnxhd");
    return codec && matchDnxhr(clip, *codec) && starts(*codec);
}

/// What the header of FFV1 depends on, as its encoder takes it.
struct Ffv1Coding {
    int slices, checksums, coder, context, gop;
};

void setFfv1(const Ffv1Coding& coding, AVCodecContext& codec) {
    codec.level = 3;
    codec.slices = coding.slices;
    codec.gop_size = coding.gop;
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "slicecrc", coding.checksums, 0));
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "coder", coding.coder, 0));
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "context", coding.context, 0));
}

/// The coding with which the encoder writes the clip's very header; nothing when it has none.
std::optional<Ffv1Coding> ffv1CodingOf(const PacketIndex& clip) {
    const Bytes& header = clip.detail().header.bytes;
    constexpr int kGolomb = 0;
    constexpr int kRange = 1;
    constexpr int kRangeTables = 2;
    for (const int gop : {1, 12})
        for (const int context : {0, 1})
            for (const int coder : {kGolomb, kRange, kRangeTables})
                for (const int checksums : {1, 0})
                    for (const int slices : {4, 6, 9, 12, 16, 24, 30}) {
                        const Ffv1Coding coding{slices, checksums, coder, context, gop};
                        const CodecPtr codec = encoderLike(clip, "ffv1");
                        if (!codec) return std::nullopt;
                        setFfv1(coding, *codec);
                        if (!starts(*codec)) continue;
                        const ByteView made(codec->extradata,
                                            static_cast<size_t>(std::max(0, codec->extradata_size)));
                        if (sameHeader(made, header)) return coding;
                    }
    return std::nullopt;
}

/// The pixel formats that pictures beside a codec's copied ones can be encoded in; the first one where a clip
/// has none of them.
std::span<const AVPixelFormat> seamFormats(Codec codec) {
    static constexpr std::array kEight{AV_PIX_FMT_YUV420P};
    static constexpr std::array kUsual{AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10};
    static constexpr std::array kProres{AV_PIX_FMT_YUV422P10};
    static constexpr std::array kMjpeg{AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P};
    static constexpr std::array kDnxhr{AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV422P10};
    switch (codec) {
        case Codec::h264:
            return kEight;
        case Codec::prores:
            return kProres;
        case Codec::mjpeg:
            return kMjpeg;
        case Codec::dnxhr:
            return kDnxhr;
        case Codec::hevc:
        case Codec::vp9:
        case Codec::av1:
        case Codec::ffv1:
            break;
    }
    return kUsual;
}

AVPixelFormat seamFormat(const TrackFacts& clip) {
    const std::span<const AVPixelFormat> formats = seamFormats(clip.codec.value_or(Codec::hevc));
    const auto own = std::find(formats.begin(), formats.end(), av_get_pix_fmt(clip.pixels.c_str()));
    return own == formats.end() ? formats.front() : *own;
}

/// The clips' own tags, those that are missing among them: one track has one set.
void tagAs(const TrackFacts& facts, AVCodecContext& codec) {
    codec.color_range = static_cast<AVColorRange>(facts.range);
    codec.color_primaries = static_cast<AVColorPrimaries>(facts.primaries);
    codec.color_trc = static_cast<AVColorTransferCharacteristic>(facts.transfer);
    codec.colorspace = static_cast<AVColorSpace>(facts.matrix);
    codec.chroma_sample_location = static_cast<AVChromaLocation>(facts.chromaPlace);
    codec.sample_aspect_ratio = asAv(facts.pixelAspect);
}

}  // namespace

CodecPtr openSeamEncoder(const std::string& output, const WriterSettings& settings, const CopyPlan& plan) {
    WriterSettings wanted = settings;
    const PacketIndex& first = *plan.clips.front();
    if (wanted.crf < 0) wanted.crf = first.facts().codec == Codec::mjpeg ? kSeamCrfOfMjpeg : kSeamCrf;
    CodecPtr codec = makeVideoEncoder(output, wanted, true);
    tagAs(first.facts(), *codec);
    codec->pix_fmt = seamFormat(first.facts());
    const auto kind = first.facts().codec;
    if (kind == Codec::h264) matchAvc(plan, *codec);
    if (kind == Codec::hevc) matchHevc(*codec);
    if (kind == Codec::prores) matchProres(plan, *codec);
    if (kind == Codec::dnxhr) matchDnxhr(first, *codec);
    if (kind == Codec::ffv1)
        if (const auto coding = ffv1CodingOf(first)) setFfv1(*coding, *codec);
    const int opened = avcodec_open2(codec.get(), codec->codec, nullptr);
    throwIfNotStarted(opened);
    if (opened < 0)
        throw MediaError(
            MediaErrorCode::encoding, output,
            "the encoder of the seams does not start with the clips' settings (" + avMessage(opened) + ")");
    return codec;
}

bool matchesClip(const PacketIndex& clip) {
    const auto codec = clip.facts().codec;
    if (codec == Codec::ffv1) return ffv1CodingOf(clip).has_value();
    return codec != Codec::dnxhr || writesDnxhrOf(clip);
}

std::string seamPixels(const TrackFacts& clip) {
    return av_get_pix_fmt_name(seamFormat(clip));
}

int64_t seamLag(const AVCodecContext& codec) {
    int64_t lag = codec.has_b_frames;
    if (codec.codec_id != AV_CODEC_ID_HEVC) return lag;
    // This encoder's order stands in its header alone.
    const auto size = static_cast<size_t>(std::max(0, codec.extradata_size));
    if (const auto sets = readHevcHeader(ByteView(codec.extradata, size)))
        for (const auto& [id, sps] : sets->sps) lag = std::max<int64_t>(lag, sps.reorder);
    return lag;
}

}  // namespace tumblewash::media
